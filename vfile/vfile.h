/// @file
/// VFile: an editable sequence of bytes that behaves like a file and may grow far past what the host keeps in RAM.
#pragma once

#include "foundation/result.h"
#include "platform/platform.h"

#include <climits>
#include <cstdint>

class HFile;
class VMem;

namespace vfile_internal {
class BlkIndex;
class Folding;
class Scan;
class VFileCheck;
} // namespace vfile_internal

namespace platform {
void OnForkedChild();
}

/// Bytes of a block, and of the VMem page that holds it.
constexpr int BlkSize = 1024;

/// As an old length: as many old bytes as the new run has, an overwrite.
constexpr std::int32_t SameLen = INT32_MIN;

/// The limit of a length. As an old length or a source length it reaches to the end; as a count of bytes from a file it
/// means all that the file has.
constexpr std::int32_t MaxLen = INT32_MAX;

/// @name Flags of a VFile
/// The bits 0x004, 0x010 and 0x040 are the host's: the flag operations change them as the others, and nothing here
/// reads them. No operation changes vfLocked or clears vfHasEol; a derived class does, in its field `flags`.
/// @{
constexpr int vfInsert = 0x001;        ///< The Write family inserts; off, it overwrites.
constexpr int vfReadOnly = 0x002;      ///< Changes of the content are refused with resReadOnly.
constexpr int vfModified = 0x008;      ///< The content has changed since a caller last cleared this bit.
constexpr int vfTrackModified = 0x020; ///< Each change sets vfModified.
constexpr int vfNoEolCheck = 0x080;    ///< New bytes are not looked through for line ends, whatever vfEolCheck says.
constexpr int vfEolCheck = 0x100; ///< New bytes that come from memory are looked through for line ends (if Type() > 0).
constexpr int vfLocked = 0x200;   ///< Changes of content and flags are refused with resContextError.
constexpr int vfHasEol = 0x400;   ///< Bytes with a CR or LF have been found by the look through.
constexpr int vfToggleMask = 0x1FF; ///< The bits that the flag operations can change.
/// @}

// One block of a VFile's chain. Internal.
struct BlkDesc {
    BlkDesc* prev;    // previous block, NIL at the first
    BlkDesc* next;    // next block, NIL at the last
    std::int16_t len; // bytes in use, from the block's first byte on
    std::int32_t adr; // VMem address of the block's page, -1 if it has none
};

// A reading cursor over a chain. Internal.
struct BlkRdr {
    BlkDesc* ptr;       // the block
    std::int32_t start; // position of its first byte in the content
    std::int16_t ix;    // index in the block, 0 to ptr->len
};

/// VFile: an editable sequence of bytes with a length, a position, reads that move the position, and changes at any
/// place that cost about the size of the change and not of the content. The content is a chain of blocks, each in one
/// page of the thread's VMem, so that the cache of VMem alone decides how much of it stays in RAM.
///
///     first -> {len 1024, adr 0} <-> {len 310, adr 5120} <-> {len 1024, adr 2048} <- last      len = 2358
///                                     cur.start 1024, cur.ix 17: pos = 1041
///
/// True between any two operations of a live object:
///
///  - B1 `next` from first and `prev` from last visit the same blocks; both ends are NIL.
///  - B2 The blocks' `len` add up to `len`; each is 1 to 1024, or 0 if the block is alone.
///  - B3 A block that holds bytes has a page, and no two blocks have the same one.
///  - B4 cur.ptr is in the chain, cur.start is the sum before it, cur.ix is 0 to cur.ptr->len, pos = cur.start +
///  cur.ix.
///  - B5 bufDirty implies bufLoaded implies buf. While bufLoaded, buf is right for cur.ptr and VMem may lag, there
///  only.
///
/// **Results.** A failed operation leaves its code in `res`, and while that is not resDone, changes, flag changes and
/// transfers of files do nothing: a row of calls can be tested once at its end. A successful SetPos clears it, and so
/// does every successful change, which ends in one. So do the operations that begin by going to a position: Find,
/// FindBack, ReplaceGlobal, the queries for lines, Load and Save. An error from before is lost there, so a row of calls
/// is tested before one of these. Reads don't look at `res`. `eof` tells whether the last read ran out.
///
/// **Positions** count bytes from 0. One beyond the end counts as the end, a negative one is a call error.
///
/// **Deriving.** All internal use of the virtual operations goes through the object's table, so that a derived class
/// sees every step; only constructors call their filling operation directly. The hooks PreChange, PostChange and
/// PostChangeFlag are called for every change. A derived class may use `pos`, `len`, `flags` and `type`.
///
/// **Ownership.** The object owns its blocks and their pages, and one buffer of 1024 bytes. **Threads:** it belongs for
/// life to the thread that made it, and must be destroyed there before the thread ends. SetPos, Flush, the destructor,
/// flag changes, changes of content, searches, line queries, comparisons and transfers of files halt ("VFile",
/// assertion) on any other thread, plain queries and reads only where they reach VMem. A forked child is another thread
/// to every object, and may have objects of its own: those of the parent it must leave alone, so that a child of a
/// parent with static or thread_local objects ends through _exit, since exit would destroy them.
/// **Failures** beside result codes are halts: no memory for a descriptor, and whatever stops VMem.
/// **Cost.** A position a few blocks away is walked to, any other found through an index over the chain, in the time of
/// a few cache misses; a change moves bytes in at most three blocks; bytes in the current block cost no call of VMem. A
/// block takes up to 64 bytes of RAM beside its page, and one buffer of 1024 bytes serves the object.
class VFILE_API VFile {
  public:
    /// An empty object. The first one of a thread makes the thread's VMem. Halts if the heap has no room, or if the
    /// thread is older than the library and has not called VFile_InitializeThread.
    VFile();

    /// @name Filled objects
    /// The default constructor and one change, by the operation of the class itself: an object of a derived class is
    /// not yet one when it runs. The position is the end; `res` tells whether the filling failed, and the object then
    /// is empty.
    /// @{
    VFile(char c, int n);                ///< ReplaceCh: the character, `n` times.
    VFile(signed char c, int n);         ///< The same.
    VFile(unsigned char c, int n);       ///< The same.
    VFile(const char* s);                ///< ReplaceBuf: a string without its terminator. Must not be NIL.
    VFile(FileHandle h, std::int32_t n); ///< ReplaceFile: `n` bytes of an open handle; MaxLen: all it has.
    VFile(HFile& f, std::int32_t n);     ///< ReplaceFile: the same of an open host file.
    /// ReplaceTxt: `n` bytes of `src` from `start` on, both cut to what it has; so also the copy constructor.
    VFile(const VFile& src, std::int32_t start = 0, std::int32_t n = MaxLen);
    /// @}

