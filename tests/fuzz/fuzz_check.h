// The fuzz targets' check of a promise beyond the sanitizers'.
#pragma once

#include <cstdio>
#include <cstdlib>

// Stops the fuzzer at a broken promise, naming it, so that libFuzzer keeps the input.
#define KQ_FUZZ_CHECK(condition)                                                          \
    do {                                                                                  \
        if (!(condition)) {                                                               \
            std::fprintf(stderr, "fuzz check failed: %s (%s:%d)\n", #condition, __FILE__, \
                         __LINE__);                                                       \
            std::abort();                                                                 \
        }                                                                                 \
    } while (0)
