// A window on a range of a content: the bytes that a search looks at, in one run of memory, with some before them. The
// bytes stay what they were when they were read, also if the content is changed at places that are after the search.
#pragma once

#include "vfile/vfile.h"

#include <cstdint>

class Window {
  public:
    enum class Moved {
        Done,
        Full,    // the bytes to keep fill all that the window may take
        NoMemory // for a larger one
    };

    // How a window is cut.
    struct Cut {
        int before = 1;            // bytes that are kept before where a search starts
        bool characters = false;   // not within a character of UTF-8
        const char* lineEnds = ""; // not after one of these bytes
        int lineEndCount = 0;
        int first = 256 * 1024;     // bytes that it has room for, and
        int most = 8 * 1024 * 1024; // may come to have
    };

    Window(VFile& c, std::int32_t from, std::int32_t to, const Cut& how) : content(c), base(from), end(to), cut(how) {}
    ~Window();
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    // The next search starts at the byte `place` of the window: forgets what is long before it, and reads on. There is
    // room to read, or more is made.
    Moved MoveTo(int place);

    // The content has grown by `by` bytes, before what is still to be read.
    void Grown(std::int32_t by) { grown += by; }

    const unsigned char* Bytes() const { return bytes; }
    int Count() const { return count; }
    int Start() const { return start; } // where the search starts
    bool Last() const { return last; }  // the window reaches to the end of the range
    std::int32_t Position(int place) const { return base + place + grown; } // in the content as it is now

  private:
    bool Grow();
    void Read();
    bool EndsWell(int n) const;

    VFile& content;
    std::int32_t base; // of the first byte, in the content as it was
    std::int32_t end;  // of the range, likewise
    std::int32_t grown = 0;
    Cut cut;
    unsigned char* bytes = nullptr;
    int room = 0;
    int held = 0;  // bytes that are there
    int count = 0; // of them, those that are shown
    int start = 0;
    bool last = false;
};