    /// The content goes with the object; nothing is written anywhere. The last object of a thread takes the thread's
    /// VMem and its swap file with it. Halts on any thread but the object's own.
    virtual ~VFile();

    /// @name Position and reads
    /// @{

    /// Goes to `p`, or to the end if that lies before it, and clears `res` and `eof`. A negative `p` sets `res` to
    /// resCallError and changes nothing else.
    virtual void SetPos(std::int32_t p);

    /// Reads the byte at the position into `b` and moves behind it; `eof` becomes false. At the end `b` becomes 0 and
    /// `eof` true. Never touches `res`. Runs from the block buffer; without memory for that, byte by byte from VMem.
    virtual void ReadByte(unsigned char& b);

    /// Reads the byte before the position into `b` and moves in front of it; `eof` becomes false. At the start `b`
    /// becomes 0 and `eof` true. Otherwise as ReadByte.
    virtual void ReadPrevByte(unsigned char& b);

    /// Reads up to `n` bytes into `dst` and moves behind them; returns how many there were. `eof` becomes true if that
    /// was fewer than `n`, else false. A negative `n`, or a NIL `dst` with `n` above 0, sets `res` to resCallError and
    /// returns 0. Copies straight from VMem; needs no memory.
    virtual int ReadBytes(void* dst, int n);
    /// @}

    /// @name Changes
    /// One operation in five forms: `oldLen` bytes from `pos` on give way to a new run of bytes, and the position then
    /// stands behind that run, with `res` and `eof` cleared.
    ///
    /// `pos` beyond the end counts as the end, and `oldLen` is cut to what lies behind it; SameLen stands for the
    /// length of the new run, MaxLen reaches to the end. A change without old and new bytes calls no hook and only
    /// moves the position.
    ///
    /// Refusals, in the order of the tests, each with the content left alone: `res` is set already (nothing at all
    /// happens); a negative argument, a NIL source with bytes to come or a closed file (resCallError); vfLocked
    /// (resContextError); vfReadOnly (resReadOnly); a source that fails or ends early (its own result, resNotDone); a
    /// content that would pass 0x7FFFFFFF bytes (resTooLong); no memory for the block buffer (resHeapOverflow);
    /// PreChange (its result). The last two leave the position at the clamped `pos`, with `eof` cleared, all others
    /// leave both alone.
    /// @{

    /// From memory: `n` bytes at `src`, which may be NIL if `n` is 0.
    virtual void ReplaceBuf(std::int32_t pos, std::int32_t oldLen, const void* src, int n);

    /// `count` copies of `ch`. A run of more than 1024 is made of several changes, the first of which takes out all the
    /// old bytes; a failure in a later one leaves the earlier ones in place, and the hooks see each.
    virtual void ReplaceCh(std::int32_t pos, std::int32_t oldLen, char ch, int count);

    /// `srcLen` bytes of `src` from `srcPos` on, both cut to what it holds. `src` may be the object itself and belongs
    /// to the same thread (else a halt); it is not changed in any way. With SameLen, as many old bytes as `src` really
    /// gives.
    virtual void ReplaceTxt(std::int32_t pos, std::int32_t oldLen, const VFile& src, std::int32_t srcPos,
                            std::int32_t srcLen);

    /// `count` bytes read from `f`, or with MaxLen all up to its end. The file's position stays where reading left it,
    /// also after a failure; a file with fewer bytes is resNotDone, one that fails gives GetFileRes(f). No more than
    /// 0x7FFFFFFF bytes are read.
    virtual void ReplaceFile(std::int32_t pos, std::int32_t oldLen, HFile& f, std::int32_t count);

    /// The same from a bare handle: a pipe, say. A failure gives GetFileRes().
    virtual void ReplaceFile(std::int32_t pos, std::int32_t oldLen, FileHandle h, std::int32_t count);
    /// @}

    /// @name Assignment
    /// One change that replaces the whole content; the position is the new end. By ReplaceTxt, or by ReplaceBuf for a
    /// string, which must not be NIL, and for a character, which becomes the only byte.
    /// @{
    virtual VFile& operator=(const VFile& src); ///< takes it over, and returns the object
    virtual VFile& operator=(const char* s);
    virtual VFile& operator=(char c);
    virtual VFile& operator=(signed char c);
    virtual VFile& operator=(unsigned char c);
    /// @}

    /// @name Diagnostics of a derived class
    /// Empty here, and never called by the library: for a test of its invariants, a short view under a caption, a full
    /// one.
    /// @{

    /// For the derived class and its host.
    virtual void CheckInvariants() const;
    virtual void Show(const char* text) const;
    virtual void Dump() const;
    /// @}

  protected:
    /// @name Hooks
    /// Called on the object's thread, inside the operation that they tell of, with the clamped position, the clamped
    /// old length and the length of the new run.
    /// @{

    /// Before a change, with the content still as it was and the position at the change. Anything but resDone refuses
    /// the change and becomes its result. It must leave the object alone, content, position and buffer: the change is
    /// half made. Queries, comparisons and the object as the source of a change of another one are free.
    virtual int PreChange(std::int32_t pos, std::int32_t oldLen, std::int32_t newLen) const;

    /// After a change, with the new content and length, and the position still at the change. Here it sets vfModified
    /// if vfTrackModified is on; a derived one that wants that calls it. It may read, move and even change the object,
    /// each such change with hooks of its own; whatever it does, the change then ends with the position at `pos` +
    /// `newLen`, cut to the length, and with `res` and `eof` cleared.
    virtual void PostChange(std::int32_t pos, std::int32_t oldLen, std::int32_t newLen);

    /// After one bit of the flags has changed, with that bit and its new state. Several bits come from the lowest up.
    virtual void PostChangeFlag(int flag, bool on);
    /// @}

  public:
    /// @name Queries
    /// @{
    std::int32_t Length() const; ///< The length of the content.
    std::int32_t GetPos() const; ///< The position.
    bool Eof() const;            ///< True at or behind the end: the position, not the field `eof`.
    bool Bof() const;            ///< True at the start.
    int GetFlags() const;        ///< The whole flag word.
    bool FlagOn(int mask) const; ///< True if any bit of `mask` is on.
    int Type() const;            ///< The kind number: 0 unless a derived class has set it.
    /// @}

    /// Goes to `offset` from the start (origin 0), from the position (1) or from the end (2), through SetPos. Any other
    /// origin sets `res` to resCallError and moves nothing.
    void SetPos(std::int32_t offset, int origin);

    /// SetPos(0): the way to clear `res` and `eof`.
    void Reset();

    /// Hands the changes that only the block buffer has to VMem and frees the buffer. Position, `res` and `eof` stay.
    void Flush();

