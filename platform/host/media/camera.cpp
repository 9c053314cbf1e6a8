#include "media/camera.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "control/host_control.h"
#include "log/host_log.h"

namespace host::media {
namespace {

struct Source {
    enum Kind { Pattern, File, Webcam } kind = Pattern;
    std::string name;  // as given: "file:clip.mp4"
    std::string path;  // the file or the device
};

constexpr const char* kFilePrefix = "file:";
constexpr const char* kWebcamPrefix = "v4l2:";

bool startsWith(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

// -EINVAL or -ENOTSUP with a record for a source that cannot be used.
int parseSource(const std::string& name, Source* source) {
    if (name.empty() || name == "pattern") {
        *source = {};
        return 0;
    }
    const bool file = startsWith(name, kFilePrefix);
    const bool webcam = startsWith(name, kWebcamPrefix);
    const std::string path = name.substr(std::strlen(webcam ? kWebcamPrefix : kFilePrefix));
    if ((!file && !webcam) || path.empty())
        return log::refuse(-EINVAL,
                           "camera source \"%s\" is none of pattern, file:PATH and "
                           "v4l2:DEVICE",
                           name.c_str());
#ifndef KQ_HOST_CAMERA_FILES
    return log::refuse(-ENOTSUP,
                       "camera source \"%s\": this host platform was built without "
                       "FFmpeg's libavformat and libswscale, so it shows the test pattern only",
                       name.c_str());
#endif
#ifndef KQ_HOST_WEBCAMS
    if (webcam)
        return log::refuse(-ENOTSUP,
                           "camera source \"%s\": this host platform was built without "
                           "FFmpeg's libavdevice, so it opens no webcam",
                           name.c_str());
#endif
    *source = {file ? Source::File : Source::Webcam, name, path};
    return 0;
}

Source sourceFromEnvironment() {
    Source source;
    const char* value = std::getenv(kCameraVariable);
    if (value && parseSource(value, &source) != 0) source = {};
    return source;
}

struct CameraState {
    CameraState() : source(sourceFromEnvironment()) {}

    std::mutex mutex;
    Source source;
#ifdef KQ_HOST_CAMERA_FILES
    std::weak_ptr<video::CameraFeed> feed;
#endif
};

CameraState& state() {
    static CameraState camera;
    return camera;
}

void useSource(Source source) {
    CameraState& camera = state();
    std::lock_guard<std::mutex> lock(camera.mutex);
    camera.source = std::move(source);
#ifdef KQ_HOST_CAMERA_FILES
    camera.feed.reset();
#endif
}

#ifdef KQ_HOST_CAMERA_FILES
// The feed of the camera's source, started by the first channel that wants it; null for
// the pattern. `name` is set to the source's name when the feed is not `current`.
std::shared_ptr<video::CameraFeed> sharedFeed(const std::shared_ptr<video::CameraFeed>& current,
                                              std::string* name) {
    CameraState& camera = state();
    std::lock_guard<std::mutex> lock(camera.mutex);
    if (camera.source.kind == Source::Pattern) return nullptr;
    std::shared_ptr<video::CameraFeed> feed = camera.feed.lock();
    if (feed == current && feed) return feed;
    *name = camera.source.name;
    if (feed) return feed;
    feed = std::make_shared<video::CameraFeed>(
        camera.source.path, camera.source.kind == Source::Webcam,
        [name = *name](const std::string& reason) {
            log::report(log::kWarning, "camera %s: %s", name.c_str(), reason.c_str());
        });
    camera.feed = feed;
    return feed;
}
#endif

}  // namespace

int setCameraSource(const std::string& name) {
    Source source;
    int rc = parseSource(name, &source);
    if (rc == 0) useSource(std::move(source));
    return rc;
}

std::string cameraSource() {
    CameraState& camera = state();
    std::lock_guard<std::mutex> lock(camera.mutex);
    return camera.source.kind == Source::Pattern ? "pattern" : camera.source.name;
}

void resetCamera() { useSource(sourceFromEnvironment()); }

#ifdef KQ_HOST_CAMERA_FILES
std::shared_ptr<video::CameraFeed> currentFeed() {
    CameraState& camera = state();
    std::lock_guard<std::mutex> lock(camera.mutex);
    return camera.feed.lock();
}
#endif

void CameraView::render(std::chrono::steady_clock::time_point due, uint64_t number,
                        const video::PictureLook& look, video::Frame& frame) {
#ifdef KQ_HOST_CAMERA_FILES
    // Swapped outside the camera's lock: dropping the last user of an old feed waits for
    // its thread.
    std::shared_ptr<video::CameraFeed> feed = sharedFeed(mFeed, &mSourceName);
    if (feed != mFeed) {
        mFeed = feed;
        mNotice.clear();
    }
    if (feed) {
        switch (feed->pictureAt(due, frame, mScaler)) {
            case video::CameraFeed::Pick::Picture: mLook.apply(look, frame); return;
            case video::CameraFeed::Pick::NotYet:
                return mPattern.render(number, look, frame, "camera " + mSourceName + ": starting");
            case video::CameraFeed::Pick::Failed:
                // A failure is final: its notice is made once.
                if (mNotice.empty()) mNotice = "camera " + mSourceName + ": " + feed->failure();
                return mPattern.render(number, look, frame, mNotice);
        }
    }
#endif
    (void)due;
    mPattern.render(number, look, frame);
}

}  // namespace host::media

namespace hostctl {

bool cameraFilesAvailable() {
#ifdef KQ_HOST_CAMERA_FILES
    return true;
#else
    return false;
#endif
}

int setCameraSource(const std::string& source) { return host::media::setCameraSource(source); }
std::string cameraSource() { return host::media::cameraSource(); }

CameraStats cameraStats() {
#ifdef KQ_HOST_CAMERA_FILES
    std::shared_ptr<host::video::CameraFeed> feed = host::media::currentFeed();
    if (feed) {
        host::video::CameraFeed::Stats stats = feed->stats();
        return {stats.decoded, stats.dropped, feed->failure()};
    }
#endif
    return {};
}

}  // namespace hostctl
