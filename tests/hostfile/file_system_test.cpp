// HFile and HFileDir: the file system. Ways that not every file system has: file_system_ways_test.cpp.
#include "hostfile/hfiledir.h"
#include "hostfile/hostfile_support.h"
#include "platform/dirs.h"

#include <set>

namespace platform = vfile_internal::platform;

namespace {

TEST_F(OnFiles, AttributesAndRemovalOfWhatIsThereAndWhatIsNot) {
    const std::string at = dir.Write("f", ""), sub = dir.File("sub"), link = dir.File("link");
    fs::create_symlink("f", link);
    fs::create_directory(sub);
    for (const std::string& name : {at, sub + "\\", link})
        EXPECT_TRUE(HFile::Exists(name.c_str()) && HFile::IsDirectory(name.c_str()) == (name.back() == '\\'));
    for (const char* none : {"/nonexistent/x", "", static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(HFile::Exists(none) || HFile::IsDirectory(none) || HFile::IsReadOnly(none) ||
                     HFile::SetReadOnly(none, true) || HFile::SetReadOnly(none, false));
    }
    chmod(at.c_str(), 0675);
    for (const bool on : {true, true, false, false}) {
        EXPECT_TRUE(HFile::SetReadOnly(at.c_str(), on) && HFile::IsReadOnly(at.c_str()) == on);
        EXPECT_EQ(on ? 0475u : 0675u, ModeOf(at)); // nobody else's permission has changed
    }
    // Each with what comes of it; the link first, whose file stays.
    std::istringstream rows("link 0 f 0 f 14 sub/no/x 9 sub 17");
    Res code;
    for (std::string name; rows >> name >> code;) {
        int res = -1;
        EXPECT_TRUE(HFile::Remove(dir.File(name).c_str(), res) == (code == resDone) && res == code) << name << res;
    }
}

TEST_F(OnFiles, CopyFollowsLinksAndRefusesWithTheReason) {
    for (const char* name : {"from", "held", "there"}) dir.Write(name, name);
    fs::create_directory(dir.File("sub"));
    fs::create_hard_link(dir.File("from"), dir.File("hard"));
    for (const auto& [name, to] : {std::pair{"soft", "from"}, {"loop", "loop"}, {"to-missing", "missing"}})
        fs::create_symlink(to, dir.File(name));
    for (int i = 1; i <= 40; ++i) // as many as the system follows
        fs::create_symlink(i < 40 ? dir.File("to-there") + std::string(i, '2') : "there",
                           dir.File("to-there") + std::string(i - 1, '2'));
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600)); // which nothing here may wait for
    HFile writer;
    ASSERT_TRUE(f.OpenSeqRead(dir.File("held").c_str()));
    ASSERT_TRUE(writer.Create(dir.File("written").c_str(), false));
    const std::size_t before = dir.Count();
    // What comes of it, whether to replace, from, to.
    std::istringstream rows("14 0 none new 9 0 no/x new 9 1 from no/new 9 1 from loop 6 0 from held 6 0 from from "
                            "6 0 from to-missing 17 0 written new 17 1 from held 17 1 sub new 17 1 from sub "
                            "17 1 fifo new 21 1 from fifo 9 0 from new/ 9 1 from new/ 17 1 from sub\\..\\from 17 1 "
                            "from hard 17 1 from soft "
                            "17 1 soft from");
    Res res;
    bool overwrite;
    for (std::string from, to; rows >> res >> overwrite >> from >> to;)
        EXPECT_EQ(res, CopyRes(dir.File(from), dir.File(to), overwrite)) << from << " " << to;
    EXPECT_EQ(before, dir.Count());
    for (const std::string name : {"there", "missing"}) {
        EXPECT_EQ(resDone, CopyRes(dir.File("from"), dir.File("to-" + name), true));
        EXPECT_TRUE(fs::is_symlink(dir.File("to-" + name)) && dir.Read(name) == "from") << name;
    }
    EXPECT_EQ(resDone, CopyRes(dir.File("held"), dir.File("new"), false)); // shared with the reader
    chmod(dir.Path().c_str(), 0777);
    chmod(dir.File("new").c_str(), 0444);
    EXPECT_TRUE(AsPlainUser([&] { return CopyRes(dir.File("from"), dir.File("new"), true) == resNoPermission; }));
    EXPECT_EQ("held held", dir.Read("held") + " " + dir.Read("new")); // though its directory may be written
}

