// The library: VFile for contents, VMem for stores.
#include "hostfile/hfile.h"
#include "long_rows.h"
#include "store_rows.h"
#include "vfile/vfile_history.h"
#include "vfile/vfile_marks.h"
#include "view_rows.h"
#include "vmem/vmem.h"

#include <algorithm>
#include <memory>

namespace {

using namespace bench;

using Content = FileContent<VFile>;

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

// What follows the content while it is changed.
enum class With { Nothing, History, Lines };

// ns per byte typed into the middle, in lines of 60.
template <With follower>
double Typing(const Job& job) {
    const Text text;
    Content content(DefaultCacheKb);
    Fill(content, text, job.size);
    std::unique_ptr<VFileHistory> history;
    if (follower == With::History) history = std::make_unique<VFileHistory>(content.f);
    const std::int64_t count = follower == With::Lines ? content.CountLines() : 0;
    constexpr int Line = 60, Lines = 64;
    const std::string line = std::string(Line - 1, 'x') + '\n';
    content.f.SetPos(Pos(job.size / 2));
    const double seconds = Repeated(job, [&] {
        for (int i = 0; i < Lines * Line; ++i) content.f.InsertByte(static_cast<unsigned char>(line[i % Line]));
    });
    const std::int64_t typed = content.Length() - job.size;
    if (follower == With::Lines) Check(content.CountLines() == count + typed / Line, "the lines typed");
    if (follower == With::History) {
        Check(history->UndoCount() == typed / Line, "a step for each line");
        while (history->Undo()) {
        }
        CheckText(content, text, job.size);
    }
    return seconds / (Lines * Line) * 1e9;
}

// The edits of "edit".
double EditAllOver(const Job& job, Content& content) {
    EditStream stream(job.size);
    long done = 0;
    return NanosPerOp(job, 100000, done, [&] {
        for (int i = 0; i < BatchSize; ++i)
            stream.Next(
                [&](std::int64_t at, int del, const char* bytes, int n) { content.Replace(at, del, bytes, n); });
    });
}

// The same with an index of lines.
double EditLined(const Job& job) {
    const Text text;
    Content content(EditCacheKb);
    Fill(content, text, job.size);
    content.CountLines();
    const double nanos = EditAllOver(job, content);
    std::string all(static_cast<std::size_t>(content.Length()), '\0');
    content.Copy(0, &all[0], static_cast<int>(all.size()));
    Check(content.CountLines() == std::count(all.begin(), all.end(), '\n') + 1, "the lines after the edits");
    return nanos;
}

// The same under marks all over the content.
double EditMarked(const Job& job) {
    const Text text;
    Content content(EditCacheKb);
    Fill(content, text, job.size);
    VFileMarks marks(content.f);
    Random random(8);
    for (int i = 0; i < 100000; ++i) marks.Add(Pos(random.Below(job.size)), VFileGravity::After);
    const double nanos = EditAllOver(job, content);
    std::int32_t before = 0;
    int count = 0;
    for (VFileMark m = marks.From(0); m != 0; m = marks.Next(m), ++count) {
        Check(marks.Start(m) >= before, "marks in order");
        before = marks.Start(m);
    }
    Check(count == 100000 && before <= content.Length(), "the marks");
    return nanos;
}

// ns per word of a replacement that is taken back.
double UndoWords(const Job& job) {
    const Text text;
    Content content(DefaultCacheKb);
    ForWordPieces(text, job.size, Word, WordLen, [&](const char* bytes, int n) { content.Append(bytes, n); });
    VFileHistory history(content.f);
    const long count = content.ReplaceAll(Word, NewWord);
    bool done = false;
    const double seconds = Seconds([&] { done = history.Undo(); });
    Check(done && history.UndoCount() == 0, "one step");
    Comparison<Content> comparison(content);
    ForWordPieces(text, job.size, Word, WordLen, [&](const char* bytes, int n) { comparison.Next(bytes, n); });
    comparison.End();
    return seconds / static_cast<double>(count) * 1e9;
}

// ms until the last line of a file that is loaded in place has been read.
double Open(const Job& job) {
    const std::string path = TextFile(job, "text", job.size, false);
    const Text text;
    Content content(DefaultCacheKb);
    char line[4096];
    int got = 0;
    const double seconds = Seconds([&] {
        content.f.LoadInPlace(path.c_str(), 1);
        const std::int32_t start = content.f.LineStart(content.f.Length());
        got = content.f.ReadTxt(line, sizeof line, start, MaxLen);
    });
    Check(got > 0 && line[got - 1] == *text.At(job.size - 1), "the last line");
    CheckText(content, text, job.size);
    return seconds * 1e3;
}

} // namespace

int main(int argc, char** argv) {
    return Main(argc, argv,
                {EditRows<Content>(),
                 ViewRows<Content>(),
                 LongRows<Content>(),
                 StoreRows<Store>(),
                 {{"setpos", SetPos, ""},
                  {"typing", Typing<With::Nothing>, ""},
                  {"typinghistory", Typing<With::History>, ""},
                  {"typinglines", Typing<With::Lines>, ""},
                  {"editlines", EditLined, ""},
                  {"countlines", CountLines<Content>, ""},
                  {"lineof", AskLines<Content, true>, ""},
                  {"lineat", AskLines<Content, false>, ""},
                  {"editmarks", EditMarked, ""},
                  {"undo", UndoWords, ""},
                  {"find", Search<Content, &Content::Find>, ""},
                  {"findfold", Search<Content, &Content::FindFolded>, ""},
                  {"replace", ReplaceWords<Content>, ""},
                  {"linestart", LineStart<Content>, ""},
                  {"load", Load<Content>, ""},
                  {"save", Save<Content>, ""},
                  {"open", Open, ""},
                  {"openmemory", Open, ""},
                  {"memory", Load<Content>, ""}}});
}
