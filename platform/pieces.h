// Transfers between an ordinary file and pieces of RAM of one size, by one call of the system. Internal.
//
// Pieces that lie side by side cost as much as one. Less may be moved than was asked for, at the end of the file, on a
// full disk, or because there are too many pieces: the caller then goes on by other means, and finds out what it was.
// -1 means that the call failed.
#pragma once

#include "platform/platform.h"

#include <cstdint>

namespace platform {

// Reads `n` pieces of `size` bytes from the file's position on, and moves that: the number of bytes.
std::int32_t ReadPieces(FileHandle handle, unsigned char* const* pieces, int n, std::uint32_t size);

// Writes them from `offset` on: the number of bytes.
std::int32_t WritePiecesAt(FileHandle handle, unsigned char* const* pieces, int n, std::uint32_t size,
                           std::int64_t offset);

} // namespace platform
