// Searching a run of bytes in RAM for a few bytes: the choice of the widest vectors that the processor has.
#include "foundation/byte_scan.h"

#include "foundation/byte_scan_vectors.h"

namespace {

constexpr ByteScans everywhere = ScansOf<16>();

const ByteScans& Scans() {
#ifdef VFILE_AVX2
    if (__builtin_cpu_supports("avx2")) return byteScansAvx2;
#endif
    return everywhere;
}

} // namespace

std::size_t FindTriple(const unsigned char* p, std::size_t size, const ByteTriple& triple, std::size_t from) {
    return Scans().findTriple(p, size, triple, from);
}

std::size_t FindTripleBack(const unsigned char* p, std::size_t size, const ByteTriple& triple, std::size_t below) {
    return Scans().findTripleBack(p, size, triple, below);
}

std::size_t FindEither(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b) {
    return Scans().findEither(p, size, a, b);
}

std::size_t FindEitherBack(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b) {
    return Scans().findEitherBack(p, size, a, b);
}
