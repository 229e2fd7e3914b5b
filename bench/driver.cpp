// vfile_bench [--quick] [--dir DIR] [--traces DIR] [--plot FILE] [ROW...]: runs the contenders, one process for each
// cell, and prints the table; all rows unless some are named. With --plot it writes the cost of an edit and of a move
// of the position against the size of the content. Exits with 1 if a check of a content failed, with 2 if a target was
// missed. --quick: small contents, few operations, no judgement.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <map>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using Strings = std::vector<std::string>;
constexpr std::int64_t KiB = 1024, MiB = 1024 * KiB;
constexpr unsigned MaxSeconds = 300; // of one process
constexpr double Missing = NAN;

// ---- Results ----

struct Cell {
    std::vector<double> values;
    double peakMb = Missing;
    std::string reason; // why there is no value
    double Value() const {
        if (values.empty()) return Missing;
        std::vector<double> sorted = values;
        std::sort(sorted.begin(), sorted.end());
        return sorted[sorted.size() / 2];
    }
};

// By row and contender.
class Results {
  public:
    Cell& At(const std::string& row, const std::string& contender) { return cells[{row, contender}]; }
    double operator()(const std::string& row, const std::string& contender) const {
        const auto it = cells.find({row, contender});
        return it == cells.end() ? Missing : it->second.Value();
    }
    const std::map<std::pair<std::string, std::string>, Cell>& All() const { return cells; }

  private:
    std::map<std::pair<std::string, std::string>, Cell> cells;
};

// ---- Rows ----

// The bound that a row has to keep, in its unit, computed from the other results; Missing if there is none.
using Bound = std::function<double(const Results&)>;

struct Row {
    std::string id;         // "edit:16M": the contenders know it by what stands before the colon
    std::int64_t size;      // of the content
    std::int64_t quickSize; // with --quick
    const char* unit;
    std::string work;  // what it is, for the reader
    const char* limit; // what the limit is
    std::string target;
    Bound bound;
    std::string trace = {};
    bool HigherIsBetter() const { return std::strcmp(unit, "MB/s") == 0; }
    std::string Name() const { return id.substr(0, id.find(':')); }
};

const Strings Contenders = {"vfile", "rope", "string", "cord", "stxxl", "sqlite", "sed", "vim", "limit"};

std::string Named(const std::string& contender) {
    static const std::map<std::string, std::string> names = {{"rope", "libstdc++ rope"}, {"string", "std::string"},
                                                             {"cord", "absl::Cord"},     {"stxxl", "STXXL"},
                                                             {"sqlite", "SQLite"},       {"sed", "GNU sed"}};
    const auto it = names.find(contender);
    return it == names.end() ? contender : it->second;
}

// `factor` times what the contender has in the row.
Bound Times(double factor, const char* row, const char* contender) {
    return [=](const Results& r) { return factor * r(row, contender); };
}

// The hardest of some bounds.
Bound Least(std::vector<Bound> bounds) {
    return [=](const Results& r) {
        double least = INFINITY;
        for (const Bound& bound : bounds) least = std::fmin(least, std::isnan(bound(r)) ? -INFINITY : bound(r));
        return std::isinf(least) ? Missing : least;
    };
}

Bound Most(std::vector<Bound> bounds) {
    return [=](const Results& r) {
        double most = -INFINITY;
        for (const Bound& bound : bounds) most = std::fmax(most, std::isnan(bound(r)) ? INFINITY : bound(r));
        return std::isinf(most) ? Missing : most;
    };
}

Bound Fixed(double value) {
    return [=](const Results&) { return value; };
}

const Bound None;

// Kilobytes of the default cache, 64 bytes per block of 1 KiB, and 8 MB for the process.
double MemoryMb(std::int64_t size) {
    return 4000.0 / 1024 + static_cast<double>(size) / 1024 * 64 / static_cast<double>(MiB) + 8;
}

