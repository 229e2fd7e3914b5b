// The library comes and goes while threads of the host are running.
#include <condition_variable>
#include <cstdio>
#include <dlfcn.h>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

struct Module {
    Module() : handle(dlopen(LATE_MODULE, RTLD_NOW | RTLD_LOCAL)) {
        if (!handle) ADD_FAILURE() << dlerror();
    }
    ~Module() {
        if (handle) dlclose(handle);
    }
    bool Call(const char* name) const { return reinterpret_cast<bool (*)()>(dlsym(handle, name))(); }
    void TrapHalts(void (*proc)(const char*)) const {
        reinterpret_cast<void (*)(void (*)(const char*))>(dlsym(handle, "TrapHalts"))(proc);
    }
    void* handle;
};

bool LibraryIsLoaded() {
    std::FILE* maps = std::fopen("/proc/self/maps", "r");
    char line[4096];
    bool found = false;
    while (std::fgets(line, sizeof line, maps))
        found = found || std::string(line).find("libvfile") != std::string::npos;
    std::fclose(maps);
    return found;
}

// A thread that does one thing after the other, as it is told.
class Worker {
  public:
    Worker() : thread([this] { Run(); }) {}
    ~Worker() {
        Do(nullptr);
        thread.join();
    }
    void Do(std::function<void()> next) {
        std::unique_lock<std::mutex> lock(mutex);
        task = std::move(next);
        due = true;
        changed.notify_all();
        changed.wait(lock, [this] { return !due; });
    }

  private:
    void Run() {
        for (bool on = true; on;) {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [this] { return due; });
            on = task != nullptr;
            if (on) task();
            due = false;
            changed.notify_all();
        }
    }
    std::mutex mutex;
    std::condition_variable changed;
    std::function<void()> task;
    bool due = false;
    std::thread thread;
};

TEST(LateLoad, OlderThreadsSetThemselvesUpAndYoungerAreServed) {
    Worker older;
    for (int round = 0; round < 2; ++round) {
        {
            const Module module;
            ASSERT_NE(nullptr, module.handle);
            EXPECT_TRUE(module.Call("Ready") && module.Call("Work")); // the loading thread
            older.Do([&] {
                EXPECT_FALSE(module.Call("Ready"));
                EXPECT_FALSE(module.Call("Ready"));
                EXPECT_TRUE(module.Call("Start") && module.Call("Ready") && module.Call("Work"));
                EXPECT_TRUE(module.Call("Stop"));
                EXPECT_FALSE(module.Call("Ready"));
            });
            Worker younger;
            younger.Do([&] { EXPECT_TRUE(module.Call("Ready") && module.Call("Work")); });
        }
        EXPECT_FALSE(LibraryIsLoaded());
    }
}

// In children: the first halts, the second leaves memory behind on purpose.

int reportTo = -1;

std::string Reported(const std::function<void()>& act) {
    int ends[2];
    EXPECT_EQ(0, pipe(ends));
    const pid_t child = fork();
    if (child == 0) {
        reportTo = ends[1];
        act();
        _exit(0);
    }
    close(ends[1]);
    char text[256] = "";
    const ssize_t n = read(ends[0], text, sizeof text - 1);
    close(ends[0]);
    int status;
    waitpid(child, &status, 0);
    return std::string(text, n > 0 ? static_cast<std::size_t>(n) : 0) + (status == 0 ? "" : " died");
}

void Report(const char* text) {
    const std::string all(text);
    _exit(write(reportTo, all.data(), all.size()) > 0 ? 0 : 1);
}

TEST(LateLoad, OlderThreadThatDoesNotSetItselfUpHalts) {
    const std::string text = Reported([] {
        Worker older;
        const Module module;
        module.TrapHalts(Report);
        older.Do([&] { module.Call("Work"); });
    });
    EXPECT_EQ(0U, text.find("VFile, line ")) << text;
    EXPECT_NE(std::string::npos, text.find(":\nAssertion failure"));
}

TEST(LateLoad, ThreadMayEndAfterTheLibraryIsGone) {
    EXPECT_EQ("gone", Reported([] {
                  Worker outliving;
                  {
                      const Module module;
                      Worker younger;
                      outliving.Do([&] { module.Call("Start") && module.Call("Work"); });
                  }
                  if (LibraryIsLoaded()) _exit(1);
                  outliving.~Worker();
                  Report("gone");
              }));
}

} // namespace
