// The lines that differ. A line ends in LF here, as in other programs that know this form.
#include "vfedit_diff.h"

#include "vfile/vfile_view.h"

#include <algorithm>
#include <cstring>

namespace {

// One of the two contents.
class Side {
  public:
    explicit Side(VFile& content) : view(content) {}

    std::int32_t LineStart(std::int32_t at, std::int32_t from) {
        const std::int32_t end = view.FindBack("\n", 1, from, at);
        return end < 0 ? from : end + 1;
    }

    std::int32_t LineEnd(std::int32_t at) {
        const std::int32_t end = view.Find("\n", 1, at);
        return end < 0 ? view.Length() : end + 1;
    }

    // Whole lines, none of them open at its end.
    bool EndsInLine(std::int32_t from, std::int32_t to) {
        unsigned char last;
        return from == to || (view.Read(to - 1, &last, 1) == 1 && last == '\n');
    }

    // Counts on: positions never go back. An open last line counts.
    std::int32_t LinesUpTo(std::int32_t to) {
        view.Visit(counted, to - counted, [this](const unsigned char* bytes, std::int32_t n) {
            lines += static_cast<std::int32_t>(std::count(bytes, bytes + n, '\n'));
            return true;
        });
        const bool open = to > counted && !EndsInLine(counted, to);
        counted = to;
        return open ? ++lines : lines;
    }

    // Each line after a mark.
    void Print(Report& report, char mark, std::int32_t from, std::int32_t to) {
        bool start = true;
        view.Visit(from, to - from, [&](const unsigned char* bytes, std::int32_t n) {
            for (std::int32_t i = 0; i < n;) {
                const void* const end = std::memchr(bytes + i, '\n', static_cast<std::size_t>(n - i));
                const std::int32_t next =
                    end ? static_cast<std::int32_t>(static_cast<const unsigned char*>(end) - bytes) + 1 : n;
                if (start) report.Put(&mark, 1);
                report.Put(bytes + i, static_cast<std::size_t>(next - i));
                start = end != nullptr;
                i = next;
            }
            return !report.Failed();
        });
        if (!start) report.Print("\n\\ No newline at end of file\n");
    }

    VFileView view;

  private:
    std::int32_t counted = 0;
    std::int32_t lines = 0;
};

// Lines of the one side that give way to lines of the other.
struct Hunk {
    std::int32_t old, oldEnd, now, nowEnd;
};

class Diff {
  public:
    Diff(const Work& w, VFile& was) : work(w), old(was), now(w.content) {}

    // Lines that two stretches share, and lines that touch, are one hunk.
    void Take(const Stretch& s) {
        std::int32_t start = now.LineStart(s.now, any ? hunk.nowEnd : 0);
        if (any && start > hunk.nowEnd) Flush();
        if (!any) {
            const std::int32_t before = s.now - start;
            hunk = {s.old - before, s.old, start, s.now};
            any = true;
        }
        hunk.oldEnd = s.old + s.oldLength;
        hunk.nowEnd = s.now + s.length;
        if (old.EndsInLine(hunk.old, hunk.oldEnd) && now.EndsInLine(hunk.now, hunk.nowEnd)) return;
        const std::int32_t more = now.LineEnd(hunk.nowEnd) - hunk.nowEnd;
        hunk.oldEnd += more;
        hunk.nowEnd += more;
    }

    void Flush() {
        if (!any) return;
        any = false;
        const std::int32_t oldBefore = old.LinesUpTo(hunk.old), before = now.LinesUpTo(hunk.now);
        const std::int32_t oldLines = old.LinesUpTo(hunk.oldEnd) - oldBefore,
                           lines = now.LinesUpTo(hunk.nowEnd) - before;
        if (old.view.Compare(hunk.old, hunk.oldEnd - hunk.old, now.view, hunk.now, hunk.nowEnd - hunk.now) == 0) return;
        Report& report = work.report;
        if (!begun) {
            PrintName("--- ");
            PrintName("+++ ");
        }
        begun = true;
        report.Put("@@", 2);
        PrintPlace('-', oldBefore, oldLines);
        PrintPlace('+', before, lines);
        report.Put(" @@\n", 4);
        old.Print(report, '-', hunk.old, hunk.oldEnd);
        now.Print(report, '+', hunk.now, hunk.nowEnd);
    }

  private:
    void PrintName(const char* mark) {
        work.report.Put(mark, std::strlen(mark));
        work.report.Put(work.name, std::strlen(work.name));
        work.report.Put("\n", 1);
    }

    // Where there are no lines, the line before them is named.
    void PrintPlace(char mark, std::int32_t before, std::int32_t lines) {
        work.report.Print(" %c%d", mark, lines == 0 ? before : before + 1);
        if (lines != 1) work.report.Print(",%d", lines);
    }

    const Work& work;
    Side old, now;
    Hunk hunk = {};
    bool any = false;
    bool begun = false;
};

} // namespace

bool PrintDiff(const Work& work, VFile& old, Trace& trace) {
    if (trace.Failed()) return Complain(work.name, resHeapOverflow);
    Diff diff(work, old);
    trace.Rewind();
    if (trace.Failed()) return Complain(work.name, resHeapOverflow);
    for (Stretch stretch; !work.report.Failed() && trace.Next(stretch);) diff.Take(stretch);
    diff.Flush();
    return true;
}
