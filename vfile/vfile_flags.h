/// @file
/// The constants of a VFile: lengths that stand for others, and flags.
#pragma once

#include <cstdint>

/// Bytes of a block, and of the VMem page that holds it.
constexpr int BlkSize = 1024;

/// As an old length: as many old bytes as the new run has, an overwrite.
constexpr std::int32_t SameLen = INT32_MIN;

/// The limit of a length. As an old length or a source length it reaches to the end; as a count of bytes from a file it
/// means all that the file has.
constexpr std::int32_t MaxLen = INT32_MAX;

/// @name Flags of a VFile
/// The bits 0x004, 0x010 and 0x040 are the host's: the flag operations change them as the others, and nothing here
/// reads them. No operation changes vfLocked or clears vfHasEol; a derived class does, in its field `flags`.
/// @{
constexpr int vfInsert = 0x001;        ///< The Write family inserts; off, it overwrites.
constexpr int vfReadOnly = 0x002;      ///< Changes of the content are refused with resReadOnly.
constexpr int vfModified = 0x008;      ///< The content has changed since a caller last cleared this bit.
constexpr int vfTrackModified = 0x020; ///< Each change sets vfModified.
constexpr int vfNoEolCheck = 0x080;    ///< New bytes are not scanned for line ends, whatever vfEolCheck says.
constexpr int vfEolCheck = 0x100;      ///< New bytes that come from memory are scanned for line ends (if Type() > 0).
constexpr int vfLocked = 0x200;        ///< Changes of content and flags are refused with resContextError.
constexpr int vfHasEol = 0x400;        ///< Bytes with a CR or LF have been found by the look through.
constexpr int vfToggleMask = 0x1FF;    ///< The bits that the flag operations can change.
/// @}