TEST_F(OnFiles, CopyWritesInPlaceWhatItCantReplace) {
    const std::string from = dir.Write("from", "from");
    for (const int mode : {0755, 01777}) { // of a directory of root's; of one's own, the first refuses it as well
        for (const int bits : {0644, 0600}) {
            const TempDir at;
            chmod(at.Write("f", "old").c_str(), 0666);
            chmod(at.Path().c_str(), geteuid() == 0 ? mode : mode & ~0222);
            chmod(from.c_str(), bits);
            ASSERT_TRUE(geteuid() != 0 || chown(from.c_str(), 65534, 65534) == 0);
            chmod(dir.Path().c_str(), 0755);
            const bool done = AsPlainUser([&] { return CopyRes(from, at.File("f"), true) == resDone; });
            EXPECT_EQ(done ? "from" : "old", at.Read("f"));
            EXPECT_TRUE(bits == 0644 ? done : !done || (ModeOf(at.File("f")) & 044) == 0); // no secret comes out
            EXPECT_EQ(1u, at.Count());
            chmod(at.Path().c_str(), 0700);
        }
    }
    const int log = open(dir.Write("log", "log ").c_str(), O_WRONLY | O_APPEND);
    fs::create_symlink("/proc/self/fd/" + std::to_string(log), dir.File("out"));
    EXPECT_EQ(resDone, CopyRes(from, dir.File("out"), true) + CopyRes(from, "/dev/null", true));
    close(log);
    EXPECT_EQ("log from", dir.Read("log"));
}

TEST_F(OnFiles, CopyGivesNoMoreAccessThanItsSourceAndTheUmask) {
    const std::tuple<mode_t, Entries, bool, mode_t, unsigned> rows[] = {
        {0666, {}, false, 027, 0640},
        {0640, {}, true, 0, 0600},
        {0664, {}, true, 0, 0644},
        {0600, {{1, 6}, {2, 4}, {4, 0}, {16, 4}, {32, 0}}, false, 0, 0600},
        {0600, {{1, 6}, {4, 6}, {8, 0}, {16, 4}, {32, 4}}, false, 0, 0600}};
    for (const auto& [bits, list, strange, mask, given] : rows) {
        const std::string from = dir.Write("from", "");
        chmod(from.c_str(), bits);
        if (strange && chown(from.c_str(), geteuid(), getegid() + 1) != 0) continue; // a group that only root may give
        if (!list.empty() && !GiveList(from, AccessList, list)) continue; // the file system has no such lists
        const mode_t old = umask(mask);
        EXPECT_EQ(resDone, CopyRes(from, dir.File("to"), true));
        umask(old);
        EXPECT_EQ(given, ModeOf(dir.File("to")));
        fs::remove(from);
    }
}

using Names = std::multiset<std::string>;

Names Scan(const std::string& pattern, Res res = resDone, std::int32_t skipped = 0) {
    Names names;
    HFileDir scan;
    std::vector<char> name(261);
    for (bool more = scan.FindFirst(name.data(), pattern.c_str()); more; more = scan.FindNext(name.data()))
        names.insert(name.data());
    EXPECT_STREQ("", name.data());
    EXPECT_EQ(static_cast<std::int32_t>(names.size()), scan.Count());
    EXPECT_TRUE(scan.Result() == res && scan.Skipped() == skipped) << pattern;
    return names;
}

