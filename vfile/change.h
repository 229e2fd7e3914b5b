// One change of an object: the bytes from a position on give way to a new run. Internal.
//
//     ReplaceBuf   memory ----------.
//     ReplaceTxt   an object -------+--> Apply:  InitChange  PreChange  the bytes  PostChange  SetPos
//     ReplaceFile  a file, staged --'                                      |
//                                                            PutBytes or DoChange
//
// Where old and new fit into the current block, the change happens in the buffer; Quick is the short way there for most
// changes that nobody watches. Otherwise the new bytes are laid out in a private chain p1..p2 of fresh blocks, besides
// a head that fits after the cursor, and only once PreChange has allowed the change are the old bytes cut out of the
// object's chain and the private one is spliced in. Until then nothing of the content has changed. So what stops a
// change, be it a result or an exception of a hook, leaves nothing to be undone: the private chain goes with its
// Change.
#pragma once

#include "hostfile/hfile.h"
#include "platform/file.h"
#include "vfile/span_reader.h"

#include <optional>

namespace vfile_internal {

class Change {
  public:
    // For new bytes that are staged first, if there are any.
    explicit Change(VFile& file) : Change(file, nullptr, 0) {}

    // Refusals that all changes share. False, with `res` set, if the object takes no changes now.
    static bool Allowed(VFile& f);

    // For new bytes of an object, from p on. It is looked at when the first of them is needed.
    Change(VFile& file, const VFile* source, std::int32_t p)
        : f(file), c(Content::Of(file)), text(source), giver(nullptr), from(p), p1(nullptr), p2(nullptr), headLen(0) {}

    ~Change() {
        if (p1) c.chain.DisposeList(p1); // what has not come into the content
    }
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

    // The change from a file: `file`, or the bare handle h if that is null. All new bytes go through a private chain,
    // even ten of them.
    static void FromFile(VFile& f, std::int32_t at, std::int32_t oldLen, HFile* file, FileHandle h, std::int32_t count);

    // The change of the whole content to what an ordinary file has, left where it lies. Takes the handle over,
    // which is InvalidHandle then. False, with nothing done, if that can't be.
    static bool FromPlace(VFile& f, FileHandle& h, platform::Sharing sharing);

    // The change to the whole content of `giver`, which nobody watches, and which is empty afterwards if it worked.
    static void FromGiver(VFile& f, VFile& giver);

    // True if nobody sees how the object's content goes.
    static bool MayGive(const VFile& f);

    // The change itself, its arguments tested: n new bytes, staged or of the object. Sets the object's `res` if it is
    // refused.
    void Make(std::int32_t at, std::int32_t oldLen, std::int32_t n);

    // The same for n bytes of memory. Where they fit in place, no Change is needed for them.
    static void Make(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n, const void* memory);
    static bool Quick(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n, const void* bytes);

  private:
    // Reads up to `count` bytes of a file into the private chain, a block for each read: of `file`, or of the bare
    // handle h if that is null. How many there were; a failed read, or one too many, sets the object's `res`.
    std::int32_t StageFile(HFile* file, FileHandle h, std::int32_t count);
    bool HavePages(std::int64_t n);

    static void Apply(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n, const void* memory, Change* bulk);

    // The steps of Apply, on the object's cursor and buffer.
    static bool Clamp(VFile& f, std::int32_t& at, std::int32_t& oldLen, std::int32_t n);
    static bool InitChange(VFile& f, std::int32_t p, std::int32_t oldLen);
    static bool LoadCurrent(Content& c, std::int32_t oldLen);
    static void CheckEOL(VFile& f, const void* bytes, std::int32_t n);
    // Asks PreChange, which refuses nothing where it is not overridden, and tells the observers. After it nothing
    // stops the change.
    static bool AskHook(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n) {
        const bool asked = Overrides(f, &VFile::PreChange);
        return (!asked && !Content::Of(f).observers) || AskAll(f, asked, at, oldLen, n);
    }
    static bool AskAll(VFile& f, bool asked, std::int32_t at, std::int32_t oldLen, std::int32_t n);
    static void PutBytes(unsigned char* at, std::int32_t oldLen, std::int32_t rest, const void* bytes, std::int32_t n);
    // The current block gets another length, and the buffer what VMem has not.
    static void SetCurLen(Content& c, std::int32_t n) {
        c.chain.SetLen(c.cur.ptr, c.cur.start, n);
        c.bufBlk = c.cur.ptr;
        c.bufDirty = true;
    }
    static void CheckCurLen(Content& c);
    static void DropCurrent(Content& c);
    static void EndChange(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n);
    static void EndObserved(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n);
    static void GoBehind(VFile& f, std::int32_t p);

    // Through the private chain.
    static bool ByChain(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n, const void* memory);
    bool TakeRoom(std::int32_t oldLen, std::int32_t pages);
    bool Resume(std::int32_t oldLen);
    void PackStaged();
    const void* NextOfText(std::int32_t n);
    void Stage(const void* bytes, std::int32_t n);
    bool StageAll(const void* memory, std::int32_t oldLen, std::int32_t n);
    bool Finish(std::int32_t at, std::int32_t oldLen, std::int32_t n, const void* memory);
    void TakeAll();
    void DoChange(std::int32_t oldLen);
    void KeepTail(std::int32_t oldLen, std::int32_t tail);
    void Cut(std::int32_t i, std::int32_t at);
    void Splice(std::int32_t at);
    std::int32_t GrowLast(std::int32_t n);

    VFile& f;
    Content& c;        // of f
    const VFile* text; // the source, null if it is another one
    VFile* giver;      // the same one, if it gives its blocks away
    std::int32_t from;
    std::optional<SpanReader> reader; // of text
    BlkDesc* p1;                      // the private chain, null while it is empty
    BlkDesc* p2;
    std::int32_t headLen;
    unsigned char head[BlkSize]; // the first new bytes, which go into the current block
    unsigned char room[BlkSize]; // for the next bytes of text
};

} // namespace vfile_internal
