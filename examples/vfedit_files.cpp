// Many files.
#include "vfedit_files.h"

#include "vfedit_run.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace {

struct Queue {
    const CommandLine& line;
    bool saves; // an edit changes something
    std::atomic<int> next{0};
    std::atomic<int> changed{0};
    std::atomic<int> failed{0};
    std::atomic<int> missed{0};
};

// A thread takes the next file as long as there is one.
void* TakeFiles(void* of) {
    Queue& queue = *static_cast<Queue*>(of);
    for (int i; (i = queue.next++) < queue.line.fileCount;) {
        const char* const name = queue.line.files[i];
        FileRun run;
        if (!RunFile(queue.line, name, queue.saves && !queue.line.dryRun ? name : nullptr, run)) {
            ++queue.failed;
            continue;
        }
        if (run.changed) ++queue.changed;
        if (!run.metAll) ++queue.missed;
    }
    return nullptr;
}

// A file that is opened gets such a number for a moment, and another thread must not write into it then. What is
// written to one that was closed fails as before.
bool HoldStandardDescriptors() {
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (fd >= 0) close(fd);
    return fd >= 0;
}

} // namespace

FilesRun RunFiles(const CommandLine& line) {
    const bool saves =
        std::any_of(line.edits, line.edits + line.editCount, [](const Edit& edit) { return edit.changes; });
    Queue queue{line, saves};
    pthread_t threads[JobsMost];
    int count = 0;
    int wanted = std::min(line.jobs, line.fileCount) - 1; // beside this one
    if (wanted > 0 && !HoldStandardDescriptors()) wanted = 0;
    while (count < wanted && pthread_create(&threads[count], nullptr, TakeFiles, &queue) == 0) ++count;
    TakeFiles(&queue);
    for (int i = 0; i < count; ++i) pthread_join(threads[i], nullptr);
    return {queue.changed, queue.failed, queue.missed};
}
