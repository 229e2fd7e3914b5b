// The byte scans over vectors of 32 bytes, compiled for processors that have AVX2.
#include "foundation/byte_scan_vectors.h"

const ByteScans byteScansAvx2 = ScansOf<32>();
