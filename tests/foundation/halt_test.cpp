// Halts: the texts to the letter, the exchange of the procedure, the default procedure.
#include "foundation/halt.h"

#include <csignal>
#include <gtest/gtest.h>

TEST(Halts, FormsGiveTheirTextsAndComeBack) {
    static const std::string x(300, 'x');
    static std::string told;
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
    InstallHaltProc([](const char* text) { told += text; });
    for (const auto& [raise, text] : rows) {
        told.clear();
        raise();
        EXPECT_EQ(text, told);
    }
    DeinstallHaltProc();
}

TEST(Halts, DefaultProcedureShowsTheWholeTextAndAborts) {
    const std::string text(100000, 'y');
    const HaltProc silent = [](const char*) {};
    void (*const backToDefault[])(HaltProc) = {
        [](HaltProc) {}, [](HaltProc proc) { InstallHaltProc(proc), InstallHaltProc(proc), DeinstallHaltProc(); },
        [](HaltProc proc) { InstallHaltProc(proc), InstallHaltProc(nullptr); }};
    for (const auto prepare : backToDefault) {
        EXPECT_EXIT(signal(SIGABRT, SIG_DFL); prepare(silent); Halt(text.c_str()), testing::KilledBySignal(SIGABRT),
                                                               testing::Eq("Program halted\n" + text + "\n"));
    }
}
