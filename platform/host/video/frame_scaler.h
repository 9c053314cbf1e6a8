// Scales a picture to another size with libswscale, as a sensor's field of view: the
// picture fills the target, cut evenly at the sides or at top and bottom where the
// aspect ratios differ, never stretched.
#pragma once

#include "video/frame.h"
#include "video/scaler_context.h"

namespace host::video {

class FrameScaler {
public:
    // Fills `to`, already sized, from `from`; a copy when the sizes are equal. False when
    // either is not valid() or libswscale refuses the sizes.
    bool scale(const Frame& from, Frame& to);

private:
    ScalerContext mContext;
};

}  // namespace host::video
