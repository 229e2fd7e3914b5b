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
    for (const char* none : {"c:*", "*.none", "none/*", "sub/", "sub/x*"}) EXPECT_EQ(Names{}, Scan(none)) << none;
    EXPECT_EQ(Names{}, Scan(std::string(261, '*')));
    for (const std::string& one : {std::string("o*"), at + "\\one.txt"}) EXPECT_EQ(Names{at + "/one.txt"}, Scan(one));
    EXPECT_EQ(Names{"./sub"}, Scan("./s*"));
    fs::current_path(old);
}

TEST(HFileDir, StatesFollowTheCalls) {
    const TempDir dir;
    const std::string all = dir.Path() + "/*", late = dir.File("late");
    char name[261] = "old";
    HFileDir scan(all.c_str());
    EXPECT_TRUE(!scan.FindNext(nullptr) && scan.FindNext(name) && !scan.FindNext(nullptr) && scan.Count() == 1);
    scan.Start(all.c_str()); // anew
    EXPECT_TRUE(scan.Count() == 0 && scan.FindNext(name) && scan.FindNext(name) && !scan.FindNext(name));
    EXPECT_TRUE(!scan.FindFirst(name, late.c_str()) && scan.FindFirst(name, all.c_str()) && scan.FindNext(name));
    EXPECT_FALSE(scan.FindNext(name));
    dir.Write("late", "");
    EXPECT_TRUE(!scan.FindNext(name) && scan.Count() == 2); // the end stays the end
    scan.Stop();
    EXPECT_TRUE(!scan.FindNext(name) && scan.Count() == 0);
    EXPECT_TRUE(!scan.FindFirst(name, (late + "r").c_str()) && (dir.Write("later", ""), !scan.FindNext(name)));
    EXPECT_TRUE(scan.FindFirst(name, all.c_str()) && !scan.FindFirst(nullptr, all.c_str()) && !scan.FindNext(name));
    EXPECT_TRUE(!scan.FindFirst(name, nullptr) && !*name);
}

} // namespace
