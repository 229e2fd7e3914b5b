// journal_hook: a VFile that keeps a journal of its changes in another VFile, and takes them back one by one.
//
//   journal   old bytes | pos old new | old bytes | pos old new |      read from its end
#include "vfile/vfile.h"

#include <cstdio>
#include <cstring>

namespace {

class JournaledFile : public VFile {
  public:
    JournaledFile() : undoing(false) {}

    // Takes the last change back. False if there is none, or if it failed: `res` tells.
    bool Undo() {
        if (res != resDone || journal.Length() == 0) return false;
        journal.SetPos(-RecordSize, 2);
        int at, oldLen, newLen;
        journal.ReadDWord(at);
        journal.ReadDWord(oldLen);
        journal.ReadDWord(newLen);
        const std::int32_t start = journal.Length() - RecordSize - oldLen;
        undoing = true;
        ReplaceTxt(at, newLen, journal, start, oldLen);
        undoing = false;
        if (res != resDone) return false;
        journal.SetPos(start);
        journal.Truncate();
        return true;
    }

  protected:
    // The old bytes are still there. The object must be left alone now, but it may be read as a source.
    int PreChange(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) const override {
        if (undoing) return resDone;
        const std::int32_t before = journal.Length();
        journal.Append(*this, at, oldLen);
        journal.AppendDWord(at);
        journal.AppendDWord(oldLen);
        journal.AppendDWord(newLen);
        const Res outcome = journal.res;
        if (outcome != resDone) { // no change without its record, and no half of a record
            journal.SetPos(before);
            journal.Truncate();
        }
        return outcome;
    }

  private:
    static constexpr std::int32_t RecordSize = 12;
    mutable VFile journal; // the hook that comes before a change is const: it changes nothing of the object itself
    bool undoing;
};

void Show(JournaledFile& text) {
    char line[80];
    text.ReadTxt(line, sizeof line, 0, text.Length());
    std::printf("%s\n", line);
}

} // namespace

int main() {
    JournaledFile text;
    text.Append("the quick fox");
    text.ReplaceBuf(4, 5, "lazy", 4);
    text.ReplaceGlobal("fox", "brown dog", false, true);
    text.Delete(0, 4);
    Show(text);
    while (text.Undo()) Show(text);
    return text.res == resDone ? 0 : 1;
}
