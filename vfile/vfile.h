/// @file
/// VFile: an editable sequence of bytes that behaves like a file and may grow far past what the host keeps in RAM.
#pragma once

#include "../foundation/result.h"
#include "../platform/platform.h"
#include "vfile_compare.h"
#include "vfile_edits.h"
#include "vfile_flags.h"

#include <climits>
#include <cstddef>
#include <cstdint>

class HFile;
class HFileStamp;

namespace vfile_internal {
class Change;
class HistoryRecord;
class Observed;
class SpanReader;
class VFileCheck;
struct Content;
} // namespace vfile_internal

/// VFile: an editable sequence of bytes with a length, a position, reads that move the position, and changes at any
/// place that cost about the size of the change and not of the content. The content is a chain of blocks, each in one
/// page of the thread's VMem, so that the cache of VMem alone decides how much of it stays in RAM.
///
///     {1024 bytes, at 0} <-> {310 bytes, at 5120} <-> {1024 bytes, at 2048}      len = 2358
///                                    ^ 17 bytes into the second block: pos = 1041
///
/// **Results.** A failed operation leaves its code in `res`, and while that is not resDone, changes, flag changes and
/// transfers of files do nothing: a row of calls can be tested once at its end. A successful SetPos clears it, and so
/// does every successful change, which ends in one. So do the operations that begin by going to a position: Find,
/// FindBack, ReplaceGlobal, the queries for lines, Load and Save. An error from before is lost there, so a row of calls
/// is tested before one of these. Reads don't look at `res`. `eof` says whether the last read ran out.
///
/// **Positions** count bytes from 0. One beyond the end counts as the end, a negative one is a call error.
///
/// **Deriving.** All internal use of the virtual operations goes through the object's table, so that a derived class
/// sees every step of what it overrides; only constructors call their filling operation directly. Reads that it does
/// not override are done in whole blocks, as in a VFile itself. The hooks PreChange, PostChange and PostChangeFlag are
/// called for every change. A derived class may use `pos`, `len`, `flags` and `type`.
///
/// **Ownership.** The object owns its blocks and their pages. **Threads:** it belongs for
/// life to the thread that made it, and must be destroyed there before the thread ends. SetPos, Flush, the destructor,
/// flag changes, changes of content, searches, line queries, comparisons and transfers of files halt ("VFile",
/// assertion) on any other thread, plain queries and reads only where they reach VMem. **Processes:** the child of a
/// fork has the settings of the thread that forked, and copies of its parent's objects. It may destroy them: that gives
/// back memory at most, touches no file and halts nowhere, so that the child can end as it likes. Every other use halts
/// as on another thread. When a process exits, its other threads may be at work with objects; one that the exiting
/// thread still has, and that is not destroyed on the way, is a halt.
/// **Failures** beside result codes are halts: no memory for a descriptor, and whatever stops VMem.
/// **Cost.** A position a few blocks away is walked to, any other found through an index over the chain, in the time of
/// a few cache misses; a change moves bytes in at most three blocks; bytes in the current block cost no call of VMem. A
/// block takes up to 64 bytes of RAM beside its page. An empty object takes 48 bytes and 208 of the heap; one that is
/// read by bytes or changed has a buffer of 1024 bytes, of which a thread has 256 at most: one more takes that of
/// another object, which gets its block again when it needs it.
class VFILE_API VFile : public VFileEdits {
  public:
    /// An empty object. The first one of a thread makes the thread's VMem. Halts if out of memory, or if the
    /// thread is older than the library and has not called VFile_InitializeThread.
    VFile();

