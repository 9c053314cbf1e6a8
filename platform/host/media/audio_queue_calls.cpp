// The support library's audio queues: fixed pools of playback buffers for
// rts_av_send(), kept by the media platform, which takes the buffers back in
// rts_av_put_buffer(). They work without rts_av_init(), so a caller may destroy a queue
// whatever became of its platform start.
#include <cerrno>

#include "camera_support.h"
#include "journal/call_journal.h"
#include "journal/journaled.h"
#include "media/media_platform.h"

using host::journaled;
using host::media::media;

extern "C" {

int create_audio_queue(struct audio_queue* queue, uint16_t buffer_bytes) {
    return journaled(
        "create_audio_queue", [&] { return hostctl::args(queue, buffer_bytes); },
        [=] { return media().createAudioQueue(queue, buffer_bytes); });
}

struct rts_av_buffer* pop_audio_queue(struct audio_queue* queue) {
    hostctl::Call call("pop_audio_queue", [&] { return hostctl::args(queue); });
    // Whatever code was injected, the call fails: there is no buffer to return.
    if (call.injected()) {
        call.result(call.injectedCode() < 0 ? call.injectedCode() : -ENOBUFS);
        return nullptr;
    }
    // The journal shows -ENOBUFS for an empty pool or a record that is no live queue.
    rts_av_buffer* buffer = media().popAudioQueue(queue);
    call.result(buffer ? 0 : -ENOBUFS);
    return buffer;
}

int destroy_audio_queue(struct audio_queue* queue) {
    return journaled(
        "destroy_audio_queue", [&] { return hostctl::args(queue); },
        [=] { return media().destroyAudioQueue(queue); });
}

}  // extern "C"
