// HFile, temporary files and scans with each system call failing in turn.
#include "hostfile/hfile.h"
#include "hostfile/hfiledir.h"
#include "support/faults.h"
#include "support/temp_dir.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>

namespace {

const Outcomes doneOrFailed = {"done", "res 22"};

std::string Told(int res) {
    return res == resDone ? "done" : "res " + std::to_string(res);
}

TEST(HFileFaults, EveryCallOfAnOpenFileIsTold) {
    const TempDir dir;
    EXPECT_EQ(doneOrFailed, Different(ForEachFault(Faults::System, EIO, [&](const Arm& arm) {
                  HFile f;
                  char back[4] = "";
                  bool opened = false;
                  arm([&] {
                      opened = f.Create(dir.File("f").c_str(), true);
                      if (opened) f.WriteBytes("abcdef", 6);
                      if (f.res == resDone) f.Truncate();
                      if (f.res == resDone) f.Flush();
                      if (f.res == resDone) f.Reset();
                      if (f.res == resDone) f.ReadBytes(back, 3);
                  });
                  if (opened != f.IsOpen()) return std::string("open after a failure");
                  if (f.res == resDone && std::strcmp(back, "abc") != 0) return std::string("wrong bytes");
                  return Told(f.res);
              })));
}

TEST(HFileFaults, TemporaryFilesAndScansEndCleanly) {
    const TempDir dir;
    EXPECT_EQ(doneOrFailed, Different(ForEachFault(Faults::System, EIO, [&](const Arm& arm) {
                  HFile f;
                  char name[400];
                  bool made = false;
                  arm([&] { made = HFile::CreateTempFile(f, name, nullptr, nullptr, dir.Path().c_str(), false); });
                  return made == f.IsOpen() && made == (f.res == resDone) ? Told(f.res) : "result and state differ";
              })));
    const TempDir scanned;
    for (const char* name : {"a1", "a2", "b"}) scanned.Write(name, "");
    for (const auto kind : {Faults::Heap, Faults::System}) {
        for (const std::string& outcome : ForEachFault(kind, EIO, [&](const Arm& arm) {
                 int found = 0;
                 arm([&] {
                     HFileDir scan;
                     char name[261];
                     const std::string pattern = scanned.Path() + "/a*";
                     for (bool more = scan.FindFirst(name, pattern.c_str()); more; more = scan.FindNext(name)) ++found;
                 });
                 return found == 2 ? "done" : "fewer";
             })) {
            EXPECT_TRUE(outcome == "done" || outcome == "fewer") << outcome;
        }
    }
}

} // namespace
