// The invariants of a VFile as a check, and its chain as text. Internal; tests call the check after every step, and a
// debugger can call the dump: print DumpVFile(f, stderr, true)
//
// Both read descriptors and the buffer only: they load no page, move no cursor and leave the cache as it is.
#pragma once

#include <cstdio>

class VFile;

// Checks B1 to B5 of vfile.h, and I1 and I2 of block_index.h. True if they hold; else the broken one goes to `out`,
// with both values, and the dump behind it. `out` may be NIL.
bool CheckVFile(const VFile& f, std::FILE* out);

// One line per block, the current one starred; all blocks, or no more than 50 around the current one.
void DumpVFile(const VFile& f, std::FILE* out, bool all);
