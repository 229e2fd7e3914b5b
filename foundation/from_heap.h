// Objects that the library takes from the heap. Internal.
#pragma once

#include <cstdlib>
#include <new>

namespace vfile_internal {

// `new (std::nothrow)` of a class derived from this is null when out of memory. The global one would throw and
// catch to find that out, and ends the program where there is no memory for the exception; it calls a host's
// new_handler, too.
struct FromHeap {
    static void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return std::malloc(size); }
    static void operator delete(void* p) noexcept { std::free(p); }
    static void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); } // the constructor threw
};

} // namespace vfile_internal
