// A file that vfedit reads, from front to back.
#pragma once

#include "vfedit_output.h"

#include <cstdint>

class Input {
  public:
    Input() = default;
    ~Input();
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    // "-" is standard input. The file is shared with other readers, and not to be had where somebody holds it alone;
    // the one that `output` holds may be read. False: told.
    bool Open(const char* fileName, const Output& output);

    // What the file is now.
    void Stamp(HFileStamp& stamp) const { stamp.Take(HandleOf(fd)); }

    // So many bytes, 0 at the end; -1: told.
    int Read(void* buf, int count);

    std::int64_t Size() const { return size; } // -1: not known before the end
    const char* Name() const;

  private:
    const char* name = "";
    int fd = -1;
    std::int64_t size = -1;
};

// The whole of a file, into memory that the text owns. False: told.
bool ReadWhole(const char* fileName, const Output& output, Text& text);
