// The library's one way of writing a log record: module 26, shown through LogEntry
// when the log library shows its level, then stored through Log2MyDB unless it is a
// debug record. Only error records carry their source file and line.
#pragma once

#include "log_entry.h"

namespace kq {

enum LogLevel : unsigned int {
    kLogDebug = 1,
    kLogInfo = 2,
    kLogWarning = 3,
    kLogError = 4,
};

constexpr unsigned int kLogModule = 26;

}  // namespace kq

#define KQ_LOG(level, ...)                                                               \
    do {                                                                                 \
        const unsigned int kqLevel_ = (level);                                           \
        const char* kqFile_ = kqLevel_ == ::kq::kLogError ? __FILE__ : nullptr;          \
        const unsigned int kqLine_ = kqLevel_ == ::kq::kLogError ? __LINE__ : 0;         \
        if (LogEntry::IsShow(1u << kqLevel_, 1u << ::kq::kLogModule))                    \
            LogEntry(kqLevel_, ::kq::kLogModule, kqFile_, kqLine_).Msg(__VA_ARGS__);     \
        if (kqLevel_ > ::kq::kLogDebug)                                                  \
            Log2MyDB(kqLevel_, ::kq::kLogModule, kqFile_, kqLine_, __VA_ARGS__);         \
    } while (0)

#define KQ_DEBUG(...) KQ_LOG(::kq::kLogDebug, __VA_ARGS__)
#define KQ_INFO(...) KQ_LOG(::kq::kLogInfo, __VA_ARGS__)
#define KQ_WARNING(...) KQ_LOG(::kq::kLogWarning, __VA_ARGS__)
#define KQ_ERROR(...) KQ_LOG(::kq::kLogError, __VA_ARGS__)

// A failed platform call: `format` takes the code and its text, in that order.
#define KQ_PLATFORM_ERROR(format, code) KQ_ERROR(format, (code), errno2str(code))
#define KQ_PLATFORM_WARNING(format, code) KQ_WARNING(format, (code), errno2str(code))
