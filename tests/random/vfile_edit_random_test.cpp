// Follows two objects with a plain string through edits, lines, searches and comparisons: a VFile, which goes over
// whole blocks, and one of a derived class, which reads each byte. The letters are few, so that matches overlap and
// line ends come in any order; the length keeps near the borders of blocks; the cache is small. VFILE_SEED and
// VFILE_STEPS repeat a run.
#include "support/vfile_support.h"

#include <algorithm>
#include <cctype>
#include <functional>
#include <gtest/gtest.h>
#include <random>

namespace {

// Overrides nothing, but might: its reads are made one by one, where a VFile's are made over whole blocks.
class Derived : public VFile {};

char ByteAt(const std::string& s, int i) {
    return i >= 0 && i < static_cast<int>(s.size()) ? s[static_cast<std::size_t>(i)] : '\0';
}

// Empty if it begins outside of `s`.
std::string Part(const std::string& s, int from, int n) {
    return s.substr(std::min(s.size(), static_cast<std::size_t>(from)), static_cast<std::size_t>(n));
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
    ExpectRead(f, text == end || ByteAt(s, end - 1) == '\r' ? end + 1 : end); // looked behind a CR
    EXPECT_EQ(end, f.LineEnd(p, true));
    EXPECT_EQ(text, f.LineEnd(p, false));
    EXPECT_EQ(indent - start, f.LineIndent(p));
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
    const int behind = f.Length() + 1;
    const int n = static_cast<int>(pattern.size());
    for (const int step : {1, -1}) {
        const int start = FindPlainly(s, at, step, pattern, fold, word);
        const bool found = start >= 0;
        std::int32_t got = at;
        EXPECT_EQ(found,
                  step > 0 ? f.Find(got, pattern.c_str(), fold, word) : f.FindBack(got, pattern.c_str(), fold, word));
        EXPECT_EQ(step < 0 ? start : found ? start + n : behind, got);
        // The last byte looked at lies beyond the match; for a word, which is looked at on both sides, before it.
        const bool ahead = found ? (step > 0) != word : step > 0;
        ExpectRead(f, !found ? (ahead ? behind : -1) : ahead ? start + n + 1 : start - 1);
    }
}

// The six operators as bits.
template <class A, class B>
int Relations(const A& a, const B& b) {
    return (a == b) | (a != b) << 1 | (a < b) << 2 | (a <= b) << 3 | (a > b) << 4 | (a >= b) << 5;
}

class Walk {
  public:
    explicit Walk(unsigned seed) : rng(seed) {}
    bool Step();

  private:
    int Below(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }
    int Length() const { return static_cast<int>(s.size()); }
    int Place() { return Below(2) ? Below(Length() + 1) : std::clamp(Below(3) * BlkSize + Below(9) - 4, 0, Length()); }
    std::string Bytes(int n, const std::string& letters);
    void Edit();
    void ReplaceAll();
    void ChangeLength();
    void Look();
    void Both(const std::function<void(VFile&)>& act) { act(plain), act(derived); }
    void Expect(int at, int oldLen, const std::string& bytes);

