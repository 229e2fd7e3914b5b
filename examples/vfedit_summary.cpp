// What vfedit tells on standard error about its work.
#include "vfedit_summary.h"

#include "vfedit_json.h"
#include "vfedit_system.h"

#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// What the system tells about this process. Peak memory in kilobytes; -1 if it does not tell.
long PeakMemoryKb() {
    const int fd = OpenFile("/proc/self/status", O_RDONLY);
    if (fd < 0) return -1;
    char text[4096];
    const ssize_t n = ReadSome(fd, text, sizeof text - 1);
    close(fd);
    text[n > 0 ? n : 0] = '\0';
    const char* line = std::strstr(text, "VmHWM:");
    return line ? std::strtol(line + 6, nullptr, 10) : -1;
}

// The size of the swap file in kilobytes, -1 if there is none. The library does not tell, but the system does: an open
// file that is in no directory, and never was, or has been as ~vmem<number>.tmp.
long SwapFileKb() {
    const int fd = OpenFile("/proc/self/fd", O_RDONLY | O_DIRECTORY);
    DIR* d = fd >= 0 ? fdopendir(fd) : nullptr;
    if (!d) {
        if (fd >= 0) close(fd);
        return -1;
    }
    long kb = -1;
    while (const dirent* entry = readdir(d)) {
        char link[4096];
        const ssize_t n = readlinkat(fd, entry->d_name, link, sizeof link - 1);
        if (n < 0) continue;
        link[n] = '\0';
        struct stat st;
        const int open = static_cast<int>(std::strtol(entry->d_name, nullptr, 10));
        const bool likely = std::strstr(link, "/#") || std::strstr(link, "/~vmem");
        if (likely && fstat(open, &st) == 0 && st.st_nlink == 0) kb = static_cast<long>(st.st_size / 1024);
    }
    closedir(d);
    return kb;
}

const char* WordForMatches(const Edit& edit, bool dryRun) {
    switch (edit.kind) {
    case EditKind::Replace:
        return dryRun ? "would be replaced" : "replaced";
    case EditKind::Patch:
        return dryRun ? "would be patched" : "patched";
    case EditKind::Find:
        return "found";
    default:
        return nullptr;
    }
}

} // namespace

void PrintMatches(const CommandLine& line, const char* name, const Edit& edit, const Done& done) {
    const char* const did = WordForMatches(edit, line.dryRun);
    if (!did) return;
    Report said(STDERR_FILENO);
    const auto matches = static_cast<long long>(done.matches);
    if (line.json) {
        JsonBegin(said, name, edit.word);
        said.Print(",\"count\":%lld}\n", matches);
    } else {
        said.Put("vfedit: ", 8);
        if (line.fileCount > 1) said.Print("%s: ", name);
        said.Print("%s: %lld %s", edit.word, matches, did);
        if (line.dryRun && edit.changes) {
            for (int i = 0; i < FirstPlaces && i < done.matches; ++i)
                said.Print("%s %d", i == 0 ? ", at" : ",", done.at[i]);
            if (done.matches > FirstPlaces) said.Put(", ...", 5);
        }
        said.Put("\n", 1);
    }
    said.Deliver();
}

void PrintSummary(const CommandLine& line, const char* name, std::int32_t bytesIn, std::int32_t bytesNow, bool saved,
                  double seconds) {
    const long swap = SwapFileKb(), peak = PeakMemoryKb();
    Report said(STDERR_FILENO);
    if (line.json) {
        JsonBegin(said, name, "summary");
        said.Print(",\"bytes_read\":%d,\"edits\":%d", bytesIn, line.editCount);
        if (saved) said.Print(",\"bytes_written\":%d", bytesNow);
        said.Print(",\"seconds\":%.2f,\"cache_kb\":%d,\"cache_limit_kb\":%d", seconds, VFile::GetCacheSize(),
                   VFile::GetMaxCacheSize());
        if (swap >= 0) said.Print(",\"swap_kb\":%ld", swap);
        if (peak >= 0) said.Print(",\"peak_memory_kb\":%ld", peak);
        said.Put("}\n", 2);
    } else {
        said.Print("vfedit: %d bytes read, %d edit%s", bytesIn, line.editCount, line.editCount == 1 ? "" : "s");
        if (saved || line.dryRun) said.Print(", %d bytes %s", bytesNow, saved ? "written" : "would be written");
        said.Print(", %.2f s\nvfedit: cache %d of %d KB, ", seconds, VFile::GetCacheSize(), VFile::GetMaxCacheSize());
        if (swap >= 0) {
            said.Print("swap file %ld KB", swap);
        } else {
            said.Put("no swap file", 12);
        }
        if (peak >= 0) said.Print(", peak memory %ld KB", peak);
        said.Put("\n", 1);
    }
    said.Deliver();
}

void PrintFiles(const CommandLine& line, int changed, int failed, double seconds) {
    Report said(STDERR_FILENO);
    const int files = line.fileCount;
    if (line.json) {
        if (!line.quiet)
            said.Print("{\"edit\":\"summary\",\"files\":%d,\"changed\":%d,\"failed\":%d,\"seconds\":%.2f}\n", files,
                       changed, failed, seconds);
    } else if (!line.quiet) {
        said.Print("vfedit: %d file%s, %d %s, %.2f s\n", files, files == 1 ? "" : "s", changed,
                   line.dryRun ? "would change" : "changed", seconds);
    }
    if (failed > 0) said.Print("vfedit: %d of %d files failed, and are as they were\n", failed, files);
    said.Deliver();
}
