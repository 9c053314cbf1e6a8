// The journal of platform calls and the failures injected into them.
#include "journal/call_journal.h"

#include <time.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <string_view>

#include "control/host_control.h"
#include "log/bounded_history.h"

namespace hostctl {

// What an entry costs, for the journal's byte budget.
static std::size_t footprint(const JournalEntry& e) {
    return sizeof e + heapBytes(e.function) + heapBytes(e.args);
}

namespace {

struct PendingFailure {
    unsigned int remaining;  // calls still to pass before this one fails
    int code;
};

struct JournalState {
    std::mutex mutex;
    std::atomic<bool> journaling{true};
    BoundedHistory<JournalEntry> journal{kJournalMaxCalls, kJournalMaxBytes};
    // Looked up by the caller's own name text, so a call allocates nothing here.
    std::map<std::string, std::vector<PendingFailure>, std::less<>> failures;
};

JournalState& state() {
    static JournalState* s = new JournalState;  // outlives every static destructor
    return *s;
}

}  // namespace

bool journalEnabled() { return state().journaling.load(std::memory_order_relaxed); }

void setJournalEnabled(bool enabled) { state().journaling = enabled; }

bool Call::takeFailure(const char* function, int* code) {
    JournalState& s = state();
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
    JournalState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.journal.push({mFunction, std::move(mArgs), code, timeUs});
    return code;
}

std::string JournalEntry::text() const {
    return function + "(" + args + ") = " + std::to_string(result);
}

std::vector<JournalEntry> journal() {
    JournalState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return {s.journal.entries().begin(), s.journal.entries().end()};
}

void clearJournal() {
    JournalState& s = state();
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
    JournalState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.failures[function].push_back({nth, code});
}

void clearFailures() {
    JournalState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.failures.clear();
}

}  // namespace hostctl

namespace host::journal {

void reset() {
    hostctl::JournalState& s = hostctl::state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.journal.clear();
    s.failures.clear();
    s.journaling = true;
}

}  // namespace host::journal
