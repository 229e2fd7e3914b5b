// HFile and the file-system operations with each system call failing in turn.
#include "hostfile/hfile.h"
#include "hostfile/hfiledir.h"
#include "support/faults.h"
#include "support/test.h"

#include <sys/socket.h>

namespace {

using namespace std::string_literals;
using Outcomes = std::set<std::string>;

// An operation that makes "to" in the directory `target`, or leaves all as it was. `old` is what "to" holds before,
// null for no such file.
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

// A directory there, null if none is known.
const char* OtherFileSystem() {
    struct stat here, there;
    stat(std::filesystem::temp_directory_path().c_str(), &here);
    return stat("/dev/shm", &there) == 0 && here.st_dev != there.st_dev && access("/dev/shm", W_OK) == 0 ? "/dev/shm"
                                                                                                         : nullptr;
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
    EXPECT_EQ(Outcomes{"done"}, Sweep(ENOSYS, nullptr, true, move)); // there are other ways
    EXPECT_EQ((Outcomes{"done", "res 17"}), Sweep(EACCES, "old", false, replace));
    const char* const other = OtherFileSystem();
    const auto kinds = {Faults::System, Faults::Close, Faults::Flush};
    for (auto kind = kinds.begin(); other && kind != kinds.end(); ++kind)
        EXPECT_EQ(doneOrFailed, Sweep(EIO, nullptr, true, move, *kind, other)) << *kind;
    EXPECT_EQ(doneOrFailed, Sweep(EIO, nullptr, false, copy, Faults::Close));
    EXPECT_EQ(doneOrFailed, Sweep(EIO, "old", false, replace, Faults::Close));
    EXPECT_EQ(Outcomes{"done"}, Sweep(EINTR, "old", false, replace, Faults::Close));
    Faults::plainCopies = true;
    EXPECT_EQ(doneOrFailed, Sweep(EIO, "old", false, replace));
    EXPECT_EQ(Outcomes{"res 15"}, Sweep(ENOSPC, "old", false, replace, Faults::Write));
    EXPECT_EQ(Outcomes{"done"}, Sweep(EINTR, nullptr, false, copy, Faults::Read));
    EXPECT_EQ(Outcomes{"done"}, Sweep(EINTR, nullptr, false, copy, Faults::Write));
    Faults::plainCopies = false;
}

// Whatever moment another file takes the name that is being moved, or the new one, no content is lost.
TEST(HostFileFaults, RenameRemovesOnlyWhatItHasCopied) {
    for (const bool apart : {true, false}) { // by copying; by a second name, where there is no move that never replaces
        if (apart && !OtherFileSystem()) continue;
        for (const char* how : {"append", "from", "to"}) {
            bool met = true;
            for (int n = 1; met; ++n) {
                const TempDir here, there(apart ? OtherFileSystem() : nullptr);
                const std::string from = here.Write("from", "old"), to = there.File("to");
                Faults::plainMoves = !apart;
                Faults::CallAt(n, [&] {
                    if (*how == 'a')
                        std::ofstream(from, std::ios::app) << " new";
                    else
                        std::filesystem::rename((*how == 'f' ? here : there).Write("other", "new"),
                                                *how == 'f' ? from : to);
                });
                int res;
                HFile::Rename(from.c_str(), to.c_str(), res);
                met = Faults::Fired();
                Faults::Disarm();
                Faults::plainMoves = false;
                const std::string all = here.Read("from") + there.Read("to");
                EXPECT_TRUE(!met || all.find("new") != std::string::npos) << n << all;
                EXPECT_TRUE(res == resDone || there.Count() == 0 || (*how == 't' && all == "oldnew")) << n << all;
                EXPECT_TRUE(here.Count() + there.Count() <= 2) << n;
            }
        }
    }
}

// Somebody comes by the name in the middle: by opening it, which succeeds too early or not at all, or by making it.
TEST(HostFileFaults, NewFileIsItsMakers) {
    for (const bool makes : {false, true}) {
        for (const int mode : {0, 1, 2}) {
            bool met = true;
            for (int n = 1; met; ++n) {
                const TempDir dir;
                const std::string name = dir.File("f");
                HFile f, rival;
                Faults::CallAt(n, [&] { makes ? rival.Create(name.c_str(), false) : rival.Open(name.c_str()); });
                mode == 2 ? f.Lookup(name.c_str(), true) : f.Create(name.c_str(), mode == 1);
                met = Faults::Fired();
                Faults::Disarm();
                EXPECT_TRUE(f.IsOpen() != rival.IsOpen() && (makes || f.IsOpen()) && dir.Count() == 1) << n << mode;
            }
        }
    }
}

TEST(HostFileFaults, FilesAndScansTellEveryFailure) {
    for (const bool temp : {false, true}) {
        const auto run = [&](const Arm& arm) {
            const TempDir dir;
            HFile f;
            char name[400], back[4] = "";
            bool done = false;
            arm([&] {
                done = temp ? HFile::CreateTempFile(f, name, nullptr, nullptr, dir.Path().c_str(), false)
                            : f.Create(dir.File("f").c_str(), false);
                if (done) f.WriteBytes("abcdef", 6);
                if (f.res == resDone) f.Truncate();
                if (f.res == resDone) f.Flush();
                if (f.res == resDone) f.Reset();
                f.ReadBytes(back, 3);
            });
            const Res res = f.res;
            f.SetPos(0);
            if (dir.Count() != done) return "file left behind, or none made"s;
            if (done != f.IsOpen() || done != (f.res == resDone)) return "open after a failure, or not usable"s;
            if (res == resDone) return back == "abc"s ? "done"s : "wrong bytes"s;
            return "res " + std::to_string(res);
        };
        EXPECT_EQ(doneOrFailed, ForEachFault(Faults::System, EIO, run));
        EXPECT_EQ(Outcomes{"res 17"}, ForEachFault(Faults::Lock, EWOULDBLOCK, run, true)); // nor are all numbers tried
    }
    const TempDir dir;
    dir.Write("f", "");
    const auto scan = [&](const Arm& arm) {
        HFileDir found;
        char name[261];
        arm([&] { found.FindFirst(name, dir.File("f*").c_str()) && found.FindNext(name); });
        if (found.Result() == resDone) return found.Count() == 1 ? "done"s : "an entry is missing";
        return "res " + std::to_string(found.Result());
    };
    EXPECT_EQ(doneOrFailed, ForEachFault(Faults::System, EIO, scan));
    HFile f;
    f.Create(dir.File("f").c_str(), true);
    Faults::DiskFullAfter(3);
    f.WriteBytes("abcdef", 6);
    Faults::Disarm();
    EXPECT_TRUE(f.res == resDiskFull && f.GetPos() == 3);
    for (const int origin : {0, 2}) { // where the end is, can't be told: that is no position
        Faults::FailNth(Faults::Other, 1, EIO);
        f.SetPos(0, origin);
        EXPECT_TRUE(Faults::Fired() && f.res == resDiskParityError && f.GetPos() == 3);
        Faults::Disarm();
    }
    int ends[2];
    const std::string much(1000000, 'm');
    for (const int error : {0, EAGAIN, EINTR}) { // a socket's limit is over; a pipe was not ready; a signal came
        ASSERT_EQ(0, error ? pipe(ends) : socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
        const timeval limit{0, 10000};
        setsockopt(ends[1], SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        HFile in(HandleOf(ends[0])), out(HandleOf(ends[1]));
        Faults::FailNth(Faults::Write, error ? 1 : 0, error);
        out.WriteBytes(much.data(), error ? 10 : 1000000); // more than is taken
        EXPECT_EQ(error ? resDone : resNetworkError, out.res);
        char back[10] = "";
        Faults::FailNth(Faults::Read, error ? 1 : 0, error);
        EXPECT_TRUE(in.ReadBytes(back, 10) == 10 && back[9] == 'm' && Faults::Fired() == (error != 0)) << error;
        Faults::Disarm();
    }
    for (const auto& [error, res] : {std::pair{EBADMSG, 22}, {EUCLEAN, 22}, {ENOMEDIUM, 21}, {ENOKEY, 17}}) {
        Faults::FailNth(Faults::Open, 1, error);
        EXPECT_TRUE(!HFile().Open("/dev/null") && GetFileRes() == res) << res;
    }
}

} // namespace
