// std::string: one run of bytes in RAM.
#include "text_rows.h"

#include <algorithm>
#include <fstream>

namespace {

using namespace bench;

std::size_t Size(std::int64_t n) {
    return static_cast<std::size_t>(n);
}

class Content {
  public:
    explicit Content(int) {}
    void Append(const char* bytes, int n) { s.append(bytes, Size(n)); }
    void Replace(std::int64_t at, int del, const char* bytes, int n) { s.replace(Size(at), Size(del), bytes, Size(n)); }
    std::int64_t Length() const { return static_cast<std::int64_t>(s.size()); }
    void Copy(std::int64_t at, char* dst, int n) { s.copy(dst, Size(n), Size(at)); }
    bool Equals(Content& other) { return s == other.s; }
    std::uint64_t SumBytes() {
        std::uint64_t sum = 0;
        for (const char c : s) sum += static_cast<unsigned char>(c);
        return sum;
    }
    bool Find(const char* pattern) { return s.find(pattern) != std::string::npos; }
    // In place each replacement would move the rest.
    long ReplaceAll(const char* word, const char* by) {
        long count = 0;
        std::string out;
        std::size_t from = 0;
        for (std::size_t at = 0; (at = s.find(word, from)) != std::string::npos;
             from = at + std::strlen(word), ++count) {
            out.append(s, from, at - from);
            out.append(by);
        }
        out.append(s, from, std::string::npos);
        s.swap(out);
        return count;
    }
    std::int64_t LineStart(std::int64_t at) { return static_cast<std::int64_t>(s.rfind('\n', Size(at - 1)) + 1); }
    // An index beside it, which is right until the next change.
    std::int64_t CountLines() {
        if (starts.empty()) {
            std::size_t at = 0;
            do starts.push_back(at);
            while ((at = s.find('\n', at) + 1) != 0);
        }
        return static_cast<std::int64_t>(starts.size());
    }
    std::int64_t LineOf(std::int64_t at) {
        return std::upper_bound(starts.begin(), starts.end(), Size(at)) - starts.begin() - 1;
    }
    std::int64_t LineAt(std::int64_t n) { return static_cast<std::int64_t>(starts[Size(n)]); }
    void Load(const char* path) {
        std::ifstream file(path, std::ios::binary | std::ios::ate);
        s.resize(Size(file.tellg()));
        file.seekg(0);
        file.read(&s[0], static_cast<std::streamsize>(s.size()));
        Check(!file.fail(), "load");
    }
    void Save(const char* path) {
        std::ofstream file(path, std::ios::binary);
        file.write(s.data(), static_cast<std::streamsize>(s.size()));
        file.close();
        Check(!file.fail(), "save");
    }

  private:
    std::string s;
    std::vector<std::size_t> starts;
};

} // namespace

int main(int argc, char** argv) {
    return Main(argc, argv,
                {EditRows<Content>(),
                 {{"find", Search<Content, &Content::Find>, ""},
                  {"findfold", nullptr, "no search that ignores case"},
                  {"replace", ReplaceWords<Content>, ""},
                  {"linestart", LineStart<Content>, ""},
                  {"countlines", CountLines<Content>, ""},
                  {"lineof", AskLines<Content, true>, ""},
                  {"lineat", AskLines<Content, false>, ""},
                  {"load", Load<Content>, ""},
                  {"save", Save<Content>, ""},
                  {"memory", Load<Content>, ""}}});
}
