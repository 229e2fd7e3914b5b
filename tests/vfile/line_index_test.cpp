// Lines by number: the tree of chunks against a plain list of them, and what the random test does not come across.
#include "support/vfile_support.h"
#include "vfile/line_index.h"

#include <numeric>

using vfile_internal::LineChunk;
using vfile_internal::LineIndex;
using vfile_internal::LineSum;
using vfile_internal::LineTree;

namespace {

// Tiny chunks make a tree of several levels.
TEST(LineTree, FollowsAPlainList) {
    std::mt19937 rng(1);
    const auto below = [&](std::size_t n) { return rng() % n; };
    LineTree tree;
    std::vector<LineSum> list;
    for (int step = 0; step < 60000; ++step) {
        const bool grows = step / 12000 % 2 == 0;
        const std::size_t i = below(8) == 0 || list.empty() ? list.size() : below(list.size());
        std::int32_t at = 0, line = 0;
        for (std::size_t k = 0; k < i; ++k) at += list[k].bytes, line += list[k].ends;
        const LineSum some = {1 + static_cast<int>(below(3)), static_cast<int>(below(2))};
        if (i == list.size() || below(4) == 0 || grows) {
            ASSERT_TRUE(tree.Insert(at, some));
            list.insert(list.begin() + static_cast<long>(i), some);
        } else if (below(3) == 0) {
            tree.Seek(at);
            tree.Add(some);
            list[i].bytes += some.bytes, list[i].ends += some.ends;
        } else {
            tree.Erase(at);
            list.erase(list.begin() + static_cast<long>(i));
        }
        if (i >= list.size()) continue;
        const LineChunk of = tree.OfByte(at + list[i].bytes - 1);
        ASSERT_TRUE(of.before.bytes == at && of.before.ends == line && of.self.bytes == list[i].bytes) << step;
        ASSERT_TRUE(list[i].ends == 0 || tree.OfEnd(line + list[i].ends).before.bytes == at) << step;
        ASSERT_TRUE(step % 500 != 0 || tree.Check()) << step;
    }
    while (tree.All().bytes > 0) tree.Erase(0);
    EXPECT_TRUE(tree.Check() && tree.Memory() == 0);
}

TEST(LineNumbers, AtTheEdges) {
    struct Row {
        std::string content;
        int count, p, line, n, at;
    };
    for (const Row& row : {Row{"", 1, 0, 0, 0, 0}, Row{"", 1, 5, 0, 1, 0}, Row{"ab", 1, 2, 0, 1, 2},
                           Row{"ab\n", 2, 3, 1, 1, 3}, Row{"ab\n", 2, 2, 0, 2, 3}, Row{"a\r\nb", 2, 2, 0, 1, 3},
                           Row{"a\r\nb", 2, 3, 1, MaxLen, 4}, Row{"\n\r", 3, 1, 1, 1, 1}, Row{"\r", 2, 1, 1, 1, 1},
                           Row{"\r\n", 2, 1, 0, 1, 2}, Row{"\r\r\n\n", 4, 2, 1, 2, 3}}) {
        CallRecorder each(row.content.c_str());
        VFile whole(row.content.c_str());
        for (VFile* f : {&whole, static_cast<VFile*>(&each)})
            EXPECT_TRUE(f->LineCount() == row.count && f->LineOf(row.p) == row.line && f->LineAt(row.n) == row.at)
                << testing::PrintToString(row.content);
    }
    VFile f("a\nb");
    for (const auto ask : {&VFile::LineOf, &VFile::LineAt}) {
        f.Reset();
        EXPECT_TRUE((f.*ask)(-1) == 0 && f.res == resCallError && f.Length() == 3);
    }
}

// Its ReadByte shows every x as a line feed.
struct Shown : CallRecorder {
    using CallRecorder::CallRecorder;
    void ReadByte(unsigned char& b) override {
        CallRecorder::ReadByte(b);
        if (b == 'x') b = '\n';
    }
};

TEST(LineNumbers, AreThoseThatAClassReads) {
    Shown f("axb\rc");
    f.SetPos(2), f.eof = true, f.res = resNotDone, f.seen = "";
    EXPECT_TRUE(f.LineOf(2) == 1 && f.GetPos() == 2 && f.eof && f.res == resNotDone);
    EXPECT_EQ("SetPos 0; next; next; SetPos 2; ", f.seen);
    EXPECT_TRUE(f.LineCount() == 3 && f.LineAt(1) == 2 && f.LineAt(2) == 4 && !LineIndex::Of(f));
}

// Asks for lines wherever it is called, and changes itself from within.
struct Asking : VFile {
    mutable std::vector<int> told;
    int PreChange(std::int32_t at, std::int32_t, std::int32_t) const override {
        told.push_back(const_cast<Asking*>(this)->LineOf(at)); // makes the index in the middle of a change
        return at == 99 ? resNotDone : resDone;
    }
    void PostChange(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) override {
        VFile::PostChange(at, oldLen, newLen);
        if (newLen == 3) Append('\r', 1), Prepend('\n', 1);
        told.push_back(LineCount());
    }
};

TEST(LineNumbers, AreRightInsideOfChanges) {
    Asking f;
    f.Append("a\rb"), f.Insert("x"), f.Append("\n");
    EXPECT_EQ((std::vector<int>{0, 1, 3, 0, 4, 4, 2, 4, 3, 4}), f.told);
    CheckLineNumbers(f, ContentOf(f), 3, 2);
    EXPECT_TRUE(CheckVFile(f, stderr));
}

TEST(LineNumbers, TakeLittleMemoryAndNoneUnasked) {
    VFile f;
    for (int i = 0; i < 512; ++i) f.Append(LinedPattern(8192, i).c_str());
    EXPECT_EQ(nullptr, LineIndex::Of(f));
    std::mt19937 rng(1);
    const auto share = [&] {
        const int count = f.LineCount();
        EXPECT_TRUE(CheckVFile(f, stderr) && count > 1000);
        return 1024.0 * static_cast<double>(LineIndex::Of(f)->Memory()) / f.Length();
    };
    EXPECT_LT(share(), 1.6);
    for (const int del : {0, 15}) { // growing and shrinking all over
        for (int i = 0; i < 200000; ++i)
            f.ReplaceBuf(static_cast<int>(rng() % 4000000), del, "some\r\nmore\n", del ? 0 : 11);
        EXPECT_LT(share(), 2.0) << del;
    }
    VFile::ReleaseCache();
    f = "short";
    EXPECT_TRUE(f.LineCount() == 1 && CheckVFile(f, stderr));
}

TEST(LineNumbers, EndWithTheirObject) {
    auto f = std::make_unique<VFile>("a\nb");
    EXPECT_EQ(2, f->LineCount());
    EXPECT_EQ("gone", InChild([&] { return f.reset(), "gone"; }));
    std::thread([&] { EXPECT_TRUE(halt_trap::IsAssertion(halt_trap::TextOf([&] { f->LineOf(0); }), "VFile")); }).join();
}

} // namespace
