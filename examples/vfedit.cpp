// vfedit, a small command-line editor for files that are far larger than the memory it may take. Over the public
// headers and the shared library only, and over the system's own calls where people want to read the system's own
// words:
//   vfedit_args.cpp      the command line
//   vfedit_forms.cpp     the edits in it
//   vfedit_script.cpp    and in a file
//   vfedit_help.cpp      what --help prints
//   vfedit_text.cpp      texts and numbers in arguments and files
//   vfedit_run.cpp       the road of a file: load, edit, save, sum up
//   vfedit_files.cpp     many files
//   vfedit_edits.cpp     the edits, each a few operations of VFile
//   vfedit_search.cpp    those that look for something, and
//   vfedit_regex.cpp     how they match regular expressions, or can't (vfedit_no_regex.cpp), in
//   vfedit_window.cpp    a window that goes over the content
//   vfedit_bytes.cpp     those for content that is no text
//   vfedit_lines.cpp     those that know lines
//   vfedit_space.cpp     room for contents that come close to 2 GiB
//   vfedit_trace.cpp     where a content has changed
//   vfedit_diff.cpp      and what a dry run shows of that
//   vfedit_input.cpp     files that are read
//   vfedit_output.cpp    where the result goes; signals and halts
//   vfedit_save.cpp      how a file is saved, and what is said about it
//   vfedit_system.cpp    system calls
//   vfedit_terminal.cpp  what is printed, messages and the progress line
//   vfedit_summary.cpp   what is told about the work
//   vfedit_json.cpp      and how scripts want to read it
//   vfedit_view.cpp      a pager, whose inside is
//   vfedit_pager.cpp     the rows on the screen, and
//   vfedit_pager_search.cpp  ways through the file
// Nothing throws. Only the list of edits, texts that come from files, patches, the windows of regular expressions and
// the trace of a dry run take memory.
#include "vfedit_args.h"
#include "vfedit_files.h"
#include "vfedit_output.h"
#include "vfedit_run.h"
#include "vfedit_summary.h"
#include "vfedit_view.h"

#include <chrono>
#include <csignal>
#include <cstring>

namespace {

constexpr int ExitDone = 0;
constexpr int ExitFailed = 1;
constexpr int ExitUsage = 2; // ExitHalted is 3

int Run(const CommandLine& line) {
    const auto begun = std::chrono::steady_clock::now();
    GuardOutputs();
    if (!LoadTexts(line)) return ExitFailed;
    if (line.fileCount == 0) {
        FileRun run;
        return RunFile(line, line.in, line.dryRun ? nullptr : line.out, run) && (run.metAll || !line.status)
                   ? ExitDone
                   : ExitFailed;
    }
    const FilesRun run = RunFiles(line);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begun;
    PrintFiles(line, run.changed, run.failed, taken.count());
    return run.failed > 0 || (line.status && run.missed > 0) ? ExitFailed : ExitDone;
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGXFSZ, SIG_IGN); // a file that may not grow is told as any other failure of a write
    if (argc == 3 && std::strcmp(argv[1], "view") == 0) return View(argv[2]);
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