    /// @name Filled objects
    /// The default constructor and one change, by the operation of the class itself: an object of a derived class is
    /// not yet one when it runs. The position is the end; `res` says whether the filling failed, and the object then
    /// is empty.
    /// @{
    VFile(char c, int n);                ///< ReplaceCh: the character, `n` times.
    VFile(signed char c, int n);         ///< The same.
    VFile(unsigned char c, int n);       ///< The same.
    VFile(const char* s);                ///< ReplaceBuf: a string without its terminator. Must not be null.
    VFile(FileHandle h, std::int32_t n); ///< ReplaceFile: `n` bytes of an open handle; MaxLen: all it has.
    VFile(HFile& f, std::int32_t n);     ///< ReplaceFile: the same of an open host file.
    /// ReplaceTxt: `n` bytes of `src` from `start` on, both cut to what it has; so also the copy constructor.
    VFile(const VFile& src, std::int32_t start = 0, std::int32_t n = MaxLen);
    /// @}

    /// Takes over what `src` is, without a change: content, position, `res`, `eof`, `base`, flags, and the histories
    /// and marks that watch it; the kind number is copied. `src` is as a new object then, of its own class and kind. No
    /// hook is called: a class that keeps more of its content moves that along in its own constructor. Halts ("VFile")
    /// unless `src` is of the calling thread; a halt procedure that throws ends the program. Not to be used by hooks of
    /// `src`. Costs as much as an empty object.
    VFile(VFile&& src) noexcept;

    VFile(std::nullptr_t) = delete;                                   ///< no string
    VFile(const char*, std::int32_t, std::int32_t = MaxLen) = delete; ///< nor part of one

    /// The content goes with the object; nothing is written anywhere. The last object of a thread takes the thread's
    /// VMem and its swap file with it. Halts on any thread but the object's own.
    virtual ~VFile();

    /// @name Position and reads
    /// @{

    /// Goes to `p`, or to the end if that lies before it, and clears `res` and `eof`. A negative `p` sets `res` to
    /// resCallError and changes nothing else.
    virtual void SetPos(std::int32_t p);

    /// Reads the byte at the position into `b` and moves past it; `eof` becomes false. At the end `b` becomes 0 and
    /// `eof` true. Never touches `res`. Runs from the block buffer; without memory for that, byte by byte from VMem.
    virtual void ReadByte(unsigned char& b);

    /// Reads the byte before the position into `b` and moves in front of it; `eof` becomes false. At the start `b`
    /// becomes 0 and `eof` true. Otherwise as ReadByte.
    virtual void ReadPrevByte(unsigned char& b);

    /// Reads up to `n` bytes into `dst` and moves past them; returns how many there were. `eof` becomes true if that
    /// was fewer than `n`, else false. A negative `n`, or a null `dst` with `n` above 0, sets `res` to resCallError and
    /// returns 0. Copies straight from VMem; needs no memory.
    virtual int ReadBytes(void* dst, int n);
    /// @}

    /// @name Changes
    /// One operation in five forms: `oldLen` bytes from `at` on give way to a new run of bytes, and the position then
    /// stands after that run, with `res` and `eof` cleared.
    ///
    /// `at` beyond the end counts as the end, and `oldLen` is cut to what lies after it; SameLen stands for the
    /// length of the new run, MaxLen reaches to the end. A change without old and new bytes calls no hook and only
    /// moves the position.
    ///
    /// Refusals, in the order of the tests, each with the content left alone: `res` is set already (nothing at all
    /// happens); a negative argument, a null source with bytes to come or a closed file (resCallError); vfLocked
    /// (resContextError); vfReadOnly (resReadOnly); a source that fails or ends early (its own result, resNotDone); a
    /// content that would pass 0x7FFFFFFF bytes, or a file for which the thread's memory of 2 GiB has no room
    /// (resTooLong); no memory for the block buffer (resHeapOverflow); PreChange (its result). The last two leave the
    /// position at the clamped `at`, with `eof` cleared, all others leave both alone.
    /// @{

    /// From memory: `n` bytes at `src`, which may be null if `n` is 0.
    virtual void ReplaceBuf(std::int32_t at, std::int32_t oldLen, const void* src, int n);

    /// `count` copies of `ch`. A run of more than 1024 is made of several changes, the first of which takes out all the
    /// old bytes; a failure in a later one leaves the earlier ones in place, and the hooks see each.
    virtual void ReplaceCh(std::int32_t at, std::int32_t oldLen, char ch, int count);

