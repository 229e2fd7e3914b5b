// The edits of vfedit that know lines by their number, from 1.
#pragma once

#include "vfedit_edits.h"

// Prints a part of the content as it is.
void Print(const Work& work, std::int32_t from, std::int32_t to);

// Where the lines that an edit is about stand. Lines that are not there are no failure, but whoever counts on them is
// told. False if there are none at all.
bool FindLines(const Work& work, const Edit& edit, std::int32_t& from, std::int32_t& to);

// Each false if it failed: told.
bool PrintLine(const Work& work, std::int32_t number);
bool PrintLines(const Work& work, const Edit& edit);
bool InsertLine(const Work& work, const Edit& edit);
bool DeleteLines(const Work& work, const Edit& edit);
