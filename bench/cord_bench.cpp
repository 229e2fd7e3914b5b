// absl::Cord: a B-tree of pieces that objects share.
#include "text_rows.h"

#include <absl/strings/cord.h>

namespace {

using namespace bench;

std::size_t Size(std::int64_t n) {
    return static_cast<std::size_t>(n);
}

class Content {
  public:
    explicit Content(int) {}
    void Append(const char* bytes, int n) { c.Append(absl::string_view(bytes, Size(n))); }
    void Replace(std::int64_t at, int del, const char* bytes, int n) {
        absl::Cord tail = c.Subcord(Size(at + del), c.size());
        c.RemoveSuffix(c.size() - Size(at));
        c.Append(absl::string_view(bytes, Size(n)));
        c.Append(std::move(tail));
    }
    std::int64_t Length() const { return static_cast<std::int64_t>(c.size()); }
    void Copy(std::int64_t at, char* dst, int n) {
        const absl::Cord part = c.Subcord(Size(at), Size(n));
        for (const absl::string_view chunk : part.Chunks()) {
            std::memcpy(dst, chunk.data(), chunk.size());
            dst += chunk.size();
        }
    }
    bool Equals(Content& other) { return c == other.c; }
    std::uint64_t SumBytes() {
        std::uint64_t sum = 0;
        for (const char b : c.Chars()) sum += static_cast<unsigned char>(b);
        return sum;
    }

  private:
    absl::Cord c;
};

} // namespace

int main(int argc, char** argv) {
    return Main(argc, argv,
                {EditRows<Content>(),
                 {{"find", nullptr, "no search"},
                  {"findfold", nullptr, "no search"},
                  {"replace", nullptr, "no search"},
                  {"linestart", nullptr, "no search"}}});
}
