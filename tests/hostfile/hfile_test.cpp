// HFile: opening, bytes, position, results, values, lines.
#include "hostfile/hostfile_support.h"

namespace {

#define BY(call) [](HFile& f, const char* n) { return f.call; }

TEST(HFile, EachModeDoesWhatItsRowSays) {
    const std::tuple<bool (*)(HFile&, const char*), Res, Res, Res, Res, const char*> modes[] = {
        // for a missing and an existing file, a read and a write; what is left of "123" when "x" was written
        {BY(Open(n)), resNotFound, resDone, resDone, resDone, "x23"},
        {BY(OpenSeqRead(n)), resNotFound, resDone, resDone, resNoPermission, "123"},
        {BY(Create(n, false)), resDone, resAlreadyExists, resDone, resDone, "x"},
        {BY(Create(n, true)), resDone, resDone, resDone, resDone, "x"},
        {BY(CreateSeqWrite(n, false)), resDone, resAlreadyExists, resNoPermission, resDone, "x"},
        {BY(CreateSeqWrite(n, true)), resDone, resDone, resNoPermission, resDone, "x"},
        {BY(Lookup(n, false)), resNotFound, resDone, resDone, resDone, "x23"},
        {BY(Lookup(n, true)), resDone, resDone, resDone, resDone, "x23"}};
    HFile null, again; // a device is shared
    EXPECT_TRUE(null.Open("/dev/null") && again.Create("/dev/null", true));
    const mode_t mask = umask(027);
    for (const auto& mode : modes) {
        SCOPED_TRACE(&mode - modes);
        const auto& [open, onMissing, onExisting, onRead, onWrite, left] = mode;
        const TempDir dir;
        for (const auto& [name, res, content] :
             {std::tuple{dir.File("new"), onMissing, "x"}, {dir.Write("f", "123"), onExisting, left}}) {
            HFile f, other;
            f.res = resDiskFull; // which no opening minds
            EXPECT_EQ(res == resDone, open(f, name.c_str()));
            EXPECT_TRUE(f.res == res && f.IsOpen() == (res == resDone)) << name;
            if (res != resDone) continue;
            EXPECT_EQ(onWrite != resDone, other.OpenSeqRead(name.c_str()));                      // who writes, is alone
            EXPECT_TRUE(!HFile().Create(name.c_str(), true) && GetFileRes() == resNoPermission); // and loses nothing
            EXPECT_TRUE(!open(f, dir.File("none").c_str()) && f.res == resCallError && f.IsOpen());
            char c;
            f.Reset();
            f.ReadBytes(&c, 1);
            EXPECT_EQ(onRead, f.res);
            f.Reset();
            f.WriteBytes("x", 1);
            if (f.res != resDone) f.Flush(), f.Truncate(); // refused as the write was
            EXPECT_EQ(onWrite, f.res);
            EXPECT_EQ(FD_CLOEXEC, fcntl(DescriptorOf(f.handle), F_GETFD));
            EXPECT_EQ(0640u, ModeOf(name));
            EXPECT_EQ(content, dir.Read(name.substr(dir.Path().size())));
        }
    }
    umask(mask);
}

TEST_F(OnFiles, CallErrorsStopTheRow) {
    HFile closed;
    ASSERT_TRUE(Make("abcde"));
    const std::function<void()> refused[] = {
        [&] { f.ReadBytes(buf, -1); },     [&] { f.ReadBytes(nullptr, 1); },  [&] { f.WriteBytes(buf, -1); },
        [&] { f.WriteBytes(nullptr, 1); }, [&] { closed.Close(); },           [&] { closed.Truncate(); },
        [&] { closed.Flush(); },           [&] { closed.SetPos(0); },         [&] { closed.SetPos(0, 1); },
        [&] { closed.Open(nullptr); },     [&] { closed.ReadBytes(buf, 1); }, [&] { closed.WriteBytes("x", 1); }};
    for (const auto& act : refused) {
        HFile& on = &act - refused < 4 ? f : closed;
        f.Reset();
        closed.res = resDone;
        act();
        EXPECT_EQ(resCallError, on.res);
        on.WriteBytes("x", 1); // not while the result stands
        EXPECT_EQ(0, on.ReadBytes(buf, 1) + on.ReadLine(buf, 4) + on.ReadTxt(buf, 4, 0, 1) + on.GetPos());
        EXPECT_STREQ("old", buf);
    }
    for (int& r = closed.res = -1; r <= 25; ++r) EXPECT_EQ(r >= 0 && r <= 24 ? r : resNotDone, GetFileRes(closed));
    closed.res = resDone;
    EXPECT_EQ(0, closed.ReadLine(buf, 4) + *buf + closed.Length()); // terminated, whatever comes
    f.ReadBytes(nullptr, 1);
    f.Flush(); // clears the error
    f.WriteBytes("x", 1);
    f.Truncate();
    EXPECT_EQ("x", dir.Read("f"));
}

TEST_F(OnFiles, ReadsAndSeeksStayInsideThem) {
    ASSERT_TRUE(Make("0123456789"));
    const std::array<int, 4> reads[] = {{5, 5, 5, 0}, {-1, 1, 0, 1}, {-1, 0, 0, 1}, {8, 8, 2, 1}, {10, 0, 0, 0}};
    for (const auto& [pos, count, got, eof] : reads) {
        if (pos >= 0) f.SetPos(pos);
        EXPECT_EQ(got, f.ReadBytes(count ? buf : nullptr, count));
        EXPECT_TRUE(f.eof == (eof != 0) && f.res == resDone);
    }
    const std::array<std::int32_t, 5> seeks[] = {
        {0, 1000, 0, 10, resDone},       {5, -1, 1, 4, resDone},          {0, -1, 1, 0, resCallError},
        {3, 0, 2, 10, resDone},          {3, -11, 2, 3, resCallError},    {3, 0, 3, 3, resCallError},
        {10, INT32_MAX, 1, 10, resDone}, {10, INT32_MAX, 2, 10, resDone}, {3, INT32_MIN, 0, 3, resCallError}};
    for (const auto& [start, offset, origin, pos, res] : seeks) {
        f.SetPos(start);
        f.eof = true;
        f.SetPos(offset, origin);
        EXPECT_TRUE(f.GetPos() == pos && f.res == res && !f.eof) << offset << " from " << origin;
    }
    const std::tuple<int, int, int, std::string, Res> texts[] = {
        {16, 2, 3, "234", resDone},       {5, 0, 100, "0123", resDone},  {16, 8, INT32_MAX, "89", resDone},
        {16, 99, 1, "", resDone},         {1, 0, 5, "", resDone},        {16, -1, 1, "old", resCallError},
        {16, 0, -1, "old", resCallError}, {0, 0, 1, "old", resCallError}};
    for (const auto& [size, from, count, text, res] : texts) {
        std::strcpy(buf, "old");
        f.Reset();
        const int n = f.ReadTxt(buf, size, from, count);
        EXPECT_EQ(text, buf);
        EXPECT_TRUE(f.res == res && !f.eof && n == (res == resDone ? static_cast<int>(text.size()) : 0)) << text;
    }
}

TEST_F(OnFiles, WhatPositionsDontReachIsNeverChanged) {
    ASSERT_TRUE(Make("0123456789"));
    f.SetPos(5);
    constexpr std::int64_t Size = 5LL << 30;
    fs::resize_file(dir.File("f"), Size);
    const auto at = [&](std::int64_t pos) { EXPECT_EQ(pos, lseek(DescriptorOf(f.handle), pos, SEEK_SET)); };
    const std::tuple<Res, std::int64_t, std::function<void()>> rows[] = {
        // what comes of each, and where it ends
        {resTooLong, 5, [&] { f.SetPos(0, 2); }},
        {resTooLong, 5, [&] { f.Truncate(); }},
        {resDone, 5, [&] { f.SetPos(0, 1); }},
        {resDone, INT32_MAX, [&] { f.SetPos(INT32_MAX); }},
        {resTooLong, INT32_MAX, [&] { f.WriteByte('x'); }},
        {resDone, INT32_MAX - 1, [&] { f.SetPos(-1, 1), f.ReadBytes(buf, 2), f.SetPos(-2, 1); }},
        {resTooLong, INT32_MAX - 1, [&] { f.WriteBytes("xy", 2); }},
        {resDone, INT32_MAX, [&] { f.SetPos(0, 1), f.WriteByte('\0'); }},
        {resTooLong, 3LL << 30, [&] { at(3LL << 30), f.SetPos(0, 1); }},
        {resDone, 1LL << 30, [&] { f.SetPos(-(2LL << 30), 1); }},
        {resDone, Size + 1, [&] { at(Size), f.WriteByte('x'); }}}; // appending changes nothing that is there
    for (const auto& [res, pos, act] : rows) {
        act();
        EXPECT_TRUE(f.res == res && lseek(DescriptorOf(f.handle), 0, SEEK_CUR) == pos) << &act - &std::get<2>(rows[0]);
        EXPECT_TRUE(f.GetPos() == std::min<std::int64_t>(pos, INT32_MAX) && f.Length() == INT32_MAX);
    }
    HFile given(HandleOf(dup(DescriptorOf(f.handle)))); // of which nothing is known
    at(3LL << 30);
    given.WriteByte('x');
    EXPECT_EQ(resTooLong, given.res);
}

TEST_F(OnFiles, IntegersInTheirWidthAndAsText) {
    ASSERT_TRUE(Make(""));
    f.WriteByte(5);
    f.WriteWord(static_cast<short>(0x0102));
    f.WriteDWord(0xFF01020304ULL); // long and long long lose their upper bytes
    f.WriteQWord(-2);
    f.WriteQWord(0x0102030405060708LL);
    f << static_cast<short>(-1) << ' ' << static_cast<unsigned short>(65535) << ' ' << INT32_MIN << " " << UINT32_MAX
      << ' ' << static_cast<long long>(INT64_MIN) << ' ' << static_cast<unsigned long long>(UINT64_MAX) << ' ' << -5L
      << ' ' << 7UL << ' ' << static_cast<signed char>(65) << "";
    f.WriteLn();
    for (f.base = 16; f.base <= 37; f.base += 21) f << 255 << ' ' << static_cast<short>(-1) << ' ' << -1LL << ' ';
    for (const int count : {-1, 0, 1024, 1025, 5000}) f.Write('x', count);
    EXPECT_EQ("\5\2\1\4\3\2\1\xFE" + std::string(7, '\xFF') + "\x08\7\6\5\4\3\2\1" +
                  "-1 65535 -2147483648 4294967295 -9223372036854775808 18446744073709551615 -5 7 A\r\n"
                  "ff ffffffff ffffffffffffffff 255 -1 -1 " +
                  std::string(1024 + 1025 + 5000, 'x'),
              dir.Read("f"));
    f.Reset();
    unsigned char b;
    short s;
    unsigned int ui = 0;
    std::int64_t q; // long or long long
    f >> b;
    f.ReadWord(s);
    f.ReadDWord(ui);
    f.ReadQWord(q);
    EXPECT_TRUE(b == 5 && s == 0x0102 && ui == 0x01020304 && q == -2);
    f.SetPos(-3, 2);
    f.ReadDWord(ui); // of which three bytes are there
    EXPECT_EQ(0x01000000u + 'x' * 0x10101u, ui);
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

TEST_F(OnFiles, LinesOfEveryKindAndInPipes) {
    const std::tuple<const char*, int, const char*, const char*> rows[] = {
        {"a\r\nb\rc\nd", 16, "a|3|b|5|c|7|d$", "a|b|c|d$"},
        {"a\n\rb", 16, "a|2||3|b$", "a||b$"},
        {"a\r", 16, "a|2|$", "a|$"},
        {"abc\ndef\n", 3, "ab|4|de|8|$", "ab|de|$"},
        {"abc\r\rx", 1, "|4||5|$", "||$"}};
    int ends[2];
    for (const auto& [content, size, inFile, inPipe] : rows) {
        ASSERT_TRUE(Make(content));
        EXPECT_EQ(inFile, Lines(f, size, true));
        f.Close();
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
        in.ReadLine(buf, sizeof buf);
        EXPECT_EQ(rest, std::string(buf, static_cast<std::size_t>(in.ReadBytes(buf, 4))));
    }
    in.Flush(); // a pipe keeps nothing back
    EXPECT_TRUE(in.res == resDone && in.Length() == 0);
    in.Truncate();
    EXPECT_EQ(resNotSupported, in.res);
    in.SetPos(1);
    EXPECT_EQ(resNotSupported, in.res);
    in.Close();
    out.WriteBytes("abc", 3);
    EXPECT_EQ(resNotDone, out.res);
}

TEST_F(OnFiles, WhoIsLateAtTheOtherEndIsWaitedFor) {
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_NONBLOCK)); // by the object: the system does not wait by itself
    HFile in(HandleOf(ends[0])), out(HandleOf(ends[1]));
    const std::string much(300000, 'm'); // more than a pipe holds
    std::string got(much.size(), '\0');
    std::thread writer([&] { usleep(20000), out.Write(much.c_str()); });
    for (std::size_t n = 0; n < got.size() && in.res == resDone;) {
        n += static_cast<std::size_t>(in.ReadBytes(&got[n], static_cast<int>(got.size() - n)));
        usleep(20000);
    }
    writer.join();
    EXPECT_TRUE(in.res == resDone && out.res == resDone && got == much);
}

} // namespace
