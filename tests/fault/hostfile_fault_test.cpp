// HFile and the file-system operations with each system call failing in turn.
#include "hostfile/hfile.h"
#include "hostfile/hfiledir.h"
#include "support/faults.h"
#include "support/temp_dir.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using Outcomes = std::set<std::string>;

std::string Told(bool done, int res) {
    return done ? "done" : "res " + std::to_string(res);
}

// An operation that makes "to" in the directory `target`, or leaves all as it was. `old` is what "to" holds before, NIL
// for no such file.
Outcomes Sweep(int error, const char* old, bool moves, const std::function<bool(const char*, const char*, int&)>& act,
               Faults::Kind kind = Faults::System, const char* target = nullptr) {
    const std::string content = std::string(100000, 'c') + "end";
    return ForEachFault(kind, error, [&](const Arm& arm) -> std::string {
        const TempDir here, there(target); // gone with the child's last words
        const std::string from = here.Write("from", content), to = there.File("to");
        if (old) there.Write("to", old);
        bool done = false;
        int res = -1;
        arm([&] { done = act(from.c_str(), to.c_str(), res); });
        const bool fromStays = here.Read("from") == content;
        const bool toStays = old ? there.Read("to") == old : there.Count() == 0;
        if (!done && (!fromStays || !toStays)) return "changed by a failure";
        if (done && (there.Read("to") != content || fromStays == moves)) return "wrong result";
        if (here.Count() != fromStays || there.Count() != (done || old)) return "file left behind";
        return (res == resDone) == done ? Told(done, res) : "result and code differ";
    });
}

const Outcomes doneOrFailed = {"done", "res 22"};

TEST(HostFileFaults, CopyAndRenameMakeTheirTargetWholeOrLeaveAll) {
    const auto copy = [](const char* from, const char* to, int& res) { return HFile::Copy(from, to, res, false); };
    const auto replace = [](const char* from, const char* to, int& res) { return HFile::Copy(from, to, res, true); };
    const auto move = [](const char* from, const char* to, int& res) { return HFile::Rename(from, to, res); };
    EXPECT_EQ(doneOrFailed, Sweep(EIO, nullptr, false, copy));
    EXPECT_EQ(doneOrFailed, Sweep(EIO, nullptr, false, replace));
    EXPECT_EQ(doneOrFailed, Sweep(EIO, "old", false, replace));
    EXPECT_EQ(Outcomes{"res 22"}, Sweep(EIO, nullptr, true, move));
    EXPECT_EQ(Outcomes{"done"}, Sweep(ENOSYS, nullptr, true, move)); // there are other ways
    EXPECT_EQ(Outcomes{"done"}, Sweep(EXDEV, nullptr, true, move));
    const char* const apart = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : nullptr; // mostly another file system
    Outcomes across = Sweep(EIO, nullptr, true, move, Faults::System, apart);
    across.insert("done");
    EXPECT_EQ(doneOrFailed, across);
    Faults::plainCopies = true;
    EXPECT_EQ(doneOrFailed, Sweep(EIO, "old", false, replace));
    EXPECT_EQ(Outcomes{"res 15"}, Sweep(ENOSPC, "old", false, replace, Faults::Write));
    EXPECT_EQ(Outcomes{"done"}, Sweep(EINTR, nullptr, false, copy, Faults::Read));
    EXPECT_EQ(Outcomes{"done"}, Sweep(EINTR, nullptr, false, copy, Faults::Write));
    Faults::plainCopies = false;
}

TEST(HostFileFaults, EveryCallOfAnOpenFileIsTold) {
    const TempDir dir;
    EXPECT_EQ(doneOrFailed, ForEachFault(Faults::System, EIO, [&](const Arm& arm) {
                  HFile f;
                  char back[4] = "";
                  bool done = false;
                  arm([&] {
                      done = f.Create(dir.File("f").c_str(), true);
                      if (done) f.WriteBytes("abcdef", 6);
                      if (f.res == resDone) f.Truncate();
                      if (f.res == resDone) f.Flush();
                      if (f.res == resDone) f.Reset();
                      if (f.res == resDone) f.ReadBytes(back, 3);
                  });
                  const Res res = f.res;
                  if (done != f.IsOpen()) return std::string("open after a failure");
                  if (res == resDone && std::strcmp(back, "abc") != 0) return std::string("wrong bytes");
                  f.SetPos(0);
                  return done && f.res != resDone ? "not usable again" : Told(res == resDone, res);
              }));
    HFile f;
    f.Create(dir.File("f").c_str(), true);
    Faults::DiskFullAfter(3);
    f.WriteBytes("abcdef", 6);
    Faults::Disarm();
    EXPECT_TRUE(f.res == resDiskFull && f.GetPos() == 3);
}

TEST(HostFileFaults, TemporaryFilesAndScansEndCleanly) {
    const TempDir dir, scanned;
    EXPECT_EQ(doneOrFailed, ForEachFault(Faults::System, EIO, [&](const Arm& arm) {
                  HFile f;
                  char name[400];
                  bool done = false;
                  arm([&] { done = HFile::CreateTempFile(f, name, nullptr, nullptr, dir.Path().c_str(), false); });
                  return done == f.IsOpen() ? Told(done, f.res) : "open after a failure";
              }));
    for (const char* name : {"a1", "a2", "b"}) scanned.Write(name, "");
    for (const auto kind : {Faults::Heap, Faults::System}) {
        for (const std::string& outcome : ForEachFault(kind, EIO, [&](const Arm& arm) {
                 int found = 0;
                 arm([&] {
                     HFileDir scan;
                     char name[261];
                     const std::string all = scanned.Path() + "/a*";
                     for (bool more = scan.FindFirst(name, all.c_str()); more; more = scan.FindNext(name)) ++found;
                 });
                 return found == 2 ? "done" : "fewer";
             })) {
            EXPECT_TRUE(outcome == "done" || outcome == "fewer") << outcome;
        }
    }
}

} // namespace
