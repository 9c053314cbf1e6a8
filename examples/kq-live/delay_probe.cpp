#include "delay_probe.h"

#include <gst/base/gstbasesink.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "capture_time.h"
#include "frame_hub.h"

namespace live {
namespace {

// Frames a viewer's pipeline may hold before its sinks: older ones were dropped.
constexpr std::size_t kMaxPending = 256;

struct Delays {
    std::mutex mutex;
    std::vector<double> ms[kStreamCount];         // frame callback to the sinks
    std::vector<double> captureMs[kStreamCount];  // capture to the frame callback
};

Delays& delays() {
    static Delays all;
    return all;
}

GstPadProbeReturn onData(GstPad*, GstPadProbeInfo* info, gpointer probe) {
    GstBuffer* buffer = nullptr;
    if (info->type & GST_PAD_PROBE_TYPE_BUFFER)
        buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    else if (GstBufferList* list = GST_PAD_PROBE_INFO_BUFFER_LIST(info))
        buffer = gst_buffer_list_length(list) ? gst_buffer_list_get(list, 0) : nullptr;
    if (buffer && GST_BUFFER_PTS_IS_VALID(buffer))
        static_cast<DelayProbe*>(probe)->reached(GST_BUFFER_PTS(buffer));
    return GST_PAD_PROBE_OK;
}

}  // namespace

void DelayProbe::pushed(const Frame& frame, GstClockTime pts) {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (mPending.size() >= kMaxPending) mPending.erase(mPending.begin());
        mPending[pts] = {frame.stream, frame.arrivalNs};
    }
    std::lock_guard<std::mutex> lock(delays().mutex);
    delays().captureMs[frame.stream].push_back((frame.arrivalNs - frame.captureNs) / 1e6);
}

void DelayProbe::reached(GstClockTime pts) {
    const int64_t now = monotonicNs();
    std::pair<int, int64_t> frame;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        auto found = mPending.find(pts);
        if (found == mPending.end()) return;
        frame = found->second;
        mPending.erase(found);
    }
    std::lock_guard<std::mutex> lock(delays().mutex);
    delays().ms[frame.first].push_back((now - frame.second) / 1e6);
}

void DelayProbe::watch(GstElement* pipeline) {
    g_signal_connect(pipeline, "deep-element-added",
                     G_CALLBACK(+[](GstBin*, GstBin*, GstElement* element, DelayProbe* probe) {
                         if (!GST_IS_BASE_SINK(element)) return;
                         GstPad* pad = gst_element_get_static_pad(element, "sink");
                         gst_pad_add_probe(
                             pad,
                             static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER |
                                                          GST_PAD_PROBE_TYPE_BUFFER_LIST),
                             onData, probe, nullptr);
                         gst_object_unref(pad);
                     }),
                     this);
}

void DelayProbe::printAll() {
    static const char* const kNames[kStreamCount] = {"ch0 H.264", "ch1 MJPEG", "ch0 AAC"};
    std::lock_guard<std::mutex> lock(delays().mutex);
    const auto print = [](const char* what, const char* name, std::vector<double>& ms) {
        if (ms.empty()) return;
        std::sort(ms.begin(), ms.end());
        std::printf("delay from %s, %s: median %.2f ms, p99 %.2f ms, %zu frames\n", what, name,
                    ms[ms.size() / 2], ms[ms.size() * 99 / 100], ms.size());
    };
    for (int stream = 0; stream < kStreamCount; ++stream) {
        print("capture to frame callback", kNames[stream], delays().captureMs[stream]);
        print("frame callback to the RTSP sinks", kNames[stream], delays().ms[stream]);
    }
}

}  // namespace live
