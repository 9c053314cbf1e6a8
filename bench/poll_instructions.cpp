// Instructions per frame that kq_poll_frame() spends in the library's own code. The
// program runs itself under callgrind twice, collecting only inside kq_poll_frame():
// a short run and one with the measured frames more. The difference of the two is
// the cost of the measured frames alone, free of one-time costs such as lazy symbol
// binding. Self costs are grouped by object: the library, libc less the mandated
// sleep, the sleep, the platform and the rest.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "bench_report.h"
#include "callgrind_profile.h"
#include "child_process.h"
#include "host_control.h"
#include "scripted_pipe.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kWorkloadFlag = "--workload";
constexpr int kBaselineFrames = 200;
constexpr int kMeasuredFrames = 2000;
constexpr std::size_t kLibraryFunctionsShown = 5;
static_assert(kBaselineFrames % bench::ScriptedPipe::kBatch == 0 &&
                  kMeasuredFrames % bench::ScriptedPipe::kBatch == 0,
              "whole batches only");

int countFrame(const uint8_t*, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, void*) {
    return 0;
}

// What runs under callgrind: `frames` frames pushed in batches and polled out.
int runWorkload(int frames) {
    bench::ScriptedPipe pipe(countFrame, nullptr);
    if (!pipe.started()) return 1;
    hostctl::setJournalEnabled(false);
    for (int done = 0; done < frames; done += bench::ScriptedPipe::kBatch)
        if (!pipe.push(bench::ScriptedPipe::kBatch) || !pipe.poll(bench::ScriptedPipe::kBatch))
            return 1;
    return 0;
}

