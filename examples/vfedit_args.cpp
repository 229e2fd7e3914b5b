// The command line of vfedit.
#include "vfedit_args.h"

#include "vfedit_parse.h"
#include "vfedit_regex.h"
#include "vfedit_terminal.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <unistd.h>

namespace {

Parsed ParseOption(Reader& reader, CommandLine& line) {
    char* const arg = reader.Take();
    char* value = nullptr;
    Parsed parsed = Parsed::Run;
    if (ParseOptionBehind(arg, reader, line, parsed)) return parsed;
    if (Is(arg, "-q") || Is(arg, "--quiet")) {
        line.quiet = true;
    } else if (Is(arg, "--in-place")) {
        line.inPlace = true;
    } else if (Is(arg, "--force")) {
        line.force = true;
    } else if (Is(arg, "--status")) {
        line.status = true;
    } else if (IsOption(arg, "--output", reader, value) || IsShortOption(arg, "-o", reader, value)) {
        if (!value || !*value) return Wrong("'%s' needs the name of a file", arg);
        if (line.out) return Wrong("there can be only one -o");
        line.out = FileName(value);
    } else if (IsOption(arg, "--cache", reader, value)) {
        std::int32_t kb = 0;
        if (!value || !ParseNumber(value, 0, INT16_MAX, kb)) return Wrong("--cache needs a number from 0 to 32767");
        line.cacheKb = static_cast<std::int16_t>(kb);
    } else if (IsOption(arg, "--match-limit", reader, value)) {
        if (!value || !ParseNumber(value, 1, MatchMostKb, line.matchMostKb))
            return Wrong("--match-limit needs a number from 1 to %d", MatchMostKb);
    } else if (IsOption(arg, "--temp", reader, value)) {
        if (!value || !*value) return Wrong("--temp needs the name of a directory");
        line.tempDir = FileName(value);
    } else {
        return Wrong("unknown option '%s'", arg);
    }
    return Parsed::Run;
}

const char* ChangingWord(const CommandLine& line) {
    for (int i = 0; i < line.editCount; ++i) {
        if (line.edits[i].changes) return line.edits[i].word;
    }
    return nullptr;
}

// Standard input can be read only once.
int UsesOfInput(const CommandLine& line) {
    int n = Is(line.in, "-") ? 1 : 0;
    for (int i = 0; i < line.editCount; ++i) {
        const Edit& edit = line.edits[i];
        const EditKind kind = edit.kind;
        const bool file = kind == EditKind::InsertFile || kind == EditKind::AppendFile || kind == EditKind::Patch;
        n += file && Is(edit.text.bytes, "-") ? 1 : 0;
        for (const Text* text : {&edit.text, &edit.replacement}) n += text->file && Is(text->file, "-") ? 1 : 0;
    }
    return n;
}

Parsed Answer(const char* text) {
    Report report(STDOUT_FILENO);
    report.Put(text, std::strlen(text));
    return report.Deliver() ? Parsed::Done : Parsed::Failed;
}

Parsed AnswerVersion() {
    char words[128];
    std::snprintf(words, sizeof words, "vfedit " VFEDIT_VERSION ", %s\n", RegexVersion());
    return Answer(words);
}

} // namespace

CommandLine::~CommandLine() {
    for (int i = 0; i < editCount; ++i) {
        FreeRegex(edits[i].pattern);
        std::free(edits[i].text.own);
        std::free(edits[i].replacement.own);
    }
    std::free(edits);
}

Parsed Wrong(const char* format, ...) {
    std::fputs("vfedit: ", stderr);
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::fputs("\nUsage: vfedit [OPTION...] IN [-o OUT] EDIT...\nTry 'vfedit --help' for the rest.\n", stderr);
    return Parsed::Wrong;
}

bool Is(const char* s, const char* word) {
    return std::strcmp(s, word) == 0;
}

const char* FileName(char* s) {
    for (char* c = s; *c; ++c) {
        if (*c == '\\') *c = '/';
    }
    return s;
}

bool IsOption(char* arg, const char* name, Reader& reader, char*& value) {
    const std::size_t n = std::strlen(name);
    if (std::strncmp(arg, name, n) != 0 || (arg[n] != '\0' && arg[n] != '=')) return false;
    value = arg[n] == '=' ? arg + n + 1 : reader.AtEnd() ? nullptr : reader.Take();
    return true;
}

bool IsShortOption(char* arg, const char* name, Reader& reader, char*& value) {
    if (std::strncmp(arg, name, 2) != 0) return false;
    value = arg[2] == '=' ? arg + 3 : arg[2] != '\0' ? arg + 2 : reader.AtEnd() ? nullptr : reader.Take();
    return true;
}

Parsed ParseCommandLine(int argc, char** argv, CommandLine& line) {
    const std::size_t most = argc > 1 ? static_cast<std::size_t>(argc) : 1; // edits
    line.edits = static_cast<Edit*>(std::calloc(most, sizeof(Edit)));
    if (!line.edits) {
        ComplainErrno("the command line", ENOMEM);
        return Parsed::Failed;
    }
    Reader reader(argc - 1, argv + 1); // there is a name of the program, or nothing at all
    bool options = true;
    while (!reader.AtEnd()) {
        const char* arg = reader.Peek();
        Parsed parsed = Parsed::Run;
        if (options && Is(arg, "--help")) return Answer(HelpText);
        if (options && Is(arg, "--version")) return AnswerVersion();
        if (options && Is(arg, "--")) {
            reader.Take();
            options = false;
        } else if (options && arg[0] == '-' && arg[1] != '\0') {
            parsed = ParseOption(reader, line);
        } else if (!line.in) {
            if (!*arg) return Wrong("the name of IN is empty");
            line.in = FileName(reader.Take());
        } else {
            parsed = ParseEdit(reader, line);
        }
        if (parsed != Parsed::Run) return parsed;
    }
    if (!line.in) return Wrong("the name of the file to edit is missing");
    if (!line.out && line.editCount == 0) return Wrong("there is nothing to do: no edit and no -o");
    const char* changing = ChangingWord(line);
    if (!line.out && changing) return Wrong("'%s' changes the content: -o OUT is missing", changing);
    if (UsesOfInput(line) > 1) return Wrong("standard input can be read only once");
    return Parsed::Run;
}
