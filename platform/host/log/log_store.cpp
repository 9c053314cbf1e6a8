#include "log/log_store.h"

#include <functional>
#include <mutex>

#include "log/bounded_history.h"
#include "log/log_level.h"

namespace hostctl {

// What a record costs, for the store's byte budget.
static std::size_t footprint(const LogRecord& r) {
    return sizeof r + heapBytes(r.file) + heapBytes(r.text) + heapBytes(r.format);
}

}  // namespace hostctl

namespace host::log {
namespace {

// Where and which levels the log is echoed. A lock of its own, held while a line is
// written: a slow stream holds up no platform call, and once the stream is replaced no
// writer still uses the old one, which its owner may then close.
class LogEcho {
public:
    // As a fresh process starts.
    void reset() {
        std::lock_guard<std::mutex> lock(mMutex);
        mStream = stderr;
        mLevels = startupLevels();
    }

    void setStream(std::FILE* stream) {
        std::lock_guard<std::mutex> lock(mMutex);
        mStream = stream;
    }
    void setLevels(unsigned int levels) {
        std::lock_guard<std::mutex> lock(mMutex);
        mLevels = levels;
    }

    bool shows(unsigned int level) {
        std::lock_guard<std::mutex> lock(mMutex);
        return showsLocked(level);
    }

    // Writes the record's line when its level is shown; whether it did.
    bool write(const hostctl::LogRecord& record) {
        std::lock_guard<std::mutex> lock(mMutex);
        if (!showsLocked(record.level)) return false;
        std::fprintf(mStream, "%s\n", record.readable().c_str());
        return true;
    }

private:
    bool showsLocked(unsigned int level) const {
        return mStream && level < 32 && (mLevels & (1u << level)) != 0;
    }

    std::mutex mMutex;
    std::FILE* mStream = stderr;
    unsigned int mLevels = startupLevels();
};

struct LogState {
    std::mutex mutex;
    hostctl::BoundedHistory<hostctl::LogRecord> records{hostctl::kLogMaxRecords,
                                                        hostctl::kLogMaxBytes};
    LogEcho echo;
    // Held while the listener runs, so that once replaced the old one is never called.
    std::mutex listenerMutex;
    std::function<void(const hostctl::LogRecord&)> listener;
};

LogState& state() {
    static LogState* s = new LogState;  // outlives every static destructor
    return *s;
}

const char* levelName(unsigned int level) {
    switch (level) {
        case 1: return "debug";
        case 2: return "info ";
        case 3: return "warn ";
        case 4: return "error";
        default: return "?    ";
    }
}

}  // namespace

bool levelShown(unsigned int level) { return state().echo.shows(level); }

void storeRecord(hostctl::LogRecord record) {
    LogState& s = state();
    // Shown records are the echoed ones: a record of a level not shown is dropped here,
    // even when its caller skipped IsShow(). Stored records are kept whatever is shown.
    if (record.path == hostctl::LogRecord::Path::Shown && !s.echo.write(record)) return;
    if (record.path == hostctl::LogRecord::Path::Stored) {
        std::lock_guard<std::mutex> lock(s.listenerMutex);
        if (s.listener) s.listener(record);
    }
    std::lock_guard<std::mutex> lock(s.mutex);
    s.records.push(std::move(record));
}

void resetStore() {
    LogState& s = state();
    {
        std::lock_guard<std::mutex> lock(s.listenerMutex);
        s.listener = nullptr;
    }
    std::lock_guard<std::mutex> lock(s.mutex);
    s.records.clear();
    s.echo.reset();
}

}  // namespace host::log

namespace hostctl {

using host::log::state;

std::string LogRecord::readable() const {
    std::string out = host::log::levelName(level);
    if (!file.empty()) out += " " + file + ":" + std::to_string(line);
    out += " " + text;
    while (!out.empty() && out.back() == '\n') out.pop_back();
    return out;
}

std::vector<LogRecord> logRecords(LogRecord::Path path) {
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    std::vector<LogRecord> matching;
    for (const LogRecord& r : s.records.entries())
        if (r.path == path) matching.push_back(r);
    return matching;
}

std::vector<std::string> logTexts() {
    std::vector<std::string> texts;
    for (LogRecord& r : logRecords()) texts.push_back(std::move(r.text));
    return texts;
}

void clearLogRecords() {
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.records.clear();
}

void setShownLevels(unsigned int levelMask) { state().echo.setLevels(levelMask); }

void setLogListener(std::function<void(const LogRecord&)> listener) {
    std::lock_guard<std::mutex> lock(state().listenerMutex);
    state().listener = std::move(listener);
}

void setLogEcho(std::FILE* stream) { state().echo.setStream(stream); }

}  // namespace hostctl
