// Comparison of contents with one another and with strings.
#include "support/halt_trap.h"
#include "support/vfile_support.h"

#include <gtest/gtest.h>

namespace {

// The six operators as bits.
template <class A, class B>
int Relations(const A& a, const B& b) {
    return (a == b) | (a != b) << 1 | (a < b) << 2 | (a <= b) << 3 | (a > b) << 4 | (a >= b) << 5;
}

// Built from both ends towards the middle, so that its blocks are part full; the last edit stays in the buffer.
void BuildFromEnds(VFile& f, const std::string& s) {
    const std::size_t half = s.size() / 2;
    for (std::size_t i = 0; i < half; i += 200)
        Put(f, f.Length(), 0, s.substr(i, std::min<std::size_t>(200, half - i)));
    for (std::size_t end = s.size(); end > half;) {
        const std::size_t n = std::min<std::size_t>(300, end - half);
        Put(f, static_cast<std::int32_t>(half), 0, s.substr(end -= n, n));
    }
}

} // namespace

TEST(VFileCompare, EveryOperatorInEveryFormAsByteStrings) {
    std::vector<std::string> contents = {"", "a", "A", "\xFF", "abc", "abcd", {"a\0b", 3}, {"a\0", 2}};
    const std::string base = Pattern(3000);
    for (const std::size_t at : {0U, 1023U, 1024U, 1025U, 2047U, 2048U, 2999U}) {
        contents.push_back(base.substr(0, at));
        contents.push_back(base);
        contents.back()[at] = '\xFE';
    }
    contents.push_back(base);
    for (const std::string& a : contents) {
        VFile whole;
        Put(whole, 0, 0, a);
        for (const std::string& b : contents) {
            VFile built;
            BuildFromEnds(built, b);
            EXPECT_EQ(Relations(a, b), Relations(whole, built));
            const std::string text = b.c_str(); // to the first NUL
            EXPECT_EQ(Relations(a, text), Relations(whole, text.c_str()));
            EXPECT_EQ(Relations(text, a), Relations(text.c_str(), whole));
        }
    }
}

TEST(VFileCompare, LeavesBothObjectsAndSeesTheBuffer) {
    VFile a;
    Put(a, 0, 0, Pattern(3000));
    VFile b(a);
    a.SetPos(2990);
    char dst[100];
    a.ReadBytes(dst, 100);
    a.res = resNotDone;
    b.SetPos(1500);
    b.ReplaceByte('~'); // only the buffer has it
    const std::string layout = LayoutOf(a) + LayoutOf(b);
    EXPECT_TRUE(a != b && a < b && a <= b && b > a && a == a && a <= a && !(a < a) && a < "x");
    EXPECT_EQ(3000, a.GetPos());
    EXPECT_TRUE(a.eof);
    EXPECT_EQ(resNotDone, a.res);
    EXPECT_EQ(1501, b.GetPos());
    EXPECT_EQ(layout, LayoutOf(a) + LayoutOf(b));
}

TEST(VFileCompare, HaltsOnAnotherThreadAndForObjectsOfTwo) {
    VFile outer("a"); // the child that halts is another thread to it
    EXPECT_ASSERT_HALT("VFile", (void)(outer == outer));
    EXPECT_ASSERT_HALT("VFile", (void)(outer < "a"));
    EXPECT_ASSERT_HALT("VFile", (void)("a" >= outer));
    EXPECT_ASSERT_HALT("VFile", {
        VFile_InitializeThread();
        VFile inner("bc");
        (void)(inner == outer);
    });
}
