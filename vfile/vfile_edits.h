/// @file
/// VFileEdits: the edits, typed reads and stream operators of a VFile, each one call of a virtual operation.
#pragma once

#include "../foundation/integer.h"
#include "../platform/platform.h"
#include "vfile_flags.h"

#include <climits>
#include <cstdint>

class HFile;
class VFile;

/// What every VFile offers beside its virtual operations: the same changes and reads at the place and in the form that
/// a caller most often wants. Only VFile derives from it, and adds nothing to its size; a host uses the members as
/// those of its VFile.
class VFILE_API VFileEdits {
  public:
    /// @name Five families of edits over ten sources
    ///
    /// The first word of a name tells where the new bytes go and what gives way to them:
    ///
    ///     family    at       what gives way                        pos afterwards
    ///     Insert    pos      nothing                               after the new bytes
    ///     Replace   pos      as many bytes as come in              after the new bytes
    ///     Write     pos      nothing if vfInsert is on, else       after the new bytes
    ///                        as many bytes as come in
    ///     Append    the end  nothing                               the new end
    ///     Prepend   0        nothing                               after the new bytes
    ///
    /// The rest of the name and the arguments tell the source:
    ///
    ///     ...Byte(b)                 one byte
    ///     ...Bytes(bytes, n)         n bytes of memory; null is taken if n is 0
    ///     ...Word(v)                 2 bytes: a 16-bit value
    ///     ...DWord(v)                4 bytes: a 32-bit value
    ///     ...QWord(v)                8 bytes: a 64-bit value
    ///     ...(c, n)                  the character c, n times
    ///     ...(s)                     the bytes of a string, without its terminator
    ///     ...(src, from, count)      `count` bytes of another object, or of this one, from position `from` on; both
    ///                                are cut to what `src` has. MaxLen as count: to its end. `src` stays as it is.
    ///     ...(h, count), (f, count)  `count` bytes of an open host file, from where it stands. MaxLen: all it has.
    ///
    /// Values are stored least significant byte first on every machine. The members of fixed width take every standard
    /// integer type and store the low bytes of their own width, a narrower value widened by its sign, so that a `long`
    /// or a plain constant never needs a cast.
    ///
    /// Bytes that give way are those after the place, as far as there are any: at the end an overwrite appends. What
    /// stands after them keeps its bytes, and moves if the length changes. An edit that adds and takes away nothing
    /// still sets `pos`.
    ///
    /// Each edit is one call of ReplaceBuf, ReplaceCh (the repeated character), ReplaceTxt (another object) or
    /// ReplaceFile (host files) through the virtual table, and ends as that call ends: `res` and `eof` are cleared, or
    /// `res` says why nothing was changed. The codes are those of the four operations: resCallError for a negative
    /// count or position, null bytes or a closed file, resContextError, resReadOnly, resTooLong, resHeapOverflow,
    /// resNotDone for a file that holds less than `count`, or what PreChange returned. While `res` is set no edit does
    /// anything. A string must not be null; one longer than MaxLen is a negative count. Halts ("VFile") on any thread
    /// but the owner's, and for a source that belongs to another thread.
    ///
    /// Cost: one virtual call, and nothing allocated beyond what the change itself needs.
    /// @{

    using Word = vfile_internal::LowBytes<unsigned short>;      ///< 2 bytes, from an integer of any type
    using DWord = vfile_internal::LowBytes<unsigned int>;       ///< 4 bytes
    using QWord = vfile_internal::LowBytes<unsigned long long>; ///< 8 bytes

    /// One edit: the first word of the name tells where, the rest of it what comes in.
    void InsertByte(unsigned char b);
    void InsertBytes(const void* bytes, int n);
    void InsertWord(Word v);
    void InsertDWord(DWord v);
    void InsertQWord(QWord v);
    void Insert(char c, int n);
    void Insert(const char* s);
    void Insert(const VFile& src, std::int32_t from, std::int32_t count);
    void Insert(FileHandle h, std::int32_t count);
    void Insert(HFile& f, std::int32_t count);

    void ReplaceByte(unsigned char b);
    void ReplaceBytes(const void* bytes, int n);
    void ReplaceWord(Word v);
    void ReplaceDWord(DWord v);
    void ReplaceQWord(QWord v);
    void Replace(char c, int n);
    void Replace(const char* s);
    void Replace(const VFile& src, std::int32_t from, std::int32_t count);
    void Replace(FileHandle h, std::int32_t count);
    void Replace(HFile& f, std::int32_t count);

    void WriteByte(unsigned char b);
    void WriteBytes(const void* bytes, int n);
    void WriteWord(Word v);
    void WriteDWord(DWord v);
    void WriteQWord(QWord v);
    void Write(char c, int n);
    void Write(const char* s);
    void Write(const VFile& src, std::int32_t from, std::int32_t count);
    void Write(FileHandle h, std::int32_t count);
    void Write(HFile& f, std::int32_t count);

