// The camera as kq-live's web layer sees it (camera_port.h), over the public interface:
// each control one library call, serialised with the snapshot requests; snapshots;
// channel 1's frames from the frame hub; the library's and kq-live's log records; and
// talkback into the camera's playback sink.
#pragma once

#include <memory>
#include <mutex>

#include "bounded_queue.h"
#include "camera_port.h"
#include "frame_hub.h"
#include "snapshots.h"

namespace module {
class PcmSink;
}

namespace live {

class WebCamera : public CameraPort {
public:
    // After the camera has started: registers the snapshot callbacks and starts taking
    // log records.
    WebCamera(FrameHub& hub, std::shared_ptr<module::PcmSink> speaker);
    // Stops taking log records: after the web server has stopped.
    ~WebCamera() override;

    int enableTimestamp(int channel, bool on) override;
    int setTimestampPosition(int channel, int position) override;
    int setTimestampFormat(int channel, const std::string& format) override;
    int setTimestampColour(int channel, const TimestampColour& colour) override;
    int enableWatermark(int channel, bool on) override;
    int setWatermarkPosition(int channel, int position) override;
    int setWatermarkOpacity(int channel, int opacity) override;
    int enablePrivacy(int channel, bool on) override;
    int setFlip(int flip) override;
    int setImage(int type, int value) override;
    Snapshot snapshot(int channel, int quality) override;
    std::unique_ptr<Subscription<SharedBytes>> subscribeJpegFrames() override;
    std::unique_ptr<Subscription<LogRecord>> subscribeLog() override;
    std::unique_ptr<TalkbackWriter> openTalkback(int rate, int channels) override;

    // How long a snapshot may take before the page is told it failed.
    static constexpr std::chrono::milliseconds kSnapshotTimeout{5000};

private:
    template <class Call>
    int serialised(Call call);

    FrameHub& mHub;
    std::shared_ptr<module::PcmSink> mSpeaker;
    std::mutex mLibrary;  // one control or snapshot request at a time
    std::mutex mTalker;   // held by the one open talkback writer
    Snapshots mSnapshots;
    Fanout<LogRecord> mLog{256};
};

}  // namespace live
