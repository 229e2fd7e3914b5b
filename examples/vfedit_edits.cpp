// The edits of vfedit.
#include "vfedit_edits.h"

#include "vfedit_bytes.h"
#include "vfedit_json.h"
#include "vfedit_lines.h"
#include "vfedit_search.h"

#include <algorithm>
#include <cstring>

namespace {

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
    const bool json = work.line.json;
    if (json) JsonBegin(work.report, work.name, "stats");
    work.report.Print(
        json ? ",\"bytes\":%d,\"lines\":%lld,\"lf\":%lld,\"crlf\":%lld,\"cr\":%lld,\"longest_line\":%lld}\n"
             : "bytes: %d\nlines: %lld\nLF: %lld\nCR LF: %lld\nCR: %lld\nlongest line: %lld\n",
        content.Length(), static_cast<long long>(lf + crLf + cr + open), static_cast<long long>(lf),
        static_cast<long long>(crLf), static_cast<long long>(cr), static_cast<long long>(longest));
    return true;
}

// Which of several files the print is about, as head tells; what finds tell is on each of their lines.
void BeginReport(const Work& work, const Edit& edit) {
    if (work.line.fileCount < 2 || edit.changes || edit.kind == EditKind::Find) return;
    if (work.line.json && edit.kind == EditKind::Stats) return;
    work.report.Put("==> ", 4);
    work.report.Put(work.name, std::strlen(work.name));
    work.report.Put(" <==\n", 5);
}

bool InsertNamedFile(const Work& work, const char* name, std::int32_t pos) {
    Input input;
    return input.Open(name, work.output) && InsertInput(work, pos, input, "inserting");
}

bool Delete(const Work& work, const Edit& edit, std::int32_t from) {
    std::int32_t to = 0;
    if (edit.range.unit == Range::All) return Told(work.name, work.space.Change(from, edit.count, nullptr, 0));
    return !FindRange(work, edit, from, to) || Told(work.name, work.space.Change(from, to - from, nullptr, 0));
}

} // namespace

thread_local unsigned char piece[PieceBytes];

bool Told(const char* name, Res res) {
    return res == resDone || Complain(name, res);
}

std::int32_t Position(const Work& work, std::int32_t position, bool fromEnd) {
    const std::int32_t length = work.content.Length();
    return fromEnd ? std::max(0, length - position) : position;
}

bool FindRange(const Work& work, const Edit& edit, std::int32_t& from, std::int32_t& to) {
    const Range& range = edit.range;
    const std::int32_t length = work.content.Length();
    from = 0;
    to = length;
    if (range.unit == Range::Lines) return FindLines(work, edit, from, to);
    if (range.unit == Range::All) return true;
    from = std::min(Position(work, range.from, range.fromEnd), length);
    to = std::max(from, std::min(Position(work, range.to, range.toEnd), length));
    return true;
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
    BeginReport(work, edit);
    const Text& text = edit.text;
    const std::int32_t from = Position(work, edit.from, edit.fromEnd);
    switch (edit.kind) {
    case EditKind::Insert:
        return Told(work.name, work.space.Change(from, 0, text.bytes, text.length));
    case EditKind::Append:
        return Told(work.name, work.space.Change(MaxLen, 0, text.bytes, text.length));
    case EditKind::Overwrite:
        return Told(work.name, work.space.Change(from, text.length, text.bytes, text.length));
    case EditKind::Delete:
        return Delete(work, edit, from);
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
