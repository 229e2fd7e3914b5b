// undo: a text whose changes are taken back and brought in again, a line of output for each content on the way.
#include "vfile/vfile.h"
#include "vfile/vfile_history.h"

#include <cstdio>

namespace {

void Show(VFile& text, const VFileHistory& history) {
    char line[80];
    text.ReadTxt(line, sizeof line, 0, text.Length());
    std::printf("%c \"%s\"\n", history.IsSaved() ? ' ' : '*', line);
}

} // namespace

int main() {
    VFile text;
    VFileHistory history(text);
    for (const char* key = "the quick fox"; *key; ++key) text.Append(*key, 1); // typed: one step
    {
        const VFileStep both(history); // one step, as the user sees it
        text.ReplaceBuf(4, 5, "lazy", 4);
        text.ReplaceGlobal("fox", "brown dog", false, true);
    }
    history.MarkSaved();
    text.Delete(0, 4);
    Show(text, history);
    while (history.Undo()) Show(text, history);
    while (history.Redo()) {
    }
    Show(text, history);
    return history.res == resDone ? 0 : 1;
}
