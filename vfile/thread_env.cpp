// The thread environment: one VMem per thread while the thread has a VFile, its settings in between, and the library's
// entry, which the loader's notices call.
//
//   not set up --VFile_InitializeThread--> set up, no VMem --first VFile--> active
//              <-VFile_UninitializeThread-                 <--last VFile---
//
// While a VMem exists its own temp directory and cache limit are the live ones and the slots are stale; they are
// written back when the last VFile goes.
#include "vfile/thread_env.h"

#include "foundation/halt.h"
#include "platform/loader.h"
#include "platform/meter.h"
#include "vfile/content.h"
#include "vfile/slot_table.h"
#include "vfile/vfile.h"
#include "vfile/vfile_progress.h"
#include "vmem/vmem.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace vfile_internal {
namespace {

constexpr std::int32_t DefaultMaxCache = 4000; // kilobytes

void HaltWithoutSlot(std::uint32_t slot, std::int32_t line) {
    if (slot == NoSlot) HaltA("VFile", line);
}

// In a forked child: what the thread that forked had, and how many of its objects are still there. One for each of the
// latest forks that led to this process; what an earlier one had is not freed.
struct Estate {
    ThreadsVMem* vm;
    std::atomic<std::int32_t> objects;
};
constexpr int MostEstates = 8;
Estate estates[MostEstates];
int lastEstate = 0;

// Four words of the slot table.
std::uint32_t slotVFileCount = NoSlot; // number of live VFile objects of the thread
std::uint32_t slotVMem = NoSlot;       // its VMem, null while that number is 0
std::uint32_t slotTempDir = NoSlot;    // heap copy of its temp directory, null when none
std::uint32_t slotMaxCache = NoSlot;   // its cache limit in kilobytes

// The slot accessors.

void SetThreadVFileCount(std::int32_t count) {
    HaltWithoutSlot(slotVFileCount, __LINE__);
    TlsSlotSet(slotVFileCount, static_cast<TlsWord>(count));
}

ThreadsVMem* ThreadVMem() {
    HaltWithoutSlot(slotVMem, __LINE__);
    return reinterpret_cast<ThreadsVMem*>(TlsSlotGet(slotVMem));
}

void SetThreadVMem(ThreadsVMem* vm) {
    HaltWithoutSlot(slotVMem, __LINE__);
    TlsSlotSet(slotVMem, reinterpret_cast<TlsWord>(vm));
}

char* ThreadTempDir() {
    HaltWithoutSlot(slotTempDir, __LINE__);
    return reinterpret_cast<char*>(TlsSlotGet(slotTempDir));
}

void SetThreadTempDirPtr(char* dir) {
    HaltWithoutSlot(slotTempDir, __LINE__);
    TlsSlotSet(slotTempDir, reinterpret_cast<TlsWord>(dir));
}

// The copy comes first: `dir` can be the very string of the slot.
void AssignThreadTempDir(const char* dir) {
    char* copy = nullptr;
    if (dir && *dir) {
        const std::size_t size = std::strlen(dir) + 1;
        copy = static_cast<char*>(std::malloc(size));
        if (copy) std::memcpy(copy, dir, size);
    }
    std::free(ThreadTempDir());
    SetThreadTempDirPtr(copy);
}

std::int32_t ThreadMaxCache() {
    HaltWithoutSlot(slotMaxCache, __LINE__);
    return static_cast<std::int32_t>(TlsSlotGet(slotMaxCache));
}

void SetThreadMaxCache(std::int32_t kb) {
    HaltWithoutSlot(slotMaxCache, __LINE__);
    TlsSlotSet(slotMaxCache, static_cast<TlsWord>(kb));
}

// One halt, however many of the four are missing.
void HaltWithoutSlots(std::int32_t line) {
    const bool all = slotVFileCount != NoSlot && slotVMem != NoSlot && slotTempDir != NoSlot && slotMaxCache != NoSlot;
    if (!all) HaltA("VFile", line);
}

} // namespace

// What VMem lets do in the child of a fork.
class ForkedChild {
  public:
    static void Inherit();
};

