// The support library's volume and mute calls for the speaker (playback) and the
// microphone (capture). They work without rts_av_init(): the levels belong to the codec,
// not to a channel, and a device opened later plays at the level set before.
#include "support/audio_volumes.h"

#include <cerrno>
#include <mutex>

#include "camera_support.h"
#include "journal/call_journal.h"
#include "journal/journaled.h"

namespace host::support {
namespace {

constexpr int kMaxVolume = 100;
constexpr VolumeState kDefaultVolume{kMaxVolume, false};

// One direction's level. A lock rather than two atomics, so that a device never reads
// a volume and a mute from different moments.
class AudioVolume {
public:
    VolumeState state() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mState;
    }

    // -EINVAL and nothing changed outside 0 to 100.
    int setVolume(int volume) {
        if (volume < 0 || volume > kMaxVolume) return -EINVAL;
        std::lock_guard<std::mutex> lock(mMutex);
        mState.volume = volume;
        return 0;
    }

    void setMuted(bool muted) {
        std::lock_guard<std::mutex> lock(mMutex);
        mState.muted = muted;
    }

    void reset() {
        std::lock_guard<std::mutex> lock(mMutex);
        mState = kDefaultVolume;
    }

private:
    std::mutex mMutex;
    VolumeState mState = kDefaultVolume;
};

// They outlive every static destructor, so a device thread stopping late still finds them.
AudioVolume& playback() {
    static AudioVolume* volume = new AudioVolume;
    return *volume;
}

AudioVolume& capture() {
    static AudioVolume* volume = new AudioVolume;
    return *volume;
}

int getVolume(const char* function, AudioVolume& direction, int* volume) {
    return journaled(
        function, [&] { return hostctl::args(volume); },
        [&] {
            if (!volume) return -EINVAL;
            *volume = direction.state().volume;
            return 0;
        });
}

int setVolume(const char* function, AudioVolume& direction, int volume) {
    return journaled(
        function, [&] { return hostctl::args(volume); },
        [&] { return direction.setVolume(volume); });
}

// Any non-zero `mute` mutes.
int enableMute(const char* function, AudioVolume& direction, int mute) {
    return journaled(
        function, [&] { return hostctl::args(mute); },
        [&] {
            direction.setMuted(mute != 0);
            return 0;
        });
}

}  // namespace

VolumeState playbackVolume() { return playback().state(); }
VolumeState captureVolume() { return capture().state(); }

void resetAudioVolumes() {
    playback().reset();
    capture().reset();
}

}  // namespace host::support

using namespace host::support;

extern "C" {

int get_playback_volume(int* volume) { return getVolume(__func__, playback(), volume); }
int set_playback_volume(int volume) { return setVolume(__func__, playback(), volume); }
int enable_playback_mute(int mute) { return enableMute(__func__, playback(), mute); }
int get_capture_volume(int* volume) { return getVolume(__func__, capture(), volume); }
int set_capture_volume(int volume) { return setVolume(__func__, capture(), volume); }
int enable_capture_mute(int mute) { return enableMute(__func__, capture(), mute); }

}  // extern "C"
