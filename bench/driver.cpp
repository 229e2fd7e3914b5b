// vfile_bench [--quick] [--cpu] [--rounds N] [--dir DIR] [--traces DIR] [--plot FILE] [ROW...]: runs the contenders,
// one process for each cell, and prints the table; all rows unless some are named. Exits with 1 if a check of a content
// failed, with 2 if a target was missed.
//   --quick   small contents, few operations, no judgement
//   --cpu     processor time instead of time, for a machine that has other work, too
//   --rounds  how often each cell is run (3); the best counts
//   --traces  replays the NAME.edtr there
//   --plot    writes the cost of an edit, and of a move of the position, against the size of the content
#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using Strings = std::vector<std::string>;
constexpr std::int64_t KiB = 1024, MiB = 1024 * KiB, QuickSize = 4 * MiB;
constexpr unsigned MaxSeconds = 300; // of one process
constexpr double Missing = NAN;
const Strings Contenders = {"vfile", "hooks", "rope", "string", "cord", "stxxl", "sqlite", "sed", "vim", "limit"};

struct Row {
    std::string id;     // "edit:16M": the contenders know it by what stands before the colon
    std::int64_t size;  // of the content
    const char* unit;   // "MB/s": more is better; all others: less is better
    std::string work;   // what it is, for the reader
    const char* limit;  // what the limit is
    std::string target; // see Bound
    std::string trace = {};
    bool MoreIsBetter() const { return std::strcmp(unit, "MB/s") == 0; }
    std::string Name() const { return id.substr(0, id.find(':')); }
};