    /// `srcLen` bytes of `src` from `srcPos` on, both cut to what it holds. `src` may be the object itself and belongs
    /// to the same thread (else a halt); it is not changed in any way. With SameLen, as many old bytes as `src` really
    /// gives.
    virtual void ReplaceTxt(std::int32_t at, std::int32_t oldLen, const VFile& src, std::int32_t srcPos,
                            std::int32_t srcLen);

    /// `count` bytes read from `f`, or with MaxLen all up to its end. The file's position stays where reading left it,
    /// also after a failure; a file with fewer bytes is resNotDone, one that fails gives GetFileRes(f). No more than
    /// 0x7FFFFFFF bytes are read, and none at all of an ordinary file that does not fit beside what the thread's memory
    /// holds (resTooLong).
    virtual void ReplaceFile(std::int32_t at, std::int32_t oldLen, HFile& f, std::int32_t count);

    /// The same from a bare handle: a pipe, say. A failure gives GetFileRes().
    virtual void ReplaceFile(std::int32_t at, std::int32_t oldLen, FileHandle h, std::int32_t count);
    /// @}

    /// @name Assignment
    /// One change that replaces the whole content; the position is the new end. By ReplaceTxt, or by ReplaceBuf for a
    /// string, which must not be null, and for a character, which becomes the only byte.
    /// @{
    virtual VFile& operator=(const VFile& src); ///< takes it over, and returns the object
    virtual VFile& operator=(const char* s);
    virtual VFile& operator=(char c);
    virtual VFile& operator=(signed char c);
    virtual VFile& operator=(unsigned char c);

    /// The same from an object that is not needed any more: one change, with the same results, hooks and refusals, and
    /// `src` is left empty if it worked. Position, flags and all else stay its own. The blocks are handed over, not
    /// copied, where nobody sees it: where this class overrides neither ReplaceTxt nor operator=(const VFile&), which
    /// otherwise is called (with `src` itself, so an override passes no rvalue on), and where nobody watches `src`, by
    /// its class or as a history or marks. Otherwise `src` is emptied by Reset and one change of its own, which it may
    /// refuse. An object that is assigned to itself keeps its content.
    VFile& operator=(VFile&& src);             // NOLINT(performance-noexcept-move-constructor): hooks may throw
    VFile& operator=(std::nullptr_t) = delete; ///< no string
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
    ///
    /// A hook may throw, and so may an override that is called inside of an operation: the exception passes through to
    /// who called the operation, nothing leaks, and the object is sound. From PreChange it leaves things as a refusal
    /// does, but `res` as it was. From PostChange the change stands, with the position still at it. From PostChangeFlag
    /// the bits up to this one have changed; inside a change that one stands. What an operation of several changes has
    /// done before stays done.
    /// @{

    /// Before a change, with the content still as it was and the position at the change. Anything but resDone refuses
    /// the change and becomes its result. It must leave the object alone, content, position and buffer: the change is
    /// half made. Queries, comparisons and the object as the source of a change of another one are free.
    virtual int PreChange(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) const;

    /// After a change, with the new content and length, and the position still at the change. Here it sets vfModified
    /// if vfTrackModified is on; a derived one that wants that calls it. It may read, move and even change the object,
    /// each such change with hooks of its own; whatever it does, the change then ends with the position at `at` +
    /// `newLen`, cut to the length, and with `res` and `eof` cleared.
    virtual void PostChange(std::int32_t at, std::int32_t oldLen, std::int32_t newLen);

    /// After one bit of the flags has changed, with that bit and its new state. Several bits come from the lowest up.
    virtual void PostChangeFlag(int flag, bool on);
    /// @}

  public:
    /// @name Queries
    /// @{
    std::int32_t Length() const; ///< The length of the content.
    std::int32_t GetPos() const; ///< The position.
    bool Eof() const;            ///< True at or after the end: the position, not the field `eof`.
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

