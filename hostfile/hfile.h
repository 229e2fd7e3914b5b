/// @file
/// HFile: a thin object over one host file, and operations on file names and on the file system.
///
/// File names are NUL-terminated byte strings. Both '\' and '/' separate directories, anywhere and mixed; the
/// operations on strings write '\' by themselves, and a name that goes to the system has every '\' turned into the
/// system's separator. So whatever name the library makes opens the very file that it names. A buffer for a file name
/// holds 261 bytes, terminator included, unless an operation says otherwise. Null is allowed only where it is said so.
#pragma once

#include "../foundation/integer.h"
#include "../foundation/result.h"
#include "../platform/platform.h"

#include <climits>
#include <cstdint>

namespace vfile_internal {
class FileWriter;
}

/// One open file, pipe, socket or device: bytes at a position, typed values, text and lines, a sticky result code. The
/// static members take file names apart, put them together, and ask about and change the file system.
///
///     HFile f;                                   closed: handle is InvalidHandle, res is resDone
///     f.Create(name, false);                     open: res says whether it worked
///     f.WriteDWord(n); f << "done"; f.WriteLn(); a row of calls ...
///     if (GetFileRes(f) != resDone) ...          ... tested once: the first failure stops those after it
///     f.Close();
///
/// The object has no buffer and no copy of the position: each read, write and seek goes to the system, a seek with one
/// call more for the size, a write with one more that looks for a limit of file sizes (and with a few on a handle that
/// was given to the object). Positions and lengths are 32-bit signed. A larger file can
/// be read to its end and appended to, and GetPos and Length say 0x7FFFFFFF for whatever lies beyond; but a seek to
/// there, a write over bytes from there on, and Truncate give resTooLong and change nothing.
///
/// Results. While `res` is not resDone, all reads and writes do nothing. Opening, Close, Truncate, Flush and the seeks
/// work whatever `res` holds, and overwrite it. GetPos, Length and IsOpen leave it alone.
///
/// Sharing. All ways of opening but OpenSeqRead keep the file to this object alone as long as it is open, and fail with
/// resNoPermission where any other object, also one of this process, has the file open. OpenSeqRead shares with others
/// that only read. It is kept by advisory locks among the users of this library; pipes, devices and file systems
/// without locks are taken as they are. Handles are not passed on to programs that the host starts.
///
/// Ownership: the object owns its handle, also one given to it, and closes it in Close and in the destructor; nothing
/// else does. Threads: no lock and no test; one thread at a time uses an object, and the static members that work on
/// strings can be called from any thread. Failures are results; the only halts ("HFile") are those of GetTempDir and
/// CreateTempFile. A pipe or socket whose other end is gone gives a result, and so does a write past the process's
/// limit of file sizes (resDiskFull): never a signal. A descriptor that does not wait is waited for; a time limit that
/// the host has set for a socket gives resNetworkError.
class VFILE_API HFile {
  public:
    /// A closed object.
    HFile();

    /// An object open on `h`, which it now owns; `h` is not looked at. InvalidHandle gives a closed object.
    explicit HFile(FileHandle h);

    /// Closes the file if it is open.
    virtual ~HFile();

    HFile(const HFile&) = delete;
    HFile& operator=(const HFile&) = delete;

    /// @name Opening
    /// Each returns true if the object is now open on the file `name`, with `res` resDone and the position at 0. On an
    /// object that is open they do nothing but set resCallError and return false. Otherwise a failure leaves the object
    /// closed and its reason in `res`: resNotFound, resIllegalPath (a directory on the way is missing),
    /// resAlreadyExists, resNoPermission (also: a directory, or held by somebody else), resReadOnly, resDiskFull,
    /// resTooManyFiles, and what else the system tells. A refused opening changes nothing: a file is emptied only once
    /// it is held, and a new one is held before it gets its name. `eof` stays as it was. A new file has mode 0666 less
    /// the host's umask.
    /// @{
    bool Open(const char* name);                           ///< an existing file; read and write, random access
    bool OpenSeqRead(const char* name);                    ///< an existing file; read only, from front to back
    bool Create(const char* name, bool overwrite);         ///< a new file; read and write, random access. An existing
                                                           ///< one is emptied, or refused if `overwrite` is false.
    bool CreateSeqWrite(const char* name, bool overwrite); ///< as Create; write only, from front to back
    bool Lookup(const char* name, bool create);            ///< as Open; if `create`, a missing file is made
    /// @}

