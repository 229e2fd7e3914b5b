// Follows two objects with a plain byte string, under a cache of a few pages: a VFile, which goes over whole blocks,
// and one of a class that overrides the reads and so makes each. After every step the content, position, result, flags
// and invariants are compared. Where objects are small the letters are few, so that matches overlap and line ends come
// in any order. VFILE_SEED and VFILE_STEPS repeat a run.
#include "hostfile/hfilesave.h"
#include "support/vfile_support.h"
#include "vfile/content.h"
#include "vfile/vfile_std.h"
#include "vmem/vmem_check.h"

namespace {

class Derived : public VFile {
    void SetPos(std::int32_t p) override { VFile::SetPos(p); }
    void ReadByte(unsigned char& b) override { VFile::ReadByte(b); }
    void ReadPrevByte(unsigned char& b) override { VFile::ReadPrevByte(b); }
    int ReadBytes(void* dst, int n) override { return VFile::ReadBytes(dst, n); }
};

char ByteAt(const std::string& s, int i) {
    return i >= 0 && i < static_cast<int>(s.size()) ? s[static_cast<std::size_t>(i)] : '\0';
}

// Where reading has led, one byte at a time: beyond the content it has set `eof`.
void ExpectRead(const VFile& f, int to) {
    EXPECT_EQ(std::clamp(to, 0, f.Length()), f.GetPos());
    EXPECT_EQ(to < 0 || to > f.Length(), f.eof);
    EXPECT_EQ(resDone, f.res);
}

bool StartsLine(const std::string& s, int i) {
    return i == 0 || ByteAt(s, i - 1) == '\n' || (ByteAt(s, i - 1) == '\r' && ByteAt(s, i) != '\n');
}

// All that can be asked about the line of position p, 0 to the length of `s`, which is the content of `f`; text is read
// into a buffer of `room` bytes, 4096 at most.
void CheckLine(VFile& f, const std::string& s, int p, int room) {
    const int len = static_cast<int>(s.size());
    int start = p, end = std::min(p + 1, len), size, eolSize;
    while (!StartsLine(s, start)) --start;
    while (end < len && !StartsLine(s, end)) ++end;
    int text = end, indent = start; // where the line end begins and where the blanks end
    while (text > start && (ByteAt(s, text - 1) == '\r' || ByteAt(s, text - 1) == '\n')) --text;
    while (ByteAt(s, indent) == ' ') ++indent;

    f.SetPos(0);
    EXPECT_EQ(start, f.LineStart(p));
    ExpectRead(f, p == 0 ? 0 : start == p && ByteAt(s, p - 1) == '\r' ? p + 1 : start - 1);
    int gotStart;
    f.LineSize(p, gotStart, size, eolSize);
    EXPECT_TRUE(gotStart == start && size == end - start && eolSize == end - text);
    ExpectRead(f, text == end || ByteAt(s, end - 1) == '\r' ? end + 1 : end); // looked after a CR
    EXPECT_TRUE(f.LineEnd(p, true) == end && f.LineEnd(p, false) == text && f.LineIndent(p) == indent - start);
    ExpectRead(f, indent + 1);

    EXPECT_EQ(Part(s, p - 2, 2) == "\r\n", f.AfterCRLF(p));
    ExpectRead(f, ByteAt(s, p - 1) == '\n' ? p - 2 : p - 1);
    EXPECT_EQ(Part(s, p - 1, 2) == "\r\n", f.BetweenCRLF(p));
    if (p > 0) ExpectRead(f, ByteAt(s, p - 1) == '\r' ? p + 1 : p);
    EXPECT_EQ(Part(s, p, 2) == "\r\n", f.BeforeCRLF(p));
    ExpectRead(f, ByteAt(s, p) == '\r' ? p + 2 : p + 1);

    char dst[4096];
    f.SetPos(p);
    int n = f.ReadLine(dst, room);
    EXPECT_EQ(Part(s, p, std::clamp(text - p, 0, room - 1)), std::string(dst, static_cast<std::size_t>(n)));
    EXPECT_EQ('\0', dst[n]);
    ExpectRead(f, text == end ? end + 1 : end);
    n = f.ReadTxt(dst, room, p, MaxLen);
    EXPECT_EQ(Part(s, p, room - 1), std::string(dst, static_cast<std::size_t>(n)));
    EXPECT_EQ('\0', dst[n]);
    ExpectRead(f, p + n);
}

// The start of the first match on the way from `at` in steps of `step`, -1 if there is none. Going back, the match ends
// at `at` at the latest. What matches but is no word is passed over whole.
int FindPlainly(const std::string& s, int at, int step, const std::string& pattern, bool fold, bool word) {
    const auto same = [fold](char a, char b) {
        return a == b || (fold && (a ^ b) == 0x20 && std::isalpha(static_cast<unsigned char>(a)));
    };
    const int n = static_cast<int>(pattern.size());
    for (int i = step > 0 ? at : at - n; i >= 0 && i + n <= static_cast<int>(s.size()); i += step) {
        if (!std::equal(pattern.begin(), pattern.end(), s.begin() + i, same)) continue;
        if (!word || (!std::isalnum(ByteAt(s, i - 1)) && !std::isalnum(ByteAt(s, i + n)))) return i;
        i += step * (n - 1);
    }
    return -1;
}

// Both searches from `at`, 0 to the length of `s`, which is the content of `f`.
void CheckSearch(VFile& f, const std::string& s, const std::string& pattern, int at, bool fold, bool word) {
    const int behind = f.Length() + 1, n = static_cast<int>(pattern.size());
    for (const int step : {1, -1}) {
        const int start = FindPlainly(s, at, step, pattern, fold, word);
        const bool found = start >= 0;
        std::int32_t got = at;
        const char* const text = pattern.c_str();
        EXPECT_EQ(found, step > 0 ? f.Find(got, text, fold, word) : f.FindBack(got, text, fold, word));
        EXPECT_EQ(step < 0 ? start : found ? start + n : behind, got);
        // The last byte looked at lies beyond the match; for a word, which is looked at on both sides, before it.
        const bool ahead = found ? (step > 0) != word : step > 0;
        ExpectRead(f, !found ? (ahead ? behind : -1) : ahead ? start + n + 1 : start - 1);
    }
}

// What a view of the range from `p` up to `q` says, which are at most the length of `s`.
void CheckView(VFileView v, const std::string& s, const std::string& pattern, int p, int q, const std::string& other) {
    const std::string range = Part(s, p, q - p);
    std::string ahead, back;
    v.Visit(p, q - p, [&](const unsigned char* b, std::int32_t n) { return ahead.append(b, b + n), true; });
    v.VisitBack(p, q - p,
                [&](const unsigned char* b, std::int32_t n) { return back.insert(0, std::string(b, b + n)), true; });
    EXPECT_TRUE(ahead == range && back == range && vfile::ToString(v, p, q - p) == range);
    const auto first = range.find(pattern), last = range.rfind(pattern);
    EXPECT_EQ(first == std::string::npos ? -1 : p + static_cast<int>(first), vfile::Find(v, pattern, p, q));
    EXPECT_EQ(last == std::string::npos ? -1 : p + static_cast<int>(last), vfile::FindBack(v, pattern, p, q));
    const int order = range.compare(other);
    EXPECT_EQ((order > 0) - (order < 0), vfile::Compare(v, p, q - p, other));
    const vfile::Bytes bytes(v);
    EXPECT_TRUE(std::equal(range.rbegin(), range.rend(), bytes.rend() - q, bytes.rend() - p));
}

// The six operators as bits.
template <class A, class B>
int Relations(const A& a, const B& b) {
    return (a == b) | (a != b) << 1 | (a < b) << 2 | (a <= b) << 3 | (a > b) << 4 | (a >= b) << 5;
}

class Walk {
  public:
    // Of objects up to about `longest` bytes, which they start with; half of them in a file.
    Walk(unsigned seed, int longest) : rng(seed), lengthMax(longest), s(Pattern(longest)), pos(longest) {
        if (seed & 2) dir.Write("loaded", s);
        Both([&](VFile& f) {
            seed & 2 ? f.LoadInPlace(dir.File("loaded").c_str(), 1), f.SetPos(pos) : Put(f, 0, 0, s);
        });
    }

