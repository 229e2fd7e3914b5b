// The edits in the command line of vfedit: which there are, and what follows their names.
#include "vfedit_parse.h"
#include "vfedit_regex.h"
#include "vfile/vfile.h"

#include <cstring>
#include <new>

namespace {

struct EditForm {
    const char* word;
    EditKind kind;
    const char* arguments; // p position, n count, l line, o text to look for, t text, r replacement, f file
    const char* flags;     // letters; null: neither flags nor a range
    bool changes;
};

constexpr EditForm forms[] = {
    {"insert", EditKind::Insert, "pt", nullptr, true},
    {"delete", EditKind::Delete, "pn", "", true},
    {"overwrite", EditKind::Overwrite, "pt", nullptr, true},
    {"append", EditKind::Append, "t", nullptr, true},
    {"insert-file", EditKind::InsertFile, "pf", nullptr, true},
    {"append-file", EditKind::AppendFile, "f", nullptr, true},
    {"replace", EditKind::Replace, "or", "Eiw", true},
    {"find", EditKind::Find, "o", "Eiwclo", false},
    {"patch", EditKind::Patch, "f", nullptr, true},
    {"hexdump", EditKind::Hexdump, "pn", nullptr, false},
    {"line", EditKind::Line, "l", nullptr, false},
    {"lines", EditKind::Lines, "ln", nullptr, false},
    {"insert-line", EditKind::InsertLine, "lt", nullptr, true},
    {"delete-lines", EditKind::DeleteLines, "ln", nullptr, true},
    {"stats", EditKind::Stats, "", nullptr, false},
};

bool ParseCount(const char* s, std::int32_t& count) {
    count = MaxLen;
    return Is(s, "all") || ParseNumber(s, 0, MaxLen, count);
}

bool ParsePosition(const char* s, std::int32_t& position, bool& fromEnd) {
    if (std::strncmp(s, "end", 3) != 0) return ParseNumber(s, 0, MaxLen, position);
    fromEnd = true;
    position = 0;
    return s[3] == '\0' || (s[3] == '-' && ParseNumber(s + 4, 0, MaxLen, position));
}

// "A,B". The comma becomes the end of A.
bool ParseRange(char* value, Range::Unit unit, Range& range) {
    char* const comma = value ? std::strchr(value, ',') : nullptr;
    if (!comma || range.unit != Range::All) return false;
    *comma = '\0';
    range.unit = unit;
    if (unit == Range::Bytes)
        return ParsePosition(value, range.from, range.fromEnd) && ParsePosition(comma + 1, range.to, range.toEnd);
    range.to = MaxLen;
    return ParseNumber(value, 1, MaxLen, range.from) &&
           (Is(comma + 1, "end") || ParseNumber(comma + 1, range.from, MaxLen, range.to));
}

// False if the word is no range.
bool ParseRangeOption(char* arg, Reader& reader, Range& range, Parsed& parsed) {
    char* value = nullptr;
    const bool lines = IsOption(arg, "--lines", reader, value);
    if (!lines && !IsOption(arg, "--range", reader, value)) return false;
    if (!ParseRange(value, lines ? Range::Lines : Range::Bytes, range))
        parsed = Wrong("%s needs A,B, once for an edit", lines ? "--lines" : "--range");
    return true;
}

// True if the word is '-' with letters that are flags of the edit.
bool TakeFlags(const char* word, const char* letters, Edit& edit) {
    if (word[0] != '-' || word[1] == '\0') return false;
    const bool regex = edit.regex || (std::strchr(letters, 'E') && std::strchr(word, 'E'));
    for (const char* c = word + 1; *c; ++c) {
        if (!std::strchr(letters, *c) && !(regex && std::strchr("mu", *c))) return false;
    }
    const auto has = [word](char c) { return std::strchr(word, c) != nullptr; };
    edit.regex = regex;
    edit.ignoreCase |= has('i');
    edit.wholeWord |= has('w');
    edit.countOnly |= has('c');
    edit.nameOnly |= has('l');
    edit.textOnly |= has('o');
    edit.multiLine |= has('m');
    edit.utf |= has('u');
    return true;
}

// What stands before the texts of an edit. Anything else that begins with '-' is a text.
Parsed ParseFlags(Reader& reader, const char* letters, Edit& edit) {
    Parsed parsed = Parsed::Run;
    while (parsed == Parsed::Run && !reader.AtEnd()) {
        const char* const word = reader.Peek();
        if (Is(word, "--")) {
            reader.Take();
            break;
        }
        if (TakeFlags(word, letters, edit)) {
            reader.Take();
        } else if (std::strncmp(word, "--lines", 7) == 0 || std::strncmp(word, "--range", 7) == 0) {
            if (!ParseRangeOption(reader.Take(), reader, edit.range, parsed)) return Wrong("unknown option '%s'", word);
        } else {
            break;
        }
    }
    return parsed;
}

// A text of an edit: what the characters stand for is a matter of regular expressions, or of vfedit.
Parsed ParseTextArgument(const char* word, char kind, char* arg, Edit& edit) {
    Text& text = kind == 'r' ? edit.replacement : edit.text;
    if (edit.regex && !(kind == 'r' && arg[0] == '\\' && arg[1] == '@')) {
        text.bytes = arg;
        text.length = static_cast<int>(std::strlen(arg));
    } else if (!ParseText(arg, text)) {
        return Wrong("%s: '%s' has an escape that is not known", word, arg);
    }
    if (text.file) text.file = FileName(arg + 2);
    if (kind == 'o' && text.length == 0 && !text.file) return Wrong("%s: the text to look for can't be empty", word);
    return Parsed::Run;
}

Parsed ParseArgument(const char* word, char kind, char* arg, Edit& edit) {
    switch (kind) {
    case 'p':
        if (!ParsePosition(arg, edit.from, edit.fromEnd)) return Wrong("%s: '%s' is no position", word, arg);
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
    default:
        return ParseTextArgument(word, kind, arg, edit);
    }
    return Parsed::Run;
}

} // namespace

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
    Parsed parsed = form->flags ? ParseFlags(reader, form->flags, edit) : Parsed::Run;
    const bool ranged = edit.kind == EditKind::Delete && edit.range.unit != Range::All;
    for (const char* a = ranged ? "" : form->arguments; *a && parsed == Parsed::Run; ++a) {
        if (reader.AtEnd()) return Wrong("'%s' needs more arguments", word);
        parsed = ParseArgument(word, *a, reader.Take(), edit);
    }
    if (parsed != Parsed::Run) return parsed;
    new (&line.edits[line.editCount++]) Edit(edit);
    return edit.regex ? CompileRegex(line.edits[line.editCount - 1]) : Parsed::Run;
}

// -n and -c belong to the edit before them: in front of its texts -n has always been a text.
bool ParseOptionBehind(char* arg, Reader& reader, CommandLine& line, Parsed& parsed) {
    Edit* const last = line.editCount > 0 ? &line.edits[line.editCount - 1] : nullptr;
    const bool replaces = last && last->kind == EditKind::Replace;
    const bool finds = last && last->kind == EditKind::Find;
    char* value = nullptr;
    Range range;
    if (Is(arg, "-c")) {
        if (!finds) parsed = Wrong("'%s' stands behind the texts of a find", arg);
        if (finds) last->countOnly = true;
    } else if (IsShortOption(arg, "-n", reader, value)) {
        if (!replaces) {
            parsed = Wrong("'%s' stands behind the texts of a replace", arg);
        } else if (!value || !ParseCount(value, last->count)) {
            parsed = Wrong("'%s' needs a count", arg);
        }
    } else if (ParseRangeOption(arg, reader, replaces || finds ? last->range : range, parsed)) {
        if (!replaces && !finds) parsed = Wrong("'%s' belongs to a find, a replace or a delete", arg);
    } else {
        return false;
    }
    return true;
}