    /// Closes the file and sets `res` to resDone, whatever the system says to the closing. On a closed object:
    /// resCallError. Gives back the lock, also while a forked child has the file still open. In such a child the lock
    /// stays as long as the process lives that opened the file; after its end, the first Close gives it back.
    void Close();

    /// True if `handle` is not InvalidHandle.
    bool IsOpen() const;

    /// @name Bytes
    /// `count` 0 does nothing at all, and so does an error in `res`. Otherwise a negative `count` or a null `buf` gives
    /// resCallError, and so does a closed object.
    /// @{

    /// Reads up to `count` bytes at the position, by one read of the system; returns how many. `eof` says whether they
    /// were fewer, which is no error. After a failure `eof` is false.
    int ReadBytes(void* buf, int count);

    /// Writes `count` bytes at the position. If only some go out, these stay written and the position is after them.
    /// `res` is the reason of the failure, or resDiskFull where a device takes no more without one. `eof` stays as it
    /// was.
    void WriteBytes(const void* buf, int count);
    /// @}

    /// @name Position and length
    /// The seeks set `eof` to false in any case, and a seek that works sets `res` to resDone, so it clears an error.
    /// They give resCallError on a closed object, below position 0 and for an origin that is none; the position then
    /// stays. What can't seek (a pipe, a socket) gives resNotSupported. A position past the end goes to the end: the
    /// file never grows by a seek.
    /// @{
    std::int32_t GetPos() const;                  ///< the position; 0 on a closed object and where there is none
    void SetPos(std::int32_t pos);                ///< to `pos`, from the start
    void SetPos(std::int32_t offset, int origin); ///< from the start (0), the position (1) or the end (2)
    void Reset();                                 ///< SetPos(0)
    std::int32_t Length() const;                  ///< the size in bytes; 0 on a closed object, a pipe, a device
    void Truncate();                              ///< makes the position the end of the file; sets `res`
    void Flush();                                 ///< hands all data of the file to the device; sets `res`
    /// @}

    /// @name Reading values
    /// Each is one ReadBytes of the value's width, low byte first. After a short read, the bytes of the argument that
    /// were not read keep what they held. There is a member for each standard integer type, by its own width.
    /// @{

    /// Reads one value of the width that the name tells.
    void ReadWord(unsigned short& v);
    void ReadDWord(unsigned int& v);
    void ReadQWord(unsigned long long& v);
    VFILE_LOCAL void ReadWord(short& v) { ReadWord(reinterpret_cast<unsigned short&>(v)); }
    VFILE_LOCAL void ReadDWord(int& v) { ReadDWord(reinterpret_cast<unsigned int&>(v)); }
    VFILE_LOCAL void ReadQWord(long long& v) { ReadQWord(reinterpret_cast<unsigned long long&>(v)); }
    VFILE_LOCAL void ReadByte(unsigned char& v) { ReadBytes(&v, 1); }
    VFILE_LOCAL void ReadChar(char& v) { ReadBytes(&v, 1); }
    VFILE_LOCAL void ReadChar(signed char& v) { ReadBytes(&v, 1); }
    VFILE_LOCAL void ReadChar(unsigned char& v) { ReadBytes(&v, 1); }
    VFILE_LOCAL HFile& operator>>(char& v) {
        ReadChar(v);
        return *this;
    }
    VFILE_LOCAL HFile& operator>>(signed char& v) {
        ReadChar(v);
        return *this;
    }
    VFILE_LOCAL HFile& operator>>(unsigned char& v) {
        ReadChar(v);
        return *this;
    }
    /// @}

    /// @name Writing values
    /// Each is one WriteBytes of 1, 2, 4 or 8 bytes, low byte first. An integer of any type can be given
    /// to the wider three; its low bytes are written, a narrower one widened with its sign first.
    /// @{

    /// Writes one value in the width that the name tells.
    void WriteWord(vfile_internal::LowBytes<unsigned short> v);
    void WriteDWord(vfile_internal::LowBytes<unsigned int> v);
    void WriteQWord(vfile_internal::LowBytes<unsigned long long> v);
    VFILE_LOCAL void WriteByte(unsigned char v) { WriteBytes(&v, 1); }
    VFILE_LOCAL void WriteChar(char v) { WriteBytes(&v, 1); }
    VFILE_LOCAL void WriteChar(signed char v) { WriteBytes(&v, 1); }
    VFILE_LOCAL void WriteChar(unsigned char v) { WriteBytes(&v, 1); }
    /// @}

    /// @name Writing text
    /// @{

