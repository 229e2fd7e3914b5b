// Search against a plain one over every short content, what it leaves behind, and global replacement.
#include "support/call_recorder.h"
#include "support/halt_trap.h"
#include "support/search_model.h"
#include "support/temp_dir.h"
#include "support/vfile_support.h"

#include <clocale>
#include <gtest/gtest.h>

TEST(VFileSearch, EveryShortPatternInEveryShortContent) {
    const char alphabet[] = {'a', 'A', '-'};
    std::vector<std::string> words{""};
    for (std::size_t i = 0; words[i].size() < 5; ++i) {
        for (const char c : alphabet) words.push_back(words[i] + c);
    }
    VFile f;
    for (const std::string& content : words) {
        f = content.c_str();
        for (const std::string& pattern : words) {
            if (pattern.size() > 3) break;
            for (int mode = 0; mode < 4; ++mode) {
                SCOPED_TRACE("'" + content + "' '" + pattern + "' mode " + std::to_string(mode));
                for (int at = 0; at <= f.Length(); ++at) CheckSearch(f, content, pattern, at, mode & 1, mode & 2);
                if (HasFailure()) return;
            }
        }
    }
}

TEST(VFileSearch, OverlapsCostOneReadForEachByte) {
    CallRecorder f;
    f = "abcabcabd";
    f.calls.clear();
    std::int32_t at = 0;
    EXPECT_TRUE(f.Find(at, "abcabd", false, false));
    EXPECT_EQ(9, at);
    EXPECT_EQ("SetPos 0; next; next; next; next; next; next; next; next; next; next; ", f.calls);
    f.calls.clear();
    EXPECT_TRUE(f.FindBack(at, "bca", false, false));
    EXPECT_EQ(4, at);
    EXPECT_EQ("SetPos 9; prev; prev; prev; prev; prev; prev; ", f.calls);
    f = "cat";
    f.calls.clear();
    EXPECT_TRUE(f.Find(at = 0, "cat", false, true));
    EXPECT_TRUE(f.FindBack(at = 3, "cat", false, true));
    EXPECT_EQ("SetPos 0; next; next; next; next; SetPos 3; next; SetPos 0; prev; "
              "SetPos 3; prev; prev; prev; prev; SetPos 0; prev; SetPos 3; next; ",
              f.calls);
}

TEST(VFileSearch, WhatIsRefusedAndWhatIsBeyondTheEnd) {
    VFile f("abb");
    f.SetPos(1);
    f.eof = true;
    std::int32_t at = -1;
    EXPECT_FALSE(f.Find(at, "", false, false));
    EXPECT_EQ(resCallError, f.res);
    EXPECT_FALSE(f.FindBack(at, "b", false, false));
    EXPECT_TRUE(f.Find(at = 50, "", false, true));
    EXPECT_TRUE(f.FindBack(at, "", false, true));
    EXPECT_EQ(50, at);
    EXPECT_EQ(resCallError, f.res);
    EXPECT_EQ(1, f.GetPos());
    EXPECT_TRUE(f.eof);

    EXPECT_FALSE(f.Find(at = 50, "b", false, false));
    EXPECT_EQ(51, at);
    EXPECT_EQ(resDone, f.res);
    EXPECT_FALSE(f.Find(at = MaxLen, "b", false, false));
    EXPECT_EQ(MaxLen, at);
    EXPECT_TRUE(f.FindBack(at, "b", false, false));
    EXPECT_EQ(2, at);
}

// In this Turkish locale E9 folds to C9, FD to I, and i to DD.
TEST(VFileSearch, BytesOutsideAsciiNeverFold) {
    const TempDir dir;
    const std::string make =
        "localedef -i tr_TR -f ISO-8859-9 " + dir.File("tr_TR.ISO-8859-9") + " 2>" + dir.File("log");
    const bool made = std::system(make.c_str()) == 0;
    setenv("LOCPATH", dir.Path().c_str(), 1);
    VFile f("\xE9\x7F\xDD");
    std::int32_t at = 0;
    for (const char* locale : {"C", "tr_TR.ISO-8859-9"}) {
        if (!std::setlocale(LC_ALL, locale)) continue;
        for (const char* pattern : {"\xC9", "\xFF", "i", "\xFD"}) EXPECT_FALSE(f.Find(at = 0, pattern, true, false));
        EXPECT_TRUE(f.Find(at = 0, "\xE9", true, false));
        EXPECT_FALSE(VFile("I").Find(at = 0, "\xFD", true, false));
    }
    EXPECT_FALSE(made && f.Find(at = 0, "\x7F", false, true)); // between two letters of that locale
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
    EXPECT_TRUE(f.Find(at = 0, "\x7F", false, true));
}

TEST(VFileSearch, ReplaceGlobal) {
    const struct {
        const char *content, *pattern, *replacement;
        bool ignoreCase, wholeWord;
        int count;
        const char* result;
    } rows[] = {
        {"aaa", "a", "aa", false, false, 3, "aaaaaa"},
        {"aaaaa", "aa", "b", false, false, 2, "bba"},
        {"aabb", "ab", "", false, false, 1, "ab"},
        {"cat concat Cat", "cat", "dog", true, true, 2, "dog concat dog"},
        {"cat-cat", "cat-", "x", false, true, 0, "cat-cat"}, // the byte behind is a letter
        {"-a-a-", "-a", "b", false, true, 1, "b-a-"},        // the byte before the second is new, and a letter
        {"abc", "x", "y", false, false, 0, "abc"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content);
        VFile f(row.content);
        f.res = resNotDone; // an old failure does not stop it
        EXPECT_EQ(row.count, f.ReplaceGlobal(row.pattern, row.replacement, row.ignoreCase, row.wholeWord));
        EXPECT_EQ(row.result, ContentOf(f));
        EXPECT_EQ(f.Length(), f.GetPos());
        EXPECT_TRUE(f.eof);
        EXPECT_EQ(resDone, f.res);
    }
}

TEST(VFileSearch, ReplaceGlobalStopsWhereAChangeIsRefused) {
    Watched f;
    Put(f, 0, 0, "one two one");
    f.SetPos(3);
    EXPECT_EQ(0, f.ReplaceGlobal("", "x", false, false));
    EXPECT_EQ(3, f.GetPos());
    f.InclFlag(vfReadOnly);
    EXPECT_EQ(0, f.ReplaceGlobal("two", "2", false, false));
    EXPECT_EQ(resReadOnly, f.res);
    EXPECT_EQ(8, f.GetPos());
    f.Reset();
    f.ExclFlag(vfReadOnly);
    f.refusal = 99;
    EXPECT_EQ(0, f.ReplaceGlobal("two", "2", false, false));
    EXPECT_EQ(99, f.res);
    EXPECT_EQ(4, f.GetPos());
    EXPECT_EQ("one two one", ContentOf(f));
}

TEST(VFileSearch, HaltsOnAnotherThread) {
    VFile f("abc"); // the child that halts is another thread to it
    std::int32_t at = -1;
    EXPECT_ASSERT_HALT("VFile", f.Find(at, "", false, false));
    EXPECT_ASSERT_HALT("VFile", f.FindBack(at, "", false, false));
    EXPECT_ASSERT_HALT("VFile", f.ReplaceGlobal("", "", false, false));
}
