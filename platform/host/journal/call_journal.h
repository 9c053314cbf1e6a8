// Host-internal: every platform call journals itself and honours injected failures.
//
//   int rts_av_bind(int src, int dst) {
//       hostctl::Call call("rts_av_bind", [&] { return hostctl::args(src, dst); });
//       if (call.injected()) return call.injectedCode();
//       return call.result(media().bind(src, dst));
//   }
#pragma once

#include <cstdint>
#include <sstream>
#include <string>
#include <type_traits>

namespace hostctl {

// Whether calls are journaled (the default). Without the journal, a call formats no
// arguments and allocates nothing, as a steady stream of polls must not.
bool journalEnabled();

class Call {
public:
    // `formatArgs()` gives the journal's text of the arguments; it runs only when the
    // journal is enabled.
    template <typename ArgsFn>
    Call(const char* function, ArgsFn formatArgs) : mFunction(function) {
        mInjected = takeFailure(function, &mResult);
        if (journalEnabled()) mArgs = formatArgs();
    }
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    // Whether a failure was injected for this call; its code is then the result.
    bool injected() const { return mInjected; }
    int injectedCode() const { return mResult; }

    // Records the call's result and returns it.
    int result(int code);
    // Records a call without a result (void functions).
    void done() { result(0); }

private:
    // Counts the call against the failures injected for `function`; true with the code
    // when this call is the one to fail.
    static bool takeFailure(const char* function, int* code);

    const char* mFunction;
    std::string mArgs;
    int mResult = 0;
    bool mInjected = false;
    bool mRecorded = false;
};

// Formatting of arguments for the journal.
inline std::string arg(const void* p) {
    if (!p) return "null";
    std::ostringstream s;
    s << p;
    return s.str();
}
inline std::string arg(const char* text) { return text ? "\"" + std::string(text) + "\"" : "null"; }
template <typename T, typename = std::enable_if_t<std::is_arithmetic<T>::value>>
std::string arg(T value) {
    if constexpr (sizeof(T) == 1)
        return std::to_string(static_cast<int>(value));
    else
        return std::to_string(value);
}

inline std::string args() { return {}; }
template <typename First, typename... Rest>
std::string args(const First& first, const Rest&... rest) {
    std::string text = arg(first);
    if constexpr (sizeof...(rest) > 0) text += ", " + args(rest...);
    return text;
}

// "{1, 2, 3}" for the words of a record.
template <typename... Words>
std::string record(const Words&... words) {
    return "{" + args(words...) + "}";
}

}  // namespace hostctl

namespace host::journal {

// The journal as a fresh process has it: empty, on, with no failures pending.
void reset();

}  // namespace host::journal
