/// @file
/// VMem: a paged virtual memory with a bounded cache and a swap file that is made only when it is needed.
#pragma once

#include "../foundation/integer.h"
#include "../platform/platform.h"

#include <cstdint>
#include <type_traits>

namespace vfile_internal {
class Backing;
class BlockChain;
class ForkedChild;
class SwapFile;
class VMemCheck;
struct CacheDesc;
struct Memory;
} // namespace vfile_internal

/// VMem: a flat space of bytes, addressed by 32-bit signed numbers, of which a bounded number of pages stays in RAM;
/// the others lie in a swap file or were never written and read as zeros. An allocator hands out ranges of the space
/// and takes them back; its free lists lie in the space itself.
///
///     Get, Set                    Alloc, AllocPage, Dealloc
///        |                                   |
///        |        .------ links of free blocks
///        v        v                          v
///     cache: { page 4 } { page 0 } ...    | block | free | page | free | ...    the space
///        |                                0                           the top: never handed out from here on
///     swap file, at offset adr: the bytes of address adr, as far as they have been written
///
/// **Replacement.** The cached pages stand in a list. Of those whose numbers agree modulo 4016, the one that came last
/// holds their slot. A page that holds its slot is found without a change to the list, so it ages like an untouched
/// one. Any other page, cached or loaded, goes to the head and takes its slot. When the cache is full the tail goes,
/// and is written to the swap file if it has changed.
///
/// **Allocation.** A block that is given back goes to the first place that takes it: the top, if it is the highest one;
/// the free page list, if it is a whole page; a class, the list of blocks of exactly its length (classes for 4, 5 and
/// 1024 bytes are always there, others come and go, 16 at most); or the mixed list. Blocks are never merged and have no
/// header: the caller remembers the length.
///
/// **Growth.** A program that goes on giving back and asking for blocks of many lengths takes ever more of the space,
/// though it holds no more than before: what a split leaves fits fewer and fewer requests. Of 1000 blocks of 1 to 1000
/// bytes, 0.5 MB, one at random replaced by another 20,000 times: a space of 2.0 MB, three quarters of it free, and
/// still 33 bytes more each time; and each Alloc reads all of the mixed list. So a host rounds its lengths up to at
/// most 13 sizes of its own, for each of which there then is a class (the same in steps of 80 bytes stays at 0.7 MB),
/// or keeps small things together in larger blocks, or begins anew with DeallocAll. GetSpaceUsed and GetSpaceFree show
/// it coming.
///
/// **Ownership.** Owns its pages, its swap file and its texts. Bytes are copied in and out; no pointer into a page ever
/// reaches a host. Can't be copied.
///
/// **Threads.** Works for the thread that made it and has no lock: each public operation but WriteStatus, and the
/// destructor, halts through HaltA("VMem", line) on any other thread. So it is in the child of a fork, but for the
/// destructor: there that gives back memory at most, and leaves the swap file, which is the parent's, alone.
///
/// **Failures.** None is ordinary. A bad address or length, a swap file that can't be made, read or written, no memory
/// for a page: each halts through Halt("VMem", operation, text). If the halt procedure returns or leaves by other
/// means, an exception among them, a page that could not be written is still cached and dirty, one that could not be
/// read is not cached, and no free list is broken.
///
/// **The swap file** is made in the first directory where the process can make it, of the one given to SetTempDir, the
/// environment variables TMP, TEMP and TMPDIR, and the system's own temporary directories. It belongs to this object
/// alone, has no name, or none as soon as it is open, and is gone when it is closed, whatever way the process ends. It
/// grows up to the highest page written and never shrinks.
///
/// **Cost.** A page that holds its slot costs a few nanoseconds and the copy. One that does not costs a walk of its
/// chain, which seldom has a second page. A miss adds one read of 1024 bytes, and one write if a dirty page goes. A
/// cache of 256 pages or more shares these calls: where misses run upward it reads up to 64 KiB ahead, and a dirty page
/// that goes takes those along that lie in the same 64 KiB of the file, are dirty and among the next 64 to go; they
/// stay cached, clean. That stops where it does not serve: of n pages that are due to be read or to be written, less
/// than n + n / 8 + 128 are moved, and the swap file ends less than 64 KiB later.
///
/// **Memory.** The object has 16 bytes. From the heap come 41 KB for what it keeps of the cache, a table of chains, 16
/// to 32 bytes for each page of the limit (so 107 KB with the default one and no page yet, 46 KB with one of 100 KB),
/// some 1080 bytes for a cached page (for a cache of 256 pages or more, 64 pages at a time), the two texts, at most 128
/// KiB of buffers for reading ahead, and what the free page list has in RAM: a few KB as a rule, 8 bytes for each page
/// that VFile has given back at worst. Table, buffers and list are done without if there is no memory for them: pages
/// then come one by one, and links are written into the free ones.
///
/// **Units.** Addresses and lengths count bytes, and cache sizes kilobytes, in which a page counts 1036 bytes. Address
/// 0 is an ordinary one; -1 means none. The space ends below address 2147483647.
class VFILE_API VMem {
  public:
    /// Bytes of a page, and of one read or write of the swap file.
    VFILE_LOCAL static constexpr std::int32_t PageSize = 1024;