    /// @name Flags
    /// All end in ToggleFlag: nothing happens while `res` is set; with vfLocked on, `res` becomes resContextError, even
    /// if no bit would have changed; bits outside vfToggleMask are dropped; PostChangeFlag is called for each bit that
    /// changes.
    /// @{
    void SetFlags(int word);         ///< Makes the bits of vfToggleMask equal to those of `word`.
    void SetFlag(int mask, bool on); ///< Turns the bits of `mask` on or off.
    void InclFlag(int mask);         ///< Turns the bits of `mask` on.
    void ExclFlag(int mask);         ///< Turns the bits of `mask` off.
    void ToggleFlag(int mask);       ///< Flips the bits of `mask`.
    /// @}

    /// @name Whole files
    /// Plain bytes, with no format and no translation. Named files are opened, moved and closed within the call. The
    /// outcome stands in `res`: what GetFileRes() makes of the system's error (resNotFound, resNoPermission, ...).
    /// @{

    /// Brings the whole named file in at the position: inserted with vfInsert on, else overwriting as many bytes as it
    /// has. `share` 0 keeps all others from opening the file meanwhile, any other value shares with who shares. A
    /// refusal or a failure leaves content and position alone; while `res` is set, or by vfLocked or vfReadOnly, the
    /// file isn't opened.
    void ReadFile(const char* name, std::uint32_t share);

    /// Makes the named file the content and goes to 0. An earlier error is cleared first. All old content goes before
    /// the file is opened: a file that can't be opened or read leaves an empty object. vfLocked and vfReadOnly leave it
    /// alone.
    void Load(const char* name, std::uint32_t share);

    /// Creates the named file, held exclusively, and writes the whole content into it; the position ends at the end.
    /// Without `overwrite` an existing file is left alone (resAlreadyExists), with it emptied first. Does nothing while
    /// `res` is set; a file that can't be made leaves the position alone. A failure on the way leaves a partly written
    /// file: a host that can't afford that writes to a new name and renames. Flags play no part and are not changed.
    void WriteFile(const char* name, bool overwrite);

    /// SetPos(0), which clears an earlier error, and then WriteFile.
    void Save(const char* name, bool overwrite);

    /// Writes up to `count` bytes from the position on to an open handle, and moves behind them; MaxLen writes the
    /// rest. A negative count or InvalidHandle is resCallError. A write that fails gives GetFileRes(), one that comes
    /// short resDiskFull; the position then is one piece of up to 1024 bytes ahead of what reached the file. The bytes
    /// come through ReadBytes; a derived one that gives none of them, or more than were asked for, is resNotDone.
    void WriteToFile(FileHandle h, std::int32_t count);

    /// The same to an open HFile. A failure gives GetFileRes(f), and `f` keeps its own `res`.
    void WriteToFile(HFile& f, std::int32_t count);
    /// @}

    /// @name Settings of the calling thread
    /// They act on the thread's VMem while it has a VFile, and wait for the next one while it has none. They end with
    /// the thread; a new thread starts with 4000 KB and no temp directory.
    /// @{
    static void ReleaseCache();            ///< Moves all cached pages to the swap file. No data is lost.
    static std::int16_t GetCacheSize();    ///< Kilobytes that the cached pages take now; 0 without a VMem.
    static std::int16_t GetMaxCacheSize(); ///< The limit on that.
    static void
    SetMaxCacheSize(std::int16_t kb); ///< Sets the limit. A negative one counts as 0; one page is always kept.

    /// The directory asked for by SetTempDir, NIL if none. Valid until the next change of the setting, and until the
    /// first VFile of the thread comes or the last one goes.
    static const char* GetTempDir();

    /// Where the next swap file is to be made; copied. NIL or empty: where TMP or TEMP say, or the system's own place.
    /// A directory that can't be read and written is passed over.
    static void SetTempDir(const char* dir);
    /// @}

    /// @name Start and end
    /// The steps of DllMain that concern VFile; hosts have no use for them.
    /// @{
    static bool TLS_InitializeProcess();   ///< Takes the thread slots. Halts if they are taken or can't be had.
    static bool TLS_UninitializeProcess(); ///< Gives the thread slots back. Halts if there are none.
    static bool TLS_InitializeThread();    ///< Sets the calling thread's slots to their start values.
    static bool TLS_UninitializeThread(); ///< Halts if the thread has a VFile or a VMem; frees its temp directory text.
    /// @}

    // ---- Editing -----------------------------------------------------------------------------------------------

    /// @name Five families of edits over ten sources
    ///
    /// The first word of a name tells where the new bytes go and what gives way to them:
    ///
    ///     family    at       what gives way                        pos afterwards
    ///     Insert    pos      nothing                               behind the new bytes
    ///     Replace   pos      as many bytes as come in              behind the new bytes
    ///     Write     pos      nothing if vfInsert is on, else       behind the new bytes
    ///                        as many bytes as come in
    ///     Append    the end  nothing                               the new end
    ///     Prepend   0        nothing                               behind the new bytes
    ///
    /// The rest of the name and the arguments tell the source:
    ///
    ///     ...Byte(b)                 one byte
    ///     ...Bytes(bytes, n)         n bytes of memory; NIL is taken if n is 0
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
    /// Bytes that give way are those behind the place, as far as there are any: at the end an overwrite appends. What
    /// stands behind them keeps its bytes, and moves if the length changes. An edit that adds and takes away nothing
    /// still sets `pos`.
    ///
    /// Each edit is one call of ReplaceBuf, ReplaceCh (the repeated character), ReplaceTxt (another object) or
    /// ReplaceFile (host files) through the virtual table, and ends as that call ends: `res` and `eof` are cleared, or
    /// `res` tells why nothing was changed. The codes are those of the four operations: resCallError for a negative
    /// count or position, NIL bytes or a closed file, resContextError, resReadOnly, resTooLong, resHeapOverflow,
    /// resNotDone for a file that holds less than `count`, or what PreChange returned. While `res` is set no edit does
    /// anything. A string must not be NIL; one longer than MaxLen is a negative count. Halts ("VFile") on any thread
    /// but the owner's, and for a source that belongs to another thread.
    ///
    /// Cost: one virtual call, and nothing allocated beyond what the change itself needs.
    /// @{

    /// One edit: the first word of the name tells where, the rest of it what comes in.
    void InsertByte(unsigned char b);
    void InsertBytes(const void* bytes, int n);
    void InsertWord(unsigned short v);
    void InsertDWord(unsigned int v);
    void InsertQWord(unsigned long long v);
    void Insert(char c, int n);
    void Insert(const char* s);
    void Insert(const VFile& src, std::int32_t from, std::int32_t count);
    void Insert(FileHandle h, std::int32_t count);
    void Insert(HFile& f, std::int32_t count);

