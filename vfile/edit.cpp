// The five families of edits over their sources, the two edits beside them, and the typed reads: each is one call of a
// virtual operation.
#include "vfile/vfile.h"

#include "vfile/edit_internal.h"

using vfile_internal::TextLength;

namespace {

// Least significant byte first, whatever the machine does.
struct ValueBytes {
    unsigned char bytes[sizeof(unsigned long long)];

    explicit ValueBytes(unsigned long long v) {
        for (unsigned char& b : bytes) {
            b = static_cast<unsigned char>(v & 0xFF);
            v >>= CHAR_BIT;
        }
    }
    unsigned long long Value() const {
        unsigned long long v = 0;
        for (int i = sizeof bytes; i-- > 0;) v = v << CHAR_BIT | bytes[i];
        return v;
    }
};

// Bytes that are not read keep their place in the value.
unsigned long long ReadValue(VFile& f, unsigned long long old, int n) {
    ValueBytes v(old);
    f.ReadBytes(v.bytes, n);
    return v.Value();
}

// The old length of a Write over n bytes.
std::int32_t WriteOldLen(const VFile& f, std::int32_t n) {
    return f.FlagOn(vfInsert) ? 0 : n;
}

} // namespace

void VFile::InsertByte(unsigned char b) {
    ReplaceBuf(pos, 0, &b, 1);
}

void VFile::InsertBytes(const void* bytes, int n) {
    ReplaceBuf(pos, 0, bytes, n);
}

void VFile::InsertWord(Word v) {
    ReplaceBuf(pos, 0, ValueBytes(v).bytes, 2);
}

void VFile::InsertDWord(DWord v) {
    ReplaceBuf(pos, 0, ValueBytes(v).bytes, 4);
}

void VFile::InsertQWord(QWord v) {
    ReplaceBuf(pos, 0, ValueBytes(v).bytes, 8);
}

void VFile::Insert(char c, int n) {
    ReplaceCh(pos, 0, c, n);
}

void VFile::Insert(const char* s) {
    ReplaceBuf(pos, 0, s, TextLength(s));
}

void VFile::Insert(const VFile& src, std::int32_t from, std::int32_t count) {
    ReplaceTxt(pos, 0, src, from, count);
}

void VFile::Insert(FileHandle h, std::int32_t count) {
    ReplaceFile(pos, 0, h, count);
}

void VFile::Insert(HFile& f, std::int32_t count) {
    ReplaceFile(pos, 0, f, count);
}

void VFile::ReplaceByte(unsigned char b) {
    ReplaceBuf(pos, 1, &b, 1);
}

void VFile::ReplaceBytes(const void* bytes, int n) {
    ReplaceBuf(pos, n, bytes, n);
}

void VFile::ReplaceWord(Word v) {
    ReplaceBuf(pos, 2, ValueBytes(v).bytes, 2);
}

void VFile::ReplaceDWord(DWord v) {
    ReplaceBuf(pos, 4, ValueBytes(v).bytes, 4);
}

void VFile::ReplaceQWord(QWord v) {
    ReplaceBuf(pos, 8, ValueBytes(v).bytes, 8);
}

void VFile::Replace(char c, int n) {
    ReplaceCh(pos, n, c, n);
}

void VFile::Replace(const char* s) {
    ReplaceBuf(pos, SameLen, s, TextLength(s));
}

void VFile::Replace(const VFile& src, std::int32_t from, std::int32_t count) {
    ReplaceTxt(pos, SameLen, src, from, count);
}

void VFile::Replace(FileHandle h, std::int32_t count) {
    ReplaceFile(pos, SameLen, h, count);
}

void VFile::Replace(HFile& f, std::int32_t count) {
    ReplaceFile(pos, SameLen, f, count);
}

void VFile::WriteByte(unsigned char b) {
    ReplaceBuf(pos, WriteOldLen(*this, 1), &b, 1);
}

void VFile::WriteBytes(const void* bytes, int n) {
    ReplaceBuf(pos, WriteOldLen(*this, n), bytes, n);
}

void VFile::WriteWord(Word v) {
    ReplaceBuf(pos, WriteOldLen(*this, 2), ValueBytes(v).bytes, 2);
}

void VFile::WriteDWord(DWord v) {
    ReplaceBuf(pos, WriteOldLen(*this, 4), ValueBytes(v).bytes, 4);
}

void VFile::WriteQWord(QWord v) {
    ReplaceBuf(pos, WriteOldLen(*this, 8), ValueBytes(v).bytes, 8);
}

void VFile::Write(char c, int n) {
    ReplaceCh(pos, WriteOldLen(*this, n), c, n);
}

void VFile::Write(const char* s) {
    ReplaceBuf(pos, WriteOldLen(*this, SameLen), s, TextLength(s));
}

