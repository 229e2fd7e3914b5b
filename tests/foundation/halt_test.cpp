// Halts: the texts to the letter, the exchange of the procedure, the default procedure.
#include "foundation/halt.h"

#include "tests/support/halt_trap.h"

#include <csignal>
#include <gtest/gtest.h>

namespace {

std::string lastText;
int calls = 0;

void Keep(const char* text) {
    lastText = text;
    ++calls;
}

class Halts : public testing::Test {
  protected:
    void SetUp() override { InstallHaltProc(Keep); }
    void TearDown() override { DeinstallHaltProc(); }
};

TEST_F(Halts, FormsGiveTheirTextsAndComeBack) {
    const char* own = "as it is: %s %d";
    const std::pair<void (*)(const char*), std::string> rows[] = {
        {[](const char* s) { Halt(s); }, own},
        {[](const char*) { Halt("Mod", "msg"); }, "Mod: msg"},
        {[](const char*) { Halt("VMem", "CheckAdr", "illegal address (<0)"); },
         "VMem, CheckAdr():\nillegal address (<0)"},
        {[](const char*) { HaltA("VFile", 77); }, "VFile, line 77:\nAssertion failure"},
        {[](const char*) { HaltA("Mod", "Proc", -2147483647 - 1); },
         "Mod, Proc(), line -2147483648:\nAssertion failure"},
        {[](const char*) { Fatal("HSys", 3); }, "Fatal Error 3 in module HSys "}};
    for (const auto& [raise, text] : rows) {
        calls = 0;
        raise(own);
        EXPECT_EQ(text, lastText);
        EXPECT_EQ(1, calls);
    }
}

TEST_F(Halts, LongTextIsCutAt259BytesUnlessItIsTheHostsOwn) {
    const std::string longText(300, 'x');
    Halt("M", longText.c_str());
    EXPECT_EQ("M: " + std::string(256, 'x'), lastText);
    HaltA(longText.c_str(), longText.c_str(), 1);
    EXPECT_EQ(std::string(259, 'x'), lastText);
    Fatal(longText.c_str(), 1);
    EXPECT_EQ(259U, lastText.size());
    Halt(longText.c_str());
    EXPECT_EQ(longText, lastText);
}

// What a child writes to standard error while it runs `act`, and how it ends.
std::string StandardErrorOf(const std::function<void()>& act, int& status) {
    int ends[2];
    EXPECT_EQ(0, pipe(ends));
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGABRT, SIG_DFL);
        dup2(ends[1], STDERR_FILENO);
        act();
        _exit(0);
    }
    close(ends[1]);
    std::string text;
    char piece[512];
    for (ssize_t n; (n = read(ends[0], piece, sizeof piece)) > 0;) text.append(piece, static_cast<std::size_t>(n));
    close(ends[0]);
    waitpid(child, &status, 0);
    return text;
}

TEST_F(Halts, DefaultProcedureShowsTheWholeTextAndAborts) {
    const std::string longText(100000, 'y'); // more than a pipe takes at once
    const std::function<void()> backToDefault[] = {[] { DeinstallHaltProc(); },
                                                   [] {
                                                       InstallHaltProc([](const char*) {});
                                                       InstallHaltProc(Keep);
                                                       DeinstallHaltProc();
                                                   },
                                                   [] { InstallHaltProc(nullptr); }};
    for (const auto& prepare : backToDefault) {
        int status = 0;
        const auto act = [&] {
            prepare();
            Halt(longText.c_str());
        };
        EXPECT_EQ("Program halted\n" + longText + "\n", StandardErrorOf(act, status));
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
    }
}

} // namespace
