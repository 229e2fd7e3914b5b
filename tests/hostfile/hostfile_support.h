// What the tests of host files share.
#pragma once

#include "hostfile/hfile.h"
#include "support/halt_trap.h"
#include "support/temp_dir.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

inline Res CopyRes(const std::string& from, const std::string& to, bool overwrite) {
    int res = -1;
    return HFile::Copy(from.c_str(), to.c_str(), res, overwrite) == (res == resDone) ? res : -1;
}

inline Res RenameRes(const std::string& from, const std::string& to) {
    int res = -1;
    return HFile::Rename(from.c_str(), to.c_str(), res) == (res == resDone) ? res : -1;
}

inline struct stat StateOf(const std::string& name) {
    struct stat st {};
    lstat(name.c_str(), &st);
    return st;
}

// True if `act` is, in a child that is a user without privileges.
inline bool AsPlainUser(const std::function<bool()>& act) {
    constexpr uid_t nobody = 65534;
    return halt_trap::TextOf([&] {
               if (geteuid() == 0 && setresuid(nobody, nobody, nobody) != 0) return;
               halt_trap::SendHome(act() ? "true" : "false");
           }) == "true";
}
