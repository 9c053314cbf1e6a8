// The checks every exported video and overlay function makes before it touches a pipe.
#pragma once

#include "rts_video_context.h"

namespace kq {

// Whether `channel` is 0 or 1; logs "given ch[%d] not vaild!" otherwise.
bool isValidChannel(int channel);

// The context of a started library, or null after logging that `function` was called
// while the library is not started.
VideoContext* startedContext(const char* function);

}  // namespace kq
