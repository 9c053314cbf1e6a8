#include "media/channel_kind.h"

#include <cstddef>

namespace host::media {
namespace {

struct KindTraits {
    bool takesProfile;
    bool needsProfile;
    bool needsSource;
    bool deliversBuffers;
    bool acceptsBuffers;
};

// Indexed by ChannelKind.
constexpr KindTraits kTraits[] = {
    // takes    needs    needs   delivers accepts
    // profile  profile  source  buffers  buffers
    {true, true, false, false, false},   // isp
    {false, false, true, false, false},  // osd
    {false, false, true, true, false},   // h264
    {false, false, true, true, false},   // mjpeg
    {false, false, false, true, false},  // audio capture
    {false, false, false, false, true},  // audio playback
    {false, false, true, true, false},   // audio resample
    {true, false, true, true, false},    // audio encode
};

static_assert(sizeof(kTraits) / sizeof(kTraits[0]) ==
                  static_cast<std::size_t>(ChannelKind::AudioEncode) + 1,
              "one row of traits per channel kind");

struct Link {
    ChannelKind src;
    ChannelKind dst;
};

// Video runs camera -> overlay -> encoders (the overlay may be left out); audio runs
// capture -> resample -> encode (the resampler may be left out).
constexpr Link kLinks[] = {
    {ChannelKind::Isp, ChannelKind::Osd},
    {ChannelKind::Isp, ChannelKind::H264},
    {ChannelKind::Isp, ChannelKind::Mjpeg},
    {ChannelKind::Osd, ChannelKind::H264},
    {ChannelKind::Osd, ChannelKind::Mjpeg},
    {ChannelKind::AudioCapture, ChannelKind::AudioResample},
    {ChannelKind::AudioCapture, ChannelKind::AudioEncode},
    {ChannelKind::AudioResample, ChannelKind::AudioEncode},
};

const KindTraits& traits(ChannelKind kind) { return kTraits[static_cast<std::size_t>(kind)]; }

}  // namespace

bool takesProfile(ChannelKind kind) { return traits(kind).takesProfile; }
bool needsProfile(ChannelKind kind) { return traits(kind).needsProfile; }
bool needsSource(ChannelKind kind) { return traits(kind).needsSource; }
bool deliversBuffers(ChannelKind kind) { return traits(kind).deliversBuffers; }
bool acceptsBuffers(ChannelKind kind) { return traits(kind).acceptsBuffers; }

bool canFeed(ChannelKind src, ChannelKind dst) {
    for (const Link& link : kLinks)
        if (link.src == src && link.dst == dst) return true;
    return false;
}

}  // namespace host::media
