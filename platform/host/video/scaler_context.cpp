#include "video/scaler_context.h"

extern "C" {
#include <libswscale/swscale.h>
}

namespace host::video {

ScalerContext::~ScalerContext() { sws_freeContext(mContext); }

SwsContext* ScalerContext::get(int fromWidth, int fromHeight, int fromFormat, int toWidth,
                               int toHeight, int toFormat) {
    const std::array<int, 6> wanted = {fromWidth, fromHeight, fromFormat,
                                       toWidth,   toHeight,   toFormat};
    if (mContext && wanted == mMadeFor) return mContext;
    sws_freeContext(mContext);
    mContext = sws_getContext(fromWidth, fromHeight, static_cast<AVPixelFormat>(fromFormat),
                              toWidth, toHeight, static_cast<AVPixelFormat>(toFormat), SWS_BICUBIC,
                              nullptr, nullptr, nullptr);
    mMadeFor = wanted;
    return mContext;
}

}  // namespace host::video