    /// @name Integers of any type
    /// Addresses, lengths and sizes can be given as any integer type; a bool and a floating type don't compile. What
    /// the width of the type told here can't hold is not cut: it counts as below or above all that is allowed.
    /// @{

    /// A byte of the space, 32 bits wide.
    struct Address : vfile_internal::IntegerArg<std::int32_t, INT32_MAX> {
        using IntegerArg::IntegerArg;
    };
    /// Bytes of a block or of a transfer, 16 bits wide: one above 32767 halts as one below 1 does.
    struct Length : vfile_internal::IntegerArg<std::int16_t, -1> {
        using IntegerArg::IntegerArg;
    };
    /// Kilobytes of the cache, 16 bits wide: above 32767 counts as 32767.
    struct Kilobytes : vfile_internal::IntegerArg<std::int16_t, INT16_MAX> {
        using IntegerArg::IntegerArg;
    };
    /// @}

    /// An empty space with a cache limit of 4000 kilobytes, owned by the calling thread. Takes one page from the heap,
    /// which is held in reserve for an empty cache: so one page at least can always be held, whatever the limit. Halts
    /// with "p==NIL" (NewCachePtr) if there is no memory for it or for the object's own.
    VMem();

    /// Drops all pages, closes the swap file and frees everything, on the owner's thread. Writes nothing.
    ~VMem();

    VMem(const VMem&) = delete;
    VMem& operator=(const VMem&) = delete;

    /// @name Transfers
    /// Copy `len` bytes from the space to `buf`, or from `buf` to the space. With `len` 0 nothing happens, whatever
    /// `adr` and `buf` are. Bytes that were never written read as zeros. Tests, in this order: `len` below 0 halts with
    /// "length of specified virt.memory must be >0", `adr` below 0 with "illegal address (<0)", a range that ends above
    /// the highest address handed out with "illegal address (>max.address)" (all three CheckAdr), `buf` null with
    /// "buffer address must not be 0" (Get or Set). Whether the range belongs to one block, or to any, is not tested.
    ///
    /// A page that is not cached can halt with "p==NIL" (NewCachePtr), "reading from swap file failed" or "seeking in
    /// swap file failed" (FindPage), and where it pushes out a dirty one with the halts of FlushCache. Pages before the
    /// bad one have been moved then.
    /// @{
    void Get(Address adr, void* buf, Length len);       ///< from the space to `buf`
    void Set(Address adr, const void* buf, Length len); ///< from `buf` to the space
    /// @}

    /// @name Typed transfers
    /// Get or Set of one value at `adr`, in the byte order of the host; no alignment is asked for. A value moves in its
    /// own width, a pointer and a `long` in that of the host. A `long double` moves as a `double` of 8 bytes, and loses
    /// what that can't hold.
    /// @{