    void AppendByte(unsigned char b);
    void AppendBytes(const void* bytes, int n);
    void AppendWord(Word v);
    void AppendDWord(DWord v);
    void AppendQWord(QWord v);
    void Append(char c, int n);
    void Append(const char* s);
    void Append(const VFile& src, std::int32_t from, std::int32_t count);
    void Append(FileHandle h, std::int32_t count);
    void Append(HFile& f, std::int32_t count);

    void PrependByte(unsigned char b);
    void PrependBytes(const void* bytes, int n);
    void PrependWord(Word v);
    void PrependDWord(DWord v);
    void PrependQWord(QWord v);
    void Prepend(char c, int n);
    void Prepend(const char* s);
    void Prepend(const VFile& src, std::int32_t from, std::int32_t count);
    void Prepend(FileHandle h, std::int32_t count);
    void Prepend(HFile& f, std::int32_t count);
    /// @}

    /// @name The same members for the other types of their argument
    /// @{

    /// The edit of the same name.
    VFILE_LOCAL void Insert(signed char c, int n) { Insert(static_cast<char>(c), n); }
    VFILE_LOCAL void Insert(unsigned char c, int n) { Insert(static_cast<char>(c), n); }
    VFILE_LOCAL void Replace(signed char c, int n) { Replace(static_cast<char>(c), n); }
    VFILE_LOCAL void Replace(unsigned char c, int n) { Replace(static_cast<char>(c), n); }
    VFILE_LOCAL void Write(signed char c, int n) { Write(static_cast<char>(c), n); }
    VFILE_LOCAL void Write(unsigned char c, int n) { Write(static_cast<char>(c), n); }
    VFILE_LOCAL void Append(signed char c, int n) { Append(static_cast<char>(c), n); }
    VFILE_LOCAL void Append(unsigned char c, int n) { Append(static_cast<char>(c), n); }
    VFILE_LOCAL void Prepend(signed char c, int n) { Prepend(static_cast<char>(c), n); }
    VFILE_LOCAL void Prepend(unsigned char c, int n) { Prepend(static_cast<char>(c), n); }
    /// @}

    /// Another name of Write(h, count).
    void ReadFromFile(FileHandle h, std::int32_t count);

    /// Another name of Write(f, count).
    void ReadFromFile(HFile& f, std::int32_t count);

    /// Takes `count` bytes from position `from` on out of the content, as far as there are any. Leaves `pos` at `from`,
    /// cut to the old length.
    void Delete(std::int32_t from, std::int32_t count);

    /// Takes out all that stands after `pos`, which becomes the end.
    void Truncate();

    /// @name Typed reads
    ///
    /// They read at `pos` and go on after what they have read (ReadPrevChar: reads the byte before `pos` and goes back
    /// over it). A read that gets all it wants clears `eof`; one that runs out of bytes sets it. They don't look at
    /// `res` and have no thread test of their own. Each is one call of ReadByte, ReadPrevByte or ReadBytes through the
    /// virtual table.
    /// @{

    /// The next byte; 0 with `eof` at the end.
    void ReadChar(unsigned char& c);
    VFILE_LOCAL void ReadChar(char& c) { ReadChar(reinterpret_cast<unsigned char&>(c)); }        ///< the same
    VFILE_LOCAL void ReadChar(signed char& c) { ReadChar(reinterpret_cast<unsigned char&>(c)); } ///< the same

    /// The byte before `pos`; 0 with `eof` at the start.
    void ReadPrevChar(unsigned char& c);
    VFILE_LOCAL void ReadPrevChar(char& c) { ReadPrevChar(reinterpret_cast<unsigned char&>(c)); }        ///< the same
    VFILE_LOCAL void ReadPrevChar(signed char& c) { ReadPrevChar(reinterpret_cast<unsigned char&>(c)); } ///< the same

    /// 2 bytes, least significant first. With fewer left, the bytes there are become the low ones of `v`, its other
    /// bytes stay as they were, `pos` goes to the end and `eof` is set; so for the two below.
    void ReadWord(unsigned short& v);
    VFILE_LOCAL void ReadWord(short& v) { ReadWord(reinterpret_cast<unsigned short&>(v)); } ///< 2 bytes

    /// 4 bytes.
    void ReadDWord(unsigned int& v);
    VFILE_LOCAL void ReadDWord(int& v) { ReadDWord(reinterpret_cast<unsigned int&>(v)); } ///< 4 bytes

    /// 8 bytes.
    void ReadQWord(unsigned long long& v);
    VFILE_LOCAL void ReadQWord(long long& v) { ReadQWord(reinterpret_cast<unsigned long long&>(v)); } ///< 8 bytes

