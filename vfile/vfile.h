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
class VFileCheck;
}

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

/// One block of a VFile's chain. Internal.
struct BlkDesc {
    BlkDesc* prev;    // previous block, NIL at the first
    BlkDesc* next;    // next block, NIL at the last
    std::int16_t len; // bytes in use, from the block's first byte on
    std::int32_t adr; // VMem address of the block's page, -1 if it has none
};

/// A reading cursor over a chain. Internal.
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
/// does every successful change, which ends in one. Reads don't look at it. `eof` tells whether the last read ran out.
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
/// to every object.
/// **Failures** beside result codes are halts: no memory for a descriptor, and whatever stops VMem.
/// **Cost.** A position is sought from the nearest of the first, the current and the last block; a change moves bytes
/// in at most three blocks; bytes in the current block cost no call of VMem.
class VFILE_API VFile {
  public:
    /// An empty object. The first one of a thread makes the thread's VMem. Halts if the heap has no room, or if the
    /// thread is older than the library and has not called VFile_InitializeThread.
    VFile();

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
    /// PreChange (its result). The last two leave the position at the clamped `pos`, all others leave it alone.
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

    virtual VFile& operator=(const VFile& src);
    virtual VFile& operator=(const char* s);
    virtual VFile& operator=(char c);
    virtual VFile& operator=(signed char c);
    virtual VFile& operator=(unsigned char c);

    /// @name Diagnostics of a derived class
    /// Empty here, and never called by the library.
    /// @{
    virtual void CheckInvariants() const;
    virtual void Show(const char* text) const;
    virtual void Dump() const;
    /// @}

  protected:
    /// @name Hooks
    /// Called on the object's thread, inside the operation that they tell of, with the clamped position, the clamped
    /// old length and the length of the new run. They must not change the content of the object.
    /// @{

    /// Before a change, with the content still as it was. Anything but resDone refuses the change and becomes its
    /// result.
    virtual int PreChange(std::int32_t pos, std::int32_t oldLen, std::int32_t newLen) const;

    /// After a change, with the new content and length, and the position still at the change. Here it sets vfModified
    /// if vfTrackModified is on; a derived one that wants that calls it.
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
    /// `res` is set. A failure on the way leaves a partly written file: a host that can't afford that writes to a new
    /// name and renames. Flags play no part and are not changed.
    void WriteFile(const char* name, bool overwrite);

    /// WriteFile, with an earlier error cleared first.
    void Save(const char* name, bool overwrite);

    /// Writes up to `count` bytes from the position on to an open handle, and moves behind them; MaxLen writes the
    /// rest. A negative count or InvalidHandle is resCallError. A write that fails gives GetFileRes(), one that comes
    /// short resDiskFull; the position then is one piece of up to 1024 bytes ahead of what reached the file.
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

    VMem* vm;            // the thread's; borrowed
    BlkDesc* first;      // never NIL in a live object
    BlkDesc* last;       // never NIL in a live object
    BlkRdr cur;          // the block of the current position
    unsigned char* buf;  // BlkSize bytes for the current block, NIL until first needed
    bool bufLoaded;      // buf holds the bytes of cur.ptr
    bool bufDirty;       // buf holds changes that vm has not got
    std::uint32_t owner; // the thread that made the object

    void Init();
    bool OnOwnerThread() const;

    // The chain (block_chain.cpp).
    void AllocBuf(std::int32_t& adr, std::int16_t n);
    BlkDesc* NewBlkPtr(BlkDesc* prev, BlkDesc* next, std::int16_t n);
    void DisposeBlkPtr(BlkDesc*& p);
    void DisposeBlkPtrList(BlkDesc*& p);
    void RemoveBlk(BlkDesc* blk);
    void SpliceBehind(BlkDesc* blk, BlkDesc* p1, BlkDesc* p2);
    static void FindBlk(BlkRdr& rd, BlkDesc* first, BlkDesc* last, std::int32_t total, std::int32_t p, bool toPrev);

    // The cursor and its buffer (cursor.cpp), and the cursor that leaves the object alone (const_cursor.cpp).
    void LeaveBlk(const BlkDesc* blk);
    bool EnterBlkAhead();
    bool EnterBlkBefore();
    bool HaveBuf();
    bool LoadBuf();
    unsigned char ByteAtCursor();
    void SetPosC(BlkRdr& rd, std::int32_t p) const;
    static void EnterBlkAheadC(BlkRdr& rd, const char* proc);
    void ReadByteC(BlkRdr& rd, unsigned char& b) const;
    void ReadBytesC(BlkRdr& rd, void* dst, int n) const;

    // The change engine (change.cpp) and its sources (change_sources.cpp).
    bool MayChange();
    bool ClampChange(std::int32_t& at, std::int32_t& oldLen, std::int32_t newLen);
    void InitChange(std::int32_t p);
    bool FitsInPlace(std::int32_t oldLen, std::int32_t newLen) const;
    void ChangeInPlace(std::int32_t oldLen, const void* src, std::int32_t n);
    void CheckCurLen();
    void AddPrivate(BlkDesc*& p1, BlkDesc*& p2, const void* bytes, std::int16_t n);
    void DoChange(std::int32_t oldLen, const unsigned char* head, int headLen, BlkDesc* p1, BlkDesc* p2);
    void CheckEOL(const void* src, int n);
    void ReplaceFrom(std::int32_t at, std::int32_t oldLen, HFile* f, FileHandle h, std::int32_t count);
    std::int32_t StageFile(BlkDesc*& p1, BlkDesc*& p2, HFile* f, FileHandle h, std::int32_t count);

    // Saving (load_save.cpp).
    void WriteTo(HFile* f, FileHandle h, std::int32_t count);
    void WritePiece(HFile* f, FileHandle h, const void* bytes, int n);

    // The thread environment (thread_env.cpp): four words of the slot table.
    static std::uint32_t slotVFileCount; // number of live VFile objects of the thread
    static std::uint32_t slotVMem;       // its VMem, NIL while that number is 0
    static std::uint32_t slotTempDir;    // heap copy of its temp directory, NIL when none
    static std::uint32_t slotMaxCache;   // its cache limit in kilobytes
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

/// Sets the calling thread up for VFile. Only a thread that ran before the library was loaded needs to call it, before
/// its first VFile; on all others it has no effect. False if the heap has no room.
VFILE_API bool VFile_InitializeThread();

/// Ends what VFile_InitializeThread began, with the thread's settings. Halts if the thread still has a VFile. Threads
/// end by themselves otherwise.
VFILE_API bool VFile_UninitializeThread();

/// True if the calling thread is set up for VFile.
VFILE_API bool VFile_IsThreadInitialized();

/// The library's entry, which the loader's notices call: `reason` 1 process start, 2 thread start, 3 thread end, 0
/// process end. Returns 0 if a start failed, else 1. `module` and `reserved` play no part. Hosts have no use for it.
VFILE_API int DllMain(void* module, std::uint32_t reason, void* reserved);
