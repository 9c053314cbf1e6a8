// A libswscale context kept from picture to picture and remade only when what it
// converts changes: sws_getCachedContext() allocates on every call, even when it keeps
// the context it was given.
#pragma once

#include <array>

struct SwsContext;

namespace host::video {

class ScalerContext {
public:
    ScalerContext() = default;
    ~ScalerContext();
    ScalerContext(const ScalerContext&) = delete;
    ScalerContext& operator=(const ScalerContext&) = delete;

    // A bicubic context from one size and pixel format (AVPixelFormat) to another; null
    // when libswscale refuses them.
    SwsContext* get(int fromWidth, int fromHeight, int fromFormat, int toWidth, int toHeight,
                    int toFormat);

private:
    SwsContext* mContext = nullptr;
    std::array<int, 6> mMadeFor{};
};

}  // namespace host::video
