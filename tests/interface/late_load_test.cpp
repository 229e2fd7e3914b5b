// The library comes and goes while threads of the host are running.
#include "support/test.h"

#include <dlfcn.h>
#include <future>

namespace {

struct Module {
    ~Module() { dlclose(handle); }
    bool Does(const char* act) const { return reinterpret_cast<bool (*)(const char*)>(dlsym(handle, "Does"))(act); }
    void* const handle = dlopen(LATE_MODULE, RTLD_NOW | RTLD_LOCAL);
};

bool LibraryIsLoaded() {
    std::ifstream maps("/proc/self/maps");
    return std::string(std::istreambuf_iterator<char>(maps), {}).find("libvfile") != std::string::npos;
}

// Loads the library while another thread is there, which works with it and outlives it, in one process twice.
void LoadLate(bool settingUp, bool stopping) {
    for (int round = 0; round < 2; ++round) {
        std::promise<const Module*> given;
        std::promise<void> done, leave;
        std::thread older([&] {
            const Module& m = *given.get_future().get();
            EXPECT_FALSE(m.Does("ready") || m.Does("ready"));
            EXPECT_TRUE(!settingUp || (m.Does("start") && m.Does("ready")));
            EXPECT_TRUE(m.Does("work") && (!stopping || (m.Does("stop") && !m.Does("ready"))));
            done.set_value();
            leave.get_future().wait();
        });
        {
            const Module module;
            const auto works = [&] { EXPECT_TRUE(module.Does("ready") && module.Does("work")); };
            works();
            given.set_value(&module);
            done.get_future().wait();
            std::thread(works).join(); // a younger one
        }
        leave.set_value();
        older.join();
        EXPECT_FALSE(LibraryIsLoaded());
    }
    std::_Exit(testing::Test::HasFailure() ? 1 : 0); // words of a thread that did not stop are still on the heap
}

// As a host does whose modules go with a static object.
void UnloadWhileExiting() {
    static const auto* m = new Module;
    static std::promise<void> gone;
    static std::thread user;
    std::atexit([] { delete m, gone.set_value(), user.join(), std::_Exit(0); }); // its words are still on the heap
    std::promise<void> worked;
    user = std::thread([&] { m->Does("work"), worked.set_value(), gone.get_future().wait(); });
    worked.get_future().wait();
    std::exit(0);
}

TEST(LateLoad, OlderThreadsSetThemselvesUpOrHaltAndMayOutliveTheLibrary) {
    EXPECT_EXIT(LoadLate(false, false), testing::KilledBySignal(SIGABRT), "VFile, line [0-9]+:\nAssertion failure");
    for (const bool stopping : {false, true}) EXPECT_EXIT(LoadLate(true, stopping), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(UnloadWhileExiting(), testing::ExitedWithCode(0), "");
}

} // namespace
