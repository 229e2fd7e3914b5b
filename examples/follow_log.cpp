// follow_log FILE [SECONDS]: prints the lines of a growing file as they become complete, also after it was started
// anew. Ends when nothing has come for so many seconds; without the number it goes on.
//
//   FILE      line\n line\n li...                what has been read ends at `seen`
//   pending                li                    the start of a line: waits for the rest
#include "hostfile/hfile.h"
#include "vfile/vfile.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

// Adds to `pending` what has come since the last time. False if there was nothing, or nothing could be read just now:
// a file that is missing, or that a writer holds alone, may be there the next time.
bool FetchNew(VFile& pending, const char* name, std::int32_t& seen) {
    HFile f;
    if (!f.OpenSeqRead(name)) return false;
    f.SetPos(seen);
    if (f.GetPos() < seen) { // shorter than it was: a new beginning
        pending = "";
        f.Reset();
    }
    const std::int32_t before = pending.Length();
    pending.Append(f, MaxLen);
    pending.Reset();
    seen = f.GetPos();
    return pending.Length() > before;
}

// Prints the complete lines and takes them away. A CR at the very end may be half of a line end, and waits.
void PrintLines(VFile& pending) {
    unsigned char lastByte;
    pending.SetPos(0, 2);
    pending.ReadPrevByte(lastByte);
    const std::int32_t end = pending.Length() - (lastByte == '\r' ? 1 : 0);
    std::int32_t done = 0;
    while (done < end) {
        std::int32_t start, size, eol;
        pending.LineSize(done, start, size, eol);
        if (eol == 0 || start + size > end) break;
        char line[4096]; // longer lines are cut
        pending.ReadTxt(line, sizeof line, start, size - eol);
        std::printf("%s\n", line);
        done = start + size;
    }
    pending.Delete(0, done);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: follow_log FILE [SECONDS]\n");
        return 2;
    }
    const auto patience = std::chrono::seconds(argc == 3 ? std::atoi(argv[2]) : 0);
    VFile pending;
    std::int32_t seen = 0;
    auto last = std::chrono::steady_clock::now();
    for (;;) {
        if (FetchNew(pending, argv[1], seen)) {
            PrintLines(pending);
            last = std::chrono::steady_clock::now();
        } else if (argc == 3 && std::chrono::steady_clock::now() - last >= patience) {
            return 0;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}
