// The exported rts_av_* calls: each journals itself, honours an injected failure and
// hands the work to the media platform.
#include "rts_av.h"

#include <cerrno>

#include "journal/call_journal.h"
#include "journal/journaled.h"
#include "media/call_records.h"
#include "media/media_platform.h"

using host::journaled;
using host::media::ChannelKind;
using host::media::handleId;
using host::media::HandleId;
using host::media::media;
using host::media::recordText;

namespace {

template <typename Ctrl>
int queryControl(const char* function, int chn, Ctrl** ctrl, ChannelKind kind) {
    return journaled(
        function, [&] { return hostctl::args(chn, static_cast<const void*>(ctrl)); },
        [&] {
            HandleId id = host::media::kNoHandle;
            int rc = media().queryControl(chn, kind, ctrl ? &id : nullptr);
            if (rc == 0) *ctrl = host::media::handlePointer<Ctrl>(id);
            return rc;
        });
}

template <typename Ctrl>
void releaseControl(const char* function, Ctrl* ctrl, ChannelKind kind) {
    hostctl::Call call(function, [&] { return hostctl::args(static_cast<const void*>(ctrl)); });
    if (!call.injected()) media().releaseControl(handleId(ctrl), kind);
}

}  // namespace

extern "C" {

int rts_av_init(void) {
    return journaled(
        "rts_av_init", [&] { return hostctl::args(); }, [] { return media().init(); });
}

int rts_av_release(void) {
    return journaled(
        "rts_av_release", [&] { return hostctl::args(); }, [] { return media().release(); });
}

int rts_av_create_isp_chn(const struct rts_isp_attr* attr) {
    return journaled(
        "rts_av_create_isp_chn", [&] { return recordText(attr); },
        [attr] { return media().create(ChannelKind::Isp, host::media::makeIspConfig(attr)); });
}

int rts_av_create_osd_chn(void) {
    return journaled(
        "rts_av_create_osd_chn", [&] { return hostctl::args(); },
        [] { return media().create(ChannelKind::Osd, host::media::ChannelConfig{}); });
}

int rts_av_create_h264_chn(const struct rts_h264_attr* attr) {
    return journaled(
        "rts_av_create_h264_chn", [&] { return recordText(attr); },
        [attr] { return media().create(ChannelKind::H264, host::media::makeH264Config(attr)); });
}

int rts_av_create_mjpeg_chn(const struct rts_mjpeg_attr* attr) {
    return journaled(
        "rts_av_create_mjpeg_chn", [&] { return recordText(attr); },
        [attr] { return media().create(ChannelKind::Mjpeg, host::media::makeMjpegConfig(attr)); });
}

int rts_av_create_audio_capture_chn(const struct rts_audio_attr* attr) {
    return journaled(
        "rts_av_create_audio_capture_chn", [&] { return recordText(attr); },
        [attr] {
            return media().create(ChannelKind::AudioCapture,
                                  host::media::makeAudioDeviceConfig(attr));
        });
}

int rts_av_create_audio_playback_chn(const struct rts_audio_attr* attr) {
    return journaled(
        "rts_av_create_audio_playback_chn", [&] { return recordText(attr); },
        [attr] {
            return media().create(ChannelKind::AudioPlayback,
                                  host::media::makeAudioPlaybackConfig(attr));
        });
}

int rts_av_create_audio_resample_chn(uint32_t rate, uint32_t bits_per_sample, uint32_t channels) {
    return journaled(
        "rts_av_create_audio_resample_chn",
        [&] { return hostctl::args(rate, bits_per_sample, channels); },
        [=] {
            return media().create(ChannelKind::AudioResample,
                                  host::media::makeResampleConfig(rate, bits_per_sample, channels));
        });
}

int rts_av_create_audio_encode_chn(int type, uint32_t bitrate) {
    return journaled(
        "rts_av_create_audio_encode_chn", [&] { return hostctl::args(type, bitrate); },
        [=] {
            return media().create(ChannelKind::AudioEncode,
                                  host::media::makeAudioEncodeConfig(type, bitrate));
        });
}

int rts_av_set_profile(int chn, const struct rts_av_profile* profile) {
    return journaled(
        "rts_av_set_profile", [&] { return hostctl::args(chn) + ", " + recordText(profile); },
        [=] { return media().setProfile(chn, profile); });
}

int rts_av_bind(int src, int dst) {
    return journaled(
        "rts_av_bind", [&] { return hostctl::args(src, dst); },
        [=] { return media().bind(src, dst); });
}

int rts_av_enable_chn(int chn) {
    return journaled(
        "rts_av_enable_chn", [&] { return hostctl::args(chn); },
        [=] { return media().enable(chn); });
}

int rts_av_disable_chn(int chn) {
    return journaled(
        "rts_av_disable_chn", [&] { return hostctl::args(chn); },
        [=] { return media().disable(chn); });
}

int rts_av_destroy_chn(int chn) {
    return journaled(
        "rts_av_destroy_chn", [&] { return hostctl::args(chn); },
        [=] { return media().destroy(chn); });
}

int rts_av_start_recv(int chn) {
    return journaled(
        "rts_av_start_recv", [&] { return hostctl::args(chn); },
        [=] { return media().startReceiving(chn); });
}

int rts_av_stop_recv(int chn) {
    return journaled(
        "rts_av_stop_recv", [&] { return hostctl::args(chn); },
        [=] { return media().stopReceiving(chn); });
}

int rts_av_start_send(int chn) {
    return journaled(
        "rts_av_start_send", [&] { return hostctl::args(chn); },
        [=] { return media().startSending(chn); });
}

int rts_av_stop_send(int chn) {
    return journaled(
        "rts_av_stop_send", [&] { return hostctl::args(chn); },
        [=] { return media().stopSending(chn); });
}

// A status, not a refusal: 0 for a channel that is gone or never existed, since any
// non-zero result would read as "active".
int rts_av_get_chn_status(int chn) {
    return journaled(
        "rts_av_get_chn_status", [&] { return hostctl::args(chn); },
        [=] { return media().active(chn) ? 1 : 0; });
}

int rts_av_poll(int chn) {
    return journaled(
        "rts_av_poll", [&] { return hostctl::args(chn); }, [=] { return media().poll(chn); });
}

int rts_av_recv(int chn, struct rts_av_buffer** buffer) {
    return journaled(
        "rts_av_recv", [&] { return hostctl::args(chn, static_cast<void*>(buffer)); },
        [=] { return media().receive(chn, buffer); });
}

int rts_av_send(int chn, struct rts_av_buffer* buffer) {
    return journaled(
        "rts_av_send", [&] { return hostctl::args(chn, static_cast<void*>(buffer)); },
        [=] { return media().send(chn, buffer); });
}

int rts_av_put_buffer(struct rts_av_buffer* buffer) {
    return journaled(
        "rts_av_put_buffer", [&] { return hostctl::args(static_cast<void*>(buffer)); },
        [=] { return media().putBuffer(buffer); });
}

int rts_av_set_callback(int chn, struct rts_av_callback* callback, int flags) {
    return journaled(
        "rts_av_set_callback",
        [&] {
            return hostctl::args(chn) + ", " + recordText(callback) + ", " + hostctl::args(flags);
        },
        [=] { return flags != 0 ? -EINVAL : media().setCallback(chn, callback); });
}

int rts_av_query_h264_ctrl(int chn, struct rts_h264_ctrl** ctrl) {
    return queryControl("rts_av_query_h264_ctrl", chn, ctrl, ChannelKind::H264);
}

void rts_av_release_h264_ctrl(struct rts_h264_ctrl* ctrl) {
    releaseControl("rts_av_release_h264_ctrl", ctrl, ChannelKind::H264);
}

int rts_av_query_mjpeg_ctrl(int chn, struct rts_mjpeg_ctrl** ctrl) {
    return queryControl("rts_av_query_mjpeg_ctrl", chn, ctrl, ChannelKind::Mjpeg);
}

void rts_av_release_mjpeg_ctrl(struct rts_mjpeg_ctrl* ctrl) {
    releaseControl("rts_av_release_mjpeg_ctrl", ctrl, ChannelKind::Mjpeg);
}

}  // extern "C"
