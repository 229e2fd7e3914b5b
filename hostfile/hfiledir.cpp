// HFileDir: the states of a scan.
#include "hostfile/hfiledir.h"

#include "foundation/text.h"
#include "hostfile/hfile.h"
#include "hostfile/name_size.h"
#include "platform/dirs.h"

#include <cstring>

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
}

void HFileDir::Start(const char* pattern) {
    Stop();
    if (!pattern || !pattern[0] || std::strlen(pattern) >= sizeof spec) return;
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
    if (state == Started) findHandle = platform::OpenSearch(dir);
    char entry[FileNameSize];
    if ((state == Started || state == Scanning) && FindEntry(entry)) {
        ConstructName(name, entry);
        ++count;
        state = Scanning;
        return true;
    }
    if (state == Started) Stop();
    if (state == Scanning) {
        CloseSearch();
        state = Ended;
    }
    return false;
}

// The next entry whose name has room behind `dir`.
bool HFileDir::FindEntry(char* entry) {
    if (findHandle == platform::NoSearch) return false;
    const std::size_t n = std::strlen(dir);
    return platform::NextEntry(findHandle, spec + n, entry, FileNameSize - n);
}

void HFileDir::ConstructName(char* name, const char* entry) {
    char joined[FileNameSize];
    HFile::BuildName(joined, dir, entry);
    HFile::GetFullName(name, joined);
}

std::int32_t HFileDir::Count() const {
    return count;
}