    /// One value, in its own width.
    void Get(Address adr, char& value);
    void Get(Address adr, signed char& value);
    void Get(Address adr, unsigned char& value);
    void Get(Address adr, short& value);
    void Get(Address adr, unsigned short& value);
    void Get(Address adr, int& value);
    void Get(Address adr, unsigned int& value);
    void Get(Address adr, long& value);
    void Get(Address adr, unsigned long& value);
    void Get(Address adr, long long& value);
    void Get(Address adr, unsigned long long& value);
    void Get(Address adr, float& value);
    void Get(Address adr, double& value);
    void Get(Address adr, long double& value);
    void Get(Address adr, void*& value);
    void Set(Address adr, char value);
    void Set(Address adr, signed char value);
    void Set(Address adr, unsigned char value);
    void Set(Address adr, short value);
    void Set(Address adr, unsigned short value);
    void Set(Address adr, int value);
    void Set(Address adr, unsigned int value);
    void Set(Address adr, long value);
    void Set(Address adr, unsigned long value);
    void Set(Address adr, long long value);
    void Set(Address adr, unsigned long long value);
    void Set(Address adr, float value);
    void Set(Address adr, double value);
    void Set(Address adr, long double value);
    void Set(Address adr, void* value);

    /// A value of another integer type, in its own width: bool, char16_t, char32_t, wchar_t, ... A byte that is not 0
    /// reads as true.
    template <class T, std::enable_if_t<std::is_integral_v<T>, int> = 0>
    VFILE_LOCAL void Get(Address adr, T& value) {
        if constexpr (std::is_same_v<T, bool>) {
            unsigned char byte = 0;
            Get(adr, byte);
            value = byte != 0;
        } else {
            Get(adr, &value, sizeof value);
        }
    }
    template <class T, std::enable_if_t<std::is_integral_v<T>, int> = 0>
    VFILE_LOCAL void Set(Address adr, T value) {
        Set(adr, &value, sizeof value);
    }
    /// @}

    /// Copies `len` bytes inside the space, as if through a buffer of that size: the ranges may overlap. Nothing
    /// happens with `len` 0, or with `dst` equal to `src`. A negative `len` halts with "len must be >=0"; addresses are
    /// tested as by Get and Set, piece by piece of at most 1024 bytes.
    void CopyBytes(Address dst, Address src, Length len);

    /// @name Size of the cache
    /// A limit in kilobytes, below 0 counts as 0. One page is cached whatever the limit. A smaller limit writes out and
    /// drops pages at once, from the head of the list, so those that were loaded last go first and the cache halts as
    /// FlushCache does.
    /// @{

    /// Kilobytes that the cached pages count for now, rounded down: a full default cache reads 3999.
    std::int32_t GetCacheUse() const;

    /// The limit, as it was set.
    std::int32_t GetCacheLimit() const;

    /// Sets it. One of 2121728 holds all pages that the space can have; beyond it nothing changes.
    void SetCacheLimit(std::int32_t kb);

    /// GetCacheUse, at most 32767.
    std::int16_t GetCacheSize() const;

    /// GetCacheLimit, at most 32767.
    std::int16_t GetMaxCacheSize() const;

    /// SetCacheLimit up to 32767, 32387 pages: a greater limit counts as that.
    void SetMaxCacheSize(Kilobytes kb);
    /// @}

    /// @name Where the object stands
    /// @{

    /// The used space, in bytes: all addresses below the top, whether they are in use or lie on free lists. At
    /// 2147483647 nothing more comes from the top.
    std::int32_t GetSpaceUsed() const;

    /// The bytes of it that lie on free lists, which may be of lengths that no request fits.
    std::int32_t GetSpaceFree() const;

    /// The length of the swap file in bytes, 0 while there is none.
    std::int64_t GetSwapFileSize() const;
    /// @}

    /// The directory that was set by SetTempDir, null if there is none; not the one in use. The text belongs to the
    /// object and lives until the next SetTempDir.
    const char* GetTempDir() const;

