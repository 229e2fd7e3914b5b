// An object's beginning and end.
#include "vfile/content.h"

#include "foundation/halt.h"
#include "vfile/overrides.h"
#include "vfile/thread_env.h"
#include "vfile/vfile_observer.h"

#include <cstdlib>
#include <initializer_list>
#include <utility>

namespace platform = vfile_internal::platform;
using vfile_internal::Content;

namespace vfile_internal {

Content* Content::Make(ThreadsVMem& vm) {
    auto* alone = static_cast<BlkDesc*>(std::malloc(sizeof(BlkDesc)));
    auto* made = alone ? new (std::nothrow) Content(vm, alone) : nullptr;
    if (!made) std::free(alone);
    return made;
}

namespace {

thread_local Content* ofThread = nullptr; // the last one made

} // namespace

Content::Content(ThreadsVMem& memory, BlkDesc* alone)
    : vm(memory), chain(memory, alone), cur{alone, 0, 0}, buf(nullptr), bufBlk(nullptr), older(nullptr), newer(nullptr),
      observers(nullptr), posBefore(0), owner(platform::CurrentThreadId()), bufDirty(false), asking(false),
      next(ofThread), link(&ofThread) {
    if (next) next->link = &next;
    ofThread = this;
}

Content* Content::Newest() {
    return ofThread;
}

// Nothing is written back: the blocks go as they are.
Content::~Content() {
    FreeBuf();
    *link = next;
    if (next) next->link = link;
}

void Content::ReleaseAll() {
    for (Content* c = ofThread; c; c = c->next) {
        if (c->asking || !c->OnOwnerThread()) continue; // another thread: the parent's, which a fork has copied
        c->WriteBack();
        c->FreeBuf();
        c->chain.DropIndex();
    }
}

// The observers come along with what they watch.
void Content::Exchange(VFile& a, VFile& b) {
    if (!a.content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (a.content->owner != b.content->owner) HaltA("VFile", __LINE__);
    std::swap(a.content, b.content);
    std::swap(a.res, b.res);
    std::swap(a.eof, b.eof);
    std::swap(a.base, b.base);
    std::swap(a.pos, b.pos);
    std::swap(a.len, b.len);
    std::swap(a.flags, b.flags);
    for (VFile* f : {&a, &b}) {
        for (Observer* o = f->content->observers; o; o = o->next) o->subject = f;
    }
}

} // namespace vfile_internal

VFile::VFile() {
    Init();
}

VFile::VFile(VFile&& src) noexcept {
    if (!src.content->OnOwnerThread()) HaltA("VFile", __LINE__);
    Init();
    type = src.type;
    Content::Exchange(*this, src);
}

void swap(VFile& a, VFile& b) noexcept {
    Content::Exchange(a, b);
}

VFile::VFile(Content*& made) {
    Init(made);
    made = nullptr;
}

void VFile::Init(Content* made) {
    vfile_internal::tableOfVFile.store(vfile_internal::TableOf(*this), std::memory_order_relaxed);
    vfile_internal::ThreadsVMem* vm = vfile_internal::JoinThread();
    res = resDone;
    eof = false;
    base = 10;
    pos = 0;
    len = 0;
    flags = 0;
    type = 0;
    content = made ? made : Content::Make(*vm);
    if (!content) Halt("VFile", "Init", "first==NIL, heap overflow");
}

// A copy that a fork has left in the child gives back memory and does no more, and not even that if a thread that is
// not here may have been changing the object.
VFile::~VFile() {
    const bool isCopy = platform::IsFromBeforeFork(content->owner);
    if (!isCopy && !content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (!isCopy && vfile_internal::ThreadVFileCount() == 0) HaltA("VFile", __LINE__);
    if (content->observers) vfile_internal::Observed::TellGone(*this);
    if (isCopy && !platform::IsOfForkingThread(content->owner)) return;
    res = resDone;
    eof = false;
    pos = 0;
    len = 0;
    flags = 0;
    vfile_internal::ThreadsVMem* vm = &content->vm;
    if (isCopy || vfile_internal::ThreadVFileCount() == 1) content->chain.ForgetPages(); // they go with the VMem
    delete content;
    content = nullptr;
    if (isCopy) {
        vfile_internal::LeaveEstate(vm);
    } else {
        vfile_internal::LeaveThread();
    }
}
