// libkq_api: video, overlay and image interface of the camera's media hardware.
//
// All functions here have C linkage, and none throws. Each states its codes below;
// failures are also written to the platform's log (module 26) with their cause.
//
// Threads: the library starts no thread for video. Call kq_init_kq() once before
// anything else and kq_uninit() once at the end, each overlapping no other call. The
// calls acting on one channel (open, start, close, snapshot, overlays) must not overlap.
// kq_poll_frame() acts on both channels: no open, start or close of either may run
// during it, while kq_trigger_snapshot() and the overlay functions may. The image
// functions act on the whole sensor: call them from one thread at a time.
//
// A channel is 0 or 1. Functions given another number log "given ch[%d] not vaild!"
// (the two bitmap loaders "invalid channel: %d") and do nothing. Functions that need the
// started library and are called before kq_init_kq() or after kq_uninit() log that and
// fail (KQ_FAIL, -1 or nothing).
#pragma once

#include <stdint.h>

#include "kq_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// ---- Status codes --------------------------------------------------------------------

enum {
    KQ_OK = 0,              // success
    KQ_FAIL = 2,            // the platform, the channel graph or the start of receiving
                            // failed, or the call was refused
    KQ_INVALID_CHANNEL = 3  // channel number other than 0 or 1
};

// ---- Encoder channels ------------------------------------------------------------------

enum { KQ_ENC_H264 = 0, KQ_ENC_MJPEG = 2 };

// Read during kq_open_encoder() only; the library keeps no pointer to it.
typedef struct kq_encoder_param {
    uint32_t enc_type;  // KQ_ENC_H264 or KQ_ENC_MJPEG
    uint32_t width;     // pixels
    uint32_t height;    // pixels
    uint32_t fps;       // frames per second
    uint32_t bitrate;   // H.264 only: bits per second
    uint32_t gop;       // H.264 only: key-frame interval in frames
} kq_encoder_param;

// Called on the kq_poll_frame() thread for every encoded frame. `data` is the
// platform's buffer, valid during the call only: copy what you keep. timestamp_ms is
// the capture time in milliseconds cut to 32 bits, key_frame 1 for a key frame, the two
// reserved words 0, user_data the pointer given to kq_open_encoder(); the result is
// ignored. Without a callback the frames are received and dropped.
typedef int (*kq_frame_callback)(const uint8_t* data, uint32_t length, uint32_t timestamp_ms,
                                 uint32_t key_frame, uint32_t reserved1, uint32_t reserved2,
                                 void* user_data);

// Called on a platform thread with one JPEG picture after kq_trigger_snapshot() for
// `channel`. `jpeg` is valid during the call only; the result goes to the platform.
typedef int (*kq_snapshot_callback)(int channel, const uint8_t* jpeg, uint32_t length);

// Accepted for compatibility; the library never calls it.
typedef uint32_t (*kq_timestamp_callback)(void);

// Starts the media platform and records the image settings found at start. KQ_OK, or
// KQ_FAIL when the platform does not start (the library is then stopped again) or the
// library is already started.
KQ_EXPORT int kq_init_kq(void);
// Releases the platform and forgets every channel, logo and icon. Close the channels
// first. Harmless when the library is not started: that is logged, nothing released.
KQ_EXPORT void kq_uninit(void);

// Configures the channel and builds its channel graph, ready to start; the callback and
// user_data are kept until the next open. An enc_type other than KQ_ENC_H264 or
// KQ_ENC_MJPEG is logged and the channel opens with its previous configuration (at
// first H.264 1920x1080 at 25 fps). KQ_OK; KQ_INVALID_CHANNEL; KQ_FAIL for a null
// param, a channel already open, a library not started, or a graph the platform refused
// (nothing of it is left).
KQ_EXPORT int kq_open_encoder(int channel, const kq_encoder_param* param,
                              kq_frame_callback callback, void* user_data);
// Starts receiving the channel's frames. KQ_OK; KQ_INVALID_CHANNEL; KQ_FAIL for a
// channel not open, a library not started or a platform refusal.
KQ_EXPORT int kq_start_encoder(int channel);
// Stops receiving and tears the channel's graph down; failures are logged only. On a
// channel that is not open it changes nothing, but the platform's refusals of the stop
// are logged. A pending snapshot request stays pending (see kq_trigger_snapshot()).
KQ_EXPORT void kq_close_encoder(int channel);

// Polls both channels until a pass delivered frames or `timeout_ms` has passed (one
// pass for 0 or less); returns the number of frames of the last pass (0, 1 or 2), 0
// when the library is not started. Each pass sleeps 1 ms per started channel; with none
// started it runs without pause until the timeout. A timeout above about 35 minutes is
// never reached. Frame callbacks run on the calling thread, which also redraws the
// timestamps. Call it from one thread at a time.
KQ_EXPORT int kq_poll_frame(int timeout_ms);

