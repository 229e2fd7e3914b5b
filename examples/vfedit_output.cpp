// Where the result of vfedit goes.
#include "vfedit_output.h"

#include "foundation/halt.h"
#include "vfedit_terminal.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int LinksMax = 40; // as many as the system itself follows
constexpr int NameTries = 1000;
constexpr int EndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

// The name that has to be unlinked when the program ends early; empty: none. Written with the signals held back.
char temporary[PATH_MAX];

void RemoveTemporary() {
    if (temporary[0]) unlink(temporary);
    temporary[0] = '\0';
}

void Say(const char* words) {
    if (write(STDERR_FILENO, words, std::strlen(words)) < 0) return; // nobody is left to be told
}

// Only calls that are safe in a handler. The signal then takes its ordinary course.
extern "C" void OnEndingSignal(int signal) {
    RemoveTemporary();
    WipeProgressLine();
    if (signal == SIGINT) Say("vfedit: interrupted\n");
    std::signal(signal, SIG_DFL);
    raise(signal); // waits until the handler is left
}

// The library is in no state to go on, so nothing but the process ends here.
void OnHalt(const char* text) {
    RemoveTemporary();
    WipeProgressLine();
    Say("vfedit: stopped: ");
    for (; *text; ++text) {
        const char c[2] = {*text == '\n' ? ' ' : *text, '\0'};
        Say(c);
    }
    Say("\n");
    _exit(ExitHalted);
}

class SignalsHeld {
  public:
    SignalsHeld() {
        sigset_t ending;
        sigemptyset(&ending);
        for (int signal : EndingSignals) sigaddset(&ending, signal);
        sigprocmask(SIG_BLOCK, &ending, &before);
    }
    ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before, nullptr); }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

  private:
    sigset_t before;
};

std::string DirectoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

// Follows symbolic links to the last name, also to one that does not exist yet. False with errno set.
bool ResolveLinks(std::string& path) {
    for (int i = 0; i < LinksMax; ++i) {
        char text[PATH_MAX];
        const ssize_t n = readlink(path.c_str(), text, sizeof text - 1);
        if (n < 0) return errno == EINVAL || errno == ENOENT; // no link: the name itself
        text[n] = '\0';
        path = text[0] == '/' ? text : DirectoryOf(path) + "/" + text;
    }
    errno = ELOOP;
    return false;
}

bool SetTemporary(const std::string& path) {
    if (path.size() >= sizeof temporary) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(temporary, path.c_str(), path.size() + 1);
    return true;
}

} // namespace

void GuardOutput() {
    InstallHaltProc(OnHalt);
    for (int signal : EndingSignals) {
        struct sigaction old;
        if (sigaction(signal, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) continue; // as with nohup
        struct sigaction ours;
        std::memset(&ours, 0, sizeof ours);
        ours.sa_handler = OnEndingSignal; // and no SA_RESETHAND: a second signal would end us before the handler runs
        sigaction(signal, &ours, nullptr);
    }
}

Output::~Output() {
    if (!direct) RemoveTemporary();
}

bool Output::Open(const std::string& outName) {
    name = outName;
    if (name == "-") {
        direct = true;
        file.handle = HandleOf(dup(STDOUT_FILENO)); // a copy, because the object closes what it has
        return file.IsOpen() || ComplainErrno("standard output", errno);
    }
    target = name;
    if (!ResolveLinks(target)) return ComplainErrno(name, errno);
    dir = DirectoryOf(target);

    struct stat st;
    existed = stat(target.c_str(), &st) == 0;
    if (existed && S_ISDIR(st.st_mode)) return ComplainErrno(name, EISDIR);
    if (existed && !S_ISREG(st.st_mode)) {
        direct = true;
        return file.CreateSeqWrite(target.c_str(), true) || Complain(name, file.res);
    }
    if (existed) {
        // Replacing asks for the right to write the directory alone; a file that is kept from writing is meant to stay.
        if (faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0) return ComplainErrno(name, errno);
        oldMode = st.st_mode & 07777;
        oldOwner = st.st_uid;
        oldGroup = st.st_gid;
    }
    return OpenBeside();
}

// A file without a name is gone whatever way the program ends, also by kill -9. Not every file system has such files,
// and naming one later takes /proc.
bool Output::OpenBeside() {
    int fd = access("/proc/self/fd", X_OK) == 0 ? open(dir.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600) : -1;
    if (fd < 0) {
        std::string pattern = dir + "/.vfedit-XXXXXX";
        const SignalsHeld held;
        fd = mkostemp(&pattern[0], O_CLOEXEC);
        if (fd < 0) return ComplainErrno(name, errno);
        named = true;
        file.handle = HandleOf(fd);
        if (!SetTemporary(pattern)) {
            unlink(pattern.c_str());
            return ComplainErrno(name, errno);
        }
        return true;
    }
    file.handle = HandleOf(fd);
    return true;
}

bool Output::GiveOldMode() {
    const int fd = DescriptorOf(file.handle);
    mode_t mode = oldMode;
    if (!existed) {
        const mode_t mask = umask(0);
        umask(mask);
        mode = 0666 & ~mask;
    } else if (fchown(fd, oldOwner, oldGroup) != 0) {
        if (fchown(fd, static_cast<uid_t>(-1), oldGroup) != 0) mode &= static_cast<mode_t>(~S_ISGID);
        mode &= static_cast<mode_t>(~S_ISUID); // a program would run with our rights instead of the old owner's
    }
    return fchmod(fd, mode) == 0;
}

bool Output::NameUnnamed() {
    const std::string source = "/proc/self/fd/" + std::to_string(DescriptorOf(file.handle));
    for (int i = 0; i < NameTries; ++i) {
        const std::string path = dir + "/.vfedit-" + std::to_string(getpid()) + "-" + std::to_string(i);
        if (linkat(AT_FDCWD, source.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0) {
            named = true;
            return SetTemporary(path) || (unlink(path.c_str()), false);
        }
        if (errno != EEXIST) return false;
    }
    return false;
}

bool Output::Finish() {
    if (direct) {
        file.Close();
        return true;
    }
    file.Flush();
    if (file.res != resDone) return Complain(name, file.res);
    if (!GiveOldMode()) return ComplainErrno(name, errno);

    const SignalsHeld held; // from here on it is all or nothing
    if (!named && !NameUnnamed()) return ComplainErrno(name, errno);
    if (rename(temporary, target.c_str()) != 0) return ComplainErrno(name, errno);
    temporary[0] = '\0';
    file.Close();
    const int d = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (d >= 0) {
        fsync(d); // the new name, too; a file system that can't do it has no better way
        close(d);
    }
    return true;
}
