// Control interface of the host platform, for tests and the demo; the library never
// uses it. It resets the platform, shows the journal of platform calls, injects
// failures and keeps the log records.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace hostctl {

// Back to the state of a fresh process: no channels, platform not initialised,
// default image settings, volumes at 100 and unmuted, a bare board, no AAC encoder
// packs, empty journal, no pending failures, no log records, and the log shown as the
// environment chooses (see setShownLevels()).
void reset();

// The journal and the captured log records keep only their latest entries, within a
// count and a byte budget each (strings' heap included, allocator overhead not), so
// that an application left running for days stays flat in memory: about 3 MiB for
// both at most. Each new entry beyond a bound forgets the oldest one.
constexpr std::size_t kJournalMaxCalls = 16384;
constexpr std::size_t kJournalMaxBytes = 2u << 20;
constexpr std::size_t kLogMaxRecords = 4096;
constexpr std::size_t kLogMaxBytes = 1u << 20;

// ---- Journal of platform calls ------------------------------------------------------------

struct JournalEntry {
    std::string function;  // "rts_av_bind"
    std::string args;      // "3, 4"; records by address as "{1, 1920, 1080, 1, 25}"
    int result;
    uint64_t timeUs;  // when the call returned: CLOCK_MONOTONIC, as the buffers' stamps

    // "rts_av_bind(3, 4) = 0"
    std::string text() const;
};

// The latest calls, oldest first (at most kJournalMaxCalls).
std::vector<JournalEntry> journal();
void clearJournal();
// Off, calls are neither journaled nor formatted: for long runs and allocation counts.
void setJournalEnabled(bool enabled);
// The calls of the journal made to `function`, in order.
std::vector<JournalEntry> calls(const std::string& function);
// "function(args)" of every call, in order, for comparing call sequences.
std::vector<std::string> callTexts();

// ---- Failure injection ------------------------------------------------------------------

// Makes the `nth` next call of `function` (1: the very next one) return `code`
// without doing anything. For creation calls `code` is the returned id.
void failCall(const std::string& function, unsigned int nth, int code);
void clearFailures();

// ---- Log records ------------------------------------------------------------------------

struct LogRecord {
    enum class Path { Shown, Stored };  // LogEntry::Msg or Log2MyDB
    Path path;
    unsigned int level;
    unsigned int module;
    std::string file;  // empty when the record had none
    unsigned int line;
    std::string text;    // the formatted text, trailing newline included
    std::string format;  // the format string the log call was given

    // One readable line: "error src/rts390x/kq_api_shell/rts_api.cpp:42 given ch[2] not vaild!"
    std::string readable() const;
};

// Besides the library's records (module 26), the host platform writes its own under
// module kHostLogModule, their text starting "host: ": a warning for each call it
// refuses, naming what was wrong (the field and its value with the values accepted, the
// device name, the path, the pin), and a warning when a device fails while running.
// The caller gets the refusal's code as well; the record says why.
constexpr unsigned int kHostLogModule = 27;

// The latest records, oldest first (at most kLogMaxRecords): the stored ones (Log2MyDB,
// every level the library stores, whatever is shown) by default, the shown ones
// (LogEntry::Msg, exactly the lines echoed) on request.
std::vector<LogRecord> logRecords(LogRecord::Path path = LogRecord::Path::Stored);
// The texts of the stored records, in order.
std::vector<std::string> logTexts();
void clearLogRecords();

// Level bits (1 << level) of every level, and of the levels from `lowest` up.
constexpr unsigned int kAllLogLevels = 0x1e;
constexpr unsigned int logLevelsFrom(unsigned int lowest) {
    return lowest > 4 ? 0 : kAllLogLevels & ~((1u << lowest) - 1);
}

