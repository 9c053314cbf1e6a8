// The image channels' camera: the source their pictures come from (the test pattern, a
// video or image file, or a webcam), chosen by the environment variable KQ_HOST_CAMERA
// at start and after a reset, and by the control interface; and the one feed of a file
// or webcam that every image channel shares while any takes pictures.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "video/frame.h"
#include "video/picture_look.h"
#include "video/test_pattern.h"

#ifdef KQ_HOST_CAMERA_FILES
#include "video/camera_feed.h"
#include "video/frame_scaler.h"
#endif

namespace host::media {

constexpr const char* kCameraVariable = "KQ_HOST_CAMERA";

// "pattern", "file:PATH" or "v4l2:DEVICE" (see hostctl::setCameraSource()).
int setCameraSource(const std::string& source);
std::string cameraSource();
// Back to the environment's choice.
void resetCamera();
#ifdef KQ_HOST_CAMERA_FILES
// The feed being read now, if any.
std::shared_ptr<video::CameraFeed> currentFeed();
#endif

// What one image channel shows: the camera's picture, shaded and flipped by the image
// settings, or the test pattern when the camera is the pattern or its source fails, then
// with the reason written across it. Used by the channel's own thread only.
class CameraView {
public:
    // Fills `frame`, already sized and stamped, with picture `number`, due at `due`.
    void render(std::chrono::steady_clock::time_point due, uint64_t number,
                const video::PictureLook& look, video::Frame& frame);

private:
    video::TestPattern mPattern;
#ifdef KQ_HOST_CAMERA_FILES
    std::shared_ptr<video::CameraFeed> mFeed;  // the shared feed, while the source has one
    std::string mSourceName;                   // the feed's source: "file:clip.mp4"
    std::string mNotice;                       // written on the pattern once the feed failed
    video::FrameScaler mScaler;
    video::LookApplier mLook;
#endif
};

}  // namespace host::media