// Sets the channel's snapshot callback (null to remove it); it stays across close and
// reopen. Any thread, while no snapshot of the channel is pending.
KQ_EXPORT void kq_register_snapshot_callback(int channel, kq_snapshot_callback callback);
// Asks for one JPEG picture of a started channel at `quality` (1-100 on the host); the
// snapshot callback gets it on a platform thread after a later kq_poll_frame() pass.
// 0 when the request is placed (and for an invalid channel), -16 without a snapshot
// callback or a library not started, -74 while an earlier snapshot is pending (after at
// most about 1 ms of waiting), or the platform's code when the quality could not be
// changed (the picture then comes at the previous quality). An accepted quality stays:
// it is also an MJPEG channel's stream quality and is applied again at every open (80
// at first). A request waits until the channel is started and polled, and outlives
// kq_close_encoder(); on the host a request already handed to the platform when the
// channel closes is lost, and the channel then answers -74 until kq_uninit(). May run
// beside kq_poll_frame(); one requester per channel at a time.
KQ_EXPORT int kq_trigger_snapshot(int channel, int quality);

// Accepted for compatibility: does nothing and logs nothing.
KQ_EXPORT void kq_register_timestamp_callback(kq_timestamp_callback callback);

// Not implemented: each logs a notice ("%s not implemented!" or "%s not implemented
// yet!") and does nothing else; kq_encoder_change_fps returns 0.
KQ_EXPORT int kq_encoder_change_fps(int channel, uint32_t fps);
KQ_EXPORT void kq_force_keyframe(int channel);
KQ_EXPORT void kq_set_roi(int channel, int x, int y, int width, int height);
KQ_EXPORT void kq_change_bitrate(int channel, uint32_t bitrate);
KQ_EXPORT void kq_motion_detect_enable(int enable);
KQ_EXPORT void kq_motion_detect_region_setup(int region, int x, int y, int width, int height);
KQ_EXPORT void kq_motion_detect_region_enable(int region, int enable);
KQ_EXPORT void kq_set_pw_frequency(int frequency);
KQ_EXPORT void kq_get_crop_info(void);
KQ_EXPORT void kq_get_crop_info_mjpg(void);
KQ_EXPORT void kq_get_crop_info_h264(void);
KQ_EXPORT void kq_to_mjpg_crop_size(void);
KQ_EXPORT void kq_to_h264_crop_size(void);

// ---- Overlays --------------------------------------------------------------------------

// Position options of the timestamp and the watermark.
enum {
    KQ_POS_TOP_LEFT = 0,
    KQ_POS_TOP_LEFT_ALT = 1,
    KQ_POS_BOTTOM_LEFT = 2,
    KQ_POS_TOP_RIGHT = 3,
    KQ_POS_BOTTOM_RIGHT = 4,
    KQ_POS_TOP_CENTER = 5,
    KQ_POS_BOTTOM_CENTER = 6
};

// The overlay functions run on the calling thread and may run beside kq_poll_frame();
// for one channel, call them from one thread at a time and not during its open or
// close. Bad channels and a library not started are logged; the functions without a
// result then do nothing.

// Each pipe sets up its overlays with its graph and redraws the timestamp while polled:
// these three do nothing; the first two return 0.
KQ_EXPORT int kq_osd_init(void);
KQ_EXPORT int kq_osd_uninit(void);
KQ_EXPORT void kq_osd_update(void);
// Shows (non-zero) or hides the running timestamp. This and the other timestamp setters
// only store: kq_poll_frame() passes over the started channel draw it each time the
// second changes, and hide it by writing 24 blanks at its last place. The settings
// survive close and reopen, so the timestamp comes back by itself.
KQ_EXPORT void kq_enable_osd(int channel, int enable);
// The timestamp's colours: text R, G, B, then background R, G, B (on the host; all six
// 0, the default, draws white text on a dark box).
KQ_EXPORT void kq_osd_set_color(int channel, uint8_t c1, uint8_t c2, uint8_t c3, uint8_t c4,
                                uint8_t c5, uint8_t c6);
// One of KQ_POS_*; an unknown option keeps the previous place and is logged at every
// redraw.
KQ_EXPORT void kq_osd_set_position(int channel, int option);
// A strftime() format in local time; at most 31 characters are kept. A null format is
// logged and keeps the old one; while the format expands beyond 24 characters no
// timestamp is drawn (logged once per format).
KQ_EXPORT void kq_osd_set_format(int channel, const char* format);

