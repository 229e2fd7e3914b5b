// scratch_memory: VMem by itself, as a table of a million numbers of which only a quarter stays in RAM.
//
// From n go to n / 2 if it is even, to 3n + 1 if it is odd, until 1 comes up. Which n below a million takes most steps?
#include "vmem/vmem.h"

#include <cstdint>
#include <cstdio>

namespace {

constexpr std::int32_t Count = 1000000;
constexpr std::int32_t PerPage = VMem::PageSize / 4; // entries of 4 bytes

// Numbers 0 to Count - 1, each with a 32-bit value, 0 at first. Belongs to the thread that makes it.
class Table {
  public:
    Table() : first(-1) {
        memory.SetMaxCacheSize(1000); // kilobytes; what doesn't fit goes to a swap file without a name
        for (std::int32_t pages = (Count + PerPage - 1) / PerPage; pages > 0; --pages) {
            std::int32_t page;
            memory.AllocPage(page); // in a space where nothing was given back they follow one another
            if (first < 0) first = page;
        }
    }
    int At(std::int32_t n) {
        int value;
        memory.Get(first + 4 * n, value);
        return value;
    }
    void Set(std::int32_t n, int value) { memory.Set(first + 4 * n, value); }

  private:
    VMem memory;
    std::int32_t first; // address of entry 0
};

int StepsFrom(Table& steps, std::int32_t start) {
    int taken = 0;
    std::int64_t n = start;
    while (n >= start) { // below that the table knows the rest
        n = n % 2 == 0 ? n / 2 : 3 * n + 1;
        ++taken;
    }
    return taken + steps.At(static_cast<std::int32_t>(n));
}

} // namespace

int main() {
    static Table steps; // a VMem is more than 64 KB: too much for a small stack
    std::int32_t best = 1;
    int most = 0;
    for (std::int32_t n = 2; n < Count; ++n) {
        const int taken = StepsFrom(steps, n);
        steps.Set(n, taken);
        if (taken > most) {
            most = taken;
            best = n;
        }
    }
    std::printf("%d takes %d steps\n", best, most);
    return 0;
}