    /// Writes `c` `count` times, in pieces of 1024 bytes; stops at the first that fails. A `count` below 1 does
    /// nothing.
    void Write(char c, int count);
    VFILE_LOCAL void Write(signed char c, int count) { Write(static_cast<char>(c), count); }
    VFILE_LOCAL void Write(unsigned char c, int count) { Write(static_cast<char>(c), count); }

    /// Writes the bytes of `s` without its terminator, by one WriteBytes. Null gives resCallError, a string of more
    /// than 0x7FFFFFFF bytes resTooLong; neither writes anything.
    void Write(const char* s);

    /// Writes the line end, CR LF.
    void WriteLn();

    /// Write(s).
    VFILE_LOCAL HFile& operator<<(const char* s) {
        Write(s);
        return *this;
    }

    /// The one byte, raw, for all three character types.
    VFILE_LOCAL HFile& operator<<(char v) {
        WriteChar(v);
        return *this;
    }
    VFILE_LOCAL HFile& operator<<(signed char v) { ///< the same
        WriteChar(v);
        return *this;
    }
    VFILE_LOCAL HFile& operator<<(unsigned char v) { ///< the same
        WriteChar(v);
        return *this;
    }

    /// The number as text with the radix `base`, by one WriteBytes: no padding, no plus sign, lower-case letters. A
    /// negative number carries a minus sign in radix 10; in any other it is written by its bits, 32 of them for types
    /// up to that width, else 64. A `base` outside 2 to 36 counts as 10. No heap is used.
    VFILE_LOCAL HFile& operator<<(short v) { return *this << int{v}; }
    VFILE_LOCAL HFile& operator<<(unsigned short v) { return *this << static_cast<unsigned int>(v); } ///< the same
    HFile& operator<<(int v);                                                                         ///< the same
    HFile& operator<<(unsigned int v);                                                                ///< the same
    HFile& operator<<(long v);                                                                        ///< the same
    HFile& operator<<(unsigned long v);                                                               ///< the same
    HFile& operator<<(long long v);                                                                   ///< the same
    HFile& operator<<(unsigned long long v);                                                          ///< the same
    /// @}

    /// @name Reading a long
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

    /// @name Reading text
    /// `size` is that of `buf` in bytes, terminator included; the number returned leaves the terminator out. While
    /// `res` is set, both return 0 and leave `buf` alone. A null `buf` or a `size` below 1 gives resCallError. On every
    /// other way `buf` is terminated, also after a failure: what had been stored by then is returned.
    /// @{

    /// Reads a line, which ends at CR LF, CR, LF, or the end of the file, and stores it without its line end; what does
    /// not fit is read and dropped. Afterwards the position is exactly the start of the next line. `eof` is true if the
    /// end of the file came before any line end. One read of the system per byte.
    ///
    /// After a CR one byte more is looked at. Where the file can't seek back (a pipe), a byte of the next line is kept
    /// in the object. It is the first that the next read delivers, whichever operation reads through the object, and
    /// with it comes what can be had without waiting; who reads the pipe past the object misses it.
    int ReadLine(char* buf, int size);

    /// Reads `count` bytes from position `from` on, cut to what the file has and to what `buf` takes, whatever the
    /// position was; it then stands after them. A `from` or `count` below 0 gives resCallError. `eof` is false.
    int ReadTxt(char* buf, int size, std::int32_t from, std::int32_t count);
    /// @}

    /// Puts a result into words, as ::GetTextResMsg does, but resHeapOverflow reads "heap overflow".
    static void GetResMsg(char* buf, unsigned int size, Res code);

    /// @name File names
    /// Work on the strings alone. A name has four parts, side by side: drive (the first two characters if the second is
    /// a colon, else nothing), dir (after it, up to and including the last separator), fname (up to the last dot
    /// after dir), ext (from that dot on). So "C:\a.b\c.d.txt" is "C:", "\a.b\", "c.d", ".txt"; a name that ends in a
    /// separator has neither fname nor ext, and ".profile" is all ext.
    /// @{

    /// True for '\' and '/'.
    static bool IsDirSep(char c);

    /// True if the names are equal but for the case of letters, byte for byte: '\' and '/' differ here, and so do a
    /// relative and an absolute name of one file. That two names are equal does not mean that the system, which tells
    /// case apart, takes them for one.
    static bool EqualName(const char* a, const char* b);

    /// Puts the parts together. A null or empty part is left out; a drive gets a colon after it, a dir a '\', and an
    /// ext a dot in front, where they lack it. A name of more than 259 characters is cut there,
    /// so `path` never takes more than 260 bytes. `path` must be none of the parts.
    static void BuildName(char* path, const char* drive, const char* dir, const char* fname, const char* ext);

