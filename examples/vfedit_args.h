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
    bool ignoreCase = false;         // -i
    bool wholeWord = false;          // -w
    bool countOnly = false;          // -c
};

// Its texts are the arguments themselves, or what has been read from files, which goes with it.
struct CommandLine {
    CommandLine() = default;
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    const char* in = nullptr;
    const char* out = nullptr; // NIL: none was given
    const char* tempDir = nullptr;
    std::int16_t cacheKb = -1; // -1: the library's own limit
    bool quiet = false;
    bool inPlace = false;
    bool force = false;
    bool status = false; // --status
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