Row ReplayRow(const std::string& name, const std::string& trace) {
    static const std::map<std::string, double> factors = {{"automerge-paper", 12}, {"rustcode", 8}};
    const std::string id = "replay:" + name;
    Row row{id, 0, 0, "ns", "replay of " + name + ", per patch", "", "", None, trace};
    if (const auto it = factors.find(name); it != factors.end()) {
        row.target = std::to_string(static_cast<int>(it->second)) + " times faster than the rope";
        row.bound = [id, factor = it->second](const Results& r) { return r(id, "rope") / factor; };
    }
    return row;
}

std::vector<Row> Rows(const std::string& traces) {
    std::vector<Row> rows;
    Strings files;
    if (DIR* dir = traces.empty() ? nullptr : opendir(traces.c_str())) {
        while (const dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name.size() > 5 && name.substr(name.size() - 5) == ".edtr") files.push_back(name);
        }
        closedir(dir);
    }
    std::sort(files.begin(), files.end());
    for (const std::string& name : files)
        rows.push_back(ReplayRow(name.substr(0, name.size() - 5), traces + '/' + name));
    if (rows.empty()) rows.push_back(ReplayRow("a generated session", ""));

    const char* pair = "pread and pwrite of 1 KiB";
    const char* preads = "pread of 64 KiB";
    const char* pwrites = "pwrite of 64 KiB";
    const auto add = [&](Row row) { rows.push_back(std::move(row)); };
    add({"edit:1M", MiB, MiB / 4, "ns", "random insert or delete of 8 bytes, 1 MiB", "",
         "20 times faster than the rope", Times(1.0 / 20, "edit:1M", "rope")});
    add({"edit:16M", 16 * MiB, MiB, "ns", "the same, 16 MiB", "",
         "8 times faster than the rope, at most 4 times the cost at 1 MiB",
         Least({Times(1.0 / 8, "edit:16M", "rope"), Times(4, "edit:1M", "vfile")})});
    add({"edit:128M", 128 * MiB, 2 * MiB, "ns", "the same, 128 MiB", pair, "at most 2 times the limit",
         Times(2, "edit:128M", "limit")});
    add({"setpos:1M", MiB, MiB / 4, "ns", "random SetPos, 1 MiB", "", "", None});
    add({"setpos:512M", 512 * MiB, 8 * MiB, "ns", "the same, 512 MiB", "", "at most 4 times the cost at 1 MiB",
         Times(4, "setpos:1M", "vfile")});
    add({"append:64M", 64 * MiB, 8 * MiB, "MB/s", "append 64 MiB in pieces of 100 bytes", pwrites,
         "800 MB/s, or 0.2 of the limit if that is less", Least({Fixed(800), Times(0.2, "append:64M", "limit")})});
    add({"read:cache", 2 * MiB, MiB, "MB/s", "bulk read, 2 MiB in the cache", "memcpy", "0.5 of the limit",
         Times(0.5, "read:cache", "limit")});
    add({"read:128M", 128 * MiB, 8 * MiB, "MB/s", "the same, 128 MiB", preads, "0.3 of the limit",
         Times(0.3, "read:128M", "limit")});
    add({"equal:cache", MiB, MiB, "MB/s", "equality, 2 times 1 MiB in the cache", "memcmp", "0.5 of the limit",
         Times(0.5, "equal:cache", "limit")});
    add({"equal:128M", 128 * MiB, 8 * MiB, "MB/s", "the same, 2 times 128 MiB", "pread of 64 KiB, both",
         "0.3 of the limit", Times(0.3, "equal:128M", "limit")});
    add({"readbyte:cache", 2 * MiB, MiB, "MB/s", "byte by byte, 2 MiB in the cache", "", "350 MB/s", Fixed(350)});
    add({"readbyte:128M", 128 * MiB, 8 * MiB, "MB/s", "the same, 128 MiB", "", "350 MB/s", Fixed(350)});
    add({"find:cache", 2 * MiB, MiB, "MB/s", "absent pattern of 12 bytes, 2 MiB in the cache", "memmem",
         "0.5 of the limit", Times(0.5, "find:cache", "limit")});
    add({"find:128M", 128 * MiB, 8 * MiB, "MB/s", "the same, 128 MiB", preads, "0.3 of the limit",
         Times(0.3, "find:128M", "limit")});
    add({"findfold:cache", 2 * MiB, MiB, "MB/s", "the same whatever the case, 2 MiB in the cache", "memmem",
         "2000 MB/s", Fixed(2000)});
    add({"findfold:128M", 128 * MiB, 8 * MiB, "MB/s", "the same whatever the case, 128 MiB", preads, "0.3 of the limit",
         Times(0.3, "findfold:128M", "limit")});
    add({"replace:64M", 64 * MiB, 2 * MiB, "ns", "replace 350,000 words by longer ones in 64 MiB", "", "500 ns each",
         Fixed(500)});
    add({"replace:128M", 128 * MiB, 4 * MiB, "ns", "twice as many in 128 MiB", "",
         "2.2 times the time: 1.1 times per word", Times(1.1, "replace:64M", "vfile")});
    add({"load:256M", 256 * MiB, 8 * MiB, "MB/s", "load 256 MiB", "read of 64 KiB", "0.3 of the limit",
         Times(0.3, "load:256M", "limit")});
    add({"save:256M", 256 * MiB, 8 * MiB, "MB/s", "save 256 MiB", "write of 64 KiB", "0.3 of the limit",
         Times(0.3, "save:256M", "limit")});
    add({"seqwrite:512M", 512 * MiB, 8 * MiB, "MB/s", "VMem, 512 MiB: write all", pwrites,
         "0.35 of the limit, ahead of SQLite",
         Most({Times(0.35, "seqwrite:512M", "limit"), Times(1, "seqwrite:512M", "sqlite")})});
    add({"seqread:512M", 512 * MiB, 8 * MiB, "MB/s", "the same: read all", preads, "0.35 of the limit, ahead of SQLite",
         Most({Times(0.35, "seqread:512M", "limit"), Times(1, "seqread:512M", "sqlite")})});
    add({"randread:512M", 512 * MiB, 8 * MiB, "ns", "the same: read a byte at random", "pread of 1 KiB",
         "1.3 times the limit, ahead of SQLite and STXXL",
         Least({Times(1.3, "randread:512M", "limit"), Times(1, "randread:512M", "sqlite"),
                Times(1, "randread:512M", "stxxl")})});
    add({"randwrite:512M", 512 * MiB, 8 * MiB, "ns", "the same: overwrite a byte at random", pair,
         "1.5 times the limit, ahead of SQLite and STXXL",
         Least({Times(1.5, "randwrite:512M", "limit"), Times(1, "randwrite:512M", "sqlite"),
                Times(1, "randwrite:512M", "stxxl")})});
    add({"linestart:cache", 2 * MiB, MiB, "ns", "LineStart at random, 2 MiB in the cache", "memrchr", "150 ns",
         Fixed(150)});
    add({"vfedit:time", 200000000, 2000000, "ms", "vfedit replaces a word in 200 MB, whole process", "cp",
         "1.5 times the time of GNU sed", Times(1.5, "vfedit:time", "sed")});
    add({"vfedit:memory", 200000000, 2000000, "MB", "the same: peak memory", "", "a tenth of vim's",
         Times(0.1, "vfedit:memory", "vim")});
    add({"memory:1G", 1024 * MiB, 8 * MiB, "MB", "peak memory, 1 GiB loaded", "", "cache, 64 bytes per block and 8 MB",
         Fixed(MemoryMb(1024 * MiB))});
    return rows;
}

