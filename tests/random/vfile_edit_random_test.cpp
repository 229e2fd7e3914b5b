// Follows an object with a plain string through edits, lines, searches and comparisons. The letters are few, so that
// matches overlap and line ends come in any order; the length keeps near the borders of blocks; the cache is small.
// VFILE_SEED and VFILE_STEPS repeat a run.
#include "support/text_models.h"
#include "support/vfile_support.h"

#include <random>

namespace {

class Walk {
  public:
    explicit Walk(unsigned seed) : rng(seed) {}
    bool Step();

  private:
    int Below(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }
    int Length() const { return static_cast<int>(s.size()); }
    int Place() { return Below(2) ? Below(Length() + 1) : std::clamp(Below(3) * BlkSize + Below(9) - 4, 0, Length()); }
    std::string Bytes(int n, const std::string& letters);
    void Expect(int at, int oldLen, const std::string& bytes);
    void Edit();
    void ReplaceAll();
    void ChangeLength();
    void Look();

    std::mt19937 rng;
    VFile f;
    std::string s; // the content that f should have
    int pos = 0;   // and its position
};

std::string Walk::Bytes(int n, const std::string& letters) {
    std::string bytes;
    while (n-- > 0) bytes += letters[rng() % letters.size()];
    return bytes;
}

void Walk::Expect(int at, int oldLen, const std::string& bytes) {
    s.replace(static_cast<std::size_t>(at), static_cast<std::size_t>(oldLen), bytes);
    pos = at + static_cast<int>(bytes.size());
}

void Walk::Edit() {
    f.SetPos(pos = Place());
    const bool insert = Below(2) == 0;
    f.SetFlag(vfInsert, insert);
    std::string bytes = Bytes(Below(Below(5) ? 6 : BlkSize), "aabA \r\n");
    const int n = static_cast<int>(bytes.size());
    const int from = Place();
    const int kind = Below(7);
    if (kind == 0) f.Insert(bytes.c_str());
    if (kind == 1) f.ReplaceBytes(bytes.data(), n);
    if (kind == 2) f << bytes.c_str();
    if (kind == 3) f.Append(bytes.c_str());
    if (kind == 4) f.Prepend('b', n), bytes.assign(bytes.size(), 'b');
    if (kind == 5) f.Write(f, from, n), bytes = Part(s, from, n); // a part of itself
    if (kind == 6) f << -n, bytes = std::to_string(-n);
    const bool overwrite = kind == 1 || (kind != 0 && kind != 3 && kind != 4 && !insert);
    Expect(kind == 3 ? Length() : kind == 4 ? 0 : pos, overwrite ? static_cast<int>(bytes.size()) : 0, bytes);
}

void Walk::ReplaceAll() {
    const std::string pattern = Bytes(1 + Below(3), "abA"), bytes = Bytes(Below(4), "abA ");
    const bool fold = Below(2) == 0, word = Below(2) == 0;
    int count = 0;
    for (int at = 0; (at = FindPlainly(s, at, 1, pattern, fold, word)) >= 0; at = pos, ++count) {
        Expect(at, static_cast<int>(pattern.size()), bytes);
    }
    EXPECT_EQ(count, f.ReplaceGlobal(pattern.c_str(), bytes.c_str(), fold, word));
    pos = Length();
}

// To one at the border of two blocks.
void Walk::ChangeLength() {
    const int n = (1 + Below(2)) * BlkSize - 1 + Below(3);
    const std::string more = Bytes(n - Length(), Below(2) ? "ab" : "aaaaaaa \r\n");
    f.Delete(n, MaxLen);
    s.resize(static_cast<std::size_t>(std::min(n, Length())));
    f += more.c_str();
    Expect(Length(), 0, more);
}

void Walk::Look() {
    const std::vector<Line> lines = LinesOf(s);
    const Line& line = lines[rng() % lines.size()];
    const int p = std::min(line.start + Below(line.end - line.start + 1), std::max(line.end - 1, line.start));
    char text[4 * BlkSize];
    EXPECT_EQ(line.start, f.LineStart(p));
    EXPECT_EQ(line.end, f.LineEnd(p, true));
    EXPECT_EQ(line.end - line.eolSize, f.LineEnd(p, false));
    f.SetPos(line.start);
    EXPECT_EQ(line.end - line.eolSize - line.start, f.ReadLine(text, sizeof text));
    EXPECT_EQ(Part(s, line.start, line.end - line.eolSize - line.start), text);

    const std::string pattern = Below(2) ? Part(s, Place(), 1 + Below(40)) : Bytes(1 + Below(8), "aabA");
    if (!pattern.empty()) CheckSearch(f, s, pattern, Place(), Below(2), Below(4) == 0);
    pos = f.GetPos();

    std::string other = s + Bytes(Below(2), "ab");
    if (Length() > 0) other[rng() % s.size()] = 'a';
    const VFile made(other.c_str());
    EXPECT_EQ(s == other, f == made);
    EXPECT_EQ(s >= other, f >= made);
    EXPECT_EQ(s < other, f < other.c_str());
}

bool Walk::Step() {
    const int kind = Below(6);
    kind == 0 ? ReplaceAll() : kind == 1 ? ChangeLength() : kind < 4 ? Look() : Edit();
    if (Below(20) == 0) VFile::ReleaseCache();
    EXPECT_TRUE(f.GetPos() == pos && f.res == resDone && CheckVFile(f, stderr));
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
    const long given = FromEnvironment("VFILE_SEED", 0);
    for (long seed = given ? given : 1; seed <= (given ? given : 3); ++seed) {
        VFile::SetMaxCacheSize(2);
        Walk walk(static_cast<unsigned>(seed));
        for (long step = 1; step <= steps; ++step) {
            ASSERT_TRUE(walk.Step()) << "VFILE_SEED=" << seed << " VFILE_STEPS=" << step;
        }
    }
}
