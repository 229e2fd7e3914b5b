// The record of a history in one direction.
#include "vfile/history_record.h"

#include "vfile/vfile_observer.h"

#include <algorithm>
#include <cstring>

namespace vfile_internal {

namespace {

constexpr int MaxTrailer = 15; // three numbers of up to 32 bits

// Writes a number so that it can be read from its end; how many bytes it takes.
int PutNumber(unsigned char* to, std::uint32_t v) {
    int n = 1;
    for (std::uint32_t rest = v >> 7; rest > 0; rest >>= 7) ++n;
    for (int i = n; i-- > 0; v >>= 7) to[i] = static_cast<unsigned char>((v & 0x7F) | (i > 0 ? 0x80 : 0));
    return n;
}

// Reads a number that ends before `end`, and goes to where it begins.
std::uint32_t TakeNumber(const unsigned char*& end) {
    std::uint32_t v = 0;
    for (int shift = 0;; shift += 7) {
        --end;
        v |= (*end & 0x7Fu) << shift;
        if (!(*end & 0x80)) return v;
    }
}

// Distances, small in either direction, as small numbers.
std::uint32_t Folded(std::int32_t distance) {
    const auto v = static_cast<std::uint32_t>(distance);
    return v << 1 ^ (distance < 0 ? ~0u : 0u);
}

std::int32_t Unfolded(std::uint32_t v) {
    return static_cast<std::int32_t>(v >> 1 ^ (v & 1 ? ~0u : 0u));
}

} // namespace

HistoryRecord::HistoryRecord(Content*& ofData, Content*& ofSteps)
    : data(ofData), steps(ofSteps), count(0), open(false), editOpen(false), step(), edit() {}

Res HistoryRecord::Outcome() const {
    return data.res != resDone ? data.res : steps.res;
}

void HistoryRecord::Open(const Step& header) {
    if (count == 0 && Size() > 0) Clear(); // which has failed before
    step = header;
    step.bytes = 0;
    step.lastAt = 0;
    open = true;
    editOpen = false;
}

bool HistoryRecord::OpenHolds() const {
    return open && (step.bytes > 0 || (editOpen && (edit.oldLen > 0 || edit.newLen > 0)));
}

std::int64_t HistoryRecord::Size() const {
    return std::int64_t{data.Length()} + steps.Length();
}

// A change that touches the new bytes of the one before needs no more of a record than the old bytes that it takes
// beyond them: typing needs none, and neither does what is changed again.
Res HistoryRecord::Note(const VFile& src, std::int32_t at, std::int32_t oldLen, std::int32_t newLen) {
    const std::int32_t end = editOpen ? edit.at + edit.newLen : 0;
    if (editOpen && at <= end && at + oldLen >= edit.at) {
        const std::int32_t before = std::max<std::int32_t>(0, edit.at - at);
        const std::int32_t behind = std::max<std::int32_t>(0, at + oldLen - end);
        if (before > 0) data.ReplaceTxt(data.Length() - edit.oldLen, 0, src, at, before);
        if (behind > 0) data.ReplaceTxt(data.Length(), 0, src, end, behind);
        edit.at -= before;
        edit.oldLen += before + behind;
        edit.newLen += before + behind - oldLen;
        edit.newLen += newLen;
        return Outcome();
    }
    // The trailer of the edit before, and the old bytes after it: most often there are few of both.
    unsigned char bytes[256];
    int n = 0;
    if (editOpen) n = CloseEdit(bytes);
    edit = {at, oldLen, newLen};
    editOpen = true;
    const bool few = oldLen <= static_cast<std::int32_t>(sizeof bytes) - MaxTrailer;
    if (few) {
        Observed::Read(src, at, bytes + n, oldLen);
        n += oldLen;
    }
    if (n > 0) data.ReplaceBuf(data.Length(), 0, bytes, n);
    if (!few) data.ReplaceTxt(data.Length(), 0, src, at, oldLen);
    return Outcome();
}

// The edit that is open can't grow any more. Its trailer, for the caller to append, and how many bytes that has; none
// if nothing has come of the edit.
int HistoryRecord::CloseEdit(unsigned char* to) {
    editOpen = false;
    if (edit.oldLen == 0 && edit.newLen == 0) return 0;
    int n = PutNumber(to, static_cast<std::uint32_t>(edit.newLen));
    n += PutNumber(to + n, static_cast<std::uint32_t>(edit.oldLen));
    n += PutNumber(to + n, Folded(edit.at - step.lastAt));
    step.bytes += edit.oldLen + n;
    step.lastAt = edit.at;
    return n;
}

Res HistoryRecord::Close(bool& kept) {
    unsigned char trailer[MaxTrailer];
    kept = OpenHolds();
    const int n = editOpen ? CloseEdit(trailer) : 0;
    open = false;
    if (!kept) return resDone;
    if (n > 0) data.ReplaceBuf(data.Length(), 0, trailer, n);
    steps.ReplaceBuf(steps.Length(), 0, &step, sizeof step);
    ++count;
    return Outcome();
}

Step HistoryRecord::Top() {
    Step top;
    steps.SetPos(steps.Length() - static_cast<std::int32_t>(sizeof top));
    steps.ReadBytes(&top, sizeof top);
    return top;
}

Step HistoryRecord::Oldest() {
    Step oldest;
    steps.SetPos(0);
    steps.ReadBytes(&oldest, sizeof oldest);
    return oldest;
}

Res HistoryRecord::DropOldest() {
    const Step oldest = Oldest();
    steps.ReplaceBuf(0, sizeof oldest, nullptr, 0);
    data.ReplaceBuf(0, oldest.bytes, nullptr, 0);
    --count;
    return Outcome();
}

void HistoryRecord::Clear() {
    for (VFile* f : {&data, &steps}) {
        f->SetPos(0);
        f->Truncate();
        f->Flush();
    }
    count = 0;
    open = false;
    editOpen = false;
}

Res HistoryRecord::Pop() {
    data.ReplaceBuf(data.Length() - Top().bytes, MaxLen, nullptr, 0);
    steps.ReplaceBuf(steps.Length() - static_cast<std::int32_t>(sizeof step), MaxLen, nullptr, 0);
    --count;
    return Outcome();
}

Res HistoryRecord::Keep(const Step& rest) {
    data.ReplaceBuf(data.Length() - (Top().bytes - rest.bytes), MaxLen, nullptr, 0);
    steps.ReplaceBuf(steps.Length() - static_cast<std::int32_t>(sizeof rest), sizeof rest, &rest, sizeof rest);
    return Outcome();
}

HistoryRecord::Reader::Reader(HistoryRecord& r) : edit(), start(r.data.Length()), bytes(nullptr), record(r) {
    const Step top = r.Top();
    left = top.bytes;
    lastAt = top.lastAt;
    first = start;
}

void HistoryRecord::Reader::Next() {
    const std::int32_t end = start;
    const auto size = static_cast<std::int32_t>(sizeof window);
    const auto have = [&](std::int32_t from) { // from there up to `end`
        if (from >= first && end <= first + filled) return;
        filled = std::min<std::int32_t>(size, left);
        first = end - filled;
        record.data.SetPos(first);
        record.data.ReadBytes(window, filled);
    };
    have(end - std::min<std::int32_t>(MaxTrailer, left));
    const unsigned char* at = window + (end - first);
    const std::int32_t distance = Unfolded(TakeNumber(at));
    const auto oldLen = static_cast<std::int32_t>(TakeNumber(at));
    const auto newLen = static_cast<std::int32_t>(TakeNumber(at));
    const auto trailer = static_cast<std::int32_t>(window + (end - first) - at);

    edit = {lastAt, oldLen, newLen};
    lastAt -= distance;
    start = end - trailer - oldLen;
    bytes = nullptr;
    if (oldLen <= BlkSize) {
        have(start);
        bytes = window + (start - first);
    }
    left -= trailer + oldLen;
}

} // namespace vfile_internal
