// The capture chain every capture source owns: a capture, a resample and an encode
// channel of type 4 (plain PCM), bound in that order, and the records they are made
// with. The sources' private implementations derive from it, so its fields come first
// in each of them; what the sources differ in is passed in: the texts of the encode
// channel's failures and, for the AAC sources, the encoder pack that is made and
// destroyed with the channels.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "camera_support.h"
#include "kq_export.h"
#include "module/audio_types.h"
#include "module/buf.h"
#include "module/data_queue.h"
#include "module/fiber.h"
#include "rts_av.h"
#include "rts_log.h"

namespace kq {

// What a failure of the encode channel is called in the log.
struct EncodeChannelTexts {
    const char* create;  // "create encode chn fail, ret = %d, %s\n"
    const char* bind;    // "bind resample and encode chn fail, ret = %d, %s\n"
    const char* enable;  // "enable encode chn fail, ret = %d, %s\n"
};

extern const EncodeChannelTexts kPcmEncodeTexts;
extern const EncodeChannelTexts kAacEncodeTexts;

class KQ_LOCAL CaptureChain {
public:
    // Channel ids -1, records zero; `aacPack` is null for a source without one.
    CaptureChain(const EncodeChannelTexts& texts, aac_encoder_pack* aacPack);
    CaptureChain(const CaptureChain&) = delete;
    CaptureChain& operator=(const CaptureChain&) = delete;

    // What Create was given; read while the chain opens.
    void setSource(const char* name, const module::AudioParam& param) {
        mName = name;
        mParam = param;
    }
    // Starts the platform, fills the records, makes and enables the chain, and tears
    // down what was made when that fails. 0 once the chain is enabled; the platform is
    // released by the caller's close in any case. Failures are logged at `site`, the
    // opening source's.
    int openChain(const LogSite& site);
    // Disables and destroys the chain; releasing the platform is the caller's last step.
    void closeChain();

    // The worker's side: receives from the encode channel until `stop` is set, handing
    // every buffer to `onBuffer` and giving it back afterwards; then stops receiving.
    // Reception must have been started by the caller.
    template <typename OnBuffer>
    void receiveUntilStopped(std::atomic<bool>& stop, OnBuffer onBuffer);

    const module::AudioParam& param() const { return mParam; }
    int32_t encodeChannel() const { return mEncodeChn; }

protected:
    const char* mName = nullptr;
    module::AudioParam mParam{};
    int32_t mCaptureChn = -1;
    int32_t mResampleChn = -1;
    int32_t mEncodeChn = -1;
    rts_audio_attr mAttr{};
    int32_t mEncodeType = 0;
    uint32_t mEncodeBitrate = 0;
    rts_av_profile mProfile{};

private:
    int createChannels(const LogSite& site);
    int enableChannels(const LogSite& site);
    void disableChannels();
    void destroyChannels();
    void stopReceiving();

    const EncodeChannelTexts& mTexts;
    aac_encoder_pack* const mAacPack;
};

// ---- Sources --------------------------------------------------------------------------------

// Starts a source's worker `name` running `loop` with its stop flag.
template <typename Loop>
std::unique_ptr<module::Fiber> startWorker(const char* name, Loop loop) {
    return std::make_unique<module::Fiber>(name, std::move(loop), std::function<void()>(),
                                           std::function<void()>());
}

// The deleter of the shared pointer Create returns: through the virtual destructor,
// nothing for null.
template <typename Source>
void deleteSource(Source* source) {
    delete source;
}

// ---- Frames --------------------------------------------------------------------------------

// Grows `buf` to hold `bytes`, unless it does already: one block for every frame.
// False, with a warning, when the memory cannot be had: the frame is then dropped.
bool reserve(module::Buf& buf, uint32_t bytes);
// Marks the first `bytes` of `buf` as its frame, at the platform time `timestampUs`
// (whose milliseconds, truncated to 32 bits, are the frame's media time).
void stamp(module::Buf& buf, uint32_t bytes, uint64_t timestampUs);
// Copies a received buffer into `buf` as its frame; false when `buf` cannot hold it.
bool copyFrame(module::Buf& buf, const rts_av_buffer& received);

// The AAC sources' worker start: the debug record, then the encoder pack emptied of
// any input from before; false, with an error record at `site`, when the pack refuses.
bool clearAacEncoder(aac_encoder_pack& pack, const LogSite& site);
// Encodes a received PCM buffer into `out` and returns the encoder's result: positive,
// the AAC bytes, then marked as `out`'s frame with the PCM buffer's time; 0 while the
// encoder collects input; negative for a failure, logged.
int encodeAacFrame(aac_encoder_pack& pack, module::Buf& out, const rts_av_buffer& pcm);

// A source's Read: waits for the next frame in `queue` in steps of `frameMs`, and gives
// up once `worker` has stopped. A frameMs of 0 waits in steps of 1 ms instead of
// spinning. A read with no place for the frame is refused at once, logged at `site`.
int waitForFrame(const module::Fiber* worker, module::DataQueue& queue,
                 std::shared_ptr<module::Buf>* out, unsigned int a, unsigned int b,
                 uint16_t frameMs, const LogSite& site);

// One read of `queue`, or 0 without touching it once `worker` has stopped.
int readIfRunning(const module::Fiber* worker, module::DataQueue& queue,
                  std::shared_ptr<module::Buf>* out, unsigned int a, unsigned int b);

// ---- Template definitions ------------------------------------------------------------------

template <typename OnBuffer>
void CaptureChain::receiveUntilStopped(std::atomic<bool>& stop, OnBuffer onBuffer) {
    while (!stop.load()) {
        module::Fiber::SleepMs(1);
        if (rts_av_poll(mEncodeChn) != 0) continue;
        rts_av_buffer* buffer = nullptr;
        if (rts_av_recv(mEncodeChn, &buffer) != 0 || !buffer) continue;
        onBuffer(*buffer);
        rts_av_put_buffer(buffer);
    }
    stopReceiving();
}

}  // namespace kq
