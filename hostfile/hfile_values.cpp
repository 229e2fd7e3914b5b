// HFile: values, numbers as text, lines.
#include "hostfile/hfile.h"

#include "foundation/number.h"
#include "foundation/number_text.h"
#include "platform/file.h"

#include <climits>
#include <cstring>

namespace platform = vfile_internal::platform;

namespace {

constexpr int FillSize = 1024; // bytes that Write(c, count) hands over at once

// What the host's long is as one of fixed width.
#if ULONG_MAX == 0xFFFFFFFF
using LongValue = std::int32_t;
using UnsignedLongValue = std::uint32_t;
#else
using LongValue = std::int64_t;
using UnsignedLongValue = std::uint64_t;
#endif

// Replaces the bytes of the integer at `v`, from the low one on, by those that can be read. Its own value is not looked
// at: a caller need not have given it one.
void ReadLow(HFile& f, void* v, int bytes) {
    const std::uint16_t one = 1;
    const bool lowFirst = *reinterpret_cast<const unsigned char*>(&one) == 1;
    unsigned char b[8];
    const int n = f.ReadBytes(b, bytes);
    for (int i = 0; i < n; ++i) static_cast<unsigned char*>(v)[lowFirst ? i : bytes - 1 - i] = b[i];
}

void WriteLow(HFile& f, std::uint64_t v, int bytes) {
    unsigned char b[8];
    for (int i = 0; i < bytes; ++i) b[i] = static_cast<unsigned char>(v >> 8 * i);
    f.WriteBytes(b, bytes);
}

} // namespace

using vfile_internal::NumberTextSize;
using vfile_internal::NumberToText;

#if ULONG_MAX == 0xFFFFFFFF
void HFile::ReadDWord(long& v) {
    ReadLow(*this, &v, 4);
}

void HFile::ReadDWord(unsigned long& v) {
    ReadLow(*this, &v, 4);
}
#else
void HFile::ReadQWord(long& v) {
    ReadLow(*this, &v, 8);
}

void HFile::ReadQWord(unsigned long& v) {
    ReadLow(*this, &v, 8);
}
#endif

void HFile::ReadWord(unsigned short& v) {
    ReadLow(*this, &v, 2);
}

void HFile::ReadDWord(unsigned int& v) {
    ReadLow(*this, &v, 4);
}

void HFile::ReadQWord(unsigned long long& v) {
    ReadLow(*this, &v, 8);
}

void HFile::WriteWord(vfile_internal::LowBytes<unsigned short> v) {
    WriteLow(*this, v, 2);
}

void HFile::WriteDWord(vfile_internal::LowBytes<unsigned int> v) {
    WriteLow(*this, v, 4);
}

void HFile::WriteQWord(vfile_internal::LowBytes<unsigned long long> v) {
    WriteLow(*this, v, 8);
}

void HFile::Write(char c, int count) {
    if (res != resDone || count < 1) return;
    char fill[FillSize];
    const int chunk = Min(count, FillSize);
    std::memset(fill, c, static_cast<std::size_t>(chunk));
    while (count > 0 && res == resDone) {
        const int n = Min(count, chunk);
        WriteBytes(fill, n);
        count -= n;
    }
}

void HFile::Write(const char* s) {
    if (res != resDone) return;
    if (!s) {
        res = resCallError;
        return;
    }
    const std::size_t n = std::strlen(s);
    if (n > INT_MAX) {
        res = resTooLong;
        return;
    }
    WriteBytes(s, static_cast<int>(n));
}

void HFile::WriteLn() {
    WriteBytes("\r\n", 2);
}

HFile& HFile::operator<<(int v) {
    char text[NumberTextSize];
    WriteBytes(text, NumberToText(text, std::int32_t{v}, base));
    return *this;
}

HFile& HFile::operator<<(unsigned int v) {
    char text[NumberTextSize];
    WriteBytes(text, NumberToText(text, std::uint32_t{v}, base));
    return *this;
}

HFile& HFile::operator<<(long v) {
    char text[NumberTextSize];
    WriteBytes(text, NumberToText(text, static_cast<LongValue>(v), base));
    return *this;
}

HFile& HFile::operator<<(unsigned long v) {
    char text[NumberTextSize];
    WriteBytes(text, NumberToText(text, static_cast<UnsignedLongValue>(v), base));
    return *this;
}

HFile& HFile::operator<<(long long v) {
    char text[NumberTextSize];
    WriteBytes(text, NumberToText(text, static_cast<std::int64_t>(v), base));
    return *this;
}

HFile& HFile::operator<<(unsigned long long v) {
    char text[NumberTextSize];
    WriteBytes(text, NumberToText(text, static_cast<std::uint64_t>(v), base));
    return *this;
}

int HFile::ReadLine(char* buf, int size) {
    if (res != resDone) return 0;
    if (!buf || size < 1) {
        res = resCallError;
        return 0;
    }
    int n = 0;
    for (;;) {
        unsigned char c = 0;
        ReadByte(c);
        if (res != resDone || eof || c == '\n') break;
        if (c == '\r') {
            ReadByte(c);
            const bool taken = res == resDone && !eof;
            if (!taken || c != '\n') StepBack(c, taken);
            break;
        }
        if (n < size - 1) buf[n++] = static_cast<char>(c);
    }
    buf[n] = '\0';
    return n;
}

// Puts the position after the CR again, after a look at what follows has `taken` the byte `ahead`, or nothing. As any
// seek that works, clears what the look has left in `res` and `eof`. By one byte from where it is, so that it is right
// also past what GetPos can tell.
void HFile::StepBack(unsigned char ahead, bool taken) {
    eof = false;
    if (platform::SeekFile(handle, taken ? -1 : 0, platform::Origin::Current) >= 0) {
        res = resDone;
    } else if (GetFileRes() != resNotSupported) {
        res = GetFileRes();
    } else if (taken) {
        heldBack = ahead;
    } // else a pipe has ended or failed: there is nothing to step back over, and `res` tells
}

int HFile::ReadTxt(char* buf, int size, std::int32_t from, std::int32_t count) {
    if (res != resDone) return 0;
    if (!buf || size < 1 || from < 0 || count < 0) {
        res = resCallError;
        return 0;
    }
    const std::int32_t length = Length();
    from = MinL(from, length);
    count = MinL(MinL(count, length - from), size - 1);
    SetPos(from);
    const int n = ReadBytes(buf, count);
    buf[n] = '\0';
    return n;
}
