#include "host_platform.h"

#include "host_control.h"
#include "live_log.h"

namespace live {

void quietHostPlatform() {
    hostctl::setJournalEnabled(false);
    hostctl::setShownLevels(hostctl::logLevelsFrom(3));
}

bool setSyncMarks(bool on) {
    if (!on) return true;
    logLine(LogLevel::Warning, "sync marks are not available on this host platform yet");
    return false;
}

}  // namespace live
