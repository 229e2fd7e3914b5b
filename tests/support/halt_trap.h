// Runs something that should halt, in a child process, and brings the halt's text home.
#pragma once

#include "foundation/halt.h"

#include <cstdio>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace halt_trap {

inline int pipeEnd = -1;

inline void SendHome(const char* text) {
    const ssize_t sent = write(pipeEnd, text, std::char_traits<char>::length(text));
    _exit(sent >= 0 ? 0 : 1);
}

// The text that `act` halts with; "no halt" if it comes back, "died" if it ends in any other way. Objects that the act
// uses must be made inside it: those of the parent are only copies in the child.
inline std::string TextOf(const std::function<void()>& act) {
    int ends[2];
    if (pipe(ends) != 0) return "no pipe";
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        pipeEnd = ends[1];
        InstallHaltProc(SendHome);
        act();
        _exit(42);
    }
    close(ends[1]);
    std::string text;
    char piece[512];
    for (ssize_t n; (n = read(ends[0], piece, sizeof piece)) > 0;) text.append(piece, static_cast<std::size_t>(n));
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 42) return "no halt";
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return "died";
    return text;
}

inline bool IsAssertion(const std::string& text, const std::string& module) {
    int line = 0;
    const int read = std::sscanf(text.c_str(), (module + ", line %d").c_str(), &line);
    return read == 1 && text == module + ", line " + std::to_string(line) + ":\nAssertion failure";
}

} // namespace halt_trap

// Expects a halt whose text is exactly `text`.
#define EXPECT_HALT(text, ...) EXPECT_EQ(std::string(text), halt_trap::TextOf([&] { __VA_ARGS__; }))

// Expects an assertion halt of `module` ("VFile, line <n>:..."), whatever its line.
#define EXPECT_ASSERT_HALT(module, ...)                                                                                \
    EXPECT_TRUE(halt_trap::IsAssertion(halt_trap::TextOf([&] { __VA_ARGS__; }), module))
