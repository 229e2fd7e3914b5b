// count_fields FILE [N]: how often each word stands as the N-th of a line of a log, the most frequent first. Without N,
// the first. Visits the bytes of the content where they lie, without copying them:
//
//   runs       |...GET /index 200\nGET /lo|go 200\nPOST /...|      a run ends anywhere: the state goes on in the next
#include "vfile/vfile.h"
#include "vfile/vfile_view.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

class FieldCounter {
  public:
    explicit FieldCounter(int number) : wanted(number) {}

    void Take(unsigned char c) {
        const bool lineEnd = c == '\n' || c == '\r';
        if (!lineEnd && c != ' ' && c != '\t') {
            if (!inWord) ++field;
            inWord = true;
            if (field == wanted && word.size() < LongestWord) word += static_cast<char>(c);
            return;
        }
        inWord = false;
        if (!word.empty()) ++counts[word];
        word.clear();
        if (lineEnd) field = 0;
    }

    std::vector<std::pair<std::string, long>> MostFrequentFirst() const {
        std::vector<std::pair<std::string, long>> sorted(counts.begin(), counts.end());
        std::stable_sort(sorted.begin(), sorted.end(),
                         [](const auto& a, const auto& b) { return a.second > b.second; });
        return sorted;
    }

  private:
    static constexpr std::size_t LongestWord = 200; // a file that is no log must not fill the memory
    int wanted;
    int field = 0; // the number of the word that was begun last in this line
    bool inWord = false;
    std::string word;
    std::map<std::string, long> counts;
};

} // namespace

int main(int argc, char** argv) {
    const int number = argc == 3 ? std::atoi(argv[2]) : 1;
    if (argc < 2 || argc > 3 || number < 1) {
        std::fprintf(stderr, "usage: count_fields FILE [N]\n");
        return 2;
    }
    VFile log;
    log.Load(argv[1], 1);
    if (log.res != resDone) {
        char words[64];
        GetTextResMsg(words, sizeof words, log.res);
        std::fprintf(stderr, "%s: %s\n", argv[1], words);
        return 1;
    }
    FieldCounter counter(number);
    VFileView(log).Visit(0, MaxLen, [&counter](const unsigned char* bytes, std::int32_t n) {
        for (std::int32_t i = 0; i < n; ++i) counter.Take(bytes[i]);
        return true; // go on
    });
    counter.Take('\n'); // the last line may have no end
    for (const auto& [word, count] : counter.MostFrequentFirst()) std::printf("%8ld %s\n", count, word.c_str());
    return 0;
}
