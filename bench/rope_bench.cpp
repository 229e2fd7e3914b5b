// The rope of libstdc++: a tree of pieces that objects share.
#include "text_rows.h"

#include <ext/rope>

namespace {

using namespace bench;

std::size_t Size(std::int64_t n) {
    return static_cast<std::size_t>(n);
}

class Content {
  public:
    explicit Content(int) {}
    void Append(const char* bytes, int n) { r.append(bytes, Size(n)); }
    void Replace(std::int64_t at, int del, const char* bytes, int n) { r.replace(Size(at), Size(del), bytes, Size(n)); }
    std::int64_t Length() const { return static_cast<std::int64_t>(r.size()); }
    void Copy(std::int64_t at, char* dst, int n) { r.copy(Size(at), Size(n), dst); }
    bool Equals(Content& other) { return r == other.r; }
    std::uint64_t SumBytes() {
        std::uint64_t sum = 0;
        for (auto it = r.begin(); it != r.end(); ++it) sum += static_cast<unsigned char>(*it);
        return sum;
    }
    bool Find(const char* pattern) { return r.find(pattern) < r.size(); }
    long ReplaceAll(const char* word, const char* by) {
        const std::size_t oldLen = std::strlen(word), newLen = std::strlen(by);
        long count = 0;
        for (std::size_t at = 0; (at = r.find(word, at)) < r.size(); at += newLen, ++count)
            r.replace(at, oldLen, by, newLen);
        return count;
    }

  private:
    __gnu_cxx::crope r;
};

} // namespace

int main(int argc, char** argv) {
    return Main(argc, argv,
                {EditRows<Content>(),
                 {{"find", Search<Content, &Content::Find>, ""},
                  {"findfold", nullptr, "no search that ignores case"},
                  {"replace", ReplaceWords<Content>, ""},
                  {"linestart", nullptr, "no search backward"}}});
}
