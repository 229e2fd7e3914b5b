// The scans of a run of bytes in RAM: vectors of 16 bytes, and the choice of the widest that the processor has.
#include "foundation/byte_scan.h"

#define SCAN_WIDTH 16
#include "foundation/byte_scan_vectors.inc"

namespace vfile_internal {

const ByteScans byteScans16 = scans;

static const ByteScans& Widest() {
#ifdef VFILE_AVX2
    if (__builtin_cpu_supports("avx2")) return byteScans32;
#endif
    return byteScans16;
}

std::size_t FindTriple(const unsigned char* p, std::size_t size, const ByteTriple& triple, std::size_t from) {
    return Widest().findTriple(p, size, triple, from);
}

std::size_t FindTripleBack(const unsigned char* p, std::size_t size, const ByteTriple& triple, std::size_t below) {
    return Widest().findTripleBack(p, size, triple, below);
}

std::size_t FindEither(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b) {
    return Widest().findEither(p, size, a, b);
}

std::size_t FindEitherBack(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b) {
    return Widest().findEitherBack(p, size, a, b);
}

std::size_t CountLineEnds(const unsigned char* p, std::size_t size, bool afterCr) {
    return Widest().countLineEnds(p, size, afterCr);
}

std::size_t FindLineEnd(const unsigned char* p, std::size_t size, bool afterCr, std::size_t& k) {
    return Widest().findLineEnd(p, size, afterCr, k);
}

} // namespace vfile_internal
