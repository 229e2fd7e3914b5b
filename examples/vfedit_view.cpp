// A pager on a terminal. Without one it takes its keys from standard input, and draws 24 rows of 80 columns all the
// same.
#include "vfedit_view.h"

#include "raw_terminal.h"
#include "vfedit_pager.h"

#include <cstring>
#include <unistd.h>

namespace {

void Send(Report& screen, const char* words) {
    screen.Put(words, std::strlen(words));
}

} // namespace

int View(const char* name) {
    static Pager pager;
    Report screen(STDOUT_FILENO);
    if (!pager.Open(name)) return 1;
    EnterRawMode();
    Send(screen, "\033[?1049h\033[?7l"); // a screen of its own, whose rows end at its edge
    int key = 0;
    do {
        pager.Draw(screen);
        if (!screen.Deliver()) return 1;
        key = ReadKey();
    } while (key >= 0 && pager.Press(key));
    Send(screen, "\033[?7h\033[?1049l");
    return screen.Deliver() ? 0 : 1;
}
