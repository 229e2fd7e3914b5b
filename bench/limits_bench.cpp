// What the machine can do: the bare functions of the C library and the bare calls of the system.
#include "store_rows.h"
#include "text_rows.h"

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace bench;

constexpr int PageSize = 1024;

// An unbuffered file; a byte of it costs the transfer of its page.
class Store {
  public:
    static constexpr int Piece = PieceSize;
    explicit Store(const Job& job) : Store(job.dir + "/limits") {}
    explicit Store(const std::string& path, bool keep = false) : fd(open(path.c_str(), O_RDWR | O_CREAT, 0600)) {
        Check(fd >= 0, "open");
        if (!keep) unlink(path.c_str());
    }
    ~Store() { close(fd); }
    void Write(std::int64_t at, const char* bytes, int n) {
        Check(pwrite(fd, bytes, static_cast<std::size_t>(n), at) == n, "pwrite");
    }
    void Read(std::int64_t at, char* dst, int n) {
        Check(pread(fd, dst, static_cast<std::size_t>(n), at) == n, "pread");
    }
    char ReadByte(std::int64_t at) {
        Read(at / PageSize * PageSize, page, PageSize);
        return page[at % PageSize];
    }
    void Flush() {}

  private:
    int fd;
    char page[PageSize];
};

std::string Whole(std::int64_t size) {
    const Text text;
    std::string all;
    ForPieces(text, size,
              [&](std::int64_t, const char* bytes, int n) { all.append(bytes, static_cast<std::size_t>(n)); });
    return all;
}

// ns of what a change behind a full cache needs: one page is read, and another one written.
double ReadAndWrite(const Job& job) {
    const Text text;
    Store store(job);
    WriteAll(store, text, job.size);
    Random random(6);
    long done = 0, wrong = 0;
    const double nanos = NanosPerOp(job, 500000, done, [&] {
        for (int i = 0; i < BatchSize; ++i) {
            const std::int64_t from = random.Below(job.size), to = random.Below(job.size) / PageSize * PageSize;
            if (store.ReadByte(from) != *text.At(from)) ++wrong;
            store.Write(to, text.At(to), PageSize);
        }
    });
    Check(wrong == 0, "a byte read at random");
    ReadAll(store, text, job.size, true);
    return nanos;
}

double Copy(const Job& job) {
    if (job.size > InCache) return SeqRead<Store>(job);
    const std::string all = Whole(job.size);
    std::vector<char> piece(PieceSize);
    const Text text;
    const double seconds = Repeated(job, [&] {
        ForPieces(text, job.size, [&](std::int64_t p, const char*, int n) {
            std::memcpy(piece.data(), &all[static_cast<std::size_t>(p)], static_cast<std::size_t>(n));
            asm volatile("" : : "r"(piece.data()) : "memory");
        });
    });
    return MBps(job.size, seconds);
}

double Compare(const Job& job) {
    if (job.size > InCache) return SeqRead<Store>(job) / 2; // both sides have to be read
    const std::string a = Whole(job.size), b = a + '!';
    int sum = 0;
    const double seconds = Repeated(job, [&] {
        sum += std::memcmp(a.data(), b.data(), a.size());
        asm volatile("" : : "r"(&sum) : "memory");
    });
    Check(sum == 0, "memcmp");
    return MBps(job.size, seconds);
}

double Find(const Job& job) {
    if (job.size > InCache) return SeqRead<Store>(job);
    const std::string all = Whole(job.size);
    bool found = false;
    const double seconds = Repeated(job, [&] {
        found = found || memmem(all.data(), all.size(), AbsentPattern, std::strlen(AbsentPattern));
        asm volatile("" : : "r"(&found) : "memory");
    });
    Check(!found, "memmem");
    return MBps(job.size, seconds);
}

class Lines {
  public:
    explicit Lines(int) {}
    void Append(const char* bytes, int n) { s.append(bytes, static_cast<std::size_t>(n)); }
    std::int64_t LineStart(std::int64_t at) {
        const void* eol = memrchr(s.data(), '\n', static_cast<std::size_t>(at));
        return eol ? static_cast<const char*>(eol) + 1 - s.data() : 0;
    }

  private:
    std::string s;
};

double LoadFile(const Job& job) {
    Store file(TextFile(job, "text", job.size, false), true);
    const Text text;
    double seconds = Seconds([&] { ReadAll(file, text, job.size, false); });
    ReadAll(file, text, job.size, true);
    return MBps(job.size, seconds);
}

// Makes the file that whole programs edit.
double Make(const Job& job) {
    TextFile(job, "words", job.size, true);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    return Main(argc, argv,
                {{{"edit", ReadAndWrite, ""},
                  {"seqwrite", SeqWrite<Store>, ""},
                  {"seqread", SeqRead<Store>, ""},
                  {"randread", RandRead<Store>, ""},
                  {"randwrite", ReadAndWrite, ""},
                  {"overwrite", ReadAndWrite, ""},
                  {"append", SeqWrite<Store>, ""},
                  {"read", Copy, ""},
                  {"equal", Compare, ""},
                  {"find", Find, ""},
                  {"findfold", Find, ""},
                  {"linestart", LineStart<Lines>, ""},
                  {"load", LoadFile, ""},
                  {"save", SeqWrite<Store>, ""},
                  {"make", Make, ""}}});
}
