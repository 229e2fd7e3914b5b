// The space that vfedit keeps for a content, with a limit that is soon reached: whatever changes come, the pages in use
// stay within it, and what is refused would not have fitted.
#include "examples/vfedit_space.h"

#include "support/test.h"

namespace {

constexpr int Reserve = 32 * BlkSize;

// Notes the most kilobytes that its pages have taken: a change asks while the new ones are there beside the old.
struct Content : VFile {
    mutable int peak = 0;
    int PreChange(std::int32_t, std::int32_t, std::int32_t) const override {
        peak = std::max<int>(peak, GetCacheSize());
        return resDone;
    }
};

// Many changes of a content of at most `most` bytes; if `followed`, the bytes, too, are compared with a model.
void Walk(unsigned seed, int most, bool followed) {
    std::mt19937 random(seed);
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    std::string pool(static_cast<std::size_t>(most), '\0'), model;
    for (char& c : pool) c = static_cast<char>(random());
    Content content;
    Space space(content, most);
    const auto change = [&](int at, int oldLen, int n) { // false if it was too long
        const int size = content.Length();
        oldLen = std::min(oldLen, size - at);
        const char* bytes = pool.data() + below(most - n + 1);
        const Res res = space.Change(at, oldLen, bytes, n);
        if (res == resDone && followed)
            model = Replaced(std::move(model), at, oldLen, {bytes, static_cast<std::size_t>(n)});
        EXPECT_TRUE(res == resDone || (res == resTooLong && n > oldLen && size - oldLen + n > most - Reserve)) << res;
        return res == resDone;
    };
    change(0, 0, most); // full blocks may take all of it
    ASSERT_EQ(content.Length(), most);
    content.Flush(); // the buffer has a page, too
    const int full = VFile::GetCacheSize();
    for (int step = 0; step < 50; ++step) {
        const bool bare = step == 4; // all but a byte of each block, which are full until then, goes
        const int kind = step < 4 ? 3 : bare ? 2 : below(4), stride = 1 << below(15), piece = 1 + below(9000);
        const bool onwards = below(2);
        int at = below(content.Length() + 1);
        if (kind == 1 || (kind == 0 && stride > 4000)) change(at, most / 2, 0);
        if (kind == 0) { // a text replaced by a longer one, over all of it, twice
            for (int pass = 0; pass < 2; ++pass)
                for (at = below(9); at < content.Length() && change(at, 3, 3 + below(9));)
                    at += 9 + stride / 2 + below(stride);
        }
        const int file = below(2) ? piece : 1 + piece / BlkSize * BlkSize; // which leaves the most unused
        for (int i = 0; kind == 1 && i < 80 && change(at, 0, file); ++i)
            at = onwards ? at + file : std::max(0, at - below(2000));
        for (at = kind == 2 ? bare : MaxLen; at < (bare ? 100 : content.Length()); at += bare ? 2 : 300 + below(stride))
            change(at, bare ? 2046 : below(900), 0);
        while (kind % 2 == 0 && change(content.Length(), 0, piece)) {
        }
        at = below(content.Length() + 1);
        const int n = std::min(3 << below(16), content.Length() - at);
        if (kind == 3) change(at, n, step < 4 ? n : onwards ? n + below(99) : below(n + 1));
        ASSERT_LE(content.peak, full) << step;
        if (!followed) continue;
        std::string got(model.size(), '\0');
        content.Reset();
        ASSERT_EQ(content.ReadBytes(got.data(), content.Length()), content.Length()) << step;
        ASSERT_TRUE(got == model) << step;
    }
}

} // namespace

TEST(Space, StaysWithinItsLimit) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        SCOPED_TRACE(seed);
        const bool large = seed % 2 == 1;
        Walk(seed, (large ? 3600 : 200) * BlkSize, !large);
        if (HasFailure()) return;
    }
}
