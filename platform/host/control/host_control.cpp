#include "host_control.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <string_view>

#include "call_journal.h"
#include "host_state.h"

namespace hostctl {
namespace {

struct PendingFailure {
    unsigned int remaining;  // calls still to pass before this one fails
    int code;
};

// The journal keeps the latest calls; a long run forgets its oldest half at a time.
constexpr std::size_t kJournalLimit = 1 << 16;

struct ControlState {
    std::mutex mutex;
    std::atomic<bool> journaling{true};
    std::vector<JournalEntry> journal;
    // Looked up by the caller's own name text, so a call allocates nothing here.
    std::map<std::string, std::vector<PendingFailure>, std::less<>> failures;
    std::vector<LogRecord> records;
    unsigned int shownLevels = ~0u;
    std::FILE* echo = nullptr;
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
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.journal.size() >= kJournalLimit)
        s.journal.erase(s.journal.begin(), s.journal.begin() + kJournalLimit / 2);
    s.journal.push_back({mFunction, std::move(mArgs), code});
    return code;
}

std::string JournalEntry::text() const {
    return function + "(" + args + ") = " + std::to_string(result);
}

std::vector<JournalEntry> journal() {
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.journal;
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
    for (const LogRecord& r : s.records)
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

void setShownLevels(unsigned int levelMask) {
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.shownLevels = levelMask;
}

void setLogEcho(std::FILE* stream) {
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.echo = stream;
}

bool levelShown(unsigned int level) {
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return level < 32 && (s.shownLevels & (1u << level)) != 0;
}

void storeLogRecord(LogRecord record) {
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    // Debug records are only ever shown, the others are shown and stored: echo each once.
    bool echoed = record.path == LogRecord::Path::Stored || record.level <= 1;
    if (s.echo && echoed)
        std::fprintf(s.echo, "%s\n", record.readable().c_str());
    s.records.push_back(std::move(record));
}

void reset() {
    resetMedia();
    resetSupport();
    ControlState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.journal.clear();
    s.failures.clear();
    s.records.clear();
    s.shownLevels = ~0u;
    s.journaling = true;
}

int liveChannelCount() { return mediaLiveChannels(); }
int platformInitCount() { return mediaInitCount(); }

}  // namespace hostctl
