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

// Where a record is written from. Error records carry it; code shared by several source
// files takes its caller's site, so that the record names the file that asked for it.
struct LogSite {
    const char* file;
    unsigned int line;
};

}  // namespace kq

#define KQ_HERE (::kq::LogSite{__FILE__, __LINE__})

#define KQ_LOG_AT(site, level, ...)                                                  \
    do {                                                                             \
        const unsigned int kqLevel_ = (level);                                       \
        const ::kq::LogSite kqSite_ = (site);                                        \
        const char* kqFile_ = kqLevel_ == ::kq::kLogError ? kqSite_.file : nullptr;  \
        const unsigned int kqLine_ = kqLevel_ == ::kq::kLogError ? kqSite_.line : 0; \
        if (LogEntry::IsShow(1u << kqLevel_, 1u << ::kq::kLogModule))                \
            LogEntry(kqLevel_, ::kq::kLogModule, kqFile_, kqLine_).Msg(__VA_ARGS__); \
        if (kqLevel_ > ::kq::kLogDebug)                                              \
            Log2MyDB(kqLevel_, ::kq::kLogModule, kqFile_, kqLine_, __VA_ARGS__);     \
    } while (0)

#define KQ_LOG(level, ...) KQ_LOG_AT(KQ_HERE, level, __VA_ARGS__)
#define KQ_DEBUG(...) KQ_LOG(::kq::kLogDebug, __VA_ARGS__)
#define KQ_INFO(...) KQ_LOG(::kq::kLogInfo, __VA_ARGS__)
#define KQ_WARNING(...) KQ_LOG(::kq::kLogWarning, __VA_ARGS__)
#define KQ_ERROR(...) KQ_LOG(::kq::kLogError, __VA_ARGS__)
#define KQ_ERROR_AT(site, ...) KQ_LOG_AT(site, ::kq::kLogError, __VA_ARGS__)

// A failed platform call: `format` takes the code and its text, in that order.
#define KQ_PLATFORM_ERROR(format, code) KQ_ERROR(format, (code), errno2str(code))
#define KQ_PLATFORM_ERROR_AT(site, format, code) KQ_ERROR_AT(site, format, (code), errno2str(code))
#define KQ_PLATFORM_WARNING(format, code) KQ_WARNING(format, (code), errno2str(code))
