// The library comes and goes while threads of the host are running.
#include "support/halt_trap.h"

#include <dlfcn.h>
#include <fstream>
#include <future>
#include <gtest/gtest.h>

void InstallHaltProc(HaltProc) {} // for halt_trap.h, which here has no library to tell

namespace {

struct Module {
    Module() : handle(dlopen(LATE_MODULE, RTLD_NOW | RTLD_LOCAL)) {
        if (!handle) ADD_FAILURE() << dlerror();
    }
    ~Module() {
        if (handle) dlclose(handle);
    }
    bool Call(const char* name) const { return reinterpret_cast<bool (*)()>(dlsym(handle, name))(); }
    void* handle;
};

bool LibraryIsLoaded() {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find("libvfile") != std::string::npos) return true;
    }
    return false;
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
        Waiting older([](const Module& module) {
            EXPECT_FALSE(module.Call("Ready"));
            EXPECT_FALSE(module.Call("Ready"));
            EXPECT_TRUE(module.Call("Start") && module.Call("Ready") && module.Call("Work"));
            EXPECT_TRUE(module.Call("Stop"));
            EXPECT_FALSE(module.Call("Ready"));
        });
        {
            const Module module;
            ASSERT_NE(nullptr, module.handle);
            EXPECT_TRUE(module.Call("Ready") && module.Call("Work")); // the loading thread
            older.Do(module);
            Waiting younger([](const Module& m) { EXPECT_TRUE(m.Call("Ready") && m.Call("Work")); });
            younger.Do(module);
        }
        EXPECT_FALSE(LibraryIsLoaded());
    }
}

TEST(LateLoad, OlderThreadThatDoesNotSetItselfUpHalts) {
    EXPECT_ASSERT_HALT("VFile", Waiting older([](const Module& module) { module.Call("Work"); }); const Module module;
                       reinterpret_cast<void (*)(HaltProc)>(dlsym(module.handle, "TrapHalts"))(halt_trap::SendHome);
                       older.Do(module));
}

// In a child, since the thread's words stay behind on the heap.
TEST(LateLoad, ThreadMayEndAfterTheLibraryIsGone) {
    EXPECT_EQ("no halt", halt_trap::TextOf([] {
                  Waiting outliving([](const Module& module) { module.Call("Start") && module.Call("Work"); });
                  {
                      const Module module;
                      outliving.Do(module);
                  }
                  if (LibraryIsLoaded()) _exit(1);
              }));
}

} // namespace