    void ReplaceByte(unsigned char b);
    void ReplaceBytes(const void* bytes, int n);
    void ReplaceWord(unsigned short v);
    void ReplaceDWord(unsigned int v);
    void ReplaceQWord(unsigned long long v);
    void Replace(char c, int n);
    void Replace(const char* s);
    void Replace(const VFile& src, std::int32_t from, std::int32_t count);
    void Replace(FileHandle h, std::int32_t count);
    void Replace(HFile& f, std::int32_t count);

    void WriteByte(unsigned char b);
    void WriteBytes(const void* bytes, int n);
    void WriteWord(unsigned short v);
    void WriteDWord(unsigned int v);
    void WriteQWord(unsigned long long v);
    void Write(char c, int n);
    void Write(const char* s);
    void Write(const VFile& src, std::int32_t from, std::int32_t count);
    void Write(FileHandle h, std::int32_t count);
    void Write(HFile& f, std::int32_t count);

    void AppendByte(unsigned char b);
    void AppendBytes(const void* bytes, int n);
    void AppendWord(unsigned short v);
    void AppendDWord(unsigned int v);
    void AppendQWord(unsigned long long v);
    void Append(char c, int n);
    void Append(const char* s);
    void Append(const VFile& src, std::int32_t from, std::int32_t count);
    void Append(FileHandle h, std::int32_t count);
    void Append(HFile& f, std::int32_t count);

    void PrependByte(unsigned char b);
    void PrependBytes(const void* bytes, int n);
    void PrependWord(unsigned short v);
    void PrependDWord(unsigned int v);
    void PrependQWord(unsigned long long v);
    void Prepend(char c, int n);
    void Prepend(const char* s);
    void Prepend(const VFile& src, std::int32_t from, std::int32_t count);
    void Prepend(FileHandle h, std::int32_t count);
    void Prepend(HFile& f, std::int32_t count);
    /// @}

    /// @name The same members for the other types of their argument
    /// @{

    /// The edit of the same name.
    void Insert(signed char c, int n) { Insert(static_cast<char>(c), n); }
    void Insert(unsigned char c, int n) { Insert(static_cast<char>(c), n); }
    void Replace(signed char c, int n) { Replace(static_cast<char>(c), n); }
    void Replace(unsigned char c, int n) { Replace(static_cast<char>(c), n); }
    void Write(signed char c, int n) { Write(static_cast<char>(c), n); }
    void Write(unsigned char c, int n) { Write(static_cast<char>(c), n); }
    void Append(signed char c, int n) { Append(static_cast<char>(c), n); }
    void Append(unsigned char c, int n) { Append(static_cast<char>(c), n); }
    void Prepend(signed char c, int n) { Prepend(static_cast<char>(c), n); }
    void Prepend(unsigned char c, int n) { Prepend(static_cast<char>(c), n); }
    void InsertWord(short v) { InsertWord(static_cast<unsigned short>(v)); }
    void InsertWord(int v) { InsertWord(static_cast<unsigned short>(v)); }
    void InsertWord(unsigned int v) { InsertWord(static_cast<unsigned short>(v)); }
    void InsertWord(long v) { InsertWord(static_cast<unsigned short>(v)); }
    void InsertWord(unsigned long v) { InsertWord(static_cast<unsigned short>(v)); }
    void InsertWord(long long v) { InsertWord(static_cast<unsigned short>(v)); }
    void InsertWord(unsigned long long v) { InsertWord(static_cast<unsigned short>(v)); }
    void InsertDWord(int v) { InsertDWord(static_cast<unsigned int>(v)); }
    void InsertDWord(long v) { InsertDWord(static_cast<unsigned int>(v)); }
    void InsertDWord(unsigned long v) { InsertDWord(static_cast<unsigned int>(v)); }
    void InsertDWord(long long v) { InsertDWord(static_cast<unsigned int>(v)); }
    void InsertDWord(unsigned long long v) { InsertDWord(static_cast<unsigned int>(v)); }
    void InsertQWord(int v) { InsertQWord(static_cast<unsigned long long>(v)); }
    void InsertQWord(unsigned int v) { InsertQWord(static_cast<unsigned long long>(v)); }
    void InsertQWord(long v) { InsertQWord(static_cast<unsigned long long>(v)); }
    void InsertQWord(unsigned long v) { InsertQWord(static_cast<unsigned long long>(v)); }
    void InsertQWord(long long v) { InsertQWord(static_cast<unsigned long long>(v)); }
    void ReplaceWord(short v) { ReplaceWord(static_cast<unsigned short>(v)); }
    void ReplaceWord(int v) { ReplaceWord(static_cast<unsigned short>(v)); }
    void ReplaceWord(unsigned int v) { ReplaceWord(static_cast<unsigned short>(v)); }
    void ReplaceWord(long v) { ReplaceWord(static_cast<unsigned short>(v)); }
    void ReplaceWord(unsigned long v) { ReplaceWord(static_cast<unsigned short>(v)); }
    void ReplaceWord(long long v) { ReplaceWord(static_cast<unsigned short>(v)); }
    void ReplaceWord(unsigned long long v) { ReplaceWord(static_cast<unsigned short>(v)); }
    void ReplaceDWord(int v) { ReplaceDWord(static_cast<unsigned int>(v)); }
    void ReplaceDWord(long v) { ReplaceDWord(static_cast<unsigned int>(v)); }
    void ReplaceDWord(unsigned long v) { ReplaceDWord(static_cast<unsigned int>(v)); }
    void ReplaceDWord(long long v) { ReplaceDWord(static_cast<unsigned int>(v)); }
    void ReplaceDWord(unsigned long long v) { ReplaceDWord(static_cast<unsigned int>(v)); }
    void ReplaceQWord(int v) { ReplaceQWord(static_cast<unsigned long long>(v)); }
    void ReplaceQWord(unsigned int v) { ReplaceQWord(static_cast<unsigned long long>(v)); }
    void ReplaceQWord(long v) { ReplaceQWord(static_cast<unsigned long long>(v)); }
    void ReplaceQWord(unsigned long v) { ReplaceQWord(static_cast<unsigned long long>(v)); }
    void ReplaceQWord(long long v) { ReplaceQWord(static_cast<unsigned long long>(v)); }
    void WriteWord(short v) { WriteWord(static_cast<unsigned short>(v)); }
    void WriteWord(int v) { WriteWord(static_cast<unsigned short>(v)); }
    void WriteWord(unsigned int v) { WriteWord(static_cast<unsigned short>(v)); }
    void WriteWord(long v) { WriteWord(static_cast<unsigned short>(v)); }
    void WriteWord(unsigned long v) { WriteWord(static_cast<unsigned short>(v)); }
    void WriteWord(long long v) { WriteWord(static_cast<unsigned short>(v)); }
    void WriteWord(unsigned long long v) { WriteWord(static_cast<unsigned short>(v)); }
    void WriteDWord(int v) { WriteDWord(static_cast<unsigned int>(v)); }
    void WriteDWord(long v) { WriteDWord(static_cast<unsigned int>(v)); }
    void WriteDWord(unsigned long v) { WriteDWord(static_cast<unsigned int>(v)); }
    void WriteDWord(long long v) { WriteDWord(static_cast<unsigned int>(v)); }
    void WriteDWord(unsigned long long v) { WriteDWord(static_cast<unsigned int>(v)); }
    void WriteQWord(int v) { WriteQWord(static_cast<unsigned long long>(v)); }
    void WriteQWord(unsigned int v) { WriteQWord(static_cast<unsigned long long>(v)); }
    void WriteQWord(long v) { WriteQWord(static_cast<unsigned long long>(v)); }
    void WriteQWord(unsigned long v) { WriteQWord(static_cast<unsigned long long>(v)); }
    void WriteQWord(long long v) { WriteQWord(static_cast<unsigned long long>(v)); }
    void AppendWord(short v) { AppendWord(static_cast<unsigned short>(v)); }
    void AppendWord(int v) { AppendWord(static_cast<unsigned short>(v)); }
    void AppendWord(unsigned int v) { AppendWord(static_cast<unsigned short>(v)); }
    void AppendWord(long v) { AppendWord(static_cast<unsigned short>(v)); }
    void AppendWord(unsigned long v) { AppendWord(static_cast<unsigned short>(v)); }
    void AppendWord(long long v) { AppendWord(static_cast<unsigned short>(v)); }
    void AppendWord(unsigned long long v) { AppendWord(static_cast<unsigned short>(v)); }
    void AppendDWord(int v) { AppendDWord(static_cast<unsigned int>(v)); }
    void AppendDWord(long v) { AppendDWord(static_cast<unsigned int>(v)); }
    void AppendDWord(unsigned long v) { AppendDWord(static_cast<unsigned int>(v)); }
    void AppendDWord(long long v) { AppendDWord(static_cast<unsigned int>(v)); }
    void AppendDWord(unsigned long long v) { AppendDWord(static_cast<unsigned int>(v)); }
    void AppendQWord(int v) { AppendQWord(static_cast<unsigned long long>(v)); }
    void AppendQWord(unsigned int v) { AppendQWord(static_cast<unsigned long long>(v)); }
    void AppendQWord(long v) { AppendQWord(static_cast<unsigned long long>(v)); }
    void AppendQWord(unsigned long v) { AppendQWord(static_cast<unsigned long long>(v)); }
    void AppendQWord(long long v) { AppendQWord(static_cast<unsigned long long>(v)); }
    void PrependWord(short v) { PrependWord(static_cast<unsigned short>(v)); }
    void PrependWord(int v) { PrependWord(static_cast<unsigned short>(v)); }
    void PrependWord(unsigned int v) { PrependWord(static_cast<unsigned short>(v)); }
    void PrependWord(long v) { PrependWord(static_cast<unsigned short>(v)); }
    void PrependWord(unsigned long v) { PrependWord(static_cast<unsigned short>(v)); }
    void PrependWord(long long v) { PrependWord(static_cast<unsigned short>(v)); }
    void PrependWord(unsigned long long v) { PrependWord(static_cast<unsigned short>(v)); }
    void PrependDWord(int v) { PrependDWord(static_cast<unsigned int>(v)); }
    void PrependDWord(long v) { PrependDWord(static_cast<unsigned int>(v)); }
    void PrependDWord(unsigned long v) { PrependDWord(static_cast<unsigned int>(v)); }
    void PrependDWord(long long v) { PrependDWord(static_cast<unsigned int>(v)); }
    void PrependDWord(unsigned long long v) { PrependDWord(static_cast<unsigned int>(v)); }
    void PrependQWord(int v) { PrependQWord(static_cast<unsigned long long>(v)); }
    void PrependQWord(unsigned int v) { PrependQWord(static_cast<unsigned long long>(v)); }
    void PrependQWord(long v) { PrependQWord(static_cast<unsigned long long>(v)); }
    void PrependQWord(unsigned long v) { PrependQWord(static_cast<unsigned long long>(v)); }
    void PrependQWord(long long v) { PrependQWord(static_cast<unsigned long long>(v)); }
    /// @}

