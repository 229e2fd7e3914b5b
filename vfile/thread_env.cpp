// The thread environment: one VMem per thread while the thread has a VFile, its settings in between, and the library's
// entry, which the loader's notices call.
//
//   not set up --VFile_InitializeThread--> set up, no VMem --first VFile--> active
//              <-VFile_UninitializeThread-                 <--last VFile---
//
// While a VMem exists its own temp directory and cache limit are the live ones and the slots are stale; they are
// written back when the last VFile goes.
#include "vfile/vfile.h"

#include "foundation/halt.h"
#include "platform/loader.h"
#include "vfile/slot_table.h"
#include "vmem/vmem.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr std::int32_t DefaultMaxCache = 4000; // kilobytes

void HaltWithoutSlot(std::uint32_t slot, std::int32_t line) {
    if (slot == NoSlot) HaltA("VFile", line);
}

} // namespace

std::uint32_t VFile::slotVFileCount = NoSlot;
std::uint32_t VFile::slotVMem = NoSlot;
std::uint32_t VFile::slotTempDir = NoSlot;
std::uint32_t VFile::slotMaxCache = NoSlot;

// The slot accessors.

std::int32_t VFile::ThreadVFileCount() {
    HaltWithoutSlot(slotVFileCount, __LINE__);
    return static_cast<std::int32_t>(TlsSlotGet(slotVFileCount));
}

void VFile::SetThreadVFileCount(std::int32_t count) {
    HaltWithoutSlot(slotVFileCount, __LINE__);
    TlsSlotSet(slotVFileCount, static_cast<TlsWord>(count));
}

void VFile::IncThreadVFileCount() {
    SetThreadVFileCount(ThreadVFileCount() + 1);
}

void VFile::DecThreadVFileCount() {
    SetThreadVFileCount(ThreadVFileCount() - 1);
}

VMem* VFile::ThreadVMem() {
    HaltWithoutSlot(slotVMem, __LINE__);
    return reinterpret_cast<VMem*>(TlsSlotGet(slotVMem));
}

void VFile::SetThreadVMem(VMem* vm) {
    HaltWithoutSlot(slotVMem, __LINE__);
    TlsSlotSet(slotVMem, reinterpret_cast<TlsWord>(vm));
}

char* VFile::ThreadTempDir() {
    HaltWithoutSlot(slotTempDir, __LINE__);
    return reinterpret_cast<char*>(TlsSlotGet(slotTempDir));
}

void VFile::SetThreadTempDirPtr(char* dir) {
    HaltWithoutSlot(slotTempDir, __LINE__);
    TlsSlotSet(slotTempDir, reinterpret_cast<TlsWord>(dir));
}

// The copy comes first: `dir` can be the very string of the slot.
void VFile::AssignThreadTempDir(const char* dir) {
    char* copy = nullptr;
    if (dir && *dir) {
        const std::size_t size = std::strlen(dir) + 1;
        copy = static_cast<char*>(std::malloc(size));
        if (copy) std::memcpy(copy, dir, size);
    }
    std::free(ThreadTempDir());
    SetThreadTempDirPtr(copy);
}

std::int32_t VFile::ThreadMaxCache() {
    HaltWithoutSlot(slotMaxCache, __LINE__);
    return static_cast<std::int32_t>(TlsSlotGet(slotMaxCache));
}

void VFile::SetThreadMaxCache(std::int32_t kb) {
    HaltWithoutSlot(slotMaxCache, __LINE__);
    TlsSlotSet(slotMaxCache, static_cast<TlsWord>(kb));
}

// Objects coming and going.

VMem* VFile::JoinThread() {
    if (ThreadVFileCount() == 0) {
        if (ThreadVMem()) HaltA("VFile", __LINE__);
        auto* made = new (std::nothrow) VMem;
        if (!made) HaltA("VFile", __LINE__);
        made->SetTempDir(ThreadTempDir());
        made->SetMaxCacheSize(static_cast<std::int16_t>(ThreadMaxCache()));
        SetThreadVMem(made);
    }
    IncThreadVFileCount();
    VMem* vm = ThreadVMem();
    if (!vm) HaltA("VFile", __LINE__); // a thread that is not set up: nothing of the above was kept
    return vm;
}

void VFile::LeaveThread() {
    DecThreadVFileCount();
    if (ThreadVFileCount() != 0) return;
    VMem* vm = ThreadVMem();
    if (!vm) HaltA("VFile", __LINE__);
    AssignThreadTempDir(vm->GetTempDir());
    SetThreadMaxCache(vm->GetMaxCacheSize());
    delete vm;
    SetThreadVMem(nullptr);
}

// Settings of the calling thread.

void VFile::ReleaseCache() {
    if (VMem* vm = ThreadVMem()) vm->ReleaseCache();
}

std::int16_t VFile::GetCacheSize() {
    VMem* vm = ThreadVMem();
    return vm ? vm->GetCacheSize() : std::int16_t{0};
}

std::int16_t VFile::GetMaxCacheSize() {
    VMem* vm = ThreadVMem();
    return vm ? vm->GetMaxCacheSize() : static_cast<std::int16_t>(ThreadMaxCache());
}

void VFile::SetMaxCacheSize(std::int16_t kb) {
    if (VMem* vm = ThreadVMem()) {
        vm->SetMaxCacheSize(kb);
    } else {
        SetThreadMaxCache(kb);
    }
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

// Start and end of process and thread.

// One halt, however many of the four are missing.
void VFile::HaltWithoutSlots(std::int32_t line) {
    const bool all = slotVFileCount != NoSlot && slotVMem != NoSlot && slotTempDir != NoSlot && slotMaxCache != NoSlot;
    if (!all) HaltA("VFile", line);
}

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

namespace platform {

int OnLoaderNotice(std::uint32_t reason) {
    // A host that has ended the process part itself, through DllMain, has left nothing to end.
    if (reason == ProcessDetach && !TlsProcessLive()) return 1;
    return DllMain(nullptr, reason, nullptr);
}

void OnForkedChild() {
    VFile::DropThread();
}

} // namespace platform

// The child of a fork: the objects and the VMem are the parent's, and of the environment only the memory is ours.
void VFile::DropThread() {
    if (!TlsThreadReady()) return;
    std::free(ThreadTempDir());
    TlsThreadDone();
}
