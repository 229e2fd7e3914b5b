// The swap file: the byte at offset a is the byte of address a. Internal.
#pragma once

#include "platform/platform.h"

#include <cstdint>
#include <utility>

namespace vfile_internal {

// A file that is made when the first page is written, and is gone when it is closed, whatever way the process ends.
// What it does not have was never written. It grows up to the highest page written and never shrinks.
//
//  - C4 fileSize is a multiple of 1024, and 0 while there is no file.
//
// Owns the handle and both texts. Failures halt where nothing else can be told; else they come back as what failed.
class SwapFile {
  public:
    SwapFile() : handle(InvalidHandle), name(nullptr), dir(nullptr), fileSize(0) {}
    ~SwapFile();
    SwapFile(const SwapFile&) = delete;
    SwapFile& operator=(const SwapFile&) = delete;

    std::int64_t Size() const { return fileSize; } // bytes written so far; the last page can end at 2 GiB
    bool Reaches(std::int64_t adr) const { return handle != InvalidHandle && fileSize >= adr; }
    const char* Dir() const { return dir; } // the first choice for the next file, NIL if there is none
    void SetDir(const char* text);          // copies it; NIL and an empty text set none
    void ExchangeDir(char*& text) { std::swap(dir, text); }

    // One page that the file has; NIL, or what failed.
    const char* Read(std::int32_t adr, unsigned char* data) const;

    // Up to `count` bytes that the file has, which nobody has asked for: how many came, and no error is left.
    std::int32_t ReadMore(std::int32_t adr, unsigned char* data, std::int64_t count) const;

    // One page; makes the file for the first one, and fills the gap before it. False after a halt that came back: then
    // what the file has there is not known, and everything else is as before.
    bool Write(std::int32_t adr, const unsigned char* data);

    // n pages from `adr` on, which the file reaches, by one transfer: how many went out whole. No error is left.
    int WriteMore(std::int64_t adr, unsigned char* const* data, int n);

    void Close();
    void Abandon(); // without touching the file: it is a parent process's

  private:
    friend class VMemCheck;
    bool Open();
    bool Extend(std::int32_t size);

    FileHandle handle; // InvalidHandle while there is none
    char* name;        // path of the file, or its directory, or NIL; for dumps alone
    char* dir;
    std::int64_t fileSize;
};

} // namespace vfile_internal
