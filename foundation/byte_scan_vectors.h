// The loops of the byte scans, over vectors of any width. Internal to the sources of the scans: each instance is
// compiled there with the instructions for its width, and must not meet another one of the same name.
#pragma once

#include "foundation/byte_scan.h"

#include <cstdint>
#include <cstring>

// The scans of one width; see byte_scan.h for what they do.
struct ByteScans {
    std::size_t (*findTriple)(const unsigned char* p, std::size_t size, const ByteTriple& triple, std::size_t from);
    std::size_t (*findTripleBack)(const unsigned char* p, std::size_t size, const ByteTriple& triple,
                                  std::size_t below);
    std::size_t (*findEither)(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b);
    std::size_t (*findEitherBack)(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b);
};

extern const ByteScans byteScansAvx2; // only where the build has it, and for processors that have the instructions

namespace {

template <std::size_t Width> // bytes of a vector
struct Vectors {
    static constexpr std::size_t Stride = 4 * Width; // bytes looked through with one test
    typedef unsigned char Bytes __attribute__((vector_size(Width)));

    static bool Any(Bytes v) {
        std::uint64_t words[Width / 8];
        std::memcpy(words, &v, Width);
        std::uint64_t any = 0;
        for (const std::uint64_t word : words) any |= word;
        return any != 0;
    }

    static Bytes Fitting(const unsigned char* p, unsigned char byte, unsigned char mask) {
        Bytes v;
        std::memcpy(&v, p, Width);
        return (Bytes)((v | mask) == (Bytes{} | byte));
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

        // The first place from i to n - 1, or n. The last vector may take in places before i.
        std::size_t Up(const unsigned char* p, std::size_t i, std::size_t n) const {
            while (i + Stride <= n && !AmongStride(p + i)) i += Stride;
            while (i + Width <= n && !Any(Among(p + i))) i += Width;
            if (i + Width > n && n >= Width && !Any(Among(p + n - Width))) return n;
            while (i < n && !At(p + i)) ++i;
            return i;
        }

        // The last place from 0 to i - 1 where n can be looked at, or n.
        std::size_t Down(const unsigned char* p, std::size_t i, std::size_t n) const {
            while (i >= Stride && !AmongStride(p + i - Stride)) i -= Stride;
            while (i >= Width && !Any(Among(p + i - Width))) i -= Width;
            if (i < Width && n >= Width && !Any(Among(p))) return n;
            while (i > 0 && !At(p + i - 1)) --i;
            return i > 0 ? i - 1 : n;
        }
    };

    static std::size_t FindTriple(const unsigned char* p, std::size_t size, const ByteTriple& triple,
                                  std::size_t from) {
        if (size <= triple.at[2]) return size;
        const ByteTriple own = triple; // which the compiler then knows to stay as it is
        const std::size_t n = size - own.at[2];
        const std::size_t i = Probe{&own, 0, 0}.Up(p, from, n);
        return i < n ? i : size;
    }

    static std::size_t FindTripleBack(const unsigned char* p, std::size_t size, const ByteTriple& triple,
                                      std::size_t below) {
        if (size <= triple.at[2]) return size;
        const ByteTriple own = triple;
        const std::size_t n = size - own.at[2];
        const std::size_t i = Probe{&own, 0, 0}.Down(p, below < n ? below : n, n);
        return i < n ? i : size;
    }

    static std::size_t FindEither(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b) {
        return Probe{nullptr, a, b}.Up(p, 0, size);
    }

    static std::size_t FindEitherBack(const unsigned char* p, std::size_t size, unsigned char a, unsigned char b) {
        return Probe{nullptr, a, b}.Down(p, size, size);
    }
};

template <std::size_t Width>
constexpr ByteScans ScansOf() {
    return {Vectors<Width>::FindTriple, Vectors<Width>::FindTripleBack, Vectors<Width>::FindEither,
            Vectors<Width>::FindEitherBack};
}

} // namespace
