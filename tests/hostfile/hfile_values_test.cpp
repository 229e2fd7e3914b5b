// HFile: values, numbers as text, lines.
#include "hostfile/hostfile_support.h"

using namespace std::string_literals;

namespace {

TEST(HFileValues, IntegersOfEveryTypeGoOutInTheirWidthAndComeBack) {
    const TempDir dir;
    HFile f;
    ASSERT_TRUE(f.Create(dir.File("f").c_str(), false));
    f.WriteByte(5);
    f.WriteWord(static_cast<short>(0x0102));
    f.WriteWord(-2); // int, long and long long lose their upper bytes
    f.WriteDWord(0x0102030405060708L);
    f.WriteDWord(0xFFFFFFFFFFULL);
    f.WriteQWord(0x0102030405060708LL);
    f.WriteQWord(-1);
    f << 'X' << "YZ";
    EXPECT_EQ("\5\2\1\xFE\xFF\x08\7\6\5\xFF\xFF\xFF\xFF\x08\7\6\5\4\3\2\1"s + std::string(8, '\xFF') + "XYZ",
              dir.Read("f"));
    f.Reset();
    unsigned char b;
    short s;
    unsigned int ui = 0;
    std::int64_t q; // long or long long
    f >> b;
    f.ReadWord(s);
    f.SetPos(6, 1);
    f.ReadDWord(ui);
    f.ReadQWord(q);
    f.SetPos(8, 1);
    EXPECT_TRUE(b == 5 && s == 0x0102 && ui == 0xFFFFFFFF && q == 0x0102030405060708);
    f.ReadDWord(ui); // of which three bytes are there
    EXPECT_EQ(0xFF000000u + 'Z' * 65536 + 'Y' * 256 + 'X', ui);
}

TEST(HFileValues, NumbersAndTextAsText) {
    const TempDir dir;
    HFile f;
    f.Create(dir.File("f").c_str(), false);
    f << static_cast<short>(-1) << ' ' << static_cast<unsigned short>(65535) << ' ' << INT32_MIN << " " << UINT32_MAX
      << ' ' << static_cast<long long>(INT64_MIN) << ' ' << static_cast<unsigned long long>(UINT64_MAX) << ' ' << -5L
      << ' ' << 7UL << ' ' << static_cast<signed char>(65) << "";
    f.WriteLn();
    for (f.base = 16; f.base <= 37; f.base += 21) f << 255 << ' ' << static_cast<short>(-1) << ' ' << -1LL << ' ';
    f.base = 2;
    f << UINT64_MAX;
    for (const int count : {-1, 0, 1024, 1025, 5000}) f.Write('x', count);
    EXPECT_EQ("-1 65535 -2147483648 4294967295 -9223372036854775808 18446744073709551615 -5 7 A\r\n"
              "ff ffffffff ffffffffffffffff 255 -1 -1 " +
                  std::string(64, '1') + std::string(1024 + 1025 + 5000, 'x'),
              dir.Read("f"));
}

// The lines, each with where the next one begins, and '$' for the end of the file.
std::string Lines(HFile& f, int size, bool positions) {
    std::string lines;
    char buf[16];
    do {
        lines.append(buf, static_cast<std::size_t>(f.ReadLine(buf, size)));
        lines += f.eof ? "$" : positions ? "|" + std::to_string(f.GetPos()) + "|" : "|";
    } while (!f.eof && f.res == resDone && lines.size() < 100);
    return lines;
}

TEST(HFileValues, LinesOfEveryKindInFilesAndPipes) {
    const std::tuple<const char*, int, const char*, const char*> rows[] = {
        {"a\r\nb\rc\nd", 16, "a|3|b|5|c|7|d$", "a|b|c|d$"},
        {"a\n\rb", 16, "a|2||3|b$", "a||b$"},
        {"a\r", 16, "a|2|$", "a|$"},
        {"", 16, "$", "$"},
        {"abc\ndef\n", 3, "ab|4|de|8|$", "ab|de|$"},
        {"abc\r\rx", 1, "|4||5|$", "||$"}};
    int ends[2];
    for (const auto& [content, size, inFile, inPipe] : rows) {
        SCOPED_TRACE(content);
        const TempDir dir;
        HFile f;
        ASSERT_TRUE(f.OpenSeqRead(dir.Write("f", content).c_str()));
        EXPECT_EQ(inFile, Lines(f, size, true));
        ASSERT_EQ(0, pipe(ends));
        HFile in(HandleOf(ends[0]));
        HFile(HandleOf(ends[1])).Write(content);
        EXPECT_EQ(inPipe, Lines(in, size, false));
        EXPECT_EQ(resDone, in.res);
    }
    ASSERT_EQ(0, pipe(ends));
    HFile in(HandleOf(ends[0])), out(HandleOf(ends[1]));
    for (const std::string rest : {"bcd", "e"}) { // the byte that was looked at, and the others, if there are any yet
        out.Write(("a\r" + rest).c_str());
        char buf[16];
        in.ReadLine(buf, sizeof buf);
        EXPECT_EQ(rest, std::string(buf, static_cast<std::size_t>(in.ReadBytes(buf, 4))));
    }
}

TEST(HFileValues, ReadTxtCutsToFileAndBuffer) {
    const TempDir dir;
    HFile f;
    ASSERT_TRUE(f.Open(dir.Write("f", "0123456789").c_str()));
    const std::tuple<int, int, int, std::string, Res> rows[] = {
        {16, 2, 3, "234", resDone},       {5, 0, 100, "0123", resDone},  {16, 8, INT32_MAX, "89", resDone},
        {16, 99, 1, "", resDone},         {1, 0, 5, "", resDone},        {16, -1, 1, "old", resCallError},
        {16, 0, -1, "old", resCallError}, {0, 0, 1, "old", resCallError}};
    for (const auto& [size, from, count, text, res] : rows) {
        char buf[16] = "old";
        f.Reset();
        const int n = f.ReadTxt(buf, size, from, count);
        EXPECT_EQ(text, buf);
        EXPECT_TRUE(f.res == res && !f.eof && n == (res == resDone ? static_cast<int>(text.size()) : 0)) << text;
    }
    f.Close();
    for (const bool line : {true, false}) {
        char buf[4] = "old";
        const auto read = [&](Res res) { return f.res = res, line ? f.ReadLine(buf, 4) : f.ReadTxt(buf, 4, 0, 1); };
        EXPECT_EQ(0, read(resDiskFull));
        EXPECT_STREQ("old", buf);
        EXPECT_EQ(0, read(resDone));
        EXPECT_TRUE(f.res == resCallError && !*buf); // terminated, whatever comes
    }
}

} // namespace
