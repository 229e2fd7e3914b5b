// Searching a run of bytes in RAM for one or two bytes, many at a time. Internal.
//
// Written with the compiler's vectors of 16 bytes, which every machine has in hardware or gets as plain words.
#pragma once

#include <cstddef>

// The first i, at most size - 1 - gap, for which (p[i] | maskA) == a and (p[i + gap] | maskB) == b; `size` if there is
// none. A mask of 0x20 makes a comparison with a lower-case letter blind to case, one of 0 makes it plain.
std::size_t FindPair(const unsigned char* p, std::size_t size, std::size_t gap, unsigned char a, unsigned char maskA,
                     unsigned char b, unsigned char maskB);

// The last such i.
std::size_t FindPairBack(const unsigned char* p, std::size_t size, std::size_t gap, unsigned char a,
                         unsigned char maskA, unsigned char b, unsigned char maskB);

// The first, or the last, byte that is a or b; `size` if there is none.
std::size_t FindEither(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b);
std::size_t FindEitherBack(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b);
