// Looking at ranges of a content: visits, search, comparison.
#include "vfile/vfile_view.h"

#include "vfile/byte_pattern.h"
#include "vfile/long_work.h"
#include "vfile/look.h"

#include <algorithm>
#include <cstring>

namespace vfile_internal {

KeptPlace::KeptPlace(VFile& f) : file(&f), pos(f.GetPos()), res(f.res), eof(f.eof) {}

KeptPlace::~KeptPlace() {
    if (!file) return;
    Content::Place(*file, std::min(pos, file->Length()));
    file->res = res;
    file->eof = eof;
}

Look::Look(VFile* object, const VFile& f, std::int32_t from, std::int32_t count, bool backward)
    : content(Content::Of(f)), file(f), own(object), rd(content.cur), at(backward ? from + count : from), left(count),
      back(backward), placed(false), disturbed(false), wasAsking(content.asking), lent(-1), watch{} {
    content.asking = true; // the blocks stay, whoever needs room meanwhile
    if (own && !Overrides(*own, back ? &VFile::ReadPrevByte : &VFile::ReadByte)) own = nullptr;
    if (own) {
        place.emplace(*own);
    } else {
        content.chain.Find(rd, at, false);
    }
}

Look::~Look() {
    TakeBack();
    const bool gone = watch.self && !watch.subject;
    if (!gone) content.asking = wasAsking;
    Observed::Detach(watch);
    if (disturbed && place) place->Forget(); // the position is where the change has left it
}

Span Look::Next() {
    if (own) return ByCall();
    if (!(back ? EnterBefore(rd) : EnterAhead(rd))) return {nullptr, 0};
    const std::int32_t n = std::min<std::int32_t>(left, back ? BytesBefore(rd) : BytesAhead(rd));
    const auto size = static_cast<std::size_t>(n);
    const std::int32_t ix = back ? rd.ix - n : rd.ix;
    const unsigned char* bytes = content.BytesOf(rd.ptr, ix, n);
    if (watch.subject && rd.ptr == content.bufBlk) {
        std::memcpy(room, bytes, size);
        bytes = room;
    } else if (watch.subject) {
        lent = rd.ptr->adr + ix;
        content.chain.Lend(lent);
    }
    return {bytes, size};
}

Span Look::ByCall() {
    if (!placed || own->GetPos() != at) own->SetPos(at);
    placed = true;
    back ? own->ReadPrevByte(room[0]) : own->ReadByte(room[0]);
    return {room, disturbed || own->eof ? std::size_t{0} : std::size_t{1}};
}

void Look::Take(std::size_t n) {
    const auto k = static_cast<std::int32_t>(n);
    left -= k;
    at += back ? -k : k;
    rd.ix += back ? -k : k;
}

void Look::Hold() {
    watch.self = this;
    watch.after = [](void* self, std::int32_t, std::int32_t, std::int32_t) {
        static_cast<Look*>(self)->disturbed = true;
    };
    watch.gone = [](void* self) { static_cast<Look*>(self)->disturbed = true; };
    Observed::Attach(const_cast<VFile&>(file), watch); // the list is no part of the content
}

// Where the object is gone, its VMem may be, too.
void Look::TakeBack() {
    if (lent != -1 && watch.subject) content.chain.TakeBack(lent);
    lent = -1;
}

} // namespace vfile_internal

using vfile_internal::BytePattern;
using vfile_internal::Folding;
using vfile_internal::LongWork;
using vfile_internal::Look;
using vfile_internal::Span;

