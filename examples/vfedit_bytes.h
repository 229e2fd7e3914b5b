// The edits of vfedit for content that is no text.
#pragma once

#include "vfedit_edits.h"

// Prints the bytes as `xxd -s from -l count` does.
bool Hexdump(const Work& work, std::int32_t from, std::int32_t count);

// Reads lines "OFFSET OLD NEW" and replaces OLD by NEW at each OFFSET, which counts in the content as it is before. If
// any OLD does not stand there, or a line is wrong, nothing is changed. False: told.
bool Patch(const Work& work, const Edit& edit, Done& done);

// A row of up to 16 bytes as it is printed, with its line end; its length, less than 80.
std::size_t WriteHexRow(std::int64_t at, const unsigned char* bytes, int n, char* row);
