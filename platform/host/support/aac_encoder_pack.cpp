// AAC encoder packs: each turns the PCM a capture source hands over into ADTS frames of
// AAC-LC (audio/aac_encoder.h) and hands the frames out whole, as room in the caller's
// buffers allows (support/frame_backlog.h). A pack record carries only its stamp; the
// encoder lives in the registry. The record's words say the format: channels 1 or 2, an
// AAC sampling frequency from 8,000 to 96,000 Hz, and an output rate equal to the input
// rate (the pack does not resample).
//
// The calls carry no sample width: PCM that lies in an audio buffer the media platform
// handed out (rts_av_recv) and that is not given back yet is taken in that buffer's
// format, of any width, and refused when its rate or channel count is not the pack's;
// other memory is taken as 16-bit samples.
//
// The encode call itself lives with the media channels (media/aac_encode_call.cpp), which
// know the buffers they handed out.
//
// Destroying or clearing a record that is not a live pack (never created, creation
// failed, already destroyed, a copy, or from before a reset) is refused with -EINVAL and
// changes nothing. Without libavcodec creation fails with -ENOTSUP.
#include <cerrno>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "camera_support.h"
#include "control/host_control.h"
#include "journal/call_journal.h"
#include "journal/journaled.h"
#include "support/aac_packs.h"

#ifdef KQ_HOST_AAC
#include "audio/aac_encoder.h"
#include "log/host_log.h"
#include "support/frame_backlog.h"
#endif

using host::journaled;
using host::support::aacPacks;

namespace host::support {

#ifdef KQ_HOST_AAC

// One pack's encoder and the frames waiting for the caller's room. Calls on a pack come
// from one thread, but the lock keeps a misbehaving caller's second thread harmless.
class AacPack {
public:
    explicit AacPack(std::unique_ptr<audio::AacEncoder> encoder) : mEncoder(std::move(encoder)) {}

    // The bytes of whole ADTS frames written to `out`, 0 while input is being collected,
    // or a negative code. `format` is the samples', when known.
    int encode(const uint8_t* pcm, std::size_t bytes, const std::optional<audio::PcmFormat>& format,
               uint8_t* out, std::size_t room) {
        std::lock_guard<std::mutex> lock(mMutex);
        const audio::PcmFormat expected{mEncoder->rate(), format ? format->bitsPerSample : 16,
                                        mEncoder->channels()};
        if (format && *format != expected)
            return log::refuse(-EINVAL,
                               "do_pcm_to_aac_encode: PCM of %u Hz with %u channels refused: the "
                               "pack encodes %u Hz with %u",
                               format->rate, format->channels, expected.rate, expected.channels);
        if (bytes % expected.frameBytes() != 0)
            return log::refuse(-EINVAL,
                               "do_pcm_to_aac_encode: %zu bytes refused: not whole frames of %u "
                               "bytes (%u channels of %u bits)",
                               bytes, expected.frameBytes(), expected.channels,
                               expected.bitsPerSample);
        try {
            std::vector<audio::AacEncoder::Frame> done;
            int rc = mEncoder->encode(pcm, bytes, expected.bitsPerSample, &done);
            for (audio::AacEncoder::Frame& frame : done) mBacklog.push(std::move(frame));
            return rc != 0 ? rc : mBacklog.drain(out, room);
        } catch (const std::bad_alloc&) {
            return -ENOMEM;
        }
    }

    // Drops collected input and waiting frames; the next input starts a new stream.
    int clear() {
        std::lock_guard<std::mutex> lock(mMutex);
        mBacklog.clear();
        return mEncoder->restart();
    }

private:
    std::mutex mMutex;
    std::unique_ptr<audio::AacEncoder> mEncoder;
    FrameBacklog mBacklog;
};

#endif  // KQ_HOST_AAC

}  // namespace host::support

namespace {

#ifdef KQ_HOST_AAC

using host::support::AacPack;

int createPack(aac_encoder_pack* pack) {
    if (!pack) return -EINVAL;
    if (pack->outputRate != pack->sampleRate) return -EINVAL;
    try {
        std::unique_ptr<host::audio::AacEncoder> encoder;
        if (int rc = host::audio::AacEncoder::create(pack->sampleRate, pack->channels, &encoder);
            rc != 0)
            return rc;
        return aacPacks().init(pack, std::make_shared<AacPack>(std::move(encoder)));
    } catch (const std::bad_alloc&) {
        return -ENOMEM;
    }
}

// The pack's object, held for the call, or null for a record that is not a live pack.
std::shared_ptr<AacPack> findPack(aac_encoder_pack* pack) {
    std::shared_ptr<AacPack> found;
    aacPacks().with(pack, [&](uint32_t, std::shared_ptr<AacPack>& object) {
        found = object;
        return 0;
    });
    return found;
}

int clearPack(aac_encoder_pack* pack) {
    std::shared_ptr<AacPack> found = findPack(pack);
    return found ? found->clear() : -EINVAL;
}

#else  // KQ_HOST_AAC

// No pack is ever made, so every other call meets a record that is not a live pack.
int createPack(aac_encoder_pack* pack) { return pack ? -ENOTSUP : -EINVAL; }
int clearPack(aac_encoder_pack*) { return -EINVAL; }

#endif  // KQ_HOST_AAC

}  // namespace

namespace host::support {

#ifdef KQ_HOST_AAC

int encodeAacPcm(aac_encoder_pack* pack, const void* pcm, uint32_t pcmBytes, void* out,
                 uint32_t capacity, const PcmFormatLookup& formatOf) {
    if (!pcm || !out) return -EINVAL;
    std::shared_ptr<AacPack> found = findPack(pack);
    if (!found) return -EINVAL;
    return found->encode(static_cast<const uint8_t*>(pcm), pcmBytes, formatOf(pcm, pcmBytes),
                         static_cast<uint8_t*>(out), capacity);
}

#else  // KQ_HOST_AAC

int encodeAacPcm(aac_encoder_pack*, const void*, uint32_t, void*, uint32_t,
                 const PcmFormatLookup&) {
    return -EINVAL;
}

#endif  // KQ_HOST_AAC

}  // namespace host::support

extern "C" {

int create_aac_encoder_pack(struct aac_encoder_pack* pack) {
    return journaled(
        "create_aac_encoder_pack", [&] { return hostctl::args(pack); },
        [=] { return createPack(pack); });
}

int clear_aac_encoder_buffer(struct aac_encoder_pack* pack) {
    return journaled(
        "clear_aac_encoder_buffer", [&] { return hostctl::args(pack); },
        [=] { return clearPack(pack); });
}

int destroy_aac_encoder_pack(struct aac_encoder_pack* pack) {
    return journaled(
        "destroy_aac_encoder_pack", [&] { return hostctl::args(pack); },
        [=] { return aacPacks().deinit(pack); });
}

}  // extern "C"

namespace hostctl {

int aacEncoderPacks() { return static_cast<int>(aacPacks().size()); }

bool aacEncoderAvailable() {
#ifdef KQ_HOST_AAC
    return true;
#else
    return false;
#endif
}

}  // namespace hostctl
