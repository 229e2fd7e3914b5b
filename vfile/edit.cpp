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

VFile& VFileEdits::Self() {
    return static_cast<VFile&>(*this);
}

void VFileEdits::InsertByte(unsigned char b) {
    Self().ReplaceBuf(Self().pos, 0, &b, 1);
}

void VFileEdits::InsertBytes(const void* bytes, int n) {
    Self().ReplaceBuf(Self().pos, 0, bytes, n);
}

void VFileEdits::InsertWord(Word v) {
    Self().ReplaceBuf(Self().pos, 0, ValueBytes(v).bytes, 2);
}

void VFileEdits::InsertDWord(DWord v) {
    Self().ReplaceBuf(Self().pos, 0, ValueBytes(v).bytes, 4);
}

void VFileEdits::InsertQWord(QWord v) {
    Self().ReplaceBuf(Self().pos, 0, ValueBytes(v).bytes, 8);
}

void VFileEdits::Insert(char c, int n) {
    Self().ReplaceCh(Self().pos, 0, c, n);
}

void VFileEdits::Insert(const char* s) {
    Self().ReplaceBuf(Self().pos, 0, s, TextLength(s));
}

void VFileEdits::Insert(const VFile& src, std::int32_t from, std::int32_t count) {
    Self().ReplaceTxt(Self().pos, 0, src, from, count);
}

void VFileEdits::Insert(FileHandle h, std::int32_t count) {
    Self().ReplaceFile(Self().pos, 0, h, count);
}

void VFileEdits::Insert(HFile& f, std::int32_t count) {
    Self().ReplaceFile(Self().pos, 0, f, count);
}

void VFileEdits::ReplaceByte(unsigned char b) {
    Self().ReplaceBuf(Self().pos, 1, &b, 1);
}

void VFileEdits::ReplaceBytes(const void* bytes, int n) {
    Self().ReplaceBuf(Self().pos, n, bytes, n);
}

void VFileEdits::ReplaceWord(Word v) {
    Self().ReplaceBuf(Self().pos, 2, ValueBytes(v).bytes, 2);
}

void VFileEdits::ReplaceDWord(DWord v) {
    Self().ReplaceBuf(Self().pos, 4, ValueBytes(v).bytes, 4);
}

void VFileEdits::ReplaceQWord(QWord v) {
    Self().ReplaceBuf(Self().pos, 8, ValueBytes(v).bytes, 8);
}

void VFileEdits::Replace(char c, int n) {
    Self().ReplaceCh(Self().pos, n, c, n);
}

void VFileEdits::Replace(const char* s) {
    Self().ReplaceBuf(Self().pos, SameLen, s, TextLength(s));
}

void VFileEdits::Replace(const VFile& src, std::int32_t from, std::int32_t count) {
    Self().ReplaceTxt(Self().pos, SameLen, src, from, count);
}

void VFileEdits::Replace(FileHandle h, std::int32_t count) {
    Self().ReplaceFile(Self().pos, SameLen, h, count);
}

void VFileEdits::Replace(HFile& f, std::int32_t count) {
    Self().ReplaceFile(Self().pos, SameLen, f, count);
}

void VFileEdits::WriteByte(unsigned char b) {
    Self().ReplaceBuf(Self().pos, WriteOldLen(Self(), 1), &b, 1);
}

void VFileEdits::WriteBytes(const void* bytes, int n) {
    Self().ReplaceBuf(Self().pos, WriteOldLen(Self(), n), bytes, n);
}

void VFileEdits::WriteWord(Word v) {
    Self().ReplaceBuf(Self().pos, WriteOldLen(Self(), 2), ValueBytes(v).bytes, 2);
}

void VFileEdits::WriteDWord(DWord v) {
    Self().ReplaceBuf(Self().pos, WriteOldLen(Self(), 4), ValueBytes(v).bytes, 4);
}

void VFileEdits::WriteQWord(QWord v) {
    Self().ReplaceBuf(Self().pos, WriteOldLen(Self(), 8), ValueBytes(v).bytes, 8);
}

void VFileEdits::Write(char c, int n) {
    Self().ReplaceCh(Self().pos, WriteOldLen(Self(), n), c, n);
}

void VFileEdits::Write(const char* s) {
    Self().ReplaceBuf(Self().pos, WriteOldLen(Self(), SameLen), s, TextLength(s));
}

void VFileEdits::Write(const VFile& src, std::int32_t from, std::int32_t count) {
    Self().ReplaceTxt(Self().pos, WriteOldLen(Self(), SameLen), src, from, count);
}

void VFileEdits::Write(FileHandle h, std::int32_t count) {
    Self().ReplaceFile(Self().pos, WriteOldLen(Self(), SameLen), h, count);
}

void VFileEdits::Write(HFile& f, std::int32_t count) {
    Self().ReplaceFile(Self().pos, WriteOldLen(Self(), SameLen), f, count);
}

