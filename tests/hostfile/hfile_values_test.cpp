// HFile: values, numbers as text, lines.
#include "hostfile/hfile.h"

#include "foundation/number_text.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>
#include <unistd.h>

using namespace std::string_literals;

namespace {

// What `write` puts into a new file.
template <class Act>
std::string Written(Act write) {
    TempDir dir;
    HFile f;
    f.Create(dir.File("f").c_str(), false);
    write(f);
    EXPECT_EQ(resDone, f.res);
    f.Close();
    return dir.Read("f");
}

TEST(HFileValues, EveryIntegerTypeHasItsWidth) {
    EXPECT_EQ("\x02\x01\xFE\xFF\x04\x03\x05"s, Written([](HFile& f) {
                  f.WriteWord(static_cast<short>(0x0102));
                  f.WriteWord(-2);
                  f.WriteWord(0x70304L);
                  f.WriteByte(5);
              }));
    EXPECT_EQ("\x04\x03\x02\x01\xFF\xFF\xFF\xFF"s, Written([](HFile& f) {
                  f.WriteDWord(0x01020304UL);
                  f.WriteDWord(-1L);
              }));
    EXPECT_EQ("\x08\x07\x06\x05\x04\x03\x02\x01"s + std::string(8, '\xFF'), Written([](HFile& f) {
                  f.WriteQWord(0x0102030405060708LL);
                  f.WriteQWord(-1);
              }));
}

TEST(HFileValues, ReadsThemBackAndKeepsWhatIsMissing) {
    TempDir dir;
    HFile f;
    ASSERT_TRUE(f.Open(dir.Write("f", "A\x02\x01\x04\x03\x02\x81\x08\x07\x06\x05\x04\x03\x02\x01XY").c_str()));
    char c;
    short s;
    int i;
    std::int64_t q; // long or long long
    f >> c;
    f.ReadWord(s);
    f.ReadDWord(i);
    f.ReadQWord(q);
    EXPECT_EQ('A', c);
    EXPECT_EQ(0x0102, s);
    EXPECT_EQ(static_cast<int>(0x81020304), i);
    EXPECT_EQ(0x0102030405060708, q);
    unsigned int u = 0x11223344;
    f.ReadDWord(u);
    EXPECT_EQ(0x11220000u + 'Y' * 256 + 'X', u);
    EXPECT_TRUE(f.eof);
}

TEST(HFileValues, NumbersAndTextAsText) {
    EXPECT_EQ("-1 65535 -2147483648 4294967295 -9223372036854775808 18446744073709551615 -5 7 A"s,
              Written([](HFile& f) {
                  f << static_cast<short>(-1) << ' ' << static_cast<unsigned short>(65535) << ' ' << INT32_MIN << ' '
                    << UINT32_MAX << ' ' << static_cast<long long>(INT64_MIN) << " "
                    << static_cast<unsigned long long>(UINT64_MAX) << ' ' << -5L << ' ' << 7UL << ' '
                    << static_cast<signed char>(65);
              }));
    EXPECT_EQ("ff ffffffff ffffffffffffffff -1"s, Written([](HFile& f) {
                  f.base = 16;
                  f << 255 << ' ' << static_cast<short>(-1) << ' ' << -1LL << ' ';
                  f.base = 37;
                  f << -1;
              }));
    EXPECT_EQ("ab\r\n"s, Written([](HFile& f) {
                  f.Write("ab");
                  f.Write("");
                  f.WriteLn();
              }));
    for (const int count : {-1, 0, 1, 1023, 1024, 1025, 5000}) {
        const auto n = static_cast<std::size_t>(count > 0 ? count : 0);
        EXPECT_EQ(std::string(n, 'x'), Written([&](HFile& f) { f.Write('x', count); }));
    }
    HFile closed;
    closed.Write(nullptr);
    EXPECT_EQ(resCallError, closed.res);
}

TEST(HFileValues, NumberTextServesEveryRadixAtItsLongest) {
    char text[vfile_internal::NumberTextSize];
    EXPECT_EQ(64, vfile_internal::NumberToText(text, UINT64_MAX, 2));
    EXPECT_EQ(std::string(64, '1'), text);
    EXPECT_EQ(1, vfile_internal::NumberToText(text, std::int32_t{0}, 36));
    EXPECT_STREQ("0", text);
    EXPECT_EQ(13, vfile_internal::NumberToText(text, UINT64_MAX, 36));
    EXPECT_STREQ("3w5e11264sgsf", text);
    EXPECT_EQ(32, vfile_internal::NumberToText(text, INT32_MIN, 2));
}

// A line as "text", with a '$' behind it if the end of the file came first.
std::string Lines(HFile& f, int size) {
    std::string lines;
    char buf[16];
    for (int i = 0; i < 10 && f.res == resDone; ++i) {
        const int n = f.ReadLine(buf, size);
        EXPECT_EQ(static_cast<int>(std::string(buf).size()), n);
        lines += buf;
        lines += f.eof ? "$" : "|";
        if (f.eof) break;
    }
    return lines;
}

TEST(HFileValues, LinesOfEveryKindInFilesAndPipes) {
    const struct {
        const char* content;
        int size;
        const char* lines;
    } rows[] = {
        {"a\r\nb\rc\nd", 16, "a|b|c|d$"}, {"a\n\rb", 16, "a||b$"}, {"a\r", 16, "a|$"},       {"", 16, "$"},
        {"abc\ndef\n", 3, "ab|de|$"},     {"abc\r\rx", 1, "||$"},  {"\r\r\n\n", 16, "|||$"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content);
        TempDir dir;
        HFile f;
        ASSERT_TRUE(f.OpenSeqRead(dir.Write("f", row.content).c_str()));
        EXPECT_EQ(row.lines, Lines(f, row.size));
        int ends[2];
        ASSERT_EQ(0, pipe(ends));
        HFile in(HandleOf(ends[0]));
        HFile(HandleOf(ends[1])).Write(row.content);
        EXPECT_EQ(row.lines, Lines(in, row.size));
        EXPECT_EQ(resDone, in.res);
    }
}

TEST(HFileValues, PositionBehindALineIsTheNextLine) {
    TempDir dir;
    HFile f;
    char buf[16];
    ASSERT_TRUE(f.OpenSeqRead(dir.Write("f", "a\r\nb\rc\nd").c_str()));
    for (const std::int32_t next : {3, 5, 7, 8}) {
        f.ReadLine(buf, sizeof buf);
        EXPECT_EQ(next, f.GetPos());
    }
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    HFile in(HandleOf(ends[0]));
    HFile(HandleOf(ends[1])).Write("a\rbcd");
    in.ReadLine(buf, sizeof buf);
    EXPECT_EQ(3, in.ReadBytes(buf, 4)); // the byte that was looked at, and the others
    EXPECT_EQ("bcd", std::string(buf, 3));
}

TEST(HFileValues, ReadLineRefusesAndTerminates) {
    HFile f;
    char buf[4] = "xyz";
    EXPECT_EQ(0, f.ReadLine(nullptr, 4));
    EXPECT_EQ(resCallError, f.res);
    EXPECT_EQ(0, f.ReadLine(buf, 4)); // refused by the result, the buffer stays
    EXPECT_STREQ("xyz", buf);
    f.res = resDone;
    EXPECT_EQ(0, f.ReadLine(buf, 4)); // fails at the first byte
    EXPECT_EQ(resCallError, f.res);
    EXPECT_STREQ("", buf);
}

TEST(HFileValues, ReadTxtCutsToFileAndBuffer) {
    TempDir dir;
    HFile f;
    ASSERT_TRUE(f.Open(dir.Write("f", "0123456789").c_str()));
    const struct {
        int size, from, count;
        const char* text;
        Res res;
    } rows[] = {
        {16, 2, 3, "234", resDone},     {5, 0, 100, "0123", resDone},     {16, 8, INT32_MAX, "89", resDone},
        {16, 99, 1, "", resDone},       {16, -1, 1, "old", resCallError}, {16, 0, -1, "old", resCallError},
        {0, 0, 1, "old", resCallError}, {1, 0, 5, "", resDone},
    };
    for (const auto& row : rows) {
        char buf[16] = "old";
        f.Reset();
        const int n = f.ReadTxt(buf, row.size, row.from, row.count);
        EXPECT_STREQ(row.text, buf);
        EXPECT_EQ(row.res, f.res);
        EXPECT_EQ(f.res == resDone ? static_cast<int>(std::string(row.text).size()) : 0, n);
        EXPECT_FALSE(f.eof);
    }
    HFile closed;
    char buf[4] = "old";
    EXPECT_EQ(0, closed.ReadTxt(buf, 4, 0, 1));
    EXPECT_STREQ("", buf);
    EXPECT_EQ(resCallError, closed.res);
}

} // namespace
