// Samples another process's resident memory, open files and threads from /proc, and
// reports how they grew over a long run: what the soaks watch for leaks.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "bench_report.h"

namespace bench {

struct ProcessSample {
    long residentKb = -1;  // VmRSS
    long openFiles = -1;   // entries of /proc/PID/fd
    long threads = -1;     // Threads
};

// -1 in every figure that could not be read (a process that is gone).
ProcessSample sampleProcess(pid_t pid);

// Prints the three figures after warm-up (sample `warmUp`) and at the end, and their
// growth over the run after warm-up and over its last quarter. Each end is the median of
// the samples within two of it: the resident size wavers as the allocator returns pages
// or keeps them, and a single stray sample must not read as growth. `unit` names the
// run's progress ("cycles", "s") and `perSample` how much of it one sample stands for.
void reportGrowth(Report& report, const std::vector<ProcessSample>& samples,
                  std::size_t warmUp, const std::string& unit, double perSample,
                  double flatTargetMb);

}  // namespace bench
