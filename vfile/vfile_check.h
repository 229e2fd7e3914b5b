// The invariants of a VFile as a check, and its chain as text. Internal; tests call the check after every step, and a
// debugger can call the dump: print vfile_internal::DumpVFile(f, stderr, true)
//
// Both load no page, move no cursor and leave the cache as it is. The check compares a clean buffer with its page where
// that is, which may be the swap file.
#pragma once

#include <cstdio>

class VFile;

namespace vfile_internal {

// Checks B1 to B5 of content.h, I1 and I2 of block_index.h, L1 to L3 of the line index. True if they hold; else the
// broken one goes to `out`, with both values, and the dump after it. `out` may be null.
bool CheckVFile(const VFile& f, std::FILE* out);

// One line per block, the current one starred; all blocks, or no more than 50 around the current one.
void DumpVFile(const VFile& f, std::FILE* out, bool all);

// The chunks of the line index, if there is one, a line for each.
void DumpLines(const VFile& f, std::FILE* out);

} // namespace vfile_internal
