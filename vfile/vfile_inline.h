// The few steps of VFile that nearly every operation takes, for the compiler to put in their place, and the size of a
// large transfer. Internal; for the sources of VFile alone.
#pragma once

#include "platform/thread.h"
#include "vfile/vfile.h"

#include <cstring>

constexpr int GatherSize = 256 * BlkSize; // bytes of one transfer with an ordinary file, where that is allowed

inline bool VFile::OnOwnerThread() const {
    return platform::IsCurrentThread(owner);
}

// True for an object whose class overrides nothing, because it is VFile itself: then nobody sees the single steps of an
// operation, and it may go over whole blocks. The first word of an object is its table's address.
inline bool VFile::IsPlain() const {
    const void* table;
    std::memcpy(&table, static_cast<const void*>(this), sizeof table);
    return table == plainTable;
}

// Moves the cursor within its block, or to its end.
inline void VFile::Advance(int k) {
    cur.ix = static_cast<std::int16_t>(cur.ix + k);
    pos += k;
}

// Moves the cursor, and nothing else. Within the current block, where most moves end, there is nothing to leave.
inline void VFile::PlaceAt(std::int32_t p) {
    const std::int32_t ix = p - cur.start;
    if (ix < 0 || ix >= cur.ptr->len) return PlaceFar(p);
    cur.ix = static_cast<std::int16_t>(ix);
    pos = p;
}
