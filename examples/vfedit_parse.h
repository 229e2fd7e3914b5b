// How the words of a command line are read. For the sources that read them.
#pragma once

#include "vfedit_args.h"

#include <cstddef>

// Walks along words.
class Reader {
  public:
    Reader(int n, char** words) : count(n), args(words) {}
    bool AtEnd() const { return next >= count; }
    const char* Peek() const { return args[next]; }
    char* Take() { return args[next++]; }
    char** Rest() { return args + next; }
    int RestCount() const { return count - next; }

  private:
    int count;
    char** args;
    int next = 0;
};

// Tells what is wrong, and how help is to be had.
__attribute__((format(printf, 1, 2))) Parsed Wrong(const char* format, ...);

bool Is(const char* s, const char* word);

// The library takes '\\' for a separator, and what vfedit itself asks of the system has to mean the same file.
const char* FileName(char* s);

// True if `arg` is the option `name`, by itself or as "NAME=VALUE"; its value, or the next word, or null.
bool IsOption(char* arg, const char* name, Reader& reader, char*& value);

// The same as "-o OUT" or "-oOUT".
bool IsShortOption(char* arg, const char* name, Reader& reader, char*& value);

// Puts the edits of a script after the others. What is wrong is told, with its line.
Parsed ParseScript(const char* name, CommandLine& line);

// Room for so many edits more. False: told.
bool MakeRoom(CommandLine& line, std::size_t more);

// One edit, its name first, is read and put after the others.
Parsed ParseEdit(Reader& reader, CommandLine& line);

// An option that is about the edit before it. False if `arg`, taken from the reader just now, is none.
bool ParseOptionBehind(char* arg, Reader& reader, CommandLine& line, Parsed& parsed);
