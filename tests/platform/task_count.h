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

// ThreadSanitizer starts a thread of its own with the process's first thread, so the
// first count starts and joins one thread, making that thread part of every count.
inline std::size_t taskCount() {
    static const bool warmedUp = [] {
        std::thread([] {}).join();
        // The joined thread may linger a moment in /proc: wait for five equal counts.
        std::size_t last = 0;
        for (int i = 0, same = 0; i < 200 && same < 5; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            const std::size_t now = procEntries("/proc/self/task");
            same = now == last ? same + 1 : 0;
            last = now;
        }
        return true;
    }();
    (void)warmedUp;
    return procEntries("/proc/self/task");
}
inline std::size_t fdCount() { return procEntries("/proc/self/fd"); }

// The process's thread count once it settles: a joined thread may linger a moment in
// /proc, notably under emulation.
inline std::size_t settledTaskCount(std::size_t expected) {
    for (int i = 0; i < 200 && taskCount() != expected; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return taskCount();
}
