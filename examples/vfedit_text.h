// Texts of edits: bytes, any of which may be zero, as the user writes them.
#pragma once

#include <cstddef>
#include <cstdint>

// The bytes, with a zero byte after them.
struct Text {
    const char* bytes = "";
    int length = 0;
    const char* file = nullptr; // where they are still to be read from
    char* own = nullptr;        // they are in this memory, of malloc
};

// Resolves the escapes of a text where it stands; "\@NAME" sets only `file`. False, with the argument as it was, if
// an escape is not known.
bool ParseText(char* s, Text& text);

// The bytes that `count` hexadecimal digits stand for, written to `to`, which may be `digits` itself. False if there is
// anything else, or one digit too many.
bool ReadHex(const char* digits, int count, char* to);

// A whole number from `least` to `most`, decimal or 0x...; nothing before it, nothing after it.
bool ParseNumber(const char* s, long least, long most, std::int32_t& value);

// The bytes of the character of UTF-8 that the first of `n` bytes begins; 0 if it begins none.
std::size_t CharacterLength(const unsigned char* s, std::size_t n);
