// Regular expressions of edits, by PCRE2. A build without it has vfedit_no_regex.cpp in place of vfedit_regex.cpp.
#pragma once

#include "vfedit_args.h"
#include "vfedit_window.h"

#include <cstdint>

// What --version says about them.
const char* RegexVersion();

// Compiles the text of the edit to its pattern. Wrong arguments are told.
Parsed CompileRegex(Edit& edit);
void FreeRegex(Regex* regex);

// Finds the matches in a range of a content, one after the other, as if the range was all there is. The content may be
// changed where a match was found.
class RegexSearch {
  public:
    // `name`: of the content, for messages. `first` and `most`: the sizes of the window, which a match has to fit in.
    RegexSearch(const char* name, VFile& content, const Regex& regex, std::int32_t from, std::int32_t to, int first,
                int most);
    ~RegexSearch();
    RegexSearch(const RegexSearch&) = delete;
    RegexSearch& operator=(const RegexSearch&) = delete;

    // The next match, in the content as it is now. False if there is none, or if it failed: told.
    bool Next(std::int32_t& at, std::int32_t& length);
    bool Failed() const { return failed; }

    // What is to stand in place of the last match, good until the next call. False: told.
    bool Expand(const Text& replacement, const char*& bytes, int& length);

    // The last match has got so many bytes more.
    void Grown(std::int32_t bytes) { window.Grown(bytes); }

  private:
    struct Engine;
    bool Fail(const char* words);
    bool Start();
    bool Move(int place);

    const char* name;
    const Regex& regex;
    Window window;
    Engine* engine = nullptr;
    int next = 0;       // where to go on in the window
    bool empty = false; // the last match was empty, and stood there
    bool failed = false;
    char* expanded = nullptr;
    std::size_t room = 0;
};