const std::vector<Row> FixedRows = {
    {"edit:1M", MiB, "ns", "random insert or delete of 8 bytes, 1 MiB", "", "1/20 rope"},
    {"edit:16M", 16 * MiB, "ns", "the same, 16 MiB", "", "1/8 rope and 4 vfile@edit:1M"},
    {"edit:128M", 128 * MiB, "ns", "the same, 128 MiB", "pread and pwrite of 1 KiB", "2 limit"},
    {"editmarks:1M", MiB, "ns", "the same, 1 MiB with 100,000 marks", "", ""},
    {"editlines:1M", MiB, "ns", "the same, 1 MiB with an index of lines", "", ""},
    {"editlines:128M", 128 * MiB, "ns", "the same, 128 MiB with an index of lines", "", "1.1 vfile@edit:128M"},
    {"setpos:1M", MiB, "ns", "random SetPos, 1 MiB", "", ""},
    {"setpos:cache", 2 * MiB, "ns", "the same, 2 MiB", "", ""},
    {"setpos:128M", 128 * MiB, "ns", "the same, 128 MiB", "", ""},
    {"setpos:512M", 512 * MiB, "ns", "the same, 512 MiB", "", "4 vfile@setpos:1M"},
    {"typing:1M", MiB, "ns", "typing into 1 MiB, a byte", "", ""},
    {"typinghistory:1M", MiB, "ns", "the same with a history", "", "3 vfile@typing:1M"},
    {"typinglines:1M", MiB, "ns", "the same with an index of lines", "", "2 vfile@typing:1M"},
    {"append:64M", 64 * MiB, "MB/s", "append 64 MiB by 100 bytes", "pwrite of 64 KiB", "800 or 0.2 limit"},
    {"read:cache", 2 * MiB, "MB/s", "bulk read, 2 MiB in the cache", "memcpy", "0.5 limit"},
    {"read:128M", 128 * MiB, "MB/s", "the same, 128 MiB", "pread of 64 KiB", "0.3 limit"},
    {"equal:cache", MiB, "MB/s", "equality of 1 MiB in the cache", "memcmp", "0.5 limit"},
    {"equal:128M", 128 * MiB, "MB/s", "the same, 128 MiB", "pread of 64 KiB, both sides", "0.3 limit"},
    {"readbyte:cache", 2 * MiB, "MB/s", "byte by byte, 2 MiB in the cache", "", "350"},
    {"readbyte:128M", 128 * MiB, "MB/s", "the same, 128 MiB", "", "350"},
    {"find:cache", 2 * MiB, "MB/s", "absent pattern of 12 bytes, 2 MiB in the cache", "memmem", "0.5 limit"},
    {"find:128M", 128 * MiB, "MB/s", "the same, 128 MiB", "pread of 64 KiB", "0.3 limit"},
    {"findfold:cache", 2 * MiB, "MB/s", "absent pattern, case ignored, 2 MiB in the cache", "memmem", "2000"},
    {"findfold:128M", 128 * MiB, "MB/s", "the same, 128 MiB", "pread of 64 KiB", "0.3 limit"},
    {"findview:cache", 2 * MiB, "MB/s", "the pattern by a view, 2 MiB in the cache", "", "0.95 vfile@find:cache"},
    {"visit:cache", 2 * MiB, "MB/s", "a byte looked for by a visit, 2 MiB in the cache", "",
     "1.1 vfile@visitcopy:cache"},
    {"visitcopy:cache", 2 * MiB, "MB/s", "the same in copies of 1 KiB", "", ""},
    {"iterate:cache", 2 * MiB, "MB/s", "the same by std::find", "", "1 vfile@readbyte:cache"},
    {"replace:64M", 64 * MiB, "ns", "replace 350,000 words in 64 MiB, each", "", "500"},
    {"replace:128M", 128 * MiB, "ns", "replace 700,000 words in 128 MiB, each", "", "1.1 vfile@replace:64M"},
    {"findtold:128M", 128 * MiB, "MB/s", "absent pattern in 128 MiB with progress reported", "",
     "0.95 vfile@find:128M"},
    {"replacetold:64M", 64 * MiB, "ns", "replace words in 64 MiB with progress reported, each", "",
     "1.05 vfile@replace:64M"},
    {"compact:64M", 64 * MiB, "MB/s", "Compact, 64 MiB in blocks of 600 bytes", "", ""},
    {"undo:64M", 64 * MiB, "ns", "undo the replacement of 350,000 words in 64 MiB, each", "", "3 vfile@replace:64M"},
    {"load:256M", 256 * MiB, "MB/s", "load 256 MiB", "read of 64 KiB", "0.3 limit"},
    {"save:256M", 256 * MiB, "MB/s", "save 256 MiB", "write of 64 KiB", "0.3 limit"},
    {"savetold:256M", 256 * MiB, "MB/s", "save 256 MiB with progress reported", "", "0.95 vfile@save:256M"},
    {"open:1G", 1024 * MiB, "ms", "load 1 GiB in place and read its last line", "", "40"},
    {"openmemory:1G", 1024 * MiB, "MB", "peak memory, 1 GiB loaded in place and read", "", "30"},
    {"seqwrite:512M", 512 * MiB, "MB/s", "VMem, 512 MiB: write all", "pwrite of 64 KiB", "0.35 limit and 1 sqlite"},
    {"seqread:512M", 512 * MiB, "MB/s", "VMem, 512 MiB: read all", "pread of 64 KiB", "0.35 limit and 1 sqlite"},
    {"randread:512M", 512 * MiB, "ns", "VMem, 512 MiB: read a byte at random", "pread of 1 KiB",
     "1.3 limit and 1 sqlite and 1 stxxl"},
    {"randwrite:512M", 512 * MiB, "ns", "VMem, 512 MiB: overwrite a byte at random", "pread and pwrite of 1 KiB",
     "1.5 limit and 1 sqlite and 1 stxxl"},
    {"overwrite:512M", 512 * MiB, "ns", "the same once all has been read", "pread and pwrite of 1 KiB", "1 sqlite"},
    {"linestart:cache", 2 * MiB, "ns", "LineStart at random, 2 MiB in the cache", "memrchr", "150"},
    {"lineof:cache", 2 * MiB, "ns", "LineOf at random, 2 MiB in the cache", "", "4 vfile@setpos:cache"},
    {"lineat:cache", 2 * MiB, "ns", "LineAt at random, 2 MiB in the cache", "", "4 vfile@setpos:cache"},
    {"lineof:128M", 128 * MiB, "ns", "LineOf at random, 128 MiB, most of it in the swap file", "", ""},
    {"lineat:128M", 128 * MiB, "ns", "LineAt at random, 128 MiB, most of it in the swap file", "", ""},
    {"countlines:128M", 128 * MiB, "MB/s", "the first question for a line by number, 128 MiB", "", ""},
    {"vfedit:time", 200000000, "ms", "vfedit replaces a word in 200 MB, whole process", "cp", "1.5 sed"},
    {"vfedit:regex", 200000000, "ms", "the same by a regular expression", "", "1 sed"},
    {"vfedit:memory", 200000000, "MB", "vfedit replaces a word in 200 MB: peak memory", "", "1/10 vim"},
    // The cache of 4000 KB, 64 bytes for each of 2^20 blocks, and 8 MB.
    {"memory:1G", 1024 * MiB, "MB", "peak memory, 1 GiB loaded", "", "75.9"}};

