// The command line of vfedit, read and checked as a whole before any file is touched.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum class EditKind { Insert, Delete, Overwrite, Append, InsertFile, Replace, Find, Line, DeleteLines, Stats };

// One edit. Positions are bytes from 0, lines are counted from 1; MaxLen as a position or a count is "to the end".
struct Edit {
    EditKind kind = EditKind::Stats;
    std::int32_t from = 0;   // position or line
    std::int32_t count = 0;  // bytes or lines
    std::string text;        // TEXT, OLD or FILE; escapes are resolved
    std::string replacement; // NEW
    bool ignoreCase = false; // -i
    bool wholeWord = false;  // -w
};

struct CommandLine {
    std::string in;
    std::string out; // empty: none was given
    std::string tempDir;
    std::int16_t cacheKb = -1; // -1: the library's own limit
    bool quiet = false;
    std::vector<Edit> edits;
};

enum class Parsed {
    Run,
    Done, // --help or --version has been answered
    Wrong // told on standard error
};

Parsed ParseCommandLine(int argc, char** argv, CommandLine& line);
