// What kq-live's web layer needs from the camera, in plain values. The camera core
// implements it over the public interface; the tests implement it with a fake. Every
// value reaching it has been checked by the router, so an implementation passes them
// on as they are.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace live {

using Bytes = std::vector<uint8_t>;
// One encoded picture shared by every viewer: copied once out of the frame callback.
using SharedBytes = std::shared_ptr<const Bytes>;

// A stream of values the camera produces on its own threads. Implementations keep a
// bounded queue and drop the oldest value when it is full, so that a slow reader never
// holds up the camera.
template <class T>
class Subscription {
public:
    virtual ~Subscription() = default;
    // The next value, waiting up to `timeout`; nothing on timeout or once closed.
    virtual std::optional<T> pop(std::chrono::milliseconds timeout) = 0;
    // Ends the stream: a pop() waiting now or later returns at once with nothing.
    virtual void close() = 0;
};

// A log record as the page shows it. Levels as the library's: 1 debug, 2 info,
// 3 warning, 4 error.
struct LogRecord {
    int level = 2;
    std::string text;
    int64_t timeMs = 0;  // milliseconds since the Unix epoch
};

// PCM from the browser's microphone: 16-bit little-endian samples, interleaved.
class TalkbackWriter {
public:
    virtual ~TalkbackWriter() = default;  // closes
    // Queues whole sample frames (any number): 0, or the library's code.
    virtual int write(const uint8_t* pcm, std::size_t bytes) = 0;
    virtual void close() = 0;
};

struct Snapshot {
    int code = 0;  // 0, or the library's code (then no picture)
    Bytes jpeg;
};

// The six colour bytes of the timestamp: text R, G, B, then background R, G, B.
using TimestampColour = std::array<uint8_t, 6>;

class CameraPort {
public:
    virtual ~CameraPort() = default;

    // One call of the public interface each; the library's code, or 0 for the calls
    // that return nothing. Any thread; the core serialises them as the library asks.
    // In order: kq_enable_osd, kq_osd_set_position, kq_osd_set_format, kq_osd_set_color,
    // kq_watermark_enable, kq_watermark_setup_position, kq_watermark_setup_opaque,
    // kq_enable_privacy_mode, kq_set_image_flip and kq_isp_set.
    virtual int enableTimestamp(int channel, bool on) = 0;
    virtual int setTimestampPosition(int channel, int position) = 0;
    virtual int setTimestampFormat(int channel, const std::string& format) = 0;
    virtual int setTimestampColour(int channel, const TimestampColour& colour) = 0;
    virtual int enableWatermark(int channel, bool on) = 0;
    virtual int setWatermarkPosition(int channel, int position) = 0;
    virtual int setWatermarkOpacity(int channel, int opacity) = 0;  // 0-100
    virtual int enablePrivacy(int channel, bool on) = 0;
    virtual int setFlip(int flip) = 0;
    virtual int setImage(int type, int value) = 0;  // a kq_isp_type and its value

    // One JPEG picture of `channel` at `quality` (1-100). Blocks until the picture comes
    // or the core gives up; the web layer calls it off its network threads.
    virtual Snapshot snapshot(int channel, int quality) = 0;
    // Channel 1's encoded JPEG frames from now on.
    virtual std::unique_ptr<Subscription<SharedBytes>> subscribeJpegFrames() = 0;
    // Log records from now on.
    virtual std::unique_ptr<Subscription<LogRecord>> subscribeLog() = 0;
    // A writer into the speaker for PCM of `rate` Hz and `channels` channels, or null
    // when the camera cannot play now (one talker at a time is the core's choice).
    virtual std::unique_ptr<TalkbackWriter> openTalkback(int rate, int channels) = 0;
};

}  // namespace live
