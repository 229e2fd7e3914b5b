// vfedit without regular expressions.
#include "vfedit_parse.h"
#include "vfedit_regex.h"

struct RegexSearch::Engine {};

const char* RegexVersion() {
    return "without regular expressions";
}

Parsed CompileRegex(Edit& edit) {
    return Wrong("%s: -E: this vfedit has been built without regular expressions", edit.word);
}

void FreeRegex(Regex*) {}

// No regex is ever made, so nothing below is called.

RegexSearch::RegexSearch(const char* shown, VFile& content, const Regex& r, std::int32_t from, std::int32_t to, int,
                         int)
    : name(shown), regex(r), window(content, from, to, {}) {}

RegexSearch::~RegexSearch() = default;

bool RegexSearch::Next(std::int32_t&, std::int32_t&) {
    return false;
}

bool RegexSearch::Expand(const Text&, const char*&, int&) {
    return false;
}
