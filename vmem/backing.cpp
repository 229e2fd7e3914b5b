// Files that give pages their first bytes.
#include "vmem/backing.h"

#include "platform/swap_file.h"
#include "vmem/page.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace vfile_internal {
namespace {

const char FileReadFailed[] = "reading from the loaded file failed";
const char Changed[] = "the loaded file has been changed";

} // namespace

Backing* Backing::Make(FileHandle handle, const platform::FileStamp& stamp, platform::Sharing sharing) {
    const std::int64_t words = (platform::SizeOf(stamp) / PageSize + 64) / 64;
    auto* none = static_cast<std::uint64_t*>(std::calloc(static_cast<std::size_t>(words), sizeof(std::uint64_t)));
    if (!none) return nullptr;
    auto* made = new (std::nothrow) Backing(handle, stamp, sharing, none);
    if (!made) std::free(none);
    return made;
}

Backing::Backing(FileHandle h, const platform::FileStamp& s, platform::Sharing share, std::uint64_t* none)
    : next(nullptr), handle(h), stamp(s), sharing(share), size(platform::SizeOf(s)), start(0), end(0), giving(0),
      left(none) {}

Backing::~Backing() {
    if (handle != InvalidHandle) platform::CloseFile(handle);
    std::free(left);
}

std::int32_t Backing::PageCount() const {
    return static_cast<std::int32_t>((size + PageSize - 1) / PageSize);
}

const char* Backing::Read(std::int64_t adr, unsigned char* data) const {
    const std::int64_t want = std::min<std::int64_t>(size - (adr - start), PageSize);
    bool seekFailed = false;
    const std::int32_t moved =
        platform::ReadAt(handle, data, static_cast<std::uint32_t>(want), adr - start, &seekFailed);
    if (!IsIntact()) return Changed;
    if (moved != want) return FileReadFailed;
    std::memset(data + want, 0, static_cast<std::size_t>(PageSize - want));
    return nullptr;
}

std::int32_t Backing::ReadMore(std::int64_t adr, unsigned char* data, std::int64_t count) const {
    const std::uint32_t error = GetLastError();
    const std::int64_t want = std::min<std::int64_t>(size - (adr - start), count);
    bool seekFailed = false;
    const std::int32_t moved =
        platform::ReadAt(handle, data, static_cast<std::uint32_t>(want), adr - start, &seekFailed);
    const bool whole = moved == want && IsIntact();
    SetLastError(error);
    if (!whole) return 0;
    std::memset(data + want, 0, static_cast<std::size_t>(count - want));
    return static_cast<std::int32_t>(count);
}

void Backings::Add(Backing* file, std::int32_t adr) {
    file->giving = file->PageCount();
    file->start = adr;
    file->end = adr + std::int64_t{file->giving} * PageSize;
    file->next = first;
    first = file;
}

bool Backings::Covers(std::int64_t adr, std::int64_t& end) const {
    for (const Backing* b = first; b; b = b->next) {
        end = b->end;
        if (adr >= b->start && adr < end) return true;
    }
    return false;
}

Backing* Backings::Find(std::int64_t adr) const {
    if (recent && recent->Gives(adr)) return recent;
    for (Backing* b = first; b; b = b->next) {
        if (b->Gives(adr)) return recent = b;
    }
    return nullptr;
}

bool Backings::Leave(std::int64_t adr) {
    Backing* b = Of(adr);
    if (!b) return false;
    b->left[b->Word(adr)] |= b->Bit(adr);
    if (--b->giving > 0) return true;
    Backing** link = &first;
    while (*link != b) link = &(*link)->next;
    *link = b->next;
    recent = nullptr;
    delete b;
    return true;
}

void Backings::Drop() {
    while (Backing* b = first) {
        first = b->next;
        delete b;
    }
    recent = nullptr;
}

void Backings::Abandon() {
    for (Backing* b = first; b; b = b->next) b->GiveUp();
    Drop();
}

} // namespace vfile_internal
