// Which virtual operations the class of an object overrides. Nobody sees a call of any other one, so that it need not
// be made. Internal; for the sources of VFile alone.
//
//     object          table of its class           table of VFile
//     table  ----->   ...                          ...
//     res             ReadByte      == or != ->    ReadByte
//     ...             ReadPrevByte  == or != ->    ReadPrevByte
//
// An object begins with the address of its class's table, and a pointer to a virtual member is the distance of its
// entry from there, by the C++ ABI that g++ and clang++ share (the one called Itanium's). So nothing is known here of
// the order of the operations. Two entries are compared:
//
//  - The same function: not overridden, whatever module and compiler the class comes from, with several bases and with
//    virtual ones as well: an object's part that is a VFile begins with a table of its own, in which an override is
//    another function, or a step on the way to one. A linker that folds functions folds those that do the same.
//  - Another function: overridden, or in doubt. A program without position independent code may know the functions of a
//    shared library by addresses of its own, and then its classes count as overriding all. That costs speed alone.
//
// The entries are read anew for each question. To keep the answer by the table's address would be wrong: when a module
// is unloaded, the table of another class can come to lie there. In a constructor or destructor of a base the table is
// that base's, as it is for a virtual call.
#pragma once

#include "vfile/vfile.h"

#include <atomic>
#include <cstring>

namespace vfile_internal {

inline std::atomic<const unsigned char*> tableOfVFile; // set by every construction, always to the same

// The table that the constructor or destructor that runs, or the whole object, has.
inline const unsigned char* TableOf(const VFile& f) {
    const unsigned char* table;
    std::memcpy(&table, static_cast<const void*>(&f), sizeof table);
    return table;
}

// True if the object is a VFile itself, which overrides nothing. False in doubt.
inline bool IsPlain(const VFile& f) {
#if defined(__GXX_ABI_VERSION) && !defined(__ia64__)
    return TableOf(f) == tableOfVFile.load(std::memory_order_relaxed);
#else
    return static_cast<void>(f), false;
#endif
}

template <class Operation>
bool Overrides(const VFile& f, Operation VFile::*operation) {
#if defined(__GXX_ABI_VERSION) && !defined(__ia64__)
    static_assert(sizeof operation == 2 * sizeof(std::uintptr_t), "not the ABI that this is written for");
    std::uintptr_t
        entry; // the distance; where code can have odd addresses it is marked elsewhere, else by its lowest bit
    std::memcpy(&entry, &operation, sizeof entry);
    entry &= ~std::uintptr_t{1};
    const unsigned char* own = tableOfVFile.load(std::memory_order_relaxed);
    const unsigned char* table = TableOf(f);
    return table != own && std::memcmp(table + entry, own + entry, sizeof(void*)) != 0;
#else
    return static_cast<void>(f), static_cast<void>(operation), true; // another ABI: call by call
#endif
}

} // namespace vfile_internal
