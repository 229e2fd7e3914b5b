// A terminal that hands over key by key, for programs that draw their own screen.
#pragma once

// A key is a byte as it is typed, or one of these.
constexpr int KeyUp = 256, KeyDown = 257, KeyLeft = 258, KeyRight = 259, KeyHome = 260, KeyEnd = 261;
constexpr int KeyPageUp = 262, KeyPageDown = 263, KeyDelete = 264, KeyBackspace = 127, KeyEnter = 13;
constexpr int Ctrl(char c) {
    return c & 0x1F;
}

// Keys come one by one, as bytes, and mean nothing to the system, until the process exits. Does nothing where standard
// input is no terminal.
void EnterRawMode();

// The next key; -1: there are no more.
int ReadKey();

// A key is waiting at the terminal.
bool KeyWaits();

// 24 rows of 80 columns without a terminal.
void AskTerminalSize(int& rows, int& columns);
