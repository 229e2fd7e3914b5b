// Follows an object with a plain string through edits, lines, searches and comparisons. The letters are few, so that
// matches overlap and line ends come in any order; the length keeps near the borders of blocks; the cache is small.
// VFILE_SEED and VFILE_STEPS repeat a run.
#include "support/search_model.h"
#include "support/vfile_support.h"

#include <gtest/gtest.h>
#include <random>

namespace {

class Walk {
  public:
    explicit Walk(unsigned seed) : rng(seed) {}
    bool Step();

  private:
    int Below(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }
    int Length() const { return static_cast<int>(s.size()); }
    std::string Bytes(int n, const std::string& letters);
    int Place();
    void Replace(int at, int oldLen, const std::string& bytes);
    void Edit();
    void EditAll();
    void Line();
    void Search();
    void Compare();

    std::mt19937 rng;
    VFile f;
    std::string s; // the content that f should have
    std::int32_t pos = 0;
};

std::string Walk::Bytes(int n, const std::string& letters) {
    std::string bytes;
    for (int i = 0; i < n; ++i) bytes += letters[static_cast<std::size_t>(Below(static_cast<int>(letters.size())))];
    return bytes;
}

int Walk::Place() {
    return std::min(Length(),
                    Below(2) == 0 ? Below(3) * BlkSize + Below(9) - 4 + (Below(3) == 0 ? 4 : 0) : Below(Length() + 1));
}

void Walk::Replace(int at, int oldLen, const std::string& bytes) {
    s.replace(static_cast<std::size_t>(at), static_cast<std::size_t>(oldLen), bytes);
    pos = at + static_cast<int>(bytes.size());
}

void Walk::Edit() {
    pos = std::max(0, Place());
    f.SetPos(pos);
    const bool insert = Below(2) == 0;
    f.SetFlag(vfInsert, insert);
    const std::string bytes = Bytes(Below(5) == 0 ? Below(BlkSize) : Below(6), "aabA \r\n");
    const int n = static_cast<int>(bytes.size());
    switch (Below(9)) {
    case 0:
        f.Insert(bytes.c_str());
        return Replace(pos, 0, bytes);
    case 1:
        f.ReplaceBytes(bytes.data(), n);
        return Replace(pos, n, bytes);
    case 2:
        f << bytes.c_str();
        return Replace(pos, insert ? 0 : n, bytes);
    case 3:
        f.Append(bytes.c_str());
        return Replace(Length(), 0, bytes);
    case 4:
        f.Prepend('b', n);
        return Replace(0, 0, std::string(bytes.size(), 'b'));
    case 5: {
        const int from = Place();
        const std::string part = from < 0 ? "" : s.substr(static_cast<std::size_t>(from), bytes.size());
        f.Write(f, std::max(from, 0), from < 0 ? 0 : n); // a part of itself
        return Replace(pos, insert ? 0 : static_cast<int>(part.size()), part);
    }
    case 6:
        f.WriteDWord(0x41626120);
        return Replace(pos, insert ? 0 : 4, " abA");
    case 7:
        f << -n;
        return Replace(pos, insert ? 0 : static_cast<int>(std::to_string(-n).size()), std::to_string(-n));
    default:
        f.Delete(pos, n);
        return Replace(pos, n, "");
    }
}

// Global replacement, and then a new length at a border of blocks.
void Walk::EditAll() {
    const std::string pattern = Bytes(1 + Below(3), "abA");
    const std::string bytes = Bytes(Below(4), "abA ");
    const bool ignoreCase = Below(2) == 0;
    const bool wholeWord = Below(2) == 0;
    int count = 0;
    const int n = static_cast<int>(pattern.size());
    for (int at = 0; (at = FindPlainly(s, at, pattern, ignoreCase, wholeWord)) >= 0; ++count) {
        Replace(at, n, bytes);
        at = pos;
    }
    EXPECT_EQ(count, f.ReplaceGlobal(pattern.c_str(), bytes.c_str(), ignoreCase, wholeWord));
    const int target = (1 + Below(2)) * BlkSize - 1 + Below(3);
    if (Length() > target) {
        f.SetPos(target);
        f.Truncate();
        s.resize(static_cast<std::size_t>(target));
    } else {
        const std::string more = Bytes(target - Length(), Below(2) == 0 ? "ab" : "aaaaaaa \r\n");
        f += more.c_str();
        s += more;
    }
    pos = Length();
}

void Walk::Line() {
    const int p = std::max(0, Place());
    const auto byte = [this](int i) { return i >= 0 && i < Length() ? s[static_cast<std::size_t>(i)] : 'x'; };
    const auto isStart = [&](int i) {
        return i == 0 || byte(i - 1) == '\n' || (byte(i - 1) == '\r' && byte(i) != '\n');
    };
    int start = p;
    while (!isStart(start)) --start;
    int end = p + 1;
    while (end <= Length() && !isStart(end)) ++end;
    end = std::min(end, Length());
    int textEnd = end;
    while (textEnd > start && (byte(textEnd - 1) == '\n' || byte(textEnd - 1) == '\r')) --textEnd;
    EXPECT_EQ(start, f.LineStart(p));
    EXPECT_EQ(end, f.LineEnd(p, true));
    EXPECT_EQ(textEnd, f.LineEnd(p, false));
    char text[4 * BlkSize];
    f.SetPos(start);
    const int n = f.ReadLine(text, sizeof text);
    EXPECT_EQ(s.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(textEnd - start)),
              std::string(text, static_cast<std::size_t>(n)));
    pos = end;
}

