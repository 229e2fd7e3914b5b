/// @file
/// The public face of the platform layer: file handles and the thread's last system error.
#pragma once

#include "export.h"

#include <cstdint>

/// A handle of an open file, pipe, socket or device. Opaque and pointer-sized; only the platform layer looks inside.
/// A handle is a plain value: copying it does not duplicate the file, and nothing closes it by itself.
enum class FileHandle : std::intptr_t {};

/// The value that stands for no file: all bits one.
constexpr FileHandle InvalidHandle = static_cast<FileHandle>(-1);

/// Makes a handle of an open descriptor, so that a host can hand over a pipe or a socket that it has opened itself.
/// A negative descriptor gives InvalidHandle. Ownership is not touched: whoever closes the handle closes the
/// descriptor.
VFILE_API FileHandle HandleOf(int descriptor);

/// The descriptor behind a handle; -1 for InvalidHandle. It belongs to the handle and must not be closed by itself.
VFILE_API int DescriptorOf(FileHandle handle);

/// The calling thread's last system error, in the numbering that GetFileRes() translates (2 file not found, 5 access
/// denied, 112 disk full, ...). Each call of the platform layer that fails sets it; a call that succeeds leaves it.
VFILE_API std::uint32_t GetLastError();

/// Sets the calling thread's last system error.
VFILE_API void SetLastError(std::uint32_t error);