struct Cell {
    double value = Missing, peakMb = Missing; // the best of all rounds
    std::string reason;                       // why there is no value
};
using Results = std::map<std::pair<std::string, std::string>, Cell>; // by row and contender

double ValueOf(const Results& results, const std::string& row, const std::string& contender) {
    const auto it = results.find({row, contender});
    return it == results.end() ? Missing : it->second.value;
}

// The value that a row has to reach: the hardest of the terms that "and" joins, or the easiest of those that "or"
// joins. A term is a number, or how many times the value of a contender, in this row or in another one: "4
// vfile@edit:1M".
double Bound(const Results& results, const Row& row) {
    double bound = Missing, term = Missing;
    bool larger = row.MoreIsBetter();
    const auto take = [&] {
        bound = larger ? std::fmax(bound, term) : std::fmin(bound, term);
    }; // a missing one is none
    std::istringstream words(row.target);
    for (std::string word; words >> word;) {
        const auto at = word.find_first_of("@/");
        if (word == "and" || word == "or") {
            take();
            larger = (word == "and") == row.MoreIsBetter();
        } else if (std::isdigit(word[0])) {
            term = std::stod(word) / (at == std::string::npos ? 1 : std::stod(word.substr(at + 1)));
        } else {
            term *= ValueOf(results, at == std::string::npos ? row.id : word.substr(at + 1), word.substr(0, at));
        }
    }
    take();
    return bound;
}

// ---- Processes ----

struct Setup {
    std::string programs, dir, plot, traces;
    bool quick = false, cpu = false;
    int rounds = 3;
    Strings only;
};

struct Outcome {
    int status = 0;
    std::string out;
    double seconds = 0, peakMb = 0;
};

bool failed = false; // a check of a content

// Standard output goes into the outcome, or into the file `to`; `quiet` drops what it says beside that.
Outcome Run(const Setup& setup, const Strings& command, const char* to = nullptr, bool quiet = false) {
    Outcome outcome;
    std::vector<char*> argv;
    for (const std::string& word : command) argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) std::exit(1);
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        dup2(to ? open(to, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600) : ends[1], 1);
        if (quiet) dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), 2);
        alarm(MaxSeconds); // stays on in the program
        execvp(argv[0], argv.data());
        _exit(127);
    }
    close(ends[1]);
    char piece[4096];
    for (ssize_t n; (n = read(ends[0], piece, sizeof piece)) > 0;)
        outcome.out.append(piece, static_cast<std::size_t>(n));
    close(ends[0]);
    rusage usage;
    wait4(child, &outcome.status, 0, &usage);
    outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    if (setup.cpu) {
        outcome.seconds = 0;
        for (const timeval& t : {usage.ru_utime, usage.ru_stime})
            outcome.seconds += static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
    }
    outcome.peakMb = static_cast<double>(usage.ru_maxrss) / 1024;
    return outcome;
}

// False if there is no value, with the reason in the cell.
bool Succeeded(const Outcome& outcome, const std::string& what, Cell& cell) {
    if (WIFEXITED(outcome.status) && WEXITSTATUS(outcome.status) == 0) return true;
    if (WIFSIGNALED(outcome.status) && WTERMSIG(outcome.status) == SIGALRM) {
        cell.reason = "more than " + std::to_string(MaxSeconds) + " s";
    } else {
        std::fprintf(stderr, "%s FAILED\n", what.c_str());
        cell.reason = "failed";
        failed = true;
    }
    return false;
}

