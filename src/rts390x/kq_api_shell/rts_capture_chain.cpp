#include "rts_capture_chain.h"

#include <cstdio>
#include <cstring>

#include "rts_log.h"

namespace kq {

const EncodeChannelTexts kPcmEncodeTexts{
    "create encode chn fail, ret = %d, %s\n",
    "bind resample and encode chn fail, ret = %d, %s\n",
    "enable encode chn fail, ret = %d, %s\n",
};

const EncodeChannelTexts kAacEncodeTexts{
    "create aac encode chn fail, ret = %d, %s\n",
    "bind resample and aac encode chn fail, ret = %d, %s\n",
    "enable aac encode chn fail, ret = %d, %s\n",
};

CaptureChain::CaptureChain(const EncodeChannelTexts& texts, aac_encoder_pack* aacPack)
    : mTexts(texts), mAacPack(aacPack) {}

int CaptureChain::openChain(const LogSite& site) {
    int r = rts_av_init();
    if (r != 0) {
        KQ_PLATFORM_ERROR_AT(site, "rts av init fail %d, %s\n", r);
        return r;
    }
    std::snprintf(mAttr.dev_node, sizeof mAttr.dev_node, "%s", mName ? mName : "");
    mAttr.format = mParam.bitsPerSample;
    mAttr.channels = mParam.channels;
    mAttr.rate = mParam.sampleRate;
    mEncodeType = RTS_AUDIO_ENCODE_PCM;
    mEncodeBitrate = 0;
    mProfile.format = RTS_AUDIO_FMT_PCM;
    mProfile.audio.sampleRate = mParam.sampleRate;
    mProfile.audio.bitsPerSample = mParam.bitsPerSample;
    mProfile.audio.channels = mParam.channels;
    if (mAacPack) {
        mAacPack->channels = mParam.channels;
        mAacPack->sampleRate = mParam.sampleRate;
        mAacPack->outputRate = mParam.sampleRate;
    }
    if ((r = createChannels(site)) != 0) {
        KQ_ERROR_AT(site, "create channel fail\n");
        destroyChannels();
        return r;
    }
    if ((r = enableChannels(site)) != 0) {
        KQ_ERROR_AT(site, "enable channel fail\n");
        disableChannels();
        destroyChannels();
        return r;
    }
    return 0;
}

void CaptureChain::closeChain() {
    disableChannels();
    destroyChannels();
}

// Each id is kept as soon as it is returned, also when it is a failure's code.
int CaptureChain::createChannels(const LogSite& site) {
    if (mAacPack) KQ_DEBUG("createChannels start\n");
    mCaptureChn = rts_av_create_audio_capture_chn(&mAttr);
    if (mCaptureChn < 0) {
        KQ_PLATFORM_ERROR_AT(site, "create capture chn fail, ret = %d, %s\n", mCaptureChn);
        return mCaptureChn;
    }
    mResampleChn =
        rts_av_create_audio_resample_chn(mParam.sampleRate, mParam.bitsPerSample, mParam.channels);
    if (mResampleChn < 0) {
        KQ_PLATFORM_ERROR_AT(site, "create resample chn fail, ret = %d, %s\n", mResampleChn);
        return mResampleChn;
    }
    mEncodeChn = rts_av_create_audio_encode_chn(mEncodeType, mEncodeBitrate);
    if (mEncodeChn < 0) {
        KQ_PLATFORM_ERROR_AT(site, mTexts.create, mEncodeChn);
        return mEncodeChn;
    }
    int r = rts_av_set_profile(mEncodeChn, &mProfile);
    if (r != 0) {
        KQ_PLATFORM_ERROR_AT(site, "set audio encode profile fail, ret = %d, %s\n", r);
        return r;
    }
    if (mAacPack && (r = create_aac_encoder_pack(mAacPack)) != 0) {
        KQ_PLATFORM_ERROR_AT(site, "create aac encoder pack fail %d, %s\n", r);
        return r;
    }
    return 0;
}

// The first failure is returned; undoing is the caller's.
int CaptureChain::enableChannels(const LogSite& site) {
    int r;
    if ((r = rts_av_bind(mCaptureChn, mResampleChn)) != 0) {
        KQ_PLATFORM_ERROR_AT(site, "bind capture and resample chn fail, ret = %d, %s\n", r);
        return r;
    }
    if ((r = rts_av_bind(mResampleChn, mEncodeChn)) != 0) {
        KQ_PLATFORM_ERROR_AT(site, mTexts.bind, r);
        return r;
    }
    if ((r = rts_av_enable_chn(mCaptureChn)) != 0) {
        KQ_PLATFORM_ERROR_AT(site, "enable capture chn fail, ret = %d, %s\n", r);
        return r;
    }
    if ((r = rts_av_enable_chn(mResampleChn)) != 0) {
        KQ_PLATFORM_ERROR_AT(site, "enable resample chn fail, ret = %d, %s\n", r);
        return r;
    }
    if ((r = rts_av_enable_chn(mEncodeChn)) != 0) {
        KQ_PLATFORM_ERROR_AT(site, mTexts.enable, r);
        return r;
    }
    return 0;
}

// All three, whatever their ids: the platform refuses -1 harmlessly.
void CaptureChain::disableChannels() {
    rts_av_disable_chn(mEncodeChn);
    rts_av_disable_chn(mResampleChn);
    rts_av_disable_chn(mCaptureChn);
}

// Channels go while still bound. The encoder pack goes first, made or not: the support
// library accepts a pack it never made.
void CaptureChain::destroyChannels() {
    if (mAacPack) destroy_aac_encoder_pack(mAacPack);
    for (int32_t* chn : {&mEncodeChn, &mResampleChn, &mCaptureChn}) {
        if (*chn >= 0) rts_av_destroy_chn(*chn);
        *chn = -1;
    }
}

void CaptureChain::stopReceiving() {
    int r = rts_av_stop_recv(mEncodeChn);
    if (r != 0) KQ_PLATFORM_WARNING("stop recv fail, ret = %d, %s\n", r);
}

// ---- Frames --------------------------------------------------------------------------------

bool reserve(module::Buf& buf, uint32_t bytes) {
    if (buf.capacity < bytes) buf.Malloc(bytes);
    if (buf.capacity >= bytes) return true;
    KQ_WARNING("capture frame of %u bytes dropped: no memory for it", bytes);
    return false;
}

void stamp(module::Buf& buf, uint32_t bytes, uint64_t timestampUs) {
    buf.offset = 0;
    buf.size = bytes;
    buf.mediaInfo = module::MediaInfo::MakeBuf(static_cast<uint32_t>(timestampUs / 1000));
}

bool copyFrame(module::Buf& buf, const rts_av_buffer& received) {
    if (!reserve(buf, received.bytesUsed)) return false;
    if (received.bytesUsed > 0) std::memcpy(buf.block.get(), received.data, received.bytesUsed);
    stamp(buf, received.bytesUsed, received.timestamp);
    return true;
}

bool clearAacEncoder(aac_encoder_pack& pack, const LogSite& site) {
    KQ_DEBUG("CaptureLoop start\n");
    int r = clear_aac_encoder_buffer(&pack);
    if (r == 0) return true;
    KQ_PLATFORM_ERROR_AT(site, "start recv fail, ret = %d, %s", r);
    return false;
}

// The output block holds at least the PCM buffer's size, like the PCM frame itself.
int encodeAacFrame(aac_encoder_pack& pack, module::Buf& out, const rts_av_buffer& pcm) {
    if (!reserve(out, pcm.bytesUsed)) return 0;
    int n = do_pcm_to_aac_encode(&pack, pcm.data, pcm.bytesUsed, out.block.get(), out.capacity);
    if (n < 0) KQ_WARNING("aac encode fail, ret = %d", n);
    if (n > 0) stamp(out, static_cast<uint32_t>(n), pcm.timestamp);
    return n;
}

int readIfRunning(const module::Fiber* worker, module::DataQueue& queue,
                  std::shared_ptr<module::Buf>* out, unsigned int a, unsigned int b) {
    if (!worker || !worker->IsRunning()) return 0;
    return queue.Read(out, a, b);
}

int waitForFrame(const module::Fiber* worker, module::DataQueue& queue,
                 std::shared_ptr<module::Buf>* out, unsigned int a, unsigned int b,
                 uint16_t frameMs, const LogSite& site) {
    // The queue never hands a frame to a null `out`: waiting for one would never end.
    if (!out) {
        KQ_ERROR_AT(site, "Read: no place for the frame given");
        return 0;
    }
    for (;;) {
        if (!worker || !worker->IsRunning()) return 0;
        int r = queue.Read(out, a, b);
        if (r != 0) return r;
        module::Fiber::SleepMs(frameMs > 0 ? frameMs : 1);
    }
}

}  // namespace kq
