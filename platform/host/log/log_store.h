// Where the log records go: the echo, which prints the shown ones, and the store of the
// latest records that the control interface hands out.
#pragma once

#include "control/host_control.h"

namespace host::log {

// Whether records of `level` are echoed now, which is what LogEntry::IsShow() answers.
bool levelShown(unsigned int level);

// Keeps `record`. A shown record is echoed first and kept only when its level is shown.
void storeRecord(hostctl::LogRecord record);

// No records kept and no listener, echoed to stderr at the levels a fresh process shows.
void resetStore();

}  // namespace host::log