    bool Step() {
        void (Walk::*const steps[])() = {&Walk::Change, &Walk::Read,       &Walk::Other,        &Walk::Change,
                                         &Walk::Look,   &Walk::ReplaceAll, &Walk::ChangeLength, &Walk::Look};
        const int kind = Below(Small() ? 8 : 3);
        if (kind >= 3 || (res != resDone && Below(2))) Both([](VFile& f) { f.Reset(); }), GoTo(0);
        if (kind >= 3) Both([](VFile& f) { f.ExclFlag(vfReadOnly); }), flags &= ~vfReadOnly;
        (this->*steps[kind])();
        if (Below(40) == 0) Both([](VFile& f) { EXPECT_TRUE(f.Compact()); });
        Both([&](VFile& f) {
            EXPECT_TRUE(f.Length() == Length() && f.GetPos() == pos && f.res == res && f.eof == eof);
            EXPECT_TRUE(f.GetFlags() == flags && CheckVFile(f, stderr));
            EXPECT_TRUE((kind < 3 && Below(10) != 0) || ContentOf(f) == s);
        });
        EXPECT_TRUE(CheckVMem(vfile_internal::Content::Of(plain).vm, Below(20) == 0, stderr));
        EXPECT_EQ(LayoutOf(plain), LayoutOf(derived));
        const int p = AnyPlace(), n = Below(2) ? Below(8000) : Below(20);
        if (Small() && Below(3) == 0) CheckLineNumbers(plain, s, p, n);
        if (Small() && Below(20) == 0) CheckLineNumbers(derived, s, p, n);
        return !testing::Test::HasFailure();
    }

