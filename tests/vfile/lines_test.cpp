// Lines around every position of every short content, and what the queries leave behind.
#include "support/call_recorder.h"
#include "support/halt_trap.h"
#include "support/vfile_support.h"

#include <gtest/gtest.h>

namespace {

struct Line {
    int start, size, eolSize;
};

// The lines in order; the last one has no line end.
std::vector<Line> LinesOf(const std::string& s) {
    std::vector<Line> lines;
    int start = 0;
    const int n = static_cast<int>(s.size());
    for (int i = 0; i < n; ++i) {
        const auto at = static_cast<std::size_t>(i);
        const bool pair = s.compare(at, 2, "\r\n") == 0;
        if (s[at] != '\r' && s[at] != '\n') continue;
        if (pair) ++i;
        lines.push_back({start, i + 1 - start, pair ? 2 : 1});
        start = i + 1;
    }
    lines.push_back({start, n - start, 0});
    return lines;
}

void ExpectState(const VFile& f, int pos, bool eof) {
    EXPECT_EQ(pos, f.GetPos());
    EXPECT_EQ(eof, f.eof);
    EXPECT_EQ(resDone, f.res);
}

void CheckLine(VFile& f, const std::string& s, int p, const Line& line) {
    const int n = static_cast<int>(s.size());
    const auto at = [&](int i) { return i >= 0 && i < n ? s[static_cast<std::size_t>(i)] : '\0'; };
    f.SetPos(0);
    EXPECT_EQ(line.start, f.LineStart(p));
    const bool untouched = p == 0;
    const bool behindCr = line.start > 0 && line.start == p && at(p - 1) == '\r';
    ExpectState(f,
                untouched || line.start == 0 ? 0
                : behindCr                   ? std::min(p + 1, n)
                                             : line.start - 1,
                !untouched && (line.start == 0 || (behindCr && p == n)));

    std::int32_t start = -1, size = -1, eolSize = -1;
    f.LineSize(p, start, size, eolSize);
    EXPECT_EQ(line.start, start);
    EXPECT_EQ(line.size, size);
    EXPECT_EQ(line.eolSize, eolSize);
    const int end = line.start + line.size;
    const bool loneCr = line.eolSize == 1 && at(end - 1) == '\r';
    const bool ranOut = line.eolSize == 0 || (loneCr && end == n);
    ExpectState(f, loneCr ? std::min(end + 1, n) : end, ranOut);
    EXPECT_EQ(end, f.LineEnd(p, true));
    EXPECT_EQ(end - line.eolSize, f.LineEnd(p, false));

    int indent = 0;
    while (at(line.start + indent) == ' ') ++indent;
    EXPECT_EQ(indent, f.LineIndent(p));
    ExpectState(f, std::min(line.start + indent + 1, n), line.start + indent == n);

    EXPECT_EQ(at(p - 2) == '\r' && at(p - 1) == '\n', f.AfterCRLF(p));
    EXPECT_EQ(at(p) == '\r' && at(p + 1) == '\n', f.BeforeCRLF(p));
    EXPECT_EQ(at(p - 1) == '\r' && at(p) == '\n', f.BetweenCRLF(p));
}

void CheckReadLines(VFile& f, const std::string& s, const std::vector<Line>& lines, int size) {
    f.SetPos(0);
    for (const Line& line : lines) {
        char dst[16];
        const int textLen = line.size - line.eolSize;
        const std::string text =
            s.substr(static_cast<std::size_t>(line.start), static_cast<std::size_t>(std::min(textLen, size - 1)));
        const int got = f.ReadLine(dst, size);
        EXPECT_EQ(text, std::string(dst, static_cast<std::size_t>(got)));
        EXPECT_EQ('\0', dst[got]);
        ExpectState(f, line.start + line.size, line.eolSize == 0);
    }
}

} // namespace

TEST(VFileLines, EveryPositionOfEveryContentOfUpToFiveBytes) {
    const char alphabet[] = {'a', ' ', '\r', '\n'};
    VFile f;
    for (int n = 0; n <= 5; ++n) {
        for (int code = 0; code < 1 << (2 * n); ++code) {
            std::string s;
            for (int i = 0; i < n; ++i) s += alphabet[code >> (2 * i) & 3];
            SCOPED_TRACE(testing::PrintToString(s));
            f = s.c_str();
            const std::vector<Line> lines = LinesOf(s);
            std::size_t i = 0;
            for (int p = 0; p <= n; ++p) {
                if (i + 1 < lines.size() && p >= lines[i].start + lines[i].size) ++i;
                CheckLine(f, s, p, lines[i]);
            }
            for (const int size : {1, 3, 16}) CheckReadLines(f, s, lines, size);
            if (HasFailure()) return;
        }
    }
}

