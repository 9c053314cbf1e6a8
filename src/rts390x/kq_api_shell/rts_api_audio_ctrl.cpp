// The speaker and microphone volume. A volume of 0 mutes the path through the support
// library and raises the direction's mute flag, and while the flag is up the getter
// answers 0 without asking the support library.
#include "camera_support.h"
#include "kq_board.h"
#include "rts_log.h"

namespace kq {

// Process-wide, 0 at load, plain ints without a lock: the application serialises its
// volume calls. They are independent of any sink's own mute state.
int aud_out_mute = 0;
int aud_in_mute = 0;

}  // namespace kq

using kq::aud_in_mute;
using kq::aud_out_mute;

int get_aud_out_volume() {
    if (aud_out_mute != 0) return 0;
    int volume = -1;
    int r = get_playback_volume(&volume);
    if (r < 0) {
        KQ_ERROR("get playback volume fail!");
        return r;
    }
    return volume;
}

// The flag changes first and stays changed when the support library refuses the mute;
// the volume is then left alone.
int set_aud_out_volume(int volume) {
    aud_out_mute = volume == 0 ? 1 : 0;
    int r = enable_playback_mute(aud_out_mute);
    if (r < 0) {
        KQ_ERROR("enable playback mute fail!");
        return r;
    }
    r = set_playback_volume(volume);
    if (r < 0) {
        KQ_ERROR("set playback volume fail!");
        return r;
    }
    return volume;
}

int get_aud_in_volume() {
    if (aud_in_mute != 0) return 0;
    int volume = -1;
    int r = get_capture_volume(&volume);
    if (r < 0) {
        KQ_ERROR("get capture volume fail!");
        return r;
    }
    return volume;
}

int set_aud_in_volume(int volume) {
    aud_in_mute = volume == 0 ? 1 : 0;
    int r = enable_capture_mute(aud_in_mute);
    if (r < 0) {
        KQ_ERROR("enable capture mute fail!");
        return r;
    }
    r = set_capture_volume(volume);
    if (r < 0) {
        KQ_ERROR("set capture volume fail!");
        return r;
    }
    return volume;
}
