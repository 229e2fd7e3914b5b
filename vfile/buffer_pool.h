// The block buffers of a thread's objects. Internal.
//
//     oldest <-> ... <-> newest        the contents that have a buffer, in the order in which they took it
//
// A thread has Most buffers at most: who needs one when all are out gets that of the content that took it longest ago,
// which is written back first. So many idle objects take no more memory than a few busy ones, and nobody can tell but
// by the clock. Used by the owner's thread alone.
#pragma once

namespace vfile_internal {

struct Content;

class BufferPool {
  public:
    static constexpr int Most = 256;

    bool Take(Content& c); // gives c a buffer, as it has none; false if it would be a new one and memory has run out
    void Give(Content& c); // frees that of c

  private:
    Content* ToSpare() const; // whose buffer can go; null if none can
    void Link(Content& c);
    void Unlink(Content& c);

    Content* oldest = nullptr;
    Content* newest = nullptr;
    int count = 0;
};

} // namespace vfile_internal
