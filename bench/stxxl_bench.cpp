// STXXL: a vector on disk behind a cache of 4000 KB.
#include "store_rows.h"

#include <cstdlib>
#include <stxxl/vector>

namespace {

using namespace bench;

// The vector of Size-byte blocks, which are also what its cache holds and its file takes in one transfer.
template <unsigned Size>
class Store {
  public:
    static constexpr int Piece = Size;
    explicit Store(const Job& job) {
        setenv("STXXLLOGFILE", "/dev/null", 1);
        setenv("STXXLERRLOGFILE", "/dev/null", 1);
        stxxl::disk_config disk(job.dir + "/stxxl", 0, "syscall");
        disk.autogrow = disk.unlink_on_open = true;
        disk.direct = stxxl::disk_config::DIRECT_OFF; // as all the others: through the cache of the system
        stxxl::config::get_instance()->add_disk(disk);
        blocks = new Vector((static_cast<std::size_t>(job.size) + Size - 1) / Size);
    }
    ~Store() { delete blocks; }
    void Write(std::int64_t at, const char* bytes, int n) {
        while (n > 0) {
            const std::size_t offset = static_cast<std::size_t>(at) % Size;
            const int here = static_cast<int>(Size - offset) < n ? static_cast<int>(Size - offset) : n;
            std::memcpy((*blocks)[static_cast<std::size_t>(at) / Size].bytes + offset, bytes,
                        static_cast<std::size_t>(here));
            at += here, bytes += here, n -= here;
        }
    }
    void Read(std::int64_t at, char* dst, int n) {
        std::memcpy(dst, Block(at).bytes, static_cast<std::size_t>(n)); // whole blocks
    }
    void WriteByte(std::int64_t at, char byte) {
        (*blocks)[static_cast<std::size_t>(at) / Size].bytes[static_cast<std::size_t>(at) % Size] = byte;
    }
    char ReadByte(std::int64_t at) { return Block(at).bytes[static_cast<std::size_t>(at) % Size]; }
    void Flush() { blocks->flush(); }

  private:
    struct Bytes {
        char bytes[Size];
    };
    using Vector = typename stxxl::VECTOR_GENERATOR<Bytes, 1, DefaultCacheKb * 1024 / Size, Size, stxxl::RC>::result;
    const Bytes& Block(std::int64_t at) const {
        return const_cast<const Vector&>(*blocks)[static_cast<std::size_t>(at) / Size];
    }
    Vector* blocks;
};

// Large blocks for runs, small ones for single bytes.
using Runs = Store<PieceSize>;
using Bytes = Store<4096>;

} // namespace

int main(int argc, char** argv) {
    return Main(argc, argv,
                {{{"replay", nullptr, "no insert into a vector"},
                  {"edit", nullptr, "no insert into a vector"},
                  {"append", SeqWrite<Runs, 100>, ""},
                  {"read", SeqRead<Runs>, ""},
                  {"seqwrite", SeqWrite<Runs>, ""},
                  {"seqread", SeqRead<Runs>, ""},
                  {"randread", RandRead<Bytes>, ""},
                  {"randwrite", RandWrite<Bytes, false>, ""},
                  {"overwrite", RandWrite<Bytes, true>, ""}}});
}
