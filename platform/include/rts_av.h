// Media channel platform: capture, image processing, overlay, encoding and playback
// as graphs of channels.
//
// Channel ids are 0 or more; a creation call returns a negative code instead when it
// fails. Every other call returns 0 on success or a negative code that errno2str()
// names. The records below are shared with the platform word by word; on the camera's
// 32-bit processor every word sits at the offset given in its comment.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// One encoded frame, one captured audio buffer, or one playback buffer.
struct rts_av_buffer {
    void* data;            // word 0: first byte of the payload
    uint32_t physAddr;     // word 1: platform-private
    uint32_t bytesUsed;    // word 2: payload size in bytes
    uint32_t length;       // word 3: capacity of `data`
    uint32_t flags;        // word 4: RTS_AV_FLAG_*
    uint32_t index;        // word 5: platform-private
    uint32_t reserved[4];  // words 6-9
    uint64_t timestamp;    // words 10-11: microseconds, low word first
};

enum { RTS_AV_FLAG_KEYFRAME = 1u << 0 };

// Attributes of an image (ISP) channel.
struct rts_isp_attr {
    uint32_t bufferCount;  // word 0: frames the channel keeps in flight
    uint32_t mode;         // word 1: 0 video, 1 still-picture tuning
};

// Profile of an image channel (format RTS_PIX_FMT_*) or an audio channel
// (format RTS_AUDIO_FMT_*), five words.
struct rts_av_profile {
    uint32_t format;  // word 0
    union {
        struct {
            uint32_t width;        // word 1: pixels
            uint32_t height;       // word 2: pixels
            uint32_t numerator;    // word 3: frame interval numerator
            uint32_t denominator;  // word 4: rate = denominator / numerator frames per second
        } video;
        struct {
            uint32_t sampleRate;     // word 1: Hz
            uint32_t bitsPerSample;  // word 2
            uint32_t channels;       // word 3
            uint32_t reserved;       // word 4
        } audio;
    };
};

enum { RTS_PIX_FMT_NV12 = 1, RTS_AUDIO_FMT_PCM = 0x8001 };

// Attributes of an H.264 encoder channel.
struct rts_h264_attr {
    uint32_t queueDepth;  // word 0: encoded buffers kept for the reader
    int32_t qp;           // word 1: fixed quantiser, -1 for rate control by bitrate
    uint32_t bitrate;     // word 2: bits per second
    uint32_t gop;         // word 3: key-frame interval in frames
    uint32_t rotation;    // word 4: 0
    uint32_t reserved;    // word 5
};

// Attributes of a JPEG encoder channel.
struct rts_mjpeg_attr {
    uint32_t rotation;  // word 0: 0
};

// Attributes of an audio capture or playback channel: 64 bytes of device name,
// then four words.
struct rts_audio_attr {
    char dev_node[64];  // NUL-terminated device name
    uint32_t format;    // word 16: sample width in bits
    uint32_t channels;  // word 17
    uint32_t rate;      // word 18: Hz
    uint32_t reserved;  // word 19: 0
};

enum {
    RTS_AUDIO_ENCODE_PCM = 4  // encode channel type delivering plain PCM
};

// One-shot delivery of a channel's next buffer to `handler` on a platform thread.
typedef int (*rts_av_callback_fn)(void* context, void* unused, struct rts_av_buffer* buffer);

struct rts_av_callback {
    rts_av_callback_fn handler;  // word 0
    void* context;               // word 1: handed back to the handler
    uint32_t start;              // word 2: 0, from the next buffer
    uint32_t times;              // word 3: 1, deliver once
    uint32_t interval;           // word 4: 0
    uint32_t reserved;           // word 5: 0
};

// Encoder control handles, queried from a channel and released by the caller.
struct rts_h264_ctrl;
struct rts_mjpeg_ctrl;

int rts_av_init(void);
int rts_av_release(void);

