// Follows several objects on one thread, under a cache of a few pages, with a plain byte string each: content,
// position, result, flags and invariants after every step. VFILE_SEED and VFILE_STEPS repeat a run.
#include "hostfile/hfile.h"
#include "support/temp_dir.h"
#include "support/vfile_support.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <random>

namespace {

constexpr int Objects = 3;

struct Model {
    std::string bytes;
    int pos = 0, flags = 0;
    Res res = resDone;
    bool eof = false;

    int Length() const { return static_cast<int>(bytes.size()); }
    // The closing step of everything that succeeds.
    void GoTo(int p) {
        pos = std::min(p, Length());
        res = resDone;
        eof = false;
    }
    void Replace(int at, int oldLen, const std::string& run) {
        if (res != resDone) return;
        if (flags & vfReadOnly) {
            res = resReadOnly;
            return;
        }
        at = std::min(at, Length());
        if (oldLen == SameLen) oldLen = static_cast<int>(run.size());
        bytes.replace(static_cast<std::size_t>(at), static_cast<std::size_t>(oldLen), run);
        GoTo(at + static_cast<int>(run.size()));
    }
};

class Walk {
  public:
    // Objects of up to about `longest` bytes, the first of which starts at that.
    Walk(unsigned seed, int longest);
    bool Step();

  private:
    int Below(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }
    int Length();
    int Place(const Model& m);
    void Change(int i);
    void Read(int i);
    void Other(int i);
    bool Agree(int i);

