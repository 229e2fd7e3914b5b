// One file from its loading to its saving.
#include "vfedit_run.h"

#include "hostfile/hfile.h"
#include "vfedit_diff.h"
#include "vfedit_edits.h"
#include "vfedit_input.h"
#include "vfedit_output.h"
#include "vfedit_space.h"
#include "vfedit_summary.h"
#include "vfedit_system.h"
#include "vfedit_terminal.h"
#include "vfedit_trace.h"
#include "vfile/vfile_progress.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t TempDirLengthMax = 4082; // what the library takes

// The library would take the next place where this one does not do, but it was
// asked for.
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

// Lets the library tell how far an operation has come that looks through much
// at once.
class LibraryProgress {
  public:
    explicit LibraryProgress(Progress& progress) {
        if (!progress.IsShown()) return;
        VFileProgress own;
        own.call = [](void* context, VFileWork, std::int64_t done, std::int64_t total) {
            static_cast<Progress*>(context)->Within(done, total);
            return true;
        };
        own.context = &progress;
        before = VFile_SetProgress(own);
    }
    ~LibraryProgress() { VFile_SetProgress(before); }
    LibraryProgress(const LibraryProgress&) = delete;
    LibraryProgress& operator=(const LibraryProgress&) = delete;

  private:
    VFileProgress before;
};

// The stamp, if it is not null, gets what the file is now.
bool Load(const Work& work, const char* name, HFileStamp* stamp) {
    Input input;
    if (!input.Open(name, work.output)) return false;
    if (stamp) input.Stamp(*stamp);
    if (!InsertInput(work, 0, input, "loading")) return false;
    work.content.Reset();
    work.space.ForgetChanges();
    return true;
}

bool DoEdits(const Work& work, const CommandLine& line, FileRun& run) {
    for (int i = 0; i < line.editCount; ++i) {
        const Edit& edit = line.edits[i];
        Done done;
        if (!DoEdit(work, edit, done)) return false;
        // A report that could not be delivered is a failure, too, and comes before
        // the result takes its place.
        if (!work.report.Deliver()) return false;
        if (!line.quiet) PrintMatches(line, work.name, edit, done);
        if ((edit.kind == EditKind::Replace || edit.kind == EditKind::Find) && done.matches == 0) run.metAll = false;
    }
    return true;
}

// The old file under its name with the suffix after it.
bool KeepBackup(const char* name, const char* suffix) {
    char backup[4096];
    const int n = std::snprintf(backup, sizeof backup, "%s%s", name, suffix);
    if (n < 0 || static_cast<std::size_t>(n) >= sizeof backup) return ComplainErrno(name, ENAMETOOLONG);
    int reason = resDone;
    return HFile::Copy(name, backup, reason, true) || Complain(backup, static_cast<Res>(reason));
}

// In one of many files, that has not been held: if it has changed, it has to be
// what was loaded.
bool SaveEach(const Work& work, const CommandLine& line, const char* name, Output& output, const HFileStamp& stamp) {
    work.progress.Begin("keeping the old file", -1);
    if (*line.backup && !KeepBackup(name, line.backup)) return false;
    work.progress.End();
    return output.Open(name, line, &stamp) && output.Save(work.content, work.progress);
}

// The edits, and what they would change.
bool RunDry(const Work& work, FileRun& run) {
    VFile old;
    Trace trace(work.content.Length());
    if (!work.space.LeaveForCopy()) return Complain(work.name, resTooLong);
    work.progress.Begin("copying", work.content.Length());
    old = work.content;
    work.progress.End();
    if (old.res != resDone) return Complain(work.name, old.res);
    work.space.trace = &trace;
    const bool done = DoEdits(work, work.line, run) && PrintDiff(work, old, trace) && work.report.Deliver();
    work.space.trace = nullptr;
    return done;
}

} // namespace

bool LoadTexts(const CommandLine& line) {
    const Output none;
    for (int i = 0; i < line.editCount; ++i) {
        Edit& edit = line.edits[i];
        for (Text* text : {&edit.text, &edit.replacement}) {
            if (text->file && !ReadWhole(text->file, none, *text)) return false;
        }
        const bool looksFor = edit.kind == EditKind::Replace || edit.kind == EditKind::Find;
        if (looksFor && edit.text.length == 0) return Complain(edit.text.file, "the text to look for can't be empty");
    }
    return true;
}

bool RunFile(const CommandLine& line, const char* in, const char* out, FileRun& run) {
    const auto begun = std::chrono::steady_clock::now();
    if (line.tempDir && !UseTempDir(line.tempDir)) return false;
    if (line.cacheKb >= 0) VFile::SetMaxCacheSize(line.cacheKb);

    const bool each = line.fileCount > 0;
    Output output;
    if (out && !each && !output.Open(out, line)) return false;
    Progress progress(!line.quiet && line.jobs == 1);
    const LibraryProgress libraryProgress(progress);
    Report report(output.IsStandardOutput() ? STDERR_FILENO : STDOUT_FILENO);
    VFile content;
    Space space(content);
    const Work work = {content, space, progress, report, output, InputName(in), line};
    HFileStamp stamp;
    if (!Load(work, in, each ? &stamp : nullptr)) return false;
    const std::int32_t bytesIn = content.Length();

    if (line.dryRun ? !RunDry(work, run) : !DoEdits(work, line, run)) return false;
    run.changed = space.HasChanged();
    if (out && !each && !output.Save(content, progress)) return false;
    if (out && each && run.changed && !SaveEach(work, line, out, output, stamp)) return false;
    if (!line.quiet && !each) {
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begun;
        PrintSummary(line, work.name, bytesIn, content.Length(), out != nullptr && !line.dryRun, taken.count());
    }
    return true;
}
