// HFile and the file-system operations with each system call failing in turn.
#include "hostfile/hfile.h"
#include "hostfile/hfiledir.h"
#include "support/faults.h"
#include "support/temp_dir.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Outcomes = std::set<std::string>;

std::string Told(bool done, int res) {
    return done ? "done" : "res " + std::to_string(res);
}

class HostFileFaults : public testing::Test {
  protected:
    // An operation that makes "to", or leaves all as it was. `old` is what "to" holds before, NIL for no such file.
    Outcomes Sweep(int error, const char* old, bool moves,
                   const std::function<bool(const char*, const char*, int&)>& act,
                   Faults::Kind kind = Faults::System) const {
        return ForEachFault(kind, error, [&](const Arm& arm) -> std::string {
            const TempDir here; // gone with the child's last words
            const std::string from = here.Write("from", content);
            const std::string to = here.File("to");
            if (old) here.Write("to", old);
            bool done = false;
            int res = -1;
            arm([&] { done = act(from.c_str(), to.c_str(), res); });
            const bool fromStays = here.Read("from") == content;
            const bool toStays = old ? here.Read("to") == old : !HFile::Exists(to.c_str());
            if (!done && (!fromStays || !toStays)) return "changed by a failure";
            if (done && (here.Read("to") != content || fromStays == moves)) return "wrong result";
            const std::size_t files = (done && moves ? 0U : 1U) + (done || old ? 1U : 0U);
            if (here.Count() != files) return "file left behind";
            if ((res == resDone) != done) return "result and code differ";
            return Told(done, res);
        });
    }
    const TempDir dir;
    const std::string content = std::string(100000, 'c') + "end";
};

TEST_F(HostFileFaults, CopyAndRenameMakeTheirTargetWholeOrLeaveAll) {
    const auto copy = [](const char* from, const char* to, int& res) { return HFile::Copy(from, to, res, false); };
    const auto replace = [](const char* from, const char* to, int& res) { return HFile::Copy(from, to, res, true); };
    const auto move = [](const char* from, const char* to, int& res) { return HFile::Rename(from, to, res); };
    const Outcomes doneOrFailed = {"done", "res 22"};
    EXPECT_EQ(doneOrFailed, Sweep(EIO, nullptr, false, copy));
    EXPECT_EQ(doneOrFailed, Sweep(EIO, nullptr, false, replace));
    EXPECT_EQ(doneOrFailed, Sweep(EIO, "old", false, replace));
    EXPECT_EQ(Outcomes{"res 22"}, Sweep(EIO, nullptr, true, move));
    EXPECT_EQ(Outcomes{"done"}, Sweep(ENOSYS, nullptr, true, move)); // there are other ways
    EXPECT_EQ(Outcomes{"done"}, Sweep(EXDEV, nullptr, true, move));
    Faults::plainCopies = true;
    EXPECT_EQ(doneOrFailed, Sweep(EIO, "old", false, replace));
    EXPECT_EQ(Outcomes{"res 15"}, Sweep(ENOSPC, "old", false, replace, Faults::Write));
    EXPECT_EQ(Outcomes{"done"}, Sweep(EINTR, nullptr, false, copy, Faults::Read));
    EXPECT_EQ(Outcomes{"done"}, Sweep(EINTR, nullptr, false, copy, Faults::Write));
    Faults::plainCopies = false;
}

TEST_F(HostFileFaults, MoveToAnotherFileSystemLeavesOneWholeFile) {
    struct stat here, there;
    if (stat(dir.Path().c_str(), &here) != 0 || stat("/dev/shm", &there) != 0 || here.st_dev == there.st_dev) {
        GTEST_SKIP() << "there is no second file system";
    }
    const std::string from = dir.File("from");
    const std::string to = "/dev/shm/vfile-test-" + std::to_string(getpid());
    const auto is = [](const std::string& name, const std::string& bytes) {
        std::ifstream f(name, std::ios::binary);
        return f && std::string(std::istreambuf_iterator<char>(f), {}) == bytes;
    };
    EXPECT_EQ((Outcomes{"done", "res 22"}), ForEachFault(Faults::System, EIO, [&](const Arm& arm) -> std::string {
                  dir.Write("from", content);
                  unlink(to.c_str());
                  bool done = false;
                  int res = 0;
                  arm([&] { done = HFile::Rename(from.c_str(), to.c_str(), res); });
                  if (!is(done ? to : from, content) || HFile::Exists((done ? from : to).c_str()))
                      return "not one file";
                  return Told(done, res);
              }));
    unlink(to.c_str());
}

TEST_F(HostFileFaults, EveryCallOfAnOpenFileIsTold) {
    EXPECT_EQ((Outcomes{"done", "res 22"}), ForEachFault(Faults::System, EIO, [&](const Arm& arm) {
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
                  if (done && (f.ReadBytes(back, 0), f.res != resDone)) return std::string("not usable again");
                  return Told(res == resDone, res);
              }));
}

TEST_F(HostFileFaults, TemporaryFilesAndScansEndCleanly) {
    EXPECT_EQ((Outcomes{"done", "res 22"}), ForEachFault(Faults::System, EIO, [&](const Arm& arm) {
                  HFile f;
                  char name[400];
                  bool done = false;
                  arm([&] { done = HFile::CreateTempFile(f, name, nullptr, nullptr, dir.Path().c_str(), false); });
                  return done == f.IsOpen() ? Told(done, f.res) : "open after a failure";
              }));
    const TempDir scanned;
    for (const char* name : {"a1", "a2", "b"}) scanned.Write(name, "");
    for (const auto kind : {Faults::Heap, Faults::System}) {
        const Outcomes outcomes = ForEachFault(kind, EIO, [&](const Arm& arm) {
            int found = 0;
            arm([&] {
                HFileDir scan;
                char name[261];
                for (bool more = scan.FindFirst(name, (scanned.Path() + "/a*").c_str()); more;
                     more = scan.FindNext(name))
                    ++found;
                scan.Stop();
            });
            return found == 2 ? "done" : "fewer";
        });
        EXPECT_EQ(0U, outcomes.count("died") + outcomes.count("fewer LEAK") + outcomes.count("done LEAK"));
    }
}

} // namespace
