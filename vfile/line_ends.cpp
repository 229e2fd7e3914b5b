// Counting line ends along a reader.
#include "vfile/line_ends.h"

#include "foundation/byte_scan.h"

#include <algorithm>

namespace vfile_internal {

std::int32_t EndsWithin(SpanReader& in, std::int32_t n, std::int32_t limit, const bool& eof, platform::Meter* work) {
    std::int32_t ends = 0;
    bool afterCr = false;
    for (std::int32_t left = n; left > 0;) {
        const Span s = in.Next();
        if (eof) return ends;
        const std::size_t k = std::min(s.size, static_cast<std::size_t>(left));
        ends += static_cast<std::int32_t>(CountLineEnds(s.bytes, k, afterCr));
        afterCr = s.bytes[k - 1] == '\r';
        in.Take(k);
        left -= static_cast<std::int32_t>(k);
        if (work && !work->Step(static_cast<std::int64_t>(k))) return ends;
    }
    if (afterCr && n < limit && in.Byte() == '\n') --ends;
    return ends;
}

std::int32_t PassEnds(SpanReader& in, std::int32_t k, std::int32_t limit, const bool& eof, platform::Meter* work) {
    std::int32_t passed = 0;
    auto left = static_cast<std::size_t>(k);
    for (bool afterCr = false; passed < limit;) {
        const Span s = in.Next();
        if (eof) break;
        const std::size_t i = FindLineEnd(s.bytes, s.size, afterCr, left);
        const bool found = i < s.size;
        const std::size_t n = found ? i + 1 : s.size;
        afterCr = s.bytes[n - 1] == '\r';
        passed += static_cast<std::int32_t>(n);
        in.Take(n);
        if (!found && work && !work->Step(static_cast<std::int64_t>(n))) break;
        if (!found) continue;
        if (afterCr && passed < limit && in.Byte() == '\n') ++passed;
        break;
    }
    return passed;
}

} // namespace vfile_internal
