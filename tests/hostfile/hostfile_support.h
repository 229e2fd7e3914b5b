// What the tests of host files share.
#pragma once

#include "hostfile/hfile.h"
#include "support/test.h"

namespace fs = std::filesystem;
using namespace std::string_literals;

inline Res CopyRes(const std::string& from, const std::string& to, bool overwrite) {
    int res = -1;
    return HFile::Copy(from.c_str(), to.c_str(), res, overwrite) == (res == resDone) ? res : -1;
}

inline unsigned ModeOf(const std::string& name) {
    return static_cast<unsigned>(fs::status(name).permissions());
}

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
