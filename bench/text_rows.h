// The rows of contents that can be edited, the same for every contender. A Content has, as far as its rows need them:
//   Content(int cacheKb)                        empty; a contender without a cache ignores its size
//   void Append(const char* bytes, int n)
//   void Replace(int64 at, int del, const char* bytes, int n)
//   int64 Length() const
//   void Copy(int64 at, char* dst, int n)       n bytes from `at` on; most often after the last one
//   bool Equals(Content& other)
//   uint64 SumBytes()                           the sum of all bytes, fetched one by one
//   bool Find(const char* pattern)              FindFolded: whatever the case of letters
//   long ReplaceAll(const char* word, const char* by)
//   int64 LineStart(int64 at)
//   void Load(const char* path), void Save(const char* path)
#pragma once

#include "harness.h"

#include <algorithm>
#include <cstring>

namespace bench {

// Compares a content with pieces that come one after the other.
template <class Content>
class Comparison {
  public:
    explicit Comparison(Content& content_) : content(content_) {}
    void Next(const char* bytes, int n) {
        Check(at + n <= content.Length(), "the content is too short");
        have.resize(std::max(have.size(), static_cast<std::size_t>(n)));
        content.Copy(at, have.data(), n);
        Check(std::memcmp(bytes, have.data(), static_cast<std::size_t>(n)) == 0, "the content differs");
        at += n;
    }
    void End() { Check(at == content.Length(), "the content is too long"); }