// ---- Processes ----

struct Setup {
    std::string programs, dir, plot, traces;
    bool quick = false;
    Strings only;
};

struct Outcome {
    int status = 0;
    std::string out;
    double seconds = 0, peakMb = 0;
};

// Standard output goes into the outcome, or into the file `to`; `quiet` drops what it says beside that.
Outcome Run(const Strings& command, const char* to = nullptr, bool quiet = false) {
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
    outcome.peakMb = static_cast<double>(usage.ru_maxrss) / 1024;
    return outcome;
}

bool failed = false; // a check of a content

// False if there is no value, with the reason in the cell.
bool Judge(const Outcome& outcome, const std::string& what, Cell& cell) {
    if (WIFEXITED(outcome.status) && WEXITSTATUS(outcome.status) == 0) return true;
    if (WIFSIGNALED(outcome.status) && WTERMSIG(outcome.status) == SIGALRM) {
        cell.reason = "more than " + std::to_string(MaxSeconds) + " s";
    } else if (WIFEXITED(outcome.status) && WEXITSTATUS(outcome.status) == 127) {
        cell.reason = "not installed";
    } else {
        std::fprintf(stderr, "%s FAILED\n", what.c_str());
        cell.reason = "failed";
        failed = true;
    }
    return false;
}

// One run of one cell. False if there is no use in another one.
bool RunCell(const Setup& setup, const Row& row, const std::string& contender, Cell& cell) {
    if (contender == "limit" && !*row.limit) return false;
    const std::string program = setup.programs + '/' + (contender == "limit" ? "limits" : contender) + "_contender";
    if (access(program.c_str(), X_OK) != 0) return false; // not a contender of this row, or not installed
    const std::string size = std::to_string(setup.quick ? row.quickSize : row.size);
    const Outcome outcome = Run({program, row.Name(), size, setup.dir, setup.quick ? "quick" : "full", row.trace});
    if (!Judge(outcome, row.id + " by " + contender, cell)) return false;
    double value = 0, peakKb = 0;
    if (const auto at = outcome.out.rfind("\nresult "); at != std::string::npos) {
        if (std::sscanf(outcome.out.c_str() + at, " result %lf %lf", &value, &peakKb) != 2) return false;
        cell.peakMb = std::fmax(peakKb / 1024, std::isnan(cell.peakMb) ? 0 : cell.peakMb);
        cell.values.push_back(std::strcmp(row.unit, "MB") == 0 ? peakKb / 1024 : value);
        return outcome.seconds < 30;
    }
    if (const auto at = outcome.out.rfind("\nnone "); at != std::string::npos)
        cell.reason = outcome.out.substr(at + 6, outcome.out.size() - at - 7);
    return false;
}

