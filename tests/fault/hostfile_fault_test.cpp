// HFile and the file-system operations with each system call failing in turn.
#include "hostfile/hfile.h"
#include "hostfile/hfiledir.h"
#include "support/faults.h"
#include "support/test.h"

namespace {

using namespace std::string_literals;
using Outcomes = std::set<std::string>;

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
        if (done ? there.Read("to") != content || fromStays == moves : !fromStays) return "wrong result";
        if (!done && (old ? there.Read("to") != old : there.Count() != 0)) return "changed by a failure";
        if (here.Count() != fromStays || there.Count() != (done || old)) return "file left behind";
        if ((res == resDone) != done) return "result and code differ";
        return done ? "done" : "res " + std::to_string(res);
    });
}

const Outcomes doneOrFailed = {"done", "res 22"};

TEST(HostFileFaults, CopyAndRenameMakeTheirTargetWholeOrLeaveAll) {
    const auto copy = [](const char* from, const char* to, int& res) { return HFile::Copy(from, to, res, false); };
    const auto replace = [](const char* from, const char* to, int& res) { return HFile::Copy(from, to, res, true); };
    const auto move = [](const char* from, const char* to, int& res) { return HFile::Rename(from, to, res); };
    EXPECT_EQ(doneOrFailed, Sweep(EIO, nullptr, false, copy));
    EXPECT_EQ(doneOrFailed, Sweep(EIO, "old", false, replace));
    EXPECT_EQ(Outcomes{"res 22"}, Sweep(EIO, nullptr, true, move));
    EXPECT_EQ(Outcomes{"done"}, Sweep(EXDEV, nullptr, true, move));
    EXPECT_EQ(Outcomes{"done"}, Sweep(ENOSYS, nullptr, true, move));                // there are other ways
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

TEST(HostFileFaults, FilesAndScansTellEveryFailure) {
    const TempDir dir;
    for (const bool temp : {false, true}) {
        const auto run = [&](const Arm& arm) {
            HFile f;
            char name[400], back[4] = "";
            bool done = false;
            arm([&] {
                done = temp ? HFile::CreateTempFile(f, name, nullptr, nullptr, dir.Path().c_str(), false)
                            : f.Create(dir.File("f").c_str(), true);
                if (done) f.WriteBytes("abcdef", 6);
                if (f.res == resDone) f.Truncate();
                if (f.res == resDone) f.Flush();
                if (f.res == resDone) f.Reset();
                f.ReadBytes(back, 3);
            });
            const Res res = f.res;
            f.SetPos(0);
            if (done != f.IsOpen() || done != (f.res == resDone)) return "open after a failure, or not usable"s;
            if (res == resDone) return back == "abc"s ? "done"s : "wrong bytes"s;
            return "res " + std::to_string(res);
        };
        EXPECT_EQ(doneOrFailed, ForEachFault(Faults::System, EIO, run));
    }
    const auto scan = [&](const Arm& arm) {
        HFileDir found;
        char name[261];
        bool done = false; // an entry, and behind it the end
        arm([&] { done = found.FindFirst(name, dir.File("f*").c_str()) && !found.FindNext(name); });
        return done ? "done" : "res 22";
    };
    EXPECT_EQ(doneOrFailed, ForEachFault(Faults::System, EIO, scan));
    HFile f;
    f.Create(dir.File("f").c_str(), true);
    Faults::DiskFullAfter(3);
    f.WriteBytes("abcdef", 6);
    Faults::Disarm();
    EXPECT_TRUE(f.res == resDiskFull && f.GetPos() == 3);
}

} // namespace
