// Where a content differs from what it was.
#include "vfedit_trace.h"

#include <algorithm>
#include <cstdlib>

Trace::~Trace() {
    std::free(before.all);
    std::free(behind.all);
}

bool Trace::Push(Stack& stack, const Stretch& s) {
    if (stack.count == stack.room) {
        const std::size_t wanted = stack.room == 0 ? 64 : 2 * stack.room;
        void* const more = std::realloc(stack.all, wanted * sizeof(Stretch));
        if (!more) {
            failed = true;
            return false;
        }
        stack.all = static_cast<Stretch*>(more);
        stack.room = wanted;
    }
    stack.all[stack.count++] = s;
    return true;
}

// From positions to distances from the ends, and back.
Stretch Trace::Turned(const Stretch& s) const {
    return {oldTotal - s.old, s.oldLength, total - s.now, s.length};
}

void Trace::Changed(std::int32_t at, std::int32_t oldLength, std::int32_t n) {
    if (failed || (oldLength == 0 && n == 0)) return;
    const auto shiftBehind = [](const Stretch& s) { return s.now + s.length - s.old - s.oldLength; };
    const auto last = [this]() -> const Stretch& { return before.all[before.count - 1]; };
    const auto first = [this] { return Turned(behind.all[behind.count - 1]); };
    for (; before.count > 0 && last().now > at + oldLength; --before.count) {
        if (!Push(behind, Turned(last()))) return;
    }
    for (; behind.count > 0 && first().now + first().length < at; --behind.count) {
        if (!Push(before, first())) return;
    }
    // The change and the stretches that it touches become one.
    std::int32_t from = at, to = at + oldLength; // in the content before the change
    std::int32_t shift = 0;                      // of the bytes from `to` on
    bool touched = false;
    for (; before.count > 0 && last().now + last().length >= at; --before.count) {
        from = std::min(from, last().now);
        to = std::max(to, last().now + last().length);
        if (!touched) shift = shiftBehind(last());
        touched = true;
    }
    const std::int32_t shiftBefore = before.count > 0 ? shiftBehind(last()) : 0;
    if (!touched) shift = shiftBefore;
    for (; behind.count > 0 && first().now <= to; --behind.count) {
        from = std::min(from, first().now);
        to = std::max(to, first().now + first().length);
        shift = shiftBehind(first());
    }
    const std::int32_t old = from - shiftBefore;
    total += n - oldLength;
    Push(before, {old, to - shift - old, from, to - from + n - oldLength});
}

void Trace::Rewind() {
    while (before.count > 0 && Push(behind, Turned(before.all[before.count - 1]))) --before.count;
}

bool Trace::Next(Stretch& stretch) {
    if (behind.count == 0) return false;
    stretch = Turned(behind.all[--behind.count]);
    return true;
}
