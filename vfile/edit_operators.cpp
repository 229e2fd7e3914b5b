// Filling constructors, assignment, and the operators that add, write and read.
#include "vfile/vfile.h"

#include "foundation/number_text.h"
#include "vfile/edit_internal.h"

using vfile_internal::TextLength;

// A constructor calls the class's own operation: what a derived class would put in its place is not there yet.

VFile::VFile(char c, int n) {
    Init();
    VFile::ReplaceCh(0, 0, c, n);
}

VFile::VFile(signed char c, int n) : VFile(static_cast<char>(c), n) {}

VFile::VFile(unsigned char c, int n) : VFile(static_cast<char>(c), n) {}

VFile::VFile(const char* s) {
    Init();
    VFile::ReplaceBuf(0, 0, s, TextLength(s));
}

VFile::VFile(FileHandle h, std::int32_t n) {
    Init();
    VFile::ReplaceFile(0, 0, h, n);
}

VFile::VFile(HFile& f, std::int32_t n) {
    Init();
    VFile::ReplaceFile(0, 0, f, n);
}

VFile::VFile(const VFile& src, std::int32_t start, std::int32_t n) : VFileEdits() {
    Init();
    VFile::ReplaceTxt(0, 0, src, start, n);
}

VFile& VFile::operator=(const VFile& src) {
    ReplaceTxt(0, len, src, 0, MaxLen);
    return *this;
}

VFile& VFile::operator=(const char* s) {
    ReplaceBuf(0, len, s, TextLength(s));
    return *this;
}

VFile& VFile::operator=(char c) {
    ReplaceBuf(0, len, &c, 1);
    return *this;
}

VFile& VFile::operator=(signed char c) {
    ReplaceBuf(0, len, &c, 1);
    return *this;
}

VFile& VFile::operator=(unsigned char c) {
    ReplaceBuf(0, len, &c, 1);
    return *this;
}

VFile& VFileEdits::operator+=(char c) {
    Self().ReplaceBuf(Self().len, 0, &c, 1);
    return Self();
}

VFile& VFileEdits::operator+=(const char* s) {
    Append(s);
    return Self();
}

VFile& VFileEdits::operator+=(const VFile& src) {
    Append(src, 0, MaxLen);
    return Self();
}

VFile& VFileEdits::operator<<(char c) {
    WriteByte(static_cast<unsigned char>(c));
    return Self();
}

VFile& VFileEdits::operator<<(const char* s) {
    Write(s);
    return Self();
}

VFile& VFileEdits::operator<<(const VFile& src) {
    Write(src, 0, MaxLen);
    return Self();
}

VFile& VFileEdits::operator<<(int v) {
    char text[vfile_internal::NumberTextSize];
    vfile_internal::NumberToText(text, std::int32_t{v}, Self().base);
    return *this << text;
}

VFile& VFileEdits::operator<<(unsigned int v) {
    char text[vfile_internal::NumberTextSize];
    vfile_internal::NumberToText(text, std::uint32_t{v}, Self().base);
    return *this << text;
}

VFile& VFileEdits::operator<<(long long v) {
    char text[vfile_internal::NumberTextSize];
    vfile_internal::NumberToText(text, std::int64_t{v}, Self().base);
    return *this << text;
}

VFile& VFileEdits::operator<<(unsigned long long v) {
    char text[vfile_internal::NumberTextSize];
    vfile_internal::NumberToText(text, std::uint64_t{v}, Self().base);
    return *this << text;
}

VFile& VFileEdits::operator>>(unsigned char& c) {
    Self().ReadByte(c);
    return Self();
}

VFile& VFileEdits::operator>>(VFile& dst) {
    dst.ReplaceTxt(0, MaxLen, Self(), Self().pos, MaxLen);
    if (dst.res != resDone) {
        Self().res = dst.res;
    } else {
        Self().SetPos(MaxLen);
    }
    return Self();
}
