// A file as a pager shows it.
#include "vfedit_pager.h"

#include "raw_terminal.h"
#include "vfedit_bytes.h"
#include "vfedit_system.h"
#include "vfedit_text.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int RunLeast = 64 * 1024;
constexpr std::int64_t LineMost = 1 << 20; // bytes that a row is looked for in

bool IsShown(const unsigned char* c, std::size_t length) { // and no control character
    return length == 1 ? *c >= ' ' && *c < 0x7F : length > 1 && !(c[0] == 0xC2 && c[1] < 0xA0);
}

} // namespace

FileBytes::~FileBytes() {
    if (fd >= 0) close(fd);
}

bool FileBytes::Open(const char* name) {
    struct stat st;
    fd = OpenFile(name, O_RDONLY);
    if (fd < 0 || fstat(fd, &st) != 0) return ComplainErrno(name, errno);
    if (S_ISDIR(st.st_mode)) return ComplainErrno(name, EISDIR);
    if (!S_ISREG(st.st_mode)) return Complain(name, "only files can be viewed");
    size = st.st_size;
    return true;
}

void FileBytes::LookForMore() {
    struct stat st;
    if (fstat(fd, &st) != 0 || st.st_size == size) return;
    size = st.st_size;
    held = 0;
}

const unsigned char* FileBytes::Run(std::int64_t at, int& n) {
    n = 0;
    if (at < 0 || at >= size) return bytes;
    const bool enough = at >= base && at < base + held && (base + held - at >= RunLeast || base + held >= size);
    if (!enough) {
        base = at;
        held = 0;
        const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(Room, size - at));
        while (static_cast<std::size_t>(held) < wanted) {
            const ssize_t got = pread(fd, bytes + held, wanted - static_cast<std::size_t>(held), base + held);
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) break;
            held += static_cast<int>(got);
        }
    }
    n = static_cast<int>(base + held - at);
    return bytes + (at - base);
}

int FileBytes::At(std::int64_t at) {
    if (at >= base && at < base + held) return bytes[at - base];
    int n;
    // Some before it, for those who go back.
    Run(std::max<std::int64_t>(0, at - RunLeast / 2), n);
    return at >= base && at < base + held ? bytes[at - base] : -1;
}

bool Pager::Open(const char* fileName) {
    name = fileName;
    return file.Open(fileName);
}

bool Pager::EndsLine(std::int64_t at) {
    const int c = file.At(at);
    return c == '\n' || (c == '\r' && file.At(at + 1) != '\n');
}

std::int64_t Pager::LineStart(std::int64_t at) {
    const std::int64_t least = std::max<std::int64_t>(0, at - LineMost);
    while (at > least && !EndsLine(at - 1)) --at;
    return at;
}

// A long line takes several rows.
std::int64_t Pager::NextRow(std::int64_t at) {
    if (hex) return std::min(at + 16, file.Size());
    for (int column = 0;; ++at) {
        const int c = file.At(at);
        if (c < 0) return at;
        if (EndsLine(at)) return at + 1;
        if (c == '\r' || (c & 0xC0) == 0x80) continue;
        if (column++ == columns) return at;
    }
}

std::int64_t Pager::PreviousRow(std::int64_t at) {
    if (at == 0) return 0;
    if (hex) return std::max<std::int64_t>(0, (at - 1) / 16 * 16);
    for (std::int64_t row = LineStart(at - 1);;) {
        const std::int64_t next = NextRow(row);
        if (next >= at) return row;
        row = next;
    }
}

void Pager::Move(int by) {
    for (; by < 0 && top > 0; ++by) top = PreviousRow(top);
    for (std::int64_t next; by > 0 && (next = NextRow(top)) < file.Size(); --by) top = next;
}