    /// Another name of Write(h, count).
    void ReadFromFile(FileHandle h, std::int32_t count);

    /// Another name of Write(f, count).
    void ReadFromFile(HFile& f, std::int32_t count);

    /// Takes `count` bytes from position `from` on out of the content, as far as there are any. Leaves `pos` at `from`,
    /// cut to the old length.
    void Delete(std::int32_t from, std::int32_t count);

    /// Takes out all that stands behind `pos`, which becomes the end.
    void Truncate();

    /// @name Typed reads
    ///
    /// They read at `pos` and go on behind what they have read (ReadPrevChar: reads the byte before `pos` and goes back
    /// over it). A read that gets all it wants clears `eof`; one that runs out of bytes sets it. They don't look at
    /// `res` and have no thread test of their own. Each is one call of ReadByte, ReadPrevByte or ReadBytes through the
    /// virtual table.
    /// @{

    /// The next byte; 0 with `eof` at the end.
    void ReadChar(unsigned char& c);
    void ReadChar(char& c) { ReadChar(reinterpret_cast<unsigned char&>(c)); }        ///< the same
    void ReadChar(signed char& c) { ReadChar(reinterpret_cast<unsigned char&>(c)); } ///< the same

    /// The byte before `pos`; 0 with `eof` at the start.
    void ReadPrevChar(unsigned char& c);
    void ReadPrevChar(char& c) { ReadPrevChar(reinterpret_cast<unsigned char&>(c)); }        ///< the same
    void ReadPrevChar(signed char& c) { ReadPrevChar(reinterpret_cast<unsigned char&>(c)); } ///< the same

    /// 2 bytes, least significant first. With fewer left, the bytes there are become the low ones of `v`, its other
    /// bytes stay as they were, `pos` goes to the end and `eof` is set; so for the two below.
    void ReadWord(unsigned short& v);
    void ReadWord(short& v) { ReadWord(reinterpret_cast<unsigned short&>(v)); } ///< 2 bytes

    /// 4 bytes.
    void ReadDWord(unsigned int& v);
    void ReadDWord(int& v) { ReadDWord(reinterpret_cast<unsigned int&>(v)); } ///< 4 bytes

    /// 8 bytes.
    void ReadQWord(unsigned long long& v);
    void ReadQWord(long long& v) { ReadQWord(reinterpret_cast<unsigned long long&>(v)); } ///< 8 bytes

