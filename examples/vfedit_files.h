// Many files, one after the other or side by side.
#pragma once

#include "vfedit_args.h"

// What has come of them.
struct FilesRun {
    int changed = 0;
    int failed = 0;
    int missed = 0; // a find or replace has met nothing
};

// Does all edits on each of the files, on as many threads as there are jobs. After a failure it goes on with the next.
FilesRun RunFiles(const CommandLine& line);