bool SameFile(const std::string& a, const std::string& b) {
    const Outcome outcome = Run({"cmp", a, b});
    return outcome.status == 0;
}

// Whole programs that replace a word: time, and peak memory for another row.
void RunPrograms(const Setup& setup, const Row& row, Results& results) {
    const std::string size = std::to_string(setup.quick ? row.quickSize : row.size);
    const std::string in = setup.dir + "/words-" + size, out = setup.dir + "/edited", wanted = setup.dir + "/wanted";
    Run({setup.programs + "/limits_contender", "make", size, setup.dir, "full"});
    failed |= Run({"sed", "s/needle/haystack/g", in}, wanted.c_str()).status != 0;
    const std::map<std::string, Strings> commands = {
        {"vfile", {setup.programs + "/../examples/vfedit", in, "-o", out, "replace", "needle", "haystack"}},
        {"sed", {"sed", "s/needle/haystack/g", in}},
        {"vim",
         {"vim", "-u", "NONE", "-i", "NONE", "-n", "-es", "-c", "set nofixeol", "-c", "%s/needle/haystack/g", "-c",
          "w! " + out, "-c", "q!", in}},
        {"limit", {"cp", in, out}}};
    for (int round = setup.quick ? 1 : 3; round > 0; --round) {
        for (const auto& [contender, command] : commands) {
            Cell& cell = results.At("vfedit:time", contender);
            if (contender == "vim" && !cell.values.empty()) continue;
            unlink(out.c_str());
            const Outcome outcome = Run(command, contender == "sed" ? out.c_str() : nullptr, true);
            if (!Judge(outcome, row.id + " by " + contender, cell)) continue;
            if (!SameFile(out, contender == "limit" ? in : wanted)) {
                std::fprintf(stderr, "wrong: the result of %s\n", contender.c_str());
                failed = true;
            }
            cell.values.push_back(outcome.seconds * 1e3);
            cell.peakMb = outcome.peakMb;
            if (contender != "limit") results.At("vfedit:memory", contender).values.push_back(outcome.peakMb);
        }
    }
    for (const std::string& path : {in, out, wanted}) unlink(path.c_str());
}

