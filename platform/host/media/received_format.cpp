// What the samples an application holds are, found from the buffer they came in, for
// the support library's AAC encoder, whose calls carry no sample format.
#include "media/media_platform.h"

namespace host::media {

std::optional<AudioFormat> MediaPlatform::receivedFormat(const void* data, std::size_t bytes) {
    std::lock_guard<std::mutex> lock(mMutex);
    std::optional<AudioFormat> format;
    mChannels.forEach([&](int, Channel& c) {
        if (format || !c.output() || !c.output()->pool().lends(data, bytes)) return;
        format = c.deliveredFormat();
        // An encode channel without a profile delivers what its source does.
        Channel* source = mChannels.find(c.source());
        if (!format && source) format = source->deliveredFormat();
    });
    return format;
}

}  // namespace host::media
