// The command line of vfedit.
#include "vfedit_args.h"

#include "vfile/vfile.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* HelpText =
    R"(Usage: vfedit [OPTION...] IN [-o OUT] EDIT...
Edit a file of up to 2 GiB in a few megabytes of memory. "-" is standard input or output.

Options, anywhere before or between the edits:
  -o, --output OUT  write the result to OUT, which may be IN; needed if an edit changes anything
  --cache KB        keep at most KB kilobytes of the content in RAM, 0 to 32767 (default 4000)
  --temp DIR        make the swap file in DIR (default $TMP, $TEMP, $TMPDIR, /var/tmp, /tmp)
  -q, --quiet       no summary, no progress
  --help, --version
  --                ends the options

Edits, done in their order:
  insert POS TEXT                 insert TEXT at POS
  delete FROM COUNT               delete COUNT bytes at FROM
  overwrite POS TEXT              replace as many bytes at POS as TEXT has
  append TEXT                     insert TEXT at the end
  insert-file POS FILE            insert the whole of FILE at POS
  replace [-i] [-w] [--] OLD NEW  replace every OLD by NEW, from the start on
  find [-i] [-w] [--] TEXT        print "POS LINE:COLUMN" for each TEXT
  line N                          print line N
  delete-lines FROM COUNT         delete COUNT lines from line FROM on
  stats                           print bytes, lines, line ends, longest line

POS is a byte position from 0, decimal or 0x..., or "end"; one behind the end is the end. Lines and columns are
counted from 1. COUNT may be "all". A line ends in LF, CR LF or CR. TEXT, OLD and NEW know \n \r \t \\ and \xHH.
-i takes a letter A to Z for its lower case; -w wants no letter or digit before and behind the match.
What find, line and stats print goes to standard output, or to standard error if the result goes there.

OUT is written beside its old self and takes its place when it is complete; mode and, where possible, owner stay.

Exit status: 0 done; 1 a file or an edit failed, OUT is as it was; 2 wrong arguments; 3 the library had to stop.
)";

struct EditForm {
    const char* word;
    EditKind kind;
    const char* arguments; // p position, n count, l line, t text, s text without NUL and not empty, f file
    bool flags;            // takes -i and -w
    bool changes;
};

constexpr EditForm forms[] = {
    {"insert", EditKind::Insert, "pt", false, true},
    {"delete", EditKind::Delete, "pn", false, true},
    {"overwrite", EditKind::Overwrite, "pt", false, true},
    {"append", EditKind::Append, "t", false, true},
    {"insert-file", EditKind::InsertFile, "pf", false, true},
    {"replace", EditKind::Replace, "st", true, true},
    {"find", EditKind::Find, "s", true, false},
    {"line", EditKind::Line, "l", false, false},
    {"delete-lines", EditKind::DeleteLines, "ln", false, true},
    {"stats", EditKind::Stats, "", false, false},
};

Parsed Wrong(const std::string& words) {
    std::fprintf(stderr,
                 "vfedit: %s\nUsage: vfedit [OPTION...] IN [-o OUT] EDIT...\nTry 'vfedit --help' for the rest.\n",
                 words.c_str());
    return Parsed::Wrong;
}

std::string Quoted(const std::string& s) {
    return "'" + s + "'";
}

