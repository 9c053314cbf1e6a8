// kq-live's calls of the host platform's control interface, gathered here so that the
// rest of it uses the library's public headers only, as an application on a camera
// would. On a camera this file goes.
#pragma once

#include <functional>
#include <string>

namespace live {

// Hundreds of platform calls a second: no journal of them; the log records are
// echoed from warnings up.
void quietHostPlatform();

// Sync marks: a white picture and a beep at each whole second of the monotonic clock,
// for measuring audio-video offset and delay. False, saying why, when the platform
// cannot make them (the host platform always can).
bool setSyncMarks(bool on);

// Feeds the image channels from `source` (pattern, file:PATH, v4l2:DEVICE); false, the
// platform's record echoed, when the host refuses it.
bool useCamera(const std::string& source);

// Hands every record the library and the platform store to `listener` (level, text) as
// it is written, on the writing thread; null stops it.
void followLibraryLog(std::function<void(int level, const std::string& text)> listener);

}  // namespace live