// The watermark logo: set the logo (a bitmap file; on the host a 24- or 32-bit BMP,
// 32-bit with alpha) and its position, then switch it on; a new logo or position shows
// at the next switch-on. kq_watermark_enable draws or erases the logo at once: 0 on
// success, and also when the channel is not open or its overlay is not set up (nothing
// is then drawn or remembered: switch it on after kq_open_encoder()), else the failing
// code (-1 for a missing or incomplete logo, a channel other than 0 or 1 or a library
// not started).
KQ_EXPORT int kq_watermark_enable(int channel, int enable);
// An unknown option keeps the previous place and is logged at switch-on.
KQ_EXPORT void kq_watermark_setup_position(int channel, int option);
// Accepted and ignored (on the host the logo is drawn with its own alpha).
KQ_EXPORT void kq_watermark_setup_opaque(int channel, int value);
// Replaces the channel's logo without drawing it; a file that cannot be loaded is
// logged and leaves the old logo, a logo that cannot be made leaves none.
KQ_EXPORT void kq_watermark_setup_logo(int channel, const char* bmp_path);
// Privacy mode masks the whole picture and centres the icon (if one is set) on it.
// 0 on success, else the failing code: -1 for a channel that is not open or other than
// 0 or 1, a library not started, an overlay not set up, or an icon larger than the
// picture (not drawn); otherwise the platform's code. An icon that fails to draw does
// not stop the mask.
KQ_EXPORT int kq_enable_privacy_mode(int channel, int enable);
// Replaces the channel's privacy icon (a bitmap file, as the logo); it shows at the
// next switch-on. 0, or -1 for a bad channel, a file that cannot be loaded (the old icon
// stays) or an icon that cannot be made (none is left).
KQ_EXPORT int kq_privacy_setup_icon(int channel, const char* bmp_path);

// Logos and icons live with the library: they survive kq_close_encoder() and
// kq_open_encoder(), and go with kq_uninit(). Neither is redrawn when a channel is
// reopened: switch them on again.

// ---- Image settings ----------------------------------------------------------------------

// ISP types of kq_isp_set(): 0-20 are applied at once, 21-24 stage the four
// auto-exposure values, and 25 applies the staged values.
enum kq_isp_type {
    KQ_ISP_BRIGHTNESS = 0,
    KQ_ISP_SATURATION = 1,
    KQ_ISP_CONTRAST = 2,
    KQ_ISP_SHARPNESS = 3,
    KQ_ISP_RESERVED_4 = 4,
    KQ_ISP_HUE = 5,
    KQ_ISP_DETAIL_ENHANCEMENT = 6,
    KQ_ISP_RESERVED_7 = 7,
    KQ_ISP_GAMMA = 8,
    KQ_ISP_BACKLIGHT = 9,
    KQ_ISP_POWER_LINE_FREQUENCY = 10,
    KQ_ISP_GRAY_MODE = 11,
    KQ_ISP_WDR_MODE = 12,
    KQ_ISP_WDR_LEVEL = 13,
    KQ_ISP_3DNR = 14,
    KQ_ISP_DEHAZE = 15,
    KQ_ISP_IR_MODE = 16,
    KQ_ISP_SMART_IR_MODE = 17,
    KQ_ISP_SMART_IR_LEVEL = 18,
    KQ_ISP_INDOOR_OUTDOOR_MODE = 19,
    KQ_ISP_NOISE_REDUCTION = 20,
    KQ_ISP_AE_1 = 21,  // -128..127
    KQ_ISP_AE_2 = 22,  // 0..65535
    KQ_ISP_AE_3 = 23,  // 0..255
    KQ_ISP_AE_4 = 24,  // 0..5
    KQ_ISP_AE_APPLY = 25
};

// The image functions work with or without the started library and act on the caller's
// thread; call them from one thread at a time. The saved values live in memory only,
// and every channel graph applies them again when it is enabled. Each setting's range
// is the platform's (on the host: see the README).

// Sets a setting (types 0-20) and saves it, stages an auto-exposure value (21-24), or
// applies the staged values (25, with a non-zero value). The staged values are also
// applied by type 16 (IR mode) and by every channel open: they do not wait for 25. 0 on
// success; the platform's code when its setter fails (the value is then not saved); 21
// when a staged auto-exposure value is out of range; -1 for an unknown type.
KQ_EXPORT int kq_isp_set(uint32_t type, int value);
// 0 none, 1 mirror, 2 flip, 3 both (on the host); a refusal is logged. Not saved.
KQ_EXPORT void kq_set_image_flip(int flip);

// Applies one setting of types 0-20 without saving it (type 16 also applies the staged
// auto-exposure values): 0 (also for another type, which is logged), or the platform's
// code.
KQ_EXPORT int rts_set_isp(uint32_t type, int value);
// Reads every setting from the platform into the saved values (failures logged).
KQ_EXPORT void rts_save_isp_setting(void);
// Applies every saved value again (failures logged).
KQ_EXPORT void rts_apply_isp_saved_setting(void);
// Logs the platform's current value of every setting (level 2).
KQ_EXPORT void rts_show_isp_saved_setting(void);
// Reads the auto-exposure state from the platform into the staged values.
KQ_EXPORT void rts_save_ae_auto(void);
// Applies the staged auto-exposure values: 0, or the platform's code.
KQ_EXPORT int rts_apply_saved_ae_auto(void);
// Fills the five gains the platform reports (total, analog, digital, ISP, exposure):
// 0, or the platform's code (on the host a null pointer is refused).
KQ_EXPORT int rts_get_gain(uint32_t* total, uint32_t* analog, uint32_t* digital, uint32_t* isp,
                           uint32_t* exposure);

#ifdef __cplusplus
}
#endif