// The log is shown by echoing: LogEntry::IsShow() accepts a level exactly when its
// records are echoed, one readable line each, to the echo stream. A fresh process (and
// reset()) echoes to stderr from warnings up, or from the level the environment
// variable KQ_HOST_LOG_LEVEL names: debug, info, warning, error or off (also 1-4, 0).
// Which levels are echoed, as a mask of level bits.
void setShownLevels(unsigned int levelMask);
// Where they are echoed; null echoes nothing, so that IsShow() accepts no level
// (tests that read the captured records instead).
void setLogEcho(std::FILE* stream);
// Also hands every stored record to `listener` as it is written, on the writing thread
// (null: no longer). It must not log, and should return quickly: the writer waits.
void setLogListener(std::function<void(const LogRecord&)> listener);

// ---- Board: GPIO pins and I2C devices -------------------------------------------------------

// The board has GPIO banks 0-3 of pins 0-31 and no I2C device until one is added;
// reset() leaves every pin uninitialised with nothing driven and removes every device.
//
// GPIO: a pin is used between init_gpio() and deinit_gpio(), as an input (direction 0),
// which reads the level driven onto it (driveGpioInput(), 0 until driven), or as an
// output (direction 1), which reads back the level last set; levels are 0 or 1. Codes,
// each with a record naming the pin and its bank: -ENODEV for a pin the board does not
// have; -EINVAL for a pin not initialised, a direction or level other than 0 or 1;
// -EBUSY for a second init; -EPERM for setting an input.
//
// I2C: a device is a map of byte registers with a register pointer. Register addresses
// take `addr_bytes` bytes, 1 or 2, most significant first: a direct write's first ones
// set the pointer and the rest are written from there, a direct read reads from the
// pointer; register transfers and bit operations address reg1 with one byte and
// reg1 * 256 + reg2 with two. Every transfer leaves the pointer after the last register
// it touched. Codes: -EINVAL for `addr_bytes` other than 1 or 2, a null buffer, a length
// of 0 or less, a direct write shorter than its address or register bytes outside
// 0-255; then -ENXIO when no device answers; then -ERANGE, with nothing transferred,
// for a transfer past the end of the map.

struct GpioPinState {
    bool initialised;
    int direction;  // 0 input, 1 output
    int level;      // what get_gpio_value() reads while initialised: the output level, or
                    // the level driven onto an input
};
// -ENODEV for a pin the board does not have.
int gpioPinState(int gpio, int bank, GpioPinState* state);
// The level (0 or 1) the outside world drives onto the pin, read while it is an input;
// kept across init and deinit. -ENODEV, or -EINVAL for another level.
int driveGpioInput(int gpio, int bank, int level);

// Adds a device at 7-bit address `device` on `bus` with `registers` registers, all 0.
// -EINVAL for a negative bus, an address outside 0-127 or a size outside 1-65,536,
// -EEXIST for an address already taken on the bus.
int addI2cDevice(int bus, int device, std::size_t registers);
// The device's registers; empty for no such device.
std::vector<uint8_t> i2cRegisters(int bus, int device);
// Changes registers from `address` on without a transfer (the register pointer stays).
// -ENXIO for no such device, -ERANGE past the end of its map.
int setI2cRegisters(int bus, int device, std::size_t address, const std::vector<uint8_t>& bytes);

// ---- AAC encoder packs ----------------------------------------------------------------------

// Whether the host was built with libavcodec's AAC encoder; without it,
// create_aac_encoder_pack() fails with -ENOTSUP.
//
// A pack takes 1 or 2 channels at an AAC rate of 8000 to 96000 Hz, its output rate the
// input rate (else -EINVAL), and makes AAC-LC in ADTS frames at min(rate * 4 / 3, 64000)
// bit/s per channel, frames of about 170 bytes and up to about 300. PCM that lies in an
// audio buffer received from a channel and not yet given back is taken in that
// channel's format, of any width (-EINVAL, with a record, when its rate or channel count
// is not the pack's); other memory is taken as 16-bit samples. A call gives the whole
// frames that fit its room (0 while input is collected); the others wait for the next
// call. A frame larger than the whole room, or the oldest of more than 16 waiting, is
// dropped, and the call that finds so fails with -ENOSPC and a record.
bool aacEncoderAvailable();
// Packs created and not yet destroyed (at most 16).
int aacEncoderPacks();

// ---- Channels -----------------------------------------------------------------------------

