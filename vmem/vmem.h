/// @file
/// VMem: a paged virtual memory with a bounded cache and a swap file that is made only when it is needed.
#pragma once

#include "platform/platform.h"

#include <cstdint>

struct CacheDesc;

namespace vfile_internal {
class VMemCheck;
}

/// A flat space of bytes, addressed by 32-bit signed numbers, of which a bounded number of pages stays in RAM.
class VFILE_API VMem {
  public:
    static constexpr std::int32_t PageSize = 1024;

    VMem();
    ~VMem();
    VMem(const VMem&) = delete;
    VMem& operator=(const VMem&) = delete;

    void Get(std::int32_t adr, void* buf, std::int16_t len);
    void Set(std::int32_t adr, const void* buf, std::int16_t len);

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

    void CopyBytes(std::int32_t dst, std::int32_t src, std::int16_t len);

    std::int16_t GetCacheSize();
    std::int16_t GetMaxCacheSize();
    void SetMaxCacheSize(std::int16_t kb);
    const char* GetTempDir();
    void SetTempDir(const char* dir);
    void FlushCache();
    void ReleaseCache();
    void WriteStatus();

    void Alloc(std::int32_t& adr, std::int16_t len);
    void AllocPage(std::int32_t& adr);
    void Dealloc(std::int32_t& adr, std::int16_t len);
    void DeallocPage(std::int32_t& adr);
    void DeallocAll();

  private:
    friend class vfile_internal::VMemCheck;

    static constexpr int SlotCount = 4016;       // slots of hashTable
    static constexpr int MaxClasses = 16;        // exact-size classes at most
    static constexpr unsigned char FillByte = 0; // of the gaps in the swap file

    FileHandle swapFile;             // the open swap file, InvalidHandle while there is none
    char* tempDir;                   // directory asked for by SetTempDir, or NIL
    char* swapName;                  // path of the open swap file, or NIL; for dumps alone
    std::uint32_t owner;             // thread that made the object; 0 once it is destroyed
    CacheDesc* sparePage;            // descriptor in reserve for an empty cache, NIL after DeallocAll
    CacheDesc* cacheHead;            // the page that last took the slow road, NIL if the cache is empty
    CacheDesc* cacheTail;            // the next victim
    CacheDesc* hashTable[SlotCount]; // chains of all cached pages of a slot; the first of a chain may hold the slot
    std::int16_t cacheCount;         // cached pages
    std::int16_t maxCacheCount;      // their limit; one page is always allowed
    std::int16_t maxCacheKb;         // the same limit in kilobytes, as the caller gave it
    std::int32_t topAdr;             // first address never handed out
    std::int64_t fileSize;           // bytes of the swap file written so far; the last page can end at 2 GiB
    std::int16_t classCount;         // exact-size classes in use
    std::int32_t freeHead[MaxClasses + 1];  // first free block: of the mixed list [0], of the classes [1..]; -1 if none
    std::int16_t classLen[MaxClasses + 1];  // block length of a class; 0 for the mixed list
    std::int32_t freeCount[MaxClasses + 1]; // blocks on each list
    std::int32_t freePages;                 // first free page, -1 if none
    std::int32_t freePageCount;             // pages on that list

    bool OnOwnerThread() const;
    bool CheckAdr(std::int32_t adr, std::int16_t len) const;
    bool HaltOnAdr(std::int32_t adr, std::int16_t len) const;

    CacheDesc*& SlotOf(std::int32_t adr);
    CacheDesc* FindPage(std::int32_t adr);
    CacheDesc* FindPageOffSlot(std::int32_t adr);
    CacheDesc* TakeDescriptor();
    void LinkAtHead(CacheDesc* p);
    void Unlink(CacheDesc* p);
    void TakeSlot(CacheDesc* p, std::int32_t adr);
    void UnHashCachePtr(CacheDesc* p);
    void NewCachePtr(CacheDesc*& p);
    void DisposeCachePtr(CacheDesc*& p);
    void DropPage(CacheDesc* p);
    void DropAllPages();
    void ShrinkTo(int count);

    bool FlushCachePtr(CacheDesc* p);
    const char* LoadPage(unsigned char* data, std::int32_t adr) const;
    bool OpenSwap();
    bool ExtendFile(std::int32_t size);
    void CloseSwap();

    void ResetAllocator();
    int ClassOf(std::int16_t len) const;
    int ClassForFree(std::int16_t len);
    std::int32_t PopFree(std::int32_t& head, std::int32_t& count);
    void PushFree(std::int32_t adr, std::int32_t& head, std::int32_t& count);
    void RetireClass(int i);
    bool TakeFromMixed(std::int32_t& adr, std::int16_t len);
    void UnlinkMixed(std::int32_t prev, std::int32_t next);
    void Dealloc0(std::int32_t& adr, std::int16_t len, bool toClass);
};
