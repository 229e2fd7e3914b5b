// The command line of vfedit, read and checked as a whole before any file is touched.
#pragma once

#include "vfedit_text.h"

#include <cstdint>

enum class EditKind {
    Insert,
    Delete,
    Overwrite,
    Append,
    InsertFile,
    AppendFile,
    Replace,
    Find,
    Patch,
    Hexdump,
    Line,
    Lines,
    InsertLine,
    DeleteLines,
    Stats
};

class Regex;

// The part of the content that an edit is about.
struct Range {
    enum Unit { All, Bytes, Lines };
    Unit unit = All;
    std::int32_t from = 0; // position or line
    std::int32_t to = 0;   // the position after it; the last line
    bool fromEnd = false;  // `from` is so many bytes before the end
    bool toEnd = false;
};

// One edit. Positions are bytes from 0, lines are counted from 1; MaxLen as a position or a count is "to the end".
struct Edit {
    EditKind kind = EditKind::Stats;
    const char* word = "";           // its name
    bool changes = false;            // the content
    std::int32_t from = 0;           // position or line
    bool fromEnd = false;            // `from` is so many bytes before the end
    std::int32_t count = 0x7FFFFFFF; // bytes, lines or replacements
    Text text;                       // TEXT, OLD or FILE
    Text replacement;                // NEW
    Range range;                     // --lines, --range
    bool ignoreCase = false;         // -i
    bool wholeWord = false;          // -w
    bool countOnly = false;          // -c
    bool nameOnly = false;           // -l
    bool textOnly = false;           // -o
    bool regex = false;              // -E
    bool multiLine = false;          // -m
    bool utf = false;                // -u
    Regex* pattern = nullptr;        // of a regular expression
};

constexpr int JobsMost = 64;
constexpr std::int32_t MatchMostKb = 1 << 20;

// Its texts are the arguments themselves, or what has been read from files, which goes with it.
struct CommandLine {
    CommandLine() = default;
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    const char* in = nullptr;
    const char* out = nullptr; // null: none was given
    const char* tempDir = nullptr;
    std::int16_t cacheKb = -1; // -1: the library's own limit
    std::int32_t matchMostKb = 8192;
    bool quiet = false;
    bool inPlace = false;
    bool force = false;
    bool status = false;          // --status
    bool dryRun = false;          // --dry-run
    bool json = false;            // --json
    const char* backup = nullptr; // -i: the suffix of backups, or ""; null: there is one IN
    char** files = nullptr;       // the files with -i, after the edits
    int fileCount = 0;
    int jobs = 1;
    Text script;      // of -f
    int editMost = 0; // there is room for
    Edit* edits = nullptr;
    int editCount = 0;
};

enum class Parsed {
    Run,
    Done,   // --help or --version has been answered
    Failed, // that could not be written, or there is no memory: told
    Wrong   // told on standard error
};

// Resolves escapes, and turns the separators of file names, in the arguments.
Parsed ParseCommandLine(int argc, char** argv, CommandLine& line);

extern const char* const HelpText;
