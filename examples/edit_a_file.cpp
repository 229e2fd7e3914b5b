#include "vfile/vfile.h"
#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    VFile text; // its bytes lie in this thread's cache of 4000 KB and behind that in a swap file
    text.Load(argv[1], 1);
    text.Prepend("# Shopping\n");
    text.ReplaceGlobal("milk", "oat milk", true, true); // in any case, as a whole word
    text.Append("eggs\n");
    if (text.res == resDone) text.Save(argv[1], true);
    char words[64];
    GetTextResMsg(words, sizeof words, text.res); // the first failure of all the above
    std::printf("%s: %s, %d bytes\n", argv[1], words, text.Length());
    return text.res == resDone ? 0 : 1;
}
