// Walking a directory by a pattern. Internal.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vfile_internal::platform {

// An open walk, pointer-sized; NoSearch is none. It keeps nothing but the system's own buffer.
using SearchHandle = std::intptr_t;
constexpr SearchHandle NoSearch = -1;

// Opens the directory `dir` ("" is the current one, any other ends in a separator, or is a drive and not to be found
// here); NoSearch, with the last error set, if it can't be read.
SearchHandle OpenSearch(const char* dir);

enum class Found { Entry, End, Failed }; // Failed sets the last error

// The name of the next entry that matches `pattern`, in the system's order, the directory's own two included. Entries
// whose name does not fit `size` bytes, or contains a '\' and so could not be given back as a name, are passed over and
// counted in `skipped`.
Found NextEntry(SearchHandle search, const char* pattern, char* name, std::size_t size, std::int32_t& skipped);

void CloseSearch(SearchHandle search);

// True if the pattern may match other names than itself.
bool HasWildcard(const char* pattern);

// Looks for the one entry `path`, of which `dir` is the front as in OpenSearch. Needs no permission to read that.
Found FindOne(const char* path, const char* dir);

// True if the name of an entry matches: '*' stands for any run of bytes; '?' for one byte that is no dot, or for
// nothing at the end and in front of a dot; a dot in front of a wildcard also for the end of the name, so that "*.*" is
// every name and "a.*" includes "a"; the dot of a "*." at the end of the pattern also for the end of a name without any
// dot. Every other byte stands for itself, in its case.
bool MatchesPattern(const char* name, const char* pattern);

} // namespace vfile_internal::platform
