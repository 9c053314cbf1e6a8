#include "media/call_records.h"

#include <cstring>

#include "journal/call_journal.h"

namespace host::media {

std::string recordText(const rts_isp_attr* attr) {
    if (!attr) return hostctl::arg(attr);
    return hostctl::record(attr->bufferCount, attr->mode);
}

std::string recordText(const rts_h264_attr* attr) {
    if (!attr) return hostctl::arg(attr);
    return hostctl::record(attr->queueDepth, attr->qp, attr->bitrate, attr->gop, attr->rotation,
                           attr->reserved);
}

std::string recordText(const rts_mjpeg_attr* attr) {
    if (!attr) return hostctl::arg(attr);
    return hostctl::record(attr->rotation);
}

std::string recordText(const rts_audio_attr* attr) {
    if (!attr) return hostctl::arg(attr);
    // The name need not be terminated; never read past its 64 bytes.
    std::string node(attr->dev_node, strnlen(attr->dev_node, sizeof attr->dev_node));
    return hostctl::record(node.c_str(), attr->format, attr->channels, attr->rate, attr->reserved);
}

std::string recordText(const rts_av_profile* profile) {
    if (!profile) return hostctl::arg(profile);
    // The same five words whichever view the caller filled in.
    uint32_t words[5];
    static_assert(sizeof words == sizeof *profile, "a profile is five words");
    std::memcpy(words, profile, sizeof words);
    return hostctl::record(words[0], words[1], words[2], words[3], words[4]);
}

std::string recordText(const rts_av_callback* callback) {
    if (!callback) return hostctl::arg(callback);
    return hostctl::record(reinterpret_cast<const void*>(callback->handler), callback->context,
                           callback->start, callback->times, callback->interval,
                           callback->reserved);
}

}  // namespace host::media
