// Searching a run of bytes in RAM for a few bytes, and counting its line ends, many bytes at a time. Internal.
//
// Written with the compiler's vectors: of 16 bytes, which every machine has in hardware or gets as plain words, and of
// 32 where the processor turns out to have AVX2.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vfile_internal {

// Three bytes at fixed distances, where a longer run of bytes may lie: three are rare together where each of them is
// not. A byte is compared under its mask: 0x20 makes that with a lower-case letter blind to case, 0 makes it plain.
struct ByteTriple {
    unsigned char byte[3]; // as the masked bytes read
    unsigned char mask[3];
    std::size_t at[3]; // distances from the first; rising, at[0] is 0
};

// The first i from `from` on, or the last one below `below`, at which the triple stands wholly within `size` bytes;
// `size` if there is none.
std::size_t FindTriple(const unsigned char* p, std::size_t size, const ByteTriple& triple, std::size_t from = 0);
std::size_t FindTripleBack(const unsigned char* p, std::size_t size, const ByteTriple& triple,
                           std::size_t below = SIZE_MAX);

// The first, or the last, byte that is a or b; `size` if there is none.
std::size_t FindEither(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b);
std::size_t FindEitherBack(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b);

// The line ends (CR LF, CR, LF) that begin within the run. With `afterCr` it stands after a CR, of which an LF at its
// front is then the second half.
std::size_t CountLineEnds(const unsigned char* p, std::size_t size, bool afterCr);

// Where the k-th of them begins, k above 0; `size` if there are fewer, and k is then less by those that there are.
std::size_t FindLineEnd(const unsigned char* p, std::size_t size, bool afterCr, std::size_t& k);

} // namespace vfile_internal