    /// `path` = `dir` directly followed by `name`, of any length: no separator is put in between. The caller sees to it
    /// that `path` has room for both. `path` may be `dir`.
    static void BuildName(char* path, const char* dir, const char* name);

    /// Takes `path` apart. An output that is null is not wanted. A part of more than 255 characters is cut there, so
    /// that 256 bytes (3 for the drive) serve for any name. An output may be the buffer of `path`.
    static void SplitName(char* drive, char* dir, char* fname, char* ext, const char* path);

    /// `dir` = drive and dir, `name` = fname and ext of `path`, each cut at 260 characters, so that 261 bytes serve for
    /// any name. For names within that, BuildName(path, dir, name) gives `path` back. An output may be the buffer of
    /// `path`.
    static void SplitName(char* dir, char* name, const char* path);

    /// Makes `dir` end in a separator: puts a '\' after it, unless it is empty, ends in one already, or a buffer of
    /// `size` bytes has no room for it.
    static void CondAppendDirSep(char* dir, int size);

    /// The full path of the file `name`, which must exist, be no directory, and be open to this process for reading;
    /// else, or if the path has more than 127 characters or contains a '\' that is no separator, `name` unchanged. A
    /// relative name is looked up in the current directory. Directories on the way are resolved as the system does, and
    /// need be open for searching only; the last component stays as it was given, so a link is not replaced by what it
    /// points at. The path has the system's own separators. The file is asked for its permissions and not opened, so
    /// nothing waits, and record locks of the host stay. Whether somebody holds the file does not matter. `full` has
    /// 261 bytes, or more if `name` has, and may be the buffer of `name`.
    static void GetFullName(char* full, const char* name);
    /// @}

    /// @name File system
    /// The forms with `reason` store there what came out, resDone or the reason; the others return the same bool alone.
    /// @{

    /// True if there is a file, directory or anything else of this name. A link counts as what it points at. Null is
    /// allowed, and gives false.
    static bool Exists(const char* name);

    /// True if `name` is a directory; false for anything else, also for what does not exist.
    static bool IsDirectory(const char* name);

    /// True if the owner of `name` has no permission to write it; false if nothing bears that name.
    static bool IsReadOnly(const char* name);

    /// Takes the owner's permission to write away, or gives it; all others stay. True if the file now is, or already
    /// was, as asked; false if it could not be changed or does not exist.
    static bool SetReadOnly(const char* name, bool on);

    /// Makes `to` a copy of the ordinary file `from`: content, holes, permission bits and time of the last change. An
    /// existing `to` is replaced if `overwrite`, else refused with resAlreadyExists. It is replaced all at once when
    /// the copy is complete: on any failure it is as it was before, or absent, and nothing is left beside it. The copy
    /// is a new file of the caller in the directory of `to`; other names of a replaced file keep its old content. If
    /// `to` is a link, the file that it points at is replaced. resNoPermission if somebody holds `from` alone or has
    /// `to` open, if `to` may not be written or is a directory, and for a copy of a file onto itself under whatever
    /// name. A `to` that ends in a separator, and is no directory, is resIllegalPath.
    ///
    /// In place. An existing `to` is written over where its directory takes no new file or does not let this one be
    /// exchanged (no permission, sticky, another file mounted at this name). It keeps its owner, its other names, and
    /// of its permissions those that `from` gives, too; and a failure can leave a part of the copy in it. A device, a
    /// pipe with a reader (without one: resDeviceOff) and an open file of this process (/dev/stdout, /proc/self/fd/N)
    /// are written as they are, the last from its position on.
    ///
    /// Access. Nobody gets more than he has by the permissions of `from`, its access control list included, and no more
    /// than the umask leaves: what the list gives to others than owner and group is not copied, and in a group of its
    /// own the copy gives it what both the group and all others had. A file of somebody else that would be written in
    /// place, and may be read by more than `from`, is resNoPermission.
    ///
    /// Both files are opened and closed again. By the rules of the system, the process loses all record locks (fcntl)
    /// that it has on them.
    static bool Copy(const char* from, const char* to, int& reason, bool overwrite);
    static bool Copy(const char* from, const char* to, bool overwrite); ///< the same, without the reason

    /// Gives a file or directory another name. An existing `to` is refused with resAlreadyExists, also one that comes
    /// up at that moment, and `from` itself. Whoever has the file open keeps it under its new name. To another file
    /// system, a link moves as a link, and an ordinary file as a copy that is whole or absent, and on the disk before
    /// the old file goes. It keeps its permissions, its access control list and its other attributes, and its owner,
    /// as far as the process may give them, and gives nobody more access otherwise. resNoPermission for anything else,
    /// for a file that somebody holds alone, and if `from` is written to or comes to mean another file meanwhile: that
    /// one stays, and the copy goes again. To be copied, a file is opened and closed, as by Copy.
    static bool Rename(const char* from, const char* to, int& reason);
    static bool Rename(const char* from, const char* to); ///< the same, without the reason

