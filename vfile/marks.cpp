// The marks that a host sees, over the tree.
#include "vfile/vfile_marks.h"

#include "vfile/mark_tree.h"

#include <algorithm>

using vfile_internal::MarkTree;

VFileMarks::VFileMarks(VFile& f) : res(resDone), tree(nullptr) {
    if (!vfile_internal::Observed::OnOwnerThread(f)) {
        res = resContextError;
        return;
    }
    tree = new (std::nothrow) MarkTree(f);
    if (!tree) res = resHeapOverflow;
}

VFileMarks::~VFileMarks() {
    delete tree;
}

VFile* VFileMarks::Subject() const {
    return tree ? tree->Subject() : nullptr;
}

VFileMark VFileMarks::Add(std::int32_t at, VFileGravity gravity) {
    VFile* f = Subject();
    res = !f ? resContextError : at < 0 ? resCallError : tree->Reserve(1) ? resDone : resHeapOverflow;
    if (res != resDone) return 0;
    return tree->Add(std::min<std::int32_t>(at, f->Length()), vfile_internal::Mark, gravity);
}

VFileMark VFileMarks::AddRange(std::int32_t from, std::int32_t to, VFileGravity atStart, VFileGravity atEnd) {
    VFile* f = Subject();
    const bool bad = from < 0 || to < from;
    res = !f ? resContextError : bad ? resCallError : tree->Reserve(2) ? resDone : resHeapOverflow;
    if (res != resDone) return 0;
    const std::int32_t mark = tree->Add(std::min<std::int32_t>(from, f->Length()), vfile_internal::RangeStart, atStart);
    const std::int32_t end = tree->Add(std::min<std::int32_t>(to, f->Length()), vfile_internal::RangeEnd, atEnd);
    tree->At(mark).mate = end;
    tree->At(end).mate = mark;
    return mark;
}

bool VFileMarks::Remove(VFileMark mark) {
    res = tree && tree->Holds(mark) ? resDone : resCallError;
    if (res == resDone) tree->Remove(mark);
    return res == resDone;
}

void VFileMarks::Clear() {
    if (tree) tree->Clear();
}

std::int32_t VFileMarks::Count() const {
    return tree ? tree->count : 0;
}

std::int32_t VFileMarks::Start(VFileMark mark) const {
    return tree && tree->Holds(mark) ? tree->Place(mark) : -1;
}

std::int32_t VFileMarks::End(VFileMark mark) const {
    const std::int32_t start = Start(mark);
    if (start < 0 || tree->At(mark).mate == 0) return start;
    return std::max<std::int32_t>(start, tree->Place(tree->At(mark).mate));
}

VFileLoss VFileMarks::Loss(VFileMark mark) const {
    if (!tree || !tree->Holds(mark)) return VFileLoss::None;
    const auto& n = tree->At(mark);
    if (n.lost) return VFileLoss::Wholly;
    const bool some = n.mate != 0 && tree->GoneBefore(n.mate) > tree->GoneBefore(mark);
    return some ? VFileLoss::Partly : VFileLoss::None;
}

void VFileMarks::ClearLoss(VFileMark mark) {
    res = tree && tree->Holds(mark) ? resDone : resCallError;
    if (res != resDone) return;
    auto& n = tree->At(mark);
    n.lost = false;
    if (n.mate != 0) tree->At(n.mate).gone += tree->GoneBefore(mark) - tree->GoneBefore(n.mate);
}

VFileMark VFileMarks::From(std::int32_t at) const {
    return tree ? tree->FirstFrom(tree->marks, vfile_internal::MarkKey(at, VFileGravity::Before)) : 0;
}

VFileMark VFileMarks::Next(VFileMark mark) const {
    return tree && tree->Holds(mark) ? tree->Neighbour(mark, true) : 0;
}

VFileMark VFileMarks::Previous(VFileMark mark) const {
    return tree && tree->Holds(mark) ? tree->Neighbour(mark, false) : 0;
}