// A whole number from `least` to `most`; nothing before it, nothing behind it.
bool ParseNumber(const char* s, long least, long most, std::int32_t& value) {
    const bool hex = s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
    const char* digits = hex ? s + 2 : s;
    const char* allowed = hex ? "0123456789abcdefABCDEF" : "0123456789";
    const std::size_t n = std::strlen(digits);
    if (n == 0 || n > 15 || std::strspn(digits, allowed) != n) return false;
    const long long v = std::strtoll(digits, nullptr, hex ? 16 : 10);
    if (v < least || v > most) return false;
    value = static_cast<std::int32_t>(v);
    return true;
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    const int lower = std::tolower(static_cast<unsigned char>(c));
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Resolves the escapes of a text argument.
bool ParseText(const char* s, std::string& text) {
    text.clear();
    for (; *s; ++s) {
        if (*s != '\\') {
            text += *s;
            continue;
        }
        switch (*++s) {
        case 'n':
            text += '\n';
            break;
        case 'r':
            text += '\r';
            break;
        case 't':
            text += '\t';
            break;
        case '\\':
            text += '\\';
            break;
        case 'x': {
            const int high = HexDigit(s[1]);
            const int low = high < 0 ? -1 : HexDigit(s[2]);
            if (low < 0) return false;
            text += static_cast<char>(high * 16 + low);
            s += 2;
            break;
        }
        default:
            return false;
        }
    }
    return true;
}

// The library takes '\' for a separator, and what vfedit itself asks of the system has to mean the same file.
std::string FileName(const char* s) {
    std::string name = s;
    for (char& c : name) {
        if (c == '\\') c = '/';
    }
    return name;
}

// Walks along the arguments.
class Reader {
  public:
    Reader(int argc, char** argv) : count(argc), args(argv) {}
    bool AtEnd() const { return next >= count; }
    const char* Peek() const { return args[next]; }
    const char* Take() { return args[next++]; }

  private:
    int count;
    char** args;
    int next = 1;
};

// The value of an option that stands as "-oOUT", "--output=OUT" or "--output OUT". NIL if there is none.
const char* OptionValue(const std::string& option, std::size_t nameLength, Reader& reader) {
    if (option.size() > nameLength) return option.c_str() + nameLength + (option[nameLength] == '=' ? 1 : 0);
    return reader.AtEnd() ? nullptr : reader.Take();
}

bool IsOption(const std::string& arg, const char* name, std::size_t& nameLength) {
    nameLength = std::strlen(name);
    return arg == name || arg.compare(0, nameLength + 1, std::string(name) + "=") == 0;
}

Parsed ParseOption(Reader& reader, CommandLine& line) {
    const std::string arg = reader.Take();
    std::size_t n = 0;
    if (arg == "-q" || arg == "--quiet") {
        line.quiet = true;
        return Parsed::Run;
    }
    if (IsOption(arg, "--output", n) || (arg.compare(0, 2, "-o") == 0 && (n = 2) != 0)) {
        const char* value = OptionValue(arg, n, reader);
        if (!value || !*value) return Wrong(Quoted(arg) + " needs the name of a file");
        if (!line.out.empty()) return Wrong("there can be only one -o");
        line.out = FileName(value);
        return Parsed::Run;
    }
    if (IsOption(arg, "--cache", n)) {
        const char* value = OptionValue(arg, n, reader);
        std::int32_t kb = 0;
        if (!value || !ParseNumber(value, 0, INT16_MAX, kb)) return Wrong("--cache needs a number from 0 to 32767");
        line.cacheKb = static_cast<std::int16_t>(kb);
        return Parsed::Run;
    }
    if (IsOption(arg, "--temp", n)) {
        const char* value = OptionValue(arg, n, reader);
        if (!value || !*value) return Wrong("--temp needs the name of a directory");
        line.tempDir = FileName(value);
        return Parsed::Run;
    }
    return Wrong("unknown option " + Quoted(arg));
}

Parsed ParseEdit(Reader& reader, CommandLine& line) {
    const std::string word = reader.Take();
    const EditForm* form = nullptr;
    for (const EditForm& f : forms) {
        if (word == f.word) form = &f;
    }
    if (!form) return Wrong("unknown edit " + Quoted(word));

    Edit edit;
    edit.kind = form->kind;
    while (form->flags && !reader.AtEnd()) {
        const std::string flag = reader.Peek();
        if (flag == "--") {
            reader.Take();
            break;
        }
        if (flag != "-i" && flag != "-w" && flag != "-iw" && flag != "-wi") break; // a text that begins with '-'
        reader.Take();
        if (flag.find('i') != std::string::npos) edit.ignoreCase = true;
        if (flag.find('w') != std::string::npos) edit.wholeWord = true;
    }
    for (const char* a = form->arguments; *a; ++a) {
        if (reader.AtEnd()) return Wrong(Quoted(word) + " needs more arguments");
        const char* arg = reader.Take();
        switch (*a) {
        case 'p':
            if (std::strcmp(arg, "end") == 0) {
                edit.from = MaxLen;
            } else if (!ParseNumber(arg, 0, MaxLen, edit.from)) {
                return Wrong(word + ": " + Quoted(arg) + " is no position");
            }
            break;
        case 'l':
            if (!ParseNumber(arg, 1, MaxLen, edit.from)) return Wrong(word + ": " + Quoted(arg) + " is no line number");
            break;
        case 'n':
            if (std::strcmp(arg, "all") == 0) {
                edit.count = MaxLen;
            } else if (!ParseNumber(arg, 0, MaxLen, edit.count)) {
                return Wrong(word + ": " + Quoted(arg) + " is no count");
            }
            break;
        case 'f':
            edit.text = FileName(arg);
            break;
        default: {
            std::string& text = *a == 't' && a != form->arguments && form->flags ? edit.replacement : edit.text;
            if (!ParseText(arg, text)) return Wrong(word + ": " + Quoted(arg) + " has an escape that is not known");
            if (*a == 's' && (text.empty() || text.find('\0') != std::string::npos))
                return Wrong(word + ": the text to look for can't be empty or hold a zero byte");
        }
        }
    }
    line.edits.push_back(edit);
    return Parsed::Run;
}

const char* ChangingWord(const CommandLine& line) {
    for (const Edit& edit : line.edits) {
        for (const EditForm& f : forms) {
            if (f.kind == edit.kind && f.changes) return f.word;
        }
    }
    return nullptr;
}

// Standard input can be read only once.
int UsesOfInput(const CommandLine& line) {
    int n = line.in == "-" ? 1 : 0;
    for (const Edit& edit : line.edits) n += edit.kind == EditKind::InsertFile && edit.text == "-" ? 1 : 0;
    return n;
}

} // namespace

Parsed ParseCommandLine(int argc, char** argv, CommandLine& line) {
    Reader reader(argc, argv);
    bool options = true;
    while (!reader.AtEnd()) {
        const std::string arg = reader.Peek();
        Parsed parsed = Parsed::Run;
        if (options && arg == "--help") {
            std::fputs(HelpText, stdout);
            return Parsed::Done;
        }
        if (options && arg == "--version") {
            std::puts("vfedit " VFEDIT_VERSION);
            return Parsed::Done;
        }
        if (options && arg == "--") {
            reader.Take();
            options = false;
        } else if (options && arg.size() > 1 && arg[0] == '-') {
            parsed = ParseOption(reader, line);
        } else if (line.in.empty()) {
            if (arg.empty()) return Wrong("the name of IN is empty");
            line.in = FileName(reader.Take());
        } else {
            parsed = ParseEdit(reader, line);
        }
        if (parsed != Parsed::Run) return parsed;
    }
    if (line.in.empty()) return Wrong("the name of the file to edit is missing");
    if (line.out.empty() && line.edits.empty()) return Wrong("there is nothing to do: no edit and no -o");
    const char* changing = ChangingWord(line);
    if (line.out.empty() && changing) return Wrong(Quoted(changing) + " changes the content: -o OUT is missing");
    if (UsesOfInput(line) > 1) return Wrong("standard input can be read only once");
    return Parsed::Run;
}
