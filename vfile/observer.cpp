// The list of an object's observers, and the few things that they need of it.
#include "vfile/vfile_observer.h"

#include "vfile/content.h"
#include "vfile/span_reader.h"

#include <cstring>

namespace vfile_internal {

bool Observed::OnOwnerThread(const VFile& f) {
    return Content::Of(f).OnOwnerThread();
}

void Observed::Attach(VFile& f, Observer& o) {
    Observer** end = &Content::Of(f).observers;
    while (*end) end = &(*end)->next;
    o.next = nullptr;
    o.subject = &f;
    *end = &o; // last: a fork on another thread may come in between
}

void Observed::Detach(Observer& o) {
    if (!o.subject) return;
    Observer** link = &Content::Of(*o.subject).observers;
    while (*link && *link != &o) link = &(*link)->next;
    if (*link) *link = o.next; // else it was never attached
    o.subject = nullptr;
}

const Observer* Observed::Find(const VFile& f, void (*after)(void*, std::int32_t, std::int32_t, std::int32_t)) {
    const Observer* o = Content::Of(f).observers;
    while (o && o->after != after) o = o->next;
    return o;
}

void Observed::Read(const VFile& f, std::int32_t at, void* dst, std::int32_t n) {
    if (n > 0) SpanReader(f, at).Read(dst, n);
}

bool Observed::HasLineEnd(const VFile& f, std::int32_t at, std::int32_t n) {
    SpanReader in(f, at);
    for (; n > 0; --n) {
        const unsigned char c = in.Byte();
        if (c == '\n' || c == '\r') return true;
    }
    return false;
}

std::int32_t Observed::PosBefore(const VFile& f) {
    return Content::Of(f).posBefore;
}

bool Observed::MakeRoom(const VFile& f, std::int64_t pages) {
    Content& c = Content::Of(f);
    if (pages <= INT32_MAX) c.MakeRoom(static_cast<std::int32_t>(pages));
    return pages <= c.chain.FreePages();
}

// An observer may detach itself, or be freed, when it is told.
void Observed::TellBefore(const VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t newLen) {
    for (Observer *o = Content::Of(f).observers, *next; o; o = next) {
        next = o->next;
        if (o->before) o->before(o->self, at, oldLen, newLen);
    }
}

void Observed::TellAfter(const VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t newLen) {
    for (Observer *o = Content::Of(f).observers, *next; o; o = next) {
        next = o->next;
        o->after(o->self, at, oldLen, newLen);
    }
}

void Observed::TellHook(const VFile& f, bool begins, std::int32_t end) {
    for (Observer *o = Content::Of(f).observers, *next; o; o = next) {
        next = o->next;
        if (o->hook) o->hook(o->self, begins, end);
    }
}

void Observed::TellStep(const VFile& f, bool begins) {
    for (Observer *o = Content::Of(f).observers, *next; o; o = next) {
        next = o->next;
        if (o->step) o->step(o->self, begins);
    }
}

void Observed::TellGone(VFile& f) {
    while (Observer* o = Content::Of(f).observers) {
        Content::Of(f).observers = o->next;
        o->subject = nullptr;
        o->gone(o->self);
    }
}

} // namespace vfile_internal
