// The main function of a contender, clocks, texts and sessions.
#include "harness.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>

namespace bench {
namespace {

constexpr std::size_t ShaSize = 32;
long peakKb = 0;

bool cpuTime = false;

// Keeps the best time of all repetitions and prints nothing.
class QuietReporter : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const double total = cpuTime ? run.cpu_accumulated_time : run.real_accumulated_time;
            if (run.run_type == Run::RT_Iteration) best = std::min(best, total / static_cast<double>(run.iterations));
        }
    }
    double best = 1e9;
};

std::uint32_t NumberAt(const std::string& bytes, std::size_t at) {
    Check(at + 4 <= bytes.size(), "recorded session: cut short");
    std::uint32_t n = 0;
    for (std::size_t i = 0; i < 4; ++i)
        n |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
    return n;
}

// Somebody who types, corrects the last few bytes and goes elsewhere now and then.
void Generate(Session& session, const Job& job) {
    const Text text;
    Random random(2);
    std::string content;
    std::size_t at = 0;
    for (int i = 0; i < (job.quick ? 20000 : 200000); ++i) {
        if (random.Below(40) == 0)
            at = static_cast<std::size_t>(random.Below(static_cast<std::int64_t>(content.size()) + 1));
        const bool back = random.Below(4) == 0 && at > 0;
        const auto del =
            back ? static_cast<std::size_t>(random.Below(std::min<std::int64_t>(3, static_cast<std::int64_t>(at)))) + 1
                 : 0;
        const auto len = back ? 0 : static_cast<std::size_t>(random.Below(30) == 0 ? random.Below(400) : 1);
        at -= del;
        session.patches.push_back({static_cast<std::uint32_t>(at), static_cast<std::uint32_t>(del),
                                   static_cast<std::uint32_t>(len), session.text.size()});
        session.text.append(text.At(random.Below(Text::Period)), len);
        content.replace(at, del, session.text, session.text.size() - len, len);
        at += len;
    }
    session.sha256 = Sha256(job, content);
}

} // namespace

void Check(bool ok, const char* what) {
    if (ok) return;
    std::fprintf(stderr, "wrong: %s\n", what);
    std::exit(1);
}

void NotePeak() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    peakKb = usage.ru_maxrss;
}

int Main(int argc, char** argv, std::initializer_list<Rows> lists) {
    Check(argc >= 6, "usage: ROW SIZE DIR quick|full time|cpu [TRACE]");
    Job job{argv[1], std::atoll(argv[2]), argv[3], argc > 6 ? argv[6] : "", std::strcmp(argv[4], "quick") == 0};
    cpuTime = std::strcmp(argv[5], "cpu") == 0;
    for (const Rows& rows : lists) {
        for (const Row& row : rows) {
            if (job.row != row.name) continue;
            const double value = row.run ? row.run(job) : 0;
            if (row.run) {
                std::printf("\nresult %.6g %ld\n", value, peakKb);
            } else {
                std::printf("\nnone %s\n", row.reason);
            }
        }
    }
    return 0;
}

double Now() {
    timespec t;
    clock_gettime(cpuTime ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

double Repeated(const Job& job, const std::function<void()>& pass) {
    const double first = Seconds(pass);
    if (job.quick || first > 0.5) return first;
    auto* b = benchmark::RegisterBenchmark(job.row.c_str(), [&pass](benchmark::State& state) {
        for (auto _ : state) pass();
    });
    b->UseRealTime()->MeasureProcessCPUTime()->MinTime(0.1)->Repetitions(5);
    QuietReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    NotePeak();
    return reporter.best;
}

double NanosPerOp(const Job& job, long most, long& done, const std::function<void()>& batch) {
    if (job.quick) most = std::min(most, 2000L);
    const double longest = job.quick ? 0.2 : 4;
    double seconds = 0;
    for (done = 0; done < most && seconds < longest; done += BatchSize) seconds += Seconds(batch);
    return seconds / static_cast<double>(done) * 1e9;
}

Text::Text() {
    Random random(3);
    while (bytes.size() < Period) {
        for (std::int64_t pairs = 1 + random.Below(5); pairs > 0; --pairs) {
            bytes += "bdlmnrst"[random.Below(8)];
            bytes += "aeiou"[random.Below(5)];
        }
        bytes += random.Below(12) == 0 ? '\n' : ' ';
    }
    bytes.resize(Period);
    bytes.append(bytes, 0, PieceSize);
}

std::string TextFile(const Job& job, const char* name, std::int64_t size, bool withWords) {
    std::string path = job.dir + '/' + name + '-' + std::to_string(size);
    struct stat st;
    if (stat(path.c_str(), &st) == 0) return path;
    const Text text;
    std::ofstream file(path, std::ios::binary);
    if (withWords) {
        ForWordPieces(text, size, Word, WordLen, [&](const char* bytes, int n) { file.write(bytes, n); });
    } else {
        ForPieces(text, size, [&](std::int64_t, const char* bytes, int n) { file.write(bytes, n); });
    }
    file.close();
    Check(!file.fail(), "a test file can't be written");
    return path;
}

Session::Session(const Job& job) {
    if (job.trace.empty()) {
        Generate(*this, job);
        return;
    }
    std::ifstream file(job.trace, std::ios::binary);
    const std::string all((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    Check(all.compare(0, 4, "EDTR") == 0 && NumberAt(all, 4) == 1, "recorded session: not of a known format");
    constexpr std::size_t HeaderSize = 52, ShaAt = 20;
    Check(all.size() >= HeaderSize, "recorded session: cut short");
    sha256 = all.substr(ShaAt, ShaSize);
    const std::size_t startLen = NumberAt(all, 8);
    start = all.substr(HeaderSize, startLen);
    std::size_t at = HeaderSize + startLen;
    for (std::uint32_t n = NumberAt(all, 12); n > 0; --n) {
        const Patch patch{NumberAt(all, at), NumberAt(all, at + 4), NumberAt(all, at + 8), text.size()};
        text.append(all, at + 12, patch.len);
        patches.push_back(patch);
        at += 12 + patch.len;
    }
    Check(at == all.size(), "recorded session: cut short");
}

std::string Sha256(const Job& job, const std::string& bytes) {
    const std::string path = job.dir + "/outcome";
    std::ofstream(path, std::ios::binary) << bytes;
    std::FILE* pipe = popen(("sha256sum " + path).c_str(), "r");
    Check(pipe != nullptr, "sha256sum does not start");
    std::string sum;
    unsigned byte = 0;
    while (sum.size() < ShaSize && std::fscanf(pipe, "%2x", &byte) == 1) sum += static_cast<char>(byte);
    pclose(pipe);
    return sum;
}

EditModel::EditModel(const Text& text, std::int64_t size, long edits) {
    bench::ForPieces(text, size, [&](std::int64_t, const char* bytes, int n) {
        pieces.emplace_back(bytes, static_cast<std::size_t>(n));
    });
    EditStream stream(size);
    for (long i = 0; i < edits; ++i) {
        stream.Next([&](std::int64_t at, int del, const char* bytes, int n) {
            auto piece = pieces.begin();
            auto p = static_cast<std::size_t>(at);
            for (; p > piece->size(); ++piece) p -= piece->size();
            piece->insert(p, bytes, static_cast<std::size_t>(n));
            for (auto left = static_cast<std::size_t>(del); left > 0; p = 0, ++piece) {
                const std::size_t here = std::min(left, piece->size() - p);
                piece->erase(p, here);
                left -= here;
            }
        });
    }
}

} // namespace bench
