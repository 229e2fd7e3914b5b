// The invariants of a VMem as a check, and its state as text. Internal; tests call the check after their steps, and a
// debugger can call the dump: print DumpVMem(m, stderr, true)
//
// Both load no page, make no swap file, and leave the order of the list alone.
#pragma once

#include <cstdio>

class VMem;

// Checks C1 to C4, C7, A1 and A2 of vmem.h; `deep` all, which reads the swap file and walks the free lists.
// True if they hold; else the broken one goes to `out`, with both values, and the dump behind it. `out` may be NIL.
bool CheckVMem(const VMem& m, bool deep, std::FILE* out);

// The sizes, the free lists as count@first, and one line per cached page from head to tail; all pages, or no more than
// 50.
void DumpVMem(const VMem& m, std::FILE* out, bool all);
