// The edits of vfedit for content that is no text.
#include "vfedit_bytes.h"

#include "vfile/vfile_view.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int RowBytes = 16;
constexpr const char* Blanks = " \t\r\n";

struct PatchLine {
    std::int32_t number; // of the line in the file
    std::int32_t at;
    const char* old;
    int oldLength;
    const char* bytes;
    int length;
};

// What a patch file says, in the memory of its text.
struct PatchList {
    ~PatchList() {
        std::free(text.own);
        std::free(lines);
    }
    Text text;
    PatchLine* lines = nullptr;
    std::size_t count = 0;
};

// The next word of a line, with a zero byte put after it; null if there is none.
char* NextWord(char*& rest) {
    rest += std::strspn(rest, Blanks);
    if (*rest == '\0') return nullptr;
    char* const word = rest;
    rest += std::strcspn(rest, Blanks);
    if (*rest != '\0') *rest++ = '\0';
    return word;
}

bool ReadHexWord(char* word, const char*& bytes, int& length) {
    const std::size_t n = word ? std::strlen(word) : 0;
    bytes = word;
    length = static_cast<int>(n / 2);
    return n > 0 && ReadHex(word, static_cast<int>(n), word);
}

// False if the line, which is not empty, is none of a patch.
bool ReadPatchLine(char* rest, PatchLine& line) {
    const char* const offset = NextWord(rest);
    char* const old = NextWord(rest);
    char* const bytes = NextWord(rest);
    return offset && ParseNumber(offset, 0, MaxLen, line.at) && ReadHexWord(old, line.old, line.oldLength) &&
           ReadHexWord(bytes, line.bytes, line.length) && !NextWord(rest);
}

// Resolves the digits where they stand. False: told.
bool ReadPatch(const Work& work, const char* name, PatchList& list) {
    if (!ReadWhole(name, work.output, list.text)) return false;
    char* const end = list.text.own + list.text.length;
    const auto most = static_cast<std::size_t>(std::count(list.text.own, end, '\n')) + 1;
    list.lines = static_cast<PatchLine*>(std::calloc(most, sizeof(PatchLine)));
    if (!list.lines) return ComplainErrno(InputName(name), ENOMEM);
    std::int32_t number = 0;
    for (char *at = list.text.own, *next; at < end; at = next) {
        next = std::find(at, end, '\n');
        const bool zero = std::find(at, next, '\0') != next;
        if (next < end) *next++ = '\0';
        ++number;
        at[std::strcspn(at, "#")] = '\0';
        if (!zero && at[std::strspn(at, Blanks)] == '\0') continue;
        PatchLine& line = list.lines[list.count++];
        line.number = number;
        if (zero || !ReadPatchLine(at, line)) return Complain(InputName(name), "line %d: not OFFSET OLD NEW", number);
    }
    std::sort(list.lines, list.lines + list.count, [](const PatchLine& a, const PatchLine& b) { return a.at < b.at; });
    return true;
}

// False, and told, if a line does not fit to the content.
bool Check(const Work& work, const char* name, const PatchList& list) {
    VFileView view(work.content);
    std::int64_t behind = 0;
    for (std::size_t i = 0; i < list.count; ++i) {
        const PatchLine& line = list.lines[i];
        if (line.at < behind) return Complain(name, "line %d: changes what another line changes", line.number);
        if (view.Compare(line.at, line.oldLength, line.old, line.oldLength) != 0)
            return Complain(name, "line %d: OLD does not stand at %d; nothing is patched", line.number, line.at);
        behind = std::int64_t{line.at} + line.oldLength;
    }
    return true;
}

} // namespace

std::size_t WriteHexRow(std::int64_t at, const unsigned char* bytes, int n, char* row) {
    constexpr const char* digits = "0123456789abcdef";
    char* to = row;
    for (int shift = 28; shift >= 0; shift -= 4) *to++ = digits[at >> shift & 0xF];
    *to++ = ':';
    for (int i = 0; i < RowBytes; ++i) {
        if (i % 2 == 0) *to++ = ' ';
        *to++ = i < n ? digits[bytes[i] >> 4] : ' ';
        *to++ = i < n ? digits[bytes[i] & 0xF] : ' ';
    }
    *to++ = ' ';
    *to++ = ' ';
    for (int i = 0; i < n; ++i) *to++ = static_cast<char>(bytes[i] >= ' ' && bytes[i] <= '~' ? bytes[i] : '.');
    *to++ = '\n';
    return static_cast<std::size_t>(to - row);
}

bool Hexdump(const Work& work, std::int32_t from, std::int32_t count) {
    const std::int32_t length = work.content.Length();
    const std::int32_t to = from < length && count < length - from ? from + count : length;
    work.progress.Begin("printing", to);
    ForEachPiece(work, from, to, [&work, at = from](int n) mutable {
        for (int i = 0; i < n; i += RowBytes, at += RowBytes) { // only the last piece ends within a row
            char row[80];
            work.report.Put(row, WriteHexRow(at, piece + i, std::min(RowBytes, n - i), row));
        }
        return !work.report.Failed();
    });
    work.progress.End();
    return true;
}

bool Patch(const Work& work, const Edit& edit, Done& done) {
    PatchList list;
    const char* const name = InputName(edit.text.bytes);
    if (!ReadPatch(work, edit.text.bytes, list) || !Check(work, name, list)) return false;
    std::int64_t grown = 0; // all before the line; what would pass the largest position fails before
    for (std::size_t i = 0; i < list.count; ++i) {
        const PatchLine& line = list.lines[i];
        const auto at = static_cast<std::int32_t>(line.at + grown);
        const Res res = work.space.Change(at, line.oldLength, line.bytes, line.length);
        if (res != resDone) return Complain(work.name, res);
        grown += line.length - line.oldLength;
        done.Count(at);
    }
    return true;
}
