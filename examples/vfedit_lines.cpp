// The edits of vfedit that know lines.
#include "vfedit_lines.h"

namespace {

// Goes past `count` lines from where the content stands, which is a line start; how many there were. A line end at
// the end of the content begins no line.
std::int32_t SkipLines(const Work& work, std::int32_t count) {
    char none[1];
    std::int32_t skipped = 0;
    for (; skipped < count && !work.content.Eof(); ++skipped) {
        work.content.ReadLine(none, sizeof none);
        work.progress.At(work.content.GetPos());
    }
    return skipped;
}

// Goes to the start of a line. False if there is none of this number.
bool GoToLine(const Work& work, std::int32_t number) {
    work.progress.Begin("counting lines", work.content.Length());
    work.content.Reset();
    return SkipLines(work, number - 1) == number - 1 && !work.content.Eof();
}

} // namespace

void Print(const Work& work, std::int32_t from, std::int32_t to) {
    ForEachPiece(work, from, to, [&work](int n) {
        work.report.Put(piece, static_cast<std::size_t>(n));
        return !work.report.Failed();
    });
}

bool FindLines(const Work& work, const Edit& edit, std::int32_t& from, std::int32_t& to) {
    const Range& range = edit.range;
    const bool ranged = range.unit == Range::Lines;
    const std::int32_t first = ranged ? range.from : edit.from;
    const bool all = (ranged ? range.to : edit.count) == MaxLen;
    const std::int32_t count = ranged ? range.to - range.from + 1 : edit.count;
    const char* const purpose = edit.kind == EditKind::Lines     ? "print"
                                : edit.kind == EditKind::Find    ? "look through"
                                : edit.kind == EditKind::Replace ? "replace in"
                                                                 : "delete";
    if (!GoToLine(work, first)) return Complain(work.name, "there is no line %d to %s", first, purpose);
    from = work.content.GetPos();
    to = work.content.Length();
    if (all) return true;
    const std::int32_t lines = SkipLines(work, count);
    if (lines < count) Complain(work.name, "only %d of %d lines to %s were there", lines, count, purpose);
    to = work.content.GetPos();
    return true;
}

bool PrintLine(const Work& work, std::int32_t number) {
    if (!GoToLine(work, number)) return Complain(work.name, "there is no line %d", number);
    std::int32_t start = 0, size = 0, eolSize = 0;
    work.content.LineSize(work.content.GetPos(), start, size, eolSize);
    Print(work, start, start + size - eolSize);
    work.report.Put("\n", 1);
    work.progress.End();
    return true;
}

bool PrintLines(const Work& work, const Edit& edit) {
    std::int32_t from = 0, to = 0;
    if (FindLines(work, edit, from, to)) Print(work, from, to);
    work.progress.End();
    return true;
}

// The new line ends as the first one does. At the end of the content it gets no line end if the last line has none:
// that stays so.
bool InsertLine(const Work& work, const Edit& edit) {
    VFile& content = work.content;
    std::int32_t first = 0, size = 0, eolSize = 0;
    char eol[2] = {'\n', 0};
    content.LineSize(0, first, size, eolSize);
    content.SetPos(first + size - eolSize);
    const int n = eolSize > 0 ? content.ReadBytes(eol, eolSize) : 1;

    work.progress.Begin("counting lines", content.Length());
    content.Reset();
    const bool there = SkipLines(work, edit.from - 1) == edit.from - 1;
    work.progress.End();
    if (!there) return Complain(work.name, "there is no line %d", edit.from - 1);
    const std::int32_t at = content.GetPos();
    unsigned char last = '\n';
    if (content.Eof() && at > 0) content.ReadPrevByte(last);
    const bool open = last != '\n' && last != '\r';
    return Told(work.name, work.space.Change(at, 0, edit.text.bytes, edit.text.length)) &&
           Told(work.name, work.space.Change(open ? at : at + edit.text.length, 0, eol, n));
}

bool DeleteLines(const Work& work, const Edit& edit) {
    std::int32_t from = 0, to = 0;
    const bool there = FindLines(work, edit, from, to);
    work.progress.End();
    return !there || Told(work.name, work.space.Change(from, edit.count == MaxLen ? MaxLen : to - from, nullptr, 0));
}