void Add(Cell& cell, const Row& row, double value, double peakMb) {
    cell.value = row.MoreIsBetter() ? std::fmax(cell.value, value) : std::fmin(cell.value, value);
    cell.peakMb = std::fmax(cell.peakMb, peakMb);
}

// One run of one cell. False if there is no use in another one.
bool RunCell(const Setup& setup, const Row& row, const std::string& contender, Cell& cell) {
    const bool limit = contender == "limit";
    const std::string program = setup.programs + '/' + (limit ? "limits" : contender) + "_contender";
    if ((limit && !*row.limit) || access(program.c_str(), X_OK) != 0) return false;
    const std::string size = std::to_string(setup.quick ? std::min(row.size, QuickSize) : row.size);
    const Outcome outcome = Run(setup, {program, row.Name(), size, setup.dir, setup.quick ? "quick" : "full",
                                        setup.cpu ? "cpu" : "time", row.trace});
    if (!Succeeded(outcome, row.id + " by " + contender, cell)) return false;
    double value = 0, peakKb = 0;
    if (const auto at = outcome.out.rfind("\nresult "); at != std::string::npos) {
        if (std::sscanf(outcome.out.c_str() + at, " result %lf %lf", &value, &peakKb) != 2) return false;
        Add(cell, row, std::strcmp(row.unit, "MB") == 0 ? peakKb / 1024 : value, peakKb / 1024);
        return outcome.seconds < 30;
    }
    if (const auto at = outcome.out.rfind("\nnone "); at != std::string::npos)
        cell.reason = outcome.out.substr(at + 6, outcome.out.size() - at - 7);
    return false;
}

// Whole programs that replace a word: time, and peak memory for another row.
void RunPrograms(const Setup& setup, const Row& row, Results& results) {
    const std::string size = std::to_string(setup.quick ? QuickSize : row.size);
    const std::string in = setup.dir + "/words-" + size, out = setup.dir + "/edited", wanted = setup.dir + "/wanted";
    const bool regex = row.id == "vfedit:regex";
    const Strings sed = {"sed", regex ? "s/ne*dl[e]/haystack/g" : "s/needle/haystack/g", in};
    const Strings vim = {
        "vim", "-u",        "NONE", "-i", "NONE", "-n", "-es", "-c", "set nofixeol", "-c", "%s/needle/haystack/g",
        "-c",  "w! " + out, "-c",   "q!", in};
    const Strings words = regex ? Strings{"-E", "ne*dl[e]", "haystack"} : Strings{"needle", "haystack"};
    Strings vfedit = {setup.programs + "/../examples/vfedit", in, "-o", out, "replace"};
    vfedit.insert(vfedit.end(), words.begin(), words.end());
    std::map<std::string, Strings> commands = {{"vfile", vfedit}, {"sed", sed}};
    if (!regex) commands.insert({{"vim", vim}, {"limit", {"cp", in, out}}});
    failed |= Run(setup, {setup.programs + "/limits_contender", "make", size, setup.dir, "full", "time"}).status != 0;
    failed |= Run(setup, sed, wanted.c_str()).status != 0;
    for (int round = 0; round < setup.rounds; ++round) {
        for (const auto& [contender, command] : commands) {
            Cell& cell = results[{row.id, contender}];
            if (contender == "vim" && round > 0) continue; // slow
            unlink(out.c_str());
            const Outcome outcome = Run(setup, command, contender == "sed" ? out.c_str() : nullptr, true);
            if (!Succeeded(outcome, row.id + " by " + contender, cell)) continue;
            if (Run(setup, {"cmp", out, contender == "limit" ? in : wanted}).status != 0) {
                std::fprintf(stderr, "wrong: the result of %s\n", contender.c_str());
                failed = true;
            }
            Add(cell, row, outcome.seconds * 1e3, outcome.peakMb);
            if (contender != "limit" && !regex)
                Add(results[{"vfedit:memory", contender}], row, outcome.peakMb, outcome.peakMb);
        }
    }
    for (const std::string& path : {in, out, wanted}) unlink(path.c_str());
}

