// A window on a range of a content.
#include "vfedit_window.h"

#include "vfile/vfile_view.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

bool IsContinuation(unsigned char c) { // of a character of UTF-8
    return (c & 0xC0) == 0x80;
}

} // namespace

Window::~Window() {
    std::free(bytes);
}

Window::Moved Window::MoveTo(int place) {
    int keep = std::max(0, place - cut.before);
    for (int i = 0; cut.characters && i < 3 && keep > 0 && IsContinuation(bytes[keep]); ++i) --keep;
    if (keep > 0) std::memmove(bytes, bytes + keep, static_cast<std::size_t>(held - keep));
    base += keep;
    held -= keep;
    start = place - keep;
    count = 0;
    // A window that is half full of what has to stay would be read over and over for a few bytes more.
    if (held >= room / 2 && room < cut.most && !Grow()) return Moved::NoMemory;
    if (held == room && !last) return Moved::Full;
    Read();
    while (!last && count <= start) {
        if (room == cut.most) {
            count = held; // nothing but line ends: the best that can be shown
            break;
        }
        if (!Grow()) return Moved::NoMemory;
        Read();
    }
    return Moved::Done;
}

bool Window::Grow() {
    const int wanted = room == 0 ? std::min(cut.first, cut.most) : room > cut.most / 2 ? cut.most : 2 * room;
    void* const more = std::realloc(bytes, static_cast<std::size_t>(wanted));
    if (!more) return false;
    bytes = static_cast<unsigned char*>(more);
    room = wanted;
    return true;
}

void Window::Read() {
    const std::int32_t next = base + held;
    VFileView view(content);
    held += view.Read(next + grown, bytes + held, std::min(room - held, end - next));
    last = base + held == end;
    count = held;
    while (!last && count > 0 && !EndsWell(count)) --count;
}

// Whether a search sees the same at this end, with more to come, as within a longer window. After a line end it would
// take the end of the window for that of the content; of two bytes that end a line together both have to be there, and
// of a character all bytes.
bool Window::EndsWell(int n) const {
    if (std::memchr(cut.lineEnds, bytes[n - 1], static_cast<std::size_t>(cut.lineEndCount))) return false;
    if (!cut.characters) return true;
    int lead = n - 1;
    while (lead > 0 && n - lead < 4 && IsContinuation(bytes[lead])) --lead;
    const unsigned char c = bytes[lead];
    return lead + (c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1) <= n;
}
