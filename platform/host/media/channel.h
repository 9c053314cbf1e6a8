// One media channel: what it was created with and the state the platform calls move
// it through. The channel checks the rules that concern itself alone; rules between
// channels (ids, bindings) are the registry's.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "media/channel_config.h"
#include "media/channel_kind.h"
#include "media/channel_output.h"
#include "rts_av.h"

namespace host::media {

constexpr int kNoChannel = -1;
constexpr uint32_t kNoPack = 0;

// H.264 profiles are numbered 0 baseline, 1 main, 2 high.
constexpr int kDefaultH264Profile = 1;
constexpr int kDefaultJpegQuality = 80;

class Channel {
public:
    Channel(int id, ChannelKind kind, ChannelConfig config);
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    int id() const { return mId; }
    ChannelKind kind() const { return mKind; }
    const ChannelConfig& config() const { return mConfig; }

    const std::optional<rts_av_profile>& profile() const { return mProfile; }
    // -EINVAL for a kind without a profile or a profile it cannot take (with a record
    // naming what it refused), -EBUSY while enabled.
    int setProfile(const rts_av_profile& profile);

    int source() const { return mSource; }
    void setSource(int source) { mSource = source; }

    bool enabled() const { return mEnabled; }
    // -EPERM while the channel lacks its profile or (for kinds that need one) its source.
    int enable();
    // Also ends receiving and sending, which need an enabled channel, and drops what
    // was queued or armed.
    void disable();

    bool receiving() const { return mReceiving; }
    // -EINVAL for a kind without buffers for a reader, -EPERM while disabled.
    int startReceiving();
    // Queued buffers that the reader did not take are dropped.
    int stopReceiving();

    // Null for kinds that deliver no buffers.
    ChannelOutput* output() { return mOutput.get(); }
    // Whether a reader or a one-shot callback takes what the channel makes.
    bool wanted() const { return mOutput && (mReceiving || mOutput->armed()); }
    // Scripted channels make nothing themselves; tests push their buffers.
    bool scripted() const { return mScripted; }
    void setScripted(bool scripted) { mScripted = scripted; }

    // The samples a capture or resample channel delivers, and an encode channel with a
    // profile; none for other kinds.
    std::optional<AudioFormat> deliveredFormat() const;
    // Whether an encode channel delivers what it is fed in `format`: any format while it
    // has no profile, else only its profile's, since a PCM encoder does not convert.
    bool encodes(const AudioFormat& format) const;

    bool sending() const { return mSending; }
    // -EINVAL for a kind that takes no buffers, -EPERM while disabled.
    int startSending();
    int stopSending();

    // Encoder settings of H.264 and JPEG channels, set through control handles;
    // -EINVAL, with a record, for a value out of range.
    int h264Profile() const { return mH264Profile; }
    int setH264Profile(int profile);
    int jpegQuality() const { return mJpegQuality; }
    int setJpegQuality(int quality);

    // The overlay pack an OSD channel draws, kNoPack for none.
    uint32_t overlayPack() const { return mOverlayPack; }
    void setOverlayPack(uint32_t pack) { mOverlayPack = pack; }
    // The mask pack whose rectangles an OSD channel draws, kNoPack for none.
    uint32_t maskPack() const { return mMaskPack; }
    void setMaskPack(uint32_t pack) { mMaskPack = pack; }

private:
    const int mId;
    const ChannelKind mKind;
    const ChannelConfig mConfig;
    std::optional<rts_av_profile> mProfile;
    int mSource = kNoChannel;
    bool mEnabled = false;
    bool mReceiving = false;
    bool mSending = false;
    int mH264Profile = kDefaultH264Profile;
    int mJpegQuality = kDefaultJpegQuality;
    uint32_t mOverlayPack = kNoPack;
    uint32_t mMaskPack = kNoPack;
    std::unique_ptr<ChannelOutput> mOutput;
    bool mScripted = false;
};

}  // namespace host::media
