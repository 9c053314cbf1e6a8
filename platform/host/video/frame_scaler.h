// Scales a picture to another size with libswscale, as a sensor's field of view: the
// picture fills the target, cut evenly at the sides or at top and bottom where the
// aspect ratios differ, never stretched.
#pragma once

#include <cstdint>

#include "video/frame.h"

struct SwsContext;

namespace host::video {

class FrameScaler {
public:
    FrameScaler() = default;
    ~FrameScaler();
    FrameScaler(const FrameScaler&) = delete;
    FrameScaler& operator=(const FrameScaler&) = delete;

    // Fills `to`, already sized, from `from`; a copy when the sizes are equal. False when
    // either is not valid() or libswscale refuses the sizes.
    bool scale(const Frame& from, Frame& to);

private:
    SwsContext* mContext = nullptr;  // remade only when a size changes
    uint32_t mKey[4] = {};           // the sizes it was made for: crop, then target
};

}  // namespace host::video