    /// Sets the first choice for the directory of the next swap file; one that is open stays where it is. The text is
    /// copied. Null or an empty text sets none, and so does, without a report, a heap that has no room for the copy.
    /// `dir` may be the text that GetTempDir gave. A directory in which no file can be made is passed over then; a text
    /// of more than 4082 bytes, longer than a name can be, halts the making with "swap file creation failed".
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
    void Alloc(std::int32_t& adr, Length len);

    /// Hands out a page: 1024 bytes at an address that is a multiple of 1024, the last page given back if there is one,
    /// else a new one above the top. The bytes between the old top and that page become a free block; less than 4 bytes
    /// can't, and the page then moves up by another 1024. Halts with "illegal address (>max.address)" as Alloc does,
    /// with the same outcome.
    void AllocPage(std::int32_t& adr);

    /// Gives a block back, with the length that was asked for, and sets `adr` to -1. A block is lost to the space for
    /// good if the length is wrong, and the lists are damaged if a block is given back twice by copies of its address;
    /// neither can be told. Halts with "len must be >0" (Dealloc0) if `len` is below 1, and as Get does if the block
    /// does not lie in the space, so also when `adr` is -1. `adr` stays as it is then, and after a halt of the swap
    /// file.
    void Dealloc(std::int32_t& adr, Length len);

    /// Dealloc of a page. Halts with "address is not a page address" if `adr` is no multiple of 1024, as -1 is none.
    void DeallocPage(std::int32_t& adr);

    /// Gives back everything: the space is empty, each address illegal, and the swap file is closed and gone. Writes
    /// nothing. Temporary directory and cache limit stay. The page in reserve is given back, too, for good.
    void DeallocAll();

  private:
    friend class vfile_internal::VMemCheck;
    friend class vfile_internal::BlockChain;  // for the pages of its blocks
    friend class vfile_internal::ForkedChild; // for what the child keeps

    bool Usable(int line) const;
    bool CheckRange(std::int32_t adr, std::int16_t len, const void* buf, const char* proc) const;
    vfile_internal::CacheDesc* PageAtHand(std::int32_t adr, std::int16_t len) const;
    bool GetPages(std::int32_t adr, void* buf, std::int16_t len);
    bool SetPages(std::int32_t adr, const void* buf, std::int16_t len);
    bool MovePiece(std::int32_t dst, std::int32_t src, std::int16_t len);

    // Pages whose bytes nobody asks for, as VFile takes and drops them: they are neither read nor written.
    void TakePage(std::int32_t& adr);
    void DiscardPage(std::int32_t& adr);
    std::int32_t PagesLeft() const; // that can still be handed out

    // Pages side by side: those that have their first bytes from a file, which goes over to this object (false, with
    // nothing taken, if the space has no room for them), and any that are dropped together.
    bool TakeFile(std::int32_t& adr, vfile_internal::Backing* file);
    void DiscardPages(std::int32_t adr, std::int32_t count);
    vfile_internal::SwapFile& Files(); // where pages come from

    void FillPage(std::int32_t adr, const void* buf, std::int16_t len);

    // For the child of a fork: the cache limit, and the text of the directory in exchange for `dir`, on any thread.
    std::int32_t Bequeath(char*& dir);

    // The bytes themselves, where a Get of them would copy from, with all that a Get does to the cache. The range lies
    // in one page and is not empty. Good until the next access to this object, whatever it is; zeros after a halt
    // procedure that returned.
    const unsigned char* Peek(std::int32_t adr, std::int16_t len);
    const unsigned char* Bring(std::int32_t adr, std::int16_t len); // the same where the page is not at hand

    // Keeps the page that holds this address where it is, as long as the content that owns it does not change.
    void Lend(std::int32_t adr);
    void TakeBack(std::int32_t adr);

    std::uint32_t owner;            // the thread that made the object; 0, which is none, while there is no memory
    vfile_internal::Memory* memory; // what it is made of (vmem/memory.h); null if out of memory
};