// Objects coming and going.

std::int32_t ThreadVFileCount() {
    HaltWithoutSlot(slotVFileCount, __LINE__);
    return static_cast<std::int32_t>(TlsSlotGet(slotVFileCount));
}

ThreadsVMem* JoinThread() {
    if (ThreadVFileCount() == 0) {
        if (ThreadVMem()) HaltA("VFile", __LINE__);
        auto* made = new (std::nothrow) ThreadsVMem;
        if (made) {
            made->SetTempDir(ThreadTempDir());
            made->SetCacheLimit(ThreadMaxCache());
        } else {
            HaltA("VFile", __LINE__);
        }
        SetThreadVMem(made);
        if (!ThreadVMem()) delete made; // a thread that is not set up keeps nothing
    }
    SetThreadVFileCount(ThreadVFileCount() + 1);
    ThreadsVMem* vm = ThreadVMem();
    if (!vm) HaltA("VFile", __LINE__); // there is none, or the thread is not set up
    return vm;
}

void LeaveThread() {
    SetThreadVFileCount(ThreadVFileCount() - 1);
    if (ThreadVFileCount() != 0) return;
    ThreadsVMem* vm = ThreadVMem();
    if (!vm) return HaltA("VFile", __LINE__);
    AssignThreadTempDir(vm->GetTempDir());
    SetThreadMaxCache(vm->GetCacheLimit());
    delete vm;
    SetThreadVMem(nullptr);
}

void LeaveEstate(ThreadsVMem* vm) {
    for (Estate& estate : estates) {
        if (estate.vm != vm || estate.objects == 0) continue; // one without objects is of a VMem that is gone
        if (--estate.objects == 0) delete vm;
        return;
    }
}

} // namespace vfile_internal

using namespace vfile_internal;

// Settings of the calling thread.

void VFile::ReleaseCache() {
    if (VMem* vm = ThreadVMem()) vm->ReleaseCache();
}

void VFile::ReleaseMemory() {
    Content::ReleaseAll();
    ReleaseCache();
}

std::int32_t VFile::GetCacheUse() {
    VMem* vm = ThreadVMem();
    return vm ? vm->GetCacheUse() : 0;
}

std::int32_t VFile::GetCacheLimit() {
    VMem* vm = ThreadVMem();
    return vm ? vm->GetCacheLimit() : ThreadMaxCache();
}

void VFile::SetCacheLimit(std::int32_t kb) {
    if (VMem* vm = ThreadVMem()) {
        vm->SetCacheLimit(kb);
    } else {
        SetThreadMaxCache(kb);
    }
}

std::int16_t VFile::GetCacheSize() {
    return static_cast<std::int16_t>(GetCacheUse() < INT16_MAX ? GetCacheUse() : INT16_MAX);
}

std::int16_t VFile::GetMaxCacheSize() {
    return static_cast<std::int16_t>(GetCacheLimit() < INT16_MAX ? GetCacheLimit() : INT16_MAX);
}

void VFile::SetMaxCacheSize(std::int16_t kb) {
    SetCacheLimit(kb);
}

void VFile::SetMaxCacheSize(long long kb) {
    SetMaxCacheSize(static_cast<std::int16_t>(kb < INT16_MIN ? INT16_MIN : kb > INT16_MAX ? INT16_MAX : kb));
}

std::int32_t VFile::SpaceUsed() {
    VMem* vm = ThreadVMem();
    return vm ? vm->GetSpaceUsed() - vm->GetSpaceFree() : 0;
}

std::int32_t VFile::SpaceFree() {
    return INT32_MAX / BlkSize * BlkSize - SpaceUsed();
}

std::int64_t VFile::GetSwapFileSize() {
    VMem* vm = ThreadVMem();
    return vm ? vm->GetSwapFileSize() : 0;
}

const char* VFile::GetTempDir() {
    VMem* vm = ThreadVMem();
    return vm ? vm->GetTempDir() : ThreadTempDir();
}

void VFile::SetTempDir(const char* dir) {
    if (VMem* vm = ThreadVMem()) {
        vm->SetTempDir(dir);
    } else {
        AssignThreadTempDir(dir);
    }
}

