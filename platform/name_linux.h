// File names on their way to the system. Internal to the platform layer.
#pragma once

#include <climits>

namespace vfile_internal::platform {

// A name in the system's spelling: every '\' is turned into '/'. A null name and one that the system can't take are
// refused, with the last error set.
class SystemName {
  public:
    explicit SystemName(const char* name);
    bool Ok() const { return ok; }
    const char* Text() const { return text; }

  private:
    char text[PATH_MAX];
    bool ok;
};

// The directory that `name`, in the system's spelling, lies in, "." for a name alone; `parent` has PATH_MAX bytes.
void ParentOf(char* parent, const char* name);

} // namespace vfile_internal::platform
