/// @file
/// VMem: a paged virtual memory with a bounded cache and a swap file that is made only when it is needed.
#pragma once

#include "platform/platform.h"

#include <cstdint>

struct CacheDesc;
struct PageSlab;

namespace vfile_internal {
class VMemCheck;
}

/// VMem: a flat space of bytes, addressed by 32-bit signed numbers, of which a bounded number of pages stays in RAM;
/// the others lie in a swap file or were never written and read as zeros. An allocator hands out ranges of the space
/// and takes them back; its free lists lie in the space itself.
///
///     cacheHead <-> {4096 dirty} <-> {0} <-> {9216 dirty} <-> cacheTail     the tail is the next page to go
///     hashTable[adr / 1024 % 4016] -> {4096}                                the page that holds the slot, or NIL
///     chains[adr / 1024 % 8192] -> {8392704} -> {4096} -> NIL               all cached pages of this remainder
///     swap file, at offset adr: the bytes of address adr, as far as they have been written
///
///     |  block | free 100 |   block   | free page |    page   |...
///     0           \__ mixed list         \__ free page list     topAdr: never handed out from here on
///
/// **Replacement.** A page that holds its slot is found without a change to the list, so it ages like an untouched one.
/// Any other page, found in its chain or loaded, goes to the head and takes its slot. When the cache is full the tail
/// goes, and is written to the swap file if it is dirty.
///
/// **Allocation.** A block that is given back goes to the first place that takes it: the top, if it is the highest one;
/// the free page list, if it is a whole page; a class, the list of blocks of exactly its length (classes for 4, 5 and
/// 1024 bytes are always there, others come and go, 16 at most); or the mixed list. Blocks are never merged and have no
/// header: the caller remembers the length.
///
/// True between any two operations of a live object:
///
///  - C1 cacheCount is the length of the list, which reads the same from both ends.
///  - C2 Every page of the list is in its own chain, no page address is there twice, and the chains hold nothing else.
///       A slot that is not NIL points at a page of the list whose own slot it is.
///  - C3 cacheCount is at most maxCacheCount, but one page is always allowed; maxCacheCount is maxCacheKb in pages.
///  - C4 fileSize is a multiple of 1024, and 0 while there is no swap file.
///  - C5 A clean page below fileSize equals its bytes in the swap file; a clean page above is all zeros.
///  - C6 Pages read ahead lie below fileSize and equal their bytes in the swap file (deep). There are none while the
///       cache is limited to less than 256 pages.
///  - C7 stamp falls from page to page toward the tail.
///  - C8 A slab that is listed has a free page, and as many in use as are cached or in reserve (deep).
///  - A1 The classes 1 to 3 have the lengths 4, 5 and 1024, no two classes have the same length, a class above 3 has a
///       block, and the entries above classCount hold -1, 0 and 0.
///  - A2 The head of a list is -1 if and only if its count is 0.
///  - A3 Each list ends after as many blocks as are counted, and each block is one that this list takes.
///  - A4 Free blocks lie below topAdr and have no byte in common.
///
/// **Ownership.** Owns its pages, its swap file and its texts. Bytes are copied in and out; no pointer into a page ever
/// reaches a host. Can't be copied.
///
/// **Threads.** Works for the thread that made it and has no lock: each public operation but WriteStatus, and the
/// destructor, halts through HaltA("VMem", line) on any other thread. The child of a fork is another thread, too.
///
/// **Failures.** None is ordinary. A bad address or length, a swap file that can't be made, read or written, no memory
/// for a page: each halts through Halt("VMem", operation, text). If the halt procedure returns or leaves by other
/// means, a page that could not be written is still cached and dirty, and one that could not be read is not cached.
///
/// **The swap file** is made in the first directory that can be read and written, of the one given to SetTempDir, the
/// environment variables TMP and TEMP, and the system's own temporary directories; one whose text is longer than 255
/// bytes, closing separator included, is passed over. It belongs to this object alone, has no name as soon as it is
/// open, and is gone when it is closed, whatever way the process ends. It grows up to the highest page written and
/// never shrinks.
///
/// **Cost.** A page that holds its slot costs a few nanoseconds and the copy. One that does not costs a walk of its
/// chain, which seldom has a second page. A miss adds one read of 1024 bytes, and one write if a dirty page goes. A
/// cache of 256 pages or more shares these calls: where misses run upward it reads up to 64 KiB ahead, and a dirty page
/// that goes takes those along that lie in the same 64 KiB of the file, are dirty and among the next 64 to go; they
/// stay cached, clean.
///
/// **Memory.** The object itself takes more than 40 KB: a host should not put it on a small stack. From the heap come
/// some 1080 bytes for a cached page (for a cache of 256 pages or more, 64 pages at a time), the two texts, at most 128
/// KiB of buffers for reading ahead, and a table of chains, 16 to 32 bytes for each page of the limit. Buffers and
/// table are done without if the heap has no room, and pages then come one by one.
///
/// **Units.** Addresses and lengths count bytes, and cache sizes kilobytes, in which a page counts 1036 bytes. Address
/// 0 is an ordinary one; -1 means none. The space ends below address 2147483647.
class VFILE_API VMem {
  public:
    /// Bytes of a page, and of one read or write of the swap file.
    static constexpr std::int32_t PageSize = 1024;