// In the thread's own memory, since files are copied without a VFile, too.
VFileProgress VFile_SetProgress(const VFileProgress& now) {
    platform::Progress& progress = platform::progress;
    VFileProgress before;
    before.call = progress.call;
    before.context = progress.context;
    progress.call = now.call;
    progress.context = now.context;
    return before;
}

// Start and end of process and thread.

bool VFile::TLS_InitializeProcess() {
    std::uint32_t* const slots[] = {&slotVFileCount, &slotVMem, &slotTempDir, &slotMaxCache};
    bool unset = true;
    for (const std::uint32_t* slot : slots) unset = unset && *slot == NoSlot;
    if (!unset) HaltA("VFile", __LINE__);
    for (std::uint32_t* slot : slots) *slot = TlsSlotAlloc();
    HaltWithoutSlots(__LINE__);
    return true;
}

bool VFile::TLS_UninitializeProcess() {
    std::uint32_t* const slots[] = {&slotVFileCount, &slotVMem, &slotTempDir, &slotMaxCache};
    HaltWithoutSlots(__LINE__);
    for (const std::uint32_t* slot : slots) TlsSlotFree(*slot);
    for (std::uint32_t* slot : slots) *slot = NoSlot;
    return true;
}

bool VFile::TLS_InitializeThread() {
    HaltWithoutSlots(__LINE__);
    if (TlsThreadReady()) {
        SetThreadVFileCount(0);
        SetThreadVMem(nullptr);
        SetThreadTempDirPtr(nullptr);
        SetThreadMaxCache(DefaultMaxCache);
    }
    return true;
}

bool VFile::TLS_UninitializeThread() {
    HaltWithoutSlots(__LINE__);
    if (TlsThreadReady()) {
        if (ThreadVFileCount() != 0) HaltA("VFile", __LINE__);
        if (ThreadVMem()) HaltA("VFile", __LINE__);
        std::free(ThreadTempDir());
        SetThreadTempDirPtr(nullptr);
        VFile_SetProgress({});
    }
    return true;
}

bool VFile_InitializeThread() {
    if (TlsThreadReady()) return true;
    if (!TlsThreadInit()) return false;
    return VFile::TLS_InitializeThread();
}

bool VFile_UninitializeThread() {
    if (!TlsThreadReady()) return true;
    VFile::TLS_UninitializeThread();
    TlsThreadDone();
    return true;
}

bool VFile_IsThreadInitialized() {
    return TlsThreadReady();
}

int DllMain(void*, std::uint32_t reason, void*) {
    switch (reason) {
    case platform::ProcessAttach:
        return TlsProcessInit() && VFile::TLS_InitializeProcess() && VFile_InitializeThread();
    case platform::ThreadAttach:
        return VFile_InitializeThread();
    case platform::ThreadDetach:
        VFile_UninitializeThread();
        return 1;
    case platform::ProcessDetach:
        VFile_UninitializeThread();
        VFile::TLS_UninitializeProcess();
        TlsProcessDone();
        return 1;
    default:
        return 1;
    }
}

// The child of a fork starts with the settings of the thread that forked, wherever they were, and with no objects.
// Takes no memory from the heap: another thread may have been at work there.
void ForkedChild::Inherit() {
    if (!TlsThreadReady()) return;
    ThreadsVMem* parents = ThreadVMem();
    if (!parents) return;
    char* dir = ThreadTempDir(); // stale
    SetThreadMaxCache(parents->Bequeath(dir));
    SetThreadTempDirPtr(dir);
    lastEstate = (lastEstate + 1) % MostEstates;
    estates[lastEstate].vm = parents;
    estates[lastEstate].objects = ThreadVFileCount();
    SetThreadVMem(nullptr);
    SetThreadVFileCount(0);
}

namespace vfile_internal::platform {

int OnLoaderNotice(std::uint32_t reason) {
    return DllMain(nullptr, reason, nullptr);
}

void OnForkedChild() {
    ForkedChild::Inherit();
}

} // namespace vfile_internal::platform