    // The two types whose width differs from system to system stand with the member of their width. An overload can't
    // be left out by a constant, so this is the preprocessor's.
#if ULONG_MAX == 0xFFFFFFFF
    void ReadDWord(unsigned long& v) { ///< 4 bytes
        auto u = static_cast<unsigned int>(v);
        ReadDWord(u);
        v = u;
    }
    void ReadDWord(long& v) { ///< 4 bytes
        ReadDWord(reinterpret_cast<unsigned long&>(v));
    }
#else
    void ReadQWord(unsigned long& v) { ///< 8 bytes
        auto u = static_cast<unsigned long long>(v);
        ReadQWord(u);
        v = static_cast<unsigned long>(u);
    }
    void ReadQWord(long& v) { ///< 8 bytes
        ReadQWord(reinterpret_cast<unsigned long&>(v));
    }
#endif

    /// One character, with a line end of any form (CR LF, CR, LF) given as a single LF. Returns the number of bytes
    /// consumed: 2 for CR LF, 1 for any other character, 0 at the end, where `c` is 0 and `eof` is set. A lone CR as
    /// the last byte leaves `eof` clear. Halts on a wrong thread only where it has to look behind a lone CR and return.
    std::int32_t Read(unsigned char& c);
    std::int32_t Read(char& c) { ///< the same
        return Read(reinterpret_cast<unsigned char&>(c));
    }
    std::int32_t Read(signed char& c) { ///< the same
        return Read(reinterpret_cast<unsigned char&>(c));
    }
    /// @}

    /// @name Adding to the end
    /// Append under another name; the byte itself, a string, the whole of `src` wherever its `pos` is.
    /// @{
    VFile& operator+=(char c); ///< adds it, and returns the object
    VFile& operator+=(signed char c) {
        return *this += static_cast<char>(c);
    }
    VFile& operator+=(unsigned char c) {
        return *this += static_cast<char>(c);
    }
    VFile& operator+=(const char* s);
    VFile& operator+=(const VFile& src);
    /// @}

    /// @name Output at the position
    /// Write under another name: inserts if vfInsert is on, overwrites if it is off. A character is the byte itself,
    /// not a number; of `src` the whole is written, wherever its `pos` is, and nothing of it changes.
    /// @{
    VFile& operator<<(char c); ///< writes it, and returns the object
    VFile& operator<<(signed char c) {
        return *this << static_cast<char>(c);
    }
    VFile& operator<<(unsigned char c) {
        return *this << static_cast<char>(c);
    }
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
    VFile& operator<<(short v) {
        return *this << static_cast<int>(v);
    }
    VFile& operator<<(unsigned short v) {
        return *this << static_cast<unsigned int>(v);
    }
    VFile& operator<<(long v) {
        return sizeof v == sizeof(int) ? *this << static_cast<int>(v) : *this << static_cast<long long>(v);
    }
    VFile& operator<<(unsigned long v) {
        return sizeof v == sizeof(int) ? *this << static_cast<unsigned int>(v)
                                       : *this << static_cast<unsigned long long>(v);
    }
    /// @}

    /// @name Input at the position
    /// @{

    /// ReadByte under another name: line ends are not folded, 0 with `eof` at the end.
    VFile& operator>>(unsigned char& c);
    VFile& operator>>(char& c) { ///< the same
        return *this >> reinterpret_cast<unsigned char&>(c);
    }
    VFile& operator>>(signed char& c) { ///< the same
        return *this >> reinterpret_cast<unsigned char&>(c);
    }

    /// Gives what stands from `pos` on to `dst`, whose content it replaces; `pos` goes to the end here, and to the new
    /// end in `dst`. If `dst` refuses, its code is copied into `res` and `pos` stays.
    VFile& operator>>(VFile& dst);
    /// @}

    // ---- Lines and text ----------------------------------------------------------------------------------------

    /// @name Lines
    ///
    /// A line end is CR LF, a lone CR or a lone LF, in any mix; LF CR is two. A line is the bytes up to and including
    /// its line end; behind the last line end lies one more line, of length 0 at least. A position between the CR and
    /// the LF of a pair belongs to the line that the pair ends. Every other byte is text, NUL and tab included.
    ///
    /// No index of lines is kept: the line around a position is found by reading, so the cost is the length of the
    /// line. An object of a derived class sees each byte that is read, a VFile itself is read in whole blocks with the
    /// same outcome. The queries move `pos`, as each tells, and so clear `res` and `eof`; whoever needs `pos`
    /// afterwards saves it first. A negative `p` gives resCallError, 0 as the result and no move; one beyond the end
    /// counts as the end. All halt ("VFile") on any thread but the owner's.
    /// @{

    /// The start of the line that holds `p`. For `p` 0 nothing is moved; else `pos` and `eof` are afterwards
    ///
    ///     result 0                                  pos 0            eof
    ///     result r behind a line end, found going   pos r - 1        not eof
    ///     back from p
    ///     result p, a lone CR before it             pos p + 1        not eof
    ///     the same, p is the end                    pos p            eof
    std::int32_t LineStart(std::int32_t p);

    /// The line that holds `p`: its start, its length with its line end, and the length of that line end: 0, 1 or 2.
    /// With a negative `p` the three stay as they were. `pos` goes behind the line end, one byte further behind a lone
    /// CR that has a byte behind it; `eof` is set if the line ends with the content, by a lone CR or by no line end.
    void LineSize(std::int32_t p, std::int32_t& start, std::int32_t& size, std::int32_t& eolSize);

    /// The end of the line that holds `p`: behind its line end, or before that without `withEol`. `pos` and `eof` as
    /// after LineSize.
    std::int32_t LineEnd(std::int32_t p, bool withEol);

    /// The number of blanks (32; no tabs) at the start of the line that holds `p`. `pos` goes behind the byte that
    /// ended the count; `eof` is set if the end of the content did.
    std::int32_t LineIndent(std::int32_t p);
    /// @}

    /// @name Pairs of CR and LF
    /// They leave `pos` behind the last byte that they have looked at, in the direction they went, with `eof` set if
    /// they ran off the content. The first two make no test of `p`: for a negative one `res` becomes resCallError and
    /// the answer says nothing.
    /// @{
    bool AfterCRLF(std::int32_t p);   ///< the two bytes before `p` are CR LF
    bool BeforeCRLF(std::int32_t p);  ///< the two bytes from `p` on are CR LF
    bool BetweenCRLF(std::int32_t p); ///< the bytes around `p` are CR and LF; false, with no move, for `p` below 1
    /// @}

    /// Reads from `pos` to the next line end and goes behind it. Stores the line without its line end, at most
    /// `size` - 1 bytes, and a NUL; returns the number of bytes stored without the NUL. What doesn't fit is read and
    /// dropped without a report. `eof` is set if the content ended without a line end, also with no byte read at all:
    /// so an empty line returns 0 without `eof`, and the end returns 0 with it. A NIL `dst` or a `size` below 1 sets
    /// resCallError and returns 0. Does not look at `res`, and tests the thread only where it returns behind a lone CR.
    int ReadLine(char* dst, int size);

