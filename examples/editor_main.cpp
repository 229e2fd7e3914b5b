// editor FILE: a small editor on a terminal, to start from. The content may be larger than the memory; lines are found
// by number, changes taken back by a history, files replaced as a whole.
//
//   keys --ReadKey--> Editor::Press --> ShownText ... PostChange: from where on the screen is out of date
//                                           |                               |
//                                           `---------> Screen::Draw <------'
// Without a terminal it takes its keys from standard input, and draws 24 lines of 80 columns all the same.
#include "editor.h"
#include "raw_terminal.h"
#include "vfile/vfile_std.h"

#include <algorithm>
#include <cstdio>

namespace {

class Screen {
  public:
    void Draw(Editor& editor);
    int Rows() const { return rows; } // for the text

  private:
    void AskSize();
    void DrawLine(Editor& editor, std::int32_t line);

    int rows = 0, columns = 0;
    std::int32_t top = 0, left = 0; // the first line and the first column that are shown
    std::string out;
};

void Screen::AskSize() {
    AskTerminalSize(rows, columns);
    --rows; // the last one is for the status
}

// Draws what has changed, or all if other lines or columns are to be seen.
void Screen::Draw(Editor& editor) {
    const int oldRows = rows, oldColumns = columns;
    const std::int32_t oldTop = top, oldLeft = left, cursor = editor.CursorLine(), column = editor.Column();
    AskSize();
    top = std::clamp(top, std::max(cursor - rows + 1, 0), cursor);
    left = std::max(column - columns + 1, 0);
    const bool all = rows != oldRows || columns != oldColumns || top != oldTop || left != oldLeft;
    const std::int32_t changed = editor.Text().OutOfDateFrom();
    std::int32_t first = top + rows; // nothing
    if (changed != MaxLen) first = editor.Text().LineOf(changed);
    if (all) first = top;
    out.clear();
    for (std::int32_t line = std::max(first, top); line < top + rows; ++line) DrawLine(editor, line);
    editor.Text().IsShown();
    out += "\033[" + std::to_string(rows + 1) + ";1H\033[K\033[7m" +
           editor.Status().substr(0, static_cast<std::size_t>(columns)) + "\033[m";
    out += "\033[" + std::to_string(cursor - top + 1) + ';' + std::to_string(column - left + 1) + 'H';
    std::fwrite(out.data(), 1, out.size(), stdout);
    std::fflush(stdout);
}

// A character takes one column here, a control character is shown as a blank.
void Screen::DrawLine(Editor& editor, std::int32_t line) {
    out += "\033[" + std::to_string(line - top + 1) +
           ";1H\033[K"; // emptied first: after a full row, its last column would go
    std::int32_t start, end, column = -1;
    editor.LineLimits(line, start, end);
    const vfile::Bytes bytes(editor.Text());
    for (std::int32_t at = start; at < end; ++at) {
        const char c = bytes[static_cast<std::size_t>(at)];
        if ((c & 0xC0) != 0x80 && ++column >= left + columns) break;
        if (column >= left) out += static_cast<unsigned char>(c) < ' ' || c == 127 ? ' ' : c;
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: editor FILE\n");
        return 2;
    }
    Editor editor(argv[1]);
    if (!editor.Load()) {
        std::fprintf(stderr, "%s: %s\n", argv[1], editor.Message().c_str());
        return 1;
    }
    EnterRawMode();
    Screen screen;
    int key = 0;
    do {
        screen.Draw(editor);
        key = ReadKey();
    } while (key >= 0 && editor.Press(key, screen.Rows()));
    std::printf("\033[%d;1H\n", screen.Rows() + 1);
    return 0;
}
