#include "media/channel_routes.h"

#include <cerrno>

namespace host::media {
namespace {

// Adds `chn` to the route when somebody takes its buffers and it is not scripted.
void addTarget(int chn, const Channel& c, int resampler, const AudioFormat& format,
               CaptureRoute* route) {
    if (!c.wanted() || c.scripted()) return;
    bool accepted = c.kind() != ChannelKind::AudioEncode || c.encodes(format);
    route->targets.push_back({chn, resampler, format, accepted});
}

}  // namespace

bool findStreamRoute(ChannelRegistry& channels, int isp, StreamRoute* route) {
    Channel* camera = channels.find(isp);
    if (!camera || !camera->enabled() || !camera->profile()) return false;
    route->profile = *camera->profile();
    int overlay = kNoChannel;
    channels.forEach([&](int id, Channel& c) {
        if (c.kind() == ChannelKind::Osd && c.source() == isp && c.enabled() && overlay < 0) {
            overlay = id;
            route->overlayPack = c.overlayPack();
            route->maskPack = c.maskPack();
        }
    });
    channels.forEach([&](int id, Channel& c) {
        bool fed = c.source() == isp || (overlay >= 0 && c.source() == overlay);
        bool encoder = c.kind() == ChannelKind::H264 || c.kind() == ChannelKind::Mjpeg;
        if (!fed || !encoder || !c.enabled() || !c.wanted() || c.scripted()) return;
        rts_h264_attr h264{};
        if (c.kind() == ChannelKind::H264) h264 = std::get<rts_h264_attr>(c.config());
        route->encoders.push_back({id, c.kind(), h264, c.h264Profile(), c.jpegQuality()});
    });
    return true;
}

bool findCaptureRoute(ChannelRegistry& channels, int capture, CaptureRoute* route) {
    Channel* microphone = channels.find(capture);
    if (!microphone || !microphone->enabled()) return false;
    const AudioFormat captured = *microphone->deliveredFormat();
    addTarget(capture, *microphone, kNoChannel, captured, route);
    channels.forEach([&](int id, Channel& c) {
        if (c.source() != capture || !c.enabled()) return;
        if (c.kind() != ChannelKind::AudioResample) {
            addTarget(id, c, kNoChannel, captured, route);
            return;
        }
        const AudioFormat converted = *c.deliveredFormat();
        addTarget(id, c, id, converted, route);
        channels.forEach([&](int encoder, Channel& e) {
            if (e.source() == id && e.enabled()) addTarget(encoder, e, id, converted, route);
        });
    });
    return true;
}

int checkFormatFed(ChannelRegistry& channels, const Channel& c) {
    if (c.kind() != ChannelKind::AudioEncode) return 0;
    // Without a source, the channel's own rules refuse it.
    Channel* source = channels.find(c.source());
    std::optional<AudioFormat> fed = source ? source->deliveredFormat() : std::nullopt;
    return fed && !c.encodes(*fed) ? -EINVAL : 0;
}

Channel* findMaskTarget(ChannelRegistry& channels, uint32_t width, uint32_t height) {
    Channel* newest = nullptr;
    channels.forEach([&](int, Channel& c) {
        if (c.kind() != ChannelKind::Osd || c.maskPack() != kNoPack) return;
        Channel* source = channels.find(c.source());
        if (!source || source->kind() != ChannelKind::Isp || !source->profile()) return;
        const rts_av_profile& profile = *source->profile();
        if (profile.video.width == width && profile.video.height == height) newest = &c;
    });
    return newest;
}

std::optional<AudioFormat> findReceivedFormat(ChannelRegistry& channels, const void* data,
                                              std::size_t bytes) {
    std::optional<AudioFormat> format;
    channels.forEach([&](int, Channel& c) {
        if (format || !c.output() || !c.output()->pool().lends(data, bytes)) return;
        format = c.deliveredFormat();
        // An encode channel without a profile delivers what its source does.
        Channel* source = channels.find(c.source());
        if (!format && source) format = source->deliveredFormat();
    });
    return format;
}

}  // namespace host::media
