// The support library's AAC encode call. Its samples may lie in an audio buffer a
// channel handed out, whose format only the media channels know, so the call is made
// here and the pack (support/aac_packs.h) is handed that format.
#include "camera_support.h"
#include "journal/call_journal.h"
#include "journal/journaled.h"
#include "media/media_platform.h"
#include "support/aac_packs.h"

using host::journaled;

extern "C" {

int do_pcm_to_aac_encode(struct aac_encoder_pack* pack, const void* pcm, uint32_t pcm_bytes,
                         void* out, uint32_t out_capacity) {
    return journaled(
        "do_pcm_to_aac_encode",
        [&] { return hostctl::args(pack, pcm, pcm_bytes, out, out_capacity); },
        [=] {
            return host::support::encodeAacPcm(
                pack, pcm, pcm_bytes, out, out_capacity, [](const void* data, std::size_t bytes) {
                    return host::media::media().receivedFormat(data, bytes);
                });
        });
}

}  // extern "C"
