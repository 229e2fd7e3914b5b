#include "vfile/vfile.h"
#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    VFile text; // its bytes lie in a cache of 4000 KB and, when that is full, in a swap file
    text.Load(argv[1], 1);
    text.Prepend("# Shopping\n");
    text.Append("eggs\n"); // does nothing if anything before it has failed
    if (text.res == resDone) text.ReplaceGlobal("milk", "oat milk", true, true); // in any case, whole words
    if (text.res == resDone) text.Save(argv[1], true);
    char words[64];
    GetTextResMsg(words, sizeof words, text.res);
    std::printf("%s: %s, %d bytes\n", argv[1], words, text.Length());
    return text.res == resDone ? 0 : 1;
}