TEST(VFileLines, PositionsBeyondTheEndCountAsTheEndAndNegativeOnesAreRefused) {
    VFile f("abc\n");
    EXPECT_EQ(4, f.LineStart(100));
    f.SetPos(2);
    std::int32_t start = -7, size = -7, eolSize = -7;
    f.LineSize(-1, start, size, eolSize);
    EXPECT_EQ(-21, start + size + eolSize);
    EXPECT_EQ(resCallError, f.res);
    for (const auto query : {+[](VFile& v) { return v.LineStart(-1); }, +[](VFile& v) { return v.LineEnd(-1, true); },
                             +[](VFile& v) { return v.LineIndent(-1); }, +[](VFile& v) { return +v.AfterCRLF(-1); }}) {
        f.SetPos(2);
        EXPECT_EQ(0, query(f));
        EXPECT_EQ(resCallError, f.res);
    }
}

TEST(VFileLines, ReadTxtCutsToContentAndBuffer) {
    VFile f("0123\r\n6789");
    const struct {
        int size, from, count;
        const char* text; // NIL: refused
    } rows[] = {{20, 0, 100, "0123\r\n6789"}, {5, 0, 100, "0123"}, {5, 0, 4, "0123"}, {5, 0, 5, "0123"},
                {20, 3, 4, "3\r\n6"},         {20, 100, 5, ""},    {1, 2, 5, ""},     {0, 0, 1, nullptr},
                {20, -1, 1, nullptr},         {20, 0, -1, nullptr}};
    for (const auto& row : rows) {
        f.SetPos(7);
        char dst[20] = "untouched";
        const int n = f.ReadTxt(dst, row.size, row.from, row.count);
        EXPECT_STREQ(row.text ? row.text : "untouched", dst);
        EXPECT_EQ(row.text ? std::string(row.text).size() : 0U, static_cast<std::size_t>(n));
        EXPECT_EQ(row.text ? std::min(row.from, 10) + n : 7, f.GetPos());
        EXPECT_EQ(row.text ? resDone : resCallError, f.res);
    }
    f.Reset();
    EXPECT_EQ(0, f.ReadLine(nullptr, 5));
    EXPECT_EQ(resCallError, f.res);
}

TEST(VFileLines, ADerivedObjectSeesEachStep) {
    CallRecorder f;
    f = "a\r\nb\rc";
    const auto seen = [&f](auto query) {
        f.SetPos(0);
        f.calls.clear();
        query();
        return f.calls;
    };
    char dst[10];
    EXPECT_EQ("SetPos 2; prev; SetPos 2; next; SetPos 2; prev; prev; prev; ", seen([&] { f.LineStart(2); }));
    EXPECT_EQ("SetPos 5; prev; SetPos 5; next; ", seen([&] { f.LineStart(5); }));
    EXPECT_EQ("SetPos 4; prev; prev; SetPos 3; next; next; next; ", seen([&] { f.LineEnd(4, true); }));
    EXPECT_EQ("SetPos 6; prev; prev; SetPos 5; next; ", seen([&] { f.LineIndent(6); }));
    EXPECT_EQ("SetPos 3; prev; prev; ", seen([&] { f.AfterCRLF(3); }));
    EXPECT_EQ("SetPos 1; next; next; ", seen([&] { f.BetweenCRLF(2); }));
    EXPECT_EQ("next; next; next; next; next; next; SetPos 5; ", seen([&] {
                  f.ReadLine(dst, 10);
                  f.ReadLine(dst, 10);
              }));
    EXPECT_EQ("SetPos 1; ReadBytes 3; ", seen([&] { f.ReadTxt(dst, 10, 1, 3); }));
}

TEST(VFileLines, QueriesHaltOnAnotherThread) {
    VFile f("a\r\nb"); // the child that halts is another thread to it
    std::int32_t n = 0;
    EXPECT_ASSERT_HALT("VFile", f.LineStart(0));
    EXPECT_ASSERT_HALT("VFile", f.LineSize(-1, n, n, n));
    EXPECT_ASSERT_HALT("VFile", f.LineEnd(-1, true));
    EXPECT_ASSERT_HALT("VFile", f.LineIndent(-1));
    EXPECT_ASSERT_HALT("VFile", f.BetweenCRLF(0));
}
