// The core of an editor for text on a terminal: keys in, changes of a content out. It knows no terminal.
#pragma once

#include "hostfile/hfilesave.h"
#include "vfile/vfile.h"
#include "vfile/vfile_history.h"

#include <string>

// Knows from where on the screen is out of date, whatever operation changed the content: a key, undo, a load.
class ShownText : public VFile {
  public:
    std::int32_t OutOfDateFrom() const { return changedFrom; } // a position; MaxLen: nothing has changed
    void IsShown() { changedFrom = MaxLen; }

  protected:
    void PostChange(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) override;

  private:
    std::int32_t changedFrom = MaxLen;
};

// The cursor is the position of the text, which undo and redo take along; whatever moves it otherwise puts it back.
class Editor {
  public:
    explicit Editor(const char* fileName) : name(fileName), history(text) {}

    bool Load();                   // a file that is missing is a new one
    bool Press(int key, int page); // moves by a page go so many lines; false: the user is done

    ShownText& Text() { return text; }
    std::int32_t CursorLine() { return text.LineOf(text.GetPos()); }
    std::int32_t Column();                                                      // of the cursor, in characters
    void LineLimits(std::int32_t line, std::int32_t& start, std::int32_t& end); // without its line end
    std::string Status();
    const std::string& Message() const { return message; }

  private:
    bool Move(int key, int page);
    void MoveToLine(std::int32_t line);
    void Step(bool forward);
    void Type(int key);
    void Erase(bool forward);
    void Answer(int key);
    void FindNext();
    void Save();
    void Tell(Res res);

    const char* name;
    ShownText text;
    VFileHistory history;
    HFileStamp stamp{};
    bool crLf = false;
    bool moving = false;   // the last key went up or down: the column that it began in is `goal`
    std::int32_t goal = 0; // a column
    int asking = 0;        // Ctrl('F') or Ctrl('G') while the user types an answer
    int insisted = 0;      // what a warning was given for: the same key again does it
    std::string answer, pattern, message;
};