    /// @name Room
    /// All contents of a thread lie in blocks of 1024 bytes in one space of 2147482624. Small changes all over a
    /// content leave its blocks part full: one that is fed 40 bytes at a time at random places takes many times its
    /// size.
    /// @{

    /// Brings the blocks of the content together, in place: all but the last are full then. The content does not
    /// change, nor does anything that follows it (histories, marks, lines), and no hook is called; position, `res` and
    /// `eof` stay, and flags play no part. Takes no further room; what has been brought together stays so if the host
    /// stops it (resStopped), or if VMem halts. False, with `res` set, if it ends early; resContextError, with nothing
    /// done, from a PreChange of the object or while it is visited. Halts ("VFile") on any thread but the object's own.
    /// Cost: all that lies after the first block with room is moved, so each page there is read and written once.
    ///
    /// A host need not call it to get room: a change for which there is none packs the contents of the thread by
    /// itself, first where little has to be moved, and goes on. Only if nothing is left to be won, it halts.
    bool Compact();

    static std::int32_t SpaceUsed();       ///< Bytes of the space that the blocks of the thread's contents take.
    static std::int32_t SpaceFree();       ///< What is left of it, for full blocks.
    static std::int64_t GetSwapFileSize(); ///< Of the thread, in bytes; 0 while there is none.
    /// @}

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
    /// file isn't opened. A file that can't fit into the thread's space is resTooLong before it is read.
    void ReadFile(const char* name, std::uint32_t share);

    /// Makes the named file the content and goes to 0. An earlier error is cleared first. All old content goes before
    /// the file is opened: a file that can't be opened or read, or does not fit (resTooLong), leaves an empty object.
    /// vfLocked and vfReadOnly leave it alone.
    void Load(const char* name, std::uint32_t share);

    /// Makes the named file the content, as Load does, or else leaves all as it is: content, position, flags, `eof`. An
    /// earlier error is cleared first. Refused, with the file not opened, by vfLocked and vfReadOnly; `share` as above.
    /// The file is read to its end, into fresh blocks, before the old content goes: for that long both take room in the
    /// memory below, and a file that finds none beside the old content is resTooLong before it is read. `stamp`, if not
    /// null, gets what the file was when it was opened, for SaveSafely; none for a pipe or device, and on failure.
    ///
    /// It is one change: a derived class sees ReplaceFile(0, MaxLen, h, MaxLen), within that the hooks of one change
    /// that takes out all and puts in all, and then SetPos(0). PreChange can refuse it; the position is then at 0 only
    /// while it is being asked. A history has one step of it.
    void LoadKeeping(const char* name, std::uint32_t share, HFileStamp* stamp = nullptr);

    /// LoadKeeping without a copy: the file stays open, and each page of it is read when it is first used and comes
    /// from the file until it has changed. A gigabyte is ready, and its last line read, in a millisecond, in 200 KB of
    /// RAM; the first pass over it reads the file as any other would. Arguments, results, hooks and what a failure
    /// leaves are those of LoadKeeping, which does the work where the file can't serve: it is no ordinary file, or
    /// empty; its file system keeps times by the second, and the file has changed just now; the space below has no room
    /// for it in one piece; or the class overrides ReplaceFile. For a file that has been changed just now it waits some
    /// milliseconds, to be able to tell the next change.
    ///
    /// The file is held, by this process and as `share` says, as long as a byte of it has not been changed or taken
    /// out. What others do to its name (rename, remove, replace by SaveSafely) does not matter. A change of its bytes
    /// or its size, an addition at the end as well, must not happen: from then on IsIntact is false, Save, WriteFile,
    /// WriteToFile and SaveSafely are resContextError before they touch their file, and what would read a page of it is
    /// a halt of VMem, "the loaded file has been changed" (FindPage), as is one that can't be read, "reading from the
    /// loaded file failed". It never gives other bytes than those that were loaded. Changes are told by size and time
    /// of change, looked at with each read; a program that writes by a shared mapping, or on another machine, may be
    /// seen late. A file that others change, a log say, is for LoadKeeping.
    ///
    /// The object, and others of the thread, can be saved over the file. SaveSafely copies nothing: the old file keeps
    /// its bytes without a name. Save, WriteFile, WriteToFile and hsWriteInPlace first bring into the swap file what
    /// contents of the thread still have in the file; if that fails they return the result of it. The first change of
    /// a page costs more than a later one, since the swap file, a sparse one, gets room for it.
    void LoadInPlace(const char* name, std::uint32_t share, HFileStamp* stamp = nullptr);

