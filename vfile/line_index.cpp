// The line ends of an object's content: the index.
#include "vfile/line_index.h"

#include "foundation/byte_scan.h"
#include "platform/thread.h"
#include "vfile/line_ends.h"
#include "vfile/long_work.h"

#include <algorithm>
#include <memory>
#include <new>

namespace vfile_internal {
namespace {

constexpr std::int32_t Fresh = 3072;             // bytes of a new chunk
constexpr std::int32_t Most = 2 * Fresh;         // what has more is counted anew, in several
constexpr std::int32_t Least = 2560;             // what has shrunk below looks for a neighbour to join
constexpr std::int32_t JoinedBytes = Most - 256; // what the two may have together
constexpr std::int32_t Large = 64 * 1024;        // a new run from which on it may be better to begin anew

constexpr std::int32_t Few = 16; // bytes that are looked at one by one

// The bytes from `at` on, if the block at the cursor holds so many of them and is in the buffer; else null.
const unsigned char* AtHand(const VFile& f, std::int32_t at, std::int32_t n) {
    const Content& c = Content::Of(f);
    const std::int32_t ix = at - c.cur.start;
    return c.bufBlk == c.cur.ptr && ix >= 0 && n <= c.cur.ptr->len - ix ? c.buf + ix : nullptr;
}

LineSum operator+(LineSum a, LineSum b) {
    return {a.bytes + b.bytes, a.ends + b.ends};
}

} // namespace

LineIndex::LineIndex(VFile& f)
    : watch{nullptr, nullptr, this, Before, After, nullptr, nullptr, Gone}, tree(), hot(), lag(), oldEnds(-1),
      owner(platform::CurrentThreadId()) {
    watch.subject = &f; // and not yet its observer
}

LineIndex::~LineIndex() {
    Observed::Detach(watch);
}

LineIndex* LineIndex::Of(const VFile& f) {
    const Observer* o = Observed::Find(f, After);
    return o ? static_cast<LineIndex*>(o->self) : nullptr;
}

LineIndex* LineIndex::ToAsk(VFile& f, Res& outcome) {
    if (LineIndex* there = Of(f)) return there;
    struct Deletion {
        void operator()(LineIndex* x) const { delete x; }
    };
    std::unique_ptr<LineIndex, Deletion> made(new (std::nothrow) LineIndex(f));
    LongWork work(VFileWork::Count, f.Length(), f);
    if (!made || !made->CountFrom(0, f.Length(), work)) {
        if (work.IsStopped()) outcome = work.Outcome();
        return nullptr;
    }
    Observed::Attach(f, made->watch);
    return made.release();
}

// In the child of a fork, a thread that is not here may have been at work on the tree.
void LineIndex::Gone(void* self) {
    auto* index = static_cast<LineIndex*>(self);
    if (!platform::IsFromBeforeFork(index->owner) || platform::IsOfForkingThread(index->owner)) delete index;
}

// ---- Questions ----

std::int32_t LineIndex::Ends() const {
    return tree.All().ends + lag.ends;
}

// Counted from the nearer border of the chunk.
std::int32_t LineIndex::EndsBefore(std::int32_t p) {
    if (p == tree.All().bytes + lag.bytes) return Ends();
    Settle();
    const LineChunk chunk = tree.OfByte(p);
    const std::int32_t off = p - chunk.before.bytes, rest = chunk.self.bytes - off;
    if (off == 0) return chunk.before.ends;
    SpanReader in(*watch.subject, off <= rest ? chunk.before.bytes : p);
    if (off <= rest) return chunk.before.ends + EndsWithin(in, off, chunk.self.bytes, never, nullptr);
    return chunk.before.ends + chunk.self.ends - EndsWithin(in, rest, rest, never, nullptr);
}

std::int32_t LineIndex::Behind(std::int32_t n) {
    Settle();
    const LineChunk chunk = tree.OfEnd(n);
    const std::int32_t k = n - chunk.before.ends;
    if (k > chunk.self.ends / 5 * 3) return BehindFromEnd(chunk, chunk.self.ends - k);
    SpanReader in(*watch.subject, chunk.before.bytes);
    return chunk.before.bytes + PassEnds(in, k, chunk.self.bytes, never, nullptr);
}

// The place after the line end of the chunk that has so many others after it, found going back.
std::int32_t LineIndex::BehindFromEnd(const LineChunk& chunk, std::int32_t later) const {
    std::int32_t at = chunk.before.bytes + chunk.self.bytes; // all that lies after is scanned
    SpanReader in(*watch.subject, at, SpanReader::Way::Back);
    for (;;) {
        Span s = in.Next();
        const std::size_t n = std::min(s.size, static_cast<std::size_t>(at - chunk.before.bytes));
        at -= static_cast<std::int32_t>(n);
        bool afterCr = s.bytes[s.size - n] == '\n';
        if (afterCr) {
            afterCr = PairAt(at);
            s = in.Next(); // it may have had to make room
        }
        const unsigned char* run = s.bytes + s.size - n;
        const auto ends = static_cast<std::int32_t>(CountLineEnds(run, n, afterCr));
        if (ends > later) {
            auto k = static_cast<std::size_t>(ends - later);
            const std::size_t i = FindLineEnd(run, n, afterCr, k);
            at += static_cast<std::int32_t>(i) + 1;
            return run[i] == '\r' && PairAt(at) ? at + 1 : at;
        }
        later -= ends;
        in.Take(n);
    }
}

// ---- Changes ----

// Where nothing goes, what was there before can be told afterwards, too. Without a Before, since it was made in
// between, a change counts anew.
void LineIndex::Before(void* self, std::int32_t at, std::int32_t oldLen, std::int32_t) {
    auto& x = *static_cast<LineIndex*>(self);
    x.oldEnds = oldLen > 0 && x.Warm(at, oldLen) ? x.EndsAround(at, oldLen) : 0;
}

void LineIndex::After(void* self, std::int32_t at, std::int32_t oldLen, std::int32_t newLen) {
    auto* x = static_cast<LineIndex*>(self);
    if (x->ChangeFew(at, oldLen, newLen)) return;
    const bool anew = newLen >= Large && newLen > x->watch.subject->Length() / 4;
    const bool noted = x->oldEnds >= 0 && !anew && x->Warm(at, oldLen) && x->ChangeHot(at, oldLen, newLen);
    x->oldEnds = -1;
    if (noted) return;
    if (anew || !x->Recount(at, oldLen, newLen)) delete x;
}

// Makes the chunk of this place the hot one. True if the n bytes from there on lie in it.
bool LineIndex::Warm(std::int32_t at, std::int32_t n) {
    const std::int32_t from = hot.before.bytes;
    if (hot.self.bytes > 0 && at >= from && at + n <= from + hot.self.bytes) return true;
    Settle();
    const std::int32_t all = tree.All().bytes;
    if (all == 0) return false;
    hot = tree.Seek(std::min<std::int32_t>(at, all - 1));
    return at + n <= hot.before.bytes + hot.self.bytes;
}

// The tree learns of the hot chunk, which is none then.
void LineIndex::Settle() {
    if (lag.bytes != 0 || lag.ends != 0) tree.Add(lag);
    lag = {};
    hot.self = {};
}

// Line ends in n bytes and the one before them, less 1 if a pair ends just after: what a change takes and brings is
// the difference of two of these.
std::int32_t LineIndex::EndsAround(std::int32_t at, std::int32_t n) const {
    const VFile& f = *watch.subject;
    const std::int32_t from = at > 0 ? at - 1 : 0, size = at + n - from;
    if (size < 1) return 0;
    const unsigned char* bytes = AtHand(f, from, size);
    if (!bytes) {
        SpanReader in(f, from);
        return EndsWithin(in, size, f.Length() - from, never, nullptr);
    }
    std::int32_t ends = 0;
    if (size > Few) {
        ends = static_cast<std::int32_t>(CountLineEnds(bytes, static_cast<std::size_t>(size), false));
    } else {
        for (std::int32_t i = 0; i < size; ++i)
            ends += bytes[i] == '\r' || (bytes[i] == '\n' && !(i > 0 && bytes[i - 1] == '\r'));
    }
    return bytes[size - 1] == '\r' && PairAt(at + n) ? ends - 1 : ends;
}

// What EndsAround(at, 0) was before n bytes came in.
std::int32_t LineIndex::EndsInGap(std::int32_t at, std::int32_t n) const {
    const unsigned char before = at > 0 ? ByteAt(at - 1) : 0;
    if (before != '\r') return before == '\n' ? 1 : 0;
    return at + n < watch.subject->Length() && ByteAt(at + n) == '\n' ? 0 : 1;
}

unsigned char LineIndex::ByteAt(std::int32_t p) const {
    const unsigned char* byte = AtHand(*watch.subject, p, 1);
    return byte ? *byte : SpanReader(*watch.subject, p).Byte();
}

// The bytes on both sides of p are CR and LF.
bool LineIndex::PairAt(std::int32_t p) const {
    return p > 0 && p < watch.subject->Length() && ByteAt(p - 1) == '\r' && ByteAt(p) == '\n';
}

// Notes a few new bytes within the hot chunk, where no CR is near, so that they can be taken as they are. Most changes
// are of this kind, and quick here. False, and nothing is noted, if it is another one.
inline bool LineIndex::ChangeFew(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) {
    const std::int32_t off = at - hot.before.bytes, size = hot.self.bytes + newLen;
    if (oldEnds < 0 || oldLen > 0 || newLen > Few || off < 1 || off >= hot.self.bytes || size > Most) return false;
    const unsigned char* bytes = AtHand(*watch.subject, at - 1, newLen + 1);
    if (!bytes || bytes[0] == '\r') return false;
    std::int32_t ends = 0;
    for (std::int32_t i = 1; i <= newLen; ++i) {
        if (bytes[i] == '\r') return false;
        ends += bytes[i] == '\n';
    }
    hot.self = hot.self + LineSum{newLen, ends};
    lag = lag + LineSum{newLen, ends};
    oldEnds = -1;
    return true;
}

// Notes a change that lies in the hot chunk. False, and nothing is noted, if it does not leave a good one.
bool LineIndex::ChangeHot(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) {
    const std::int32_t from = hot.before.bytes, to = from + hot.self.bytes, all = tree.All().bytes + lag.bytes;
    const std::int32_t more = newLen - oldLen;
    if (newLen > Most || hot.self.bytes + more > (at == all ? Fresh : Most)) return false;
    if ((at == from && PairAt(at)) || (at + oldLen == to && PairAt(at + newLen))) return false;
    if (hot.self.bytes + more == 0) {
        Settle();
        tree.Erase(from);
        return true;
    }
    if (oldLen == 0) oldEnds = EndsInGap(at, newLen);
    const LineSum change = {more, EndsAround(at, newLen) - oldEnds};
    hot.self = hot.self + change;
    lag = lag + change;
    if (more < 0 && hot.self.bytes < Least) JoinHot();
    return true;
}

// Takes the hot chunk together with a neighbour, if both fit.
void LineIndex::JoinHot() {
    const LineChunk small = hot;
    Settle();
    const std::int32_t from = small.before.bytes, to = from + small.self.bytes;
    if (to < tree.All().bytes) {
        const LineSum behind = tree.OfByte(to).self;
        if (small.self.bytes + behind.bytes <= JoinedBytes) {
            tree.Erase(to);
            tree.Seek(from);
            tree.Add(behind);
            return;
        }
    }
    if (from == 0) return;
    const LineChunk before = tree.OfByte(from - 1);
    if (before.self.bytes + small.self.bytes > JoinedBytes) return;
    tree.Erase(from);
    tree.Seek(before.before.bytes);
    tree.Add(small.self);
}

// Looks through all that a change touches: the chunks of the old bytes and of those beside them. What is added at the
// end needs only itself. False if out of memory.
bool LineIndex::Recount(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) {
    Settle();
    const std::int32_t all = tree.All().bytes;
    std::int32_t from = at, to = at + oldLen;
    if (at > 0 && (at < all || PairAt(at))) from = tree.OfByte(at - 1).before.bytes;
    if (at == 0) from = 0;
    if (to < all) {
        const LineChunk last = tree.OfByte(to);
        to = last.before.bytes + last.self.bytes;
    }
    for (std::int32_t left = to - from; left > 0;) {
        left -= tree.OfByte(from).self.bytes;
        tree.Erase(from);
    }
    platform::Silence within; // a change
    platform::Meter work(VFileWork::Count, newLen);
    return CountFrom(from, to + newLen - oldLen, work);
}

// Makes the chunks of a stretch that the tree does not have. False if out of memory, or the host stops it.
bool LineIndex::CountFrom(std::int32_t from, std::int32_t to, platform::Meter& work) {
    if (from == to) return true;
    SpanReader in(*watch.subject, from);
    while (from < to) {
        const std::int32_t rest = to - from;
        LineSum chunk = {rest >= Most ? Fresh : rest > Fresh + Fresh / 2 ? rest / 2 : rest, 0};
        chunk.ends = EndsWithin(in, chunk.bytes, chunk.bytes, never, nullptr);
        if (chunk.bytes < rest && in.Next().bytes[0] == '\n' && PairAt(from + chunk.bytes)) {
            in.Byte();
            ++chunk.bytes;
        }
        if (!tree.Insert(from, chunk) || !work.Step(chunk.bytes)) return false;
        from += chunk.bytes;
    }
    return true;
}

} // namespace vfile_internal
