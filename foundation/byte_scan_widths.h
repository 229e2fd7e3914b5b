// The byte scans of byte_scan.h, once for each width of vectors. Internal.
#pragma once

#include "foundation/byte_scan.h"

namespace vfile_internal {

struct ByteScans {
    std::size_t (*findTriple)(const unsigned char* p, std::size_t size, const ByteTriple& triple, std::size_t from);
    std::size_t (*findTripleBack)(const unsigned char* p, std::size_t size, const ByteTriple& triple,
                                  std::size_t below);
    std::size_t (*findEither)(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b);
    std::size_t (*findEitherBack)(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b);
    std::size_t (*countLineEnds)(const unsigned char* p, std::size_t size, bool afterCr);
    std::size_t (*findLineEnd)(const unsigned char* p, std::size_t size, bool afterCr, std::size_t& k);
};

extern const ByteScans byteScans16; // for every processor
extern const ByteScans byteScans32; // for one that has AVX2; there only with VFILE_AVX2

} // namespace vfile_internal
