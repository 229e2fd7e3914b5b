// What vfedit tells on standard error about its work.
#pragma once

#include "vfedit_args.h"
#include "vfedit_edits.h"

// After each edit of the file `name`.
void PrintMatches(const CommandLine& line, const char* name, const Edit& edit, const Done& done);

// After all of them.
void PrintSummary(const CommandLine& line, const char* name, std::int32_t bytesIn, std::int32_t bytesNow, bool saved,
                  double seconds);

// After many files.
void PrintFiles(const CommandLine& line, int changed, int failed, double seconds);
