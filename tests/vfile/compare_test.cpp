// Comparison of contents with one another and with strings.
#include "support/vfile_support.h"

#include <gtest/gtest.h>

namespace {

// The six operators as bits.
template <class A, class B>
int Relations(const A& a, const B& b) {
    return (a == b) | (a != b) << 1 | (a < b) << 2 | (a <= b) << 3 | (a > b) << 4 | (a >= b) << 5;
}

// Piece by piece at the front, so that blocks are part full; the last piece stays in the buffer.
void BuildFromEnd(VFile& f, std::string s) {
    for (; !s.empty(); s.resize(s.size() - std::min<std::size_t>(300, s.size()))) {
        Put(f, 0, 0, s.substr(s.size() - std::min<std::size_t>(300, s.size())));
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
            BuildFromEnd(built, b);
            EXPECT_EQ(Relations(a, b), Relations(whole, built));
            const std::string text = b.c_str(); // to the first NUL
            EXPECT_EQ(Relations(a, text), Relations(whole, text.c_str()));
            EXPECT_EQ(Relations(text, a), Relations(text.c_str(), whole));
        }
    }
}

TEST(VFileCompare, LeavesBothObjectsAndSeesTheBuffer) {
    VFile a(Pattern(3000).c_str());
    VFile b(a);
    char dst[100];
    a.ReadBytes(dst, 100);
    a.res = resNotDone;
    b.SetPos(1500);
    b.ReplaceByte('~'); // only the buffer has it
    const std::string layout = LayoutOf(a) + LayoutOf(b);
    EXPECT_TRUE(a != b && a < b && a <= b && b > a && a == a && a <= a && !(a < a));
    EXPECT_TRUE(a.GetPos() == 3000 && a.eof && a.res == resNotDone && b.GetPos() == 1501);
    EXPECT_EQ(layout, LayoutOf(a) + LayoutOf(b));
}
