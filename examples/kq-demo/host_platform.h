// kq-demo's calls of the host platform's control interface, gathered here so that the
// rest of the demo uses the library's public headers only, as an application on a
// camera would. On a camera this file goes: the journal and the record store are the
// host's, and the speaker's figures are the PC's.
#pragma once

#include <cstdint>
#include <string>

namespace demo {

// A long run makes hundreds of platform calls a second: no journal of them. The log
// records go into the closing table rather than through the progress line.
void quietHostPlatform();

// Feeds the image channels from `source` (pattern, file:PATH, v4l2:DEVICE); false, with
// the platform's record, when the host refuses it.
bool useCamera(const std::string& source);
// The source the image channels show.
std::string cameraSource();

// The playback channel the latest PcmSink opened, or -1; read right after creating it.
int newestPlaybackChannel();
// Periods the speaker of playback channel `channel` had to fill with silence.
uint64_t speakerUnderruns(int channel);

// The log records by level, then each record of `lowestLevel` or above.
void printLogRecords(unsigned int lowestLevel);

}  // namespace demo
