// The library: VFile for contents, VMem for stores.
#include "hostfile/hfile.h"
#include "store_rows.h"
#include "text_rows.h"
#include "vfile/vfile.h"
#include "vmem/vmem.h"

namespace {

using namespace bench;

std::int32_t Pos(std::int64_t p) {
    return static_cast<std::int32_t>(p);
}

class Content {
  public:
    explicit Content(int cacheKb) { VFile::SetMaxCacheSize(static_cast<std::int16_t>(cacheKb)); }
    void Append(const char* bytes, int n) { f.AppendBytes(bytes, n); }
    void Replace(std::int64_t at, int del, const char* bytes, int n) { f.ReplaceBuf(Pos(at), del, bytes, n); }
    std::int64_t Length() const { return f.Length(); }
    void Copy(std::int64_t at, char* dst, int n) {
        if (f.GetPos() != at) f.SetPos(Pos(at));
        f.ReadBytes(dst, n);
    }
    bool Equals(Content& other) { return f == other.f; }
    std::uint64_t SumBytes() {
        std::uint64_t sum = 0;
        unsigned char b = 0;
        f.SetPos(0);
        for (std::int32_t left = f.Length(); left > 0; --left) {
            f.ReadByte(b);
            sum += b;
        }
        return sum;
    }
    bool Find(const char* pattern) { return Search(pattern, false); }
    bool FindFolded(const char* pattern) { return Search(pattern, true); }
    long ReplaceAll(const char* word, const char* by) { return f.ReplaceGlobal(word, by, false, false); }
    std::int64_t LineStart(std::int64_t at) { return f.LineStart(Pos(at)); }
    void Load(const char* path) {
        f.Load(path, 1);
        Check(f.res == resDone, "Load");
    }
    void Save(const char* path) {
        f.Save(path, true);
        Check(f.res == resDone, "Save");
    }
    VFile f;

  private:
    bool Search(const char* pattern, bool fold) {
        std::int32_t at = 0;
        return f.Find(at, pattern, fold, false);
    }
};

class Store {
  public:
    static constexpr int Piece = 16 * 1024; // the largest power of two that a length can be
    explicit Store(const Job& job) {
        std::int32_t adr = 0;
        for (std::int64_t p = 0; p < job.size; p += VMem::PageSize) m.AllocPage(adr);
    }
    void Write(std::int64_t at, const char* bytes, int n) { m.Set(Pos(at), bytes, static_cast<std::int16_t>(n)); }
    void Read(std::int64_t at, char* dst, int n) { m.Get(Pos(at), dst, static_cast<std::int16_t>(n)); }
    void WriteByte(std::int64_t at, char byte) { m.Set(Pos(at), byte); }
    char ReadByte(std::int64_t at) {
        char byte = 0;
        m.Get(Pos(at), byte);
        return byte;
    }
    void Flush() { m.FlushCache(); }

  private:
    VMem m;
};

// ns per SetPos to a random place.
double SetPos(const Job& job) {
    const Text text;
    Content content(DefaultCacheKb);
    Fill(content, text, job.size);
    Random random(7);
    constexpr int Count = 100000;
    const double seconds = Repeated(job, [&] {
        for (int i = 0; i < Count; ++i) content.f.SetPos(Pos(random.Below(job.size)));
    });
    for (int i = 0; i < 1000; ++i) {
        const std::int64_t p = random.Below(job.size);
        unsigned char b = 0;
        content.f.SetPos(Pos(p));
        content.f.ReadByte(b);
        Check(b == static_cast<unsigned char>(*text.At(p)), "the byte at a random place");
    }
    return seconds / Count * 1e9;
}

} // namespace

int main(int argc, char** argv) {
    return Main(argc, argv,
                {EditRows<Content>(),
                 StoreRows<Store>(),
                 {{"setpos", SetPos, ""},
                  {"find", Search<Content, &Content::Find>, ""},
                  {"findfold", Search<Content, &Content::FindFolded>, ""},
                  {"replace", ReplaceWords<Content>, ""},
                  {"linestart", LineStart<Content>, ""},
                  {"load", Load<Content>, ""},
                  {"save", Save<Content>, ""},
                  {"memory", Load<Content>, ""}}});
}
