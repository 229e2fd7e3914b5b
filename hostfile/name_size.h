// The size of the library's own buffers for file names. Internal.
#pragma once

constexpr unsigned int FileNameSize = 261; // bytes, terminator included
