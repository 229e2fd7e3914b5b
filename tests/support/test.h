// What tests of every folder share.
#pragma once

#include "support/halt_trap.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <sys/stat.h>
#include <thread>

// A directory of a test's own, removed with all it holds when the test ends.
class TempDir {
  public:
    explicit TempDir(const char* in = nullptr) {
        const std::filesystem::path parent = in ? in : std::filesystem::temp_directory_path();
        std::string pattern = (parent / "vfile-test-XXXXXX").string();
        path = mkdtemp(pattern.data());
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return path; }
    std::string File(const std::string& name) const { return path + "/" + name; }

    std::string Write(const std::string& name, const std::string& content) const {
        std::ofstream(File(name), std::ios::binary) << content;
        return File(name);
    }
    std::string Read(const std::string& name) const {
        std::ifstream f(File(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(f), {}};
    }
    std::size_t Count() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path), {}));
    }

  private:
    std::string path;
};

// The n bytes of `s` from `from` on, or what there is of them.
inline std::string Part(const std::string& s, int from, int n) {
    return s.substr(std::min(s.size(), static_cast<std::size_t>(from)), static_cast<std::size_t>(n));
}

inline std::string Replaced(std::string s, int at, int oldLen, const std::string& bytes) {
    return s.replace(static_cast<std::size_t>(at), static_cast<std::size_t>(oldLen), bytes);
}

// What a dump writes.
inline std::string DumpOf(const std::function<void(std::FILE*)>& dump) {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* out = open_memstream(&text, &size);
    dump(out);
    std::fclose(out);
    const std::string all(text, size);
    std::free(text);
    return all;
}

inline long FromEnvironment(const char* name, long otherwise) {
    const char* value = std::getenv(name);
    return value ? std::atol(value) : otherwise;
}

// What `act` returns in a forked child; "died" if it does not come to that.
inline std::string InChild(const std::function<std::string()>& act) {
    return halt_trap::TextOf([&] { halt_trap::SendHome(act().c_str()); });
}

// Leaves the process something to do for a while after the end of all libraries.
extern "C" __attribute__((weak)) void __lsan_do_leak_check(); // of the address sanitizer

inline void EndSlowly() {
    // Looks for leaks now and not at the end, when the array of a thread that ends just then would count as one.
    if (__lsan_do_leak_check) __lsan_do_leak_check();
    cookie_io_functions_t slow = {};
    slow.write = [](void*, const char*, std::size_t n) { return usleep(20000), static_cast<ssize_t>(n); };
    std::fputs("written when the process ends", fopencookie(nullptr, "w", slow));
}
