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

namespace {

// One direction: its mute flag, its support library calls and the records of their
// failures, each written with its own text as the record's format.
struct VolumePath {
    int& mute;
    int (*getVolume)(int*);
    int (*setVolume)(int);
    int (*enableMute)(int);
    void (*logGetFailure)();
    void (*logMuteFailure)();
    void (*logSetFailure)();
};

const VolumePath kSpeaker = {aud_out_mute,
                             get_playback_volume,
                             set_playback_volume,
                             enable_playback_mute,
                             [] { KQ_ERROR("get playback volume fail!"); },
                             [] { KQ_ERROR("enable playback mute fail!"); },
                             [] { KQ_ERROR("set playback volume fail!"); }};
const VolumePath kMicrophone = {aud_in_mute,
                                get_capture_volume,
                                set_capture_volume,
                                enable_capture_mute,
                                [] { KQ_ERROR("get capture volume fail!"); },
                                [] { KQ_ERROR("enable capture mute fail!"); },
                                [] { KQ_ERROR("set capture volume fail!"); }};

int getVolume(const VolumePath& path) {
    if (path.mute != 0) return 0;
    int volume = -1;
    int r = path.getVolume(&volume);
    if (r < 0) {
        path.logGetFailure();
        return r;
    }
    return volume;
}

// The flag changes first and stays changed when the support library refuses the mute;
// the volume is then left alone.
int setVolume(const VolumePath& path, int volume) {
    path.mute = volume == 0 ? 1 : 0;
    int r = path.enableMute(path.mute);
    if (r < 0) {
        path.logMuteFailure();
        return r;
    }
    r = path.setVolume(volume);
    if (r < 0) {
        path.logSetFailure();
        return r;
    }
    return volume;
}

}  // namespace
}  // namespace kq

int get_aud_out_volume() { return kq::getVolume(kq::kSpeaker); }
int set_aud_out_volume(int volume) { return kq::setVolume(kq::kSpeaker, volume); }
int get_aud_in_volume() { return kq::getVolume(kq::kMicrophone); }
int set_aud_in_volume(int volume) { return kq::setVolume(kq::kMicrophone, volume); }