    /// One character, with a line end of any form (CR LF, CR, LF) given as a single LF. Returns the number of bytes
    /// consumed: 2 for CR LF, 1 for any other character, 0 at the end, where `c` is 0 and `eof` is set. A lone CR as
    /// the last byte leaves `eof` clear. Halts on a wrong thread only where it has to look after a lone CR and return.
    std::int32_t Read(unsigned char& c);
    VFILE_LOCAL std::int32_t Read(char& c) { return Read(reinterpret_cast<unsigned char&>(c)); }        ///< the same
    VFILE_LOCAL std::int32_t Read(signed char& c) { return Read(reinterpret_cast<unsigned char&>(c)); } ///< the same
    /// @}

    /// @name Adding to the end
    /// Append under another name; the byte itself, a string, the whole of `src` wherever its `pos` is.
    /// @{
    VFile& operator+=(char c); ///< adds it, and returns the object
    VFILE_LOCAL VFile& operator+=(signed char c) { return *this += static_cast<char>(c); }
    VFILE_LOCAL VFile& operator+=(unsigned char c) { return *this += static_cast<char>(c); }
    VFile& operator+=(const char* s);
    VFile& operator+=(const VFile& src);
    /// @}

    /// @name Output at the position
    /// Write under another name: inserts if vfInsert is on, overwrites if it is off. A character is the byte itself,
    /// not a number; of `src` the whole is written, wherever its `pos` is, and nothing of it changes.
    /// @{
    VFile& operator<<(char c); ///< writes it, and returns the object
    VFILE_LOCAL VFile& operator<<(signed char c) { return *this << static_cast<char>(c); }
    VFILE_LOCAL VFile& operator<<(unsigned char c) { return *this << static_cast<char>(c); }
    VFile& operator<<(const char* s);
    VFile& operator<<(const VFile& src);
    /// @}

    /// @name Output of numbers
    /// The number as text in the radix `base`, without blanks or leading zeros; overwriting, as many bytes as it has
    /// digits. In radix 10 a negative number has a minus sign; in any other radix it shows as the unsigned number with
    /// the same bits, 32 bits wide for types up to 32 bits (a `short` of -1 is ffffffff in radix 16), else 64. Digits
    /// above 9 are lower-case letters. `base` is 10 unless the host sets it; anything but 2 to 36 counts as 10.
    /// @{
    VFile& operator<<(int v); ///< writes its digits, and returns the object
    VFile& operator<<(unsigned int v);
    VFile& operator<<(long long v);
    VFile& operator<<(unsigned long long v);
    VFILE_LOCAL VFile& operator<<(short v) { return *this << static_cast<int>(v); }
    VFILE_LOCAL VFile& operator<<(unsigned short v) { return *this << static_cast<unsigned int>(v); }
    VFILE_LOCAL VFile& operator<<(long v) {
        return sizeof v == sizeof(int) ? *this << static_cast<int>(v) : *this << static_cast<long long>(v);
    }
    VFILE_LOCAL VFile& operator<<(unsigned long v) {
        return sizeof v == sizeof(int) ? *this << static_cast<unsigned int>(v)
                                       : *this << static_cast<unsigned long long>(v);
    }
    /// @}

    /// @name Input at the position
    /// @{

    /// ReadByte under another name: line ends are not folded, 0 with `eof` at the end.
    VFile& operator>>(unsigned char& c);
    VFILE_LOCAL VFile& operator>>(char& c) { return *this >> reinterpret_cast<unsigned char&>(c); }        ///< the same
    VFILE_LOCAL VFile& operator>>(signed char& c) { return *this >> reinterpret_cast<unsigned char&>(c); } ///< the same

    /// Gives what stands from `pos` on to `dst`, whose content it replaces; `pos` goes to the end here, and to the new
    /// end in `dst`. If `dst` refuses, its code is copied into `res` and `pos` stays.
    VFile& operator>>(VFile& dst);
    /// @}

    /// @name Typed reads of a long
    /// The types whose width differs from system to system, read by the member of their width.
    /// @{

    /// As for the other types of this width.
#if ULONG_MAX == 0xFFFFFFFF
    void ReadDWord(long& v);
    void ReadDWord(unsigned long& v);
#else
    void ReadQWord(long& v);
    void ReadQWord(unsigned long& v);
#endif
    /// @}

  protected:
    /// @name Only as part of a VFile
    /// @{
    VFileEdits() = default;                             ///< Holds nothing.
    VFileEdits(const VFileEdits&) = default;            ///< Copies nothing.
    VFileEdits& operator=(const VFileEdits&) = default; ///< Copies nothing.
    ~VFileEdits() = default;                            ///< Frees nothing.
                                                        /// @}

  private:
    VFILE_LOCAL VFile& Self();
};
