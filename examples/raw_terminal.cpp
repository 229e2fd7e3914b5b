// A terminal that hands over key by key.
#include "raw_terminal.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

termios cooked; // how the terminal was

// Also when the library halts: that ends in an exit.
void LeaveRawMode() {
    tcsetattr(STDIN_FILENO, TCSANOW, &cooked);
}

void EndBySignal(int number) {
    LeaveRawMode();
    std::signal(number, SIG_DFL);
    std::raise(number);
}

int NextByte() { // -1: no more
    unsigned char c;
    return read(STDIN_FILENO, &c, 1) == 1 ? c : -1;
}

bool InputWithin(int milliseconds) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, milliseconds) == 1;
}

} // namespace

void EnterRawMode() {
    if (tcgetattr(STDIN_FILENO, &cooked) != 0) return;
    std::atexit(LeaveRawMode);
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
        if (std::signal(number, EndBySignal) == SIG_IGN) std::signal(number, SIG_IGN); // nohup
    }
    termios raw = cooked;
    cfmakeraw(&raw);
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
}

// What terminals send for the keys without a character: ESC [ A, ESC O A, ESC [ 5 ~. Others of the kind do nothing.
int ReadKey() {
    const int c = NextByte();
    if (c != '\033' || !InputWithin(50)) return c;
    NextByte();
    const int first = NextByte();
    for (int last = first; last >= 0 && last < '@';) last = NextByte();
    const char* const known = "ABDCHF563"; // from KeyUp on
    const char* const found = first > 0 ? std::strchr(known, first) : nullptr;
    return found ? KeyUp + static_cast<int>(found - known) : '\033';
}

bool KeyWaits() {
    return isatty(STDIN_FILENO) && InputWithin(0);
}

void AskTerminalSize(int& rows, int& columns) {
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 1 && size.ws_col > 0;
    rows = known ? size.ws_row : 24;
    columns = known ? size.ws_col : 80;
}
