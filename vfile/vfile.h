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

/// An editable sequence of bytes.
class VFILE_API VFile {
  public:
    VFile();
    VFile(char c, int n);
    VFile(signed char c, int n);
    VFile(unsigned char c, int n);
    VFile(const char* s);
    VFile(FileHandle h, std::int32_t n);
    VFile(HFile& f, std::int32_t n);
    VFile(const VFile& src, std::int32_t start = 0, std::int32_t n = MaxLen);

    virtual ~VFile();
    virtual void SetPos(std::int32_t p);
    virtual void ReadByte(unsigned char& b);
    virtual void ReadPrevByte(unsigned char& b);
    virtual int ReadBytes(void* dst, int n);
    virtual void ReplaceBuf(std::int32_t pos, std::int32_t oldLen, const void* src, int n);
    virtual void ReplaceCh(std::int32_t pos, std::int32_t oldLen, char ch, int count);
    virtual void ReplaceTxt(std::int32_t pos, std::int32_t oldLen, const VFile& src, std::int32_t srcPos,
                            std::int32_t srcLen);
    virtual void ReplaceFile(std::int32_t pos, std::int32_t oldLen, HFile& f, std::int32_t count);
    virtual void ReplaceFile(std::int32_t pos, std::int32_t oldLen, FileHandle h, std::int32_t count);
    virtual VFile& operator=(const VFile& src);
    virtual VFile& operator=(const char* s);
    virtual VFile& operator=(char c);
    virtual VFile& operator=(signed char c);
    virtual VFile& operator=(unsigned char c);
    virtual void CheckInvariants() const;
    virtual void Show(const char* text) const;
    virtual void Dump() const;

  protected:
    virtual int PreChange(std::int32_t pos, std::int32_t oldLen, std::int32_t newLen) const;
    virtual void PostChange(std::int32_t pos, std::int32_t oldLen, std::int32_t newLen);
    virtual void PostChangeFlag(int flag, bool on);

  public:
    std::int32_t Length() const;
    std::int32_t GetPos() const;
    bool Eof() const;
    bool Bof() const;
    void SetPos(std::int32_t offset, int origin);
    void Reset();
    void Flush();

    int GetFlags() const;
    bool FlagOn(int mask) const;
    void SetFlags(int word);
    void SetFlag(int mask, bool on);
    void InclFlag(int mask);
    void ExclFlag(int mask);
    void ToggleFlag(int mask);
    int Type() const;

    void ReadFile(const char* name, std::uint32_t share);
    void Load(const char* name, std::uint32_t share);
    void WriteFile(const char* name, bool overwrite);
    void Save(const char* name, bool overwrite);
    void WriteToFile(FileHandle h, std::int32_t count);
    void WriteToFile(HFile& f, std::int32_t count);

    static void ReleaseCache();
    static std::int16_t GetCacheSize();
    static std::int16_t GetMaxCacheSize();
    static void SetMaxCacheSize(std::int16_t kb);
    static const char* GetTempDir();
    static void SetTempDir(const char* dir);

    static bool TLS_InitializeProcess();
    static bool TLS_UninitializeProcess();
    static bool TLS_InitializeThread();
    static bool TLS_UninitializeThread();

    Res res;           ///< sticky result of the last failed operation
    bool eof;          ///< a read ran out of bytes
    std::int32_t base; ///< radix of number output, 10 at first

  protected:
    std::int32_t pos;   ///< current position, 0 to len
    std::int32_t len;   ///< total length
    std::int32_t flags; ///< flag word
    std::int32_t type;  ///< kind number, 0 unless a derived class sets it

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

    void Init();
};

VFILE_API bool VFile_InitializeThread();
VFILE_API bool VFile_UninitializeThread();
VFILE_API bool VFile_IsThreadInitialized();
VFILE_API int DllMain(void* module, std::uint32_t reason, void* reserved);
