// The size of the library's own buffers for file names. Internal.
#pragma once

namespace vfile_internal {

constexpr unsigned int FileNameSize = 261; // bytes, terminator included

} // namespace vfile_internal
