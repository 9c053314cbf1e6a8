// The speakers of the playback channels: one a channel while it sends, kept after it
// stops for inspection, also after the channel is destroyed for the kKeptSpeakers
// latest destroyed channels. Not locked: the media platform serialises every use.
#pragma once

#include <cstddef>
#include <map>
#include <memory>

#include "audio/playback_device.h"
#include "media/channel_registry.h"
#include "media/out_of_service.h"
#include "rts_av.h"

namespace host::media {

constexpr std::size_t kKeptSpeakers = 8;

class Speakers {
public:
    using Speaker = std::shared_ptr<audio::PlaybackDevice>;

    // Opens playback channel `chn`'s speaker on the device its attributes name, in place
    // of the one it had; 0 or the device's code.
    int open(int chn, const rts_audio_attr& attr, OutOfService& out);
    // Stops the channel's speaker, if running; it stays for inspection.
    void silence(int chn, OutOfService& out);
    void silenceAll(OutOfService& out);
    // Forgets the speakers of destroyed channels beyond the kKeptSpeakers newest.
    void prune(ChannelRegistry& channels, OutOfService& out);
    // Forgets every speaker; `out` must hold them to stop them (silenceAll()).
    void clear() { mSpeakers.clear(); }

    // The running speaker, else the last the channel had; null for none.
    Speaker find(int chn) const;
    // The newest playback channel that has had a speaker, or kNoChannel.
    int newestChannel() const;

private:
    std::map<int, Speaker> mSpeakers;  // by playback channel
};

}  // namespace host::media
