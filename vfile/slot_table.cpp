// The slot table.
#include "vfile/slot_table.h"

#include "platform/loader.h"
#include "platform/thread.h"

#include <cstdlib>
#include <cstring>

namespace vfile_internal {

namespace {

std::uint32_t tlsIndex = platform::NoTlsIndex;
unsigned char slotUsed[SlotCount];
std::uint32_t slotHigh = 0;

// The calling thread's array, null if it has none or there is no table.
TlsWord* ThreadArray() {
    if (tlsIndex == platform::NoTlsIndex) return nullptr;
    platform::DeliverThreadStart();
    return static_cast<TlsWord*>(platform::TlsGetValue(tlsIndex));
}

bool TlsSlotsInUse() {
    for (std::uint32_t slot = slotHigh; slot-- > 0;) {
        if (slotUsed[slot]) return true;
    }
    return false;
}

} // namespace

bool TlsProcessInit() {
    if (tlsIndex != platform::NoTlsIndex) return false;
    platform::SlotLockInit();
    tlsIndex = platform::TlsAlloc();
    if (tlsIndex == platform::NoTlsIndex) return false;
    std::memset(slotUsed, 0, sizeof slotUsed);
    return true;
}

bool TlsProcessDone() {
    platform::SlotLockEnter();
    bool done = false;
    if (tlsIndex != platform::NoTlsIndex) {
        done = platform::TlsFree(tlsIndex);
        tlsIndex = platform::NoTlsIndex;
    }
    platform::SlotLockLeave();
    platform::SlotLockDone();
    return done;
}

bool TlsProcessLive() {
    return tlsIndex != platform::NoTlsIndex;
}

bool TlsThreadReady() {
    return ThreadArray() != nullptr;
}

bool TlsThreadInit() {
    auto* words = static_cast<TlsWord*>(std::malloc(SlotCount * sizeof(TlsWord)));
    if (tlsIndex == platform::NoTlsIndex || !words) {
        std::free(words);
        return false;
    }
    std::memset(words, 0, SlotCount * sizeof(TlsWord));
    platform::TlsSetValue(tlsIndex, words);
    return true;
}

bool TlsThreadDone() {
    if (tlsIndex == platform::NoTlsIndex) return false;
    std::free(platform::TlsGetValue(tlsIndex));
    return platform::TlsSetValue(tlsIndex, nullptr);
}

std::uint32_t TlsSlotAlloc() {
    if (tlsIndex == platform::NoTlsIndex) return NoSlot;
    platform::SlotLockEnter();
    std::uint32_t slot = NoSlot;
    if (slotHigh < SlotCount) {
        slot = slotHigh++;
    } else {
        for (std::uint32_t i = 0; i < SlotCount && slot == NoSlot; ++i) {
            if (!slotUsed[i]) slot = i;
        }
    }
    if (slot != NoSlot) slotUsed[slot] = 1;
    platform::SlotLockLeave();
    return slot;
}

bool TlsSlotFree(std::uint32_t slot) {
    if (tlsIndex == platform::NoTlsIndex || slot >= SlotCount) return false;
    platform::SlotLockEnter();
    slotUsed[slot] = 0;
    if (slot + 1 == slotHigh) --slotHigh;
    if (!TlsSlotsInUse()) slotHigh = 0;
    platform::SlotLockLeave();
    return true;
}

TlsWord TlsSlotGet(std::uint32_t slot) {
    const TlsWord* words = slot < SlotCount ? ThreadArray() : nullptr;
    return words ? words[slot] : 0;
}

bool TlsSlotSet(std::uint32_t slot, TlsWord word) {
    TlsWord* words = slot < SlotCount ? ThreadArray() : nullptr;
    if (!words) return false;
    words[slot] = word;
    return true;
}

} // namespace vfile_internal
