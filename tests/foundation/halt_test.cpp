// Halts: the texts to the letter, the exchange of the procedure, the default procedure.
#include "foundation/halt.h"

#include "tests/support/halt_trap.h"

#include <csignal>
#include <gtest/gtest.h>

namespace {

std::string lastText;

void Keep(const char* text) {
    lastText += text;
}

TEST(Halts, FormsGiveTheirTextsAndComeBack) {
    static const std::string x(300, 'x');
    const std::pair<void (*)(), std::string> rows[] = {
        {[] { Halt("as it is: %s %d"); }, "as it is: %s %d"},
        {[] { Halt("Mod", "msg"); }, "Mod: msg"},
        {[] { Halt("VMem", "CheckAdr", "illegal address (<0)"); }, "VMem, CheckAdr():\nillegal address (<0)"},
        {[] { HaltA("VFile", 77); }, "VFile, line 77:\nAssertion failure"},
        {[] { HaltA("Mod", "Proc", -2147483647 - 1); }, "Mod, Proc(), line -2147483648:\nAssertion failure"},
        {[] { Fatal("HSys", 3); }, "Fatal Error 3 in module HSys "},
        {[] { Halt(x.c_str()); }, x}, // the host's own text; what is made here is cut
        {[] { Halt("M", x.c_str()); }, "M: " + x.substr(0, 256)},
        {[] { HaltA(x.c_str(), x.c_str(), 1); }, x.substr(0, 259)},
        {[] { Fatal(x.c_str(), 1); }, "Fatal Error 1 in module " + x.substr(0, 235)}};
    InstallHaltProc(Keep);
    for (const auto& [raise, text] : rows) {
        lastText.clear();
        raise();
        EXPECT_EQ(text, lastText);
    }
    DeinstallHaltProc();
}

TEST(Halts, DefaultProcedureShowsTheWholeTextAndAborts) {
    const std::string longText(100000, 'y'); // more than a pipe takes at once
    const std::function<void()> backToDefault[] = {
        [] {}, [] { InstallHaltProc(Keep), InstallHaltProc(Keep), DeinstallHaltProc(); },
        [] { InstallHaltProc(Keep), InstallHaltProc(nullptr); }};
    for (const auto& prepare : backToDefault) {
        int ends[2], status = 0;
        ASSERT_EQ(0, pipe(ends));
        const pid_t child = fork();
        if (child == 0) {
            signal(SIGABRT, SIG_DFL);
            dup2(ends[1], STDERR_FILENO);
            prepare();
            Halt(longText.c_str());
            _exit(0);
        }
        close(ends[1]);
        std::string text;
        char piece[512];
        for (ssize_t n; (n = read(ends[0], piece, sizeof piece)) > 0;) text.append(piece, static_cast<std::size_t>(n));
        close(ends[0]);
        waitpid(child, &status, 0);
        EXPECT_EQ("Program halted\n" + longText + "\n", text);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
    }
}

} // namespace
