// The process's thread and open file counts, for tests that check nothing is left.
#pragma once

#include <dirent.h>

#include <chrono>
#include <cstddef>
#include <thread>

// The entries of a /proc folder of this process.
inline std::size_t procEntries(const char* folder) {
    std::size_t count = 0;
    if (DIR* dir = opendir(folder)) {
        while (dirent* entry = readdir(dir)) count += entry->d_name[0] != '.';
        closedir(dir);
    }
    return count;
}

inline std::size_t taskCount() { return procEntries("/proc/self/task"); }
inline std::size_t fdCount() { return procEntries("/proc/self/fd"); }

// The process's thread count once it settles: a joined thread may linger a moment in
// /proc, notably under emulation.
inline std::size_t settledTaskCount(std::size_t expected) {
    for (int i = 0; i < 200 && taskCount() != expected; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return taskCount();
}
