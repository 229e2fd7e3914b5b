// Where the result of vfedit goes: all of it or nothing, as far as there is something that can be replaced.
#pragma once

#include "vfedit_args.h"
#include "vfedit_save.h"
#include "vfedit_terminal.h"
#include "vfile/vfile.h"

// Files are replaced by HFileSave when the new one is complete. Standard output ("-"), a descriptor that has been
// handed over (/dev/fd/3) and devices and pipes are written as they are.
class Output {
  public:
    Output();
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    // Before the work, so that a directory that can't be written is told then. False: told on standard error.
    // `loaded`, if not null, is what the file has to be.
    bool Open(const char* out, const CommandLine& line, const HFileStamp* loaded = nullptr);
    bool Holds(int fd) const { return save.Holds(HandleOf(fd)); }
    bool IsStandardOutput() const { return isStandardOutput; }
    bool Save(VFile& content, Progress& progress);

    // Safe in a signal handler.
    void RemoveDraft() { save.RemoveDraft(); }

  private:
    bool OpenOwn(int fd);
    bool OpenDirect();
    bool Write(VFile& content, Progress& progress, int fd);

    const char* name = "";  // as the user gave it
    const char* shown = ""; // for messages
    int direct = -1;
    bool isStandardOutput = false;
    HFileSave save;
};

// From now on a signal that ends the program, and a halt of the library, take the names of drafts away first.
void GuardOutputs();
constexpr int ExitHalted = 3;