void Pager::Draw(Report& screen) {
    AskTerminalSize(rows, columns);
    --rows; // the last one is for the status
    file.LookForMore();
    std::int64_t at = top;
    for (int row = 1; row <= rows; ++row) {
        screen.Print("\033[%d;1H\033[K", row);
        const std::int64_t end = NextRow(at);
        if (at < file.Size()) DrawRow(screen, at, end);
        at = end;
    }
    DrawStatus(screen);
}

void Pager::DrawRow(Report& screen, std::int64_t at, std::int64_t end) {
    int n;
    const unsigned char* bytes = file.Run(at, n);
    n = static_cast<int>(std::min<std::int64_t>(n, end - at));
    if (hex) {
        char row[80];
        screen.Put(row, WriteHexRow(at, bytes, n, row) - 1);
        return;
    }
    for (int i = 0; i < n;) {
        if (bytes[i] == '\n' || bytes[i] == '\r') break;
        const std::size_t length = CharacterLength(bytes + i, static_cast<std::size_t>(n - i));
        const bool shown = IsShown(bytes + i, length);
        screen.Put(shown ? reinterpret_cast<const char*>(bytes + i) : bytes[i] == '\t' ? " " : ".", shown ? length : 1);
        i += length > 0 ? static_cast<int>(length) : 1;
    }
}

void Pager::DrawStatus(Report& screen) {
    screen.Print("\033[%d;1H\033[K\033[7m", rows + 1);
    if (asking) {
        screen.Print("%c%s", asking, answer);
    } else if (*message) {
        screen.Put(message, std::strlen(message));
    } else {
        const std::int64_t line = LineNumber(), size = file.Size();
        const auto share = static_cast<int>(size > 0 ? 100 * top / size : 100);
        screen.Print("%.100s  %d %%  ", name, share);
        if (line > 0) screen.Print("line %lld  ", static_cast<long long>(line));
        screen.Print("byte %lld of %lld", static_cast<long long>(top), static_cast<long long>(size));
    }
    screen.Print("\033[m");
    message = "";
}

bool Pager::Press(int key) {
    if (asking) {
        Answer(key);
        return true;
    }
    if (key != 'n' && key != 'N' && key != '/') found = -1;
    if (key == 'q' || key == Ctrl('C') || key == Ctrl('Q')) return false;
    if (key == 'j' || key == KeyDown || key == KeyEnter) Move(1);
    if (key == 'k' || key == KeyUp) Move(-1);
    if (key == ' ' || key == 'f' || key == KeyPageDown) Move(rows);
    if (key == 'b' || key == KeyPageUp) Move(-rows);
    if (key == 'g' || key == KeyHome) top = 0;
    if (key == 'G' || key == KeyEnd) {
        top = hex ? (file.Size() + 15) / 16 * 16 : file.Size();
        Move(-rows);
    }
    if (key == 'x') {
        hex = !hex;
        top = hex ? top / 16 * 16 : LineStart(top);
    }
    if (key == 'n' || key == 'N') FindNext(key == 'N');
    if (key == '/' || key == ':' || key == '@') {
        asking = key;
        *answer = '\0';
    }
    if (key == 'h' || key == '?')
        message = "q end  space b j k g G move  :LINE  @BYTE  /TEXT n N find  x bytes as hexadecimal";
    return true;
}

void Pager::Answer(int key) {
    const std::size_t n = std::strlen(answer);
    if (key == KeyBackspace && n > 0) {
        answer[n - 1] = '\0';
    } else if (key >= ' ' && key < 256 && key != KeyBackspace && n + 1 < sizeof answer) {
        answer[n] = static_cast<char>(key);
        answer[n + 1] = '\0';
    } else if (key == KeyEnter || key == '\n') {
        const int asked = asking;
        asking = 0;
        if (asked == ':') GoToLine(std::atoll(answer));
        if (asked == '@') GoToByte(std::strtoll(answer, nullptr, 0));
        if (asked == '/' && *answer) std::strcpy(pattern, answer);
        if (asked == '/') FindNext(false);
    } else if (key == '\033' || key == Ctrl('C') || key < 0) {
        asking = 0;
    }
}
