// Checks what a platform call was given, one rule after another, and refuses the call
// with one warning record for the first rule broken: "host: CALL: WHAT refused: WHY".
#pragma once

#include <string>

namespace host::log {

class FieldCheck {
public:
    // `call` names the call, and the channel or device when that helps: "rts_av_set_profile:
    // chn 3".
    explicit FieldCheck(std::string call) : mCall(std::move(call)) {}

    // Breaks the check unless `ok`, when no rule broke it before; `format` names what
    // was wrong, its value and what is accepted: "width %u refused: even widths of 16 to
    // 4096".
    FieldCheck& require(bool ok, const char* format, ...) __attribute__((format(printf, 3, 4)));

    bool passed() const { return mPassed; }

private:
    const std::string mCall;
    bool mPassed = true;
};

}  // namespace host::log
