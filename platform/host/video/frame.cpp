#include "video/frame.h"

namespace host::video {

bool validFrameSize(uint32_t width, uint32_t height) {
    auto validSide = [](uint32_t side) {
        return side >= kMinFrameSide && side <= kMaxFrameSide && side % 2 == 0;
    };
    return validSide(width) && validSide(height);
}

void Frame::resize(uint32_t newWidth, uint32_t newHeight) {
    width = newWidth;
    height = newHeight;
    pixels.resize(byteSize());
}

bool Frame::valid() const { return validFrameSize(width, height) && pixels.size() >= byteSize(); }

}  // namespace host::video