    /// Gives a file or directory another name, in place of what has that: in one step, so that at any time `to` is the
    /// one or the other. A link at `to` is replaced and not followed. What had the name keeps its content for those who
    /// have it open, whether alone or not; a file can't replace a directory (resNoPermission), nor a directory what is
    /// none (resUnknownPath) or is not empty. Two names of one file both stay. resNotSupported on another file system.
    /// The content is not flushed to the device: see Flush and FlushDirectory, and HFileSave for all of it together.
    static bool ReplaceName(const char* from, const char* to, int& reason);
    static bool ReplaceName(const char* from, const char* to); ///< the same, without the reason

    /// Hands the names in the directory `dir` (empty: the current one) to the device: those that were made, changed or
    /// removed there before are so after a power failure, too. True also where the file system can't do that.
    /// resIllegalPath: no such directory.
    static bool FlushDirectory(const char* dir, int& reason);
    static bool FlushDirectory(const char* dir); ///< the same, without the reason

    /// Removes a file or a link, not a directory (resNoPermission). The permissions of the directory decide, so a file
    /// that is read only is removed as well. Whoever has the file open, alone or not, keeps its content.
    static bool Remove(const char* name, int& reason);
    static bool Remove(const char* name); ///< the same, without the reason
    /// @}

    /// @name Backups and temporary files
    /// @{

    /// Turns the extension in `ext`, with or without its dot, into the next of the series .~ .~1 ... .~9 .~10 ... .~99,
    /// in place; false, and `ext` unchanged, after the last. Other extensions enter the series: "" and ".a" give ".~",
    /// ".txt" gives ".~xt", then ".~1t". Looks at the string only, not at files. `ext` needs two bytes more than its
    /// text, and at least 5.
    static bool GetNextBackupExt(char* ext);

    /// Stores the directory for temporary files, ending in a separator: the environment variable TMP, else TEMP, else
    /// TMPDIR, else /var/tmp, each if it names a directory in which the process may make files and that has room in
    /// `size` bytes; else /tmp, untested and cut to that. Halts if `dir` is null or `size` is below 1.
    static void GetTempDir(char* dir, int size);

    /// Makes a new file that nobody else has, mode 0600, and opens it in `file` as Create does, or as CreateSeqWrite if
    /// `seqWrite`. `name` gets its name: `dir` (null: GetTempDir; empty: the current directory), `prefix` (null: "~hf";
    /// cut at 63), a number, and `ext` with or without its dot (null: ".tmp"; empty: none; cut at 63 with the dot).
    /// Numbers below 100000000 are tried in turn from the system's clock on until a name is free. Returns false, with
    /// `file` closed, the reason in its `res` and the last name tried in `name`, if all are taken, and at once if a
    /// failure is none that another number mends (no such directory, no permission, a full disk). A `dir` that has more
    /// than 260 characters with the separator at its end is refused with resIllegalName, and `name` is empty. The
    /// caller closes and removes the file. `name` needs up to 396 bytes. Halts if `file` is open or `name` is null.
    static bool CreateTempFile(HFile& file, char* name, const char* prefix, const char* ext, const char* dir,
                               bool seqWrite);
    /// @}

    Res res;  ///< what came out last; see above
    bool eof; ///< the last read that was accepted returned fewer bytes than it was asked for, and no seek followed
    std::int32_t base; ///< radix of number output, at first 10; no operation changes it
    FileHandle handle; ///< the open file, or InvalidHandle

  private:
    friend class vfile_internal::FileWriter; // writes many blocks of a VFile at once

    void Init();
    bool MayOpen();
    bool Opened(FileHandle h);
    bool CreatePrivate(const char* name, bool seqWrite);
    void SetPosChecked(std::int64_t pos);
    std::int32_t Put(const void* buf, int count);
    bool MayWrite(int count);
    void StepBack(unsigned char ahead, bool taken);
    static Res GetFileRes();

    std::int64_t farthest; // the position is not beyond this, unless it was moved past the object
    int heldBack; // a byte that ReadLine has read too far where it can't seek, delivered by the next read; else -1
};

/// The result of a host file: its `res` if that is 0 to 24, else resNotDone.
VFILE_API Res GetFileRes(const HFile& file);