void VFileEdits::AppendByte(unsigned char b) {
    Self().ReplaceBuf(Self().len, 0, &b, 1);
}

void VFileEdits::AppendBytes(const void* bytes, int n) {
    Self().ReplaceBuf(Self().len, 0, bytes, n);
}

void VFileEdits::AppendWord(Word v) {
    Self().ReplaceBuf(Self().len, 0, ValueBytes(v).bytes, 2);
}

void VFileEdits::AppendDWord(DWord v) {
    Self().ReplaceBuf(Self().len, 0, ValueBytes(v).bytes, 4);
}

void VFileEdits::AppendQWord(QWord v) {
    Self().ReplaceBuf(Self().len, 0, ValueBytes(v).bytes, 8);
}

void VFileEdits::Append(char c, int n) {
    Self().ReplaceCh(Self().len, 0, c, n);
}

void VFileEdits::Append(const char* s) {
    Self().ReplaceBuf(Self().len, 0, s, TextLength(s));
}

void VFileEdits::Append(const VFile& src, std::int32_t from, std::int32_t count) {
    Self().ReplaceTxt(Self().len, 0, src, from, count);
}

void VFileEdits::Append(FileHandle h, std::int32_t count) {
    Self().ReplaceFile(Self().len, 0, h, count);
}

void VFileEdits::Append(HFile& f, std::int32_t count) {
    Self().ReplaceFile(Self().len, 0, f, count);
}

void VFileEdits::PrependByte(unsigned char b) {
    Self().ReplaceBuf(0, 0, &b, 1);
}

void VFileEdits::PrependBytes(const void* bytes, int n) {
    Self().ReplaceBuf(0, 0, bytes, n);
}

void VFileEdits::PrependWord(Word v) {
    Self().ReplaceBuf(0, 0, ValueBytes(v).bytes, 2);
}

void VFileEdits::PrependDWord(DWord v) {
    Self().ReplaceBuf(0, 0, ValueBytes(v).bytes, 4);
}

void VFileEdits::PrependQWord(QWord v) {
    Self().ReplaceBuf(0, 0, ValueBytes(v).bytes, 8);
}

void VFileEdits::Prepend(char c, int n) {
    Self().ReplaceCh(0, 0, c, n);
}

void VFileEdits::Prepend(const char* s) {
    Self().ReplaceBuf(0, 0, s, TextLength(s));
}

void VFileEdits::Prepend(const VFile& src, std::int32_t from, std::int32_t count) {
    Self().ReplaceTxt(0, 0, src, from, count);
}

void VFileEdits::Prepend(FileHandle h, std::int32_t count) {
    Self().ReplaceFile(0, 0, h, count);
}

void VFileEdits::Prepend(HFile& f, std::int32_t count) {
    Self().ReplaceFile(0, 0, f, count);
}

void VFileEdits::ReadFromFile(FileHandle h, std::int32_t count) {
    Write(h, count);
}

void VFileEdits::ReadFromFile(HFile& f, std::int32_t count) {
    Write(f, count);
}

void VFileEdits::Delete(std::int32_t from, std::int32_t count) {
    Self().ReplaceBuf(from, count, nullptr, 0);
}

void VFileEdits::Truncate() {
    Self().ReplaceBuf(Self().pos, MaxLen, nullptr, 0);
}

void VFileEdits::ReadChar(unsigned char& c) {
    Self().ReadByte(c);
}

void VFileEdits::ReadPrevChar(unsigned char& c) {
    Self().ReadPrevByte(c);
}

void VFileEdits::ReadWord(unsigned short& v) {
    v = static_cast<unsigned short>(ReadValue(Self(), v, 2));
}

void VFileEdits::ReadDWord(unsigned int& v) {
    v = static_cast<unsigned int>(ReadValue(Self(), v, 4));
}

void VFileEdits::ReadQWord(unsigned long long& v) {
    v = ReadValue(Self(), v, 8);
}

#if ULONG_MAX == 0xFFFFFFFF
void VFileEdits::ReadDWord(long& v) {
    v = static_cast<long>(ReadValue(Self(), static_cast<unsigned long>(v), 4));
}

void VFileEdits::ReadDWord(unsigned long& v) {
    v = static_cast<unsigned long>(ReadValue(Self(), v, 4));
}
#else
void VFileEdits::ReadQWord(long& v) {
    v = static_cast<long>(ReadValue(Self(), static_cast<unsigned long>(v), 8));
}

void VFileEdits::ReadQWord(unsigned long& v) {
    v = static_cast<unsigned long>(ReadValue(Self(), v, 8));
}
#endif

std::int32_t VFileEdits::Read(unsigned char& c) {
    unsigned char b = 0; // an override may leave it alone
    Self().ReadByte(b);
    c = b;
    if (Self().eof) return 0;
    if (b != '\r') return 1;
    c = '\n';
    const std::int32_t behind = Self().pos;
    Self().ReadByte(b);
    if (!Self().eof && b == '\n') return 2;
    Self().SetPos(behind);
    return 1;
}
