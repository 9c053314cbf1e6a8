#include "media_feed.h"

#include <gst/app/gstappsrc.h>

#include "adts.h"

namespace live {

MediaFeed::MediaFeed(GstElement* appsrc, std::shared_ptr<FrameQueue> queue, int64_t baseNs,
                     int64_t durationNs, const MediaFeed* leader, DelayProbe* probe)
    : mAppsrc(GST_ELEMENT(gst_object_ref(appsrc))),
      mQueue(std::move(queue)),
      mBaseNs(baseNs),
      mDurationNs(durationNs),
      mLeader(leader),
      mProbe(probe),
      mThread(&MediaFeed::run, this) {}

MediaFeed::~MediaFeed() {
    stop();
    gst_object_unref(mAppsrc);
}

void MediaFeed::stop() {
    mQueue->close();
    if (mThread.joinable()) mThread.join();
}

void MediaFeed::run() {
    while (!mQueue->closed())
        if (FramePtr frame = mQueue->pop(std::chrono::milliseconds(200))) push(frame);
}

void MediaFeed::push(const FramePtr& frame) {
    const int64_t pts = frame->captureNs - mBaseNs;
    auto* appsrc = GST_APP_SRC(mAppsrc);
    // A stalled pipeline: what it would get late is dropped, up to the next key frame.
    const bool stalled = gst_app_src_get_current_level_buffers(appsrc) >= kMaxQueued;
    const bool early = mLeader && !mLeader->started();
    if (pts < 0 || stalled || early || (mWaitingForKey && !frame->keyFrame)) {
        mWaitingForKey = true;
        return;
    }
    mWaitingForKey = false;
    // An AAC frame goes without its ADTS header: RTP carries the raw frame.
    std::size_t offset = 0;
    AdtsHeader header{};
    if (frame->stream == kAudio && readAdtsHeader(frame->data.data(), frame->data.size(), &header))
        offset = header.headerBytes;
    auto* holder = new FramePtr(frame);
    GstBuffer* buffer = gst_buffer_new_wrapped_full(
        GST_MEMORY_FLAG_READONLY, const_cast<uint8_t*>(frame->data.data()), frame->data.size(),
        offset, frame->data.size() - offset, holder,
        [](gpointer held) { delete static_cast<FramePtr*>(held); });
    GST_BUFFER_PTS(buffer) = GST_BUFFER_DTS(buffer) = static_cast<GstClockTime>(pts);
    GST_BUFFER_DURATION(buffer) = static_cast<GstClockTime>(mDurationNs);
    if (!frame->keyFrame) GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
    if (mProbe) mProbe->pushed(*frame, static_cast<GstClockTime>(pts));
    gst_app_src_push_buffer(appsrc, buffer);
    mStarted = true;
}

}  // namespace live
