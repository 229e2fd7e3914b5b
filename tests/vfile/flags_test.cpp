// The flag word and what it does.
#include "support/vfile_support.h"

#include <gtest/gtest.h>

TEST(Flags, OperationsTouchTheirBitsAndTellOfThem) {
    Watched f;
    f.SetFlags(0x21);
    EXPECT_EQ("flag 1 1 1; flag 32 1 33; ", f.seen);
    f.seen.clear();
    f.InclFlag(0x21); // on already
    f.ExclFlag(0x06); // off already
    f.ToggleFlag(0x600);
    EXPECT_EQ("", f.seen);
    f.SetFlag(0x03, false);
    f.SetFlag(0x104, true);
    EXPECT_EQ("flag 1 0 32; flag 4 1 36; flag 256 1 292; ", f.seen);
    EXPECT_TRUE(f.FlagOn(0x101));
    EXPECT_FALSE(f.FlagOn(0x013));
    f.SetFlags(0x7FF);
    EXPECT_EQ(vfToggleMask, f.GetFlags());
}

TEST(Flags, AreStoppedByResultAndLock) {
    Watched f;
    f.res = resNotDone;
    f.InclFlag(vfReadOnly);
    EXPECT_EQ(0, f.GetFlags());
    EXPECT_EQ(resNotDone, f.res);
    f.SetPos(0);
    f.Lock(true);
    f.ExclFlag(vfInsert); // would change nothing, and is refused all the same
    EXPECT_EQ(resContextError, f.res);
    EXPECT_EQ("", f.seen);
}

TEST(Flags, ModifiedIsTrackedOnRequest) {
    Watched f;
    Put(f, 0, 0, "a");
    EXPECT_FALSE(f.FlagOn(vfModified));
    f.InclFlag(vfTrackModified);
    f.ReplaceBuf(0, 0, nullptr, 0);
    EXPECT_FALSE(f.FlagOn(vfModified));
    f.seen.clear();
    Put(f, 0, 0, "b");
    Put(f, 0, 0, "c");
    EXPECT_EQ("pre 0 0 1 1; post 0 0 1 2; flag 8 1 40; pre 0 0 1 2; post 0 0 1 3; ", f.seen);
}

TEST(Flags, LineEndsAreNoticedOnlyInBytesFromMemory) {
    struct Case {
        int type, flags;
        const char* bytes;
        bool noticed;
    };
    const Case cases[] = {{0, vfEolCheck, "a\nb", false},
                          {1, vfEolCheck, "a\nb", true},
                          {1, vfEolCheck, "a\rb", true},
                          {1, vfEolCheck, "ab", false},
                          {1, vfEolCheck | vfNoEolCheck, "a\nb", false},
                          {1, 0, "a\nb", false}};
    for (const Case& c : cases) {
        Watched f;
        f.SetType(c.type);
        f.SetFlags(c.flags);
        f.ReplaceBuf(0, 0, c.bytes, static_cast<int>(std::string(c.bytes).size()));
        EXPECT_EQ(c.noticed, f.FlagOn(vfHasEol)) << c.type << " " << c.flags << " " << c.bytes;
        f.ReplaceBuf(0, MaxLen, nullptr, 0);
        EXPECT_EQ(c.noticed, f.FlagOn(vfHasEol)); // it stays
    }
    Watched f;
    f.SetType(1);
    f.InclFlag(vfEolCheck);
    VFile source;
    Put(source, 0, 0, "\n");
    f.ReplaceTxt(0, 0, source, 0, 1);
    EXPECT_FALSE(f.FlagOn(vfHasEol));
    f.refusal = resNotDone;
    f.ReplaceBuf(0, 0, "\0\n", 2); // looked through before the hook refuses, and past a NUL
    EXPECT_TRUE(f.FlagOn(vfHasEol));
}
