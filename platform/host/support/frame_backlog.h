// Encoded frames on their way into callers' buffers of limited room, as the AAC encoder
// pack hands them out. Frames leave whole and in order: a call takes every waiting frame
// that fits its room, and the first one that does not fit waits, with those behind it,
// for the next call. Nothing is written past the room, and no frame is ever split.
//
// Frames that cannot wait are dropped, and the call that finds them so fails with
// -ENOSPC, writes nothing and leaves a record saying why, so the loss shows as a failed
// call:
// - a frame larger than the whole room of the call that reaches it;
// - the oldest frames beyond kMaxFrames waiting, when callers keep giving less room than
//   the encoder makes (the backlog stays within kMaxFrames frames of at most 8 KiB).
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace host::support {

class FrameBacklog {
public:
    static constexpr std::size_t kMaxFrames = 16;

    void push(std::vector<uint8_t> frame);
    // The bytes of the whole frames written to `out`, or -ENOSPC as above.
    int drain(uint8_t* out, std::size_t room);
    void clear();

    std::size_t frames() const { return mFrames.size(); }

private:
    std::deque<std::vector<uint8_t>> mFrames;
    bool mOverflowed = false;  // frames dropped since the last drain
};

}  // namespace host::support
