// Searching a run of bytes in RAM for one or two bytes.
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

// What is looked for: one byte and, `gap` further on, another; or, if `either`, a byte that is one or the other.
struct Probe {
    std::size_t gap;
    unsigned char a, maskA, b, maskB;
    bool either;

    bool At(const unsigned char* p) const {
        return either ? *p == a || *p == b : (*p | maskA) == a && (p[gap] | maskB) == b;
    }
    Bytes Among(const unsigned char* p) const {
        const Bytes v = Load(p);
        if (either) return (Bytes)((v == All(a)) | (v == All(b)));
        return (Bytes)(((v | All(maskA)) == All(a)) & ((Load(p + gap) | All(maskB)) == All(b)));
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

std::size_t FindPair(const unsigned char* p, std::size_t size, std::size_t gap, unsigned char a, unsigned char maskA,
                     unsigned char b, unsigned char maskB) {
    if (size <= gap) return size;
    const std::size_t n = size - gap;
    const std::size_t i = Probe{gap, a, maskA, b, maskB, false}.Up(p, n);
    return i < n ? i : size;
}

std::size_t FindPairBack(const unsigned char* p, std::size_t size, std::size_t gap, unsigned char a,
                         unsigned char maskA, unsigned char b, unsigned char maskB) {
    if (size <= gap) return size;
    const std::size_t n = size - gap;
    const std::size_t i = Probe{gap, a, maskA, b, maskB, false}.Down(p, n);
    return i < n ? i : size;
}

std::size_t FindEither(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b) {
    return Probe{0, a, 0, b, 0, true}.Up(p, size);
}

std::size_t FindEitherBack(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b) {
    return Probe{0, a, 0, b, 0, true}.Down(p, size);
}
