// The process's thread count, for tests that check platform threads end.
#pragma once

#include <dirent.h>

#include <chrono>
#include <cstddef>
#include <thread>

inline std::size_t taskCount() {
    std::size_t count = 0;
    if (DIR* dir = opendir("/proc/self/task")) {
        while (dirent* entry = readdir(dir)) count += entry->d_name[0] != '.';
        closedir(dir);
    }
    return count;
}

// The process's thread count once it settles: a joined thread may linger a moment in
// /proc, notably under emulation.
inline std::size_t settledTaskCount(std::size_t expected) {
    for (int i = 0; i < 200 && taskCount() != expected; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return taskCount();
}
