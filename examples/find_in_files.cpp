// find_in_files TEXT FILE...: how often a text stands in each file, by as many threads as there are processors.
//
//   names    a.txt  b.txt  c.txt  d.txt  e.txt      `next` is the first that nobody has taken
//               |      |      |
//   threads   VFile  VFile  VFile                   an object, and a cache of its own, for each
//               |      |      |
//   counts      3     -1      0                     each thread writes its own places, read when all have ended
#include "vfile/vfile.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <thread>
#include <vector>

namespace {

struct Outcome {
    long count = 0;
    Res res = resDone;
};

Outcome CountIn(VFile& file, const char* name, const char* text) {
    file.Load(name, 1);
    Outcome outcome;
    outcome.res = file.res;
    if (outcome.res != resDone) return outcome;
    for (std::int32_t at = 0; file.Find(at, text, false, false);) ++outcome.count;
    return outcome;
}

// The object is made, used and destroyed on the thread that runs this.
void Work(const char* text, const std::vector<const char*>& names, std::atomic<std::size_t>& next,
          std::vector<Outcome>& outcomes) {
    VFile::SetMaxCacheSize(1000); // kilobytes, for this thread: many of them share the memory
    VFile file;
    for (std::size_t i; (i = next++) < names.size();) outcomes[i] = CountIn(file, names[i], text);
}

// Prints in the order of the names, whichever was done first. False if any could not be read.
bool Print(const std::vector<const char*>& names, const std::vector<Outcome>& outcomes) {
    bool all = true;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (outcomes[i].res == resDone) {
            std::printf("%8ld %s\n", outcomes[i].count, names[i]);
            continue;
        }
        char words[64];
        GetTextResMsg(words, sizeof words, outcomes[i].res);
        std::fprintf(stderr, "%s: %s\n", names[i], words);
        all = false;
    }
    return all;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3 || !*argv[1]) {
        std::fprintf(stderr, "usage: find_in_files TEXT FILE...\n");
        return 2;
    }
    const std::vector<const char*> names(argv + 2, argv + argc);
    std::vector<Outcome> outcomes(names.size());
    std::atomic<std::size_t> next{0};
    const std::size_t processors = std::max(std::thread::hardware_concurrency(), 1U);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < std::min(processors, names.size()); ++i)
        threads.emplace_back(Work, argv[1], std::cref(names), std::ref(next), std::ref(outcomes));
    for (std::thread& thread : threads) thread.join();
    return Print(names, outcomes) ? 0 : 1;
}
