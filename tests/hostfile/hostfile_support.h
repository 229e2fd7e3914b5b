// What the tests of host files share.
#pragma once

#include "hostfile/hfile.h"
#include "support/test.h"

#include <sys/xattr.h>

namespace fs = std::filesystem;
using namespace std::string_literals;

inline Res CopyRes(const std::string& from, const std::string& to, bool overwrite) {
    int res = -1;
    return HFile::Copy(from.c_str(), to.c_str(), res, overwrite) == (res == resDone) ? res : -1;
}

inline unsigned ModeOf(const std::string& name) {
    return static_cast<unsigned>(fs::status(name).permissions());
}

// An access control list of entries: who, what; 2 and 8 are somebody else, 4 the group, 16 bounds those three.
using Entries = std::vector<std::array<std::uint16_t, 2>>;

inline bool GiveList(const std::string& name, const char* which, const Entries& list) {
    std::string value("\2\0\0\0", 4);
    for (const auto& [who, what] : list) {
        const std::uint16_t id = who & 10 ? 0 : 0xFFFF, entry[] = {who, what, who & 10 ? std::uint16_t{1} : id, id};
        value.append(reinterpret_cast<const char*>(entry), sizeof entry);
    }
    return setxattr(name.c_str(), which, value.data(), value.size(), 0) == 0;
}

constexpr const char *AccessList = "system.posix_acl_access", *DefaultList = "system.posix_acl_default";

// True if `act` is, in a child that is a user without privileges.
inline bool AsPlainUser(const std::function<bool()>& act) {
    return halt_trap::TextOf([&] {
               if (geteuid() != 0 || seteuid(65534) == 0) halt_trap::SendHome(act() ? "true" : "false");
           }) == "true";
}

class OnFiles : public testing::Test {
  protected:
    const TempDir dir;
    HFile f;
    char buf[400] = "old";

    bool Make(const char* content) { return f.Open(dir.Write("f", content).c_str()); }
};