    /// Reads `count` bytes from position `from` on, line ends as they stand, and stores at most `size` - 1 of them and
    /// a NUL; returns the number stored. `from` and `count` are cut to the content. Leaves `pos` behind what was read,
    /// and clears `res` and `eof`.
    /// A NIL `dst`, a `size` below 1, a negative `from` or `count` sets resCallError and returns 0.
    int ReadTxt(char* dst, int size, std::int32_t from, std::int32_t count);

    // ---- Search ------------------------------------------------------------------------------------------------

    /// @name Search
    ///
    /// They look for the bytes of `pattern`, a string that must not be NIL. With `ignoreCase` the ASCII letters match
    /// in both cases, as toupper of the host's locale folds them; bytes from 0x80 up match only themselves in any
    /// locale. With `wholeWord` a match counts only if the byte before it and the byte behind it are no letters or
    /// digits by isalnum of the host's locale; the edges of the content are no word bytes, nor is the underscore. The
    /// next try after a match that doesn't count doesn't overlap that.
    ///
    /// A search moves `pos`, as told, and clears `res`; not finding is no error. A negative `at` sets resCallError and
    /// returns false, an empty pattern returns true; both change nothing else. Both halt ("VFile") on any thread but
    /// the owner's.
    ///
    /// Cost: each byte of the content is read once, whatever overlaps: by one virtual call each on an object of a
    /// derived class, over whole blocks with the same outcome on a VFile itself. A mismatch behind m matched bytes
    /// costs up to m * m comparisons within the pattern, most often a few. Nothing is allocated.
    /// @{

    /// Looks forward for the first match that starts at `at` or behind. Found: true, and `at` is just behind the match,
    /// where the next search goes on; `pos` is `at` + 1, or the end with `eof`; with `wholeWord` one byte before the
    /// match, or 0 with `eof`. Not found: false, `at` is no position but the length + 1, or itself + 1 if it was above
    /// the length (at most 0x7FFFFFFF); `pos` is the end, `eof` is set.
    bool Find(std::int32_t& at, const char* pattern, bool ignoreCase, bool wholeWord);

    /// Looks backward for the first match that ends at `at` or before; an `at` beyond the end counts as the end. Found:
    /// true, and `at` is the start of the match, where the next search goes on; `pos` is `at` - 1, or 0 with `eof`;
    /// with `wholeWord` one byte behind the match, or the end with `eof`. Not found: false, `at` is -1, `pos` is 0 and
    /// `eof` is set.
    bool FindBack(std::int32_t& at, const char* pattern, bool ignoreCase, bool wholeWord);

    /// Replaces every match that Find finds from position 0 on, wherever `pos` is, each by one ReplaceBuf, and returns
    /// their number. New bytes are not searched, though a whole word is told by what then stands around it; a match
    /// that forms across a replacement is not found. Clears an old `res` by its first search. `pos` is the end
    /// afterwards, and `eof` is set. If a change is refused, the work ends there: `res` tells why, and what has been
    /// replaced stays. An empty pattern replaces nothing, returns 0 and leaves `pos`, `eof` and `res` alone.
    /// `replacement` must not be NIL. Halts ("VFile") on any thread but the owner's.
    std::int32_t ReplaceGlobal(const char* pattern, const char* replacement, bool ignoreCase, bool wholeWord);
    /// @}

    Res res;           ///< Sticky result of the last failed operation, resDone when all is well.
    bool eof;          ///< The last read ran out of bytes.
    std::int32_t base; ///< Radix of number output, 10 at first; from 2 to 36.

  protected:
    std::int32_t pos;   ///< The position, 0 to len.
    std::int32_t len;   ///< The length.
    std::int32_t flags; ///< The flag word.
    std::int32_t type;  ///< The kind number; above 0 it lets the look through for line ends run.

  private:
    friend class vfile_internal::VFileCheck;
    friend class vfile_internal::Scan;

    const void* plainTable;                  // the table of virtual operations of an object that is a VFile and no more
    VMem* vm;                                // the thread's; borrowed
    BlkDesc* first;                          // never NIL in a live object
    BlkDesc* last;                           // never NIL in a live object
    BlkRdr cur;                              // the block of the current position
    unsigned char* buf;                      // BlkSize bytes for the current block, NIL until first needed
    bool bufLoaded;                          // buf holds the bytes of cur.ptr
    bool bufDirty;                           // buf holds changes that vm has not got
    std::uint32_t owner;                     // the thread that made the object
    mutable vfile_internal::BlkIndex* index; // over the chain, NIL until a search has to go far
    mutable std::int32_t indexLag;           // by how much cur.ptr is longer than the index knows; 0 without an index

    void Init();
    bool OnOwnerThread() const;

    // The chain (block_chain.cpp).
    void AllocBuf(std::int32_t& adr, std::int16_t n);
    BlkDesc* NewBlkPtr(BlkDesc* prev, BlkDesc* next, std::int16_t n);
    void DisposeBlkPtr(BlkDesc*& p);
    void DisposeBlkPtrList(BlkDesc*& p);
    void ForgetPages();
    void RemoveBlk(BlkDesc* blk, std::int32_t at);
    void SpliceBehind(BlkDesc* blk, BlkDesc* p1, BlkDesc* p2, std::int32_t at);
    void DropIndex() const;
    std::int32_t IndexBehindCur() const;
    void FindBlk(BlkRdr& rd, std::int32_t p, bool toPrev) const;
    void SeekBlk(BlkRdr& rd, std::int32_t p) const;

    // The cursor and its buffer (cursor.cpp), and the cursor that leaves the object alone (const_cursor.cpp).
    void LeaveBlk(const BlkRdr& left);
    bool IsPlain() const;
    const unsigned char* BytesOfCur() const;
    void Advance(int k);
    void PlaceAt(std::int32_t p);
    void PlaceFar(std::int32_t p);
    bool EnterBlkAhead();
    bool EnterBlkBefore();
    bool HaveBuf();
    bool LoadBuf();
    unsigned char ByteAtCursor();
    void SetPosC(BlkRdr& rd, std::int32_t p) const;
    static void EnterBlkAheadC(BlkRdr& rd, const char* proc);
    void ReadByteC(BlkRdr& rd, unsigned char& b) const;
    void ReadBytesC(BlkRdr& rd, void* dst, int n) const;
    const unsigned char* PieceC(BlkRdr& rd, int n, int& k) const;

