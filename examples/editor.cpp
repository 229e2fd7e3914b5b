// The core of the editor: what each key does to the content.
#include "editor.h"

#include "raw_terminal.h"
#include "vfile/vfile_std.h"

#include <algorithm>
#include <cstdlib>

namespace {

bool IsContinuation(char c) { // of a character in UTF-8
    return (c & 0xC0) == 0x80;
}

} // namespace

void ShownText::PostChange(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) {
    changedFrom = std::min(changedFrom, at);
    VFile::PostChange(at, oldLen, newLen);
}

bool Editor::Load() {
    text.LoadInPlace(name, 1, &stamp); // a gigabyte at once
    const Res res = text.res;
    std::int32_t start = 0, size = 0, eol = 0;
    text.LineSize(0, start, size, eol);
    crLf = eol == 2;
    text.Reset();
    history.Clear(); // the loading is nothing to undo
    history.MarkSaved();
    Tell(res);
    if (res == resNotFound) message = "a new file";
    return res == resDone || res == resNotFound;
}

bool Editor::Press(int key, int page) {
    const bool again = insisted == key;
    message.clear();
    if (asking) {
        Answer(key);
        return true;
    }
    if (key == Ctrl('Q') && !again && !history.IsSaved()) {
        message = "not saved: ^Q again to leave";
        insisted = key;
        return true;
    }
    if (key == Ctrl('Q')) return false;
    if (Move(key, page)) {
        history.EndStep();
    } else if (key == Ctrl('S')) {
        Save(); // it may want the key once more
        return true;
    } else if (key == Ctrl('F') || key == Ctrl('G')) {
        asking = key;
        answer.clear();
    } else if (key == Ctrl('N')) {
        FindNext();
    } else if (key == Ctrl('Z') || key == Ctrl('Y')) {
        if (!(key == Ctrl('Z') ? history.Undo() : history.Redo()) && history.res == resDone) message = "no more";
        Tell(history.res);
    } else if (key == KeyBackspace || key == Ctrl('H') || key == KeyDelete) {
        Erase(key == KeyDelete);
    } else {
        Type(key);
    }
    insisted = 0;
    return true;
}

bool Editor::Move(int key, int page) {
    const bool vertical = key == KeyUp || key == KeyDown || key == KeyPageUp || key == KeyPageDown;
    if (vertical && !moving) goal = Column();
    moving = vertical;
    const std::int32_t line = CursorLine();
    std::int32_t start, end;
    LineLimits(line, start, end);
    switch (key) {
    case KeyUp:
        MoveToLine(line - 1);
        return true;
    case KeyDown:
        MoveToLine(line + 1);
        return true;
    case KeyPageUp:
        MoveToLine(line - page);
        return true;
    case KeyPageDown:
        MoveToLine(std::min(line, MaxLen - page) + page);
        return true;
    case KeyHome:
        text.SetPos(start);
        return true;
    case KeyEnd:
        text.SetPos(end);
        return true;
    case KeyLeft:
        Step(false);
        return true;
    case KeyRight:
        Step(true);
        return true;
    default:
        return false;
    }
}

// To the column `goal` of the line, or to its end.
void Editor::MoveToLine(std::int32_t line) {
    std::int32_t start, end;
    LineLimits(std::clamp(line, 0, text.LineCount() - 1), start, end);
    text.SetPos(start);
    for (std::int32_t column = 0; column < goal && text.GetPos() < end; ++column) Step(true);
}

// One character on or back. A line end is one, of whatever bytes it is.
void Editor::Step(bool forward) {
    const std::int32_t line = CursorLine(), at = text.GetPos();
    std::int32_t start, end;
    LineLimits(line, start, end);
    if (forward && at >= end) return text.SetPos(text.LineAt(line + 1));
    if (!forward && at == start) {
        LineLimits(std::max(line - 1, 0), start, end);
        return text.SetPos(line > 0 ? end : 0);
    }
    unsigned char c;
    do {
        if (forward)
            text.SetPos(text.GetPos() + 1);
        else
            text.ReadPrevByte(c);
    } while (text.GetPos() > start && text.GetPos() < end &&
             IsContinuation(vfile::ToString(text, text.GetPos(), 1)[0]));
}

void Editor::Type(int key) {
    if (key == KeyEnter || key == '\n')
        text.Insert(crLf ? "\r\n" : "\n");
    else if ((key >= ' ' && key <= 255) || key == '\t')
        text.InsertByte(static_cast<unsigned char>(key));
    Tell(text.res);
}

void Editor::Erase(bool forward) {
    const std::int32_t from = text.GetPos();
    Step(forward);
    const std::int32_t to = text.GetPos();
    text.Delete(std::min(from, to), std::abs(to - from));
    Tell(text.res);
}

void Editor::Answer(int key) {
    if (key == KeyBackspace || key == Ctrl('H')) {
        if (!answer.empty()) answer.pop_back();
    } else if (key == KeyEnter || key == '\n') {
        const int what = asking;
        asking = 0;
        goal = 0;
        if (what == Ctrl('G')) return MoveToLine(std::max(std::atoi(answer.c_str()), 1) - 1);
        if (!answer.empty()) pattern = answer;
        FindNext();
    } else if (key >= ' ' && key <= 255) {
        answer += static_cast<char>(key);
    } else {
        asking = 0; // any other key gives it up
    }
}

// Goes on from the start after the last one. The cursor comes to stand after the match, where the next search begins.
void Editor::FindNext() {
    std::int32_t at = vfile::Find(text, pattern, text.GetPos());
    if (at < 0) at = vfile::Find(text, pattern);
    if (at < 0 || pattern.empty())
        message = "not found";
    else
        text.SetPos(at + static_cast<std::int32_t>(pattern.size()));
}

void Editor::Save() {
    const std::int32_t cursor = text.GetPos();
    text.SaveSafely(name, insisted == Ctrl('S') ? hsForce : 0, &stamp);
    const Res res = text.res;
    text.SetPos(cursor);
    insisted = res == resContextError ? Ctrl('S') : 0;
    Tell(res);
    if (res == resContextError) message = "somebody else has changed the file: ^S again to replace it";
    if (res != resDone) return;
    history.MarkSaved();
    message = "saved";
}

// Shows a failure, and clears it: the next key is another try.
void Editor::Tell(Res res) {
    if (res == resDone) return;
    char words[64];
    GetTextResMsg(words, sizeof words, res);
    message = words;
    text.SetPos(text.GetPos());
}

void Editor::LineLimits(std::int32_t line, std::int32_t& start, std::int32_t& end) {
    start = text.LineAt(line);
    end = text.LineAt(line + 1);
    const std::string last = vfile::ToString(text, std::max(end - 2, start), 2);
    if (line + 1 < text.LineCount()) end -= last == "\r\n" ? 2 : 1;
}

std::int32_t Editor::Column() {
    const std::int32_t start = text.LineAt(CursorLine());
    std::int32_t column = 0;
    VFileView(text).Visit(start, text.GetPos() - start, [&column](const unsigned char* bytes, std::int32_t n) {
        for (std::int32_t i = 0; i < n; ++i) column += !IsContinuation(static_cast<char>(bytes[i]));
        return true;
    });
    return column;
}

std::string Editor::Status() {
    if (asking) return (asking == Ctrl('F') ? "find: " : "line: ") + answer;
    const std::string place = std::to_string(CursorLine() + 1) + '/' + std::to_string(text.LineCount());
    return std::string(history.IsSaved() ? "  " : "* ") + name + "  " + place + "  " +
           (message.empty() ? "^S save ^Q leave ^F find ^N next ^G line ^Z undo ^Y redo" : message);
}