  private:
    int Below(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }
    bool Small() const { return lengthMax < 100000; }
    int Length() const { return static_cast<int>(s.size()); }
    // Mostly small, at times around the size of a block, at times several blocks.
    int Count() {
        const int counts[] = {BlkSize - 2 + Below(5), Below(6 * BlkSize), Below(BlkSize)};
        const int kind = Below(6);
        return kind < 3 ? counts[kind] : Below(12);
    }

    int Place() { return std::clamp(AnyPlace(), 0, Length()); }
    int AnyPlace() {
        if (Below(3) == 0) return std::max(0, Below(Length() / BlkSize + 1) * BlkSize - 4 + Below(9));
        return Below(4) == 0 ? pos : Below(Length() + 10);
    }

    std::string Bytes(int n, const std::string& letters) {
        std::string bytes;
        while (n-- > 0) bytes += letters[rng() % letters.size()];
        return bytes;
    }

    // The closing step of everything that succeeds.
    void GoTo(int p) { pos = std::min(p, Length()), res = resDone, eof = false; }

    void Expect(int at, int oldLen, const std::string& bytes) {
        if (res == resDone && (flags & vfReadOnly)) res = resReadOnly;
        if (res != resDone) return;
        const auto n = oldLen == SameLen ? bytes.size() : static_cast<std::size_t>(oldLen);
        at = std::min(at, Length());
        s.replace(static_cast<std::size_t>(at), n, bytes);
        GoTo(at + static_cast<int>(bytes.size()));
    }

