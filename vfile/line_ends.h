// Counting line ends along a reader: CR LF, CR and LF, in any mix. Internal.
#pragma once

#include "platform/meter.h"
#include "vfile/span_reader.h"

namespace vfile_internal {

constexpr bool never = false; // the `eof` of a reader beside an object, which does not run out

// Line ends that lie within the next n of the `limit` bytes that are there. Stops where `eof` is set, or the host wants
// it; `work` may be null.
std::int32_t EndsWithin(SpanReader& in, std::int32_t n, std::int32_t limit, const bool& eof, platform::Meter* work);

// The number of bytes up to after the k-th line end, of at most `limit`.
std::int32_t PassEnds(SpanReader& in, std::int32_t k, std::int32_t limit, const bool& eof, platform::Meter* work);

} // namespace vfile_internal
