// Comparison of whole contents, with one another and with strings, through a cursor beside the object's own.
#include "vfile/content.h"

#include "foundation/halt.h"
#include "vfile/long_work.h"
#include "vfile/span_reader.h"

#include <algorithm>
#include <cstring>

using vfile_internal::Content;
using vfile_internal::LongWork;
using vfile_internal::Span;
using vfile_internal::SpanReader;

namespace {

// The part of a string that can be compared with a content.
std::int32_t CommonLength(std::int32_t len, std::size_t textLen) {
    return static_cast<std::int32_t>(std::min<std::size_t>(static_cast<std::size_t>(len), textLen));
}

// The next n bytes against these: below 0, 0 or above 0, and so where the host stops it.
int OrderOf(SpanReader& in, const void* bytes, std::size_t n, LongWork& work) {
    const auto* against = static_cast<const unsigned char*>(bytes);
    int order = 0;
    for (std::size_t k; n > 0 && order == 0; n -= k) {
        const Span s = in.Next();
        k = std::min(n, s.size);
        order = std::memcmp(s.bytes, against, k);
        in.Take(k);
        against += k;
        if (!work.Step(static_cast<std::int64_t>(k)) && order == 0) order = 1;
    }
    return order;
}

// The first n bytes of both.
int Order(const VFile& v, const char* s, std::int32_t n) {
    SpanReader in(v, 0);
    LongWork work(VFileWork::Compare, n, nullptr, v, nullptr);
    return OrderOf(in, s, static_cast<std::size_t>(n), work);
}

int Order(const VFile& a, const VFile& b, std::int32_t n) {
    SpanReader ofA(a, 0);
    SpanReader ofB(b, 0);
    alignas(32) unsigned char bytes[BlkSize]; // a copy: what VMem lends lasts only until the other side is asked for
    LongWork work(VFileWork::Compare, n, nullptr, a, &b);
    int order = 0;
    for (std::size_t left = static_cast<std::size_t>(n), k; left > 0 && order == 0; left -= k) {
        const Span s = ofB.Next();
        k = std::min(left, s.size);
        std::memcpy(bytes, s.bytes, k);
        ofB.Take(k);
        order = OrderOf(ofA, bytes, k, work);
    }
    return order;
}

// Halts unless both are the calling thread's.
void TestOwners(const VFile& a, const VFile& b) {
    if (!Content::Of(a).OnOwnerThread()) HaltA("VFile", __LINE__);
    if (Content::Of(a).owner != Content::Of(b).owner) HaltA("VFile", __LINE__);
}

} // namespace

bool operator==(const VFile& a, const VFile& b) {
    TestOwners(a, b);
    return a.Length() == b.Length() && Order(a, b, a.Length()) == 0;
}

bool operator==(const VFile& v, const char* s) {
    TestOwners(v, v);
    const std::size_t textLen = std::strlen(s);
    return static_cast<std::size_t>(v.Length()) == textLen && Order(v, s, v.Length()) == 0;
}

bool operator<(const VFile& a, const VFile& b) {
    TestOwners(a, b);
    const int order = Order(a, b, std::min<std::int32_t>(a.Length(), b.Length()));
    return order < 0 || (order == 0 && a.Length() < b.Length());
}

bool operator<(const VFile& v, const char* s) {
    TestOwners(v, v);
    const std::size_t textLen = std::strlen(s);
    const int order = Order(v, s, CommonLength(v.Length(), textLen));
    return order < 0 || (order == 0 && static_cast<std::size_t>(v.Length()) < textLen);
}

bool operator<=(const VFile& a, const VFile& b) {
    TestOwners(a, b);
    const int order = Order(a, b, std::min<std::int32_t>(a.Length(), b.Length()));
    return order < 0 || (order == 0 && a.Length() <= b.Length());
}

bool operator<=(const VFile& v, const char* s) {
    TestOwners(v, v);
    const std::size_t textLen = std::strlen(s);
    const int order = Order(v, s, CommonLength(v.Length(), textLen));
    return order < 0 || (order == 0 && static_cast<std::size_t>(v.Length()) <= textLen);
}
