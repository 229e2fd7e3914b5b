// Texts of edits.
#include "vfedit_text.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

namespace {

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    const int lower = std::tolower(static_cast<unsigned char>(c));
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Resolves the escape whose letter `from` is at, or only goes past it if `to` is null. Bytes never are more than what
// stands for them, so `to` may lie in front of `from`. False if it is not known.
bool Resolve(const char*& from, char*& to) {
    const char c = *from++;
    char byte[2];
    if (c == 'x' && *from == '\'') { // pairs of digits, with blanks between them
        for (++from; *from != '\'';) {
            if (*from == ' ') {
                ++from;
                continue;
            }
            if (!ReadHex(from, 2, byte)) return false;
            from += 2;
            if (to) *to++ = byte[0];
        }
        ++from;
        return true;
    }
    if (c == 'x') {
        if (!ReadHex(from, 2, byte)) return false;
        from += 2;
    } else if (c == '\0' || !std::strchr("nrt\\", c)) {
        return false;
    } else {
        byte[0] = c == 'n' ? '\n' : c == 'r' ? '\r' : c == 't' ? '\t' : '\\';
    }
    if (to) *to++ = byte[0];
    return true;
}

} // namespace

bool ReadHex(const char* digits, int count, char* to) {
    if (count % 2 != 0) return false;
    for (int i = 0; i < count; i += 2) {
        const int high = HexDigit(digits[i]);
        const int low = high < 0 ? -1 : HexDigit(digits[i + 1]);
        if (low < 0) return false;
        *to++ = static_cast<char>(high * 16 + low);
    }
    return true;
}

bool ParseText(char* s, Text& text) {
    if (s[0] == '\\' && s[1] == '@') {
        text.file = s + 2;
        return s[2] != '\0';
    }
    char* none = nullptr;
    for (const char* from = s; *from;) {
        if (*from++ == '\\' && !Resolve(from, none)) return false;
    }
    char* to = s;
    for (const char* from = s; *from;) {
        if (*from == '\\') {
            Resolve(++from, to);
        } else {
            *to++ = *from++;
        }
    }
    *to = '\0';
    text.bytes = s;
    text.length = static_cast<int>(to - s);
    return true;
}

bool ParseNumber(const char* s, long least, long most, std::int32_t& value) {
    const bool hex = s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
    const char* digits = hex ? s + 2 : s;
    const char* allowed = hex ? "0123456789abcdefABCDEF" : "0123456789";
    const std::size_t n = std::strlen(digits);
    if (n == 0 || n > 15 || std::strspn(digits, allowed) != n) return false;
    const long long v = std::strtoll(digits, nullptr, hex ? 16 : 10);
    if (v < least || v > most) return false;
    value = static_cast<std::int32_t>(v);
    return true;
}

std::size_t CharacterLength(const unsigned char* s, std::size_t n) {
    if (s[0] < 0x80) return 1;
    const std::size_t length = s[0] >= 0xF0 ? 4 : s[0] >= 0xE0 ? 3 : 2;
    if (s[0] < 0xC2 || s[0] > 0xF4 || length > n) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((s[i] & 0xC0) != 0x80) return 0;
    }
    const bool wrong = (s[0] == 0xE0 && s[1] < 0xA0) || (s[0] == 0xED && s[1] > 0x9F) ||
                       (s[0] == 0xF0 && s[1] < 0x90) ||
                       (s[0] == 0xF4 && s[1] > 0x8F); // longer than it needs, a surrogate, too large
    return wrong ? 0 : length;
}
