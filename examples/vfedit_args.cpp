// The command line of vfedit.
#include "vfedit_args.h"

#include "vfedit_parse.h"
#include "vfedit_regex.h"
#include "vfedit_terminal.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <unistd.h>

namespace {

Parsed ParseValueOption(char* arg, Reader& reader, CommandLine& line) {
    char* value = nullptr;
    Reader none(0, nullptr);
    if (IsOption(arg, "--output", reader, value) || IsShortOption(arg, "-o", reader, value)) {
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
    } else if (IsShortOption(arg, "-f", reader, value)) {
        if (!value || !*value) return Wrong("'%s' needs the name of a file", arg);
        return ParseScript(FileName(value), line);
    } else if (IsShortOption(arg, "-i", none, value)) {
        if (line.in || line.editCount > 0 || line.backup) return Wrong("-i stands before the edits, and once");
        line.backup = value ? value : "";
        if (std::strpbrk(line.backup, "/\\")) return Wrong("the suffix of -i can't lead to another directory");
    } else if (IsShortOption(arg, "-j", reader, value)) {
        if (!value || !ParseNumber(value, 1, JobsMost, line.jobs))
            return Wrong("-j needs a number from 1 to %d", JobsMost);
    } else {
        return Wrong("unknown option '%s'", arg);
    }
    return Parsed::Run;
}

Parsed ParseOption(Reader& reader, CommandLine& line) {
    char* const arg = reader.Take();
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
    } else if (Is(arg, "--dry-run")) {
        line.dryRun = true;
    } else if (Is(arg, "--json")) {
        line.json = true;
    } else {
        return ParseValueOption(arg, reader, line);
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
    int n = (line.in && Is(line.in, "-") ? 1 : 0) + (line.script.file && Is(line.script.file, "-") ? 1 : 0);
    for (int i = 0; i < line.editCount; ++i) {
        const Edit& edit = line.edits[i];
        const EditKind kind = edit.kind;
        const bool file = kind == EditKind::InsertFile || kind == EditKind::AppendFile || kind == EditKind::Patch;
        n += file && Is(edit.text.bytes, "-") ? std::max(1, line.fileCount) : 0;
        for (const Text* text : {&edit.text, &edit.replacement}) n += text->file && Is(text->file, "-") ? 1 : 0;
    }
    return n;
}

// What is wrong with the whole of it.
Parsed Check(const CommandLine& line) {
    const char* const changing = ChangingWord(line);
    if (line.backup) {
        if (line.fileCount == 0) return Wrong("-i needs files behind the edits and '--'");
        if (line.out) return Wrong("-o can't be had with -i");
        if (line.editCount == 0) return Wrong("there is nothing to do: no edit");
        for (int i = 0; i < line.fileCount; ++i) {
            const char* const name = FileName(line.files[i]);
            if (!*name || Is(name, "-")) return Wrong("'%s' can't be edited in place", name);
        }
    } else {
        if (!line.in) return Wrong("the name of the file to edit is missing");
        if (line.jobs > 1) return Wrong("-j is for many files, with -i");
        if (!line.out && line.editCount == 0) return Wrong("there is nothing to do: no edit and no -o");
        if (!line.out && changing && !line.dryRun)
            return Wrong("'%s' changes the content: -o OUT is missing", changing);
    }
    if (UsesOfInput(line) > 1) return Wrong("standard input can be read only once");
    return Parsed::Run;
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

// The words up to the end, or what they end in.
Parsed ParseWords(Reader& reader, CommandLine& line) {
    bool options = true;
    Parsed parsed = Parsed::Run;
    while (!reader.AtEnd() && parsed == Parsed::Run) {
        const char* const arg = reader.Peek();
        if (options && Is(arg, "--help")) return Answer(HelpText);
        if (options && Is(arg, "--version")) return AnswerVersion();
        if (options && Is(arg, "--")) {
            reader.Take();
            options = false;
            if (!line.backup) continue;
            line.files = reader.Rest();
            line.fileCount = reader.RestCount();
            break;
        }
        if (options && arg[0] == '-' && arg[1] != '\0') {
            parsed = ParseOption(reader, line);
        } else if (!line.in && !line.backup) {
            if (!*arg) return Wrong("the name of IN is empty");
            line.in = FileName(reader.Take());
        } else {
            parsed = ParseEdit(reader, line);
        }
    }
    return parsed;
}

} // namespace

CommandLine::~CommandLine() {
    for (int i = 0; i < editCount; ++i) {
        FreeRegex(edits[i].pattern);
        std::free(edits[i].text.own);
        std::free(edits[i].replacement.own);
    }
    std::free(edits);
    std::free(script.own);
}

Parsed Wrong(const char* format, ...) {
    std::fputs("vfedit: ", stderr);
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::fputs("\nUsage: vfedit [OPTION...] IN [-o OUT] EDIT...\n       vfedit [OPTION...] -i[SUFFIX] EDIT... -- "
               "FILE...\nTry 'vfedit --help' for the rest.\n",
               stderr);
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

bool MakeRoom(CommandLine& line, std::size_t more) {
    const std::size_t most = static_cast<std::size_t>(line.editMost) + more;
    void* const edits = most > INT_MAX ? nullptr : std::realloc(static_cast<void*>(line.edits), most * sizeof(Edit));
    if (!edits) return ComplainErrno("the command line", ENOMEM);
    line.edits = static_cast<Edit*>(edits);
    line.editMost = static_cast<int>(most);
    return true;
}

Parsed ParseCommandLine(int argc, char** argv, CommandLine& line) {
    if (!MakeRoom(line, argc > 1 ? static_cast<std::size_t>(argc) : 1)) return Parsed::Failed;
    Reader reader(argc - 1, argv + 1); // there is a name of the program, or nothing at all
    const Parsed parsed = ParseWords(reader, line);
    return parsed == Parsed::Run ? Check(line) : parsed;
}
