// The edits of vfedit.
#include "vfedit_edits.h"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int PieceBytes = 64 * 1024; // of one transfer
unsigned char piece[PieceBytes];

// Replacing by something longer splits full blocks, in the worst case each into a full one and a nearly empty one,
// which doubles the space that the content takes. So what has been passed is written anew over itself, into full
// blocks, when there were many matches in it. Few in a long stretch cost less than the writing would.
constexpr int MatchesUntilPack = 256;
constexpr std::int32_t DenseStretch = MatchesUntilPack * 8 * BlkSize;
constexpr std::int32_t RoomyContent = ContentMax / 8 * 7; // an eighth more blocks still fit

bool TooLong(const VFile& content, std::int64_t more) {
    return content.Length() + more > ContentMax;
}

bool ChangeDone(const VFile& content, const std::string& name) {
    return content.res == resDone || Complain(name, content.res);
}

// Goes over [from, to) and hands each piece to `use`, which returns false to stop.
template <typename Use>
bool ForEachPiece(VFile& content, Progress& progress, std::int32_t from, std::int32_t to, Use use) {
    content.SetPos(from);
    for (std::int32_t at = from; at < to;) {
        const int n = content.ReadBytes(piece, std::min(PieceBytes, to - at));
        if (n == 0 || !use(at, n)) return false;
        at += n;
        progress.At(at);
    }
    return true;
}

void Pack(VFile& content, std::int32_t from, std::int32_t to) {
    for (std::int32_t at = from; at < to;) {
        content.SetPos(at);
        const int n = content.ReadBytes(piece, std::min(PieceBytes, to - at));
        content.ReplaceBuf(at, n, piece, n);
        at += n;
    }
}

