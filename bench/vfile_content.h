// A VFile, or an object of a class derived from it, as a Content of the rows (see text_rows.h).
#pragma once

#include "text_rows.h"
#include "vfile/vfile.h"

namespace bench {

inline std::int32_t Pos(std::int64_t p) {
    return static_cast<std::int32_t>(p);
}

template <class File>
class FileContent {
  public:
    explicit FileContent(int cacheKb) { VFile::SetMaxCacheSize(static_cast<std::int16_t>(cacheKb)); }
    void Append(const char* bytes, int n) { f.AppendBytes(bytes, n); }
    void Replace(std::int64_t at, int del, const char* bytes, int n) { f.ReplaceBuf(Pos(at), del, bytes, n); }
    std::int64_t Length() const { return f.Length(); }
    void Copy(std::int64_t at, char* dst, int n) {
        if (f.GetPos() != at) f.SetPos(Pos(at));
        f.ReadBytes(dst, n);
    }
    bool Equals(FileContent& other) { return f == other.f; }
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
    std::int64_t CountLines() { return f.LineCount(); }
    std::int64_t LineOf(std::int64_t at) { return f.LineOf(Pos(at)); }
    std::int64_t LineAt(std::int64_t n) { return f.LineAt(Pos(n)); }
    void Load(const char* path) {
        f.Load(path, 1);
        Check(f.res == resDone, "Load");
    }
    void Save(const char* path) {
        f.Save(path, true);
        Check(f.res == resDone, "Save");
    }
    File f;

  private:
    bool Search(const char* pattern, bool fold) {
        std::int32_t at = 0;
        return f.Find(at, pattern, fold, false);
    }
};

} // namespace bench
