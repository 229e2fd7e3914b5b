// Regular expressions of edits, by PCRE2.
//
// A search goes over the content by a window. As long as more is to come after it, PCRE2 is asked for partial matches:
// it stops where a match could go on after the end of the window, and the window then is moved to where that match
// begins, and gets larger if it does not fit. Some bytes are kept before the place where a search goes on, for what
// looks back, and so that no place but the true start of the range is taken for the start.
#define PCRE2_CODE_UNIT_WIDTH 8
#include "vfedit_regex.h"

#include "vfedit_parse.h"
#include "vfedit_terminal.h"

#include <pcre2.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

class Regex {
  public:
    explicit Regex(pcre2_code* c) : code(c) {}
    ~Regex() { pcre2_code_free(code); }
    Regex(const Regex&) = delete;
    Regex& operator=(const Regex&) = delete;

    pcre2_code* const code;
    Window::Cut cut;
};

struct RegexSearch::Engine {
    ~Engine() {
        pcre2_match_data_free(matches);
        pcre2_match_context_free(context);
        pcre2_jit_stack_free(stack);
    }
    pcre2_match_data* matches = nullptr;
    pcre2_match_context* context = nullptr;
    pcre2_jit_stack* stack = nullptr;
};

namespace {

constexpr std::size_t StackFirst = 32 * 1024; // of the compiled code
constexpr std::size_t StackMost = 8 * 1024 * 1024;
constexpr std::size_t ExpandedFirst = 256;
constexpr std::uint32_t HeapMostKb = 16 * 1024; // of the interpreter

const unsigned char* Bytes(const char* s) {
    return reinterpret_cast<const unsigned char*>(s);
}

// What the next match begins with would be seen anew at each start of a window.
bool KnowsLastEnd(const char* pattern) {
    for (const char* c = pattern; *c; ++c) {
        if (*c == '\\' && *++c == 'G') return true;
        if (*c == '\0') break;
    }
    return false;
}

pcre2_code* Compile(const Edit& edit, std::uint32_t options, pcre2_compile_context* context, int& error,
                    std::size_t& where) {
    options |= PCRE2_NEVER_BACKSLASH_C | (edit.utf ? PCRE2_UTF | PCRE2_UCP : PCRE2_NEVER_UTF);
    if (edit.ignoreCase) options |= PCRE2_CASELESS;
    if (edit.multiLine) options |= PCRE2_MULTILINE;
    pcre2_set_newline(context, PCRE2_NEWLINE_ANYCRLF);
    if (edit.wholeWord) pcre2_set_compile_extra_options(context, PCRE2_EXTRA_MATCH_WORD);
    return pcre2_compile(Bytes(edit.text.bytes), static_cast<std::size_t>(edit.text.length), options, &error, &where,
                         context);
}

// To machine code, where that is to be had. What is interpreted loses partial matches before bytes that are no UTF-8,
// so it gets along without PCRE2_MATCH_INVALID_UTF, and fails where it comes upon them.
pcre2_code* CompileFully(const Edit& edit, pcre2_compile_context* context, int& error, std::size_t& where) {
    pcre2_code* const code = Compile(edit, edit.utf ? PCRE2_MATCH_INVALID_UTF : 0, context, error, where);
    if (!code) return nullptr;
    std::size_t size = 0;
    if (pcre2_jit_compile(code, PCRE2_JIT_COMPLETE | PCRE2_JIT_PARTIAL_HARD) == 0)
        pcre2_pattern_info(code, PCRE2_INFO_JITSIZE, &size);
    if (!edit.utf || size > 0) return code;
    pcre2_code_free(code);
    return Compile(edit, 0, context, error, where);
}

Window::Cut CutFor(const pcre2_code* code, bool utf) {
    std::uint32_t lookBehind = 0, newline = 0; // characters
    pcre2_pattern_info(code, PCRE2_INFO_MAXLOOKBEHIND, &lookBehind);
    pcre2_pattern_info(code, PCRE2_INFO_NEWLINE, &newline);
    Window::Cut cut;
    cut.before = static_cast<int>(lookBehind + 1) * (utf ? 4 : 1);
    cut.characters = utf;
    cut.lineEnds = newline == PCRE2_NEWLINE_NUL ? "" : "\n\r\v\f\x85";
    cut.lineEndCount = newline == PCRE2_NEWLINE_NUL ? 1 : newline == PCRE2_NEWLINE_ANY ? 5 : 2;
    return cut;
}

} // namespace

const char* RegexVersion() {
    static char words[64] = "regular expressions by PCRE2 ";
    if (char* const end = words + std::strlen(words); end[-1] == ' ') pcre2_config(PCRE2_CONFIG_VERSION, end);
    return words;
}

