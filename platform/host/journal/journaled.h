// The common shape of an exported platform call that returns a code: journal the call,
// return an injected failure untouched, otherwise do the work and journal its result.
#pragma once

#include "journal/call_journal.h"

namespace host {

template <typename ArgsFn, typename F>
int journaled(const char* function, ArgsFn formatArgs, F work) {
    hostctl::Call call(function, formatArgs);
    if (call.injected()) return call.injectedCode();
    return call.result(work());
}

}  // namespace host
