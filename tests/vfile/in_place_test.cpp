// Contents that lie in the file that they were loaded from.
#include "hostfile/hfilesave.h"
#include "support/vfile_support.h"
#include "vfile/content.h"
#include "vfile/vfile_history.h"
#include "vfile/vfile_std.h"
#include "vmem/vmem_check.h"

#include <sys/file.h>

namespace {

const char* const changed = "VMem, FindPage():\nthe loaded file has been changed";

struct InPlace : testing::Test {
    static constexpr int Size = 3000000;
    static bool Sound(const VFile& v) {
        return CheckVFile(v, stderr) && vfile_internal::CheckVMem(vfile_internal::Content::Of(v).vm, true, stderr);
    }
    // Has a descriptor of this process the file open?
    static bool IsOpen(const std::string& name) {
        struct stat file, st;
        if (stat(name.c_str(), &file) != 0) return false;
        for (int fd = 3; fd < 100; ++fd) {
            if (fstat(fd, &st) == 0 && st.st_dev == file.st_dev && st.st_ino == file.st_ino) return true;
        }
        return false;
    }
    // What the swap file really takes, beside its holes.
    static blkcnt_t SwapBlocks() {
        struct stat st;
        blkcnt_t blocks = 0;
        for (int fd = 3; fd < 100; ++fd) {
            const bool isSwap = fstat(fd, &st) == 0 && st.st_nlink == 0 && (fcntl(fd, F_GETFL) & O_ACCMODE) == O_RDWR;
            blocks += isSwap ? st.st_blocks : 0;
        }
        return blocks;
    }
    static bool Locks(const std::string& name, int how) {
        const int fd = open(name.c_str(), O_RDONLY | O_CLOEXEC);
        const bool locks = flock(fd, how | LOCK_NB) == 0;
        close(fd);
        return locks;
    }

