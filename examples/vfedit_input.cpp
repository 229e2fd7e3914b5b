// A file that vfedit reads.
#include "vfedit_input.h"

#include "vfedit_system.h"
#include "vfedit_terminal.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

Input::~Input() {
    if (fd > STDERR_FILENO) close(fd);
}

const char* Input::Name() const {
    return InputName(name);
}

bool Input::Open(const char* fileName, const Output& output) {
    name = fileName;
    struct stat st;
    const bool standard = std::strcmp(name, "-") == 0;
    fd = standard ? STDIN_FILENO : OpenFile(name, O_RDONLY);
    if (fd < 0 || fstat(fd, &st) != 0) return ComplainErrno(Name(), errno);
    if (S_ISDIR(st.st_mode)) return ComplainErrno(Name(), EISDIR);
    if (!S_ISREG(st.st_mode)) return true;
    size = st.st_size;
    posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    if (standard || output.Holds(fd) || TryLock(fd, false)) return true;
    return Complain(Name(), "another program holds it");
}

int Input::Read(void* buf, int count) {
    const ssize_t got = ReadSome(fd, buf, static_cast<std::size_t>(count));
    if (got < 0) ComplainErrno(Name(), errno);
    return static_cast<int>(got);
}

bool ReadWhole(const char* fileName, const Output& output, Text& text) {
    Input input;
    if (!input.Open(fileName, output)) return false;
    int room = 4096;
    if (input.Size() > room) room = input.Size() < INT_MAX - 2 ? static_cast<int>(input.Size()) + 2 : INT_MAX;
    for (;;) {
        char* const more = static_cast<char*>(std::realloc(text.own, static_cast<std::size_t>(room)));
        if (!more) return ComplainErrno(input.Name(), ENOMEM);
        text.own = more;
        text.bytes = more;
        for (int n; text.length < room - 1; text.length += n) {
            n = input.Read(more + text.length, room - 1 - text.length);
            if (n < 0) return false;
            if (n > 0) continue;
            more[text.length] = '\0';
            return true;
        }
        if (room == INT_MAX) return Complain(input.Name(), resTooLong);
        room = room < INT_MAX / 2 ? 2 * room : INT_MAX;
    }
}