int rts_av_create_isp_chn(const struct rts_isp_attr* attr);
int rts_av_create_osd_chn(void);
int rts_av_create_h264_chn(const struct rts_h264_attr* attr);
int rts_av_create_mjpeg_chn(const struct rts_mjpeg_attr* attr);
int rts_av_create_audio_capture_chn(const struct rts_audio_attr* attr);
int rts_av_create_audio_playback_chn(const struct rts_audio_attr* attr);
int rts_av_create_audio_resample_chn(uint32_t rate, uint32_t bits_per_sample, uint32_t channels);
int rts_av_create_audio_encode_chn(int type, uint32_t bitrate);

int rts_av_set_profile(int chn, const struct rts_av_profile* profile);
int rts_av_bind(int src, int dst);
int rts_av_enable_chn(int chn);
int rts_av_disable_chn(int chn);
int rts_av_destroy_chn(int chn);

int rts_av_start_recv(int chn);
int rts_av_stop_recv(int chn);
int rts_av_start_send(int chn);
int rts_av_stop_send(int chn);
// Non-zero while the channel is active.
int rts_av_get_chn_status(int chn);

// 0 when a buffer can be received; never blocks.
int rts_av_poll(int chn);
int rts_av_recv(int chn, struct rts_av_buffer** buffer);
int rts_av_send(int chn, struct rts_av_buffer* buffer);
int rts_av_put_buffer(struct rts_av_buffer* buffer);

int rts_av_query_h264_ctrl(int chn, struct rts_h264_ctrl** ctrl);
void rts_av_release_h264_ctrl(struct rts_h264_ctrl* ctrl);
int rts_av_query_mjpeg_ctrl(int chn, struct rts_mjpeg_ctrl** ctrl);
void rts_av_release_mjpeg_ctrl(struct rts_mjpeg_ctrl* ctrl);

int rts_av_set_callback(int chn, struct rts_av_callback* callback, int flags);

#ifdef __cplusplus
}  // extern "C"
#endif

#if defined(__cplusplus) && defined(__mips__) && !defined(__LP64__)
// On the camera the platform reads these records word by word.
static_assert(sizeof(void*) == 4, "the camera's processor has 32-bit pointers");
static_assert(offsetof(rts_av_buffer, data) == 0 * 4, "buffer word 0: data address");
static_assert(offsetof(rts_av_buffer, bytesUsed) == 2 * 4, "buffer word 2: byte count");
static_assert(offsetof(rts_av_buffer, flags) == 4 * 4, "buffer word 4: flags");
static_assert(offsetof(rts_av_buffer, timestamp) == 10 * 4, "buffer words 10-11: timestamp");
static_assert(sizeof(rts_isp_attr) == 2 * 4, "ISP attributes: two words");
static_assert(sizeof(rts_av_profile) == 5 * 4, "profile: five words");
static_assert(offsetof(rts_av_profile, video.width) == 1 * 4, "profile word 1: width");
static_assert(offsetof(rts_av_profile, video.denominator) == 4 * 4, "profile word 4: rate");
static_assert(offsetof(rts_av_profile, audio.channels) == 3 * 4, "profile word 3: channels");
static_assert(sizeof(rts_h264_attr) == 6 * 4, "H.264 attributes: six words");
static_assert(offsetof(rts_h264_attr, bitrate) == 2 * 4, "H.264 word 2: bitrate");
static_assert(offsetof(rts_h264_attr, gop) == 3 * 4, "H.264 word 3: key-frame interval");
static_assert(sizeof(rts_mjpeg_attr) == 1 * 4, "JPEG attributes: one word");
static_assert(sizeof(rts_audio_attr) == 80, "audio attributes: name and four words");
static_assert(offsetof(rts_audio_attr, format) == 64, "audio word 16: sample format");
static_assert(offsetof(rts_audio_attr, rate) == 72, "audio word 18: rate");
static_assert(sizeof(rts_av_callback) == 6 * 4, "callback record: six words");
static_assert(offsetof(rts_av_callback, context) == 1 * 4, "callback word 1: context");
static_assert(offsetof(rts_av_callback, times) == 3 * 4, "callback word 3: times");
#endif
