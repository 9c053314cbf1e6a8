// Host-internal: hooks through which the control interface reaches the platform's
// parts, and through which the log library stores its records.
#pragma once

#include "host_control.h"

namespace hostctl {

// Implemented by the media channel part.
void resetMedia();
int mediaLiveChannels();
int mediaInitCount();

// Implemented by the camera support part.
void resetSupport();

// Used by the log library.
bool levelShown(unsigned int level);
void storeLogRecord(LogRecord record);

}  // namespace hostctl