// ---- Output ----

std::string Number(double v) {
    if (std::isnan(v)) return "-";
    char text[40];
    std::snprintf(text, sizeof text, v < 10 ? "%.2f" : v < 100 ? "%.1f" : "%.0f", v);
    return text;
}

// How many times better than `other`; 0.5 is half as good.
double Better(const Row& row, double mine, double other) {
    return row.MoreIsBetter() ? mine / other : other / mine;
}

// False if a target was missed.
bool PrintTable(const Setup& setup, const std::vector<Row>& rows, const Results& results) {
    int met = 0, judged = 0;
    if (setup.quick) std::printf("A quick run: smaller contents than the rows say, and times that mean nothing.\n\n");
    if (setup.cpu) std::printf("Times are processor times.\n\n");
    std::printf("| work | vfile | peak MB | others | to the best | limit | to the limit | target | bound | |\n"
                "|---|---:|---:|---|---:|---|---:|---|---:|---|\n");
    for (const Row& row : rows) {
        const double mine = ValueOf(results, row.id, "vfile"), limit = ValueOf(results, row.id, "limit");
        if (std::isnan(mine)) continue;
        std::string others, verdict;
        double best = Missing;
        for (const std::string& other : Contenders) {
            const double value = ValueOf(results, row.id, other);
            if (other == "vfile" || other == "limit" || std::isnan(value)) continue;
            const bool hooks = other == "hooks"; // the library itself, and none to be the best of the others
            others += (others.empty() ? "" : ", ") + (hooks ? "with hooks" : other) + ' ' + Number(value);
            if (hooks) continue;
            best = row.MoreIsBetter() ? std::fmax(best, value) : std::fmin(best, value);
        }
        const double bound = setup.quick ? Missing : Bound(results, row);
        if (!std::isnan(bound)) {
            const bool good = row.MoreIsBetter() ? mine >= bound : mine <= bound;
            verdict = good ? "met" : "**missed**";
            met += good;
            ++judged;
        }
        const std::string cells[] = {row.work + ", " + row.unit,
                                     Number(mine),
                                     Number(results.at({row.id, "vfile"}).peakMb),
                                     others,
                                     Number(Better(row, mine, best)),
                                     std::isnan(limit) ? "" : Number(limit) + " " + row.limit,
                                     Number(Better(row, mine, limit)),
                                     row.target,
                                     Number(bound),
                                     verdict};
        for (const std::string& cell : cells) std::printf("| %s ", cell.c_str());
        std::printf("|\n");
    }
    std::map<std::string, std::string> reasons; // by contender and reason, the rows
    for (const auto& [key, cell] : results) {
        if (cell.reason.empty()) continue;
        std::string& list = reasons[key.second + ": " + cell.reason];
        list += (list.empty() ? "" : ", ") + key.first;
    }
    if (!reasons.empty()) std::printf("\nNo result:\n\n");
    for (const auto& [reason, list] : reasons) std::printf("- %s (%s)\n", reason.c_str(), list.c_str());
    if (!setup.quick) std::printf("\n%d of %d targets met.\n", met, judged);
    std::fflush(stdout);
    return met == judged;
}

// Lines of size and contenders' ns, for gnuplot.
void Plot(const Setup& setup) {
    std::FILE* f = std::fopen(setup.plot.c_str(), "w");
    if (!f) std::exit(1);
    const std::int64_t last = setup.quick ? 256 * KiB : 512 * MiB;
    for (std::int64_t size = 64 * KiB; size <= last; size *= size < 256 * MiB ? 4 : 2) {
        std::fprintf(f, "%.4f", static_cast<double>(size) / static_cast<double>(MiB));
        const char* const lines[][2] = {
            {"edit", "vfile"}, {"edit", "rope"}, {"edit", "string"}, {"edit", "cord"}, {"setpos", "vfile"}};
        for (const auto& line : lines) {
            Cell cell;
            RunCell(setup, {line[0], size, "ns", "", "", ""}, line[1], cell);
            std::fprintf(f, "\t%.6g", cell.value);
        }
        std::fprintf(f, "\n");
    }
    std::fclose(f);
}

