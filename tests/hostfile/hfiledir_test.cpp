// HFileDir, and the patterns below it.
#include "hostfile/hfiledir.h"

#include "platform/dirs.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <sys/stat.h>

namespace {

using Names = std::multiset<std::string>;

Names Scan(const std::string& pattern) {
    Names names;
    HFileDir scan;
    char name[261];
    for (bool more = scan.FindFirst(name, pattern.c_str()); more; more = scan.FindNext(name)) names.insert(name);
    EXPECT_STREQ("", name);
    EXPECT_EQ(static_cast<std::int32_t>(names.size()), scan.Count());
    EXPECT_FALSE(scan.FindNext(name));
    return names;
}

TEST(HFileDir, PatternsMatchAsTheirRulesSay) {
    const struct {
        const char *pattern, *yes, *no; // names between blanks
    } rows[] = {
        {"*", "a a.b .hidden . ..", ""},
        {"*.*", "a a.b .hidden . .. a.b.c", ""},
        {"a.*", "a a. a.b a.b.c", "ab a1.b A.b"},
        {"*.txt", "a.txt .txt a.b.txt", "a.txt2 txt a.TXT"},
        {"?", "a", "ab . .a"},
        {"a?c", "abc", "ac a.c abbc"},
        {"a??.x", "a.x ab.x abc.x", "abcd.x x.x"},
        {"*b*c", "abc bc abbcc", "acb b"},
        {"[a]*", "[a] [a]b", "a"},
        {"a.b", "a.b", "a aXb a.b.c"},
        {"a.?", "a a. a.b", "a.bc"},
        {"*a*a*a*a*a*a*a*b", "aaaaaaab", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"},
    };
    for (const auto& row : rows) {
        for (const bool match : {true, false}) {
            std::istringstream names(match ? row.yes : row.no);
            for (std::string name; names >> name;) {
                EXPECT_EQ(match, platform::MatchesPattern(name.c_str(), row.pattern)) << row.pattern << " " << name;
            }
        }
    }
}

TEST(HFileDir, FilesComeOutInFullAndTheRestAsJoined) {
    TempDir dir;
    const std::string at = std::filesystem::canonical(dir.Path()).string();
    EXPECT_EQ((Names{at + "/.", at + "/.."}), Scan(at + "/*"));
    dir.Write("one.txt", "");
    dir.Write(".hidden", "");
    dir.Write("back\\slash", "");         // can't be named
    dir.Write(std::string(255, 'l'), ""); // neither can this, with the directory in front
    std::filesystem::create_directory(dir.File("sub"));
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600));
    EXPECT_EQ((Names{at + "/fifo", at + "/one.txt", at + "/.hidden", at + "\\.", at + "\\..", at + "\\sub"}),
              Scan(at + "\\*.*"));
    EXPECT_EQ(Names{at + "/one.txt"}, Scan(at + "\\one.txt"));
    const auto old = std::filesystem::current_path();
    std::filesystem::current_path(at);
    EXPECT_EQ((Names{at + "/one.txt", "sub"}), [] {
        Names names = Scan("*o*e*");
        names.merge(Scan("s*"));
        return names;
    }());
    EXPECT_EQ((Names{"./sub"}), Scan("./s*"));
    std::filesystem::current_path(old);
    for (const char* none : {"*.none", "none/*", ""}) EXPECT_EQ(Names{}, Scan(*none ? at + "/" + none : ""));
    EXPECT_EQ(Names{}, Scan(at + "/"));
    EXPECT_EQ(Names{}, Scan(at + "/" + std::string(260, '*')));
}

TEST(HFileDir, LongestNameThatFitsIsServed) {
    TempDir dir;
    std::string at = std::filesystem::canonical(dir.Path()).string();
    while (at.size() < 150) std::filesystem::create_directory(at += "/dddddddddd");
    const std::string fits = at + "/" + std::string(260 - at.size() - 1, 'f');
    std::ofstream{fits};
    std::ofstream{fits + "f"};
    EXPECT_EQ(Names{fits}, Scan(at + "/f*"));
}

TEST(HFileDir, StatesFollowTheCalls) {
    TempDir dir;
    const std::string all = dir.Path() + "/*";
    char name[261] = "old";
    HFileDir scan(all.c_str());
    EXPECT_FALSE(scan.FindNext(nullptr));
    EXPECT_EQ(0, scan.Count());
    EXPECT_TRUE(scan.FindNext(name));
    EXPECT_FALSE(scan.FindNext(nullptr)); // changes nothing
    EXPECT_EQ(1, scan.Count());
    scan.Start(all.c_str()); // anew
    EXPECT_EQ(0, scan.Count());
    while (scan.FindNext(name)) {
    }
    dir.Write("late", "");
    EXPECT_FALSE(scan.FindNext(name)); // the end stays the end
    EXPECT_EQ(2, scan.Count());
    scan.Stop();
    scan.Stop();
    EXPECT_EQ(0, scan.Count());
    EXPECT_FALSE(scan.FindNext(name));

    EXPECT_FALSE(scan.FindFirst(name, (dir.Path() + "/x").c_str()));
    dir.Write("x", "");
    EXPECT_FALSE(scan.FindNext(name)); // the pattern is gone
    EXPECT_TRUE(scan.FindFirst(name, all.c_str()));
    EXPECT_FALSE(scan.FindFirst(nullptr, all.c_str()));
    EXPECT_FALSE(scan.FindNext(name)); // the scan was ended
    EXPECT_FALSE(scan.FindFirst(name, nullptr));
    EXPECT_STREQ("", name);
}

TEST(HFileDir, EachOfManyEntriesComesOutOnce) {
    TempDir dir;
    constexpr int Many = 20000;
    for (int i = 0; i < Many; ++i) {
        ASSERT_EQ(0, mknod(dir.File("e" + std::to_string(i)).c_str(), S_IFREG | 0600, 0));
    }
    const Names names = Scan(dir.Path() + "/e*");
    EXPECT_EQ(std::size_t{Many}, std::set<std::string>(names.begin(), names.end()).size());
    EXPECT_EQ(std::size_t{Many}, names.size());
}

} // namespace
