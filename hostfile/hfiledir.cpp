// HFileDir: the states of a scan.
#include "hostfile/hfiledir.h"

#include "foundation/result.h"
#include "foundation/text.h"
#include "hostfile/hfile.h"
#include "hostfile/name_size.h"
#include "platform/dirs.h"

#include <cstring>

namespace platform = vfile_internal::platform;
using vfile_internal::FileNameSize;

namespace {

enum : std::int32_t { Idle, Started, Scanning, Ended };

} // namespace

HFileDir::HFileDir() {
    Init();
}

HFileDir::HFileDir(const char* pattern) {
    Init();
    Start(pattern);
}

HFileDir::~HFileDir() {
    Stop();
}

void HFileDir::Init() {
    static_assert(sizeof spec == FileNameSize && sizeof dir == FileNameSize, "the size that users know");
    state = Idle;
    count = 0;
    spec[0] = '\0';
    dir[0] = '\0';
    findHandle = platform::NoSearch;
    skipped = 0;
    result = resDone;
}

void HFileDir::Start(const char* pattern) {
    Stop();
    if (!pattern || !pattern[0]) return;
    if (std::strlen(pattern) >= sizeof spec) {
        result = resIllegalName;
        return;
    }
    state = Started;
    AssignStr(spec, sizeof spec, pattern);
    char last[FileNameSize];
    HFile::SplitName(dir, last, spec);
}

void HFileDir::Stop() {
    CloseSearch();
    Init();
}

void HFileDir::CloseSearch() {
    if (findHandle != platform::NoSearch) platform::CloseSearch(findHandle);
    findHandle = platform::NoSearch;
}

bool HFileDir::FindFirst(char* name, const char* pattern) {
    if (!name) {
        Stop();
        return false;
    }
    Start(pattern);
    return FindNext(name);
}

bool HFileDir::FindNext(char* name) {
    if (!name) return false;
    name[0] = '\0';
    char entry[FileNameSize];
    if ((state == Started || state == Scanning) && FindEntry(entry)) {
        ConstructName(name, entry);
        ++count;
        state = Scanning;
        return true;
    }
    CloseSearch();
    if (state == Scanning) state = Ended;
    if (state == Started) {
        state = Idle;
        spec[0] = '\0';
        dir[0] = '\0';
    }
    return false;
}

// The next entry whose name has room after `dir`. A pattern without wildcards is looked up and opens no walk, so it
// has no second one.
bool HFileDir::FindEntry(char* entry) {
    const std::size_t n = std::strlen(dir);
    const char* pattern = spec + n;
    const bool first = state == Started;
    platform::Found found = first ? platform::Found::Failed : platform::Found::End;
    if (first && pattern[0] && !platform::HasWildcard(pattern)) {
        AssignStr(entry, FileNameSize, pattern);
        found = platform::FindOne(spec, dir);
    } else {
        if (first) findHandle = platform::OpenSearch(dir);
        if (findHandle != platform::NoSearch)
            found = platform::NextEntry(findHandle, pattern, entry, FileNameSize - n, skipped);
    }
    if (found == platform::Found::Failed) result = GetFileRes();
    return found == platform::Found::Entry;
}

void HFileDir::ConstructName(char* name, const char* entry) {
    char joined[FileNameSize];
    HFile::BuildName(joined, dir, entry);
    HFile::GetFullName(name, joined);
}

std::int32_t HFileDir::Count() const {
    return count;
}

std::int32_t HFileDir::Skipped() const {
    return skipped;
}

Res HFileDir::Result() const {
    return result;
}