    /// False if a file that bytes of the content still come from (LoadInPlace) has been changed by others, so that they
    /// can't be read any more. One call of the system for each such file of the thread.
    bool IsIntact() const;

    /// Creates the named file, held exclusively, and writes the whole content into it; the position ends at the end.
    /// Without `overwrite` an existing file is left alone (resAlreadyExists), with it emptied first. Does nothing while
    /// `res` is set; a file that can't be made leaves the position alone. A failure on the way leaves a partly written
    /// file: a host that can't afford that writes to a new name and renames. Flags play no part and are not changed.
    void WriteFile(const char* name, bool overwrite);

    /// SetPos(0), which clears an earlier error, and then WriteFile.
    void Save(const char* name, bool overwrite);

    /// Replaces the named file by the content so that it is the old or the new one at any time, by HFileSave
    /// (hostfile/hfilesave.h), whose ways `how` takes (hsMayWriteInPlace, ...) and whose results come to stand in
    /// `res`: resNotSupported, the file can't be replaced; resContextError, it is not what `stamp` says; and so on. Any
    /// failure leaves the old file whole, if it was not to be written in place. The content is read as by Save:
    /// SetPos(0), then ReadBytes; the position ends at the end, or where a failure came. Flags play no part and are not
    /// changed. `stamp`, if not null: what the file must still be, if anything; afterwards what it now is, for the next
    /// saving.
    void SaveSafely(const char* name, int how = 0, HFileStamp* stamp = nullptr);

    /// Writes up to `count` bytes from the position on to an open handle, and moves past them; MaxLen writes the
    /// rest. A negative count or InvalidHandle is resCallError. A write that fails gives GetFileRes(), also after a
    /// part that was taken, and one that comes short without a failure resDiskFull; the position then is one piece of
    /// up to 1024 bytes ahead of what reached the file. The bytes come through ReadBytes; a derived one that gives none
    /// of them, or more than were asked for, is resNotDone.
    void WriteToFile(FileHandle h, std::int32_t count);

    /// The same to an open HFile. A failure gives GetFileRes(f), and `f` keeps its own `res`.
    void WriteToFile(HFile& f, std::int32_t count);
    /// @}

    /// @name Settings of the calling thread
    /// They act on the thread's VMem while it has a VFile, and wait for the next one while it has none. They end with
    /// the thread; a new thread starts with 4000 KB and no temp directory.
    /// @{
    /// Gives back the memory that the thread's objects can do without, and loses nothing: what stands in their block
    /// buffers goes to VMem, as by Flush, their ways to far positions are forgotten and found anew when needed, and all
    /// cached pages move to the swap file. For a host that has many objects, or is idle. An object whose PreChange runs
    /// keeps its buffer. Halts where VMem can't write.
    static void ReleaseMemory();

    static std::int32_t GetCacheUse();   ///< Kilobytes that the cached pages take now; 0 without a VMem.
    static std::int32_t GetCacheLimit(); ///< The limit on that.
    /// Sets the limit. A negative one counts as 0; one page is always kept. 2121728 is enough for all that there can
    /// be.
    static void SetCacheLimit(std::int32_t kb);

    static void ReleaseCache();                   ///< Moves all cached pages to the swap file. No data is lost.
    static std::int16_t GetCacheSize();           ///< GetCacheUse, at most 32767.
    static std::int16_t GetMaxCacheSize();        ///< GetCacheLimit, at most 32767.
    static void SetMaxCacheSize(std::int16_t kb); ///< SetCacheLimit.

