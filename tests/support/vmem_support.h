// What tests of VMem share: the state of an object without touching it, and its swap file as the system sees it.
#pragma once

#include "support/test.h"
#include "vmem/vmem.h"
#include "vmem/vmem_check.h"

using vfile_internal::CheckVMem;
using vfile_internal::DumpVMem;

// Sizes, free lists and cached pages, as DumpVMem gives them from its second line on.
inline std::string StateOf(const VMem& m) {
    const std::string all = DumpOf([&](std::FILE* out) { DumpVMem(m, out, true); });
    return all.substr(all.find('\n') + 1);
}

// The swap files that this process has open: the entry of the descriptor, and the name that the file had.
inline std::vector<std::pair<std::string, std::string>> SwapFiles() {
    std::vector<std::pair<std::string, std::string>> found;
    for (const auto& fd : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const std::string name = std::filesystem::read_symlink(fd.path(), gone).string();
        const auto end = name.find(" (deleted)");
        if (end != std::string::npos && (name.find("/~vmem") < end || name.find("/#") < end))
            found.emplace_back(fd.path(), name.substr(0, end));
    }
    return found;
}

// `n` pages, one above the other from address 0 of a fresh object.
inline void AllocPages(VMem& m, int n) {
    for (std::int32_t adr; n > 0; --n) m.AllocPage(adr);
}

inline int ByteAt(VMem& m, std::int32_t adr) {
    unsigned char b = 0;
    m.Get(adr, b);
    return b;
}