    const TempDir dir;
    const std::string content = LinedPattern(Size), name = dir.Write("file", content);
    VFile f;
};

TEST_F(InPlace, ReadsAndEditsAsACopyWould) {
    VFile copy;
    copy.Load(name.c_str(), 1), f.LoadInPlace(name.c_str(), 1);
    EXPECT_TRUE(f.res == resDone && f.GetPos() == 0 && f.Length() == Size && Sound(f));
    EXPECT_EQ(0, vfile_internal::Content::Of(f).vm.GetSwapFileSize() -
                     vfile_internal::Content::Of(copy).vm.GetSwapFileSize());
    EXPECT_TRUE(f == copy && f.IsIntact());
    for (VFile* v : {&f, &copy}) {
        unsigned char b;
        v->SetPos(2000000), v->ReadPrevByte(b), v->ReadByte(b);
        v->Delete(1234567, 1024 * 300 + 17); // ends inside of what is left of a run
        v->SetPos(Size / 3), v->Insert("new"), v->SetPos(5 * BlkSize), v->Insert("at a border");
        v->Delete(7 * BlkSize, 2 * BlkSize), v->Append("end"), v->Prepend("start");
        v->ReplaceGlobal("abc", "ABCDE", false, false);
    }
    EXPECT_TRUE(f == copy && Sound(f) && f.LineCount() == copy.LineCount() && f.LineAt(5000) == copy.LineAt(5000));
    VFile moved(std::move(f)), taken, assigned;
    taken = std::move(moved), assigned = taken;
    EXPECT_TRUE(taken == copy && assigned == copy && moved.Length() == 0 && Sound(taken));
    VFile::ReleaseMemory();
    taken = "none";
    EXPECT_TRUE(assigned == copy && !IsOpen(name) && Sound(taken));
}

// A host may read by bytes while it looks, which parts the run that it looks at.
TEST_F(InPlace, PartsWhatIsLookedAt) {
    f.LoadInPlace(name.c_str(), 1);
    for (const bool back : {false, true}) {
        std::string seen;
        std::int32_t at = back ? Size : 0;
        const auto look = [&](const unsigned char* b, std::int32_t n) {
            unsigned char c;
            f.SetPos(at += back ? -n : n), f.ReadByte(c), f.SetPos(at / 2), f.ReadByte(c), f.SetPos(at / 2 * 3),
                f.ReadByte(c);
            return seen.insert(back ? 0 : seen.size(), std::string(b, b + n)), true;
        };
        const VFileView view(static_cast<const VFile&>(f));
        EXPECT_TRUE(back ? VFileView(view).VisitBack(0, MaxLen, look) : VFileView(view).Visit(0, MaxLen, look));
        EXPECT_TRUE(seen == content && Sound(f));
        f.LoadInPlace(name.c_str(), 1);
    }
}

TEST_F(InPlace, TakesNothingThatItCannotHold) {
    std::filesystem::resize_file(dir.Write("long", ""), 3LL << 30);
    const std::tuple<std::string, Res> rows[] = {{dir.File("missing"), resNotFound},
                                                 {dir.Path(), resNoPermission},
                                                 {dir.File("long"), resTooLong},
                                                 {dir.Write("empty", ""), resDone},
                                                 {"/proc/version", resDone},
                                                 {"/sys/kernel/mm/transparent_hugepage/enabled", resDone},
                                                 {"/dev/null", resDone}};
    for (const auto& [from, res] : rows) {
        VFile v("old"), copy("old");
        HFileStamp stamp;
        v.SetPos(2), copy.SetPos(2);
        if (res == resDone && access(from.c_str(), R_OK) != 0) continue;
        v.LoadInPlace(from.c_str(), 1, &stamp), copy.LoadKeeping(from.c_str(), 1);
        EXPECT_TRUE(v.res == res && copy.res == res && v == copy && v.GetPos() == copy.GetPos()) << from;
        EXPECT_FALSE(from[1] != 'd' && IsOpen(from)) << from;
    }
    Watched refuses;
    refuses.refusal = resNotSupported;
    refuses.LoadInPlace(name.c_str(), 0);
    EXPECT_TRUE(refuses.res == resNotSupported && refuses.Length() == 0 && !IsOpen(name) && Sound(refuses));
    CallRecorder sees;
    sees.LoadInPlace(name.c_str(), 0);
    EXPECT_TRUE(sees.seen.find("ReplaceHandle 0 max max") == 0 && ContentOf(sees) == content && !IsOpen(name));
}

TEST_F(InPlace, IsHeldAsLongAsItGivesPages) {
    for (const std::uint32_t share : {0u, 1u}) {
        f.LoadInPlace(name.c_str(), share);
        EXPECT_EQ(share != 0, Locks(name, LOCK_SH));
        EXPECT_FALSE(Locks(name, LOCK_EX));
        EXPECT_EQ("0", InChild([&] { // which ends with copies, and leaves the parent's lock alone
                      f.~VFile();
                      return std::to_string(Locks(name, LOCK_EX));
                  }));
        f.LoadInPlace(name.c_str(), share); // the same file once more
        EXPECT_TRUE(f.res == resDone && !Locks(name, LOCK_EX) && ContentOf(f) == content);
        f.Delete(0, Size - 1);
        EXPECT_TRUE(IsOpen(name) && ContentOf(f) == content.substr(Size - 1));
        f.Delete(0, 1);
        EXPECT_TRUE(Locks(name, LOCK_EX) && !IsOpen(name));
    }
}

// What another program does to the file is told, by a result where it can be known before, or it makes no difference.
TEST_F(InPlace, NoticesChangesOfTheFile) {
    const std::tuple<const char*, std::function<void()>, bool> rows[] = {
        {"cut", [&] { std::filesystem::resize_file(name, 1000); }, true},
        {"grown", [&] { std::ofstream(name, std::ios::app) << "more"; }, true},
        {"rewritten", [&] { std::fstream(name, std::ios::in | std::ios::out) << "other"; }, true},
        {"renamed", [&] { std::filesystem::rename(name, dir.File("moved")); }, false},
        {"replaced", [&] { std::filesystem::rename(dir.Write("next", "next"), name); }, false},
        {"closed to all", [&] { chmod(name.c_str(), 0); }, false},
        {"removed", [&] { std::filesystem::remove(name); }, false}};
    for (const auto& [what, act, bad] : rows) {
        std::filesystem::remove(name);
        dir.Write("file", content), dir.Write("other", "other");
        const auto go = [&, bad = bad, act = act](const std::function<std::string(VFile&)>& then) {
            return InChild([&] {
                VFile v;
                v.LoadInPlace(name.c_str(), 1);
                char first[100];
                v.ReadBytes(first, 100);
                v.Delete(0, 10), v.Append("x");
                act();
                if (v.IsIntact() == bad || Part(content, 0, 100) != std::string(first, 100))
                    return std::string("wrong");
                return then(v);
            });
        };
        const std::string saved = go([&](VFile& v) {
            v.Save(dir.File("other").c_str(), true);
            const Res plain = v.res;
            v.SaveSafely(dir.File("other").c_str());
            return std::to_string(plain) + " " + std::to_string(v.res);
        });
        EXPECT_EQ(bad ? "3 3" : "0 0", saved) << what;
        EXPECT_EQ(bad ? "other" : content.substr(10) + "x", dir.Read("other")) << what;
        dir.Write("next", "next");
        std::filesystem::remove(name), dir.Write("file", content);
        const std::string read =
            go([&](VFile& v) { return ContentOf(v) == content.substr(10) + "x" ? "right" : "wrong bytes"; });
        EXPECT_EQ(bad ? changed : "right", read) << what;
    }
}

TEST_F(InPlace, IsSavedOverTheVeryFile) {
    enum { Plain, Safe, SafeInPlace, EitherSafe, Handle };
    const std::string expected = "new" + content.substr(0, Size - 5000) + "end";
    for (const std::uint32_t share : {0u, 1u}) {
        for (const int how : {Plain, Safe, SafeInPlace, EitherSafe, Handle}) {
            SCOPED_TRACE(how);
            std::filesystem::remove(name);
            dir.Write("file", content);
            VFile other;
            HFileStamp stamp;
            f.LoadInPlace(name.c_str(), share, &stamp);
            if (share) other.LoadInPlace(name.c_str(), share);
            f.Prepend("new"), f.Delete(Size - 4997, MaxLen), f.Append("end");
            const blkcnt_t before = SwapBlocks();
            if (how == Plain) f.Save(name.c_str(), true);
            if (how >= Safe && how <= EitherSafe)
                f.SaveSafely(name.c_str(),
                             how == Safe          ? 0
                             : how == SafeInPlace ? hsWriteInPlace
                                                  : hsMayWriteInPlace,
                             &stamp);
            if (how == Handle) { // by who does not ask for locks
                const int fd = open(name.c_str(), O_WRONLY | O_CLOEXEC);
                f.SetPos(0), f.WriteToFile(HandleOf(fd), MaxLen);
                EXPECT_TRUE(ftruncate(fd, static_cast<off_t>(expected.size())) == 0 && close(fd) == 0);
            }
            EXPECT_TRUE((how != Safe && how != EitherSafe) || SwapBlocks() - before < 200); // nothing was copied
            EXPECT_TRUE(dir.Read("file") == expected && f.IsIntact());
            EXPECT_EQ(resDone, f.res);
            EXPECT_TRUE(ContentOf(f) == expected);
            EXPECT_TRUE(Sound(f) && !IsOpen(name));
            EXPECT_TRUE(!share || ContentOf(other) == content);
            f = "", other = "";
        }
    }
    f.LoadInPlace(name.c_str(), 0);
    HFileStamp wrong;
    wrong.words[0] = 1;
    f.SaveSafely(name.c_str(), 0, &wrong); // refused, and the file is held as before
    EXPECT_TRUE(f.res == resContextError && !Locks(name, LOCK_SH));
}

TEST_F(InPlace, CanBeUndone) {
    VFile old("old");
    VFileHistory history(old);
    old.LoadInPlace(name.c_str(), 1);
    old.Insert("new"), old.Delete(100, 100000);
    history.EndStep();
    while (history.Undo()) {
    }
    EXPECT_TRUE(ContentOf(old) == "old" && !IsOpen(name));
    while (history.Redo()) {
    }
    EXPECT_EQ("new" + content.substr(0, 97) + content.substr(100097), ContentOf(old));
}

// Far above the cache and the swap file: a hole of a gigabyte and a half with a line at its end.
TEST_F(InPlace, ShowsTheEndOfAGiantAtOnce) {
    std::filesystem::resize_file(name, (3LL << 29) - 20);
    std::ofstream(name, std::ios::app) << "\nthe last line\nabcde";
    VFile::SetMaxCacheSize(500);
    f.LoadInPlace(name.c_str(), 1);
    std::int32_t at = f.Length();
    EXPECT_TRUE(f.LineStart(at) == at - 5 && f.FindBack(at, "last", false, true) && at == f.Length() - 15);
    f.SetPos(1 << 30), f.Insert("x"), f.SetPos(1 << 29), f.Insert("y"), f.Append("z");
    EXPECT_TRUE(f.res == resDone && f.Length() == (3 << 29) + 3 && CheckVFile(f, stderr));
    VFile::ReleaseMemory();
    EXPECT_LT(SwapBlocks(), 200);
    unsigned char b = 0;
    f.SetPos((1 << 30) + 1), f.ReadByte(b);
    EXPECT_EQ('x', b);
}

} // namespace