    /// The same; what passes 32767, the greatest limit, counts as that.
    static void SetMaxCacheSize(long long kb);
    VFILE_LOCAL static void SetMaxCacheSize(int kb) { SetMaxCacheSize(static_cast<long long>(kb)); }
    VFILE_LOCAL static void SetMaxCacheSize(long kb) { SetMaxCacheSize(static_cast<long long>(kb)); }
    VFILE_LOCAL static void SetMaxCacheSize(unsigned long long kb) {
        SetMaxCacheSize(kb < 32767 ? static_cast<int>(kb) : 32767);
    }
    VFILE_LOCAL static void SetMaxCacheSize(unsigned long kb) { SetMaxCacheSize(static_cast<unsigned long long>(kb)); }
    VFILE_LOCAL static void SetMaxCacheSize(unsigned int kb) { SetMaxCacheSize(static_cast<unsigned long long>(kb)); }

    /// The directory asked for by SetTempDir, null if none. Valid until the next change of the setting, and until the
    /// first VFile of the thread comes or the last one goes.
    static const char* GetTempDir();

    /// Where the next swap file is to be made; copied. Null or empty: where TMP, TEMP or TMPDIR say, or the system's
    /// own place. These also come next where no file can be made in `dir`. VMem::SetTempDir tells what is too long.
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

    // ---- Lines and text ----------------------------------------------------------------------------------------

    /// @name Lines
    ///
    /// A line end is CR LF, a lone CR or a lone LF, in any mix; LF CR is two. A line is the bytes up to and including
    /// its line end; after the last line end lies one more line, of length 0 at least. A position between the CR and
    /// the LF of a pair belongs to the line that the pair ends. Every other byte is text, NUL and tab included.
    ///
    /// The line around a position is found by reading, without any index, so the cost is the length of the line. A
    /// class that overrides ReadByte or ReadPrevByte sees each byte that is read so, all others are read in whole
    /// blocks with the same outcome. The queries move `pos`, as each tells, and so clear `res` and `eof`; whoever
    /// needs `pos` afterwards saves it first. A negative `p` gives resCallError, 0 as the result and no move; one
    /// beyond the end counts as the end. All halt ("VFile") on any thread but the owner's.
    /// @{

    /// The start of the line that holds `p`. For `p` 0 nothing is moved; else `pos` and `eof` are afterwards
    ///
    ///     result 0                                  pos 0            eof
    ///     result r after a line end, found going   pos r - 1        not eof
    ///     back from p
    ///     result p, a lone CR before it             pos p + 1        not eof
    ///     the same, p is the end                    pos p            eof
    std::int32_t LineStart(std::int32_t p);

    /// The line that holds `p`: its start, its length with its line end, and the length of that line end: 0, 1 or 2.
    /// With a negative `p` the three stay as they were. `pos` goes past the line end, one byte further after a lone
    /// CR that has a byte after it; `eof` is set if the line ends with the content, by a lone CR or by no line end.
    void LineSize(std::int32_t p, std::int32_t& start, std::int32_t& size, std::int32_t& eolSize);

    /// The end of the line that holds `p`: after its line end, or before that without `withEol`. `pos` and `eof` as
    /// after LineSize.
    std::int32_t LineEnd(std::int32_t p, bool withEol);

    /// The number of blanks (32; no tabs) at the start of the line that holds `p`. `pos` goes past the byte that
    /// ended the count; `eof` is set if the end of the content did.
    std::int32_t LineIndent(std::int32_t p);
    /// @}