    /// An empty space with a cache limit of 4000 kilobytes, owned by the calling thread. Takes one page from the heap,
    /// which is held in reserve for an empty cache: so one page at least can always be held, whatever the limit. Halts
    /// with "p==NIL" (NewCachePtr) if the heap has none.
    VMem();

    /// Drops all pages, closes the swap file and frees everything, on the owner's thread. Writes nothing.
    ~VMem();

    VMem(const VMem&) = delete;
    VMem& operator=(const VMem&) = delete;

    /// @name Transfers
    /// Copy `len` bytes from the space to `buf`, or from `buf` to the space. With `len` 0 nothing happens, whatever
    /// `adr` and `buf` are. Bytes that were never written read as zeros. Tests, in this order: `len` below 0 halts with
    /// "length of specified virt.memory must be >0", `adr` below 0 with "illegal address (<0)", a range that ends above
    /// the highest address handed out with "illegal address (>max.address)" (all three CheckAdr), `buf` NIL with
    /// "buffer address must not be 0" (Get or Set). Whether the range belongs to one block, or to any, is not tested.
    ///
    /// A page that is not cached can halt with "p==NIL" (NewCachePtr), "reading from swap file failed" or "seeking in
    /// swap file failed" (FindPage), and where it pushes out a dirty one with the halts of FlushCache. Pages before the
    /// bad one have been moved then.
    /// @{
    void Get(std::int32_t adr, void* buf, std::int16_t len);       ///< from the space to `buf`
    void Set(std::int32_t adr, const void* buf, std::int16_t len); ///< from `buf` to the space
    /// @}

    /// @name Typed transfers
    /// Get or Set of one value at `adr`, in the byte order of the host; no alignment is asked for. A value moves in its
    /// own width, a pointer and a `long` in that of the host. A `long double` moves as a `double` of 8 bytes, and loses
    /// what that can't hold.
    /// @{

    /// One value, in its own width.
    void Get(std::int32_t adr, char& value);
    void Get(std::int32_t adr, signed char& value);
    void Get(std::int32_t adr, unsigned char& value);
    void Get(std::int32_t adr, short& value);
    void Get(std::int32_t adr, unsigned short& value);
    void Get(std::int32_t adr, int& value);
    void Get(std::int32_t adr, unsigned int& value);
    void Get(std::int32_t adr, long& value);
    void Get(std::int32_t adr, unsigned long& value);
    void Get(std::int32_t adr, long long& value);
    void Get(std::int32_t adr, unsigned long long& value);
    void Get(std::int32_t adr, float& value);
    void Get(std::int32_t adr, double& value);
    void Get(std::int32_t adr, long double& value);
    void Get(std::int32_t adr, void*& value);
    void Set(std::int32_t adr, char value);
    void Set(std::int32_t adr, signed char value);
    void Set(std::int32_t adr, unsigned char value);
    void Set(std::int32_t adr, short value);
    void Set(std::int32_t adr, unsigned short value);
    void Set(std::int32_t adr, int value);
    void Set(std::int32_t adr, unsigned int value);
    void Set(std::int32_t adr, long value);
    void Set(std::int32_t adr, unsigned long value);
    void Set(std::int32_t adr, long long value);
    void Set(std::int32_t adr, unsigned long long value);
    void Set(std::int32_t adr, float value);
    void Set(std::int32_t adr, double value);
    void Set(std::int32_t adr, long double value);
    void Set(std::int32_t adr, void* value);
    /// @}

    /// Copies `len` bytes inside the space, as if through a buffer of that size: the ranges may overlap. Nothing
    /// happens with `len` 0, or with `dst` equal to `src`. A negative `len` halts with "len must be >=0"; addresses are
    /// tested as by Get and Set, piece by piece of at most 1024 bytes.
    void CopyBytes(std::int32_t dst, std::int32_t src, std::int16_t len);

    /// Kilobytes that the cached pages count for now, rounded down: a full default cache reads 3999.
    std::int16_t GetCacheSize();

