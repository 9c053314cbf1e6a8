#include "rtsp_server.h"

#include <gst/rtsp-server/rtsp-server.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "adts.h"
#include "live_log.h"
#include "media_feed.h"
#include "rtsp_auth.h"

namespace live {
namespace {

constexpr int64_t kNsPerSecond = 1000000000;
// Frames a viewer's hub queue holds: a second and a half of video or audio.
constexpr std::size_t kViewerQueueFrames = 40;
// How long stop() waits for the viewers' pipelines to stop.
constexpr auto kStopWait = std::chrono::seconds(3);

// An appsrc as the server needs it: live, stamped by us, never blocking its feeder and
// bounded (media_feed.h drops before it fills; should it fill, it drops the oldest).
// No latency of its own: the sinks send each buffer at once.
std::string appsrc(const char* name, const std::string& caps) {
    return std::string("appsrc name=") + name +
           " is-live=true format=time do-timestamp=false block=false leaky-type=downstream "
           "max-bytes=0 max-buffers=" +
           std::to_string(MediaFeed::kMaxQueued + 5) + " min-latency=0 caps=\"" + caps + "\"";
}

std::string videoCaps(const char* media, const examples::VideoSize& size) {
    return std::string(media) + ",width=" + std::to_string(size.width) +
           ",height=" + std::to_string(size.height) + ",framerate=" + std::to_string(size.fps) +
           "/1";
}

// AAC-LC's AudioSpecificConfig: object type 2, the rate's index, the channel count.
std::string aacCaps(uint32_t rate, uint32_t channels) {
    static const uint32_t kRates[] = {96000, 88200, 64000, 48000, 44100, 32000,
                                      24000, 22050, 16000, 12000, 11025, 8000};
    unsigned index = 0;
    while (index < 11 && kRates[index] != rate) ++index;
    char config[16];
    std::snprintf(config, sizeof config, "%04x", (2u << 11 | index << 7 | channels << 3) & 0xffff);
    return "audio/mpeg,mpegversion=4,stream-format=raw,rate=" + std::to_string(rate) +
           ",channels=" + std::to_string(channels) + ",codec_data=(buffer)" + config;
}

// H.264 with its parameter sets before every key frame, packed with it: a viewer needs
// nothing of the SDP to start decoding.
std::string channel0Launch(const RtspSettings& s) {
    return "( " +
           appsrc("video",
                  videoCaps("video/x-h264,stream-format=byte-stream,alignment=au", s.ch0)) +
           " ! rtph264pay name=pay0 pt=96 config-interval=-1 aggregate-mode=zero-latency " +
           appsrc("audio", aacCaps(s.audioRate, s.audioChannels)) +
           " ! rtpmp4gpay name=pay1 pt=97 )";
}

std::string channel1Launch(const RtspSettings& s) {
    return "( " + appsrc("video", videoCaps("image/jpeg", s.ch1)) +
           " ! rtpjpegpay name=pay0 pt=26 )";
}

// One viewer's feeds, kept with its media and stopped when the media is.
struct ViewerFeeds {
    std::unique_ptr<DelayProbe> probe;  // with --delay-stats
    std::vector<std::unique_ptr<MediaFeed>> feeds;
    std::shared_ptr<std::atomic<int>> live;  // the server's count of fed pipelines
    bool stopped = false;

    void stop() {
        if (stopped) return;
        stopped = true;
        for (auto& feed : feeds) feed->stop();
        --*live;
    }
    ~ViewerFeeds() { stop(); }
};

}  // namespace

class RtspServer::Impl {
public:
    Impl(FrameHub& hub, const RtspSettings& settings) : mHub(hub), mSettings(settings) {}
    ~Impl();

    bool start();
    void stop();
    uint16_t port() const { return mPort; }

private:
    GstRTSPMediaFactory* newFactory(const std::string& launch, int videoStream);
    void configure(GstRTSPMedia* media, int videoStream);
    void addFeed(ViewerFeeds& viewer, GstElement* bin, const char* name, int stream,
                 int64_t durationNs, const MediaFeed* leader);
    void clientConnected(GstRTSPClient* client);
    void attach(GSourceFunc function, guint seconds);

