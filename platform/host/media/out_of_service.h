// The video and capture streams, speakers and buffer pools a call takes out of service
// under the media platform's lock. They are stopped when this goes, which must be after
// the lock is released, since stopping waits for their threads: declare it before the
// lock. Pools go last, once no speaker can be copying from them.
#pragma once

#include <memory>
#include <vector>

#include "audio/playback_device.h"
#include "media/buffer_pool.h"
#include "media/capture_stream.h"
#include "media/video_stream.h"

namespace host::media {

struct OutOfService {
    std::vector<std::unique_ptr<BufferPool>> pools;
    std::vector<std::unique_ptr<VideoStream>> streams;
    std::vector<std::unique_ptr<CaptureStream>> captures;
    std::vector<std::shared_ptr<audio::PlaybackDevice>> speakers;

    OutOfService() = default;
    OutOfService(const OutOfService&) = delete;
    OutOfService& operator=(const OutOfService&) = delete;
    ~OutOfService() {
        for (const auto& speaker : speakers) speaker->stop();
    }
};

}  // namespace host::media
