// What goes over much of a file that is viewed. A key stops it.
#include "vfedit_pager.h"

#include "raw_terminal.h"
#include "vfedit_text.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::int64_t CountAtOnce = 8 << 20; // bytes in which lines are counted without being asked
constexpr std::int64_t KeyEvery = 4 << 20;    // bytes from one look for a key to the next
constexpr int PieceBack = 32 * 1024;

} // namespace

// To be asked at each place on a way; `due` is 0 at first.
bool Pager::Interrupted(std::int64_t& due, std::int64_t gone) {
    if (gone < due) return false;
    due = gone + KeyEvery;
    if (gone == 0 || !KeyWaits()) return false;
    message = "stopped by a key";
    return true;
}

// The line ends in this part.
std::int64_t Pager::CountLines(std::int64_t from, std::int64_t to) {
    std::int64_t lines = 0;
    for (int n; from < to; from += n) {
        const unsigned char* const run = file.Run(from, n);
        if (n == 0) break;
        n = static_cast<int>(std::min<std::int64_t>(n, to - from));
        lines += std::count(run, run + n, '\n');
        const std::int64_t returns = std::count(run, run + n, '\r');
        for (int i = 0; returns > 0 && i < n; ++i) lines += EndsLine(from + i) && file.At(from + i) == '\r' ? 1 : 0;
    }
    return lines;
}

std::int64_t Pager::LineNumber() {
    if (top <= CountAtOnce && known > top + CountAtOnce) {
        known = 0;
        knownLine = 1;
    }
    if (top > known + CountAtOnce || top < known - CountAtOnce) return -1;
    knownLine += top >= known ? CountLines(known, top) : -CountLines(top, known);
    known = top;
    return knownLine;
}

void Pager::GoToLine(std::int64_t number) {
    if (knownLine > number) {
        known = 0;
        knownLine = 1;
    }
    std::int64_t at = known, due = 0;
    for (std::int64_t line = knownLine; line < number;) {
        if (Interrupted(due, at - known)) return;
        const std::int64_t to = std::min(at + KeyEvery, file.Size()), lines = CountLines(at, to);
        if (line + lines < number) {
            line += lines;
            at = to;
            if (at < file.Size()) continue;
            message = "there is no such line";
            return;
        }
        for (; line < number; ++at) line += EndsLine(at) ? 1 : 0;
    }
    if (at >= file.Size() && number > 1) {
        message = "there is no such line";
        return;
    }
    known = at;
    knownLine = std::max<std::int64_t>(1, number);
    GoToByte(at);
}

// To the row that holds it.
void Pager::GoToByte(std::int64_t at) {
    at = std::clamp<std::int64_t>(at, 0, std::max<std::int64_t>(0, file.Size() - 1));
    top = hex ? at / 16 * 16 : LineStart(at);
    for (std::int64_t next; !hex && (next = NextRow(top)) <= at;) top = next;
}

std::int64_t Pager::FindForward(const char* bytes, std::size_t n, std::int64_t from) {
    std::int64_t due = 0;
    for (std::int64_t at = from;;) {
        if (Interrupted(due, at - from)) return -1;
        int held;
        const unsigned char* const run = file.Run(at, held);
        const void* const hit = memmem(run, static_cast<std::size_t>(held), bytes, n);
        if (hit) return at + (static_cast<const unsigned char*>(hit) - run);
        if (at + held >= file.Size()) return -1;
        at += held - static_cast<int>(n) + 1;
    }
}

// The last one that begins before this place.
std::int64_t Pager::FindBackward(const char* bytes, std::size_t n, std::int64_t before) {
    std::int64_t due = 0;
    for (std::int64_t end = before; end > 0;) {
        if (Interrupted(due, before - end)) return -1;
        const std::int64_t start = std::max<std::int64_t>(0, end - PieceBack);
        int held;
        const unsigned char* const run = file.Run(start, held);
        const auto most =
            static_cast<std::size_t>(std::min<std::int64_t>(held, end - start + static_cast<std::int64_t>(n) - 1));
        const unsigned char* last = nullptr;
        for (std::size_t i = 0; i + n <= most; ++i) {
            const void* const hit = memmem(run + i, most - i, bytes, n);
            if (!hit) break;
            last = static_cast<const unsigned char*>(hit);
            i = static_cast<std::size_t>(last - run);
        }
        if (last) return start + (last - run);
        end = start;
    }
    return -1;
}

void Pager::FindNext(bool backward) {
    char copy[sizeof pattern];
    std::strcpy(copy, pattern);
    Text text;
    if (!*pattern || !ParseText(copy, text) || text.file || text.length == 0) {
        message = "what is to be found? /TEXT";
        return;
    }
    const auto n = static_cast<std::size_t>(text.length);
    const std::int64_t at = backward ? FindBackward(text.bytes, n, found >= 0 ? found : top)
                                     : FindForward(text.bytes, n, found >= 0 ? found + 1 : top);
    if (at >= 0) {
        GoToByte(at);
        found = at;
    } else if (!*message) {
        message = "not found";
    }
}