int liveChannelCount();

// Platform resources alive now, for tests that check nothing is left behind: audio
// queues, control handles of encoder channels, overlay and mask packs, overlay images.
int liveAudioQueues();
int liveControlHandles();
int liveOsdPacks();
int liveMaskPacks();
int liveOsdImages();

struct ChannelStats {
    uint64_t produced;   // buffers the channel made
    uint64_t dropped;    // lost: the reader fell behind, no buffer was free, or nobody took it
    uint64_t delivered;  // taken by the reader or handed to a one-shot callback
};

// Zeros for a channel that does not exist or delivers no buffers.
ChannelStats channelStats(int chn);

// Scripted channels make no buffers themselves: only pushBuffer() feeds their reader
// and callback, so every branch of a reader can be driven exactly. -ENOENT for no such
// channel, -EINVAL for a channel without buffers.
int scriptChannel(int chn, bool scripted);
// Makes channel `chn` produce a buffer with these bytes, timestamp and flags, as if it
// had encoded them; -EPERM while the channel is disabled.
int pushBuffer(int chn, const std::vector<uint8_t>& bytes, uint64_t timestampUs, uint32_t flags);
// Waits until every one-shot callback handed out has run.
void waitCallbacksIdle();
// How many rts_av_init() are not yet paired with a release.
int platformInitCount();

// ---- Sync marks -----------------------------------------------------------------------------

// While on (off after a reset), the picture stamped at each whole second of the monotonic
// clock is white and the microphones paced by the clock (the tone and WAV files, not
// ALSA) start a beep of kSyncBeepHz at -6 dBFS, kSyncBeepMs long, at that same instant.
// Picture stamps (always the instants the pictures were due) then lie on a grid through
// the whole seconds for frame rates that divide a second (at other rates the first picture
// of each second is white), and capture streams start on a grid that puts a frame on
// each whole second. Switching takes effect from the next picture and the next period.
void setSyncMarks(bool on);
constexpr unsigned int kSyncBeepHz = 4000;
constexpr unsigned int kSyncBeepMs = 40;

// ---- Camera ---------------------------------------------------------------------------------

// The image channels' pictures come from the camera's source:
//   "pattern"      the moving test pattern, the default;
//   "file:PATH"    a video or image file FFmpeg's libraries read (MP4, MKV, JPEG, PNG...):
//                  a video plays in a loop at its own pace whatever the channels' rate,
//                  a still image stays on show;
//   "v4l2:DEVICE"  a webcam (/dev/video0, say), read as a file is.
// Each channel gets the picture scaled to its size, cut to its aspect ratio rather than
// stretched, and the image settings and flip act on it as on the pattern. A source that
// cannot be opened or decoded, or that breaks off, gives one record "host: camera SOURCE:
// REASON", and the channels show the pattern with "camera SOURCE: REASON" written across
// it until a source is set again. A fresh process and reset() take the source from the
// environment variable KQ_HOST_CAMERA, or the pattern when it is unset or unusable.
//
// 0, or -EINVAL with a record for a source of another form, -ENOTSUP with a record when
// the host was built without the FFmpeg libraries it needs (see cameraFilesAvailable()). Takes
// effect from the next picture; the source is read only while a channel takes pictures.
int setCameraSource(const std::string& source);
// Whether this build reads files (FFmpeg's libavformat, libavcodec and libswscale).
bool cameraFilesAvailable();
// "pattern", or the source as set.
std::string cameraSource();

struct CameraStats {
    uint64_t decoded;     // pictures decoded from the source
    uint64_t dropped;     // decoded too late to be shown, while the decoder fell behind
    std::string failure;  // empty while the source works
};
// Of the source being read now; zeros while none is.
CameraStats cameraStats();

// ---- Capture channels -----------------------------------------------------------------------

