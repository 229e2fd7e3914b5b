// The library comes and goes while threads of the host are running.
#include <csignal>
#include <dlfcn.h>
#include <fstream>
#include <functional>
#include <future>
#include <gtest/gtest.h>

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

// A thread that waits for the module, does one thing with it, and ends when it is let go.
class Waiting {
  public:
    explicit Waiting(std::function<void(const Module&)> act)
        : thread([this, act] {
              act(*given.get_future().get());
              done.set_value();
              leave.get_future().wait();
          }) {}
    ~Waiting() {
        leave.set_value();
        thread.join();
    }
    void Do(const Module& module) {
        given.set_value(&module);
        done.get_future().wait();
    }

  private:
    std::promise<const Module*> given;
    std::promise<void> done, leave;
    std::thread thread;
};

TEST(LateLoad, OlderThreadsSetThemselvesUpAndYoungerAreServed) {
    for (int round = 0; round < 2; ++round) {
        Waiting older([](const Module& m) {
            EXPECT_FALSE(m.Does("ready") || m.Does("ready"));
            EXPECT_TRUE(m.Does("start") && m.Does("ready") && m.Does("work") && m.Does("stop") && !m.Does("ready"));
        });
        {
            const Module module;
            EXPECT_TRUE(module.Does("ready") && module.Does("work")); // the loading thread
            older.Do(module);
            Waiting younger([](const Module& m) { EXPECT_TRUE(m.Does("ready") && m.Does("work")); });
            younger.Do(module);
        }
        EXPECT_FALSE(LibraryIsLoaded());
    }
}

// An older thread does that and ends when the library is gone. In a child, since its words stay behind on the heap.
void Outlives(bool settingUp) {
    {
        Waiting older([=](const Module& module) { (!settingUp || module.Does("start")) && module.Does("work"); });
        const Module module;
        older.Do(module);
    }
    std::_Exit(LibraryIsLoaded() ? 1 : 0);
}

TEST(LateLoad, OlderThreadHaltsIfItDoesNotSetItselfUpAndElseMayOutliveTheLibrary) {
    EXPECT_EXIT(Outlives(false), testing::KilledBySignal(SIGABRT), "VFile, line [0-9]+:\nAssertion failure");
    EXPECT_EXIT(Outlives(true), testing::ExitedWithCode(0), "");
}

} // namespace
