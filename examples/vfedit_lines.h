// The edits of vfedit that know lines by their number, from 1.
#pragma once

#include "vfedit_edits.h"

// Each false if it failed: told.
bool PrintLine(const Work& work, std::int32_t number);
bool PrintLines(const Work& work, const Edit& edit);
bool InsertLine(const Work& work, const Edit& edit);
bool DeleteLines(const Work& work, const Edit& edit);
