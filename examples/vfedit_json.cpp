// Objects of JSON.
#include "vfedit_json.h"

#include "vfedit_text.h"

#include <cstring>

void JsonCharacters(Report& report, const unsigned char* bytes, std::size_t n) {
    while (n > 0) {
        std::size_t length = CharacterLength(bytes, n);
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