// ---- Output ----

std::string Number(double v) {
    if (std::isnan(v)) return "-";
    char text[40];
    std::snprintf(text, sizeof text, v < 10 ? "%.2f" : v < 100 ? "%.1f" : "%.0f", v);
    std::string digits = text;
    for (auto at = static_cast<std::ptrdiff_t>(digits.size()) - 3; digits.find('.') == std::string::npos && at > 0;
         at -= 3)
        digits.insert(static_cast<std::size_t>(at), ",");
    return digits;
}

std::string Peers(const Results& results, const Row& row, std::string& best, double& bestValue) {
    std::string all;
    for (const std::string& peer : Contenders) {
        const double value = results(row.id, peer);
        if (peer == "vfile" || peer == "limit" || std::isnan(value)) continue;
        all += (all.empty() ? "" : ", ") + Named(peer) + ' ' + Number(value);
        const bool better = row.HigherIsBetter() ? value > bestValue : value < bestValue;
        if (best.empty() || better) best = Named(peer), bestValue = value;
    }
    return all.empty() ? "-" : all;
}

// How many times better than `other`; 0.5 is half as good.
double Better(const Row& row, double mine, double other) {
    return row.HigherIsBetter() ? mine / other : other / mine;
}

bool PrintTable(const Setup& setup, const std::vector<Row>& rows, const Results& results) {
    int met = 0, judged = 0;
    if (setup.quick) std::printf("A quick run: smaller contents than the rows say, and times that mean nothing.\n\n");
    std::printf("| work | unit | vfile | peak MB | peers | times as good as the best | limit | of the limit | target | "
                "bound | |\n"
                "|---|---|---:|---:|---|---|---|---:|---|---:|---|\n");
    for (const Row& row : rows) {
        const double mine = results(row.id, "vfile"), limit = results(row.id, "limit");
        if (std::isnan(mine)) continue;
        std::string best, verdict;
        double bestValue = Missing;
        const std::string peers = Peers(results, row, best, bestValue);
        const double bound = row.bound && !setup.quick ? row.bound(results) : Missing;
        if (!std::isnan(bound)) {
            const bool good = row.HigherIsBetter() ? mine >= bound : mine <= bound;
            verdict = good ? "met" : "**missed**";
            met += good;
            ++judged;
        }
        const auto& cell = results.All().find({row.id, "vfile"})->second;
        std::printf("| %s | %s | %s | %s | %s | %s | %s | %s | %s | %s | %s |\n", row.work.c_str(), row.unit,
                    Number(mine).c_str(), Number(cell.peakMb).c_str(), peers.c_str(),
                    best.empty() ? "-" : (Number(Better(row, mine, bestValue)) + " (" + best + ")").c_str(),
                    std::isnan(limit) ? "-" : (Number(limit) + " (" + row.limit + ")").c_str(),
                    Number(Better(row, mine, limit)).c_str(), row.target.c_str(), Number(bound).c_str(),
                    verdict.c_str());
    }
    std::map<std::string, std::string> reasons; // by contender and reason, the rows
    for (const auto& [key, cell] : results.All()) {
        if (cell.reason.empty()) continue;
        std::string& list = reasons[Named(key.second) + ": " + cell.reason];
        list += (list.empty() ? "" : ", ") + key.first;
    }
    if (!reasons.empty()) std::printf("\nNo result:\n\n");
    for (const auto& [reason, list] : reasons) std::printf("- %s (%s)\n", reason.c_str(), list.c_str());
    if (!setup.quick) std::printf("\n%d of %d targets met.\n", met, judged);
    return setup.quick || met == judged;
}

