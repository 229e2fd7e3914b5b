// Comparison of whole contents, with one another and with strings, through a cursor beside the object's own.
#include "vfile/vfile_inline.h"

#include "foundation/halt.h"

#include <algorithm>
#include <cstring>

namespace {

// The part of a string that can be compared with a content.
std::int32_t CommonLength(std::int32_t len, std::size_t textLen) {
    return static_cast<std::int32_t>(std::min<std::size_t>(static_cast<std::size_t>(len), textLen));
}

} // namespace

void VFile::TestOwners(const VFile& a, const VFile& b) {
    if (!a.OnOwnerThread()) HaltA("VFile", __LINE__);
    if (a.owner != b.owner) HaltA("VFile", __LINE__);
}

int VFile::Order(const VFile& a, const VFile& b, std::int32_t n) {
    BlkRdr ra;
    BlkRdr rb;
    a.SetPosC(ra, 0);
    b.SetPosC(rb, 0);
    unsigned char bytesOfA[BlkSize]; // a copy: what VMem lends lasts only until b's bytes are asked for
    int order = 0;
    while (n > 0 && order == 0) {
        const int chunk = std::min<std::int32_t>(n, BlkSize);
        a.ReadBytesC(ra, bytesOfA, chunk);
        for (int done = 0, k; done < chunk && order == 0; done += k) {
            const unsigned char* bytesOfB = b.PieceC(rb, chunk - done, k);
            order = std::memcmp(bytesOfA + done, bytesOfB, static_cast<std::size_t>(k));
        }
        n -= chunk;
    }
    return order;
}

int VFile::Order(const VFile& v, const char* s, std::int32_t n) {
    BlkRdr rd;
    v.SetPosC(rd, 0);
    int order = 0;
    for (int k; n > 0 && order == 0; n -= k) {
        const unsigned char* bytes = v.PieceC(rd, n, k);
        order = std::memcmp(bytes, s, static_cast<std::size_t>(k));
        s += k;
    }
    return order;
}

bool operator==(const VFile& a, const VFile& b) {
    VFile::TestOwners(a, b);
    return a.len == b.len && VFile::Order(a, b, a.len) == 0;
}

bool operator==(const VFile& v, const char* s) {
    VFile::TestOwners(v, v);
    const std::size_t textLen = std::strlen(s);
    return static_cast<std::size_t>(v.len) == textLen && VFile::Order(v, s, v.len) == 0;
}

bool operator<(const VFile& a, const VFile& b) {
    VFile::TestOwners(a, b);
    const int order = VFile::Order(a, b, std::min<std::int32_t>(a.len, b.len));
    return order < 0 || (order == 0 && a.len < b.len);
}

bool operator<(const VFile& v, const char* s) {
    VFile::TestOwners(v, v);
    const std::size_t textLen = std::strlen(s);
    const int order = VFile::Order(v, s, CommonLength(v.len, textLen));
    return order < 0 || (order == 0 && static_cast<std::size_t>(v.len) < textLen);
}

bool operator<=(const VFile& a, const VFile& b) {
    VFile::TestOwners(a, b);
    const int order = VFile::Order(a, b, std::min<std::int32_t>(a.len, b.len));
    return order < 0 || (order == 0 && a.len <= b.len);
}

bool operator<=(const VFile& v, const char* s) {
    VFile::TestOwners(v, v);
    const std::size_t textLen = std::strlen(s);
    const int order = VFile::Order(v, s, CommonLength(v.len, textLen));
    return order < 0 || (order == 0 && static_cast<std::size_t>(v.len) <= textLen);
}