    /// The cache limit in kilobytes, as it was set.
    std::int16_t GetMaxCacheSize();

    /// Sets the cache limit in kilobytes; below 0 counts as 0. One page is cached whatever the limit. A smaller limit
    /// writes out and drops pages at once, from the head of the list, so those that were loaded last go first and the
    /// cache halts as FlushCache does. 32767 is the greatest limit, 32387 pages.
    void SetMaxCacheSize(std::int16_t kb);

    /// The directory that was set by SetTempDir, NIL if there is none; not the one in use. The text belongs to the
    /// object and lives until the next SetTempDir.
    const char* GetTempDir();

    /// Sets the first choice for the directory of the next swap file; one that is open stays where it is. The text is
    /// copied. NIL or an empty text sets none, and so does, without a report, a heap that has no room for the copy.
    /// `dir` may be the text that GetTempDir gave.
    void SetTempDir(const char* dir);

    /// Writes every dirty page to the swap file, which is made if there is a page to write; all pages stay cached.
    /// Halts with "swap file creation failed", "seeking in swap file failed" or "writing on swap file failed (disk
    /// full?)" (FlushCachePtr, the last two also ExtendFile, which fills the gaps before a page).
    void FlushCache();

    /// Writes every dirty page to the swap file and empties the cache. No data is lost: the next use of a page reads it
    /// back. Halts as FlushCache.
    void ReleaseCache();

    /// Does nothing.
    void WriteStatus();

    /// Hands out a block of `len` bytes, 1 to 32767, at least 4; `adr` receives its address. It comes from the first
    /// of: the free page list (only if `len` is 1024), the class of this length, a block of exactly this length on the
    /// mixed list, the front of the largest block there if that is at least 4 bytes longer, the top. It is not aligned,
    /// and not cleared: it holds what its bytes last held, zeros if they were never used. `len` below 1 halts with "len
    /// must be >0", and a block that would end above address 2147483647 with "illegal address (>max.address)"; `adr` is
    /// -1 then, as after a halt of the swap file, and nothing is handed out. Costs one read of a link, or a walk of the
    /// mixed list if no class has a block.
    void Alloc(std::int32_t& adr, std::int16_t len);

    /// Hands out a page: 1024 bytes at an address that is a multiple of 1024, the last page given back if there is one,
    /// else a new one above the top. The bytes between the old top and that page become a free block; less than 4 bytes
    /// can't, and the page then moves up by another 1024. Halts with "illegal address (>max.address)" as Alloc does.
    void AllocPage(std::int32_t& adr);

    /// Gives a block back, with the length that was asked for, and sets `adr` to -1. A block is lost to the space for
    /// good if the length is wrong, and the lists are damaged if a block is given back twice by copies of its address;
    /// neither can be told. Halts with "len must be >0" (Dealloc0) if `len` is below 1, and as Get does if the block
    /// does not lie in the space, so also when `adr` is -1. `adr` stays as it is then, and after a halt of the swap
    /// file.
    void Dealloc(std::int32_t& adr, std::int16_t len);

    /// Dealloc of a page. Halts with "address is not a page address" if `adr` is no multiple of 1024, as -1 is none.
    void DeallocPage(std::int32_t& adr);

    /// Gives back everything: the space is empty, each address illegal, and the swap file is closed and gone. Writes
    /// nothing. Temporary directory and cache limit stay. The page in reserve is given back, too, for good.
    void DeallocAll();

  private:
    friend class vfile_internal::VMemCheck;
    friend class VFile; // reads blocks where they lie

    static constexpr int SlotCount = 4016;       // slots of hashTable
    static constexpr int OwnChains = 1024;       // chains that need no heap
    static constexpr int MaxClasses = 16;        // exact-size classes at most
    static constexpr unsigned char FillByte = 0; // of the gaps in the swap file

    // Misses that run upward, and the pages that were read ahead for them.
    struct Run {
        std::int64_t next;       // the page behind the last miss
        int length;              // misses so far, as far as they count
        std::int64_t start, end; // addresses that `pages` holds, none if they are equal
        unsigned char* pages;    // AheadPages, NIL until they are needed
    };
    static constexpr int RunCount = 2; // as when two contents are compared

