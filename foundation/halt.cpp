// Halts: the texts, and the procedure that takes them.
#include "foundation/halt.h"

#include "platform/message.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace platform = vfile_internal::platform;

namespace {

constexpr std::size_t TextSize = 260; // of a halt's text, terminator included

void ShowAndAbort(const char* text) {
    platform::ShowMessage("Program halted", text);
    std::abort();
}

std::atomic<HaltProc> currentProc{ShowAndAbort};

} // namespace

void Halt(const char* msg) {
    currentProc.load(std::memory_order_acquire)(msg);
}

// snprintf cuts a text that is too long, and the library's own are far shorter.

void Halt(const char* module, const char* msg) {
    char text[TextSize];
    std::snprintf(text, sizeof text, "%s: %s", module, msg);
    Halt(text);
}

void Halt(const char* module, const char* proc, const char* msg) {
    char text[TextSize];
    std::snprintf(text, sizeof text, "%s, %s():\n%s", module, proc, msg);
    Halt(text);
}

void HaltA(const char* module, std::int32_t line) {
    char text[TextSize];
    std::snprintf(text, sizeof text, "%s, line %d:\nAssertion failure", module, line);
    Halt(text);
}

void HaltA(const char* module, const char* proc, std::int32_t line) {
    char text[TextSize];
    std::snprintf(text, sizeof text, "%s, %s(), line %d:\nAssertion failure", module, proc, line);
    Halt(text);
}

void Fatal(const char* module, std::int32_t code) {
    char text[TextSize];
    std::snprintf(text, sizeof text, "Fatal Error %d in module %s ", code, module);
    Halt(text);
}

void InstallHaltProc(HaltProc proc) {
    currentProc.store(proc ? proc : ShowAndAbort, std::memory_order_release);
}

void DeinstallHaltProc() {
    currentProc.store(ShowAndAbort, std::memory_order_release);
}