void Walk::Search() {
    const int at = std::max(0, Place());
    const bool own = Below(2) == 0; // a piece of the content is sure to be somewhere
    const std::string pattern =
        own ? s.substr(static_cast<std::size_t>(at), static_cast<std::size_t>(Below(40))) : Bytes(1 + Below(8), "aabA");
    if (pattern.empty()) return;
    CheckSearch(f, s, pattern, own ? Place() < 0 ? 0 : Below(at + 1) : at, Below(2) == 0, Below(4) == 0);
    pos = f.GetPos();
}

void Walk::Compare() {
    std::string other = s;
    if (Below(2) == 0 && !other.empty()) other[static_cast<std::size_t>(Below(Length()))] = 'a';
    if (Below(3) == 0) other += 'a';
    const VFile made(other.c_str());
    EXPECT_EQ(s == other, f == made);
    EXPECT_EQ(s < other, f < other.c_str());
    EXPECT_EQ(s >= other, f >= made);
    EXPECT_EQ(other <= s, other.c_str() <= f);
}

bool Walk::Step() {
    switch (Below(8)) {
    case 0:
        EditAll();
        break;
    case 1:
    case 2:
        Line();
        break;
    case 3:
    case 4:
        Search();
        break;
    case 5:
        Compare();
        break;
    default:
        Edit();
    }
    if (Below(20) == 0) VFile::ReleaseCache();
    EXPECT_EQ(pos, f.GetPos());
    EXPECT_EQ(resDone, f.res);
    EXPECT_TRUE(CheckVFile(f, stderr));
    EXPECT_TRUE(ContentOf(f) == s);
    return !testing::Test::HasFailure();
}

long FromEnvironment(const char* name, long otherwise) {
    const char* value = std::getenv(name);
    return value ? std::atol(value) : otherwise;
}

} // namespace

TEST(VFileEditRandom, FollowsAPlainString) {
    const long steps = FromEnvironment("VFILE_STEPS", 15000);
    const long given = FromEnvironment("VFILE_SEED", -1);
    for (unsigned seed = 1; seed <= (given < 0 ? 3u : 1u); ++seed) {
        const unsigned used = given < 0 ? seed : static_cast<unsigned>(given);
        VFile::SetMaxCacheSize(2);
        Walk walk(used);
        for (long step = 0; step < steps; ++step) {
            ASSERT_TRUE(walk.Step()) << "VFILE_SEED=" << used << " VFILE_STEPS=" << step + 1;
        }
    }
}
