#include "support/frame_backlog.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "log/host_log.h"

namespace host::support {

void FrameBacklog::push(std::vector<uint8_t> frame) {
    mFrames.push_back(std::move(frame));
    if (mFrames.size() > kMaxFrames) {
        mFrames.pop_front();
        mOverflowed = true;
    }
}

int FrameBacklog::drain(uint8_t* out, std::size_t room) {
    if (mOverflowed) {
        mOverflowed = false;
        return log::refuse(-ENOSPC,
                           "do_pcm_to_aac_encode: frames dropped: more than %zu waited for room",
                           kMaxFrames);
    }
    if (!mFrames.empty() && mFrames.front().size() > room) {
        const std::size_t size = mFrames.front().size();
        mFrames.pop_front();
        return log::refuse(-ENOSPC,
                           "do_pcm_to_aac_encode: a frame of %zu bytes dropped: larger than the "
                           "room of %zu bytes",
                           size, room);
    }
    std::size_t written = 0;
    while (!mFrames.empty() && mFrames.front().size() <= room - written) {
        const std::vector<uint8_t>& frame = mFrames.front();
        std::memcpy(out + written, frame.data(), frame.size());
        written += frame.size();
        mFrames.pop_front();
    }
    return static_cast<int>(written);
}

void FrameBacklog::clear() {
    mFrames.clear();
    mOverflowed = false;
}

}  // namespace host::support