    /// @name Lines by number
    ///
    /// Lines count from 0, as positions do; what a line is stands above. The questions leave the object alone, `pos`,
    /// `eof` and `res` included, but for a negative argument: resCallError, with the result 0. All halt ("VFile") on
    /// any thread but the owner's.
    ///
    /// The first question counts the line ends of the content, in one pass. From then on the object keeps the counts
    /// right through every change, at a cost that follows the size of the change, and a question costs O(log n) and a
    /// look through some thousand bytes. The counts take about 1.5 bytes of RAM, at most 2, for 1024 of content. A
    /// change that makes more than a quarter of the content new (from 64 KiB on) drops them, and so does a change for
    /// which there is no memory: the next question then counts anew. Without memory for them at all, each question
    /// takes one pass. An object that is never asked pays nothing.
    ///
    /// A class that overrides ReadByte has the lines of what that gives. Nothing is kept then: each question goes to 0
    /// by SetPos, reads byte by byte up to the answer, and goes back to the old position by SetPos. What an override
    /// throws passes through, with the position left where it is. Such a class must not ask from PreChange.
    /// Method: counted B-tree (Bayer and McCreight 1972, with sums in place of keys) over chunks of the content.
    /// @{

    /// How many there are: one more than line ends, so 1 in an empty object.
    std::int32_t LineCount();

    /// The number of the line that holds `p`; beyond the end: of the last one.
    std::int32_t LineOf(std::int32_t p);

    /// Where line `n` starts; the length if there are no more than `n`. So line n is what lies from LineAt(n) up to
    /// LineAt(n + 1), for every n.
    std::int32_t LineAt(std::int32_t n);
    /// @}

    /// @name Pairs of CR and LF
    /// They leave `pos` after the last byte that they have looked at, in the direction they went, with `eof` set if
    /// they ran off the content. The first two make no test of `p`: for a negative one `res` becomes resCallError and
    /// the answer says nothing.
    /// @{
    bool AfterCRLF(std::int32_t p);   ///< the two bytes before `p` are CR LF
    bool BeforeCRLF(std::int32_t p);  ///< the two bytes from `p` on are CR LF
    bool BetweenCRLF(std::int32_t p); ///< the bytes around `p` are CR and LF; false, with no move, for `p` below 1
    /// @}

    /// Reads from `pos` to the next line end and goes past it. Stores the line without its line end, at most
    /// `size` - 1 bytes, and a NUL; returns the number of bytes stored without the NUL. What doesn't fit is read and
    /// dropped without a report. `eof` is set if the content ended without a line end, also with no byte read at all:
    /// so an empty line returns 0 without `eof`, and the end returns 0 with it. A null `dst` or a `size` below 1 sets
    /// resCallError and returns 0. Does not look at `res`, and tests the thread only where it returns after a lone CR.
    int ReadLine(char* dst, int size);

    /// Reads `count` bytes from position `from` on, line ends as they stand, and stores at most `size` - 1 of them and
    /// a NUL; returns the number stored. `from` and `count` are cut to the content. Leaves `pos` after what was read,
    /// and clears `res` and `eof`.
    /// A null `dst`, a `size` below 1, a negative `from` or `count` sets resCallError and returns 0.
    int ReadTxt(char* dst, int size, std::int32_t from, std::int32_t count);

    // ---- Search ------------------------------------------------------------------------------------------------

    /// @name Search
    ///
    /// They look for the bytes of `pattern`, a string that must not be null. With `ignoreCase` the ASCII letters match
    /// in both cases, as toupper of the host's locale folds them; bytes from 0x80 up match only themselves in any
    /// locale. With `wholeWord` a match counts only if the byte before it and the byte after it are no letters or
    /// digits by isalnum of the host's locale; the edges of the content are no word bytes, nor is the underscore. The
    /// next try after a match that doesn't count doesn't overlap that.
    ///
    /// A search moves `pos`, as told, and clears `res`; not finding is no error. A negative `at` sets resCallError and
    /// returns false, an empty pattern returns true; both change nothing else. Both halt ("VFile") on any thread but
    /// the owner's.
    ///
    /// Cost: each byte of the content is read once, whatever overlaps: by one virtual call each if the class overrides
    /// ReadByte (going back: ReadPrevByte), else over whole blocks with the same outcome. A mismatch after m matched
    /// bytes costs up to m * m comparisons within the pattern, most often a few. Nothing is allocated.
    /// @{

