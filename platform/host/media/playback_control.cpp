// The control interface's view of the playback channels' speakers.
#include "control/host_control.h"
#include "media/media_platform.h"

namespace hostctl {

using host::media::media;

PlaybackStats playbackStats(int chn) {
    auto speaker = media().speaker(chn);
    if (!speaker) return {};
    host::audio::PlaybackStats s = speaker->stats();
    uint64_t frames = s.bytesReceived / speaker->format().frameBytes();
    return {s.buffersReceived, s.bytesReceived, frames,      s.bytesPlayed,
            s.silenceBytes,    s.underruns,     s.overflows, s.outputErrors,
            s.fifoBytes,       s.fifoCapacity,  s.running};
}

std::vector<PlaybackArrival> playbackArrivals(int chn) {
    std::vector<PlaybackArrival> out;
    if (auto speaker = media().speaker(chn))
        for (const host::audio::Arrival& a : speaker->arrivals())
            out.push_back({a.timeUs, a.bytes});
    return out;
}

std::vector<uint8_t> playbackSamples(int chn) {
    auto speaker = media().speaker(chn);
    return speaker ? speaker->keptSamples() : std::vector<uint8_t>{};
}

bool waitPlaybackPlayed(int chn, uint64_t bytes, unsigned int timeoutMs) {
    auto speaker = media().speaker(chn);
    return speaker && speaker->waitPlayed(bytes, std::chrono::milliseconds(timeoutMs));
}

int newestPlaybackChannel() { return media().newestSpeakerChannel(); }

}  // namespace hostctl
