// What a dry run shows.
#pragma once

#include "vfedit_edits.h"
#include "vfedit_trace.h"

// Prints the lines that differ between the old content and the one of the work, in the form that diff -U0 has and patch
// takes. False: told.
bool PrintDiff(const Work& work, VFile& old, Trace& trace);