    void Both(const std::function<void(VFile&)>& act) { act(plain), act(derived); }
    void Change() {
        const bool shrink = Length() > lengthMax, self = Below(2) == 0;
        const int at = AnyPlace(), kind = Below(4);
        const int oldLen = shrink                        ? Below(lengthMax / 2)
                           : Below(8) == 0               ? SameLen
                           : Below(lengthMax / 500) == 0 ? MaxLen
                                                         : Count();
        const int count = shrink ? 0 : Count();
        std::string run = Small() ? Bytes(count, "aabA \r\n") : Pattern(count, Below(26));
        const int n = static_cast<int>(run.size()),
                  from = self ? AnyPlace() : Below(static_cast<int>(others.size()) + 10);
        if (kind == 0 && Below(10) == 0) Put(other, 0, MaxLen, others = run);
        Both([&](VFile& f) {
            HFile source;
            if (kind == 0) f.ReplaceTxt(at, oldLen, self ? f : other, from, n);
            if (kind == 1) f.ReplaceCh(at, oldLen, 'c', n);
            if (kind == 2) source.Open(dir.Write("source", run).c_str()), f.ReplaceFile(at, oldLen, source, n);
            if (kind == 3) f.ReplaceBuf(at, oldLen, run.data(), n);
        });
        if (kind == 0) run = Part(self ? s : others, from, n);
        if (kind == 1) run.assign(run.size(), 'c');
        Expect(at, oldLen, run);
    }

    void Read() {
        const int kind = Below(3), n = kind == 0 ? Count() : 1, from = kind == 2 ? pos - 1 : pos;
        std::string got, expected = from < 0 ? "" : Part(s, from, n);
        eof = static_cast<int>(expected.size()) < n;
        Both([&](VFile& f) {
            got.assign(static_cast<std::size_t>(n), '?');
            unsigned char b = 'x';
            if (kind == 0) got.resize(static_cast<std::size_t>(f.ReadBytes(got.data(), n)));
            if (kind == 1) f.ReadByte(b);
            if (kind == 2) f.ReadPrevByte(b);
            EXPECT_TRUE(kind == 0 ? got == expected : b == (eof ? 0 : expected[0]));
        });
        if (!eof || kind == 0) pos = kind == 2 ? from : pos + static_cast<int>(expected.size());
    }

    void Other() {
        const int kind = Below(8), p = AnyPlace(), n = Small() ? Count() : Below(400000);
        const bool on = Below(2) == 0, safely = Below(2) == 0;
        const std::string name = dir.File(Below(2) ? "saved" : "loaded");
        if (kind == 6) std::filesystem::remove(dir.File("loaded")), dir.Write("loaded", Pattern(n, 9));
        if (kind == 1) on ? VFile::ReleaseCache() : VFile::ReleaseMemory();
        if (kind == 2) VFile::SetMaxCacheSize(static_cast<std::int16_t>(Below(4) ? 2 + Below(15) : 300)); // reads ahead
        Both([&](VFile& f) {
            if (kind == 0) f.Flush();
            if (kind == 3) f.SetPos(-1);
            if (kind == 4) f.SetFlag(vfReadOnly, on);
            if (kind == 5) safely ? f.SaveSafely(name.c_str(), on ? hsWriteInPlace : 0) : f.Save(name.c_str(), true);
            EXPECT_TRUE(kind != 5 || dir.Read(std::filesystem::path(name).filename()) == s);
            if (kind == 6 && on) f.LoadInPlace(dir.File("loaded").c_str(), 1);
            if (kind == 6 && !on) f.Load(dir.File("loaded").c_str(), 1);
            if (kind == 7) f.SetPos(p);
        });
        if (kind == 3) res = resCallError;
        if (kind == 4 && res == resDone) flags = on ? flags | vfReadOnly : flags & ~vfReadOnly;
        if (kind == 5) GoTo(Length());
        if (kind == 6) {
            const std::pair<int, bool> before(pos, eof);
            GoTo(0), Expect(0, Length(), Pattern(n, 9)), pos = 0;
            if (on && res != resDone) std::tie(pos, eof) = before;
        }
        if (kind == 7) GoTo(p);
    }