// Capture and playback channels take PCM of 8000 to 48000 Hz, 1 or 2 channels, and 8
// (unsigned), 16, 24 or 32-bit samples; creating one of another format fails with
// -EINVAL and a record naming the field. Their device names pick the device the same
// way: "alsa:NAME" is ALSA's PCM NAME; a name with a '/' in it or ending in ".wav" (any
// case) is a WAV file, which must end in ".wav" and be usable; anything else is the
// built-in device. A name that cannot be used fails enabling (capture) or the start of
// sending (playback) with a record naming it: -EINVAL for a file name without the
// ending, the file system's code (-ENOENT, ...) otherwise. The library passes at most 63
// characters of a name and cuts longer ones.
//
// A capture channel captures from rts_av_enable_chn() until it is disabled or destroyed.
// Its microphone: a WAV file played in a loop (its rate and channel count must be the
// channel's, else -EINVAL), ALSA, or a sine tone of kCaptureToneHz at kCaptureToneLevel
// of full scale (-12 dBFS) in every channel. It delivers one buffer per kCapturePeriodMs, stamped
// with its first sample's time on the monotonic clock, through the resample channels bound to it
// (formats converted with libswresample, equal formats passed on untouched) to the encode channels,
// at the support library's capture volume. An encode channel delivers PCM of its profile's format
// only: enabling one fed another format fails with -EINVAL, and buffers that reach it in another
// format later are counted as dropped.
constexpr unsigned int kCapturePeriodMs = 20;
constexpr unsigned int kCaptureToneHz = 1000;
constexpr double kCaptureToneLevel = 0.25;

struct CaptureStats {
    uint64_t periods;      // read from the microphone since the channel was enabled
    uint64_t inputErrors;  // reads the microphone failed (an ALSA overrun, say)
};
// Zeros for a channel that is not capturing.
CaptureStats captureStats(int chn);

// ---- Playback channels ----------------------------------------------------------------------

// A playback channel plays into a speaker from rts_av_start_send() until it stops
// sending, is disabled or destroyed. Its speaker (see Capture channels): a WAV file
// created for it, ALSA, or memory that keeps the last 10 s. The speaker starts at the
// first byte sent, then plays one 10 ms period after another in real time with the
// support library's playback volume, filling what the sender did not provide with
// silence (also written to a file). The first period the FIFO cannot fill after a filled
// one counts an underrun, which lasts until a period is filled again. The FIFO holds at
// least 40 ms and 6 buffers of the largest size sent; a send into a full FIFO waits up to
// a period for room, then fails with -EAGAIN, counted as an overflow. A send that is not
// whole frames fails with -EINVAL and a record.
//
// The figures cover the channel's latest run of sending and stay once it ends, also
// after the channel is destroyed, for the 8 latest destroyed playback channels.
struct PlaybackStats {
    uint64_t buffersReceived;
    uint64_t bytesReceived;
    uint64_t framesReceived;  // samples of each channel
    uint64_t bytesPlayed;     // received bytes played so far; silence not counted
    uint64_t silenceBytes;    // played while the FIFO ran dry
    uint64_t underruns;       // dry spells after the first byte played
    uint64_t overflows;       // sends refused with -EAGAIN for a full FIFO
    uint64_t outputErrors;    // periods the device (file, ALSA) failed to take
    std::size_t fifoBytes;    // waiting in the FIFO now
    std::size_t fifoCapacity;
    bool running;  // from the start of sending until the channel stops sending
};
// Zeros for a channel that has had no speaker.
PlaybackStats playbackStats(int chn);

struct PlaybackArrival {
    uint64_t timeUs;  // monotonic clock, when the buffer entered the FIFO
    uint32_t bytes;
};
// Every buffer the speaker took, oldest first (the latest 16,384).
std::vector<PlaybackArrival> playbackArrivals(int chn);
// What the in-memory speaker played, volume applied and silence included, oldest first;
// empty for other speakers.
std::vector<uint8_t> playbackSamples(int chn);
// Waits until the channel's speaker has played `bytes` received bytes; false when the
// timeout passed or the speaker stopped first, or the channel has none.
bool waitPlaybackPlayed(int chn, uint64_t bytes, unsigned int timeoutMs);
// The newest playback channel that has had a speaker (a sink's, say), or -1.
int newestPlaybackChannel();

}  // namespace hostctl
