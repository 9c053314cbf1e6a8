#include "media/speakers.h"

#include <string>
#include <utility>

#include "media/volume_gains.h"

namespace host::media {

int Speakers::open(int chn, const rts_audio_attr& attr, OutOfService& out) {
    std::unique_ptr<audio::PlaybackDevice> device;
    int rc =
        audio::PlaybackDevice::open(attr.dev_node, {attr.rate, attr.format, attr.channels},
                                    "playback chn " + std::to_string(chn), playbackGain, &device);
    if (rc != 0) return rc;
    Speaker& slot = mSpeakers[chn];
    if (slot) out.speakers.push_back(std::move(slot));
    slot = std::move(device);
    return 0;
}

void Speakers::silence(int chn, OutOfService& out) {
    auto it = mSpeakers.find(chn);
    if (it != mSpeakers.end()) out.speakers.push_back(it->second);
}

void Speakers::silenceAll(OutOfService& out) {
    for (auto& [chn, speaker] : mSpeakers) out.speakers.push_back(speaker);
}

void Speakers::prune(ChannelRegistry& channels, OutOfService& out) {
    std::size_t gone = 0;
    for (auto& [chn, speaker] : mSpeakers) gone += channels.find(chn) ? 0 : 1;
    // Ids only grow, so the map's first destroyed channels are the oldest.
    for (auto it = mSpeakers.begin(); it != mSpeakers.end() && gone > kKeptSpeakers;) {
        if (channels.find(it->first)) {
            ++it;
            continue;
        }
        out.speakers.push_back(std::move(it->second));
        it = mSpeakers.erase(it);
        --gone;
    }
}

Speakers::Speaker Speakers::find(int chn) const {
    auto it = mSpeakers.find(chn);
    return it == mSpeakers.end() ? nullptr : it->second;
}

int Speakers::newestChannel() const {
    return mSpeakers.empty() ? kNoChannel : mSpeakers.rbegin()->first;
}

}  // namespace host::media
