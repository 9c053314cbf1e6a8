// The camera port without a camera: controls are written down as text, snapshots are
// small fixed JPEG-shaped pictures, frames and log records are what the test publishes,
// and talkback collects the PCM it is sent.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "bounded_queue.h"
#include "camera_port.h"

class FakeCamera : public live::CameraPort {
public:
    // The code every control, snapshot and talkback open answers (0: success).
    std::atomic<int> code{0};
    live::Fanout<live::SharedBytes> frames{4};
    live::Fanout<live::LogRecord> records{64};

    std::vector<std::string> calls() const;  // "NAME ARG...", oldest first
    std::string talk() const;                // "RATE/CHANNELS BYTES" of the last talker
    static live::Bytes picture(int channel);

    int enableTimestamp(int channel, bool on) override;
    int setTimestampPosition(int channel, int position) override;
    int setTimestampFormat(int channel, const std::string& format) override;
    int setTimestampColour(int channel, const live::TimestampColour& colour) override;
    int enableWatermark(int channel, bool on) override;
    int setWatermarkPosition(int channel, int position) override;
    int setWatermarkOpacity(int channel, int opacity) override;
    int enablePrivacy(int channel, bool on) override;
    int setFlip(int flip) override;
    int setImage(int type, int value) override;
    live::Snapshot snapshot(int channel, int quality) override;
    std::unique_ptr<live::Subscription<live::SharedBytes>> subscribeJpegFrames() override;
    std::unique_ptr<live::Subscription<live::LogRecord>> subscribeLog() override;
    std::unique_ptr<live::TalkbackWriter> openTalkback(int rate, int channels) override;

private:
    int record(const std::string& call);

    mutable std::mutex mMutex;
    std::vector<std::string> mCalls;
    std::string mTalkFormat;
    std::size_t mTalkBytes = 0;
};
