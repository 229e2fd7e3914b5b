// Search against a plain one over every short content, what it leaves behind, and global replacement.
#include "support/call_recorder.h"
#include "support/temp_dir.h"
#include "support/text_models.h"
#include "support/vfile_support.h"

#include <clocale>
#include <gtest/gtest.h>

TEST(VFileSearch, EveryShortPatternInEveryShortContent) {
    std::vector<std::string> words{""};
    for (std::size_t i = 0; words[i].size() < 5; ++i) {
        for (const char c : {'a', 'A', '-'}) words.push_back(words[i] + c);
    }
    VFile f;
    for (const std::string& content : words) {
        f = content.c_str();
        for (std::size_t i = 1; words[i].size() <= 3 && !HasFailure(); ++i) {
            SCOPED_TRACE("'" + content + "' '" + words[i] + "'");
            for (int k = 0; k <= 4 * f.Length() + 3; ++k) CheckSearch(f, content, words[i], k / 4, k & 1, k & 2);
        }
    }
}

TEST(VFileSearch, OverlapsCostOneReadForEachByte) {
    const struct {
        const char *content, *pattern;
        bool wholeWord;
        const char* calls; // of a search forward from the start and one backward from there
    } rows[] = {{"aabab", "abab", false,
                 "SetPos 0; next; next; next; next; next; next; SetPos 5; prev; prev; prev; prev; prev; "},
                {"cat", "cat", true,
                 "SetPos 0; next; next; next; next; SetPos 3; next; SetPos 0; prev; "
                 "SetPos 3; prev; prev; prev; prev; SetPos 0; prev; SetPos 3; next; "}};
    for (const auto& row : rows) {
        CallRecorder f(row.content);
        std::int32_t at = 0;
        EXPECT_TRUE(f.Find(at, row.pattern, false, row.wholeWord) && f.FindBack(at, row.pattern, false, row.wholeWord));
        EXPECT_EQ(row.calls, f.calls);
    }
}

TEST(VFileSearch, WhatIsRefusedAndWhatIsBeyondTheEnd) {
    VFile f("abb");
    f.SetPos(1);
    f.eof = true;
    std::int32_t at = -1;
    EXPECT_FALSE(f.Find(at, "", false, false) || f.FindBack(at, "b", false, false));
    EXPECT_TRUE(f.Find(at = 50, "", false, true) && f.FindBack(at, "", false, true));
    EXPECT_TRUE(at == 50 && f.res == resCallError && f.GetPos() == 1 && f.eof);

    EXPECT_FALSE(f.Find(at, "b", false, false));
    EXPECT_TRUE(at == 51 && f.res == resDone);
    EXPECT_FALSE(f.Find(at = MaxLen, "b", false, false));
    EXPECT_TRUE(f.FindBack(at, "b", false, false) && at == 2);
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
        for (const char* pattern : {"\xC9", "\xFF", "i"}) EXPECT_FALSE(f.Find(at = 0, pattern, true, false));
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
    } rows[] = {{"aaa", "a", "aa", false, false, 3, "aaaaaa"},
                {"aaaaa", "aa", "b", false, false, 2, "bba"},
                {"aabb", "ab", "", false, false, 1, "ab"},
                {"cat concat Cat", "cat", "dog", true, true, 2, "dog concat dog"},
                {"-a-a-", "-a", "b", false, true, 1, "b-a-"}}; // the byte before the second is new, and a letter
    for (const auto& row : rows) {
        VFile f(row.content);
        f.res = resNotDone; // an old failure does not stop it
        EXPECT_EQ(row.count, f.ReplaceGlobal(row.pattern, row.replacement, row.ignoreCase, row.wholeWord));
        EXPECT_EQ(row.result, ContentOf(f));
        EXPECT_TRUE(f.Eof() && f.eof && f.res == resDone);
    }

    Watched f;
    Put(f, 0, 0, "one two one");
    f.SetPos(3);
    EXPECT_TRUE(f.ReplaceGlobal("", "x", false, false) == 0 && f.GetPos() == 3);
    f.refusal = 99;
    EXPECT_EQ(0, f.ReplaceGlobal("two", "2", false, false));
    EXPECT_TRUE(f.res == 99 && f.GetPos() == 4 && f.Length() == 11);
}
