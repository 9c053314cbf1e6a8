// Samples another process's resident memory, open files and threads from /proc, and
// reports how they grew over a long run: what the soaks watch for leaks.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

#include "bench_report.h"

namespace bench {

struct ProcessSample {
    double at = 0;         // the run's progress when taken: cycles, seconds
    long residentKb = -1;  // VmRSS
    long openFiles = -1;   // entries of /proc/PID/fd
    long threads = -1;     // Threads
};

// -1 in every figure that could not be read (a process that is gone).
ProcessSample sampleProcess(pid_t pid, double at);

// The table's heading and one row of it, printed as the samples come in.
void printTableHeading(const std::string& unit);
void printTableRow(const ProcessSample& sample);
// The heading and at most about `rows` rows, evenly spread, the last sample included.
void printTable(const std::vector<ProcessSample>& samples, const std::string& unit,
                std::size_t rows);

// Prints the three figures after warm-up (the first sample at or past `warmUp`) and at
// the end, their growth over the run after warm-up, per `ratePer` of the run, and over
// the first and the last quarter after warm-up. Each end is the median of the samples
// within two of it: the resident size wavers as the allocator returns pages or keeps
// them, and a single stray sample must not read as growth. The goal is flat: growth over
// the last quarter is judged against `flatTargetMb` for the resident size and against
// none for files and threads.
void reportGrowth(Report& report, const std::vector<ProcessSample>& samples, double warmUp,
                  const std::string& unit, double ratePer, double flatTargetMb);

}  // namespace bench
