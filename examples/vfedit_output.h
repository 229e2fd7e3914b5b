// Where the result of vfedit goes: all of it or nothing.
#pragma once

#include "hostfile/hfile.h"

#include <string>
#include <sys/types.h>

// The result's file. Until Finish the name still means what it meant before:
//   Open    a new file in the same directory, without a name where the system can do that
//   Finish  the new file is complete on the disk, gets mode and owner of the old one and takes its name
// A symbolic link stays, and the file that it leads to is replaced. Standard output ("-"), devices and pipes can't be
// replaced and are written as they are.
class Output {
  public:
    Output() = default;
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    // False: told on standard error. Early, so that a directory that can't be written is told before the work begins.
    bool Open(const std::string& outName);
    HFile& File() { return file; }
    bool Finish();

  private:
    bool OpenBeside();
    bool GiveOldMode();
    bool NameUnnamed();

    HFile file;
    std::string name;    // as the user gave it, for messages
    std::string target;  // the name behind all links
    std::string dir;     // its directory
    bool direct = false; // written as it is, nothing to rename
    bool named = false;  // the new file has its temporary name
    bool existed = false;
    mode_t oldMode = 0;
    uid_t oldOwner = 0;
    gid_t oldGroup = 0;
};

// From now on a signal that ends the program, and a halt of the library, remove the temporary file first.
void GuardOutput();
constexpr int ExitHalted = 3;
