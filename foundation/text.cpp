// Strings: bounded copies, trimming, comparison.
#include "foundation/text.h"

#include "foundation/halt.h"

#include <cstring>

namespace {

// Copies what fits into `room` bytes, terminator included; room is at least 1.
void CopyCut(char* dst, std::size_t room, const char* src) {
    std::size_t n = 0;
    if (src) {
        n = strnlen(src, room);
        if (n == room) n = room - 1;
        std::memmove(dst, src, n); // a string may be assigned to itself
    }
    dst[n] = '\0';
}

std::size_t LeadingBlanks(const char* s) {
    std::size_t i = 0;
    while (IsBlank(static_cast<unsigned char>(s[i]))) ++i;
    return i;
}

// The length of s without the blanks at its end, but at least `from`.
std::size_t LengthTrimmed(const char* s, std::size_t from) {
    std::size_t n = std::strlen(s);
    while (n > from && IsBlank(static_cast<unsigned char>(s[n - 1]))) --n;
    return n;
}

// Writes nothing where nothing changes: the string may be a constant.
void EndAt(char* s, std::size_t n) {
    if (s[n] != '\0') s[n] = '\0';
}

void KeepRange(char* s, std::size_t from, std::size_t to) {
    if (from > 0) std::memmove(s, s + from, to - from);
    EndAt(s, to - from);
}

char LowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

void AssignStr(char* dst, unsigned int size, const char* src) {
    if (!dst) HaltA("HSys", __LINE__);
    if (size == 0) HaltA("HSys", __LINE__);
    if (dst && size > 0) CopyCut(dst, size, src);
}

void AppendStr(char* dst, unsigned int size, const char* src) {
    if (!dst) HaltA("HSys", __LINE__);
    if (size == 0) HaltA("HSys", __LINE__);
    if (!dst || size == 0) return;
    const std::size_t n = strnlen(dst, size);
    if (n >= size) return HaltA("HSys", __LINE__);
    CopyCut(dst + n, size - n, src);
}

void CondAssignStr(char* dst, unsigned int size, const char* src) {
    if (dst) AssignStr(dst, size, src);
}

void CondAppendStr(char* dst, unsigned int size, const char* src) {
    if (dst) AppendStr(dst, size, src);
}

bool IsBlank(unsigned char c) {
    return c == 9 || c == 10 || c == 12 || c == 13 || c == 32;
}

bool IsBlank(const char* s) {
    return !s || s[LeadingBlanks(s)] == '\0';
}

void Trim(char* s) {
    if (!s) return;
    const std::size_t from = LeadingBlanks(s);
    KeepRange(s, from, LengthTrimmed(s, from));
}

void TrimLeft(char* s) {
    if (!s) return;
    KeepRange(s, LeadingBlanks(s), std::strlen(s));
}

void TrimRight(char* s) {
    if (s) EndAt(s, LengthTrimmed(s, 0));
}

void TrimZeroes(char* s) {
    if (!s) return;
    std::size_t n = std::strlen(s);
    const std::size_t dot = std::strcspn(s, ".");
    while (n > dot && s[n - 1] == '0') --n;
    if (n > dot && s[n - 1] == '.') --n;
    if (n > 0) return EndAt(s, n);
    s[0] = '0';
    s[1] = '\0';
}

bool EqualStr(const char* a, const char* b) {
    return std::strcmp(a, b) == 0;
}

bool EqualStrI(const char* a, const char* b) {
    while (*a != '\0' && LowerCase(*a) == LowerCase(*b)) ++a, ++b;
    return LowerCase(*a) == LowerCase(*b);
}
