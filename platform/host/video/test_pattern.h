// The image channel's moving test pattern: static colour bars, a box that moves with
// the frame number and a frame counter, and a notice when there is one to show; shaded by the image
// settings and flipped as a sensor flip would show it.
#pragma once

#include <cstdint>

#include <string>

#include "video/drawing.h"
#include "video/frame.h"
#include "video/picture_look.h"

namespace host::video {

class TestPattern {
public:
    // Draws picture number `frameNumber` into `frame` (already sized and timestamped),
    // with `notice` (say, why the camera's source shows nothing), when not empty, written
    // across the bars. Leaves a frame that is not valid() untouched.
    void render(uint64_t frameNumber, const PictureLook& look, Frame& frame,
                const std::string& notice = {});

private:
    void drawNotice(const std::string& notice, Frame& frame);

    AlphaMask mCounter;  // reused so a steady stream allocates nothing
    // The notice as last rendered, redrawn only when it or the frame's width changes.
    std::string mNoticeText;
    uint32_t mNoticeFrameWidth = 0;
    AlphaMask mNotice;
};

}  // namespace host::video
