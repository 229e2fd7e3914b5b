// guard_hook: a VFile with a range that takes no changes. The range moves with its bytes when something changes before
// it.
//
//   # Header: leave this alone\n  text that can be edited ...
//   |<------- the guarded range ------->|
#include "vfile/vfile.h"

#include <cstdio>

namespace {

class GuardedFile : public VFile {
  public:
    GuardedFile() : from(0), to(0) {}

    // No byte from `start` up to, and without, `end` will change from now on, and none will come in between.
    void Guard(std::int32_t start, std::int32_t end) {
        from = start;
        to = end;
    }
    std::int32_t GuardStart() const { return from; }

  protected:
    int PreChange(std::int32_t at, std::int32_t oldLen, std::int32_t) const override {
        const bool before = at + oldLen <= from; // both ends are free: text may grow up to the range from either side
        const bool behind = at >= to;
        return before || behind ? resDone : resReadOnly;
    }

    void PostChange(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) override {
        if (at + oldLen <= from && at < to) {
            from += newLen - oldLen;
            to += newLen - oldLen;
        }
        VFile::PostChange(at, oldLen, newLen); // sets vfModified if the host wants that
    }

  private:
    std::int32_t from, to;
};

// Tells what came out, and clears it for the next try.
void Tell(const char* what, GuardedFile& text) {
    char words[64];
    GetTextResMsg(words, sizeof words, text.res);
    text.Reset();
    char content[80];
    text.ReadTxt(content, sizeof content, 0, text.Length());
    std::printf("%-22s %-10s \"%s\", guarded from %d\n", what, words, content, text.GuardStart());
}

} // namespace

int main() {
    GuardedFile text;
    text.Append("intro [fixed] outro");
    text.Guard(6, 13);

    text.ReplaceBuf(8, 2, "mi", 2);
    Tell("change inside", text);
    text.Delete(4, 4);
    Tell("delete across its edge", text);
    text.ReplaceBuf(0, 5, "preface", 7);
    Tell("change before", text);
    text.Append("!");
    Tell("change behind", text);
    if (text.ReplaceGlobal("i", "I", false, false) == 0) Tell("replace all", text);
    return 0;
}
