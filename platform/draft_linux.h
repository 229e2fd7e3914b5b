// A file in the making. Internal to the platform layer.
//
// It has no name, where the file system can make such a one, else one of its own in the directory of the name that it
// is to get. Only the complete file gets that name, in one step. So what is seen there is whole, and a process that is
// killed leaves nothing behind but, where a draft needs a name, that.
#pragma once

#include "platform/descriptor_linux.h"

namespace vfile_internal::platform {

// A name that is most likely free in any directory; `name` has DraftNameSize bytes.
constexpr std::size_t DraftNameSize = 64;
void DraftName(char* name);

// All members leave the reason of a failure in errno.
class Draft {
  public:
    Draft() : dir(-1), maker(0), made() { name[0] = '\0'; }
    ~Draft() { Discard(); }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    // Makes the file, empty, in `directory`, which stays the caller's and open; the umask, or the directory's rule for
    // new files, is taken from `mode`.
    bool Create(int directory, mode_t mode);

    // Gives the complete file the name `target`, in place of what bears it if `replace`, else only if it is free.
    bool Publish(const char* target, bool replace);

    // The last two steps of that, for one who looks in between at what has the name. He holds the signals back: a draft
    // that is to replace has a name of its own from the first one on.
    bool Ready(bool replace) { return !replace || name[0] || TakeName(); } // a link replaces nothing, but a name can
    bool Place(const char* target, bool replace);

    void Discard(); // closes the file, and takes away the name that it may have

    // The latter alone. Safe in a signal handler, which always finds the name that there is. Without effect in a forked
    // child: the name is its parent's.
    void RemoveName();

    int Number() const { return file.Number(); }
    const struct stat& State() const { return made; } // as it was made

  private:
    bool CreateNamed(mode_t mode);
    bool LinkTo(const char* to) const;
    bool TakeName();

    int dir;
    pid_t maker;
    Descriptor file;
    struct stat made;
    char name[DraftNameSize]; // empty while the file has none
};

} // namespace vfile_internal::platform