    // The change engine (change.cpp) and its sources (change_sources.cpp).
    bool MayChange();
    bool ClampChange(std::int32_t& at, std::int32_t& oldLen, std::int32_t newLen);
    void InitChange(std::int32_t p);
    bool FitsInPlace(std::int32_t oldLen, std::int32_t newLen) const;
    void ChangeInPlace(std::int32_t oldLen, const void* src, std::int32_t n);
    void SetCurLen(std::int32_t n);
    void ChangeByChain(std::int32_t at, std::int32_t oldLen, const unsigned char* src, int n);
    void CheckCurLen();
    void AddPrivate(BlkDesc*& p1, BlkDesc*& p2, const void* bytes, std::int16_t n);
    void DoChange(std::int32_t oldLen, const unsigned char* head, int headLen, BlkDesc* p1, BlkDesc* p2);
    void CheckEOL(const void* src, int n);
    Res AskHook(std::int32_t at, std::int32_t oldLen, std::int32_t n) const;
    void EndChange(std::int32_t at, std::int32_t oldLen, std::int32_t n);
    void GoBehind(std::int32_t p);
    void ReplaceFrom(std::int32_t at, std::int32_t oldLen, HFile* f, FileHandle h, std::int32_t count);
    std::int32_t StageFile(BlkDesc*& p1, BlkDesc*& p2, HFile* f, FileHandle h, std::int32_t count);
    std::int32_t StageGathered(BlkDesc*& p1, BlkDesc*& p2, HFile* f, FileHandle h, std::int32_t count);

    // Searching (search.cpp).
    bool FindFolded(std::int32_t& at, const char* pattern, const vfile_internal::Folding& folding, bool wholeWord);

    // Lines (lines.cpp).
    unsigned char NextByte();
    unsigned char PrevByte();
    std::int32_t PassText(char* dst, int room);
    std::int32_t PassTextBack();

    // Saving (load_save.cpp).
    void WriteTo(HFile* f, FileHandle h, std::int32_t count);
    std::int32_t WriteGathered(HFile* f, FileHandle h, std::int32_t count);
    bool WritePiece(HFile* f, FileHandle h, const void* bytes, int n);

    // Editing (edit.cpp).
    std::int32_t WriteOldLen(std::int32_t n) const; // the old length of a Write: 0 if vfInsert is on, else n

    // Comparison (compare.cpp). Order is below 0, 0 or above 0, for the first n bytes of both.
    static void TestOwners(const VFile& a, const VFile& b); // halts unless both are the calling thread's
    static int Order(const VFile& a, const VFile& b, std::int32_t n);
    static int Order(const VFile& v, const char* s, std::int32_t n);
    friend VFILE_API bool operator==(const VFile& a, const VFile& b);
    friend VFILE_API bool operator==(const VFile& v, const char* s);
    friend VFILE_API bool operator<(const VFile& a, const VFile& b);
    friend VFILE_API bool operator<(const VFile& v, const char* s);
    friend VFILE_API bool operator<=(const VFile& a, const VFile& b);
    friend VFILE_API bool operator<=(const VFile& v, const char* s);

    // The thread environment (thread_env.cpp): four words of the slot table.
    static std::uint32_t slotVFileCount; // number of live VFile objects of the thread
    static std::uint32_t slotVMem;       // its VMem, NIL while that number is 0
    static std::uint32_t slotTempDir;    // heap copy of its temp directory, NIL when none
    static std::uint32_t slotMaxCache;   // its cache limit in kilobytes
    static void HaltWithoutSlots(std::int32_t line);
    static std::int32_t ThreadVFileCount();
    static void SetThreadVFileCount(std::int32_t count);
    static void IncThreadVFileCount();
    static void DecThreadVFileCount();
    static VMem* ThreadVMem();
    static void SetThreadVMem(VMem* vm);
    static char* ThreadTempDir();
    static void SetThreadTempDirPtr(char* dir);
    static void AssignThreadTempDir(const char* dir);
    static std::int32_t ThreadMaxCache();
    static void SetThreadMaxCache(std::int32_t kb);
    static VMem* JoinThread(); // for an object that is being made: the thread's VMem, made for its first one
    static void DropThread();  // forgets the thread's environment and touches nothing that it refers to
    friend void platform::OnForkedChild();
    static void LeaveThread(); // for an object that is gone: the last one takes the VMem with it
};

/// @name Comparison
///
/// Of whole contents, as strings of bytes: the first byte that differs decides, taken as 0 to 255; a content that the
/// other one begins with is the lesser of the two. No letters are folded and no locale plays a part. A NUL in an object
/// is a byte like any other; a string ends at its first NUL and must not be NIL.
///
/// The objects stay exactly as they are: the bytes come through a cursor beside theirs, which also sees what has not
/// left their buffers yet. Both must belong to the calling thread, else a halt ("VFile").
///
/// Cost: == and != look at the lengths first. All go over 1024 bytes of each side at a time, up to the first
/// difference, and allocate nothing.
/// @{
VFILE_API bool operator==(const VFile& a, const VFile& b); ///< what the sign says, of the two contents
VFILE_API bool operator==(const VFile& v, const char* s);
VFILE_API bool operator<(const VFile& a, const VFile& b);
VFILE_API bool operator<(const VFile& v, const char* s);
VFILE_API bool operator<=(const VFile& a, const VFile& b);
VFILE_API bool operator<=(const VFile& v, const char* s);

inline bool operator==(const char* s, const VFile& v) {
    return v == s;
}
inline bool operator!=(const VFile& a, const VFile& b) {
    return !(a == b);
}
inline bool operator!=(const VFile& v, const char* s) {
    return !(v == s);
}
inline bool operator!=(const char* s, const VFile& v) {
    return !(v == s);
}
inline bool operator<(const char* s, const VFile& v) {
    return !(v <= s);
}
inline bool operator<=(const char* s, const VFile& v) {
    return !(v < s);
}
inline bool operator>(const VFile& a, const VFile& b) {
    return b < a;
}
inline bool operator>(const VFile& v, const char* s) {
    return !(v <= s);
}
inline bool operator>(const char* s, const VFile& v) {
    return v < s;
}
inline bool operator>=(const VFile& a, const VFile& b) {
    return b <= a;
}
inline bool operator>=(const VFile& v, const char* s) {
    return !(v < s);
}
inline bool operator>=(const char* s, const VFile& v) {
    return v <= s;
}
/// @}

/// Sets the calling thread up for VFile. Only a thread that ran before the library was loaded needs to call it, before
/// its first VFile; on all others it has no effect. False if the heap has no room.
VFILE_API bool VFile_InitializeThread();

/// Ends what VFile_InitializeThread began, with the thread's settings. Halts if the thread still has a VFile. Threads
/// end by themselves otherwise. Always true; without effect on a thread that isn't set up.
VFILE_API bool VFile_UninitializeThread();

/// True if the calling thread is set up for VFile.
VFILE_API bool VFile_IsThreadInitialized();

/// The library's entry, which the loader's notices call: `reason` 1 process start, 2 thread start, 3 thread end, 0
/// process end. Returns 0 if a start failed, else 1. `module` and `reserved` play no part. Hosts have no use for it.
VFILE_API int DllMain(void* module, std::uint32_t reason, void* reserved);
