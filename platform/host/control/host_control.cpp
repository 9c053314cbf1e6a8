#include "host_control.h"

#include <time.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <string_view>

#include "bounded_history.h"
#include "call_journal.h"
#include "host_state.h"
#include "log/log_level.h"

namespace hostctl {

// What an entry of the journal or the log costs, for their byte budgets.
static std::size_t footprint(const JournalEntry& e) {
    return sizeof e + heapBytes(e.function) + heapBytes(e.args);
}

static std::size_t footprint(const LogRecord& r) {
    return sizeof r + heapBytes(r.file) + heapBytes(r.text) + heapBytes(r.format);
}

namespace {

struct PendingFailure {
    unsigned int remaining;  // calls still to pass before this one fails
    int code;
};

// Where and which levels the log is echoed. A lock of its own, held while a line is
// written: a slow stream holds up no platform call, and once the stream is replaced no
// writer still uses the old one, which its owner may then close.
class LogEcho {
public:
    // As a fresh process starts.
    void reset() {
        std::lock_guard<std::mutex> lock(mMutex);
        mStream = stderr;
        mLevels = host::log::startupLevels();
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
    bool write(const LogRecord& record) {
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
    unsigned int mLevels = host::log::startupLevels();
};

struct ControlState {
    std::mutex mutex;
    std::atomic<bool> journaling{true};
    BoundedHistory<JournalEntry> journal{kJournalMaxCalls, kJournalMaxBytes};
    // Looked up by the caller's own name text, so a call allocates nothing here.
    std::map<std::string, std::vector<PendingFailure>, std::less<>> failures;
    BoundedHistory<LogRecord> records{kLogMaxRecords, kLogMaxBytes};
    LogEcho echo;
};

ControlState& state() {
    static ControlState* s = new ControlState;  // outlives every static destructor
    return *s;
}

}  // namespace

bool journalEnabled() { return state().journaling.load(std::memory_order_relaxed); }

void setJournalEnabled(bool enabled) { state().journaling = enabled; }

bool Call::takeFailure(const char* function, int* code) {
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.failures.empty()) return false;
    auto it = s.failures.find(std::string_view(function));
    if (it == s.failures.end()) return false;
    bool fails = false;
    for (PendingFailure& f : it->second) {
        if (--f.remaining == 0 && !fails) {
            fails = true;
            *code = f.code;
        }
    }
    auto& pending = it->second;
    pending.erase(std::remove_if(pending.begin(), pending.end(),
                                 [](const PendingFailure& f) { return f.remaining == 0; }),
                  pending.end());
    if (pending.empty()) s.failures.erase(it);
    return fails;
}

namespace {

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

Call::~Call() {
    if (!mRecorded) result(mResult);
}

int Call::result(int code) {
    mResult = code;
    mRecorded = true;
    if (!journalEnabled()) return code;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const uint64_t timeUs = uint64_t(now.tv_sec) * 1000000u + uint64_t(now.tv_nsec) / 1000u;
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.journal.push({mFunction, std::move(mArgs), code, timeUs});
    return code;
}


std::string JournalEntry::text() const {
    return function + "(" + args + ") = " + std::to_string(result);
}

std::vector<JournalEntry> journal() {
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return {s.journal.entries().begin(), s.journal.entries().end()};
}

void clearJournal() {
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.journal.clear();
}

std::vector<JournalEntry> calls(const std::string& function) {
    std::vector<JournalEntry> matching;
    for (JournalEntry& e : journal())
        if (e.function == function) matching.push_back(std::move(e));
    return matching;
}

std::vector<std::string> callTexts() {
    std::vector<std::string> texts;
    for (const JournalEntry& e : journal()) texts.push_back(e.function + "(" + e.args + ")");
    return texts;
}

void failCall(const std::string& function, unsigned int nth, int code) {
    if (nth == 0) return;
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.failures[function].push_back({nth, code});
}

void clearFailures() {
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.failures.clear();
}

std::string LogRecord::readable() const {
    std::string out = levelName(level);
    if (!file.empty()) out += " " + file + ":" + std::to_string(line);
    out += " " + text;
    while (!out.empty() && out.back() == '\n') out.pop_back();
    return out;
}

std::vector<LogRecord> logRecords(LogRecord::Path path) {
    ControlState& s = state();
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
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.records.clear();
}

void setShownLevels(unsigned int levelMask) { state().echo.setLevels(levelMask); }

void setLogEcho(std::FILE* stream) { state().echo.setStream(stream); }

bool levelShown(unsigned int level) { return state().echo.shows(level); }

void storeLogRecord(LogRecord record) {
    ControlState& s = state();
    // Shown records are the echoed ones: a record of a level not shown is dropped here,
    // even when its caller skipped IsShow(). Stored records are kept whatever is shown.
    if (record.path == LogRecord::Path::Shown && !s.echo.write(record)) return;
    std::lock_guard<std::mutex> lock(s.mutex);
    s.records.push(std::move(record));
}

void reset() {
    resetMedia();
    resetSupport();
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.journal.clear();
    s.failures.clear();
    s.records.clear();
    s.echo.reset();
    s.journaling = true;
}

int liveChannelCount() { return mediaLiveChannels(); }
int platformInitCount() { return mediaInitCount(); }

}  // namespace hostctl
