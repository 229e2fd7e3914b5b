// The history that a host sees, and the rule by which typing joins.
#include "vfile/vfile_history.h"

#include "vfile/history_steps.h"

#include <algorithm>

using vfile_internal::History;

VFileHistory::VFileHistory(VFile& f) : res(resDone), history(nullptr) {
    if (!vfile_internal::Observed::OnOwnerThread(f)) {
        res = resContextError;
        return;
    }
    history = History::Make(f, *this);
    if (!history) res = resHeapOverflow;
}

VFileHistory::~VFileHistory() {
    delete history;
}

VFile* VFileHistory::Subject() const {
    return history ? &history->Subject() : nullptr;
}

bool VFileHistory::Undo() {
    if (history) return history->Apply(history->undo, history->redo);
    res = resContextError;
    return false;
}

bool VFileHistory::Redo() {
    if (history) return history->Apply(history->redo, history->undo);
    res = resContextError;
    return false;
}

std::int32_t VFileHistory::UndoCount() const {
    return history ? history->undo.Count() + (history->undo.OpenHolds() ? 1 : 0) : 0;
}

std::int32_t VFileHistory::RedoCount() const {
    return history ? history->redo.Count() : 0;
}

bool VFileHistory::IsApplying() const {
    return history && history->applying;
}

void VFileHistory::Begin() {
    if (history) history->Begin();
}

void VFileHistory::End() {
    if (history) history->End();
}

void VFileHistory::EndStep() {
    if (history) history->EndStep();
}

void VFileHistory::SetJoinRule(JoinRule rule, void* context) {
    if (!history) return;
    history->rule = rule;
    history->context = context;
}

bool VFileHistory::JoinTyping(void*, const VFileChange& last, const VFileChange& next) {
    if (last.lineEnd || std::max({last.oldLen, last.newLen, next.oldLen, next.newLen}) > VFileTypingMax) return false;
    const bool deletes = last.newLen == 0 && next.newLen == 0;
    if (deletes) return next.at == last.at || next.at + next.oldLen == last.at;
    const bool inserts = last.oldLen == 0 && next.oldLen == 0;
    const bool overwrites = last.oldLen == last.newLen && next.oldLen == next.newLen;
    return (inserts || overwrites) && next.at == last.at + last.newLen;
}

void VFileHistory::MarkSaved() {
    if (history) history->MarkSaved();
}

bool VFileHistory::IsSaved() const {
    return history && history->State() == history->saved;
}

void VFileHistory::SetLimits(std::int32_t bytes, std::int32_t steps) {
    if (history) history->SetLimits(bytes, steps);
}

std::int64_t VFileHistory::RecordSize() const {
    return history ? history->undo.Size() + history->redo.Size() : 0;
}

void VFileHistory::Clear() {
    if (history) history->Clear();
}
