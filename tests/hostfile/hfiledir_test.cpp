// HFileDir, and the patterns below it.
#include "hostfile/hfiledir.h"

#include "hostfile/hostfile_support.h"
#include "platform/dirs.h"

#include <set>
#include <sstream>

namespace {

using Names = std::multiset<std::string>;

Names Scan(const std::string& pattern) {
    Names names;
    HFileDir scan;
    std::vector<char> name(261);
    for (bool more = scan.FindFirst(name.data(), pattern.c_str()); more; more = scan.FindNext(name.data())) {
        names.insert(name.data());
    }
    EXPECT_STREQ("", name.data());
    EXPECT_EQ(static_cast<std::int32_t>(names.size()), scan.Count());
    return names;
}

TEST(HFileDir, PatternsMatchAsTheirRulesSay) {
    const std::string many(60, 'a');
    const std::tuple<const char*, const char*, std::string> rows[] = {
        // pattern, names that match, names that don't
        {"*", "a a.b .hidden . ..", ""},
        {"*.*", "a a.b .hidden . .. a.b.c", ""},
        {"*.", "a a. a.b.", "a.b .b a.b.c"},
        {"a.*", "a a. a.b a.b.c", "ab a1.b A.b"},
        {"*.txt", "a.txt .txt a.b.txt", "a.txt2 txt a.TXT"},
        {"?", "a", "ab . .a"},
        {"a?c", "abc", "ac a.c abbc"},
        {"a??.x", "a.x ab.x abc.x", "abcd.x x.x"},
        {"*b*c", "abc bc abbcc", "acb b"},
        {"[a]*", "[a] [a]b", "a"},
        {"a.b", "a.b", "a aXb a.b.c"},
        {"*a*a*a*a*a*a*a*a*a*a*a*b", "aaaaaaaaaaab", many}, // in a bearable time
    };
    for (const auto& [pattern, yes, no] : rows) {
        for (const bool match : {true, false}) {
            std::istringstream names(match ? yes : no);
            for (std::string name; names >> name;) {
                EXPECT_EQ(match, platform::MatchesPattern(name.c_str(), pattern)) << pattern << " " << name;
            }
        }
    }
}

TEST(HFileDir, FilesComeOutInFullAndTheRestAsJoined) {
    const TempDir dir;
    const auto old = fs::current_path();
    const std::string at = fs::canonical(dir.Path()).string(), longest(260 - at.size() - 1, 'l');
    fs::current_path(at);
    EXPECT_EQ((Names{at + "/.", at + "/.."}), Scan(at + "/*"));
    // The fourth can't be named, nor the last with the directory in front.
    for (const std::string& name :
         {std::string("one.txt"), std::string(".hidden"), longest, std::string("back\\slash"), longest + "l"}) {
        dir.Write(name, "");
    }
    for (const char* name : {"sub", "c:"}) fs::create_directory(name);
    ASSERT_EQ(0, mkfifo("fifo", 0600));
    EXPECT_EQ((Names{at + "/fifo", at + "/one.txt", at + "/.hidden", at + "/" + longest, at + "\\.", at + "\\..",
                     at + "\\sub", at + "\\c:"}),
              Scan(at + "\\*.*"));
    const std::pair<std::string, Names> rows[] = {
        {at + "\\one.txt", {at + "/one.txt"}},
        {"o*", {at + "/one.txt"}},
        {"s*", {"sub"}},
        {"./s*", {"./sub"}},
        {"c:*", {}},
        {at + "/*.none", {}},
        {at + "/none/*", {}},
        {at + "/", {}},
        {at + "/" + std::string(260, '*'), {}},
    };
    for (const auto& [pattern, names] : rows) EXPECT_EQ(names, Scan(pattern)) << pattern;
    fs::current_path(old);
}

TEST(HFileDir, StatesFollowTheCalls) {
    const TempDir dir;
    const std::string all = dir.Path() + "/*", file = dir.File("x");
    char name[261] = "old";
    HFileDir scan(all.c_str());
    EXPECT_FALSE(scan.FindNext(nullptr)); // changes nothing, here and below
    EXPECT_TRUE(scan.FindNext(name));
    EXPECT_FALSE(scan.FindNext(nullptr));
    EXPECT_EQ(1, scan.Count());
    scan.Start(all.c_str()); // anew
    EXPECT_EQ(0, scan.Count());
    while (scan.FindNext(name)) {
    }
    dir.Write("late", "");
    EXPECT_FALSE(scan.FindNext(name)); // the end stays the end
    EXPECT_EQ(2, scan.Count());
    scan.Stop();
    EXPECT_FALSE(scan.FindNext(name) || scan.Count());
    EXPECT_FALSE(scan.FindFirst(name, file.c_str()));
    dir.Write("x", "");
    EXPECT_FALSE(scan.FindNext(name)); // the pattern is gone
    EXPECT_TRUE(scan.FindFirst(name, all.c_str()));
    EXPECT_FALSE(scan.FindFirst(nullptr, all.c_str()));
    EXPECT_FALSE(scan.FindNext(name)); // the scan was ended
    EXPECT_FALSE(scan.FindFirst(name, nullptr));
    EXPECT_STREQ("", name);
}

} // namespace
