// The block buffers of a thread's objects.
#include "vfile/buffer_pool.h"

#include "vfile/content.h"

#include <cstdlib>

namespace vfile_internal {

bool BufferPool::Take(Content& c) {
    if (Content* from = count < Most ? nullptr : ToSpare()) {
        from->WriteBack(); // may halt: it is the owner's still
        c.buf = from->buf;
        from->buf = nullptr;
        Unlink(*from);
    } else {
        c.buf = static_cast<unsigned char*>(std::malloc(BlkSize));
        if (!c.buf) return false;
    }
    Link(c);
    return true;
}

void BufferPool::Give(Content& c) {
    std::free(c.buf);
    c.buf = nullptr;
    Unlink(c);
}

// One whose change is under way needs its buffer.
Content* BufferPool::ToSpare() const {
    Content* c = oldest;
    while (c && c->asking) c = c->newer;
    return c;
}

void BufferPool::Link(Content& c) {
    c.older = newest;
    c.newer = nullptr;
    (newest ? newest->newer : oldest) = &c;
    newest = &c;
    ++count;
}

void BufferPool::Unlink(Content& c) {
    (c.older ? c.older->newer : oldest) = c.newer;
    (c.newer ? c.newer->older : newest) = c.older;
    --count;
}

} // namespace vfile_internal
