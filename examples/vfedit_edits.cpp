// The edits of vfedit.
#include "vfedit_edits.h"

#include "vfedit_bytes.h"
#include "vfedit_lines.h"
#include "vfile/vfile_view.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {

// The next place of the text, from `from` on; -1 if there is none. VFile::Find knows no zero bytes, the search of a
// view no words.
std::int32_t NextMatch(VFile& content, const Edit& edit, std::int32_t from) {
    const Text& text = edit.text;
    if (!std::memchr(text.bytes, '\0', static_cast<std::size_t>(text.length)))
        return content.Find(from, text.bytes, edit.ignoreCase, edit.wholeWord) ? from - text.length : -1;
    VFileView view(content);
    const auto wordByte = [&view](std::int32_t at) {
        unsigned char c;
        return at >= 0 && view.Read(at, &c, 1) == 1 && std::isalnum(c) != 0;
    };
    for (;;) {
        const std::int32_t at = view.Find(text.bytes, text.length, from, MaxLen, edit.ignoreCase);
        if (at < 0 || !edit.wholeWord) return at;
        from = at + text.length;
        if (!wordByte(at - 1) && !wordByte(from)) return at;
    }
}

bool Replace(const Work& work, const Edit& edit, Done& done) {
    VFile& content = work.content;
    work.progress.Begin("replacing", content.Length());
    std::int32_t at = 0;
    for (std::int32_t start; done.matches < edit.count && (start = NextMatch(content, edit, at)) >= 0;) {
        const Res res = work.space.Change(start, edit.text.length, edit.replacement.bytes, edit.replacement.length);
        if (res != resDone) return Complain(work.name, res);
        at = start + edit.replacement.length;
        work.progress.At(at);
        ++done.matches;
    }
    work.progress.End();
    return true;
}

// Goes up with a position and tells the line that holds it. Each line is read once, however many positions are in it.
class LineFollower {
  public:
    explicit LineFollower(VFile& c) : content(c) {}

    void GoTo(std::int32_t p) {
        while (p >= NextStart()) {
            start = next;
            next = -1;
            ++number;
        }
    }

    std::int32_t number = 1;
    std::int32_t start = 0;

  private:
    std::int32_t NextStart() {
        if (next >= 0) return next;
        char none[1];
        content.SetPos(start);
        content.ReadLine(none, sizeof none);
        next = content.eof ? MaxLen : content.GetPos(); // no line end: every position to come is in this line
        return next;
    }

    VFile& content;
    std::int32_t next = -1;
};

bool Find(const Work& work, const Edit& edit, Done& done) {
    VFile& content = work.content;
    work.progress.Begin("searching", content.Length());
    LineFollower lines(content);
    std::int32_t at = 0;
    for (std::int32_t start; !work.report.Failed() && (start = NextMatch(content, edit, at)) >= 0; ++done.matches) {
        at = start + edit.text.length;
        if (!edit.countOnly) {
            lines.GoTo(start);
            work.report.Print("%d %d:%d\n", start, lines.number, start - lines.start + 1);
        }
        work.progress.At(at);
    }
    if (edit.countOnly) work.report.Print("%lld\n", static_cast<long long>(done.matches));
    work.progress.End();
    return true;
}

bool Stats(const Work& work) {
    VFile& content = work.content;
    std::int64_t lf = 0, crLf = 0, cr = 0;
    std::int64_t longest = 0, lineBytes = 0;
    bool afterCr = false;
    const auto endLine = [&] {
        longest = std::max(longest, lineBytes);
        lineBytes = 0;
    };
    work.progress.Begin("counting", content.Length());
    ForEachPiece(work, 0, content.Length(), [&](int n) {
        for (int i = 0; i < n; ++i) {
            const unsigned char c = piece[i];
            if (c == '\n' && afterCr) {
                --cr;
                ++crLf;
            } else if (c == '\n' || c == '\r') {
                ++(c == '\r' ? cr : lf);
                endLine();
            } else {
                ++lineBytes;
            }
            afterCr = c == '\r';
        }
        return true;
    });
    work.progress.End();
    const std::int64_t open = lineBytes > 0 ? 1 : 0; // a last line without a line end
    endLine();
    work.report.Print("bytes: %d\nlines: %lld\nLF: %lld\nCR LF: %lld\nCR: %lld\nlongest line: %lld\n", content.Length(),
                      static_cast<long long>(lf + crLf + cr + open), static_cast<long long>(lf),
                      static_cast<long long>(crLf), static_cast<long long>(cr), static_cast<long long>(longest));
    return true;
}

bool InsertNamedFile(const Work& work, const char* name, std::int32_t pos) {
    Input input;
    return input.Open(name, work.output) && InsertInput(work, pos, input, "inserting");
}

// What a position from the end means now.
std::int32_t Position(const Work& work, const Edit& edit) {
    return edit.fromEnd ? std::max(0, work.content.Length() - edit.from) : edit.from;
}

} // namespace

unsigned char piece[PieceBytes];

bool Told(const char* name, Res res) {
    return res == resDone || Complain(name, res);
}

bool InsertInput(const Work& work, std::int32_t pos, Input& input, const char* verb) {
    if (!work.space.Fits(pos, input.Size())) return Complain(input.Name(), resTooLong);
    work.progress.Begin(verb, input.Size());
    std::int32_t at = std::min(pos, work.content.Length());
    std::int64_t total = 0;
    for (;;) {
        const int n = input.Read(piece, PieceBytes);
        if (n < 0) return false;
        if (n == 0) break;
        const Res res = work.space.Change(at, 0, piece, n); // too long: a pipe, or a file that grows
        if (res != resDone) return Complain(input.Name(), res);
        at += n;
        total += n;
        work.progress.At(total);
    }
    work.progress.End();
    return true;
}

bool DoEdit(const Work& work, const Edit& edit, Done& done) {
    const Text& text = edit.text;
    const std::int32_t from = Position(work, edit);
    switch (edit.kind) {
    case EditKind::Insert:
        return Told(work.name, work.space.Change(from, 0, text.bytes, text.length));
    case EditKind::Append:
        return Told(work.name, work.space.Change(MaxLen, 0, text.bytes, text.length));
    case EditKind::Overwrite:
        return Told(work.name, work.space.Change(from, text.length, text.bytes, text.length));
    case EditKind::Delete:
        return Told(work.name, work.space.Change(from, edit.count, nullptr, 0));
    case EditKind::InsertFile:
        return InsertNamedFile(work, text.bytes, from);
    case EditKind::AppendFile:
        return InsertNamedFile(work, text.bytes, MaxLen);
    case EditKind::Replace:
        return Replace(work, edit, done);
    case EditKind::Find:
        return Find(work, edit, done);
    case EditKind::Patch:
        return Patch(work, edit, done);
    case EditKind::Hexdump:
        return Hexdump(work, from, edit.count);
    case EditKind::Line:
        return PrintLine(work, edit.from);
    case EditKind::Lines:
        return PrintLines(work, edit);
    case EditKind::InsertLine:
        return InsertLine(work, edit);
    case EditKind::DeleteLines:
        return DeleteLines(work, edit);
    case EditKind::Stats:
        return Stats(work);
    }
    return false;
}
