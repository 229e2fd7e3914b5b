// What tests of VFile share: the content and the block layout of an object, without disturbing it, and a derived class
// that writes down what it sees.
#pragma once

#include "hostfile/hfile.h"
#include "support/test.h"
#include "vfile/vfile.h"
#include "vfile/vfile_check.h"

using vfile_internal::CheckVFile;
using vfile_internal::DumpVFile;

// Goes through the const family: the object's cursor, result and buffer stay.
inline std::string ContentOf(const VFile& f) {
    VFile copy;
    copy.ReplaceTxt(0, 0, f, 0, MaxLen);
    copy.SetPos(0);
    std::string content(static_cast<std::size_t>(f.Length()), '?');
    copy.ReadBytes(content.data(), f.Length());
    return content;
}

// The blocks' lengths in order, the current one starred, an empty one without a page in brackets: "1024 *576". A run is
// told as the blocks that it can become.
inline std::string LayoutOf(const VFile& f) {
    std::istringstream lines(DumpOf([&](std::FILE* out) { DumpVFile(f, out, true); }));
    std::string layout, line;
    std::getline(lines, line);
    while (std::getline(lines, line)) {
        int len = 0, adr = 0, ix = -1;
        std::sscanf(line.c_str() + line.find(" len "), " len %d adr %d cur.start %*d cur.ix %d", &len, &adr, &ix);
        const int current = ix < 0 ? -1 : std::min(ix, std::max(len, 1) - 1) / BlkSize;
        for (int i = 0; i == 0 || i * BlkSize < len; ++i) {
            const std::string size = std::to_string(std::min<int>(len - i * BlkSize, BlkSize));
            layout += (layout.empty() ? "" : " ") + std::string(i == current ? "*" : "");
            layout += adr == -1 ? "[" + size + "]" : size;
        }
    }
    return layout;
}

inline std::string Pattern(int n, int seed = 0) {
    std::string s(static_cast<std::size_t>(n), '\0');
    for (int i = 0; i < n; ++i) s[static_cast<std::size_t>(i)] = static_cast<char>('a' + (i * 7 + i / 26 + seed) % 26);
    return s;
}

// The same with line ends of every kind in between.
inline std::string LinedPattern(int n, int seed = 0) {
    std::string s = Pattern(n, seed);
    for (char& c : s) c = c == 'h' ? '\r' : c == 'o' || c == 'q' ? '\n' : c;
    return s;
}

// Compares the lines by number with those of `s`, which is the content of `f`, at a position and a number at most.
inline void CheckLineNumbers(VFile& f, const std::string& s, int p, int n) {
    std::vector<int> starts = {0};
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '\n' || (s[i] == '\r' && s[i + 1] != '\n')) starts.push_back(static_cast<int>(i) + 1);
    }
    const auto count = static_cast<int>(starts.size()), pos = f.GetPos();
    const auto line = std::upper_bound(starts.begin(), starts.end(), p) - starts.begin() - 1;
    n = std::min(n, count + 1);
    const int at = n < count ? starts[static_cast<std::size_t>(n)] : static_cast<int>(s.size());
    const auto before = std::make_tuple(pos, f.res, f.eof);
    EXPECT_TRUE(f.LineCount() == count && f.LineOf(p) == line && f.LineAt(n) == at)
        << p << ", " << n << ": " << f.LineCount() << " " << f.LineOf(p) << " " << f.LineAt(n) << " for " << count
        << " " << line << " " << at;
    EXPECT_EQ(before, std::make_tuple(f.GetPos(), f.res, f.eof));
}

inline void Put(VFile& f, std::int32_t at, std::int32_t oldLen, const std::string& bytes) {
    f.ReplaceBuf(at, oldLen, bytes.data(), static_cast<int>(bytes.size()));
}

// Goes random ways with the seeds 1 to `walks`, odd and even ones of so many steps, under a cache of a few pages.
template <class Make>
void RunWalks(unsigned walks, long oddSteps, long evenSteps, const Make& make) {
    const auto given = static_cast<unsigned>(FromEnvironment("VFILE_SEED", 0));
    for (unsigned seed = given ? given : 1; seed <= (given ? given : walks); ++seed) {
        VFile::SetMaxCacheSize(4);
        const auto walk = make(seed);
        const long steps = FromEnvironment("VFILE_STEPS", seed % 2 ? oddSteps : evenSteps);
        for (long step = 1; step <= steps; ++step)
            ASSERT_TRUE(walk->Step()) << "VFILE_SEED=" << seed << " VFILE_STEPS=" << step;
    }
}

// Sees hooks, and can refuse a change.
class Watched : public VFile {
  public:
    using VFile::VFile;
    mutable std::string seen;
    int refusal = resDone, leaves = resDone; // PreChange and PostChange
    void SetType(int t) { type = t; }
    void Lock(bool on) { flags = on ? flags | vfLocked : flags & ~vfLocked; }

  protected:
    int PreChange(std::int32_t p, std::int32_t oldLen, std::int32_t newLen) const override {
        Note("pre", {p, oldLen, newLen, len});
        return refusal;
    }
    void PostChange(std::int32_t p, std::int32_t oldLen, std::int32_t newLen) override {
        Note("post", {p, oldLen, newLen, len});
        VFile::PostChange(p, oldLen, newLen);
        if (leaves != resDone) res = leaves, eof = true;
    }
    void PostChangeFlag(int flag, bool on) override { Note("flag", {flag, on, flags}); }

    void Note(const char* what, const std::vector<int>& values) const {
        seen += what;
        for (const int v : values) seen += " " + (v == SameLen ? "same" : v == MaxLen ? "max" : std::to_string(v));
        seen += "; ";
    }
};

// Sees each virtual operation as it is called, the ones inside of others too.
class CallRecorder : public Watched {
  public:
    using Watched::Watched;
    void SetPos(std::int32_t p) override { Note("SetPos", {p}), VFile::SetPos(p); }
    void ReadByte(unsigned char& b) override { Note("next", {}), VFile::ReadByte(b); }
    void ReadPrevByte(unsigned char& b) override { Note("prev", {}), VFile::ReadPrevByte(b); }
    int ReadBytes(void* dst, int n) override { return Note("ReadBytes", {n}), VFile::ReadBytes(dst, n); }
    void ReplaceBuf(std::int32_t at, std::int32_t oldLen, const void* src, int n) override {
        Note("ReplaceBuf", {at, oldLen, n}), VFile::ReplaceBuf(at, oldLen, src, n);
    }
    void ReplaceCh(std::int32_t at, std::int32_t oldLen, char ch, int n) override {
        Note("ReplaceCh", {at, oldLen, n}), VFile::ReplaceCh(at, oldLen, ch, n);
    }
    void ReplaceTxt(std::int32_t at, std::int32_t oldLen, const VFile& src, std::int32_t p, std::int32_t n) override {
        Note("ReplaceTxt", {at, oldLen, p, n}), VFile::ReplaceTxt(at, oldLen, src, p, n);
    }
    void ReplaceFile(std::int32_t at, std::int32_t oldLen, HFile& f, std::int32_t n) override {
        Note("ReplaceFile", {at, oldLen, n}), VFile::ReplaceFile(at, oldLen, f, n);
    }
    void ReplaceFile(std::int32_t at, std::int32_t oldLen, FileHandle h, std::int32_t n) override {
        Note("ReplaceHandle", {at, oldLen, n}), VFile::ReplaceFile(at, oldLen, h, n);
    }
};
