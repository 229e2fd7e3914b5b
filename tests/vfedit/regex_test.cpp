// Regular expressions find the same through a window of a few bytes, which moves and grows, as in one run of memory,
// and replacing on the way changes nothing about it.
#include "examples/vfedit_regex.h"

#include "support/test.h"

namespace {

struct Pattern {
    const char* text;
    bool utf, multiLine;
};

constexpr Pattern Patterns[] = {
    {"ab", false, false},           {"a+b", false, false},      {"a.*?b", false, false},
    {"(?s)a.*b", false, false},     {"b$", false, false},       {"\\n$", false, false},
    {"a\\Z", false, false},         {"b\\z", false, false},     {"^a", false, false},
    {"\\Aa?", false, false},        {"^", false, true},         {"$", false, true},
    {"^a*$", false, true},          {"\\R^", false, true},      {"\\n^b", false, true},
    {"(?<=ab)a", false, false},     {"(?<=^a)b", false, true},  {"(?<!a)b", false, true},
    {"\\bab?\\b", false, false},    {"\\B", false, false},      {"a*", false, false},
    {"(?=b)|a", false, false},      {"a*(?!b)", false, false},  {"\\r?\\n", false, false},
    {"(?<=\\n\\n)a?", false, true}, {"a\\Kb*", false, false},   {"(a|b)+\\n", false, false},
    {"(?s).", true, false},         {"\xC3\xA4+", true, false}, {"(?<=\xC3\xA4)a", true, true},
    {"[^a]*b", true, false},        {"\\w+$", true, true},      {"(*ANY)^b", false, true},
    {"(*LF)a$", false, true},       {"(*CRLF)a?$", true, true},
};

// Each match as "position+length"; what matches is replaced by `put` if that is not null.
std::string Found(const Regex& regex, const std::string& bytes, int first, const char* put) {
    VFile content;
    content.ReplaceBuf(0, 0, bytes.data(), static_cast<int>(bytes.size()));
    RegexSearch search("content", content, regex, 0, content.Length(), first, 1 << 16);
    std::string all;
    for (std::int32_t at, n; search.Next(at, n);) {
        all += std::to_string(at) + "+" + std::to_string(n) + " ";
        if (!put) continue;
        const int length = static_cast<int>(std::strlen(put));
        content.ReplaceBuf(at, n, put, length);
        search.Grown(length - n);
    }
    EXPECT_FALSE(search.Failed());
    return all;
}

TEST(Regex, FindsTheSameThroughASmallWindow) {
    const char* const pieces[] = {"a",  "b",   "\n",           "\r",       "\r\n",    " ",
                                  "ab", "aab", "\n\n\n\n\n\n", "\xC3\xA4", "\xE2\x82"};
    const long steps = FromEnvironment("VFILE_STEPS", 1500);
    std::mt19937 random(static_cast<unsigned>(FromEnvironment("VFILE_SEED", 1)));
    for (std::size_t row = 0; row < 2 * std::size(Patterns); ++row) {
        const Pattern& pattern = Patterns[row / 2];
        const std::string text = (row % 2 == 0 ? "" : "(*NO_JIT)") + std::string(pattern.text);
        Edit edit;
        edit.text.bytes = text.c_str();
        edit.text.length = static_cast<int>(text.size());
        edit.utf = pattern.utf;
        edit.multiLine = pattern.multiLine;
        ASSERT_EQ(Parsed::Run, CompileRegex(edit)) << text;
        for (long i = 0; i < steps / 10 && !HasFailure(); ++i) {
            std::string bytes;
            const std::size_t kinds =
                std::size(pieces) - (pattern.utf && row % 2 == 1); // interpreted: no half characters
            for (auto n = random() % 40; n > 0; --n) bytes += pieces[random() % kinds];
            const char* const put = i % 2 == 0 ? nullptr : i % 4 == 1 ? "" : "a\nb";
            EXPECT_EQ(Found(*edit.pattern, bytes, 4096, put),
                      Found(*edit.pattern, bytes, 1 + static_cast<int>(i % 9), put))
                << text << " in " << testing::PrintToString(bytes);
        }
        FreeRegex(edit.pattern);
    }
}

} // namespace