    std::mt19937 rng;
    VFile plain;
    Derived derived;
    std::string s; // the content that both should have
    int pos = 0;   // and the position
};

std::string Walk::Bytes(int n, const std::string& letters) {
    std::string bytes;
    while (n-- > 0) bytes += letters[rng() % letters.size()];
    return bytes;
}

void Walk::Expect(int at, int oldLen, const std::string& bytes) {
    s.replace(static_cast<std::size_t>(at), static_cast<std::size_t>(oldLen), bytes);
    pos = at + static_cast<int>(bytes.size());
}

void Walk::Edit() {
    const bool insert = Below(2) == 0;
    const int kind = Below(7), from = Place();
    std::string bytes = Bytes(Below(Below(5) ? 6 : BlkSize), "aabA \r\n");
    const int n = static_cast<int>(bytes.size());
    pos = Place();
    Both([&](VFile& f) {
        f.SetPos(pos);
        f.SetFlag(vfInsert, insert);
        if (kind == 0) f.Insert(bytes.c_str());
        if (kind == 1) f.ReplaceBytes(bytes.data(), n);
        if (kind == 2) f << bytes.c_str();
        if (kind == 3) f.Append(bytes.c_str());
        if (kind == 4) f.Prepend('b', n);
        if (kind == 5) f.Write(f, from, n); // a part of itself
        if (kind == 6) f << -n;
    });
    if (kind == 4) bytes.assign(bytes.size(), 'b');
    if (kind == 5) bytes = Part(s, from, n);
    if (kind == 6) bytes = std::to_string(-n);
    const bool overwrite = kind == 1 || (kind != 0 && kind != 3 && kind != 4 && !insert);
    Expect(kind == 3 ? Length() : kind == 4 ? 0 : pos, overwrite ? static_cast<int>(bytes.size()) : 0, bytes);
}

void Walk::ReplaceAll() {
    const std::string pattern = Bytes(1 + Below(3), "abA"), bytes = Bytes(Below(4), "abA ");
    const bool fold = Below(2) == 0, word = Below(2) == 0;
    int count = 0;
    for (int at = 0; (at = FindPlainly(s, at, 1, pattern, fold, word)) >= 0; at = pos, ++count) {
        Expect(at, static_cast<int>(pattern.size()), bytes);
    }
    Both([&](VFile& f) {
        f.res = resNotDone; // an old failure does not stop it
        EXPECT_EQ(count, f.ReplaceGlobal(pattern.c_str(), bytes.c_str(), fold, word));
        ExpectRead(f, Length() + 1);
    });
    pos = Length();
}

// To one at the border of two blocks, or one of a few bytes, with letters that make long lines, or long overlaps.
void Walk::ChangeLength() {
    const int n = Below(3) ? (1 + Below(2)) * BlkSize - 1 + Below(3) : Below(6);
    std::string more = Bytes(n - Length(), Below(2) ? "ab" : "aaaaaaa \r\n");
    if (Below(2)) std::fill(more.begin(), more.end(), 'a');
    Both([&](VFile& f) { f.Delete(n, MaxLen), f += more.c_str(); });
    s.resize(static_cast<std::size_t>(std::min(n, Length())));
    Expect(Length(), 0, more);
}

void Walk::Look() {
    std::string pattern = Below(2) ? Part(s, Place(), 1 + Below(Below(2) ? 40 : 2000)) : Bytes(1 + Below(8), "aabA");
    if (!pattern.empty() && Below(3) == 0) pattern.back() = Below(2) ? 'A' : '-';
    const int p = Place(), room = 1 + Below(Below(2) ? 8 : 4000);
    const bool fold = Below(2) == 0, word = Below(4) == 0;
    std::string other = s + Bytes(Below(2), "ab");
    if (Length() > 0) other[rng() % s.size()] = "a\xFF"[Below(3)]; // the third is a NUL
    VFile made;
    made.AppendBytes(other.data(), static_cast<int>(other.size()));
    const std::string text = other.c_str();
    Both([&](VFile& f) {
        const std::string before = LayoutOf(f);
        f.eof = true;
        f.res = resNotDone;
        EXPECT_EQ(Relations(s, other), Relations(f, made));
        EXPECT_EQ(Relations(s, text), Relations(f, text.c_str()));
        EXPECT_EQ(Relations(other, s), Relations(made, f));
        EXPECT_EQ(Relations(text, s), Relations(text.c_str(), f));
        EXPECT_TRUE(f == f && f.eof && f.res == resNotDone && f.GetPos() == pos && LayoutOf(f) == before);
        CheckLine(f, s, p, room);
        if (!pattern.empty()) CheckSearch(f, s, pattern, p, fold, word);
    });
    pos = plain.GetPos();
}

bool Walk::Step() {
    const int kind = Below(6);
    kind == 0 ? ReplaceAll() : kind == 1 ? ChangeLength() : kind < 4 ? Look() : Edit();
    if (Below(20) == 0) VFile::ReleaseCache();
    Both([&](VFile& f) {
        EXPECT_TRUE(f.GetPos() == pos && f.res == resDone && CheckVFile(f, stderr));
        EXPECT_TRUE(ContentOf(f) == s);
    });
    EXPECT_EQ(LayoutOf(plain), LayoutOf(derived));
    return !testing::Test::HasFailure();
}

long FromEnvironment(const char* name, long otherwise) {
    const char* value = std::getenv(name);
    return value ? std::atol(value) : otherwise;
}

} // namespace

TEST(VFileEditRandom, FollowsAPlainString) {
    const long steps = FromEnvironment("VFILE_STEPS", 10000);
    const long given = FromEnvironment("VFILE_SEED", 0);
    for (long seed = given ? given : 1; seed <= (given ? given : 3); ++seed) {
        VFile::SetMaxCacheSize(2);
        Walk walk(static_cast<unsigned>(seed));
        for (long step = 1; step <= steps; ++step) {
            ASSERT_TRUE(walk.Step()) << "VFILE_SEED=" << seed << " VFILE_STEPS=" << step;
        }
    }
}
