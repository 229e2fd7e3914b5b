// Where the result of vfedit goes.
#include "vfedit_output.h"

#include "foundation/halt.h"
#include "vfedit_system.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int PieceBytes = 256 * 1024;
constexpr int EndingSignals[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGPIPE,   SIGALRM, SIGTERM,
                                 SIGUSR1, SIGUSR2, SIGXCPU, SIGVTALRM, SIGPROF, SIGIO};

thread_local unsigned char piece[PieceBytes];
std::atomic<Output*> guarded[JobsMost]; // of each thread one

void Say(const char* words) {
    if (write(STDERR_FILENO, words, std::strlen(words)) < 0) return; // nobody is left to be told
}

void CleanUp() {
    for (std::atomic<Output*>& slot : guarded) {
        if (Output* const output = slot) output->RemoveDraft();
    }
    WipeProgressLine();
}

// Only calls that are safe in a handler. The signal then takes its ordinary course.
extern "C" void OnEndingSignal(int signal) {
    CleanUp();
    if (signal == SIGINT) Say("vfedit: interrupted\n");
    std::signal(signal, SIG_DFL);
    raise(signal); // waits until the handler is left
}

// The library is in no state to go on, so nothing but the process ends here.
void OnHalt(const char* text) {
    CleanUp();
    char words[320];
    const int n = std::snprintf(words, sizeof words, "vfedit: stopped: %s", text);
    const int last = std::min(n, static_cast<int>(sizeof words) - 2);
    std::replace(words, words + last, '\n', ' ');
    words[last] = '\n';
    words[last + 1] = '\0';
    Say(words);
    _exit(ExitHalted);
}

} // namespace

void GuardOutputs() {
    InstallHaltProc(OnHalt);
    for (const int signal : EndingSignals) {
        struct sigaction old;
        if (sigaction(signal, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) continue; // as with nohup
        struct sigaction ours;
        std::memset(&ours, 0, sizeof ours);
        ours.sa_handler = OnEndingSignal; // and no SA_RESETHAND: a second signal would end us before the handler runs
        sigfillset(&ours.sa_mask);
        sigaction(signal, &ours, nullptr);
    }
}

Output::Output() {
    for (std::atomic<Output*>& slot : guarded) {
        Output* none = nullptr;
        if (slot.compare_exchange_strong(none, this)) return;
    }
}

Output::~Output() {
    save.RemoveDraft();
    for (std::atomic<Output*>& slot : guarded) {
        Output* own = this;
        if (slot.compare_exchange_strong(own, nullptr)) break;
    }
    if (direct >= 0) close(direct);
}

bool Output::Open(const char* out, const CommandLine& line, const HFileStamp* loaded) {
    name = out;
    shown = OutputName(name);
    if (std::strcmp(name, "-") == 0) return OpenOwn(STDOUT_FILENO);
    save.Hold(name, WaysOfSaving(line), loaded);
    if (save.outcome == HFileSave::Outcome::OpenFile) return OpenOwn(DescriptorOf(save.Handle()));
    if (save.outcome == HFileSave::Outcome::NotOrdinary) return OpenDirect();
    if (!SaveTold(shown, save)) return false;
    if (save.NarrowsAccess())
        Complain(shown, "its group can't be kept, so what the group may do is cut to what everybody may");
    return true;
}

// A copy, since it is closed in the end. Not opened anew by its name, which would write from the start of a file that
// is to be appended to, and can't be done to a socket.
bool Output::OpenOwn(int fd) {
    isStandardOutput = fd == STDOUT_FILENO;
    direct = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (direct < 0) return ComplainErrno(shown, errno);
    return (fcntl(direct, F_GETFL) & O_ACCMODE) != O_RDONLY || ComplainErrno(shown, EBADF);
}

bool Output::OpenDirect() {
    direct = OpenFile(name, O_WRONLY);
    return direct >= 0 || ComplainErrno(shown, errno);
}

bool Output::Save(VFile& content, Progress& progress) {
    progress.Begin("saving", content.Length());
    if (direct >= 0) {
        std::signal(SIGPIPE, SIG_IGN); // nobody at the other end is a failure that is told
        if (!Write(content, progress, direct)) return false;
        const int written = direct;
        direct = -1;
        return Close(written) || ComplainErrno(shown, errno);
    }
    if (!save.InPlace()) {
        return Write(content, progress, DescriptorOf(save.Handle())) && (save.Commit() || SaveTold(shown, save));
    }
    const SignalsHeld signals; // what breaks off here leaves a mixture
    if (!save.Begin(content.Length())) return SaveTold(shown, save);
    if (Write(content, progress, DescriptorOf(save.Handle())) && (save.Commit() || SaveTold(shown, save))) return true;
    return Complain(shown, "it may hold a part of the new content now");
}

bool Output::Write(VFile& content, Progress& progress, int fd) {
    content.Reset();
    while (!content.Eof()) {
        const int n = content.ReadBytes(piece, std::min(PieceBytes, content.Length() - content.GetPos()));
        if (n <= 0) break;
        if (!WriteAll(fd, piece, static_cast<std::size_t>(n))) return ComplainErrno(shown, errno);
        progress.At(content.GetPos());
    }
    progress.End();
    return true;
}
