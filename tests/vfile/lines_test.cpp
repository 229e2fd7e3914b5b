// Lines around every position of every short content, and what the queries leave behind.
#include "support/call_recorder.h"
#include "support/text_models.h"

#include <functional>

namespace {

void ExpectState(const VFile& f, int pos, bool eof) {
    EXPECT_TRUE(f.GetPos() == pos && f.eof == eof && f.res == resDone) << pos << eof << f.GetPos() << f.eof;
}

void CheckLine(VFile& f, const std::string& s, int p, const Line& line) {
    const int n = static_cast<int>(s.size());
    f.SetPos(0);
    EXPECT_EQ(line.start, f.LineStart(p));
    const bool behindCr = line.start == p && ByteAt(s, p - 1) == '\r';
    ExpectState(f,
                line.start == 0 ? 0
                : behindCr      ? std::min(p + 1, n)
                                : line.start - 1,
                p > 0 && (line.start == 0 || (behindCr && p == n)));

    std::int32_t start, size, eolSize;
    f.LineSize(p, start, size, eolSize);
    EXPECT_TRUE(start == line.start && size == line.end - start && eolSize == line.eolSize);
    const bool loneCr = line.eolSize == 1 && ByteAt(s, line.end - 1) == '\r';
    ExpectState(f, loneCr ? std::min(line.end + 1, n) : line.end, line.eolSize == 0 || (loneCr && line.end == n));
    EXPECT_EQ(line.end, f.LineEnd(p, true));
    EXPECT_EQ(line.end - line.eolSize, f.LineEnd(p, false));

    const int text = static_cast<int>(std::min(s.find_first_not_of(' ', static_cast<std::size_t>(start)), s.size()));
    EXPECT_EQ(text - start, f.LineIndent(p));
    ExpectState(f, std::min(text + 1, n), text == n);
    EXPECT_EQ(ByteAt(s, p - 2) == '\r' && ByteAt(s, p - 1) == '\n', f.AfterCRLF(p));
    EXPECT_EQ(ByteAt(s, p) == '\r' && ByteAt(s, p + 1) == '\n', f.BeforeCRLF(p));
    EXPECT_EQ(ByteAt(s, p - 1) == '\r' && ByteAt(s, p) == '\n', f.BetweenCRLF(p));
}

} // namespace

TEST(VFileLines, EveryPositionOfEveryContentOfUpToFiveBytes) {
    VFile f;
    for (int code = 1; code < 1 << 11 && !HasFailure(); ++code) { // two bits for each byte, below a leading pair
        std::string s;
        for (int rest = code; rest > 3; rest /= 4) s += "a \r\n"[rest & 3];
        SCOPED_TRACE(testing::PrintToString(s));
        f = s.c_str();
        const std::vector<Line> lines = LinesOf(s);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const int behind = i + 1 < lines.size() ? lines[i].end : lines[i].end + 1;
            for (int p = lines[i].start; p < behind; ++p) CheckLine(f, s, p, lines[i]);
        }
        for (const int size : {1, 3, 16}) {
            f.SetPos(0);
            for (const Line& line : lines) {
                char dst[16];
                const int n = f.ReadLine(dst, size);
                const int expected = std::min(line.end - line.eolSize - line.start, size - 1);
                EXPECT_EQ(Part(s, line.start, expected), dst);
                EXPECT_EQ(expected, n);
                ExpectState(f, line.end, line.eolSize == 0);
            }
        }
    }
}

TEST(VFileLines, RefusalsAndCuts) {
    VFile f("0123\r\n6789");
    EXPECT_EQ(6, f.LineStart(100));
    for (const auto query :
         {+[](VFile& v) { return v.LineStart(-1); }, +[](VFile& v) { return v.LineEnd(-1, true); },
          +[](VFile& v) { return v.LineIndent(-1); }, +[](VFile& v) { return v.ReadLine(nullptr, 5); }}) {
        f.SetPos(2);
        EXPECT_TRUE(query(f) == 0 && f.res == resCallError && f.GetPos() == 2);
    }
    const struct {
        int size, from, count;
        const char* text; // NIL: refused
    } rows[] = {{20, 0, 100, "0123\r\n6789"}, {5, 0, 100, "0123"}, {5, 0, 4, "0123"},
                {20, 3, 4, "3\r\n6"},         {20, 100, 5, ""},    {0, 0, 1, nullptr},
                {20, -1, 1, nullptr},         {20, 0, -1, nullptr}};
    for (const auto& row : rows) {
        f.SetPos(7);
        char dst[20] = "untouched";
        const int n = f.ReadTxt(dst, row.size, row.from, row.count);
        EXPECT_STREQ(row.text ? row.text : "untouched", dst);
        EXPECT_EQ(row.text ? std::min(row.from, 10) + n : 7, f.GetPos());
        EXPECT_EQ(row.text ? resDone : resCallError, f.res);
    }
}

TEST(VFileLines, ADerivedObjectSeesEachStep) {
    CallRecorder f("a\r\nb\rc");
    char dst[10];
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"SetPos 2; prev; SetPos 2; next; SetPos 2; prev; prev; prev; ", [&] { f.LineStart(2); }},
        {"SetPos 5; prev; SetPos 5; next; ", [&] { f.LineStart(5); }},
        {"SetPos 4; prev; prev; SetPos 3; next; next; next; ", [&] { f.LineEnd(4, true); }},
        {"SetPos 6; prev; prev; SetPos 5; next; ", [&] { f.LineIndent(6); }},
        {"SetPos 3; next; next; next; SetPos 5; ", [&] { f.SetPos(3), f.ReadLine(dst, 10); }},
        {"SetPos 1; ReadBytes 3; ", [&] { f.ReadTxt(dst, 10, 1, 3); }}};
    for (const auto& [expected, query] : rows) {
        f.calls.clear();
        query();
        EXPECT_EQ(expected, f.calls);
    }
}