    void ReplaceAll() {
        const std::string pattern = Bytes(1 + Below(3), "abA"), bytes = Bytes(Below(4), "abA ");
        const bool fold = Below(2) == 0, word = Below(2) == 0;
        int count = 0;
        for (int at = 0; (at = FindPlainly(s, at, 1, pattern, fold, word)) >= 0; at = pos, ++count)
            Expect(at, static_cast<int>(pattern.size()), bytes);
        Both([&](VFile& f) {
            f.res = resNotDone; // an old failure does not stop it
            EXPECT_EQ(count, f.ReplaceGlobal(pattern.c_str(), bytes.c_str(), fold, word));
            ExpectRead(f, Length() + 1);
        });
        pos = Length(), eof = true;
    }

    // To one at the border of two blocks, or one of a few bytes, with letters that make long lines, or long overlaps.
    void ChangeLength() {
        const int n = Below(3) ? (1 + Below(2)) * BlkSize - 1 + Below(3) : Below(6);
        std::string more = Bytes(n - Length(), Below(2) ? "ab" : "aaaaaaa \r\n");
        if (Below(2)) std::fill(more.begin(), more.end(), 'a');
        Both([&](VFile& f) { f.Delete(n, MaxLen), f += more.c_str(); });
        s.resize(static_cast<std::size_t>(std::min(n, Length())));
        Expect(Length(), 0, more);
    }

    void Look() {
        std::string pattern =
            Below(2) ? Part(s, Place(), 1 + Below(Below(2) ? 40 : 2000)) : Bytes(1 + Below(8), "aabA");
        if (!pattern.empty() && Below(3) == 0) pattern.back() = Below(2) ? 'A' : '-';
        const int p = Place(), room = 1 + Below(Below(2) ? 8 : 4000);
        const bool fold = Below(2) == 0, word = Below(4) == 0;
        std::string altered = s + Bytes(Below(2), "ab");
        if (Length() > 0) altered[rng() % s.size()] = "a\xFF"[Below(3)]; // the third is a NUL
        VFile made;
        made.AppendBytes(altered.data(), static_cast<int>(altered.size()));
        const std::string text = altered.c_str();
        Both([&](VFile& f) {
            const std::string before = LayoutOf(f);
            f.eof = true, f.res = resNotDone;
            EXPECT_EQ(Relations(s, altered), Relations(f, made));
            EXPECT_EQ(Relations(s, text), Relations(f, text.c_str()));
            EXPECT_EQ(Relations(altered, s), Relations(made, f));
            EXPECT_EQ(Relations(text, s), Relations(text.c_str(), f));
            const int q = p + (Length() - p) / 3;
            CheckView(f, s, pattern, p, q, Part(altered, p, q - p));
            CheckView(static_cast<const VFile&>(f), s, pattern, p, q, Part(altered, p, q - p + 1));
            EXPECT_EQ(Relations(s, altered) & 4, VFileView(f).Compare(0, MaxLen, made, 0, MaxLen) < 0 ? 4 : 0);
            EXPECT_TRUE(f == f && f.eof && f.res == resNotDone && f.GetPos() == pos && LayoutOf(f) == before);
            CheckLine(f, s, p, room);
            if (!pattern.empty()) CheckSearch(f, s, pattern, p, fold, word);
        });
        pos = plain.GetPos(), eof = plain.eof;
    }

    std::mt19937 rng;
    int lengthMax;
    TempDir dir;
    VFile plain, other;
    Derived derived;
    std::string s, others; // the content that both should have, and that of the other one
    int pos, flags = 0;    // and all the rest
    Res res = resDone;
    bool eof = false;
};

TEST(VFileRandom, FollowsAPlainString) { // the large ones are enough for an index of several levels
    RunWalks(5, 10000, 1500, [](unsigned seed) { return std::make_unique<Walk>(seed, seed % 2 ? 20000 : 5000000); });
}

} // namespace
