// The swap file: the byte at offset a is the byte of address a. Internal.
#pragma once

#include "platform/platform.h"
#include "vmem/backing.h"

#include <cstdint>
#include <utility>

namespace vfile_internal {

// A file that is made when the first page is written, and is gone when it is closed, whatever way the process ends.
// What it does not have was never written. It grows up to the highest page written and never shrinks.
//
// Pages may have their first bytes from other files (`backings`). They come from there until they are written, and the
// swap file has a hole in their place.
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
    const char* Dir() const { return dir; } // the first choice for the next file, null if there is none
    void SetDir(const char* text);          // copies it; null and an empty text set none
    void ExchangeDir(char*& text) { std::swap(dir, text); }

    // True if there are bytes of this page, here or in a backing; else it reads as zeros.
    bool Has(std::int64_t adr) const { return fileSize > adr || backings.Of(adr); }

    // How many of `count` bytes from a page on, which there is, lie side by side in one file.
    std::int64_t Stretch(std::int64_t adr, std::int64_t count) const;

    // One page that there is; null, or what failed.
    const char* Read(std::int32_t adr, unsigned char* data) const;

    // Up to `count` bytes of a stretch, which nobody has asked for: how many came, and no error is left.
    std::int32_t ReadMore(std::int32_t adr, unsigned char* data, std::int64_t count) const;

    // One page; makes the file for the first one, and fills the gap before it. False after a halt procedure that
    // returned: then what the file has there is not known, and everything else is as before.
    bool Write(std::int32_t adr, const unsigned char* data);

    // n pages from `adr` on, which the file reaches, by one transfer: how many went out whole. No error is left.
    int WriteMore(std::int64_t adr, unsigned char* const* data, int n);

    // All pages that a backing still gives come here. It is closed then, and gone. False, with the last error set, if
    // one of them can't be read or written: it goes on with what is left.
    bool BringIn(Backing& file);

    void Close();
    void Abandon(); // without touching the files: they are a parent process's

    Backings backings;

  private:
    friend class VMemCheck;
    // What failed, and where.
    struct Failure {
        const char* operation;
        const char* text; // null: nothing
    };
    Failure Open();
    Failure Put(std::int32_t adr, const unsigned char* data);
    Failure Extend(std::int32_t size);
    int WritePages(std::int64_t adr, unsigned char* data, std::int64_t size);

    FileHandle handle; // InvalidHandle while there is none
    char* name;        // path of the file, or its directory, or null; for dumps alone
    char* dir;
    std::int64_t fileSize;
};

} // namespace vfile_internal