void VFile::Write(const VFile& src, std::int32_t from, std::int32_t count) {
    ReplaceTxt(pos, WriteOldLen(*this, SameLen), src, from, count);
}

void VFile::Write(FileHandle h, std::int32_t count) {
    ReplaceFile(pos, WriteOldLen(*this, SameLen), h, count);
}

void VFile::Write(HFile& f, std::int32_t count) {
    ReplaceFile(pos, WriteOldLen(*this, SameLen), f, count);
}

void VFile::AppendByte(unsigned char b) {
    ReplaceBuf(len, 0, &b, 1);
}

void VFile::AppendBytes(const void* bytes, int n) {
    ReplaceBuf(len, 0, bytes, n);
}

void VFile::AppendWord(Word v) {
    ReplaceBuf(len, 0, ValueBytes(v).bytes, 2);
}

void VFile::AppendDWord(DWord v) {
    ReplaceBuf(len, 0, ValueBytes(v).bytes, 4);
}

void VFile::AppendQWord(QWord v) {
    ReplaceBuf(len, 0, ValueBytes(v).bytes, 8);
}

void VFile::Append(char c, int n) {
    ReplaceCh(len, 0, c, n);
}

void VFile::Append(const char* s) {
    ReplaceBuf(len, 0, s, TextLength(s));
}

void VFile::Append(const VFile& src, std::int32_t from, std::int32_t count) {
    ReplaceTxt(len, 0, src, from, count);
}

void VFile::Append(FileHandle h, std::int32_t count) {
    ReplaceFile(len, 0, h, count);
}

void VFile::Append(HFile& f, std::int32_t count) {
    ReplaceFile(len, 0, f, count);
}

void VFile::PrependByte(unsigned char b) {
    ReplaceBuf(0, 0, &b, 1);
}

void VFile::PrependBytes(const void* bytes, int n) {
    ReplaceBuf(0, 0, bytes, n);
}

void VFile::PrependWord(Word v) {
    ReplaceBuf(0, 0, ValueBytes(v).bytes, 2);
}

void VFile::PrependDWord(DWord v) {
    ReplaceBuf(0, 0, ValueBytes(v).bytes, 4);
}

void VFile::PrependQWord(QWord v) {
    ReplaceBuf(0, 0, ValueBytes(v).bytes, 8);
}

void VFile::Prepend(char c, int n) {
    ReplaceCh(0, 0, c, n);
}

void VFile::Prepend(const char* s) {
    ReplaceBuf(0, 0, s, TextLength(s));
}

void VFile::Prepend(const VFile& src, std::int32_t from, std::int32_t count) {
    ReplaceTxt(0, 0, src, from, count);
}

void VFile::Prepend(FileHandle h, std::int32_t count) {
    ReplaceFile(0, 0, h, count);
}

void VFile::Prepend(HFile& f, std::int32_t count) {
    ReplaceFile(0, 0, f, count);
}

void VFile::ReadFromFile(FileHandle h, std::int32_t count) {
    Write(h, count);
}

void VFile::ReadFromFile(HFile& f, std::int32_t count) {
    Write(f, count);
}

void VFile::Delete(std::int32_t from, std::int32_t count) {
    ReplaceBuf(from, count, nullptr, 0);
}

void VFile::Truncate() {
    ReplaceBuf(pos, MaxLen, nullptr, 0);
}

void VFile::ReadChar(unsigned char& c) {
    ReadByte(c);
}

void VFile::ReadPrevChar(unsigned char& c) {
    ReadPrevByte(c);
}

void VFile::ReadWord(unsigned short& v) {
    v = static_cast<unsigned short>(ReadValue(*this, v, 2));
}

void VFile::ReadDWord(unsigned int& v) {
    v = static_cast<unsigned int>(ReadValue(*this, v, 4));
}

void VFile::ReadQWord(unsigned long long& v) {
    v = ReadValue(*this, v, 8);
}

#if ULONG_MAX == 0xFFFFFFFF
void VFile::ReadDWord(long& v) {
    v = static_cast<long>(ReadValue(*this, static_cast<unsigned long>(v), 4));
}

void VFile::ReadDWord(unsigned long& v) {
    v = static_cast<unsigned long>(ReadValue(*this, v, 4));
}
#else
void VFile::ReadQWord(long& v) {
    v = static_cast<long>(ReadValue(*this, static_cast<unsigned long>(v), 8));
}

void VFile::ReadQWord(unsigned long& v) {
    v = static_cast<unsigned long>(ReadValue(*this, v, 8));
}
#endif

std::int32_t VFile::Read(unsigned char& c) {
    unsigned char b = 0; // an override may leave it alone
    ReadByte(b);
    c = b;
    if (eof) return 0;
    if (b != '\r') return 1;
    c = '\n';
    const std::int32_t behind = pos;
    ReadByte(b);
    if (!eof && b == '\n') return 2;
    SetPos(behind);
    return 1;
}