bool Replace(VFile& content, Progress& progress, const Edit& edit, const std::string& name, Done& done) {
    const auto oldLen = static_cast<std::int32_t>(edit.text.size());
    const auto newLen = static_cast<std::int32_t>(edit.replacement.size());
    progress.Begin("replacing", content.Length());
    std::int32_t at = 0;
    std::int32_t packFrom = 0;
    int unpacked = 0;
    while (content.Find(at, edit.text.c_str(), edit.ignoreCase, edit.wholeWord)) {
        if (TooLong(content, std::int64_t{newLen} - oldLen)) return Complain(name, resTooLong);
        const std::int32_t start = at - oldLen;
        content.ReplaceBuf(start, oldLen, edit.replacement.data(), newLen);
        at = content.GetPos();
        if (unpacked == 0) packFrom = start;
        if (newLen > oldLen && ++unpacked == MatchesUntilPack) {
            if (at - packFrom <= DenseStretch || content.Length() > RoomyContent) Pack(content, packFrom, at);
            unpacked = 0;
        }
        if (!ChangeDone(content, name)) return false;
        progress.At(at);
        ++done.matches;
    }
    progress.End();
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

bool Find(VFile& content, Progress& progress, const Edit& edit, std::FILE* out, Done& done) {
    const auto n = static_cast<std::int32_t>(edit.text.size());
    progress.Begin("searching", content.Length());
    LineFollower lines(content);
    std::int32_t at = 0;
    while (content.Find(at, edit.text.c_str(), edit.ignoreCase, edit.wholeWord)) {
        const std::int32_t start = at - n;
        lines.GoTo(start);
        std::fprintf(out, "%d %d:%d\n", start, lines.number, start - lines.start + 1);
        progress.At(at);
        ++done.matches;
    }
    progress.End();
    return true;
}

// Goes behind `count` lines from where the content stands, which is a line start. False if it has fewer.
bool SkipLines(VFile& content, Progress& progress, std::int32_t count) {
    char none[1];
    for (std::int32_t i = 0; i < count; ++i) {
        if (content.Eof()) return false;
        content.ReadLine(none, sizeof none);
        progress.At(content.GetPos());
    }
    return true;
}

bool PrintLine(VFile& content, Progress& progress, std::int32_t number, const std::string& name, std::FILE* out) {
    progress.Begin("counting lines", content.Length());
    content.Reset();
    // A line end at the end of the content begins no line.
    if (!SkipLines(content, progress, number - 1) || content.Eof())
        return Complain(name, "there is no line " + std::to_string(number));
    std::int32_t start = 0, size = 0, eolSize = 0;
    content.LineSize(content.GetPos(), start, size, eolSize);
    ForEachPiece(content, progress, start, start + size - eolSize, [out](std::int32_t, int n) {
        return std::fwrite(piece, 1, static_cast<std::size_t>(n), out) == static_cast<std::size_t>(n);
    });
    std::fputc('\n', out);
    progress.End();
    return true;
}

bool DeleteLines(VFile& content, Progress& progress, const Edit& edit, const std::string& name) {
    progress.Begin("counting lines", content.Length());
    content.Reset();
    if (SkipLines(content, progress, edit.from - 1)) {
        const std::int32_t start = content.GetPos();
        if (edit.count == MaxLen || !SkipLines(content, progress, edit.count)) content.SetPos(MaxLen);
        content.Delete(start, content.GetPos() - start);
    }
    progress.End();
    return ChangeDone(content, name);
}

bool Stats(VFile& content, Progress& progress, std::FILE* out) {
    std::int64_t lf = 0, crLf = 0, cr = 0;
    std::int64_t longest = 0, lineBytes = 0;
    bool afterCr = false;
    const auto endLine = [&] {
        longest = std::max(longest, lineBytes);
        lineBytes = 0;
    };
    progress.Begin("counting", content.Length());
    ForEachPiece(content, progress, 0, content.Length(), [&](std::int32_t, int n) {
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
    progress.End();
    const std::int64_t open = lineBytes > 0 ? 1 : 0; // a last line without a line end
    endLine();
    std::fprintf(out, "bytes: %d\nlines: %lld\nLF: %lld\nCR LF: %lld\nCR: %lld\nlongest line: %lld\n", content.Length(),
                 static_cast<long long>(lf + crLf + cr + open), static_cast<long long>(lf),
                 static_cast<long long>(crLf), static_cast<long long>(cr), static_cast<long long>(longest));
    return true;
}

bool InsertNamedFile(VFile& content, Progress& progress, const Edit& edit) {
    HFile f;
    return OpenInput(f, edit.text) && InsertFile(content, progress, edit.from, f, edit.text, "inserting");
}

} // namespace

bool OpenInput(HFile& f, const std::string& name) {
    if (name == "-") {
        f.handle = HandleOf(dup(STDIN_FILENO)); // a copy, because the object closes what it has
        return f.IsOpen() || ComplainErrno("standard input", errno);
    }
    return f.OpenSeqRead(name.c_str()) || Complain(name, f.res);
}

bool InsertFile(VFile& content, Progress& progress, std::int32_t pos, HFile& f, const std::string& name,
                const char* verb) {
    struct stat st;
    const bool sized = fstat(DescriptorOf(f.handle), &st) == 0 && S_ISREG(st.st_mode);
    if (sized && TooLong(content, st.st_size)) return Complain(name, resTooLong);
    progress.Begin(verb, sized ? st.st_size : -1);
    std::int64_t total = 0;
    content.SetPos(pos);
    for (;;) {
        const int n = f.ReadBytes(piece, PieceBytes);
        if (f.res != resDone) return Complain(name, f.res);
        if (n == 0) break;
        if (TooLong(content, n)) return Complain(name, resTooLong); // a pipe, or a file that grows
        content.InsertBytes(piece, n);
        if (!ChangeDone(content, name)) return false;
        total += n;
        progress.At(total);
    }
    progress.End();
    return true;
}

bool DoEdit(VFile& content, Progress& progress, const Edit& edit, const std::string& name, std::FILE* out, Done& done) {
    const auto textLen = static_cast<int>(edit.text.size());
    switch (edit.kind) {
    case EditKind::Insert:
    case EditKind::Append:
        if (TooLong(content, textLen)) return Complain(name, resTooLong);
        content.SetPos(edit.kind == EditKind::Insert ? edit.from : content.Length());
        content.InsertBytes(edit.text.data(), textLen);
        return ChangeDone(content, name);
    case EditKind::Overwrite:
        if (TooLong(content, std::int64_t{std::min(edit.from, content.Length())} + textLen - content.Length()))
            return Complain(name, resTooLong);
        content.SetPos(edit.from);
        content.ReplaceBytes(edit.text.data(), textLen);
        return ChangeDone(content, name);
    case EditKind::Delete:
        content.Delete(edit.from, edit.count);
        return ChangeDone(content, name);
    case EditKind::InsertFile:
        return InsertNamedFile(content, progress, edit);
    case EditKind::Replace:
        return Replace(content, progress, edit, name, done);
    case EditKind::Find:
        return Find(content, progress, edit, out, done);
    case EditKind::Line:
        return PrintLine(content, progress, edit.from, name, out);
    case EditKind::DeleteLines:
        return DeleteLines(content, progress, edit, name);
    case EditKind::Stats:
        return Stats(content, progress, out);
    }
    return false;
}
