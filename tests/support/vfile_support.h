// What tests of VFile share: the content and the block layout of an object, without disturbing it, and a derived class
// that writes down what it sees.
#pragma once

#include "vfile/vfile.h"
#include "vfile/vfile_check.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

// Goes through the const family: the object's cursor, result and buffer stay.
inline std::string ContentOf(const VFile& f) {
    VFile copy;
    copy.ReplaceTxt(0, 0, f, 0, MaxLen);
    copy.SetPos(0);
    std::string content(static_cast<std::size_t>(f.Length()), '?');
    copy.ReadBytes(content.data(), f.Length());
    return content;
}

// The blocks' lengths in order, the current one starred, an empty one without a page in brackets: "1024 *576".
inline std::string LayoutOf(const VFile& f) {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* out = open_memstream(&text, &size);
    DumpVFile(f, out, true);
    std::fclose(out);
    std::istringstream lines(text);
    std::free(text);
    std::string layout;
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line)) {
        int len = 0;
        int adr = 0;
        std::sscanf(line.c_str() + line.find(" len "), " len %d adr %d", &len, &adr);
        layout += (layout.empty() ? "" : " ") + std::string(line[0] == '*' ? "*" : "");
        layout += adr == -1 ? "[" + std::to_string(len) + "]" : std::to_string(len);
    }
    return layout;
}

inline std::string Pattern(int n, int seed = 0) {
    std::string s(static_cast<std::size_t>(n), '\0');
    for (int i = 0; i < n; ++i) s[static_cast<std::size_t>(i)] = static_cast<char>('a' + (i * 7 + i / 26 + seed) % 26);
    return s;
}

inline void Put(VFile& f, std::int32_t at, std::int32_t oldLen, const std::string& bytes) {
    f.ReplaceBuf(at, oldLen, bytes.data(), static_cast<int>(bytes.size()));
}

// Sees hooks, and can refuse a change.
class Watched : public VFile {
  public:
    mutable std::string seen;
    int refusal = resDone;
    void SetType(int t) { type = t; }
    void Lock(bool on) { flags = on ? flags | vfLocked : flags & ~vfLocked; }

  protected:
    int PreChange(std::int32_t p, std::int32_t oldLen, std::int32_t newLen) const override {
        Note("pre", {p, oldLen, newLen, len});
        return refusal;
    }
    void PostChange(std::int32_t p, std::int32_t oldLen, std::int32_t newLen) override {
        Note("post", {p, oldLen, newLen, len});
        VFile::PostChange(p, oldLen, newLen);
    }
    void PostChangeFlag(int flag, bool on) override { Note("flag", {flag, on, flags}); }

  private:
    void Note(const char* what, const std::vector<int>& values) const {
        seen += what;
        for (const int v : values) seen += " " + std::to_string(v);
        seen += "; ";
    }
};
