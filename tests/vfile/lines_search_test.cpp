// Lines and searches apart from their answers, which the random test compares with plain ones: the steps that a derived
// object sees, refusals, letters outside ASCII.
#include "support/vfile_support.h"

TEST(VFileLinesAndSearch, ADerivedObjectSeesEachStep) {
    CallRecorder f("a\r\nb\rc"), overlap("aabab"), word("cat");
    char dst[10];
    std::int32_t at = 0;
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"SetPos 2; prev; SetPos 2; next; SetPos 2; prev; prev; prev; ", [&] { f.LineStart(2); }},
        {"SetPos 5; prev; SetPos 5; next; ", [&] { f.LineStart(5); }},
        {"SetPos 4; prev; prev; SetPos 3; next; next; next; ", [&] { f.LineEnd(4, true); }},
        {"SetPos 6; prev; prev; SetPos 5; next; ", [&] { f.LineIndent(6); }},
        {"SetPos 3; next; next; next; SetPos 5; ", [&] { f.SetPos(3), f.ReadLine(dst, 10); }},
        {"SetPos 1; ReadBytes 3; ", [&] { f.ReadTxt(dst, 10, 1, 3); }},
        {"SetPos 0; next; next; next; next; next; next; ", [&] { overlap.Find(at = 0, "abab", false, false); }},
        {"SetPos 5; prev; prev; prev; prev; prev; ", [&] { overlap.FindBack(at, "abab", false, false); }},
        {"SetPos 0; next; next; next; next; SetPos 3; next; SetPos 0; prev; ",
         [&] { word.Find(at = 0, "cat", false, true); }},
        {"SetPos 3; prev; prev; prev; prev; SetPos 0; prev; SetPos 3; next; ",
         [&] { word.FindBack(at, "cat", false, true); }}};
    for (const auto& [expected, act] : rows) {
        f.seen = overlap.seen = word.seen = "";
        act();
        EXPECT_EQ(expected, f.seen + overlap.seen + word.seen);
    }
}

// What a class does not override, nobody could see, and so it goes over whole blocks, which leaves the buffer alone.
TEST(VFileLinesAndSearch, WhatIsNotOverriddenIsNotCalled) {
    struct OtherBase {
        virtual ~OtherBase() = default;
        int word = 0;
    };
    struct NextOnly : OtherBase, virtual Watched {
        NextOnly() = default;
        NextOnly(const NextOnly&) = delete;
        void ReadByte(unsigned char& b) override { Note("next", {}), VFile::ReadByte(b); }
    };
    struct PrevOnly final : Watched {
        void ReadPrevByte(unsigned char& b) override { Note("prev", {}), VFile::ReadPrevByte(b); }
    };
    Watched hooks;
    NextOnly next;
    PrevOnly prev;
    const std::tuple<Watched*, const char*, const char*> rows[] = {
        {&hooks, "buf none", "pre 2 1 1 4; post 2 1 1 4; "},
        {&next, "buf loaded", "next; next; next; next; next; pre 2 1 1 4; post 2 1 1 4; next; next; "},
        {&prev, "buf loaded", "prev; prev; pre 2 1 1 4; post 2 1 1 4; "}};
    for (const auto& [f, buffer, expected] : rows) {
        Put(*f, 0, 0, "\ncat");
        f->Flush();
        f->seen = "";
        EXPECT_EQ(1, f->LineStart(2) + f->LineIndent(0));
        EXPECT_NE(std::string::npos, DumpOf([f = f](std::FILE* out) { DumpVFile(*f, out, false); }).find(buffer));
        EXPECT_EQ(1, f->ReplaceGlobal("a", "A", false, false));
        EXPECT_EQ(expected, f->seen);
    }
}

TEST(VFileLinesAndSearch, RefusalsLeaveAllAsItIs) {
    VFile f("0123\r\n6789");
    char dst[] = "untouched";
    std::int32_t at = -1, out = 5;
    const std::function<int()> refused[] = {
        [&] { return f.LineSize(-1, out, out, out), out - 5; },
        [&] { return f.LineStart(-1); },
        [&] { return f.ReadTxt(nullptr, 5, 0, 0); },
        [&] { return f.LineEnd(-1, true); },
        [&] { return f.ReadTxt(dst, 5, -1, MaxLen); },
        [&] { return f.LineIndent(-1); },
        [&] { return f.ReadTxt(dst, 5, MaxLen, -1); },
        [&] { return f.ReadLine(nullptr, 5); },
        [&] { return f.Find(at, "", false, false); },
        [&] { return f.ReadLine(dst, 0); },
        [&] { return f.FindBack(at, "0", false, false); },
        [&] { return f.ReadTxt(dst, 0, 0, 1); },
    };
    for (const auto& query : refused) {
        f.SetPos(2);
        f.eof = true;
        EXPECT_TRUE(query() == 0 && f.res == resCallError && f.GetPos() == 2 && f.eof);
    }
    EXPECT_STREQ("untouched", dst);
    EXPECT_TRUE(f.Find(at = 50, "", false, true) && f.FindBack(at, "", false, true) && at == 50);
    EXPECT_TRUE(f.ReplaceGlobal("", "x", false, false) == 0 && f.res == resCallError && f.GetPos() == 2 && f.eof);

    EXPECT_FALSE(f.Find(at, "9", false, false)); // beyond the end
    EXPECT_TRUE(at == 51 && f.res == resDone && f.LineStart(100) == 6 && f.ReadTxt(dst, 5, 100, 1) == 0);
    EXPECT_FALSE(f.Find(at = MaxLen, "9", false, false));
    EXPECT_TRUE(f.FindBack(at, "9", false, false) && at == 9);

    Watched w;
    w << "one two one";
    w.refusal = 99;
    EXPECT_EQ(0, w.ReplaceGlobal("two", "2", false, false));
    EXPECT_TRUE(w.res == 99 && w.GetPos() == 4 && w.Length() == 11);
}

TEST(VFileLinesAndSearch, BytesOutsideAsciiNeverFold) {
    VFile f("\xE9\x7F\xDD");
    std::int32_t at = 0;
    for (const char* pattern : {"\xC9", "\xFF", "i"}) EXPECT_FALSE(f.Find(at = 0, pattern, true, false));
    EXPECT_TRUE(f.Find(at = 0, "\x7F", false, true)); // not between letters
}
