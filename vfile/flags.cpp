// The flag word, the kind number, the hooks' defaults, and the empty diagnostics.
#include "vfile/content.h"

#include "foundation/halt.h"

int VFile::GetFlags() const {
    return flags;
}

bool VFile::FlagOn(int mask) const {
    return (flags & mask) != 0;
}

void VFile::SetFlags(int word) {
    ToggleFlag(word ^ flags);
}

void VFile::SetFlag(int mask, bool on) {
    ToggleFlag(on ? mask & ~flags : mask & flags);
}

void VFile::InclFlag(int mask) {
    ToggleFlag(mask & ~flags);
}

void VFile::ExclFlag(int mask) {
    ToggleFlag(mask & flags);
}

void VFile::ToggleFlag(int mask) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (res != resDone) return;
    if (flags & vfLocked) {
        res = resContextError;
        return;
    }
    // From the lowest bit up: the hook sees the lower bits of the mask flipped and the higher ones not yet.
    for (int bit = 1; bit < vfToggleMask; bit <<= 1) {
        if (!(mask & bit)) continue;
        flags ^= bit;
        PostChangeFlag(bit, (flags & bit) != 0);
    }
}

int VFile::Type() const {
    return type;
}

int VFile::PreChange(std::int32_t, std::int32_t, std::int32_t) const {
    return resDone;
}

void VFile::PostChange(std::int32_t, std::int32_t, std::int32_t) {
    if (flags & vfTrackModified) ToggleFlag(~flags & vfModified);
}

void VFile::PostChangeFlag(int, bool) {}

void VFile::CheckInvariants() const {}

void VFile::Show(const char*) const {}

void VFile::Dump() const {}
