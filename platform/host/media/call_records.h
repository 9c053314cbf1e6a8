// How the journal shows the records the rts_av_* calls take by address: their words in
// order, "{1, 1920, 1080, 1, 25}", or "null".
#pragma once

#include <string>

#include "rts_av.h"

namespace host::media {

std::string recordText(const rts_isp_attr* attr);
std::string recordText(const rts_h264_attr* attr);
std::string recordText(const rts_mjpeg_attr* attr);
// The device name quoted, then the four words.
std::string recordText(const rts_audio_attr* attr);
std::string recordText(const rts_av_profile* profile);
// The handler and context as addresses, then the four words.
std::string recordText(const rts_av_callback* callback);

}  // namespace host::media
