// The invariants of a VMem as a check, and its state as text. Internal; tests call the check after their steps, and a
// debugger can call the dump: print vfile_internal::DumpVMem(m, stderr, true)
//
// All load no page, make no swap file, and leave the order of the list alone.
#pragma once

#include <cstdint>
#include <cstdio>

class VMem;

namespace vfile_internal {

// Checks C1 to C4, C7, A1 and A2 of vmem.h; `deep` all, which reads the swap file and walks the free lists.
// True if they hold; else the broken one goes to `out`, with both values, and the dump after it. `out` may be null.
bool CheckVMem(const VMem& m, bool deep, std::FILE* out);

// Copies `n` bytes of the space from where they are, page by page; false if the swap file lacks them.
bool PeekVMem(const VMem& m, std::int32_t adr, void* to, int n);

// The sizes, the free lists as count@first, and one line per cached page from head to tail; all pages, or no more than
// 50.
void DumpVMem(const VMem& m, std::FILE* out, bool all);

} // namespace vfile_internal