    FrameHub& mHub;
    const RtspSettings mSettings;
    GMainContext* mContext = nullptr;
    GMainLoop* mLoop = nullptr;
    GstRTSPServer* mServer = nullptr;
    std::thread mThread;
    uint16_t mPort = 0;
    std::atomic<int> mConnections{0};
    std::shared_ptr<std::atomic<int>> mFedPipelines = std::make_shared<std::atomic<int>>(0);
};

bool RtspServer::Impl::start() {
    if (!gst_is_initialized()) gst_init(nullptr, nullptr);
    mContext = g_main_context_new();
    mLoop = g_main_loop_new(mContext, FALSE);
    mServer = gst_rtsp_server_new();
    gst_rtsp_server_set_address(mServer, mSettings.address.c_str());
    gst_rtsp_server_set_service(mServer, std::to_string(mSettings.port).c_str());
    // A connection's thread waits in DESCRIBE until its pipeline has a key frame: with
    // one thread for every connection (the default) they would wait in turn, and a
    // viewer's first frames would age before its PLAY.
    GstRTSPThreadPool* threads = gst_rtsp_server_get_thread_pool(mServer);
    gst_rtsp_thread_pool_set_max_threads(threads, 2 * static_cast<gint>(mSettings.maxViewers));
    g_object_unref(threads);
    GstRTSPSessionPool* pool = gst_rtsp_server_get_session_pool(mServer);
    gst_rtsp_session_pool_set_max_sessions(pool, mSettings.maxViewers);
    g_object_unref(pool);
    if (!mSettings.user.empty()) {
        GstRTSPAuth* auth = newDigestAuth(mSettings.user, mSettings.password);
        gst_rtsp_server_set_auth(mServer, auth);
        g_object_unref(auth);
    }
    GstRTSPMountPoints* mounts = gst_rtsp_server_get_mount_points(mServer);
    gst_rtsp_mount_points_add_factory(mounts, "/ch0", newFactory(channel0Launch(mSettings), 0));
    gst_rtsp_mount_points_add_factory(mounts, "/ch1", newFactory(channel1Launch(mSettings), 1));
    g_object_unref(mounts);
    g_signal_connect(mServer, "client-connected",
                     G_CALLBACK(+[](GstRTSPServer*, GstRTSPClient* client, Impl* self) {
                         self->clientConnected(client);
                     }),
                     this);

    GError* error = nullptr;
    GSource* source = gst_rtsp_server_create_source(mServer, nullptr, &error);
    if (!source) {
        logLine(LogLevel::Error, "RTSP: cannot listen on %s port %u: %s", mSettings.address.c_str(),
                mSettings.port, error ? error->message : "?");
        g_clear_error(&error);
        return false;
    }
    g_source_attach(source, mContext);
    g_source_unref(source);
    mPort = static_cast<uint16_t>(gst_rtsp_server_get_bound_port(mServer));
    // Sessions whose viewer went quiet past their timeout are removed.
    attach(
        +[](gpointer server) -> gboolean {
            GstRTSPSessionPool* sessions =
                gst_rtsp_server_get_session_pool(GST_RTSP_SERVER(server));
            gst_rtsp_session_pool_cleanup(sessions);
            g_object_unref(sessions);
            return G_SOURCE_CONTINUE;
        },
        2);
    mThread = std::thread([this] {
        g_main_context_push_thread_default(mContext);
        g_main_loop_run(mLoop);
        g_main_context_pop_thread_default(mContext);
    });
    return true;
}

void RtspServer::Impl::attach(GSourceFunc function, guint seconds) {
    GSource* timer = g_timeout_source_new_seconds(seconds);
    g_source_set_callback(timer, function, mServer, nullptr);
    g_source_attach(timer, mContext);
    g_source_unref(timer);
}

GstRTSPMediaFactory* RtspServer::Impl::newFactory(const std::string& launch, int videoStream) {
    GstRTSPMediaFactory* factory = gst_rtsp_media_factory_new();
    gst_rtsp_media_factory_set_launch(factory, launch.c_str());
    gst_rtsp_media_factory_set_shared(factory, FALSE);
    // The receive side's jitter buffers (for a client that records) are not used by
    // viewers; kept short all the same.
    gst_rtsp_media_factory_set_latency(factory, 0);
    if (!mSettings.user.empty()) allowViewers(factory);
    g_object_set_data(G_OBJECT(factory), "kq-video-stream", GINT_TO_POINTER(videoStream));
    g_signal_connect(factory, "media-configure",
                     G_CALLBACK(+[](GstRTSPMediaFactory* f, GstRTSPMedia* media, Impl* self) {
                         self->configure(media, GPOINTER_TO_INT(g_object_get_data(
                                                    G_OBJECT(f), "kq-video-stream")));
                     }),
                     this);
    return factory;
}

// A new viewer's pipeline: the shared clock and base time, and its feeds.
void RtspServer::Impl::configure(GstRTSPMedia* media, int videoStream) {
    GstElement* bin = gst_rtsp_media_get_element(media);
    GstElement* pipeline = GST_ELEMENT(gst_object_get_parent(GST_OBJECT(bin)));
    auto* viewer = new ViewerFeeds;
    if (pipeline && mSettings.delayStats) {
        viewer->probe = std::make_unique<DelayProbe>();
        viewer->probe->watch(pipeline);
    }
    if (pipeline) {
        GstClock* clock = gst_system_clock_obtain();
        gst_pipeline_use_clock(GST_PIPELINE(pipeline), clock);
        gst_object_unref(clock);
        gst_element_set_start_time(pipeline, GST_CLOCK_TIME_NONE);
        gst_element_set_base_time(pipeline, static_cast<GstClockTime>(mSettings.baseNs));
        gst_object_unref(pipeline);
    }
    viewer->live = mFedPipelines;
    ++*mFedPipelines;
    const examples::VideoSize& size = videoStream == 0 ? mSettings.ch0 : mSettings.ch1;
    addFeed(*viewer, bin, "video", videoStream, kNsPerSecond / size.fps, nullptr);
    if (videoStream == 0 && !viewer->feeds.empty())
        addFeed(*viewer, bin, "audio", kAudio, int64_t{1024} * kNsPerSecond / mSettings.audioRate,
                viewer->feeds.front().get());
    gst_object_unref(bin);
    g_object_set_data_full(G_OBJECT(media), "kq-viewer-feeds", viewer,
                           [](gpointer feeds) { delete static_cast<ViewerFeeds*>(feeds); });
    g_signal_connect(media, "unprepared",
                     G_CALLBACK(+[](GstRTSPMedia*, ViewerFeeds* feeds) { feeds->stop(); }), viewer);
}

void RtspServer::Impl::addFeed(ViewerFeeds& viewer, GstElement* bin, const char* name, int stream,
                               int64_t durationNs, const MediaFeed* leader) {
    GstElement* appsrc = gst_bin_get_by_name(GST_BIN(bin), name);
    if (!appsrc) return;
    viewer.feeds.push_back(
        std::make_unique<MediaFeed>(appsrc, mHub.subscribe(stream, kViewerQueueFrames),
                                    mSettings.baseNs, durationNs, leader, viewer.probe.get()));
    gst_object_unref(appsrc);
}

// Connections beyond twice the viewers are closed at once: sessions are bounded by the
// session pool, and idle connections must not pile up either.
void RtspServer::Impl::clientConnected(GstRTSPClient* client) {
    GstRTSPConnection* connection = gst_rtsp_client_get_connection(client);
    const std::string address = connection ? gst_rtsp_connection_get_ip(connection) : "?";
    const int connections = ++mConnections;
    g_signal_connect(client, "closed",
                     G_CALLBACK(+[](GstRTSPClient*, Impl* self) { --self->mConnections; }), this);
    if (connections <= 2 * static_cast<int>(mSettings.maxViewers)) {
        logLine(LogLevel::Info, "RTSP: %s connected (%d connections)", address.c_str(),
                connections);
        return;
    }
    logLine(LogLevel::Warning, "RTSP: %s refused: %d connections already", address.c_str(),
            connections - 1);
    // Closed once the server has attached it, after this signal.
    GSource* idle = g_idle_source_new();
    g_source_set_callback(
        idle,
        +[](gpointer c) -> gboolean {
            gst_rtsp_client_close(GST_RTSP_CLIENT(c));
            return G_SOURCE_REMOVE;
        },
        g_object_ref(client), g_object_unref);
    g_source_attach(idle, mContext);
    g_source_unref(idle);
}

void RtspServer::Impl::stop() {
    if (!mThread.joinable()) return;
    // The loop's own thread closes the connections; their pipelines then stop.
    g_main_context_invoke(
        mContext,
        +[](gpointer server) -> gboolean {
            gst_rtsp_server_client_filter(
                GST_RTSP_SERVER(server),
                +[](GstRTSPServer*, GstRTSPClient*, gpointer) { return GST_RTSP_FILTER_REMOVE; },
                nullptr);
            return G_SOURCE_REMOVE;
        },
        mServer);
    const auto deadline = std::chrono::steady_clock::now() + kStopWait;
    while (*mFedPipelines > 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (*mFedPipelines > 0)
        logLine(LogLevel::Warning, "RTSP: %d viewer pipelines still running at the stop",
                mFedPipelines->load());
    g_main_loop_quit(mLoop);
    mThread.join();
}

RtspServer::Impl::~Impl() {
    stop();
    if (mServer) g_object_unref(mServer);
    if (mLoop) g_main_loop_unref(mLoop);
    if (mContext) g_main_context_unref(mContext);
}

RtspServer::RtspServer(FrameHub& hub) : mHub(hub) {}

RtspServer::~RtspServer() = default;

bool RtspServer::start(const RtspSettings& settings) {
    mImpl = std::make_unique<Impl>(mHub, settings);
    if (mImpl->start()) return true;
    mImpl.reset();
    return false;
}

void RtspServer::stop() { mImpl.reset(); }

uint16_t RtspServer::port() const { return mImpl ? mImpl->port() : 0; }

void releaseGStreamer() {
    if (gst_is_initialized()) gst_deinit();
}

}  // namespace live
