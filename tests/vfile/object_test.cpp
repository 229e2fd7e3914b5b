// An object by itself: position, flags, its thread, and what the thread holds for all of them.
#include "support/vfile_support.h"
#include "vfile/vfile_history.h"
#include "vfile/vfile_marks.h"

#include <deque>
#include <thread>
#include <type_traits>

namespace {

TEST(Cursor, NewObjectIsEmptyWithoutAPage) {
    VFile f;
    EXPECT_EQ("*[0]", LayoutOf(f));
    EXPECT_TRUE(f.Eof() && f.Bof() && f.base == 10);
    EXPECT_EQ(0, f.Length() + f.GetPos() + f.GetFlags() + f.Type() + f.res);
    f.eof = true;
    EXPECT_TRUE(f.ReadBytes(nullptr, 0) == 0 && !f.eof); // asks for nothing, and gets it
    for (const int n : {1, -1}) {
        f.Reset();
        EXPECT_TRUE(f.ReadBytes(n < 0 ? &f : nullptr, n) == 0 && !f.eof && f.res == resCallError);
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
        const bool same = f.GetPos() == pos && f.eof == (pos == 5) && f.res == (pos == 5 ? resCallError : resDone);
        EXPECT_TRUE(same) << offset << " from " << origin;
    }
}

// A forked child is another thread to the objects of its parent.
TEST(Cursor, OnlyTheOwnThreadMovesChangesAndAsks) {
    VFile f(Pattern(3000).c_str());
    std::int32_t at = -1;
    char b[3000];
    const std::function<void()> acts[] = {[&] { f.ReplaceBuf(0, 0, "xy", 2); },
                                          [&] { f.SetPos(1); },
                                          [&] { f.ReplaceCh(0, 0, 'x', 20); },
                                          [&] { f.ReplaceTxt(0, 0, f, 0, 1); },
                                          [&] { f.InclFlag(1); },
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
                                          [&] { (void)(VFile("another") == f); }};
    for (const auto& act : acts) EXPECT_ASSERT_HALT("VFile", act());
    f.SetPos(0);
    EXPECT_ASSERT_HALT("VMem", f.ReadBytes(b, 3000)); // a plain read reaches VMem when it leaves the buffer
    EXPECT_ASSERT_HALT("VFile", VFile own; std::thread([&] { own.Flush(); }).join());
    EXPECT_ASSERT_HALT("VFile", VFile own; std::thread([&] { own.~VFile(); }).join());
}

template <class T, class = void>
constexpr bool ComparesWithNull = false;
template <class T>
constexpr bool ComparesWithNull<T, std::void_t<decltype(std::declval<T&>() == nullptr)>> = true;
static_assert(!ComparesWithNull<VFile> && ComparesWithNull<VFile*>);
static_assert(!std::is_constructible_v<VFile, std::nullptr_t> && !std::is_constructible_v<VFile, const char*, int>);
static_assert(std::is_convertible_v<bool, VFile::Word> && std::is_convertible_v<long, VFile::DWord>);
static_assert(!std::is_convertible_v<double, VFile::QWord> && !std::is_convertible_v<void*, VFile::QWord>);
static_assert(!std::is_assignable_v<VFile&, std::nullptr_t> && std::is_nothrow_move_constructible_v<VFile>);

TEST(Moving, TakesAllThatAnObjectIs) {
    std::vector<VFile> grown;
    std::deque<VFileMarks> marks;
    std::deque<VFileHistory> histories;
    for (int i = 0; i < 20; ++i) { // the vector moves its objects as it grows
        grown.emplace_back('a', 3000 + i);
        VFile& f = grown.back();
        marks.emplace_back(f).Add(2000, VFileGravity::After), histories.emplace_back(f);
        f.SetPos(1000 + i), f.base = 16, f.InclFlag(vfReadOnly);
    }
    for (int i = 0; i < 20; ++i) {
        VFile& f = grown[static_cast<std::size_t>(i)];
        EXPECT_TRUE(CheckVFile(f, stderr) && f.Length() == 3000 + i && f.GetPos() == 1000 + i && f.base == 16);
        f.Prepend("x");
        EXPECT_EQ(resReadOnly, f.res);
        f.Reset(), f.ExclFlag(vfReadOnly), f.Prepend("x");
        VFileHistory& h = histories[static_cast<std::size_t>(i)];
        EXPECT_TRUE(marks[static_cast<std::size_t>(i)].Start(1) == 2001 && h.Subject() == &f && h.Undo());
        EXPECT_EQ(3000 + i, f.Length());
    }
    VFile taken(std::move(grown[3])), small("s");
    EXPECT_TRUE(grown[3] == "" && CheckVFile(grown[3], stderr) && taken.Length() == 3003);
    grown[3].Append("again");
    small.res = resTooLong;
    swap(small, grown[3]);
    EXPECT_TRUE(small == "again" && grown[3] == "s" && grown[3].res == resTooLong && small.res == resDone);
    EXPECT_TRUE(histories[3].Subject() == &taken);
    EXPECT_ASSERT_HALT("VFile", VFile mine("x"); std::thread([&] { VFile other(std::move(mine)); }).join());
}

TEST(Moving, AssignmentIsOneChange) {
    for (const int size : {5, 3000}) {
        CallRecorder target, source;
        Watched hooked;
        VFile plain('p', size), other('q', size);
        for (VFile* f : {static_cast<VFile*>(&target), static_cast<VFile*>(&hooked)}) f->Append('t', 2500);
        target.seen.clear(), hooked.seen.clear(), hooked.refusal = resNotDone;
        static_cast<VFile&>(hooked) = std::move(plain);
        EXPECT_TRUE(hooked.Length() == 2500 && plain.Length() == size && hooked.res == resNotDone);
        hooked.refusal = resDone, hooked.Reset(), hooked.seen.clear();
        static_cast<VFile&>(hooked) = std::move(plain);
        const std::string n = std::to_string(size);
        EXPECT_EQ("pre 0 2500 " + n + " 2500; post 0 2500 " + n + " " + n + "; ", hooked.seen);
        EXPECT_TRUE(hooked == std::string(static_cast<std::size_t>(size), 'p').c_str() && hooked.GetPos() == size);
        EXPECT_TRUE(plain == "" && CheckVFile(plain, stderr) && CheckVFile(hooked, stderr));
        static_cast<VFile&>(target) = std::move(other);
        EXPECT_EQ(0U, target.seen.find("ReplaceTxt 0 2500 0 max; ")) << target.seen;
        EXPECT_TRUE(target.Length() == size && other == "");
        source.Append("kept"), source.Lock(true);
        other = std::move(source), other = std::move(static_cast<VFile&>(other));
        EXPECT_TRUE(other == "kept" && source == "kept");
    }
}

// More objects than a thread has buffers, each changed in turn, and all of them from within a change of one.
TEST(Buffers, GoRoundWithoutALoss) {
    struct Busy : Watched {
        std::deque<VFile>* others = nullptr;
        int PreChange(std::int32_t, std::int32_t, std::int32_t) const override {
            for (VFile& f : *others) f.Append(*this, 0, 1), f.ReplaceByte('-');
            return resDone;
        }
    } busy;
    std::deque<VFile> others(700);
    busy.others = &others;
    std::string all, each;
    unsigned char c = 0;
    for (int round = 0; round < 4; ++round) {
        each += all.substr(0, 1) + "-", all = "ab" + all, busy.Prepend("ab");
        each += "a-y", all += "x", busy.Append("x");
        for (VFile& f : others) f.SetPos(0), f.ReadByte(c), f.Append("y");
        ASSERT_TRUE(CheckVFile(busy, stderr) && busy == all.c_str());
        for (const VFile& f : others) ASSERT_TRUE(CheckVFile(f, stderr) && f == each.c_str());
    }
}

TEST(Flags, OperationsTouchTheirBitsAndTellOfThem) {
    Watched f;
    f.SetFlags(0x21);
    f.InclFlag(0x21), f.ExclFlag(0x06); // are so already
    f.ToggleFlag(0x600), f.SetFlag(0x03, false), f.SetFlag(0x104, true);
    EXPECT_EQ("flag 1 1 1; flag 32 1 33; flag 1 0 32; flag 4 1 36; flag 256 1 292; ", f.seen);
    EXPECT_TRUE(f.FlagOn(0x101) && !f.FlagOn(0x013));
    f.SetFlags(0x7FF);
    EXPECT_EQ(vfToggleMask, f.GetFlags());
    f.seen = "", f.res = resNotDone;
    f.ExclFlag(vfReadOnly);
    EXPECT_TRUE(f.FlagOn(vfReadOnly) && f.res == resNotDone);
    f.SetPos(0), f.Lock(true);
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
    Put(f, 0, 0, "b"), Put(f, 0, 0, "c");
    EXPECT_EQ("pre 0 0 1 1; post 0 0 1 2; flag 8 1 40; pre 0 0 1 2; post 0 0 1 3; ", f.seen);
}

TEST(Flags, LineEndsAreNoticedOnlyInBytesFromMemory) {
    const int check = vfEolCheck, no = check | vfNoEolCheck;
    const std::tuple<int, int, const char*, bool> cases[] = {{0, check, "a\nb", false}, {1, check, "a\nb", true},
                                                             {1, check, "a\rb", true},  {1, no, "a\nb", false},
                                                             {1, check, "ab", false},   {1, 0, "a\nb", false}};
    for (const auto& [type, flags, bytes, noticed] : cases) {
        Watched f;
        f.SetType(type), f.SetFlags(flags), f.ReplaceTxt(0, 0, VFile("\n"), 0, 1);
        EXPECT_FALSE(f.FlagOn(vfHasEol));
        Put(f, 0, 0, bytes), f.ReplaceBuf(0, MaxLen, nullptr, 0);
        EXPECT_EQ(noticed, f.FlagOn(vfHasEol)) << type << " " << flags << " " << bytes; // it stays
        f.refusal = resNotDone, f.ReplaceBuf(0, 0, "\0\n", 2); // looked through before the hook refuses, and past a NUL
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
        VFile::ReleaseCache(), VFile::SetMaxCacheSize(100), VFile::SetTempDir("/some/where");
        {
            VFile f;
            EXPECT_TRUE(are(100, "/some/where"));
            VFile::SetMaxCacheSize(200), VFile::SetTempDir(VFile::GetTempDir()); // its very own text
            VFile second;
        }
        VFile::SetTempDir(VFile::GetTempDir());
        EXPECT_TRUE(are(200, "/some/where"));
        const auto after = [](auto kb) { return VFile::SetMaxCacheSize(kb), VFile::GetMaxCacheSize(); };
        EXPECT_TRUE(after(70000L) == 32767 && after(65536U) == 32767 && after(~0ULL) == 32767 && after(4UL) == 4);
        EXPECT_TRUE(after(-70000) == INT16_MIN && after(std::uint16_t{40000}) == 32767);
        VFile::SetTempDir(""), VFile::SetMaxCacheSize(-7);
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

// From within a change, too, and beside objects that a fork has left.
TEST(Memory, IsReleasedWithoutLoss) {
    class Releasing : public VFile {
        int PreChange(std::int32_t, std::int32_t, std::int32_t) const override {
            return VFile::ReleaseMemory(), resDone;
        }
        void PostChange(std::int32_t, std::int32_t, std::int32_t) override { VFile::ReleaseMemory(); }
    };
    VFile::SetCacheLimit(100000);
    EXPECT_EQ(32767, VFile::GetMaxCacheSize());
    std::vector<std::unique_ptr<VFile>> all;
    for (int i = 0; i < 100; ++i) all.push_back(std::make_unique<VFile>(Pattern(700, i).c_str()));
    all[5].reset();
    Releasing f;
    std::string content;
    for (int i = 0; i < 100; ++i)
        Put(f, i * 7, 3, Pattern(60, i)), content = Replaced(content, i * 7, 3, Pattern(60, i));
    EXPECT_EQ(content, ContentOf(f));
    const auto rest = [&](const VFile& one) {
        VFile::ReleaseMemory();
        bool right = VFile::GetCacheUse() == 0 && ContentOf(one) == content;
        for (std::size_t i = 0; i < 100; ++i) right = right && (!all[i] || *all[i] == Pattern(700, int(i)).c_str());
        return right;
    };
    EXPECT_TRUE(rest(f) && VFile::GetCacheLimit() == 100000);
    EXPECT_EQ("none of the parent's", InChild([&] {
                  all.clear();
                  VFile own("child's");
                  VFile::ReleaseMemory();
                  return own == "child's" ? "none of the parent's" : "wrong";
              }));
    EXPECT_TRUE(rest(f));
    VFile::SetCacheLimit(4000);
}

} // namespace
