#include "video/frame_scaler.h"

extern "C" {
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cstring>

namespace host::video {

bool FrameScaler::scale(const Frame& from, Frame& to) {
    if (!from.valid() || !to.valid()) return false;
    if (from.width == to.width && from.height == to.height) {
        std::memcpy(to.pixels.data(), from.pixels.data(), from.byteSize());
        return true;
    }
    // The largest part of `from` with the aspect ratio of `to`, centred, on even lines
    // so that the chroma planes are cut at the same place.
    uint32_t cropWidth = from.width, cropHeight = from.height;
    if (uint64_t{from.width} * to.height > uint64_t{to.width} * from.height)
        cropWidth = static_cast<uint32_t>(uint64_t{from.height} * to.width / to.height) & ~1u;
    else
        cropHeight = static_cast<uint32_t>(uint64_t{from.width} * to.height / to.width) & ~1u;
    cropWidth = std::max(cropWidth, 2u);
    cropHeight = std::max(cropHeight, 2u);
    const uint32_t left = (from.width - cropWidth) / 2 & ~1u;
    const uint32_t top = (from.height - cropHeight) / 2 & ~1u;

    SwsContext* context =
        mContext.get(static_cast<int>(cropWidth), static_cast<int>(cropHeight), AV_PIX_FMT_YUVJ420P,
                     static_cast<int>(to.width), static_cast<int>(to.height), AV_PIX_FMT_YUVJ420P);
    if (!context) return false;
    const uint8_t* source[] = {
        from.y() + std::size_t{top} * from.width + left,
        from.u() + std::size_t{top / 2} * from.chromaWidth() + left / 2,
        from.v() + std::size_t{top / 2} * from.chromaWidth() + left / 2,
    };
    const int sourceStrides[] = {static_cast<int>(from.width), static_cast<int>(from.chromaWidth()),
                                 static_cast<int>(from.chromaWidth())};
    uint8_t* target[] = {to.y(), to.u(), to.v()};
    const int targetStrides[] = {static_cast<int>(to.width), static_cast<int>(to.chromaWidth()),
                                 static_cast<int>(to.chromaWidth())};
    sws_scale(context, source, sourceStrides, 0, static_cast<int>(cropHeight), target,
              targetStrides);
    return true;
}

}  // namespace host::video
