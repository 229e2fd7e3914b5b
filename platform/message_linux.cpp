// Standard error takes the place of a message box.
#include "platform/message.h"

#include "platform/sigpipe_linux.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace platform {
namespace {

void Put(const char* text) {
    std::size_t left = std::strlen(text);
    while (left > 0) {
        const ssize_t moved = write(STDERR_FILENO, text, left);
        if (moved > 0) {
            text += moved;
            left -= static_cast<std::size_t>(moved);
        } else if (errno != EINTR) {
            return; // nobody is listening
        }
    }
}

} // namespace

void ShowMessage(const char* caption, const char* text) {
    const SigpipeGuard guard;
    Put(caption);
    Put("\n");
    Put(text);
    Put("\n");
}

} // namespace platform
