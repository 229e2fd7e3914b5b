// Contents that lie in the file that they were loaded from, and the writing of files over them. Internal.
#pragma once

#include "vfile/content.h"
#include "vmem/swap_file.h"

namespace vfile_internal {

inline Backings& BackingsOf(const VFile& f) {
    return Content::Of(f).chain.Files().backings;
}

// resDone if the whole content can be read, as far as its files tell; else resContextError: one has changed.
Res MayReadAll(const VFile& f);

// What contents of the thread still have in a file that is about to be overwritten, told by name or handle, comes into
// the memory. What stands against it, if anything.
template <class File>
Res BringIn(const VFile& f, File nameOrHandle);

inline Res MayWriteTo(const VFile& f, FileHandle h) {
    const Res outcome = MayReadAll(f);
    return outcome == resDone ? BringIn(f, h) : outcome;
}

// While this lives, no content of the thread holds the file of this name.
class HoldsApart {
  public:
    HoldsApart(const VFile& f, const char* name);
    ~HoldsApart();
    HoldsApart(const HoldsApart&) = delete;
    HoldsApart& operator=(const HoldsApart&) = delete;
    bool Any() const { return any; }

  private:
    Backings& files;
    bool any;
};

} // namespace vfile_internal
