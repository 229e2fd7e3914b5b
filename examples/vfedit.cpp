// vfedit, a small command-line editor for files that are far larger than the memory it may take. Over the public
// headers and the shared library only, and over the system's own calls where people want to read the system's own
// words:
//   vfedit.cpp           the road of a run: load, edit, save, sum up
//   vfedit_args.cpp      the command line
//   vfedit_forms.cpp     the edits in it
//   vfedit_help.cpp      what --help prints
//   vfedit_text.cpp      texts and numbers in arguments and files
//   vfedit_edits.cpp     the edits, each a few operations of VFile
//   vfedit_search.cpp    those that look for something, and
//   vfedit_regex.cpp     how they match regular expressions, or can't (vfedit_no_regex.cpp), in
//   vfedit_window.cpp    a window that goes over the content
//   vfedit_bytes.cpp     those for content that is no text
//   vfedit_lines.cpp     those that know lines
//   vfedit_space.cpp     room for contents that come close to 2 GiB
//   vfedit_input.cpp     files that are read
//   vfedit_output.cpp    where the result goes; signals and halts
//   vfedit_save.cpp      how a file is saved, and what is said about it
//   vfedit_system.cpp    system calls
//   vfedit_terminal.cpp  what is printed, messages and the progress line
// Nothing throws. Only the list of edits, texts that come from files and patches take memory.
#include "vfedit_args.h"
#include "vfedit_edits.h"
#include "vfedit_input.h"
#include "vfedit_output.h"
#include "vfedit_space.h"
#include "vfedit_system.h"
#include "vfedit_terminal.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <initializer_list>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int ExitDone = 0;
constexpr int ExitFailed = 1;
constexpr int ExitUsage = 2;                   // ExitHalted is 3
constexpr std::size_t TempDirLengthMax = 4082; // what the library takes

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

// The library would take the next place where this one does not do, but it was asked for.
bool UseTempDir(const char* dir) {
    struct stat st;
    if (stat(dir, &st) != 0) return ComplainErrno(dir, errno);
    if (!S_ISDIR(st.st_mode)) return ComplainErrno(dir, ENOTDIR);
    if (std::strlen(dir) > TempDirLengthMax) return ComplainErrno(dir, ENAMETOOLONG);
    if (faccessat(AT_FDCWD, dir, W_OK | X_OK, AT_EACCESS) != 0) return ComplainErrno(dir, errno);
    const int fd = OpenAt(AT_FDCWD, dir, O_TMPFILE | O_RDWR, 0600);
    if (fd < 0 && errno != EOPNOTSUPP && errno != EISDIR) return ComplainErrno(dir, errno);
    if (fd >= 0) close(fd);
    VFile::SetTempDir(dir);
    const char* taken = VFile::GetTempDir();
    return (taken && std::strcmp(taken, dir) == 0) || ComplainErrno(dir, ENOMEM);
}

bool Load(const Work& work, const char* name) {
    Input input;
    if (!input.Open(name, work.output) || !InsertInput(work, 0, input, "loading")) return false;
    work.content.Reset();
    return true;
}

// Reads the texts of edits that lie in files.
bool LoadTexts(const CommandLine& line, const Output& output) {
    for (int i = 0; i < line.editCount; ++i) {
        Edit& edit = line.edits[i];
        for (Text* text : {&edit.text, &edit.replacement}) {
            if (text->file && !ReadWhole(text->file, output, *text)) return false;
        }
        const bool looksFor = edit.kind == EditKind::Replace || edit.kind == EditKind::Find;
        if (looksFor && edit.text.length == 0) return Complain(edit.text.file, "the text to look for can't be empty");
    }
    return true;
}

// After each edit.
void PrintMatches(const Edit& edit, const Done& done) {
    const char* did = edit.kind == EditKind::Replace ? "replaced"
                      : edit.kind == EditKind::Find  ? "found"
                      : edit.kind == EditKind::Patch ? "patched"
                                                     : nullptr;
    if (did) std::fprintf(stderr, "vfedit: %s: %lld %s\n", edit.word, static_cast<long long>(done.matches), did);
}

void PrintSummary(std::int32_t bytesIn, int edits, const VFile& content, bool saved, double seconds) {
    std::fprintf(stderr, "vfedit: %d bytes read, %d edit%s", bytesIn, edits, edits == 1 ? "" : "s");
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
    if (line.tempDir && !UseTempDir(line.tempDir)) return ExitFailed;
    if (line.cacheKb >= 0) VFile::SetMaxCacheSize(line.cacheKb);

    Output output;
    GuardOutput(output);
    if (line.out && !output.Open(line)) return ExitFailed;

    Progress progress(!line.quiet);
    Report report(output.IsStandardOutput() ? STDERR_FILENO : STDOUT_FILENO);
    VFile content;
    Space space(content);
    const Work work = {content, space, progress, report, output, InputName(line.in), line.matchMostKb * 1024};
    if (!LoadTexts(line, output) || !Load(work, line.in)) return ExitFailed;
    const std::int32_t bytesIn = content.Length();

    bool metAll = true;
    for (int i = 0; i < line.editCount; ++i) {
        const Edit& edit = line.edits[i];
        Done done;
        if (!DoEdit(work, edit, done)) return ExitFailed;
        // A report that could not be delivered is a failure, too, and comes before the result takes its place.
        if (!report.Deliver()) return ExitFailed;
        if (!line.quiet) PrintMatches(edit, done);
        if ((edit.kind == EditKind::Replace || edit.kind == EditKind::Find) && done.matches == 0) metAll = false;
    }
    if (line.out && !output.Save(content, progress)) return ExitFailed;
    if (!line.quiet) {
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begun;
        PrintSummary(bytesIn, line.editCount, content, line.out != nullptr, taken.count());
    }
    return line.status && !metAll ? ExitFailed : ExitDone;
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGXFSZ, SIG_IGN); // a file that may not grow is told as any other failure of a write
    CommandLine line;
    switch (ParseCommandLine(argc, argv, line)) {
    case Parsed::Run:
        return Run(line);
    case Parsed::Done:
        return ExitDone;
    case Parsed::Failed:
        return ExitFailed;
    case Parsed::Wrong:
        return ExitUsage;
    }
    return ExitUsage;
}