TEST(HFileDir, PatternsMatchAsTheirRulesSay) {
    // Each pattern with names that match, and after '!' names that don't; the last one in a bearable time.
    std::istringstream words("* a a.b .hidden . .. ; *.* a a.b .hidden . .. a.b.c ; *. a a. a.b. ! a.b .b a.b.c ; "
                             "a.* a a. a.b a.b.c ! ab a1.b A.b ; *.txt a.txt .txt a.b.txt ! a.txt2 txt a.TXT ; "
                             "? a ! ab . .a ; a?c abc ! ac a.c abbc ; a??.x a.x ab.x abc.x ! abcd.x x.x ; "
                             "*b*c abc bc abbcc ! acb b ; [a]* [a] [a]b ! a ; a.b a.b ! a aXb a.b.c ; "
                             "*a*a*a*a*a*a*a*a*a*a*a*b aaaaaaaaaaab ! " +
                             std::string(60, 'a'));
    for (std::string pattern, name; words >> pattern;) {
        bool match = true;
        while (words >> name && name != ";") {
            if (name == "!") match = false;
            EXPECT_TRUE(name == "!" || match == platform::MatchesPattern(name.c_str(), pattern.c_str())) << pattern;
        }
    }
}

TEST_F(OnFiles, ComeOutOfAScanInFullAndTheRestAsJoined) {
    const auto old = fs::current_path();
    const std::string at = fs::canonical(dir.Path()).string(), longest(260 - at.size() - 1, 'l');
    fs::current_path(at);
    // The fourth can't be named, nor the last with the directory in front, and the third has no full name.
    for (const std::string& name : {"one.txt"s, ".hidden"s, longest, "back\\slash"s, longest + "l"})
        dir.Write(name, "");
    for (const char* name : {"sub", "c:"}) fs::create_directory(name);
    ASSERT_EQ(0, mkfifo("fifo", 0600));
    struct flock lock = {};
    lock.l_type = F_WRLCK; // one of the host's own, which must outlive all questions
    const int fd = open("one.txt", O_RDWR);
    ASSERT_EQ(0, fcntl(fd, F_SETLK, &lock));
    EXPECT_EQ((Names{at + "/fifo", at + "/one.txt", at + "/.hidden", at + "\\" + longest, at + "\\.", at + "\\..",
                     at + "\\sub", at + "\\c:"}),
              Scan(at + "\\*.*", resDone, 2));
    for (const auto& [none, res] : {std::pair{"c:*"s, resIllegalPath},
                                    {"*.none"s, resDone},
                                    {"none/*"s, resIllegalPath},
                                    {"none/one"s, resIllegalPath},
                                    {"sub/"s, resDone},
                                    {"sub/x*"s, resDone},
                                    {"sub/x"s, resDone},
                                    {std::string(261, '*'), resIllegalName}})
        EXPECT_EQ(Names{}, Scan(none, res)) << none;
    for (const std::string& one : {"o*"s, at + "\\one.txt"}) EXPECT_EQ(Names{at + "/one.txt"}, Scan(one));
    EXPECT_EQ("held", InChild([&] { return fcntl(fd, F_GETLK, &lock), lock.l_type == F_UNLCK ? "free" : "held"; }));
    close(fd);
    EXPECT_EQ(Names{"./sub"}, Scan("./s*"));
    chmod(at.c_str(), 0111); // for searching only
    EXPECT_TRUE(AsPlainUser([&] {
        HFileDir scan;
        return Scan("one.txt").count(at + "/one.txt") == 1 && !scan.FindFirst(buf, "*") &&
               scan.Result() == resNoPermission;
    }));
    chmod(at.c_str(), 0700);
    fs::current_path(old);
}

TEST_F(OnFiles, ScanStatesFollowTheCalls) {
    const std::string all = dir.Path() + "/*";
    HFileDir scan(all.c_str());
    EXPECT_TRUE(!scan.FindNext(nullptr) && scan.FindNext(buf) && !scan.FindNext(nullptr) && scan.Count() == 1);
    scan.Start(all.c_str()); // anew
    EXPECT_TRUE(scan.Count() == 0 && scan.FindNext(buf) && scan.FindNext(buf) && !scan.FindNext(buf));
    dir.Write("late", "");
    EXPECT_TRUE(!scan.FindNext(buf) && scan.Count() == 2); // the end stays the end
    scan.Stop();
    EXPECT_TRUE(!scan.FindNext(buf) && scan.Count() == 0);
    EXPECT_TRUE(scan.FindFirst(buf, all.c_str()) && !scan.FindFirst(nullptr, all.c_str()) && !scan.FindNext(buf));
    EXPECT_TRUE(!scan.FindFirst(buf, nullptr) && !*buf);
}

} // namespace
