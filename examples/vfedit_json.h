// Objects of JSON, one on a line, for scripts.
#pragma once

#include "vfedit_terminal.h"

// The characters of a string, without its quotes. Bytes that are no UTF-8 become the characters U+0080 to U+00FF.
void JsonCharacters(Report& report, const unsigned char* bytes, std::size_t n);

// An object up to what is to come: {"file":NAME,"edit":WORD
void JsonBegin(Report& report, const char* name, const char* word);
