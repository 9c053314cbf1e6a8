// Camera support library: overlay drawing, privacy masks, image settings, encoder
// controls, audio queues and volumes, the AAC encoder, GPIO and I2C.
//
// Every call returns 0 on success or a negative code that errno2str() names, unless
// its comment says otherwise. The packs are records the caller embeds and the library
// fills; their first word is non-zero while the pack is initialised.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "rts_av.h"

#ifdef __cplusplus
extern "C" {
#endif

// ---- Overlay: text and images drawn into an overlay channel ----------------------------

struct osd_pack {
    uint32_t ready;    // bytes 0-3: non-zero once initialised
    uint8_t priv[56];  // bytes 4-59: the library's
    uint8_t color[6];  // bytes 60-65: text colour (R, G, B) then background (R, G, B)
    uint8_t priv2[6];  // bytes 66-71: the library's
};

struct osd_image;  // an image held by the library

int init_osd_pack(struct osd_pack* pack, uint32_t font_size, uint32_t flags, uint32_t width,
                  uint32_t height);
int deinit_osd_pack(struct osd_pack* pack);
// Attaches the pack to overlay channel `osd_chn`, which then draws its items.
int set_default_osd_attr(struct osd_pack* pack, int osd_chn);

// A pack shows one item, a text or an image, in each of its blocks 0 to 7; a new item
// replaces the block's old one, and the items are drawn in block order, over the
// rectangles of the channel's mask pack.

// Draws the first `count` characters of `text` at (x, y), replacing the block's item.
int set_osd_text(struct osd_pack* pack, const char* text, int count, int x, int y, int block);

// Copies the pixels, which the caller may free as soon as the call returns, and
// converts them to the frames' colour space. The pixels are top-down BGRA8888
// (`format` module::kBitmapFormatBgra8888) as module::GetPureBitmap() gives them; with
// `bits` 24 the image is opaque whatever the alpha bytes say, with 32 it is blended by
// its alpha. Null for null pixels, a side of 0 or above 8192 (module::kMaxBitmapSide,
// the bitmap loader's limit), another format or bits, or no memory.
struct osd_image* create_osd_image(const void* pixels, uint32_t width, uint32_t height,
                                   uint32_t format, uint8_t bits);
// Frees the image and sets `*image` to null. A null `image` or `*image` is a no-op. A
// handle that names no live image (a stray one, or one destroyed or reset away) frees
// nothing and is set to null all the same. An image on screen stays there until its
// block is erased or replaced.
void destroy_osd_image(struct osd_image** image);
// Shows the image with its top-left corner at (x, y), anywhere in or out of the frame
// (what falls outside is clipped), replacing the block's item. -EINVAL for a pack not
// initialised, an image that is not live, a width, height, format or bits that differ
// from the image's, or a block outside 0 to 7.
int draw_osd_image(struct osd_pack* pack, struct osd_image* image, uint32_t width, uint32_t height,
                   uint32_t format, uint8_t bits, int x, int y, int block);
// Removes the block's item; an empty block is no error. -EINVAL for a pack not
// initialised or a block outside 0 to 7.
int erase_osd_image(struct osd_pack* pack, int block);

// ---- Privacy masks ----------------------------------------------------------------------

struct mask_pack {
    uint32_t ready;    // bytes 0-3: non-zero once initialised
    uint8_t priv[20];  // bytes 4-23: the library's
};

// Attaches the new pack to the newest (highest id) overlay channel that has no mask pack
// yet and whose source is an image channel with a `width` x `height` profile; that
// channel fills the pack's rectangles in every frame. -ENODEV when there is no such
// channel, so call it once the channel graph is bound. The attachment goes with the
// channel: destroying the channel drops it, and deinit_mask_pack() frees the channel
// for another pack.
int init_mask_pack(struct mask_pack* pack, uint32_t width, uint32_t height);
int deinit_mask_pack(struct mask_pack* pack);
// Covers the rectangle at (x, y), clipped to the frame, with opaque mid grey (RGB 128,
// 128, 128) in every frame; the same index again moves the rectangle. -EINVAL for a pack
// not initialised, an index outside 0 to 7, or a width or height of 0.
int enable_rect_mask(struct mask_pack* pack, int index, uint32_t width, uint32_t height, int x,
                     int y);
// Lifts mask `index`; lifting one that is not on is no error. -EINVAL for a pack not
// initialised or an index outside 0 to 7.
int disable_mask(struct mask_pack* pack, int index);

// ---- Image settings ---------------------------------------------------------------------

int set_brightness(int value);
int get_brightness(int* value);
int set_saturation(int value);
int get_saturation(int* value);
int set_contrast(int value);
int get_contrast(int* value);
int set_sharpness(int value);
int get_sharpness(int* value);
int set_hue(int value);
int get_hue(int* value);
int set_detail_enh(int value);
int get_detail_enh(int* value);
int set_gamma(int value);
int get_gamma(int* value);
int set_backlight(int value);
int get_backlight(int* value);
int set_pwr_freq(int value);
int get_pwr_freq(int* value);
int set_gray_mode(int value);
int get_gray_mode(int* value);
int set_wdr_mode(int value);
int get_wdr_mode(int* value);
int set_wdr_level(int value);
int get_wdr_level(int* value);
int set_3dnr(int value);
int get_3dnr(int* value);
int set_dehaze(int value);
int get_dehaze(int* value);
int set_ir_mode(int value);
int get_ir_mode(int* value);
int set_smrt_ir_mode(int value);
int get_smrt_ir_mode(int* value);
int set_smrt_ir_level(int value);
int get_smrt_ir_level(int* value);
int set_io_door_mode(int value);
int get_io_door_mode(int* value);
int set_noise_reduct(int value);
int get_noise_reduct(int* value);

// Auto exposure: exposure bias (-128..127), target luminance (0..65535), convergence
// speed (0..255) and metering mode (0..5).
int get_ae_auto(int32_t* bias, uint16_t* target, uint8_t* speed, int32_t* metering);
int set_ae_auto(int32_t bias, uint16_t target, uint8_t speed, int32_t metering);
int get_ae_all_gain(uint32_t* total, uint32_t* analog, uint32_t* digital, uint32_t* isp,
                    uint32_t* exposure);

// 0 none, 1 mirror (left-right), 2 flip (upside down), 3 both.
int set_flip(int flip);

// ---- Encoder controls -------------------------------------------------------------------

// 0 baseline, 1 main, 2 high.
int set_h264_video_profile(struct rts_h264_ctrl* ctrl, int profile);
// 1 to 100.
int set_mjpeg_quality(struct rts_mjpeg_ctrl* ctrl, int quality);

// ---- Audio queues and volumes -----------------------------------------------------------

// A fixed pool of playback buffers; a zero-filled handle is accepted by
// destroy_audio_queue().
struct audio_queue {
    uint32_t ready;  // non-zero once created
    uint32_t id;     // the library's
};

int create_audio_queue(struct audio_queue* queue, uint16_t buffer_bytes);
// A free buffer of the pool, or null when none is free; give it back with
// rts_av_put_buffer().
struct rts_av_buffer* pop_audio_queue(struct audio_queue* queue);
int destroy_audio_queue(struct audio_queue* queue);

// Volumes are 0 to 100; a negative result is a failure.
int get_playback_volume(int* volume);
int set_playback_volume(int volume);
int enable_playback_mute(int mute);
int get_capture_volume(int* volume);
int set_capture_volume(int volume);
int enable_capture_mute(int mute);

// ---- AAC encoder --------------------------------------------------------------------------

struct aac_encoder_pack {
    uint32_t channels;    // word 0
    uint32_t sampleRate;  // word 1: input rate
    uint32_t outputRate;  // word 2
    uint8_t priv[2060];   // the library's
};

int create_aac_encoder_pack(struct aac_encoder_pack* pack);
int clear_aac_encoder_buffer(struct aac_encoder_pack* pack);
// Encodes `pcm_bytes` of PCM; returns the AAC bytes written to `out` (0 while the
// encoder collects input) or a negative code.
int do_pcm_to_aac_encode(struct aac_encoder_pack* pack, const void* pcm, uint32_t pcm_bytes,
                         void* out, uint32_t out_capacity);
int destroy_aac_encoder_pack(struct aac_encoder_pack* pack);

// ---- GPIO and I2C -------------------------------------------------------------------------

int init_gpio(int gpio, int bank, int direction, int value);
int deinit_gpio(int gpio, int bank);
// The pin value (0 or 1), or a negative code.
int get_gpio_value(int gpio, int bank);
int set_gpio_value(int gpio, int bank, int value);

int read_i2c(int bus, int device, int addr_bytes, int length, unsigned char* buffer);
int write_i2c(int bus, int device, int addr_bytes, int length, unsigned char* buffer);
int bulk_read_i2c(int bus, int device, int addr_bytes, int reg1, int reg2, int length,
                  unsigned char* buffer);
int bulk_write_i2c(int bus, int device, int addr_bytes, int reg1, int reg2, int length,
                   unsigned char* buffer);
int set_bits_i2c(int bus, int device, int addr_bytes, int reg1, int reg2, unsigned char bits);
int clear_bits_i2c(int bus, int device, int addr_bytes, int reg1, int reg2, unsigned char bits);
int update_bits_i2c(int bus, int device, int addr_bytes, int reg1, int reg2, unsigned char mask,
                    unsigned char value);

#ifdef __cplusplus
}  // extern "C"

static_assert(sizeof(osd_pack) == 72, "the OSD pack is 72 bytes");
static_assert(offsetof(osd_pack, color) == 60, "the colour bytes are bytes 60-65");
static_assert(sizeof(mask_pack) == 24, "the mask pack is 24 bytes");
static_assert(sizeof(aac_encoder_pack) == 2072, "the AAC encoder pack is 2072 bytes");
#endif
