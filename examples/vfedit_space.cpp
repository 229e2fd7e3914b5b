// Room for a content of up to 2 GiB.
//
// What a change costs at most follows from how the library makes it. Putting in n bytes for fewer takes n / BlkSize + 1
// more blocks, putting in n for as many or more takes none when it is done, and not even on its way if it comes byte by
// byte. Bytes after the end fill the last block before they take another one.
#include "vfedit_space.h"

#include "vfedit_trace.h"

#include <algorithm>

namespace {

constexpr int PieceBytes = 64 * 1024;
thread_local unsigned char piece[PieceBytes];

constexpr int Edges = 2 * BlkSize;    // unused in the two blocks where a packed stretch ends
constexpr int Spare = 4 * BlkSize;    // for blocks that come before others go, and for rounding
constexpr int Reserve = 32 * BlkSize; // Edges, Spare, and some changes from one packing to the next

// In a stretch that is dense with changes, blocks are packed as soon as there are many changes, while they are in the
// cache. Few changes in a long stretch cost less than the writing would, until the space is needed.
constexpr int ChangesUntilPack = 256;
constexpr std::int32_t DenseStretch = ChangesUntilPack * 8 * BlkSize;

} // namespace

void Space::Stretch::Take(const Stretch& s) {
    if (s.to < s.from) return;
    const bool none = to < from;
    from = none ? s.from : std::min(from, s.from);
    to = none ? s.to : std::max(to, s.to);
}

// What stands from `at` on has moved.
void Space::Stretch::Move(std::int32_t at, std::int32_t grown) {
    if (at < from) from = std::max(at, from + grown);
    if (at < to) to = std::max(at, to + grown);
}

bool Space::Fits(std::int32_t at, std::int64_t more) const {
    const bool toFullBlocks = unused == 0 && at >= content.Length();
    return more <= 0 || content.Length() + more <= limit - (toFullBlocks ? 0 : Reserve);
}

bool Space::LeaveForCopy() {
    limit -= std::min(limit, content.Length() + Reserve);
    return content.Length() <= limit - Reserve;
}

bool Space::Roomy(int n) const {
    return content.Length() + unused + n + Spare <= limit;
}

Res Space::Change(std::int32_t at, std::int32_t oldLen, const void* bytes, int n) {
    const std::int32_t len = content.Length();
    at = std::min(at, len);
    oldLen = std::min(oldLen, len - at);
    const Res res = ChangeWithin(at, oldLen, bytes, n);
    if (res != resDone || (oldLen == 0 && n == 0)) return res;
    changed = true;
    if (trace) trace->Changed(at, oldLen, n);
    return res;
}

// The same, with place and length in the content.
Res Space::ChangeWithin(std::int32_t at, std::int32_t oldLen, const void* bytes, int n) {
    if (!Fits(at, std::int64_t{n} - oldLen)) return resTooLong;
    if (unused == 0 && at == content.Length()) {
        content.ReplaceBuf(at, 0, bytes, n);
        return content.res;
    }
    if (!Roomy(n)) MakeRoom(n);
    if (Roomy(n)) {
        content.ReplaceBuf(at, oldLen, bytes, n);
    } else {
        ChangeTight(at, oldLen, static_cast<const unsigned char*>(bytes), n);
    }
    if (content.res == resDone) Note(at, oldLen, n);
    return content.res;
}

// In the last kilobytes of the space: a byte that gives way to a byte takes no block.
void Space::ChangeTight(std::int32_t at, std::int32_t oldLen, const unsigned char* bytes, int n) {
    const int same = std::min(oldLen, n);
    for (int i = 0; i < same; ++i) content.ReplaceBuf(at + i, 1, bytes + i, 1);
    content.ReplaceBuf(at + same, oldLen - same, n > same ? bytes + same : nullptr, n - same);
}

// Counts a change that has been made.
void Space::Note(std::int32_t at, std::int32_t oldLen, int n) {
    const std::int32_t grown = n - oldLen;
    const bool goesOn = oldLen == 0 && at == end;
    end = goesOn || (oldLen == 0 && n > BlkSize) ? at + n : -1;
    if (grown == 0 && unused == 0) return;                 // full blocks stay full
    if (oldLen == 0 && at + n == content.Length()) return; // after the end

    if (at < nearby.from && nearby.from == nearby.to) { // not on from the end of a packed stretch
        PackNearby(false);
        nearby = Stretch();
    }
    nearby.Move(at, grown);
    others.Move(at, grown);
    nearby.Take({at, at + n});
    if (grown < 0) unused += std::min(-grown, 3 * BlkSize);
    if (grown > 0 && !goesOn) unused += oldLen + (n > BlkSize ? 2 : 1) * BlkSize;
    if (grown > 0 && ++count == ChangesUntilPack) PackNearby(nearby.to - nearby.from <= DenseStretch);
}

// Packs the latest changes, or leaves them to the others.
void Space::PackNearby(bool dense) {
    if (dense) {
        Pack(nearby);
        unused = before + Edges;
    } else {
        others.Take(nearby);
        before = unused;
    }
    nearby.from = nearby.to; // where a packed stretch ends is a part of the next one
    count = 0;
}

void Space::MakeRoom(int n) {
    if (unused <= Edges) return;
    PackNearby(true);
    if (Roomy(n) || content.res != resDone) return;
    nearby.Take(others);
    before = 0;
    others = Stretch();
    PackNearby(true);
}

// Each piece goes before it comes back, so that all of this takes no more than a block of the space.
void Space::Pack(const Stretch& stretch) {
    for (std::int32_t at = stretch.from; at < stretch.to && content.res == resDone;) {
        content.SetPos(at);
        const int n = content.ReadBytes(piece, std::min(PieceBytes, stretch.to - at));
        if (n == 0) return; // no more content
        content.Delete(at, n);
        content.ReplaceBuf(at, 0, piece, n);
        at += n;
    }
}