    /// Looks forward for the first match that starts at `at` or after. Found: true, and `at` is just after the match,
    /// where the next search goes on; `pos` is `at` + 1, or the end with `eof`; with `wholeWord` one byte before the
    /// match, or 0 with `eof`. Not found: false, `at` is no position but the length + 1, or itself + 1 if it was above
    /// the length (at most 0x7FFFFFFF); `pos` is the end, `eof` is set.
    bool Find(std::int32_t& at, const char* pattern, bool ignoreCase, bool wholeWord);

    /// Looks backward for the first match that ends at `at` or before; an `at` beyond the end counts as the end. Found:
    /// true, and `at` is the start of the match, where the next search goes on; `pos` is `at` - 1, or 0 with `eof`;
    /// with `wholeWord` one byte after the match, or the end with `eof`. Not found: false, `at` is -1, `pos` is 0 and
    /// `eof` is set.
    bool FindBack(std::int32_t& at, const char* pattern, bool ignoreCase, bool wholeWord);

    /// Replaces every match that Find finds from position 0 on, wherever `pos` is, each by one ReplaceBuf, and returns
    /// their number. New bytes are not searched, though a whole word is told by what then stands around it; a match
    /// that forms across a replacement is not found. Clears an old `res` by its first search. `pos` is the end
    /// afterwards, and `eof` is set. If a change is refused, the work ends there: `res` says why, and what has been
    /// replaced stays. An empty pattern replaces nothing, returns 0 and leaves `pos`, `eof` and `res` alone.
    /// `replacement` must not be null. Halts ("VFile") on any thread but the owner's.
    std::int32_t ReplaceGlobal(const char* pattern, const char* replacement, bool ignoreCase, bool wholeWord);
    /// @}

    Res res;           ///< Sticky result of the last failed operation, resDone when all is well.
    bool eof;          ///< The last read ran out of bytes.
    std::int32_t base; ///< Radix of number output, 10 at first; from 2 to 36.

  protected:
    std::int32_t pos;   ///< The position, 0 to len.
    std::int32_t len;   ///< The length.
    std::int32_t flags; ///< The flag word.
    std::int32_t type;  ///< The kind number; above 0 it lets the scan for line ends run.

  private:
    friend class VFileEdits;
    friend class vfile_internal::Change;
    friend class vfile_internal::HistoryRecord;
    friend class vfile_internal::Observed;
    friend class vfile_internal::SpanReader;
    friend class vfile_internal::VFileCheck;
    friend struct vfile_internal::Content;

    VFILE_LOCAL explicit VFile(vfile_internal::Content*& made); // empty, over what is there already
    void Init(vfile_internal::Content* made = nullptr);
    VFILE_LOCAL void LoadWhole(const char* name, std::uint32_t share, HFileStamp* stamp, bool inPlace);
    VFILE_LOCAL void SaveBeside(const char* name, int how, HFileStamp* stamp);

    vfile_internal::Content* content; // blocks, cursor, buffer; never null in a live object
};

/// Exchanges what two objects are, as the move constructor takes it over; each keeps its class and kind number. Both
/// must belong to the calling thread, else a halt ("VFile").
VFILE_API void swap(VFile& a, VFile& b) noexcept;

/// Sets the calling thread up for VFile. Only a thread that ran before the library was loaded needs to call it, before
/// its first VFile; on all others it has no effect. False if out of memory.
VFILE_API bool VFile_InitializeThread();

/// Ends what VFile_InitializeThread began, with the thread's settings. Halts if the thread still has a VFile. Threads
/// end by themselves otherwise. Always true; without effect on a thread that isn't set up.
VFILE_API bool VFile_UninitializeThread();

/// True if the calling thread is set up for VFile.
VFILE_API bool VFile_IsThreadInitialized();

/// The library's entry, which the loader's notices call: `reason` 1 process start, 2 thread start, 3 thread end, 0
/// process end. Returns 0 if a start failed, else 1. `module` and `reserved` play no part. Hosts have no use for it.
VFILE_API int DllMain(void* module, std::uint32_t reason, void* reserved);
