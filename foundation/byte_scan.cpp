// Searching a run of bytes in RAM for a few bytes.
#include "foundation/byte_scan.h"

#include <cstdint>
#include <cstring>

namespace {

constexpr std::size_t Width = 16;         // bytes of a vector
constexpr std::size_t Stride = 4 * Width; // bytes looked through with one test
typedef unsigned char Bytes __attribute__((vector_size(Width)));

Bytes All(unsigned char c) {
    return Bytes{c, c, c, c, c, c, c, c, c, c, c, c, c, c, c, c};
}

Bytes Load(const unsigned char* p) {
    Bytes v;
    std::memcpy(&v, p, Width);
    return v;
}

bool Any(Bytes v) {
    std::uint64_t half[2];
    std::memcpy(half, &v, Width);
    return (half[0] | half[1]) != 0;
}

Bytes Fitting(const unsigned char* p, unsigned char byte, unsigned char mask) {
    return (Bytes)((Load(p) | All(mask)) == All(byte));
}

// What is looked for: a triple, or without one a byte that is a or b.
struct Probe {
    const ByteTriple* triple;
    unsigned char a, b;

    bool At(const unsigned char* p) const {
        if (!triple) return *p == a || *p == b;
        for (int k = 0; k < 3; ++k) {
            if ((p[triple->at[k]] | triple->mask[k]) != triple->byte[k]) return false;
        }
        return true;
    }
    Bytes Among(const unsigned char* p) const {
        if (!triple) return Fitting(p, a, 0) | Fitting(p, b, 0);
        return Fitting(p, triple->byte[0], triple->mask[0]) &
               Fitting(p + triple->at[1], triple->byte[1], triple->mask[1]) &
               Fitting(p + triple->at[2], triple->byte[2], triple->mask[2]);
    }
    bool AmongStride(const unsigned char* p) const {
        return Any(Among(p) | Among(p + Width) | Among(p + 2 * Width) | Among(p + 3 * Width));
    }

    // The first place of 0 to n - 1, or n.
    std::size_t Up(const unsigned char* p, std::size_t n) const {
        std::size_t i = 0;
        while (i + Stride <= n && !AmongStride(p + i)) i += Stride;
        while (i + Width <= n && !Any(Among(p + i))) i += Width;
        while (i < n && !At(p + i)) ++i;
        return i;
    }

    // The last place of 0 to n - 1, or n.
    std::size_t Down(const unsigned char* p, std::size_t n) const {
        std::size_t i = n;
        while (i >= Stride && !AmongStride(p + i - Stride)) i -= Stride;
        while (i >= Width && !Any(Among(p + i - Width))) i -= Width;
        while (i > 0 && !At(p + i - 1)) --i;
        return i > 0 ? i - 1 : n;
    }
};

} // namespace

std::size_t FindTriple(const unsigned char* p, std::size_t size, const ByteTriple& triple) {
    if (size <= triple.at[2]) return size;
    const ByteTriple own = triple; // which the compiler then knows to stay as it is
    const std::size_t n = size - own.at[2];
    const std::size_t i = Probe{&own, 0, 0}.Up(p, n);
    return i < n ? i : size;
}

std::size_t FindTripleBack(const unsigned char* p, std::size_t size, const ByteTriple& triple) {
    if (size <= triple.at[2]) return size;
    const ByteTriple own = triple;
    const std::size_t n = size - own.at[2];
    const std::size_t i = Probe{&own, 0, 0}.Down(p, n);
    return i < n ? i : size;
}

std::size_t FindEither(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b) {
    return Probe{nullptr, a, b}.Up(p, size);
}

std::size_t FindEitherBack(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b) {
    return Probe{nullptr, a, b}.Down(p, size);
}
