// A file as a pager shows it: rows of text or of bytes, of which only those on the screen are read.
#pragma once

#include "vfedit_terminal.h"

#include <cstddef>
#include <cstdint>

// The bytes of a file, some of which are at hand.
class FileBytes {
  public:
    FileBytes() = default;
    ~FileBytes();
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;

    bool Open(const char* name); // false: told
    void LookForMore();          // a log may have grown
    std::int64_t Size() const { return size; }

    int At(std::int64_t at); // -1: there is none

    // Those from a place on, as many as are at hand, at least one of 64 KB unless the file ends before; 0 at its end.
    const unsigned char* Run(std::int64_t at, int& n);

  private:
    static constexpr int Room = 128 * 1024;
    int fd = -1;
    std::int64_t size = 0;
    std::int64_t base = 0; // of the bytes at hand
    int held = 0;
    unsigned char bytes[Room];
};

class Pager {
  public:
    bool Open(const char* fileName); // false: told
    void Draw(Report& screen);
    bool Press(int key); // false: the user is done

  private:
    bool EndsLine(std::int64_t at);
    std::int64_t LineStart(std::int64_t at);
    std::int64_t NextRow(std::int64_t at);
    std::int64_t PreviousRow(std::int64_t at);
    void Move(int by);
    void DrawRow(Report& screen, std::int64_t at, std::int64_t end);
    void DrawStatus(Report& screen);

    std::int64_t CountLines(std::int64_t from, std::int64_t to);
    std::int64_t LineNumber(); // of the top, -1: it would take too long to know
    void GoToLine(std::int64_t number);
    void GoToByte(std::int64_t at);
    void FindNext(bool backward);
    std::int64_t FindForward(const char* bytes, std::size_t n, std::int64_t from);
    std::int64_t FindBackward(const char* bytes, std::size_t n, std::int64_t before);
    void Answer(int key);
    bool Interrupted(std::int64_t& due, std::int64_t gone);

    const char* name = "";
    FileBytes file;
    int rows = 23, columns = 80; // for the text
    bool hex = false;
    std::int64_t top = 0;                  // where the first row begins
    std::int64_t known = 0, knownLine = 1; // a place and the line that it is in
    std::int64_t found = -1;               // where the last search has come to, if nothing has been done since
    int asking = 0;                        // '/', ':' or '@' while an answer is typed
    char answer[128] = "";
    char pattern[128] = "";
    const char* message = "";
};
