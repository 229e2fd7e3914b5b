// The rows of those who only look at a content.
#pragma once

#include "vfile/vfile_std.h"
#include "vfile_content.h"

namespace bench {

// MB/s of `look`, which is told to find the last byte of the content: no other one is like it.
template <class Content, class Look>
double LookFor(const Job& job, const Look& look) {
    const Text text;
    Content content(DefaultCacheKb);
    Fill(content, text, job.size - 1);
    content.Append("\xFF", 1);
    std::int64_t at = 0;
    const double seconds = Repeated(job, [&] { at = look(content.f); });
    Check(at == job.size - 1, "the place of the last byte");
    return MBps(job.size, seconds);
}

template <class Content>
double Visit(const Job& job) {
    return LookFor<Content>(job, [](VFile& f) {
        std::int64_t at = 0;
        VFileView(f).Visit(0, MaxLen, [&](const unsigned char* bytes, std::int32_t n) {
            const void* found = std::memchr(bytes, 0xFF, static_cast<std::size_t>(n));
            at += found ? static_cast<const unsigned char*>(found) - bytes : n;
            return !found;
        });
        return at;
    });
}

// The same by copies of 1024 bytes.
template <class Content>
double ReadPieces(const Job& job) {
    return LookFor<Content>(job, [](VFile& f) {
        char piece[BlkSize];
        std::int64_t at = 0;
        f.SetPos(0);
        for (int n; (n = f.ReadBytes(piece, BlkSize)) > 0; at += n) {
            const void* found = std::memchr(piece, 0xFF, static_cast<std::size_t>(n));
            if (found) return at + (static_cast<const char*>(found) - piece);
        }
        return at;
    });
}

template <class Content>
double Iterate(const Job& job) {
    return LookFor<Content>(job, [](VFile& f) {
        const vfile::Bytes bytes(f);
        return std::find(bytes.begin(), bytes.end(), '\xFF') - bytes.begin();
    });
}

template <class Content>
double FindView(const Job& job) {
    const Text text;
    Content content(DefaultCacheKb);
    Fill(content, text, job.size);
    std::int32_t at = 0;
    const double seconds = Repeated(job, [&] { at = vfile::Find(content.f, AbsentPattern); });
    Check(at == -1, "an absent pattern is found");
    content.Append(AbsentPattern, static_cast<int>(std::strlen(AbsentPattern)));
    Check(vfile::Find(content.f, AbsentPattern) == job.size, "a pattern at the end is not found");
    return MBps(job.size, seconds);
}

template <class Content>
Rows ViewRows() {
    return {{"visit", Visit<Content>, ""},
            {"visitcopy", ReadPieces<Content>, ""},
            {"iterate", Iterate<Content>, ""},
            {"findview", FindView<Content>, ""}};
}

} // namespace bench
