// The control interface's view of the media channels: statistics, scripted buffers and
// the sync marks.
#include "audio/sync_beep.h"
#include "control/host_control.h"
#include "media/media_platform.h"
#include "media/sync_marks.h"

namespace hostctl {

using host::media::media;

ChannelStats channelStats(int chn) {
    auto stats = media().stats(chn);
    if (!stats) return {};
    return {stats->produced, stats->dropped, stats->delivered};
}

int scriptChannel(int chn, bool scripted) { return media().setScripted(chn, scripted); }

int pushBuffer(int chn, const std::vector<uint8_t>& bytes, uint64_t timestampUs, uint32_t flags) {
    return media().push(chn, bytes.data(), bytes.size(), timestampUs, flags);
}

void waitCallbacksIdle() { media().waitCallbacksIdle(); }

static_assert(kSyncBeepHz == host::audio::kSyncBeepHz && kSyncBeepMs == host::audio::kSyncBeepMs);
void setSyncMarks(bool on) { host::media::setSyncMarks(on); }

int liveChannelCount() { return media().liveChannels(); }
int platformInitCount() { return media().initCount(); }

}  // namespace hostctl
