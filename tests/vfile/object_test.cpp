// An object by itself: position, flags, its thread, and what the thread holds for all of them.
#include "support/vfile_support.h"

namespace {

TEST(Cursor, NewObjectIsEmptyWithoutAPage) {
    VFile f;
    EXPECT_EQ("*[0]", LayoutOf(f));
    EXPECT_TRUE(f.Eof() && f.Bof() && f.base == 10);
    EXPECT_EQ(0, f.Length() + f.GetPos() + f.GetFlags() + f.Type() + f.res);
    unsigned char b = 9;
    f.ReadByte(b);
    EXPECT_TRUE(f.eof && b == 0);
    EXPECT_TRUE(f.ReadBytes(nullptr, 0) == 0 && !f.eof); // asks for nothing, and gets it
    for (const int n : {1, -1}) {
        f.Reset();
        EXPECT_TRUE(f.ReadBytes(n < 0 ? &b : nullptr, n) == 0 && !f.eof && f.res == resCallError);
    }
}

TEST(Cursor, PositionsAreClampedRefusedAndSummed) {
    VFile f;
    Put(f, 0, 0, Pattern(3000));
    constexpr int Max = MaxLen, Lowest = SameLen;
    const std::array<int, 3> cases[] = {{7, 0, 7},      {7, 1, 12},     {-6, 1, 5},     {-1, 2, 2999},  {0, 2, 3000},
                                        {-3001, 2, 5},  {Max, 0, 3000}, {Max, 1, 3000}, {Max, 2, 3000}, {Lowest, 1, 5},
                                        {Lowest, 2, 5}, {0, 3, 5},      {0, -1, 5}};
    for (const auto& [offset, origin, pos] : cases) {
        f.SetPos(5);
        f.eof = true; // which a refusal leaves alone
        f.SetPos(offset, origin);
        EXPECT_TRUE(f.GetPos() == pos && f.res == (pos == 5 ? resCallError : resDone)) << offset << " from " << origin;
        EXPECT_EQ(pos == 5, f.eof);
    }
    f.Reset();
    EXPECT_TRUE(f.res == resDone && f.Bof());
}

// A forked child is another thread to the objects of its parent.
TEST(Cursor, OnlyTheOwnThreadMovesChangesAndAsks) {
    VFile f(Pattern(3000).c_str());
    std::int32_t at = -1;
    char b[3000];
    const std::function<void()> acts[] = {
        [&] { f.ReplaceBuf(0, 0, "xy", 2); },
        [&] { f.SetPos(1); },
        [&] { f.ReplaceCh(0, 0, 'x', 20); },
        [&] { f.ReplaceTxt(0, 0, f, 0, 1); },
        [&] { f.InclFlag(1); },
        [&] { f.~VFile(); },
        [&] { f.ReplaceFile(0, 0, InvalidHandle, 1); },
        [&] { f.LineStart(0); },
        [&] { f.WriteToFile(InvalidHandle, 1); },
        [&] { f.ReadFile("/no/where", 0); },
        [&] { f.LineIndent(-1); },
        [&] { f.LineEnd(-1, true); },
        [&] { f.WriteFile("/no/where", true); },
        [&] { f.BetweenCRLF(0); },
        [&] { f.LineSize(-1, at, at, at); },
        [&] { (void)(f == f); },
        [&] { f.Find(at, "", false, false); },
        [&] { f.FindBack(at, "", false, false); },
        [&] { VFile own(f); },
        [&] { f.ReplaceGlobal("", "", false, false); },
        [&] { (void)(VFile("another") == f); },
    };
    for (const auto& act : acts) EXPECT_ASSERT_HALT("VFile", act());
    f.SetPos(0);
    EXPECT_ASSERT_HALT("VMem", f.ReadBytes(b, 3000)); // a plain read reaches VMem when it leaves the buffer
    EXPECT_ASSERT_HALT("VFile", VFile own; std::thread([&] { own.Flush(); }).join());
}

TEST(Flags, OperationsTouchTheirBitsAndTellOfThem) {
    Watched f;
    f.SetFlags(0x21);
    f.InclFlag(0x21); // on already
    f.ExclFlag(0x06); // off already
    f.ToggleFlag(0x600);
    f.SetFlag(0x03, false);
    f.SetFlag(0x104, true);
    EXPECT_EQ("flag 1 1 1; flag 32 1 33; flag 1 0 32; flag 4 1 36; flag 256 1 292; ", f.seen);
    EXPECT_TRUE(f.FlagOn(0x101) && !f.FlagOn(0x013));
    f.SetFlags(0x7FF);
    EXPECT_EQ(vfToggleMask, f.GetFlags());
    f.seen = "";
    f.res = resNotDone;
    f.ExclFlag(vfReadOnly);
    EXPECT_TRUE(f.FlagOn(vfReadOnly) && f.res == resNotDone);
    f.SetPos(0);
    f.Lock(true);
    f.InclFlag(vfInsert); // would change nothing, and is refused all the same
    EXPECT_TRUE(f.res == resContextError && f.seen.empty());
}

TEST(Flags, ModifiedIsTrackedOnRequest) {
    Watched f;
    Put(f, 0, 0, "a");
    f.InclFlag(vfTrackModified);
    f.ReplaceBuf(0, 0, nullptr, 0);
    EXPECT_FALSE(f.FlagOn(vfModified));
    f.seen = "";
    Put(f, 0, 0, "b");
    Put(f, 0, 0, "c");
    EXPECT_EQ("pre 0 0 1 1; post 0 0 1 2; flag 8 1 40; pre 0 0 1 2; post 0 0 1 3; ", f.seen);
}

TEST(Flags, LineEndsAreNoticedOnlyInBytesFromMemory) {
    const std::tuple<int, int, const char*, bool> cases[] = {
        {0, vfEolCheck, "a\nb", false}, {1, vfEolCheck, "a\nb", true},
        {1, vfEolCheck, "a\rb", true},  {1, vfEolCheck | vfNoEolCheck, "a\nb", false},
        {1, vfEolCheck, "ab", false},   {1, 0, "a\nb", false}};
    for (const auto& [type, flags, bytes, noticed] : cases) {
        Watched f;
        f.SetType(type);
        f.SetFlags(flags);
        f.ReplaceTxt(0, 0, VFile("\n"), 0, 1);
        EXPECT_FALSE(f.FlagOn(vfHasEol));
        Put(f, 0, 0, bytes);
        f.ReplaceBuf(0, MaxLen, nullptr, 0);
        EXPECT_EQ(noticed, f.FlagOn(vfHasEol)) << type << " " << flags << " " << bytes; // it stays
        f.refusal = resNotDone;
        f.ReplaceBuf(0, 0, "\0\n", 2); // looked through before the hook refuses, and past a NUL
        EXPECT_EQ(type == 1 && flags == vfEolCheck, f.FlagOn(vfHasEol));
    }
}

TEST(ThreadEnv, SettingsOutliveTheVMem) {
    std::thread([] {
        const auto are = [](int kb, const std::string& dir) {
            const char* now = VFile::GetTempDir();
            return VFile::GetMaxCacheSize() == kb && dir == (now ? now : "none");
        };
        EXPECT_TRUE(are(4000, "none") && VFile::GetCacheSize() == 0);
        VFile::ReleaseCache();
        VFile::SetMaxCacheSize(100);
        VFile::SetTempDir("/some/where");
        {
            VFile f;
            EXPECT_TRUE(are(100, "/some/where"));
            VFile::SetMaxCacheSize(200);
            VFile::SetTempDir(VFile::GetTempDir()); // its very own text
            VFile second;
        }
        VFile::SetTempDir(VFile::GetTempDir());
        EXPECT_TRUE(are(200, "/some/where"));
        VFile::SetTempDir("");
        VFile::SetMaxCacheSize(-7);
        EXPECT_TRUE(are(-7, "none")); // waits as it is
        VFile f;
        EXPECT_TRUE(are(0, "none"));
    }).join();
}

TEST(ThreadEnv, SetupIsIdempotentAndCanBeUndone) {
    std::thread([] {
        EXPECT_TRUE(VFile_IsThreadInitialized());
        VFile::SetMaxCacheSize(77);
        EXPECT_TRUE(VFile_InitializeThread() && VFile::GetMaxCacheSize() == 77);
        EXPECT_TRUE(VFile_UninitializeThread() && VFile_UninitializeThread() && !VFile_IsThreadInitialized());
        EXPECT_TRUE(VFile_InitializeThread() && VFile::GetMaxCacheSize() == 4000);
    }).join();
    EXPECT_ASSERT_HALT("VFile", VFile f; VFile_UninitializeThread());
    EXPECT_ASSERT_HALT("VFile", VFile_UninitializeThread(); VFile f);
    EXPECT_ASSERT_HALT("VFile", VFile::TLS_InitializeProcess());
}

TEST(ThreadEnd, ComesAfterTheHostsKeysAndHaltsIfAnObjectIsLeft) {
    EXPECT_ASSERT_HALT("VFile", std::thread([] { new VFile; }).join());
    static bool works = false;
    pthread_key_t key;
    ASSERT_EQ(0, pthread_key_create(&key, [](void* f) {
                  works = ContentOf(*static_cast<VFile*>(f)) == "last words";
                  delete static_cast<VFile*>(f);
              }));
    std::thread([&] { pthread_setspecific(key, new VFile("last words")); }).join();
    EXPECT_TRUE(works);
    pthread_key_delete(key);
}

TEST(Fork, ChildStartsAfresh) {
    VFile::SetMaxCacheSize(4);
    VFile ofParent("parent's");
    EXPECT_EQ("child's", InChild([] {
                  if (!VFile_IsThreadInitialized() || VFile::GetMaxCacheSize() != 4000 || VFile::GetTempDir()) _exit(1);
                  return ContentOf(VFile("child's"));
              }));
    EXPECT_EQ("parent's", ContentOf(ofParent));
    VFile::SetMaxCacheSize(4000);
}

} // namespace