namespace {

// Cuts the range to the content; what stands against it, if anything.
Res CutRange(const VFile& f, std::int32_t& from, std::int32_t& count) {
    if (!vfile_internal::Observed::OnOwnerThread(f)) return resContextError;
    if (from < 0 || count < 0) return resCallError;
    from = std::min(from, f.Length());
    count = std::min(count, f.Length() - from);
    return resDone;
}

// The next n bytes against these: below 0, 0 or above 0.
int OrderOf(Look& look, const unsigned char* against, std::size_t n, LongWork& work, Res& res) {
    int order = 0;
    for (std::size_t k; n > 0 && order == 0; n -= k) {
        const Span s = look.Next();
        k = std::min(n, s.size);
        if (k == 0) {
            res = resNotDone;
            return 0;
        }
        order = std::memcmp(s.bytes, against, k);
        look.Take(k);
        against += k;
        if (work.Step(static_cast<std::int64_t>(k))) continue;
        res = work.Outcome();
        return 0;
    }
    return order;
}

int Sign(std::int64_t order) {
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

} // namespace

VFileView::VFileView(VFile& f) : res(resDone), own(&f), file(&f) {}

VFileView::VFileView(const VFile& f) : res(resDone), own(nullptr), file(&f) {}

std::int32_t VFileView::Length() const {
    return file->Length();
}

bool VFileView::Visit(std::int32_t from, std::int32_t count, VFileVisitor visit, void* context) {
    return Go(from, count, false, visit, context);
}

bool VFileView::VisitBack(std::int32_t from, std::int32_t count, VFileVisitor visit, void* context) {
    return Go(from, count, true, visit, context);
}

bool VFileView::Go(std::int32_t from, std::int32_t count, bool back, VFileVisitor visit, void* context) {
    res = CutRange(*file, from, count);
    if (res == resDone && !visit) res = resCallError;
    if (res != resDone) return false;
    Look look(own, *file, from, count, back);
    look.Hold();
    bool more = true;
    while (more && look.Left() > 0) {
        const Span s = look.Next();
        const bool none = s.size == 0;
        if (!none) more = visit(context, s.bytes, static_cast<std::int32_t>(s.size));
        look.TakeBack();
        res = look.Disturbed() ? resContextError : none ? resNotDone : resDone;
        if (res != resDone) return false;
        look.Take(s.size);
    }
    return more;
}

std::int32_t VFileView::Read(std::int32_t from, void* dst, std::int32_t n) {
    res = CutRange(*file, from, n);
    if (res == resDone && !dst && n > 0) res = resCallError;
    if (res != resDone || n == 0) return 0;
    if (!own || !vfile_internal::Overrides(*own, &VFile::ReadBytes)) {
        vfile_internal::SpanReader(*file, from).Read(dst, n);
        return n;
    }
    const vfile_internal::KeptPlace place(*own);
    own->SetPos(from);
    const int got = own->ReadBytes(dst, n);
    if (got != n) res = resNotDone;
    return std::clamp(got, 0, n);
}

std::int32_t VFileView::Find(const void* bytes, std::int32_t n, std::int32_t from, std::int32_t to, bool ignoreCase) {
    return Search(bytes, n, from, to, false, ignoreCase);
}

std::int32_t VFileView::FindBack(const void* bytes, std::int32_t n, std::int32_t from, std::int32_t to,
                                 bool ignoreCase) {
    return Search(bytes, n, from, to, true, ignoreCase);
}

std::int32_t VFileView::Search(const void* bytes, std::int32_t n, std::int32_t from, std::int32_t to, bool back,
                               bool fold) {
    std::int32_t count = from < 0 || to < 0 ? -1 : std::max(to, from) - from;
    res = CutRange(*file, from, count);
    if (res == resDone && (n < 0 || (!bytes && n > 0))) res = resCallError;
    if (res != resDone || n > count) return -1;
    std::int32_t at = back ? from + count : from;
    if (n == 0) return at;
    const Folding folding(fold);
    const BytePattern pattern(static_cast<const char*>(bytes), static_cast<std::size_t>(n), back, folding);
    Look look(own, *file, from, count, back);
    LongWork work(VFileWork::Find, count, own, *file, nullptr);
    for (std::size_t m = 0; look.Left() > 0;) {
        const Span s = look.Next();
        if (s.size == 0) {
            res = resNotDone;
            return -1;
        }
        const std::size_t done = pattern.Pass(s, m, false);
        look.Take(done);
        at += (back ? -1 : 1) * static_cast<std::int32_t>(done);
        if (m == pattern.Size()) return back ? at : at - n;
        if (work.Step(static_cast<std::int64_t>(done))) continue;
        res = work.Outcome();
        return -1;
    }
    return -1;
}

int VFileView::Compare(std::int32_t from, std::int32_t count, const void* bytes, std::int32_t n) {
    res = CutRange(*file, from, count);
    if (res == resDone && (n < 0 || (!bytes && n > 0))) res = resCallError;
    if (res != resDone) return 0;
    Look look(own, *file, from, count, false);
    const auto common = static_cast<std::size_t>(std::min(count, n));
    LongWork work(VFileWork::Compare, std::min(count, n), own, *file, nullptr);
    const int order = OrderOf(look, static_cast<const unsigned char*>(bytes), common, work, res);
    return res != resDone ? 0 : Sign(order != 0 ? order : std::int64_t{count} - n);
}

int VFileView::Compare(std::int32_t from, std::int32_t count, const VFileView& other, std::int32_t fromOther,
                       std::int32_t countOther) {
    res = CutRange(*file, from, count);
    if (res == resDone) res = CutRange(*other.file, fromOther, countOther);
    if (res != resDone) return 0;
    Look look(own, *file, from, count, false);
    Look against(other.own, *other.file, fromOther, std::min(count, countOther), false);
    LongWork work(VFileWork::Compare, std::min(count, countOther), own, *file, other.file);
    unsigned char bytes[BlkSize]; // a copy: what VMem lends lasts only until the other side is asked for
    int order = 0;
    while (res == resDone && order == 0 && against.Left() > 0) {
        const Span s = against.Next();
        if (s.size == 0) res = resNotDone;
        std::memcpy(bytes, s.bytes, s.size);
        against.Take(s.size);
        order = OrderOf(look, bytes, s.size, work, res);
    }
    return res != resDone ? 0 : Sign(order != 0 ? order : std::int64_t{count} - countOther);
}
