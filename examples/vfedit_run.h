// One file from its loading to its saving.
#pragma once

#include "vfedit_args.h"

// What has come of it.
struct FileRun {
    bool changed = false; // by the edits
    bool metAll = true;   // each find and replace has met something
};

// Reads the texts of edits that lie in files. False: told.
bool LoadTexts(const CommandLine& line);

// Does all edits on the file `in`; the result goes to `out`, if that is not null. May be called on several threads at
// once. False: told.
bool RunFile(const CommandLine& line, const char* in, const char* out, FileRun& run);