// A folder of its own for the runs' files, removed with everything in it.
class ScratchFolder {
public:
    ScratchFolder() {
        char pattern[] = "/tmp/kq-bench-XXXXXX";
        if (mkdtemp(pattern)) mPath = pattern;
    }
    ~ScratchFolder() {
        std::error_code ignored;
        if (!mPath.empty()) fs::remove_all(mPath, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    bool ok() const { return !mPath.empty(); }
    std::string file(const std::string& name) const { return (mPath / name).string(); }

private:
    fs::path mPath;
};

bool objectIs(const std::string& object, const char* prefix) {
    std::string name = fs::path(object).filename().string();
    return name.compare(0, std::strlen(prefix), prefix) == 0;
}

// Self costs grouped the way the target counts them.
struct Breakdown {
    double library = 0;
    double libc = 0;   // without the sleep
    double sleep = 0;  // usleep, nanosleep, clock_nanosleep
    double platform = 0;
    double other = 0;         // libstdc++, the dynamic loader, this program's callback
    double unattributed = 0;  // inlined lines whose object could not be told
    double total = 0;
    std::map<std::string, double> libraryFunctions;

    explicit Breakdown(const bench::CallgrindProfile& profile) : total(profile.total) {
        for (const bench::FunctionCost& f : profile.functions) add(f);
    }

    // The costs of `more` beyond this, per frame of the `frames` it ran more.
    Breakdown perFrameBeyond(const Breakdown& more, int frames) const {
        auto step = [frames](double from, double to) { return (to - from) / frames; };
        Breakdown d = *this;
        d.library = step(library, more.library);
        d.libc = step(libc, more.libc);
        d.sleep = step(sleep, more.sleep);
        d.platform = step(platform, more.platform);
        d.other = step(other, more.other);
        d.unattributed = step(unattributed, more.unattributed);
        d.total = step(total, more.total);
        d.libraryFunctions.clear();
        for (const auto& [name, cost] : more.libraryFunctions) {
            auto base = libraryFunctions.find(name);
            d.libraryFunctions[name] =
                step(base == libraryFunctions.end() ? 0 : base->second, cost);
        }
        return d;
    }

private:
    void add(const bench::FunctionCost& f) {
        double ir = static_cast<double>(f.instructions);
        if (objectIs(f.object, "libkq_api.so")) {
            library += ir;
            libraryFunctions[f.function] += ir;
        } else if (objectIs(f.object, "libc.so")) {
            (f.function.find("sleep") != std::string::npos ? sleep : libc) += ir;
        } else if (objectIs(f.object, "libkq_host_platform.so")) {
            platform += ir;
        } else if (f.object.empty()) {
            unattributed += ir;
        } else {
            other += ir;
        }
    }
};

void reportCosts(const Breakdown& perFrame, bench::Report& report) {
    report.figure("frames measured (difference of the runs)", kMeasuredFrames, "frames");
    report.figure("library instructions per frame", perFrame.library, "Ir/frame",
                  bench::Target::under(2000), 1);
    report.figure("libc instructions per frame, sleep aside", perFrame.libc, "Ir/frame", 1);
    report.figure("libc sleep instructions per frame", perFrame.sleep, "Ir/frame", 1);
    report.figure("platform instructions per frame", perFrame.platform, "Ir/frame", 1);
    report.figure("other instructions per frame", perFrame.other, "Ir/frame", 1);
    if (perFrame.unattributed != 0)
        report.figure("instructions of no known object per frame", perFrame.unattributed,
                      "Ir/frame", 1);
    report.figure("all instructions per frame", perFrame.total, "Ir/frame", 1);

    std::vector<std::pair<std::string, double>> functions(perFrame.libraryFunctions.begin(),
                                                          perFrame.libraryFunctions.end());
    std::sort(functions.begin(), functions.end(),
              [](const auto& a, const auto& b) { return a.second > b.second; });
    functions.resize(std::min(functions.size(), kLibraryFunctionsShown));
    report.note("the library's costliest functions:");
    for (const auto& [name, cost] : functions) report.figure("  " + name, cost, "Ir/frame", 1);
}

std::string ownPath() {
    std::error_code error;
    fs::path path = fs::read_symlink("/proc/self/exe", error);
    return error ? std::string() : path.string();
}

std::string commandLine(const std::vector<std::string>& argv) {
    std::string line = "running:";
    for (const std::string& arg : argv) line += " " + arg;
    return line;
}

// Runs `command` with its output in `outputFile`; on failure prints that output.
bool runTool(const std::vector<std::string>& command, const std::string& outputFile,
             bench::Report& report) {
    report.note(commandLine(command));
    if (bench::runChild(command, outputFile) == 0) return true;
    std::fprintf(stderr, "%s failed:\n%s", command[0].c_str(), bench::readFile(outputFile).c_str());
    return false;
}

// The self costs of a run of `frames` frames under callgrind.
std::optional<bench::CallgrindProfile> profileRun(int frames, const ScratchFolder& scratch,
                                                  bench::Report& report) {
    const std::string name = std::to_string(frames);
    const std::string counts = scratch.file("callgrind-" + name + ".out");
    const std::string annotated = scratch.file("annotate-" + name + ".txt");
    if (!runTool({"valgrind", "--tool=callgrind", "--toggle-collect=kq_poll_frame",
                  "--callgrind-out-file=" + counts, ownPath(), kWorkloadFlag, name},
                 scratch.file("valgrind-" + name + ".log"), report) ||
        !runTool({"callgrind_annotate", "--inclusive=no", "--threshold=100", "--auto=no", counts},
                 annotated, report))
        return std::nullopt;
    bench::CallgrindProfile profile = bench::parseCallgrindAnnotate(bench::readFile(annotated));
    if (profile.functions.empty()) {
        std::fprintf(stderr, "callgrind_annotate's report listed no function\n");
        return std::nullopt;
    }
    return profile;
}

int measure() {
    bench::Report report("bench_poll_instructions: instructions per frame in kq_poll_frame()");
    for (const char* tool : {"valgrind", "callgrind_annotate"}) {
        if (!bench::onPath(tool)) {
            report.note(std::string(tool) +
                        " not found (./dev bench installs it): nothing measured");
            return 1;
        }
    }
    ScratchFolder scratch;
    if (!scratch.ok() || ownPath().empty()) {
        std::fprintf(stderr, "no scratch folder or no path of this program\n");
        return 1;
    }
    auto baseline = profileRun(kBaselineFrames, scratch, report);
    auto longer =
        baseline ? profileRun(kBaselineFrames + kMeasuredFrames, scratch, report) : std::nullopt;
    if (!longer) return 1;
    reportCosts(Breakdown(*baseline).perFrameBeyond(Breakdown(*longer), kMeasuredFrames), report);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 2 && std::strcmp(argv[1], kWorkloadFlag) == 0)
        return runWorkload(std::atoi(argv[2]));
    return measure();
}
