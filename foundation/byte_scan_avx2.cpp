// The byte scans over vectors of 32 bytes, compiled for processors that have AVX2.
#include "foundation/byte_scan_widths.h"

#define SCAN_WIDTH 32
#include "foundation/byte_scan_vectors.inc"

namespace vfile_internal {

const ByteScans byteScans32 = scans;

} // namespace vfile_internal