// Lines of size and contenders' ns, for gnuplot.
void Plot(const Setup& setup) {
    std::FILE* f = std::fopen(setup.plot.c_str(), "w");
    if (!f) std::exit(1);
    const std::int64_t last = setup.quick ? 256 * KiB : 512 * MiB;
    for (std::int64_t size = 64 * KiB; size <= last; size *= size < 256 * MiB ? 4 : 2) {
        std::fprintf(f, "%.4f", static_cast<double>(size) / static_cast<double>(MiB));
        for (const auto& [name, contender] : std::vector<std::pair<const char*, const char*>>{
                 {"edit", "vfile"}, {"edit", "rope"}, {"edit", "string"}, {"edit", "cord"}, {"setpos", "vfile"}}) {
            Cell cell;
            RunCell(setup, {name, size, size, "ns", "", "", "", None}, contender, cell);
            std::fprintf(f, "\t%.6g", cell.Value());
        }
        std::fprintf(f, "\n");
        std::fflush(f);
    }
    std::fclose(f);
}

Setup Arguments(int argc, char** argv) {
    Setup setup;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        std::string* value = word == "--dir"      ? &setup.dir
                             : word == "--traces" ? &setup.traces
                             : word == "--plot"   ? &setup.plot
                                                  : nullptr;
        if (value && i + 1 < argc) {
            *value = argv[++i];
        } else if (word == "--quick") {
            setup.quick = true;
        } else if (word[0] != '-') {
            setup.only.push_back(word);
        } else {
            std::fprintf(stderr, "usage: vfile_bench [--quick] [--dir DIR] [--traces DIR] [--plot FILE] [ROW...]\n");
            std::exit(1);
        }
    }
    char self[4096] = {};
    if (readlink("/proc/self/exe", self, sizeof self - 1) < 0) std::exit(1);
    setup.programs = self;
    setup.programs.erase(setup.programs.rfind('/'));
    if (setup.dir.empty()) setup.dir = "/tmp";
    return setup;
}

} // namespace

int main(int argc, char** argv) {
    Setup setup = Arguments(argc, argv);
    std::string dir = setup.dir + "/vfile-bench-XXXXXX";
    if (!mkdtemp(&dir[0])) {
        std::perror(setup.dir.c_str());
        return 1;
    }
    setup.dir = dir;
    setenv("TMP", dir.c_str(), 1); // for swap files: all work in one place

    Results results;
    std::vector<Row> rows = Rows(setup.traces);
    const auto wanted = [&](const Row& row) {
        const auto is = [&](const std::string& word) { return word == row.id || word == row.Name(); };
        return setup.only.empty() || std::any_of(setup.only.begin(), setup.only.end(), is);
    };
    for (const Row& row : rows) {
        if (!wanted(row)) continue;
        if (isatty(2)) std::fprintf(stderr, "\r\033[K%s", row.id.c_str());
        if (row.Name() == "vfedit") {
            if (row.id == "vfedit:time") RunPrograms(setup, row, results);
            continue;
        }
        std::map<std::string, bool> done;
        for (int round = setup.quick ? 1 : 3; round > 0; --round) {
            for (const std::string& contender : Contenders) {
                if (!done[contender]) done[contender] = !RunCell(setup, row, contender, results.At(row.id, contender));
            }
        }
    }
    if (isatty(2)) std::fprintf(stderr, "\r\033[K");
    const bool good = PrintTable(setup, rows, results);
    if (!setup.plot.empty()) Plot(setup);
    Run({"rm", "-rf", dir});
    return failed ? 1 : good ? 0 : 2;
}
