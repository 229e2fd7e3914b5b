// Objects of JSON.
#include "vfedit_json.h"

#include <cstring>

namespace {

// The bytes of the character of UTF-8 that stands first, which is not ASCII; 0 if there is none.
std::size_t CharacterLength(const unsigned char* s, std::size_t n) {
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

} // namespace

void JsonCharacters(Report& report, const unsigned char* bytes, std::size_t n) {
    while (n > 0) {
        std::size_t length = *bytes < 0x80 ? 1 : CharacterLength(bytes, n);
        if (length == 0 || *bytes < ' ' || *bytes == 0x7F) {
            report.Print("\\u%04x", *bytes);
            length = 1;
        } else {
            if (*bytes == '"' || *bytes == '\\') report.Put("\\", 1);
            report.Put(bytes, length);
        }
        bytes += length;
        n -= length;
    }
}

void JsonBegin(Report& report, const char* name, const char* word) {
    report.Put("{\"file\":\"", 9);
    JsonCharacters(report, reinterpret_cast<const unsigned char*>(name), std::strlen(name));
    report.Print("\",\"edit\":\"%s\"", word);
}
