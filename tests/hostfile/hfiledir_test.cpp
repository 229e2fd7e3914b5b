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
    const std::string longName(60, 'a');
    const std::tuple<const char*, const char*, std::string> rows[] = {
        // pattern, names that match, names that don't
        {"*", "a a.b .hidden . ..", ""},
        {"*.*", "a a.b .hidden . .. a.b.c", ""},
        {"a.*", "a a. a.b a.b.c", "ab a1.b A.b"},
        {"*.", "a a. a.b.", "a.b .b a.b.c"},
        {"a*.", "ab a", "b ab.c"},
        {"*.txt", "a.txt .txt a.b.txt", "a.txt2 txt a.TXT"},
        {"?", "a", "ab . .a"},
        {"a?c", "abc", "ac a.c abbc"},
        {"a??.x", "a.x ab.x abc.x", "abcd.x x.x"},
        {"*b*c", "abc bc abbcc", "acb b"},
        {"[a]*", "[a] [a]b", "a"},
        {"a.b", "a.b", "a aXb a.b.c"},
        {"*a*a*a*a*a*a*a*a*a*a*a*b", longName.c_str(), longName + "c"},
    };
    for (const auto& [pattern, yes, no] : rows) {
        for (const bool match : {true, false}) {
            std::istringstream names(match ? yes : no);
            for (std::string name; names >> name;) {
                EXPECT_EQ(match && name != longName, platform::MatchesPattern(name.c_str(), pattern)) << name;
            }
        }
    }
}

TEST(HFileDir, FilesComeOutInFullAndTheRestAsJoined) {
    const TempDir dir;
    const std::string at = fs::canonical(dir.Path()).string();
    EXPECT_EQ((Names{at + "/.", at + "/.."}), Scan(at + "/*"));
    const std::string longest(260 - at.size() - 1, 'l');
    for (const std::string& name : {std::string("one.txt"), std::string(".hidden"), longest}) dir.Write(name, "");
    dir.Write("back\\slash", ""); // can't be named
    dir.Write(longest + "l", ""); // neither can this, with the directory in front
    fs::create_directory(dir.File("sub"));
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600));
    EXPECT_EQ((Names{at + "/fifo", at + "/one.txt", at + "/.hidden", at + "/" + longest, at + "\\.", at + "\\..",
                     at + "\\sub"}),
              Scan(at + "\\*.*"));
    EXPECT_EQ(Names{at + "/one.txt"}, Scan(at + "\\one.txt"));
    const auto old = fs::current_path();
    fs::current_path(at);
    fs::create_directory("c:"); // no drive
    EXPECT_EQ(Names{}, Scan("c:*"));
    EXPECT_EQ(Names{at + "/one.txt"}, Scan("o*"));
    EXPECT_EQ(Names{"sub"}, Scan("s*"));
    EXPECT_EQ(Names{"./sub"}, Scan("./s*"));
    fs::current_path(old);
    for (const std::string& none : {at + "/*.none", at + "/none/*", at + "/", at + "/" + std::string(260, '*')}) {
        EXPECT_EQ(Names{}, Scan(none));
    }
}

TEST(HFileDir, StatesFollowTheCalls) {
    const TempDir dir;
    const std::string all = dir.Path() + "/*";
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
    const TempDir dir;
    for (int i = 0; i < 20000; ++i) {
        ASSERT_EQ(0, mknod(dir.File("e" + std::to_string(i)).c_str(), S_IFREG | 0600, 0));
    }
    const Names names = Scan(dir.Path() + "/e*");
    EXPECT_EQ(20000u, std::set<std::string>(names.begin(), names.end()).size());
    EXPECT_EQ(20000u, names.size());
}

} // namespace
