#include "host_platform.h"

#include "host_control.h"

namespace live {

void quietHostPlatform() {
    hostctl::setJournalEnabled(false);
    hostctl::setShownLevels(hostctl::logLevelsFrom(3));
}

bool setSyncMarks(bool on) {
    hostctl::setSyncMarks(on);
    return true;
}

}  // namespace live
