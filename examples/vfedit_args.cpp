// The command line of vfedit.
#include "vfedit_args.h"

#include "vfedit_terminal.h"
#include "vfile/vfile.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <new>
#include <unistd.h>

namespace {

struct EditForm {
    const char* word;
    EditKind kind;
    const char* arguments; // p position, n count, l line, o text to look for, t text, r replacement, f file
    bool flags;            // takes -i and -w
    bool changes;
};

constexpr EditForm forms[] = {
    {"insert", EditKind::Insert, "pt", false, true},
    {"delete", EditKind::Delete, "pn", false, true},
    {"overwrite", EditKind::Overwrite, "pt", false, true},
    {"append", EditKind::Append, "t", false, true},
    {"insert-file", EditKind::InsertFile, "pf", false, true},
    {"append-file", EditKind::AppendFile, "f", false, true},
    {"replace", EditKind::Replace, "or", true, true},
    {"find", EditKind::Find, "o", true, false},
    {"patch", EditKind::Patch, "f", false, true},
    {"hexdump", EditKind::Hexdump, "pn", false, false},
    {"line", EditKind::Line, "l", false, false},
    {"lines", EditKind::Lines, "ln", false, false},
    {"insert-line", EditKind::InsertLine, "lt", false, true},
    {"delete-lines", EditKind::DeleteLines, "ln", false, true},
    {"stats", EditKind::Stats, "", false, false},
};

__attribute__((format(printf, 1, 2))) Parsed Wrong(const char* format, ...) {
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

bool ParseCount(const char* s, std::int32_t& count) {
    count = MaxLen;
    return Is(s, "all") || ParseNumber(s, 0, MaxLen, count);
}

bool ParsePosition(const char* s, Edit& edit) {
    if (std::strncmp(s, "end", 3) != 0) return ParseNumber(s, 0, MaxLen, edit.from);
    edit.fromEnd = true;
    return s[3] == '\0' || (s[3] == '-' && ParseNumber(s + 4, 0, MaxLen, edit.from));
}

// The library takes '\' for a separator, and what vfedit itself asks of the system has to mean the same file.
const char* FileName(char* s) {
    for (char* c = s; *c; ++c) {
        if (*c == '\\') *c = '/';
    }
    return s;
}

// Walks along the arguments.
class Reader {
  public:
    Reader(int argc, char** argv) : count(argc), args(argv) {}
    bool AtEnd() const { return next >= count; }
    const char* Peek() const { return args[next]; }
    char* Take() { return args[next++]; }

  private:
    int count;
    char** args;
    int next = 1;
};

// True if `arg` is the option `name`, by itself or as "NAME=VALUE"; its value, or the next argument, or NIL.
bool IsOption(char* arg, const char* name, Reader& reader, char*& value) {
    const std::size_t n = std::strlen(name);
    if (std::strncmp(arg, name, n) != 0 || (arg[n] != '\0' && arg[n] != '=')) return false;
    value = arg[n] == '=' ? arg + n + 1 : reader.AtEnd() ? nullptr : reader.Take();
    return true;
}

// The same as "-o OUT" or "-oOUT".
bool IsShortOption(char* arg, const char* name, Reader& reader, char*& value) {
    if (std::strncmp(arg, name, 2) != 0) return false;
    value = arg[2] == '=' ? arg + 3 : arg[2] != '\0' ? arg + 2 : reader.AtEnd() ? nullptr : reader.Take();
    return true;
}

// -n and -c belong to the edit before them: in front of its texts they have always been texts.
Parsed ParseOptionBehind(bool number, const char* arg, const char* value, const CommandLine& line) {
    Edit* const last = line.editCount > 0 ? &line.edits[line.editCount - 1] : nullptr;
    if (!last || last->kind != (number ? EditKind::Replace : EditKind::Find))
        return Wrong("'%s' stands behind the texts of a %s", arg, number ? "replace" : "find");
    if (!number) last->countOnly = true;
    if (number && (!value || !ParseCount(value, last->count))) return Wrong("'%s' needs a count", arg);
    return Parsed::Run;
}

Parsed ParseOption(Reader& reader, CommandLine& line) {
    char* const arg = reader.Take();
    char* value = nullptr;
    if (Is(arg, "-q") || Is(arg, "--quiet")) {
        line.quiet = true;
    } else if (Is(arg, "--in-place")) {
        line.inPlace = true;
    } else if (Is(arg, "--force")) {
        line.force = true;
    } else if (Is(arg, "--status")) {
        line.status = true;
    } else if (Is(arg, "-c")) {
        return ParseOptionBehind(false, arg, nullptr, line);
    } else if (IsShortOption(arg, "-n", reader, value)) {
        return ParseOptionBehind(true, arg, value, line);
    } else if (IsOption(arg, "--output", reader, value) || IsShortOption(arg, "-o", reader, value)) {
        if (!value || !*value) return Wrong("'%s' needs the name of a file", arg);
        if (line.out) return Wrong("there can be only one -o");
        line.out = FileName(value);
    } else if (IsOption(arg, "--cache", reader, value)) {
        std::int32_t kb = 0;
        if (!value || !ParseNumber(value, 0, INT16_MAX, kb)) return Wrong("--cache needs a number from 0 to 32767");
        line.cacheKb = static_cast<std::int16_t>(kb);
    } else if (IsOption(arg, "--temp", reader, value)) {
        if (!value || !*value) return Wrong("--temp needs the name of a directory");
        line.tempDir = FileName(value);
    } else {
        return Wrong("unknown option '%s'", arg);
    }
    return Parsed::Run;
}

// The flags before the texts of an edit. Anything else that begins with '-' is a text.
void ParseFlags(Reader& reader, Edit& edit) {
    while (!reader.AtEnd()) {
        const char* flag = reader.Peek();
        const bool end = Is(flag, "--");
        if (!end && !Is(flag, "-i") && !Is(flag, "-w") && !Is(flag, "-iw") && !Is(flag, "-wi")) return;
        reader.Take();
        if (end) return;
        if (std::strchr(flag, 'i')) edit.ignoreCase = true;
        if (std::strchr(flag, 'w')) edit.wholeWord = true;
    }
}

Parsed ParseArgument(const char* word, char kind, char* arg, Edit& edit) {
    switch (kind) {
    case 'p':
        if (!ParsePosition(arg, edit)) return Wrong("%s: '%s' is no position", word, arg);
        break;
    case 'l':
        if (!ParseNumber(arg, 1, MaxLen, edit.from)) return Wrong("%s: '%s' is no line number", word, arg);
        break;
    case 'n':
        if (!ParseCount(arg, edit.count)) return Wrong("%s: '%s' is no count", word, arg);
        break;
    case 'f':
        edit.text.bytes = FileName(arg);
        break;
    default: {
        Text& text = kind == 'r' ? edit.replacement : edit.text;
        if (!ParseText(arg, text)) return Wrong("%s: '%s' has an escape that is not known", word, arg);
        if (text.file) text.file = FileName(arg + 2);
        if (kind == 'o' && text.length == 0 && !text.file)
            return Wrong("%s: the text to look for can't be empty", word);
    }
    }
    return Parsed::Run;
}

Parsed ParseEdit(Reader& reader, CommandLine& line) {
    const char* const word = reader.Take();
    const EditForm* form = nullptr;
    for (const EditForm& f : forms) {
        if (Is(word, f.word)) form = &f;
    }
    if (!form) return Wrong("unknown edit '%s'", word);

    Edit edit;
    edit.kind = form->kind;
    edit.word = form->word;
    edit.changes = form->changes;
    if (form->flags) ParseFlags(reader, edit);
    for (const char* a = form->arguments; *a; ++a) {
        if (reader.AtEnd()) return Wrong("'%s' needs more arguments", word);
        const Parsed parsed = ParseArgument(word, *a, reader.Take(), edit);
        if (parsed != Parsed::Run) return parsed;
    }
    new (&line.edits[line.editCount++]) Edit(edit);
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

} // namespace

CommandLine::~CommandLine() {
    for (int i = 0; i < editCount; ++i) {
        std::free(edits[i].text.own);
        std::free(edits[i].replacement.own);
    }
    std::free(edits);
}

Parsed ParseCommandLine(int argc, char** argv, CommandLine& line) {
    const std::size_t most = argc > 1 ? static_cast<std::size_t>(argc) : 1; // edits
    line.edits = static_cast<Edit*>(std::calloc(most, sizeof(Edit)));
    if (!line.edits) {
        ComplainErrno("the command line", ENOMEM);
        return Parsed::Failed;
    }
    Reader reader(argc, argv);
    bool options = true;
    while (!reader.AtEnd()) {
        const char* arg = reader.Peek();
        Parsed parsed = Parsed::Run;
        if (options && Is(arg, "--help")) return Answer(HelpText);
        if (options && Is(arg, "--version")) return Answer("vfedit " VFEDIT_VERSION "\n");
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