    std::mt19937 rng;
    int lengthMax;
    TempDir dir;
    VFile f[Objects];
    Model m[Objects];
};

Walk::Walk(unsigned seed, int longest) : rng(seed), lengthMax(longest) {
    const std::string content = Pattern(longest);
    Put(f[0], 0, 0, content);
    m[0].Replace(0, 0, content);
}

// Mostly small, at times around the size of a block, at times several blocks.
int Walk::Length() {
    switch (Below(6)) {
    case 0:
        return BlkSize - 2 + Below(5);
    case 1:
        return Below(6 * BlkSize);
    case 2:
        return Below(BlkSize);
    default:
        return Below(12);
    }
}

int Walk::Place(const Model& model) {
    if (Below(4) == 0) return std::max(0, Below(model.Length() / BlkSize + 1) * BlkSize - 2 + Below(5));
    return Below(4) == 0 ? model.pos : Below(model.Length() + 10);
}

void Walk::Change(int i) {
    Model& model = m[i];
    const int at = Place(model);
    const bool shrink = model.Length() > lengthMax;
    const int oldLen = shrink                        ? Below(lengthMax / 2)
                       : Below(8) == 0               ? SameLen
                       : Below(lengthMax / 500) == 0 ? MaxLen
                                                     : Length();
    const std::string run = Pattern(shrink ? 0 : Length(), Below(26));
    const int n = static_cast<int>(run.size());
    switch (Below(4)) {
    case 0: {
        const int j = Below(Objects);
        const int from = Place(m[j]);
        const std::string taken =
            from < m[j].Length() ? m[j].bytes.substr(static_cast<std::size_t>(from), static_cast<std::size_t>(n)) : "";
        f[i].ReplaceTxt(at, oldLen, f[j], from, n);
        model.Replace(at, oldLen, taken);
        break;
    }
    case 1:
        f[i].ReplaceCh(at, oldLen, 'c', n);
        model.Replace(at, oldLen, std::string(static_cast<std::size_t>(n), 'c'));
        break;
    case 2: {
        HFile source;
        source.Open(dir.Write("source", run).c_str());
        f[i].ReplaceFile(at, oldLen, source, n);
        model.Replace(at, oldLen, run);
        break;
    }
    default:
        f[i].ReplaceBuf(at, oldLen, run.data(), n);
        model.Replace(at, oldLen, run);
    }
}

void Walk::Read(int i) {
    Model& model = m[i];
    unsigned char b = 'x';
    switch (Below(3)) {
    case 0: {
        const int n = Length();
        std::string got(static_cast<std::size_t>(n), '?');
        const std::string expected =
            model.bytes.substr(static_cast<std::size_t>(model.pos), static_cast<std::size_t>(n));
        got.resize(static_cast<std::size_t>(f[i].ReadBytes(got.data(), n)));
        EXPECT_EQ(expected, got);
        model.pos += static_cast<int>(expected.size());
        model.eof = static_cast<int>(expected.size()) < n;
        break;
    }
    case 1:
        f[i].ReadByte(b);
        model.eof = model.pos == model.Length();
        EXPECT_EQ(model.eof ? 0 : model.bytes[static_cast<std::size_t>(model.pos++)], b);
        break;
    default:
        f[i].ReadPrevByte(b);
        model.eof = model.pos == 0;
        EXPECT_EQ(model.eof ? 0 : model.bytes[static_cast<std::size_t>(--model.pos)], b);
    }
}

void Walk::Other(int i) {
    Model& model = m[i];
    switch (Below(8)) {
    case 0:
        f[i].Flush();
        break;
    case 1:
        VFile::ReleaseCache();
        break;
    case 2:
        VFile::SetMaxCacheSize(static_cast<std::int16_t>(2 + Below(15)));
        break;
    case 3:
        f[i].SetPos(-1);
        model.res = resCallError;
        break;
    case 4:
        f[i].SetFlag(vfReadOnly, Below(2) == 0);
        if (model.res == resDone) model.flags = f[i].GetFlags() & vfReadOnly;
        break;
    case 5:
        f[i].Save(dir.File("saved").c_str(), true);
        model.GoTo(model.Length());
        EXPECT_TRUE(dir.Read("saved") == model.bytes);
        break;
    case 6: {
        const std::string content = Pattern(Length(), 9);
        f[i].Load(dir.Write("loaded", content).c_str(), 1);
        model.GoTo(0);
        if (model.flags & vfReadOnly) {
            model.res = resReadOnly;
        } else {
            model.bytes = content;
        }
        break;
    }
    default: {
        const int p = Place(model);
        f[i].SetPos(p);
        model.GoTo(p);
    }
    }
}

bool Walk::Agree(int i) {
    EXPECT_EQ(m[i].Length(), f[i].Length());
    EXPECT_EQ(m[i].pos, f[i].GetPos());
    EXPECT_EQ(m[i].res, f[i].res);
    EXPECT_EQ(m[i].eof, f[i].eof);
    EXPECT_EQ(m[i].flags, f[i].GetFlags());
    EXPECT_TRUE(CheckVFile(f[i], stderr));
    if (Below(10) == 0) {
        EXPECT_TRUE(ContentOf(f[i]) == m[i].bytes);
    }
    return !testing::Test::HasFailure();
}

bool Walk::Step() {
    const int i = Below(Objects);
    switch (Below(5)) {
    case 0:
    case 1:
        Change(i);
        break;
    case 2:
    case 3:
        Read(i);
        break;
    default:
        Other(i);
    }
    if (m[i].res != resDone && Below(2) == 0) {
        f[i].Reset();
        m[i].GoTo(0);
    }
    return Agree(i);
}

long FromEnvironment(const char* name, long otherwise) {
    const char* value = std::getenv(name);
    return value ? std::atol(value) : otherwise;
}

} // namespace

TEST(VFileRandom, FollowsPlainStrings) {
    const long given = FromEnvironment("VFILE_SEED", -1);
    for (unsigned i = 1; i <= (given < 0 ? 4u : 1u); ++i) {
        const unsigned seed = given < 0 ? i : static_cast<unsigned>(given);
        const bool large = seed % 2 == 0; // large enough for an index of several levels
        VFile::SetMaxCacheSize(4);
        Walk walk(seed, large ? 5000000 : 20000);
        const long steps = FromEnvironment("VFILE_STEPS", large ? 3000 : 12000);
        for (long step = 0; step < steps; ++step) {
            ASSERT_TRUE(walk.Step()) << "VFILE_SEED=" << seed << " VFILE_STEPS=" << step + 1;
        }
    }
}
