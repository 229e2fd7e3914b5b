// Find and replace.
#include "vfedit_search.h"

#include "vfedit_json.h"
#include "vfedit_lines.h"
#include "vfedit_regex.h"
#include "vfile/vfile_view.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <optional>

namespace {

constexpr int WindowFirst = 256 * 1024;

struct Match {
    std::int32_t at = 0;
    std::int32_t length = 0;
};

// Goes from match to match in a part of the content, of a text or of a regular expression. What has been put in for a
// match is not looked through again.
class Matches {
  public:
    Matches(const Work& work, const Edit& e, std::int32_t from, std::int32_t to)
        : content(work.content), edit(e), next(from), end(to), all(from == 0 && to == content.Length()) {
        if (edit.pattern)
            regex.emplace(work.name, content, *edit.pattern, from, to,
                          std::min(WindowFirst, work.line.matchMostKb * 1024), work.line.matchMostKb * 1024);
    }

    // False if there is none, or if it failed.
    bool Next(Match& match) {
        if (regex) return regex->Next(match.at, match.length);
        match.at = NextText(next);
        match.length = edit.text.length;
        next = match.at + match.length;
        return match.at >= 0;
    }

    bool Failed() const { return regex && regex->Failed(); }

    // What the last match is to be replaced by. False: told.
    bool Expand(const char*& bytes, int& length) {
        bytes = edit.replacement.bytes;
        length = edit.replacement.length;
        return !regex || regex->Expand(edit.replacement, bytes, length);
    }

    // It has been.
    void Grown(std::int32_t bytes) {
        if (regex) regex->Grown(bytes);
        next += bytes;
        end += bytes;
    }

  private:
    std::int32_t NextText(std::int32_t from) const;

    VFile& content;
    const Edit& edit;
    std::int32_t next;
    std::int32_t end;
    bool all;
    std::optional<RegexSearch> regex;
};

// VFile::Find knows no zero bytes and no end, the search of a view no words.
std::int32_t Matches::NextText(std::int32_t from) const {
    const Text& text = edit.text;
    if (all && !std::memchr(text.bytes, '\0', static_cast<std::size_t>(text.length)))
        return content.Find(from, text.bytes, edit.ignoreCase, edit.wholeWord) ? from - text.length : -1;
    VFileView view(content);
    const auto wordByte = [&view](std::int32_t at) {
        unsigned char c;
        return at >= 0 && view.Read(at, &c, 1) == 1 && std::isalnum(c) != 0;
    };
    for (;;) {
        const std::int32_t at = view.Find(text.bytes, text.length, from, end, edit.ignoreCase);
        if (at < 0 || !edit.wholeWord) return at;
        from = at + text.length;
        if (!wordByte(at - 1) && !wordByte(from)) return at;
    }
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

// As grep does where there are several files.
void PrintName(const Work& work) {
    if (work.line.fileCount < 2) return;
    work.report.Put(work.name, std::strlen(work.name));
    work.report.Put(":", 1);
}

// The bytes of a match as they are, or as characters of a string.
void PrintText(const Work& work, const Match& match) {
    if (!work.line.json) return Print(work, match.at, match.at + match.length);
    ForEachPiece(work, match.at, match.at + match.length, [&work](int n) {
        JsonCharacters(work.report, piece, static_cast<std::size_t>(n));
        return !work.report.Failed();
    });
}

void PrintMatch(const Work& work, const Edit& edit, const Match& match, LineFollower& lines) {
    Report& report = work.report;
    if (!work.line.json) PrintName(work);
    if (edit.textOnly && !work.line.json) {
        PrintText(work, match);
        report.Put("\n", 1);
        return;
    }
    lines.GoTo(match.at);
    const std::int32_t column = match.at - lines.start + 1;
    if (!work.line.json) return report.Print("%d %d:%d\n", match.at, lines.number, column);
    JsonBegin(report, work.name, edit.word);
    report.Print(",\"position\":%d,\"line\":%d,\"column\":%d,\"length\":%d", match.at, lines.number, column,
                 match.length);
    if (edit.textOnly) {
        report.Put(",\"text\":\"", 9);
        PrintText(work, match);
        report.Put("\"", 1);
    }
    report.Put("}\n", 2);
}

// Instead of each match.
void PrintOutcome(const Work& work, const Edit& edit, std::int64_t matches) {
    const auto count = static_cast<long long>(matches);
    if (edit.nameOnly && matches == 0) return;
    if (work.line.json) {
        JsonBegin(work.report, work.name, edit.word);
        if (!edit.nameOnly) work.report.Print(",\"count\":%lld", count);
        work.report.Put("}\n", 2);
    } else if (edit.nameOnly) {
        work.report.Put(work.name, std::strlen(work.name));
        work.report.Put("\n", 1);
    } else {
        PrintName(work);
        work.report.Print("%lld\n", count);
    }
}

} // namespace

bool Replace(const Work& work, const Edit& edit, Done& done) {
    std::int32_t from = 0, to = 0;
    if (!FindRange(work, edit, from, to)) return true;
    work.progress.Begin("replacing", to);
    Matches matches(work, edit, from, to);
    for (Match match; done.matches < edit.count && matches.Next(match);) {
        const char* bytes = nullptr;
        int length = 0;
        if (!matches.Expand(bytes, length)) return false;
        const Res res = work.space.Change(match.at, match.length, bytes, length);
        if (res != resDone) return Complain(work.name, res);
        matches.Grown(length - match.length);
        done.Count(match.at);
        work.progress.At(match.at);
    }
    work.progress.End();
    return !matches.Failed();
}

bool Find(const Work& work, const Edit& edit, Done& done) {
    std::int32_t from = 0, to = 0;
    if (!FindRange(work, edit, from, to)) return true;
    work.progress.Begin("searching", to);
    Matches matches(work, edit, from, to);
    LineFollower lines(work.content);
    const bool every = !edit.countOnly && !edit.nameOnly;
    for (Match match; !work.report.Failed() && !(edit.nameOnly && done.matches > 0) && matches.Next(match);) {
        if (every && !(edit.textOnly && match.length == 0)) PrintMatch(work, edit, match, lines);
        done.Count(match.at);
        work.progress.At(match.at);
    }
    if (!every) PrintOutcome(work, edit, done.matches);
    work.progress.End();
    return !matches.Failed();
}