// A row for each recorded session, or one for a generated one; then the fixed ones.
std::vector<Row> Rows(const std::string& traces) {
    const std::map<std::string, const char*> targets = {{"automerge-paper", "1/12 rope"}, {"rustcode", "1/8 rope"}};
    std::map<std::string, Row> replays;
    if (DIR* dir = traces.empty() ? nullptr : opendir(traces.c_str())) {
        while (const dirent* entry = readdir(dir)) {
            const std::string file = entry->d_name, name = file.substr(0, file.rfind('.'));
            if (file == name || file.substr(name.size()) != ".edtr") continue;
            const auto target = targets.find(name);
            replays[name] = {"replay:" + name,
                             0,
                             "ns",
                             "replay of " + name + ", per patch",
                             "",
                             target == targets.end() ? "" : target->second,
                             traces + '/' + file};
        }
        closedir(dir);
    }
    if (replays.empty())
        replays[""] = {"replay:generated", 0, "ns", "replay of a generated session, per patch", "", ""};
    std::vector<Row> rows;
    for (const auto& [name, row] : replays) rows.push_back(row);
    rows.insert(rows.end(), FixedRows.begin(), FixedRows.end());
    return rows;
}

Setup Arguments(int argc, char** argv) {
    Setup setup;
    std::string rounds;
    const std::map<std::string, std::string*> values = {
        {"--dir", &setup.dir}, {"--traces", &setup.traces}, {"--plot", &setup.plot}, {"--rounds", &rounds}};
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const auto value = values.find(word);
        if (value != values.end() && i + 1 < argc) {
            *value->second = argv[++i];
        } else if (word == "--quick" || word == "--cpu") {
            (word == "--quick" ? setup.quick : setup.cpu) = true;
        } else if (word[0] != '-') {
            setup.only.push_back(word);
        } else {
            std::fprintf(stderr, "vfile_bench: %s: not known, or without its value\n", argv[i]);
            std::exit(1);
        }
    }
    setup.rounds = setup.quick ? 1 : rounds.empty() ? 3 : std::stoi(rounds);
    char self[4096] = {};
    if (readlink("/proc/self/exe", self, sizeof self - 1) < 0) std::exit(1);
    setup.programs = self;
    setup.programs.erase(setup.programs.rfind('/'));
    setup.dir = (setup.dir.empty() ? "/tmp" : setup.dir) + "/vfile-bench-XXXXXX";
    if (!mkdtemp(&setup.dir[0])) {
        std::perror(setup.dir.c_str());
        std::exit(1);
    }
    return setup;
}

} // namespace

int main(int argc, char** argv) {
    const Setup setup = Arguments(argc, argv);
    setenv("TMP", setup.dir.c_str(), 1); // for swap files: all work in one place
    const std::vector<Row> rows = Rows(setup.traces);
    Results results;
    for (const Row& row : rows) {
        const auto named = [&](const std::string& word) { return word == row.id || word == row.Name(); };
        if (!setup.only.empty() && std::none_of(setup.only.begin(), setup.only.end(), named)) continue;
        if (isatty(2)) std::fprintf(stderr, "\r\033[K%s\r", row.id.c_str());
        if (row.Name() == "vfedit") {
            if (row.id != "vfedit:memory") RunPrograms(setup, row, results); // filled with the time
            continue;
        }
        std::map<std::string, bool> done;
        for (int round = 0; round < setup.rounds; ++round) {
            for (const std::string& contender : Contenders)
                done[contender] = done[contender] || !RunCell(setup, row, contender, results[{row.id, contender}]);
        }
    }
    const bool good = PrintTable(setup, rows, results);
    if (!setup.plot.empty()) Plot(setup);
    Run(setup, {"rm", "-rf", setup.dir});
    return failed ? 1 : good ? 0 : 2;
}
