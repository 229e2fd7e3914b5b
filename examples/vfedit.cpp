// vfedit, a small command-line editor for files that are far larger than the memory it may take. Over the public
// headers and the shared library only:
//   vfedit.cpp           the road of a run: load, edit, save, sum up
//   vfedit_args.cpp      the command line
//   vfedit_edits.cpp     the edits, each a few operations of VFile
//   vfedit_output.cpp    the result takes its place when it is complete; signals and halts
//   vfedit_terminal.cpp  messages and the progress line
#include "vfedit_args.h"
#include "vfedit_edits.h"
#include "vfedit_output.h"
#include "vfedit_terminal.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int ExitDone = 0;
constexpr int ExitFailed = 1;
constexpr int ExitUsage = 2; // ExitHalted is 3
constexpr std::int32_t SavePiece = 4 << 20;

// What the system tells about this process. Peak memory in kilobytes; -1 if it does not tell.
long PeakMemoryKb() {
    std::FILE* f = std::fopen("/proc/self/status", "re");
    if (!f) return -1;
    char text[128];
    long kb = -1;
    while (kb < 0 && std::fgets(text, sizeof text, f)) {
        if (std::strncmp(text, "VmHWM:", 6) == 0) kb = std::strtol(text + 6, nullptr, 10);
    }
    std::fclose(f);
    return kb;
}

// The size of the swap file in kilobytes, -1 if there is none. The library does not tell, but the system does: an open
// file named ~vmem<number>.tmp that is in no directory any more.
long SwapFileKb() {
    DIR* d = opendir("/proc/self/fd");
    if (!d) return -1;
    long kb = -1;
    while (const dirent* entry = readdir(d)) {
        char link[4096];
        const ssize_t n = readlinkat(dirfd(d), entry->d_name, link, sizeof link - 1);
        if (n < 0) continue;
        link[n] = '\0';
        struct stat st;
        if (std::strstr(link, "/~vmem") && fstat(std::atoi(entry->d_name), &st) == 0 && st.st_nlink == 0)
            kb = static_cast<long>(st.st_size / 1024);
    }
    closedir(d);
    return kb;
}

bool UseTempDir(const std::string& dir) {
    struct stat st;
    if (stat(dir.c_str(), &st) != 0) return ComplainErrno(dir, errno);
    if (!S_ISDIR(st.st_mode)) return ComplainErrno(dir, ENOTDIR);
    if (access(dir.c_str(), R_OK | W_OK | X_OK) != 0) return ComplainErrno(dir, errno);
    VFile::SetTempDir(dir.c_str());
    return true;
}

bool Load(VFile& content, Progress& progress, const std::string& name) {
    HFile f;
    if (!OpenInput(f, name) || !InsertFile(content, progress, 0, f, name, "loading")) return false;
    content.Reset();
    return true;
}

bool Save(VFile& content, Progress& progress, Output& output, const std::string& name) {
    progress.Begin("saving", content.Length());
    content.Reset();
    while (!content.Eof()) {
        content.WriteToFile(output.File(), SavePiece);
        if (content.res != resDone) return Complain(name, content.res);
        progress.At(content.GetPos());
    }
    if (!output.Finish()) return false;
    progress.End();
    return true;
}

void PrintSummary(std::int32_t bytesIn, std::size_t edits, const VFile& content, bool saved, double seconds) {
    std::fprintf(stderr, "vfedit: %d bytes read, %zu edit%s", bytesIn, edits, edits == 1 ? "" : "s");
    if (saved) std::fprintf(stderr, ", %d bytes written", content.Length());
    std::fprintf(stderr, ", %.2f s\nvfedit: cache %d of %d KB, ", seconds, VFile::GetCacheSize(),
                 VFile::GetMaxCacheSize());
    const long swap = SwapFileKb();
    if (swap >= 0) {
        std::fprintf(stderr, "swap file %ld KB", swap);
    } else {
        std::fputs("no swap file", stderr);
    }
    const long peak = PeakMemoryKb();
    if (peak >= 0) std::fprintf(stderr, ", peak memory %ld KB", peak);
    std::fputc('\n', stderr);
}

int Run(const CommandLine& line) {
    const auto begun = std::chrono::steady_clock::now();
    if (!line.tempDir.empty() && !UseTempDir(line.tempDir)) return ExitFailed;
    if (line.cacheKb >= 0) VFile::SetMaxCacheSize(line.cacheKb);

    Output output;
    const bool saving = !line.out.empty();
    if (saving && !output.Open(line.out)) return ExitFailed;

    Progress progress(!line.quiet);
    VFile content;
    if (!Load(content, progress, line.in)) return ExitFailed;
    const std::int32_t bytesIn = content.Length();

    std::FILE* reports = line.out == "-" ? stderr : stdout;
    for (const Edit& edit : line.edits) {
        Done done;
        if (!DoEdit(content, progress, edit, line.in, reports, done)) return ExitFailed;
        if (line.quiet) continue;
        if (edit.kind == EditKind::Replace)
            std::fprintf(stderr, "vfedit: replace: %lld replaced\n", static_cast<long long>(done.matches));
        if (edit.kind == EditKind::Find)
            std::fprintf(stderr, "vfedit: find: %lld found\n", static_cast<long long>(done.matches));
    }
    // A report that could not be delivered is a failure, too, and comes before the result takes its place.
    if (std::fflush(reports) != 0 || std::ferror(reports)) {
        ComplainErrno("standard output", errno);
        return ExitFailed;
    }
    if (saving && !Save(content, progress, output, line.out)) return ExitFailed;
    if (!line.quiet) {
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begun;
        PrintSummary(bytesIn, line.edits.size(), content, saving, taken.count());
    }
    return ExitDone;
}

} // namespace

int main(int argc, char** argv) {
    CommandLine line;
    try {
        switch (ParseCommandLine(argc, argv, line)) {
        case Parsed::Run:
            break;
        case Parsed::Done:
            return std::fflush(stdout) == 0 ? ExitDone : ExitFailed;
        case Parsed::Wrong:
            return ExitUsage;
        }
        GuardOutput();
        return Run(line);
    } catch (const std::bad_alloc&) {
        Complain(line.in, resHeapOverflow);
        return ExitFailed;
    }
}
