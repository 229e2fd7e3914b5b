// What all contenders share: the job that a process is started for, clocks, and contents whose every byte is known.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace bench {

constexpr std::int64_t KiB = 1024;
constexpr std::int64_t MiB = 1024 * KiB;
constexpr int PieceSize = 64 * 1024; // of bulk transfers, which is about the best size for the system
constexpr int DefaultCacheKb = 4000; // the library's; contenders that have a cache get one of the same size
constexpr int EditCacheKb = 32000;
constexpr std::int64_t InCache = 3 * MiB; // contents up to this size fit into the default cache

// One cell of the table. A process does one and ends, so that its peak memory is that of the cell.
struct Job {
    std::string row;
    std::int64_t size = 0; // bytes of content
    std::string dir;       // for files; the driver removes it
    std::string trace;     // recorded session for "replay"; empty: a generated one
    bool quick = false;    // few operations: the checks count, the times don't
};

// What a contender offers for a row: a function that returns ns per operation or MB/s, or the reason why there is none.
struct Row {
    const char* name;
    double (*run)(const Job& job);
    const char* reason;
};

using Rows = std::vector<Row>;

// The main function of a contender: `program ROW SIZE DIR quick|full time|cpu [TRACE]`. Prints "result VALUE PEAK_KB"
// or "none REASON".
int Main(int argc, char** argv, std::initializer_list<Rows> lists);

// Ends the process with a message unless `ok`: a content is not what it has to be.
void Check(bool ok, const char* what);

// ---- Clocks ----

// Keeps the peak memory of this process so far: what comes after the last measurement is checks.
void NotePeak();

// Seconds since some moment: of time, or of the processor's work for this process.
double Now();

template <class F>
double Seconds(F act) {
    const double begin = Now();
    act();
    const double end = Now();
    NotePeak();
    return end - begin;
}

// Seconds of one call of `pass`, which can be repeated at will: the best of what Google Benchmark measures. A slow one
// is called only once.
double Repeated(const Job& job, const std::function<void()>& pass);

// Nanoseconds per operation: `batch` does 64 of them, again and again up to `most`, or until some seconds have passed.
// `done` is the number of operations made.
double NanosPerOp(const Job& job, long most, long& done, const std::function<void()>& batch);
constexpr int BatchSize = 64;

inline double MBps(std::int64_t bytes, double seconds) {
    return static_cast<double>(bytes) / seconds / 1e6;
}

// ---- Contents ----

// A fast source of positions, the same for every contender.
class Random {
  public:
    explicit Random(std::uint64_t seed) : state(seed) {}
    std::uint64_t Next() {
        state += 0x9E3779B97F4A7C15u;
        std::uint64_t z = state;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }
    std::int64_t Below(std::int64_t n) { return static_cast<std::int64_t>(Next() % static_cast<std::uint64_t>(n)); }

  private:
    std::uint64_t state;
};

// Lines of words that are made of pairs of a consonant and a vowel; repeats itself after Period bytes, a prime.
class Text {
  public:
    static constexpr std::int64_t Period = 1000003;
    Text();
    const char* At(std::int64_t p) const { return &bytes[static_cast<std::size_t>(p % Period)]; } // PieceSize bytes

  private:
    std::string bytes;
};

// Calls `use(position, bytes, count)` for the content of `size` bytes, piece by piece.
template <class F>
void ForPieces(const Text& text, std::int64_t size, F use) {
    for (std::int64_t p = 0; p < size; p += PieceSize)
        use(p, text.At(p), static_cast<int>(size - p < PieceSize ? size - p : PieceSize));
}

// Twelve bytes that look like the text, made of its most frequent letters, but do not occur.
constexpr const char* AbsentPattern = "ratanelstone";

// A word that the text lacks, set into it every WordStride bytes: 350,000 times in 64 MiB.
constexpr const char* Word = "needle";
constexpr int WordLen = 6;
constexpr const char* NewWord = "haystack";
constexpr int NewWordLen = 8;
constexpr int WordStride = 191;

// The text with the words in it, WordStride bytes at a time.
template <class F>
void ForWordPieces(const Text& text, std::int64_t size, const char* word, int wordLen, F use) {
    std::string piece;
    for (std::int64_t p = 0; p + WordStride <= size; p += WordStride) {
        piece.append(word, static_cast<std::size_t>(wordLen));
        piece.append(text.At(p) + WordLen, WordStride - WordLen);
        if (static_cast<int>(piece.size()) < PieceSize - WordStride - wordLen && p + 2 * WordStride <= size) continue;
        use(piece.data(), static_cast<int>(piece.size()));
        piece.clear();
    }
}

// A file of `size` bytes in `job.dir`, made by the first who needs it: the text, or with the words in it.
std::string TextFile(const Job& job, const char* name, std::int64_t size, bool withWords);

// ---- Edits ----

struct Patch {
    std::uint32_t pos, del, len;
    std::size_t text; // where its bytes begin in Session::text
};

// An editing session: recorded (ended by the SHA-256 of its outcome), or generated.
struct Session {
    std::string start, text, sha256;
    std::vector<Patch> patches;
    explicit Session(const Job& job);
};

std::string Sha256(const Job& job, const std::string& bytes);

// Inserts and deletes of EditLen bytes in turn, at random places.
constexpr int EditLen = 8;
class EditStream {
  public:
    explicit EditStream(std::int64_t size) : random(1), length(size) {}
    // apply(at, bytes to delete, bytes to insert, their number)
    template <class F>
    void Next(F apply) {
        const std::int64_t at = random.Below(length - EditLen);
        insert = !insert;
        const std::uint64_t bytes = 0x6161616161616161u + (random.Next() & 0x0F0F0F0F0F0F0F0Fu);
        apply(at, insert ? 0 : EditLen, reinterpret_cast<const char*>(&bytes), insert ? EditLen : 0);
        length += insert ? EditLen : -EditLen;
    }

  private:
    Random random;
    std::int64_t length;
    bool insert = false;
};

// The text after so many edits, in another way than any contender's: pieces that are cut and glued nowhere.
class EditModel {
  public:
    EditModel(const Text& text, std::int64_t size, long edits);
    template <class F>
    void ForPieces(F use) const {
        for (const std::string& piece : pieces) use(piece.data(), static_cast<int>(piece.size()));
    }

  private:
    std::vector<std::string> pieces;
};

} // namespace bench
