// The list of free pages.
#include "vmem/free_pages.h"

#include "vmem/page.h"

#include <cstdlib>

namespace vfile_internal {

struct FreePages::Chunk {
    static constexpr int Size = 510;
    Chunk* below;
    int used;
    FreeRun runs[Size];
};

std::int32_t FreePages::Next() const {
    if (top.count > 1) return top.head - top.step * PageSize;
    const FreeRun* below = Run(1);
    return below ? below->head : NoAdr;
}

void FreePages::PushLinked(std::int32_t adr) {
    if (top.count > 0 && top.step != 0) {
        chunk->runs[chunk->used++] = top;
        top = {NoAdr, 0, 0};
    }
    top.head = adr;
    top.count = top.count + 1;
    top.step = 0;
    ++count;
}

bool FreePages::Push(std::int32_t adr) {
    const bool follows = top.step != 0 && adr - top.head == top.step * PageSize;
    const bool turns = top.step != 0 && top.count == 1 && top.head - adr == top.step * PageSize;
    if (follows || turns) {
        if (turns) top.step = -top.step;
        top.head = adr;
        top.count = top.count + 1;
    } else {
        const bool below = top.count > 0;
        if (!Reserve(below ? 2 : 1)) return false;
        if (below) chunk->runs[chunk->used++] = top;
        top = {adr, 1, 1};
    }
    ++count;
    return true;
}

void FreePages::Pop(std::int32_t next) {
    --count;
    top.count = top.count - 1;
    top.head = next;
    if (top.count > 0) return;
    top = {NoAdr, 0, 0};
    if (count == 0) return;
    if (chunk->used == 0) { // an empty one is kept until then, for a list that grows and shrinks at its edge
        Chunk* empty = chunk;
        chunk = chunk->below;
        std::free(empty);
    }
    top = chunk->runs[--chunk->used];
}

FreePages::~FreePages() {
    Clear();
}

void FreePages::Clear() {
    while (chunk) {
        Chunk* next = chunk->below;
        std::free(chunk);
        chunk = next;
    }
    top = {NoAdr, 0, 0};
    count = 0;
}

const FreeRun* FreePages::Run(std::int32_t i) const {
    if (i == 0) return top.count > 0 ? &top : nullptr;
    const Chunk* c = chunk;
    for (; c && i > c->used; c = c->below) i -= c->used;
    return c ? &c->runs[c->used - i] : nullptr;
}

// Room for n runs more, in one chunk.
bool FreePages::Reserve(int n) {
    if (chunk && chunk->used + n <= Chunk::Size) return true;
    auto* made = static_cast<Chunk*>(std::malloc(sizeof(Chunk)));
    if (!made) return false;
    made->below = chunk;
    made->used = 0;
    chunk = made;
    return true;
}

} // namespace vfile_internal
