// A file that is saved is the old or the new one, and gives as much access as before.
#include "hostfile/hfilesave.h"

#include "hostfile/hostfile_support.h"
#include "support/faults.h"

namespace {

Res Save(const std::string& name, const char* content, int how = 0, HFileStamp* stamp = nullptr) {
    HFileSave save;
    const auto size = static_cast<ssize_t>(std::strlen(content));
    if (!save.Hold(name.c_str(), how, stamp) || !save.Begin(size)) return save.res;
    if (write(DescriptorOf(save.Handle()), content, std::strlen(content)) != size) return -1;
    save.Commit(stamp);
    return save.res;
}

std::string Attribute(const std::string& name, const char* attribute) {
    char value[256];
    const ssize_t n = getxattr(name.c_str(), attribute, value, sizeof value);
    return n < 0 ? "none" : std::string(value, static_cast<std::size_t>(n));
}

TEST(HFileSave, KeepsListsAndAttributes) {
    const TempDir dir;
    const std::string listed = dir.Write("listed", "old"), plain = dir.Write("plain", "old");
    chmod(plain.c_str(), 0640);
    const Entries all = {{1, 6}, {2, 6}, {4, 0}, {16, 6}, {32, 0}};
    if (!GiveList(listed, AccessList, {{1, 6}, {2, 6}, {4, 0}, {16, 4}, {32, 0}}) ||
        !GiveList(dir.Path(), DefaultList, all) || setxattr(listed.c_str(), "user.a", "b", 1, 0) != 0)
        GTEST_SKIP() << "this file system keeps no lists or no attributes";
    const std::string list = Attribute(listed, AccessList);
    for (const std::string& name : {listed, plain, dir.File("fresh")}) ASSERT_EQ(resDone, Save(name, "new"));
    EXPECT_TRUE(dir.Read("listed") == "new" && Attribute(listed, "user.a") == "b");
    EXPECT_EQ(list, Attribute(listed, AccessList));
    EXPECT_EQ("none", Attribute(plain, AccessList)) << "the directory's list lets others in";
    EXPECT_EQ(Attribute(dir.Path(), DefaultList), Attribute(dir.File("fresh"), AccessList)) << "as every new file here";
}

// Whichever call of the system fails: told, and all is as it was; or got over.
TEST(HFileSave, LeavesTheOldOrTheNewFile) {
    const auto outcomes = [](Faults::Kind kind, int error, bool exists, bool lasting = false, int how = 0) {
        const auto run = [exists, how](const Arm& arm) -> std::string {
            const TempDir dir;
            const std::string name = dir.File("file");
            if (exists) chmod(dir.Write("file", "old").c_str(), 0640);
            Res res = -1;
            arm([&] { res = Save(name, "new", how); });
            const bool done = res == resDone;
            if (dir.Count() != (exists || done)) return "left behind";
            if (exists && ModeOf(name) != 0640) return "wrong mode";
            if (!done && how == hsWriteInPlace) return "told";
            return dir.Read("file") != (done ? "new" : exists ? "old" : "") ? "wrong content" : done ? "done" : "told";
        };
        return ForEachFault(kind, error, run, lasting);
    };
    const std::set<std::string> done = {"done"}, told = {"told"}, either = {"done", "told"};
    for (const int way : {0, 1, 2, 3}) {
        Faults::plainMoves = way < 2;
        EXPECT_EQ(either, outcomes(Faults::System, EIO, way % 2)) << way;
        EXPECT_EQ(told, outcomes(Faults::Write, ENOSPC, way % 2)) << way;
    }
    for (const auto kind : {Faults::Close, Faults::Flush}) { // told of the file, got over of the directory
        for (const bool exists : {false, true}) EXPECT_EQ(either, outcomes(kind, EIO, exists)) << kind;
        EXPECT_EQ(kind == Faults::Flush ? told : either, outcomes(kind, EIO, true, false, hsWriteInPlace));
        EXPECT_EQ(done, outcomes(kind, EINTR, true)) << kind;
    }
    EXPECT_EQ(either, outcomes(Faults::System, EACCES, true, false, hsMayWriteInPlace));
    EXPECT_EQ(told, outcomes(Faults::Heap, 0, true));
    EXPECT_EQ(told, outcomes(Faults::Lock, EWOULDBLOCK, true, true));
    EXPECT_EQ(done, outcomes(Faults::Lock, ENOLCK, true, true));
}

TEST(HFileSave, TellsWhereAFileCantBeReplaced) {
    const TempDir dir;
    const bool root = geteuid() == 0;
    for (const char* sub : {"open", "closed", "sticky"}) {
        fs::create_directory(dir.File(sub));
        for (const char* name : {"/f", "/g"}) chmod(dir.Write(sub + std::string(name), "old").c_str(), 0666);
    }
    for (const auto& [name, mode] : {std::pair{"open/read", 0444}, {"open/blind", 0222}, {"open/suid", 04666}})
        chmod(dir.Write(name, "old").c_str(), static_cast<mode_t>(mode));
    fs::create_hard_link(dir.File("open/g"), dir.File("open/other"));
    fs::create_symlink("f", dir.File("open/link"));
    fs::create_symlink("fresh", dir.File("open/dangling"));
    HFile holder;
    ASSERT_TRUE(holder.Open(dir.Write("open/held", "old").c_str()));
    for (const auto& [name, mode] : {std::pair{"", 0755}, {"open", 0777}, {"closed", 0555}, {"sticky", 01777}})
        chmod(dir.File(name).c_str(), static_cast<mode_t>(mode));
    // What comes of it, how, the name, and what it then holds.
    std::istringstream rows("0 0 open/f new 6 1 open/f new 0 0 open/link new 0 1 open/dangling new 17 0 open/held old "
                            "18 8 open/g old 0 10 open/g new 0 0 open/other new 18 0 closed/f old 0 2 closed/f new "
                            "0 4 closed/g new 17 0 closed/none none 18 0 sticky/f old 0 2 sticky/f new 11 0 open none "
                            "9 0 no/f none 11 2 /dev/null none 9 0 open/no/ none 17 0 open/read old "
                            "0 0 open/blind none 0 0 open/suid new");
    Res res;
    int how;
    for (std::string name, held; rows >> res >> how >> name >> held;) {
        if (!root && name == "sticky/f") continue; // the directory is the user's own
        const std::string at = name[0] == '/' ? name : dir.File(name);
        EXPECT_TRUE(AsPlainUser([&] { return Save(at, "new", how) == res; })) << name << how;
        EXPECT_EQ(held, held == "none" ? held : dir.Read(name)) << name << how;
    }
    EXPECT_EQ("new old", dir.Read("open/other") + " " + dir.Read("sticky/g"));
    EXPECT_TRUE(fs::is_symlink(dir.File("open/link")) && dir.Read("open/fresh") == "new");
    const auto count = [&] { return std::distance(fs::recursive_directory_iterator(dir.Path()), {}); };
    EXPECT_EQ(17, count()) << "no draft";
    EXPECT_EQ(root ? 0666u : 04666u, ModeOf(dir.File("open/suid"))) << "of whom it belongs to now, unless it did";
    chmod(dir.File("closed").c_str(), 0755);
    for (const int way : {0, hsMayWriteInPlace}) // where nothing can be made beside a file
        EXPECT_EQ(way == 0 ? resNotSupported : resDone, Save("/proc/self/comm", "name", way));

    const auto lowest = [] {
        const int fd = dup(STDERR_FILENO);
        close(fd);
        return fd;
    };
    HFileSave save;
    const int free = lowest();
    for (const char* name : {"open/f", "open", "no/f"}) {
        if (save.Hold(dir.File(name).c_str())) save.Commit();
        EXPECT_EQ(free, lowest()) << name << " is let go of, and its directory";
    }
}

TEST(HFileSave, SeesWhatOthersHaveChanged) {
    const TempDir dir;
    const std::string name = dir.Write("f", "loaded");
    HFile in;
    HFileStamp stamp;
    ASSERT_TRUE(in.OpenSeqRead(name.c_str()) && stamp.Take(in.handle) && !HFileStamp().Take(HandleOf(0)));
    in.Close();
    EXPECT_EQ(resDone, Save(name, "mine", 0, &stamp));
    EXPECT_EQ(resDone, Save(name, "mine2", 0, &stamp)); // the stamp is that of the last saving
    dir.Write("f", "his02");
    EXPECT_EQ(resContextError, Save(name, "mine", 0, &stamp));
    EXPECT_EQ("his02", dir.Read("f"));
    EXPECT_EQ(resDone, Save(name, "mine", hsForce, &stamp));
    int lost = 0;
    for (int n = 1; n == 1 || Faults::Fired(); ++n) { // between the last look and the last step there is no call
        const std::string other = dir.Write("other", "another"), its = dir.Write("f", "old");
        ASSERT_TRUE(in.OpenSeqRead(name.c_str()) && stamp.Take(in.handle));
        in.Close();
        Faults::CallAt(n, [&] { fs::rename(other, its); });
        Save(name, "mine", 0, &stamp);
        Faults::Disarm();
        lost += Faults::Fired() && dir.Read("f") != "another";
        fs::remove(other);
    }
    EXPECT_EQ(1, lost);
    HFileSave late;
    ASSERT_TRUE(late.Hold(name.c_str(), 0));
    const auto time = fs::last_write_time(name);
    dir.Write("f", "MINE");
    fs::last_write_time(name, time);
    EXPECT_FALSE(late.Commit()) << "as long as before, and not younger";
    dir.Write("f", "mine");
    for (const int how : {0, +hsWriteInPlace}) {
        HFileSave save;
        EXPECT_TRUE(save.Hold(name.c_str(), how) && save.Holds(save.Handle()) == (how != 0));
        EXPECT_EQ("", InChild([&] { return save.Cancel(), ""; }));
        EXPECT_EQ(resNoPermission, Save(name, "his", how)) << "a child has given up what is its parent's";
        chmod(name.c_str(), how ? 0640 : 0600);
        EXPECT_FALSE(save.Begin(0) && save.Commit());
        EXPECT_TRUE(save.outcome == HFileSave::Outcome::Changed && !save.Commit() && dir.Count() == 1);
        EXPECT_TRUE(dir.Read("f") == "mine" && (save.Cancel(), !save.Commit() && save.res == resCallError));
    }
    int res;
    EXPECT_TRUE(HFile::ReplaceName(dir.Write("g", "g").c_str(), name.c_str(), res) && dir.Read("f") == "g");
    EXPECT_TRUE(HFile::FlushDirectory(dir.Path().c_str(), res) && HFile::FlushDirectory("") && dir.Count() == 1);
    EXPECT_TRUE(!HFile::ReplaceName(dir.File("no").c_str(), name.c_str(), res) && res == resNotFound);
    EXPECT_TRUE(!HFile::FlushDirectory(dir.File("no").c_str(), res) && res == resIllegalPath);
}

} // namespace
