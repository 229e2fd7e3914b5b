// A directory of a test's own, removed with all it holds when the test ends.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

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
