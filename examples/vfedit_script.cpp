// Edits from a file, one on a line.
#include "vfedit_input.h"
#include "vfedit_output.h"
#include "vfedit_parse.h"
#include "vfedit_terminal.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* Blanks = " \t\r";

// The next word, which is put where it stands, with a zero byte after it; null if there is none. In quotes, either of
// them, blanks and the other one are as any character, and a quote that comes twice is one. False: they do not end.
bool NextWord(char*& rest, char*& word) {
    rest += std::strspn(rest, Blanks);
    word = *rest != '\0' ? rest : nullptr;
    if (!word) return true;
    const char quote = *rest;
    if (quote != '\'' && quote != '"') {
        rest += std::strcspn(rest, Blanks);
        if (*rest != '\0') *rest++ = '\0';
        return true;
    }
    char* to = word;
    for (char* from = word + 1;; *to++ = *from++) {
        if (*from == '\0') return false;
        if (*from == quote && *++from != quote) {
            *to = '\0';
            rest = from;
            return *rest == '\0' || std::strchr(Blanks, *rest);
        }
    }
}

// Up to a comment.
Parsed ParseScriptWords(int count, char** words, CommandLine& line) {
    Reader reader(count, words);
    Parsed parsed = ParseEdit(reader, line);
    while (parsed == Parsed::Run && !reader.AtEnd() && reader.Peek()[0] != '#') {
        char* const word = reader.Take();
        if (!ParseOptionBehind(word, reader, line, parsed)) parsed = Wrong("'%s' is too much for one edit", word);
    }
    return parsed;
}

Parsed ParseScriptLine(char* rest, char** words, CommandLine& line) {
    int count = 0;
    for (;;) {
        if (!NextWord(rest, words[count])) return Wrong("a quote is wrong");
        if (!words[count]) break;
        if (count == 0 && words[0][0] == '#') return Parsed::Run;
        ++count;
    }
    return count == 0 ? Parsed::Run : ParseScriptWords(count, words, line);
}

} // namespace

Parsed ParseScript(const char* name, CommandLine& line) {
    if (line.script.file) return Wrong("there can be only one -f");
    line.script.file = name;
    if (!ReadWhole(name, Output(), line.script)) return Parsed::Failed;
    char* const end = line.script.own + line.script.length;
    const auto lines = static_cast<std::size_t>(std::count(line.script.own, end, '\n')) + 1;
    if (!MakeRoom(line, lines)) return Parsed::Failed;
    char** const words =
        static_cast<char**>(std::calloc(static_cast<std::size_t>(line.script.length) / 2 + 2, sizeof(char*)));
    if (!words) {
        ComplainErrno(InputName(name), ENOMEM);
        return Parsed::Failed;
    }
    Parsed parsed = Parsed::Run;
    int number = 1;
    for (char *at = line.script.own, *next; at < end && parsed == Parsed::Run; at = next, ++number) {
        next = std::find(at, end, '\n');
        const bool zero = std::find(at, next, '\0') != next;
        if (next < end) *next++ = '\0';
        parsed = zero ? Wrong("there is a zero byte") : ParseScriptLine(at, words, line);
        if (parsed != Parsed::Run) Complain(InputName(name), "line %d", number);
    }
    std::free(words);
    return parsed;
}