    FileHandle swapFile;             // the open swap file, InvalidHandle while there is none
    char* tempDir;                   // directory asked for by SetTempDir, or NIL
    char* swapName;                  // path of the open swap file, or NIL; for dumps alone
    std::uint32_t owner;             // thread that made the object; 0 once it is destroyed
    CacheDesc* sparePage;            // descriptor in reserve for an empty cache, NIL after DeallocAll
    CacheDesc* cacheHead;            // the page that last took the slow road, NIL if the cache is empty
    CacheDesc* cacheTail;            // the next victim
    CacheDesc* hashTable[SlotCount]; // the page that holds the slot, NIL if there is none
    CacheDesc** chains;              // all cached pages by their number modulo chainCount; ownChains or from the heap
    std::uint32_t chainCount;        // a power of two
    CacheDesc* ownChains[OwnChains]; // for a limit of half as many pages, and where the heap has no room
    std::uint64_t moves;             // pages moved to the head so far: the last stamp
    std::int16_t cacheCount;         // cached pages
    std::int16_t maxCacheCount;      // their limit; one page is always allowed
    std::int16_t maxCacheKb;         // the same limit in kilobytes, as the caller gave it
    std::int32_t topAdr;             // first address never handed out
    std::int64_t fileSize;           // bytes of the swap file written so far; the last page can end at 2 GiB
    Run runs[RunCount];              // the last ones
    int lastRun;                     // which of them had the last miss
    PageSlab* slabs;                 // those that have a free page
    std::int16_t classCount;         // exact-size classes in use
    std::int32_t freeHead[MaxClasses + 1];  // first free block: of the mixed list [0], of the classes [1..]; -1 if none
    std::int16_t classLen[MaxClasses + 1];  // block length of a class; 0 for the mixed list
    std::int32_t freeCount[MaxClasses + 1]; // blocks on each list
    std::int32_t freePages;                 // first free page, -1 if none
    std::int32_t freePageCount;             // pages on that list

    // Tests of an access.
    bool OnOwnerThread() const;
    bool CheckAdr(std::int32_t adr, std::int16_t len) const;
    bool HaltOnAdr(std::int32_t adr, std::int16_t len) const;

    // The two roads of a transfer.
    const unsigned char* Peek(std::int32_t adr, std::int16_t len);
    CacheDesc* PageAtHand(std::int32_t adr, std::int16_t len) const;
    bool GetPages(std::int32_t adr, void* buf, std::int16_t len);
    bool SetPages(std::int32_t adr, const void* buf, std::int16_t len);
    bool MovePiece(std::int32_t dst, std::int32_t src, std::int16_t len);

    // The cache (page_cache.cpp).
    static int SlotOf(std::int32_t adr);
    CacheDesc*& ChainOf(std::int32_t adr) const;
    CacheDesc* Lookup(std::int32_t adr) const;
    CacheDesc* FindPage(std::int32_t adr, bool toFill = false);
    CacheDesc* TakeDescriptor();
    void LinkAtHead(CacheDesc* p);
    void Unlink(CacheDesc* p);
    void Enchain(CacheDesc* p, std::int32_t adr);
    void UnHashCachePtr(CacheDesc* p);
    void NewCachePtr(CacheDesc*& p);
    bool NewSlab(int count);
    void LinkSlab(PageSlab* slab);
    void UnlinkSlab(const PageSlab* slab);
    void PackSlabs();
    CacheDesc* MovePage(CacheDesc* p);
    void DisposeCachePtr(CacheDesc*& p);
    void DropPage(CacheDesc* p);
    void DropAllPages();
    void ShrinkTo(int count);
    void FitChains();
    void UseChains(CacheDesc** table, std::uint32_t count);

    // The swap file (swap_file.cpp).
    bool FlushCachePtr(CacheDesc* p);
    bool FlushVictim(CacheDesc* p);
    CacheDesc* GoesSoon(std::int64_t adr) const;
    void WriteTogether(const CacheDesc* victim);
    const char* LoadPage(unsigned char* data, std::int32_t adr);
    bool LoadAhead(unsigned char* data, std::int32_t adr);
    Run& RunOf(std::int32_t adr);
    void ForgetAhead(std::int64_t start, std::int64_t end);
    void DropBuffers();
    bool OpenSwap();
    bool ExtendFile(std::int32_t size);
    void CloseSwap();

    // The allocator (allocator.cpp).
    void ResetAllocator();
    int ClassOf(std::int16_t len) const;
    int ClassFor(std::int16_t len) const;
    std::int32_t PopFree(std::int32_t& head, std::int32_t& count);
    bool PushFree(std::int32_t adr, std::int32_t& head, std::int32_t& count);
    void RetireClass(int i);
    bool TakeFromMixed(std::int32_t& adr, std::int16_t len);
    bool ReadMixed(std::int32_t adr, std::int32_t& next, std::int16_t& len);
    bool UnlinkMixed(std::int32_t prev, std::int32_t next);
    bool PushMixed(std::int32_t adr, std::int16_t len);
    void Dealloc0(std::int32_t& adr, std::int16_t len, bool toClass);
};