  private:
    Content& content;
    std::vector<char> have;
    std::int64_t at = 0;
};

template <class Content>
void Fill(Content& content, const Text& text, std::int64_t size) {
    ForPieces(text, size, [&](std::int64_t, const char* bytes, int n) { content.Append(bytes, n); });
}

template <class Content>
void CheckText(Content& content, const Text& text, std::int64_t size) {
    Comparison<Content> comparison(content);
    ForPieces(text, size, [&](std::int64_t, const char* bytes, int n) { comparison.Next(bytes, n); });
    comparison.End();
}

// ns per patch of a session: the best of some replays.
template <class Content>
double Replay(const Job& job) {
    const Session session(job);
    double best = 1e9;
    for (int round = job.quick ? 1 : 3; round > 0; --round) {
        Content content(DefaultCacheKb);
        content.Append(session.start.data(), static_cast<int>(session.start.size()));
        best = std::min(best, Seconds([&] {
                            for (const Patch& p : session.patches)
                                content.Replace(p.pos, static_cast<int>(p.del), session.text.data() + p.text,
                                                static_cast<int>(p.len));
                        }));
        std::string outcome(static_cast<std::size_t>(content.Length()), '\0');
        content.Copy(0, &outcome[0], static_cast<int>(outcome.size()));
        Check(Sha256(job, outcome) == session.sha256, "the outcome of the session differs");
    }
    return best / static_cast<double>(session.patches.size()) * 1e9;
}

// ns per edit of 8 bytes at a random place.
template <class Content>
double Edit(const Job& job) {
    const Text text;
    Content content(EditCacheKb);
    Fill(content, text, job.size);
    EditStream stream(job.size);
    long done = 0;
    const double nanos = NanosPerOp(job, 100000, done, [&] {
        for (int i = 0; i < BatchSize; ++i)
            stream.Next(
                [&](std::int64_t at, int del, const char* bytes, int n) { content.Replace(at, del, bytes, n); });
    });
    Comparison<Content> comparison(content);
    EditModel(text, job.size, done).ForPieces([&](const char* bytes, int n) { comparison.Next(bytes, n); });
    comparison.End();
    return nanos;
}

// MB/s of appending 100 bytes at a time.
template <class Content>
double Append(const Job& job) {
    constexpr int Piece = 100;
    const Text text;
    Content content(DefaultCacheKb);
    const std::int64_t size = job.size / Piece * Piece;
    const double seconds = Seconds([&] {
        for (std::int64_t p = 0; p < size; p += Piece) content.Append(text.At(p), Piece);
    });
    CheckText(content, text, size);
    return MBps(size, seconds);
}

// MB/s of reading all in pieces of 64 KiB.
template <class Content>
double Read(const Job& job) {
    const Text text;
    Content content(DefaultCacheKb);
    Fill(content, text, job.size);
    alignas(64) static char piece[PieceSize]; // or where the heap puts it would count for a seventh
    const double seconds = Repeated(job, [&] {
        ForPieces(text, job.size, [&](std::int64_t p, const char*, int n) { content.Copy(p, piece, n); });
    });
    CheckText(content, text, job.size);
    return MBps(job.size, seconds);
}

// MB/s of comparing two equal contents, by the size of one.
template <class Content>
double Equal(const Job& job) {
    const Text text;
    Content a(DefaultCacheKb), b(DefaultCacheKb);
    Fill(a, text, job.size);
    Fill(b, text, job.size);
    bool equal = true;
    const double seconds = Repeated(job, [&] { equal = a.Equals(b) && equal; });
    Check(equal, "equal contents are told to differ");
    const char other = static_cast<char>(*text.At(job.size - 1) + 1);
    b.Replace(job.size - 1, 1, &other, 1);
    Check(!a.Equals(b), "different contents are told to be equal");
    return MBps(job.size, seconds);
}

// MB/s of fetching byte by byte.
template <class Content>
double ReadByte(const Job& job) {
    const Text text;
    Content content(DefaultCacheKb);
    Fill(content, text, job.size);
    std::uint64_t wanted = 0, sum = 0;
    ForPieces(text, job.size, [&](std::int64_t, const char* bytes, int n) {
        for (int i = 0; i < n; ++i) wanted += static_cast<unsigned char>(bytes[i]);
    });
    const double seconds = Repeated(job, [&] { sum = content.SumBytes(); });
    Check(sum == wanted, "the sum of the bytes");
    return MBps(job.size, seconds);
}

// MB/s of searching for 12 bytes that are not there.
template <class Content, bool (Content::*FindIt)(const char*)>
double Search(const Job& job) {
    const Text text;
    Content content(DefaultCacheKb);
    Fill(content, text, job.size);
    bool found = false;
    const double seconds = Repeated(job, [&] { found = (content.*FindIt)(AbsentPattern) || found; });
    Check(!found, "an absent pattern is found");
    content.Append(AbsentPattern, static_cast<int>(std::strlen(AbsentPattern)));
    Check((content.*FindIt)(AbsentPattern), "a pattern at the end is not found");
    return MBps(job.size, seconds);
}

// ns per replacement of a word by a longer one.
template <class Content>
double ReplaceWords(const Job& job) {
    const Text text;
    Content content(DefaultCacheKb);
    ForWordPieces(text, job.size, Word, WordLen, [&](const char* bytes, int n) { content.Append(bytes, n); });
    long count = 0;
    const double seconds = Seconds([&] { count = content.ReplaceAll(Word, NewWord); });
    Check(count == job.size / WordStride, "the number of replacements");
    Comparison<Content> comparison(content);
    ForWordPieces(text, job.size, NewWord, NewWordLen, [&](const char* bytes, int n) { comparison.Next(bytes, n); });
    comparison.End();
    return seconds / static_cast<double>(count) * 1e9;
}

// ns per search for the start of the line at a random place.
template <class Content>
double LineStart(const Job& job) {
    const Text text;
    Content content(DefaultCacheKb);
    Fill(content, text, job.size);
    Random random(4);
    for (int i = 0; i < 1000; ++i) {
        const std::int64_t p = random.Below(job.size) + 1;
        std::int64_t start = p;
        while (start > 0 && *text.At(start - 1) != '\n') --start;
        Check(content.LineStart(p) == start, "the start of a line");
    }
    constexpr int Count = 1000;
    std::int64_t sum = 0;
    const double seconds = Repeated(job, [&] {
        for (int i = 0; i < Count; ++i) sum += content.LineStart(random.Below(job.size) + 1);
    });
    Check(sum > 0, "the starts of lines"); // or the compiler might leave the work out
    return seconds / Count * 1e9;
}

// Checks lines by number against a plain pass over the text, which has line feeds alone, at a thousand places.
template <class Content>
void CheckLines(Content& content, const Text& text, std::int64_t size) {
    std::vector<std::int64_t> starts = {0};
    ForPieces(text, size, [&](std::int64_t p, const char* bytes, int n) {
        for (int i = 0; i < n; ++i) {
            if (bytes[i] == '\n') starts.push_back(p + i + 1);
        }
    });
    const auto count = static_cast<std::int64_t>(starts.size());
    Check(content.CountLines() == count, "the number of lines");
    Random random(9);
    for (int i = 0; i < 1000; ++i) {
        const std::int64_t n = random.Below(count), p = random.Below(size);
        Check(content.LineAt(n) == starts[static_cast<std::size_t>(n)], "the start of a line");
        const auto behind = std::upper_bound(starts.begin(), starts.end(), p);
        Check(content.LineOf(p) == behind - starts.begin() - 1, "the number of a line");
    }
}

// MB/s of the first question for a line by number, which counts them.
template <class Content>
double CountLines(const Job& job) {
    const Text text;
    Content content(DefaultCacheKb);
    Fill(content, text, job.size);
    const double seconds = Seconds([&] { content.CountLines(); });
    CheckLines(content, text, job.size);
    return MBps(job.size, seconds);
}

// ns per question for the number of the line at a random place, or for the place of a random line.
template <class Content, bool ByPlace>
double AskLines(const Job& job) {
    const Text text;
    Content content(EditCacheKb);
    Fill(content, text, job.size);
    CheckLines(content, text, job.size);
    const std::int64_t count = content.CountLines();
    Random random(10);
    constexpr int Count = 10000;
    std::int64_t sum = 0;
    const double seconds = Repeated(job, [&] {
        for (int i = 0; i < Count; ++i)
            sum += ByPlace ? content.LineOf(random.Below(job.size)) : content.LineAt(random.Below(count));
    });
    Check(sum > 0, "lines");
    return seconds / Count * 1e9;
}

// MB/s of loading a file, of saving one, and of both.
template <class Content>
double Load(const Job& job) {
    const std::string path = TextFile(job, "text", job.size, false);
    const Text text;
    Content content(DefaultCacheKb);
    const double seconds = Seconds([&] { content.Load(path.c_str()); });
    CheckText(content, text, job.size);
    return MBps(job.size, seconds);
}

template <class Content>
double Save(const Job& job) {
    const std::string path = job.dir + "/saved";
    const Text text;
    double seconds = 0;
    {
        Content content(DefaultCacheKb);
        Fill(content, text, job.size);
        seconds = Seconds([&] { content.Save(path.c_str()); });
    }
    Content saved(DefaultCacheKb);
    saved.Load(path.c_str());
    CheckText(saved, text, job.size);
    std::remove(path.c_str());
    return MBps(job.size, seconds);
}

// What all of them can do.
template <class Content>
Rows EditRows() {
    return {{"replay", Replay<Content>, ""}, {"edit", Edit<Content>, ""},   {"append", Append<Content>, ""},
            {"read", Read<Content>, ""},     {"equal", Equal<Content>, ""}, {"readbyte", ReadByte<Content>, ""}};
}

} // namespace bench
