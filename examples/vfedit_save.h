// How vfedit saves a file, and what there is to say about it.
#pragma once

#include "hostfile/hfilesave.h"
#include "vfedit_args.h"

// For HFileSave::Hold.
int WaysOfSaving(const CommandLine& line);

// True if all is well; else what went wrong is told, of the file `shown`.
bool SaveTold(const char* shown, const HFileSave& save);