Parsed CompileRegex(Edit& edit) {
    if (KnowsLastEnd(edit.text.bytes)) return Wrong("%s: '%s': \\G can't be used", edit.word, edit.text.bytes);
    pcre2_compile_context* const context = pcre2_compile_context_create(nullptr);
    int error = PCRE2_ERROR_NOMEMORY;
    std::size_t where = 0;
    pcre2_code* const code = context ? CompileFully(edit, context, error, where) : nullptr;
    pcre2_compile_context_free(context);
    if (!code) {
        unsigned char words[200];
        pcre2_get_error_message(error, words, sizeof words);
        return Wrong("%s: '%s': %s, at byte %zu", edit.word, edit.text.bytes, reinterpret_cast<char*>(words), where);
    }
    edit.pattern = new (std::nothrow) Regex(code);
    if (!edit.pattern) {
        pcre2_code_free(code);
        ComplainErrno(edit.word, ENOMEM);
        return Parsed::Failed;
    }
    edit.pattern->cut = CutFor(code, edit.utf);
    return Parsed::Run;
}

void FreeRegex(Regex* regex) {
    delete regex;
}

RegexSearch::RegexSearch(const char* shown, VFile& content, const Regex& r, std::int32_t from, std::int32_t to,
                         int first, int most)
    : name(shown), regex(r), window(content, from, to, [&] {
          Window::Cut cut = r.cut;
          cut.first = first;
          cut.most = most;
          return cut;
      }()) {}

RegexSearch::~RegexSearch() {
    delete engine;
    std::free(expanded);
}

bool RegexSearch::Fail(const char* words) {
    failed = true;
    return Complain(name, "%s", words);
}

bool RegexSearch::Start() {
    engine = new (std::nothrow) Engine;
    if (engine) {
        engine->matches = pcre2_match_data_create_from_pattern(regex.code, nullptr);
        engine->context = pcre2_match_context_create(nullptr);
    }
    if (!engine || !engine->matches || !engine->context) return Fail(std::strerror(ENOMEM));
    pcre2_set_heap_limit(engine->context, HeapMostKb);
    engine->stack = pcre2_jit_stack_create(StackFirst, StackMost, nullptr);
    if (engine->stack) pcre2_jit_stack_assign(engine->context, nullptr, engine->stack);
    return Move(0);
}

bool RegexSearch::Move(int place) {
    const Window::Moved moved = window.MoveTo(place);
    next = window.Start();
    if (moved == Window::Moved::Done) return true;
    return Fail(moved == Window::Moved::NoMemory ? std::strerror(ENOMEM)
                                                 : "a match may be longer than --match-limit allows");
}

bool RegexSearch::Next(std::int32_t& at, std::int32_t& length) {
    if (failed || (!engine && !Start())) return false;
    for (;;) {
        const std::uint32_t options = (empty ? PCRE2_NOTEMPTY_ATSTART : 0) | (window.Last() ? 0 : PCRE2_PARTIAL_HARD);
        const int result = pcre2_match(regex.code, window.Bytes(), static_cast<std::size_t>(window.Count()),
                                       static_cast<std::size_t>(next), options, engine->matches, engine->context);
        const std::size_t* const ends = pcre2_get_ovector_pointer(engine->matches);
        if (result > 0) {
            at = window.Position(static_cast<int>(ends[0]));
            length = static_cast<std::int32_t>(ends[1] - ends[0]);
            next = static_cast<int>(ends[1]);
            empty = length == 0;
            return true;
        }
        if (result == PCRE2_ERROR_NOMATCH && window.Last()) return false;
        if (result != PCRE2_ERROR_NOMATCH && result != PCRE2_ERROR_PARTIAL) {
            unsigned char words[200];
            pcre2_get_error_message(result, words, sizeof words);
            return Fail(reinterpret_cast<char*>(words));
        }
        // Nothing begins before this place; what does there has to be looked at again.
        const int place = result == PCRE2_ERROR_PARTIAL ? static_cast<int>(ends[0]) : window.Count();
        if (place > next) empty = false;
        if (!Move(place)) return false;
    }
}

bool RegexSearch::Expand(const Text& replacement, const char*& bytes, int& length) {
    bytes = replacement.bytes;
    length = replacement.length;
    if (replacement.own || !std::strpbrk(bytes, "$\\")) return true; // from a file, or nothing to expand
    constexpr std::uint32_t options = PCRE2_SUBSTITUTE_MATCHED | PCRE2_SUBSTITUTE_REPLACEMENT_ONLY |
                                      PCRE2_SUBSTITUTE_EXTENDED | PCRE2_SUBSTITUTE_UNSET_EMPTY |
                                      PCRE2_SUBSTITUTE_OVERFLOW_LENGTH;
    for (std::size_t needed = ExpandedFirst;;) {
        if (needed > room) {
            char* const more = needed > INT32_MAX ? nullptr : static_cast<char*>(std::realloc(expanded, needed));
            if (!more) return Fail(std::strerror(ENOMEM));
            expanded = more;
            room = needed;
        }
        std::size_t n = room;
        const int result = pcre2_substitute(regex.code, window.Bytes(), static_cast<std::size_t>(window.Count()),
                                            static_cast<std::size_t>(window.Start()), options, engine->matches,
                                            engine->context, Bytes(bytes), static_cast<std::size_t>(length),
                                            reinterpret_cast<unsigned char*>(expanded), &n);
        if (result >= 0) {
            bytes = expanded;
            length = static_cast<int>(n);
            return true;
        }
        if (result != PCRE2_ERROR_NOMEMORY) {
            unsigned char words[200];
            pcre2_get_error_message(result, words, sizeof words);
            return Fail(reinterpret_cast<char*>(words));
        }
        needed = n;
    }
}
