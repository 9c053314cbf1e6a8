// module::MultiAudioSourceAacPcm: one capture chain and one worker delivering every
// captured buffer twice, as PCM into the PCM queue and, encoded in software, as AAC into
// the AAC queue. Readers take either stream directly or through shared sources, each of
// which keeps the combined source alive.
#include "module/multi_audio_source.h"

#include <cstdio>

#include "rts_capture_chain.h"
#include "rts_log.h"

namespace module {

class KQ_LOCAL MultiAudioSourceAacPcm::PrivateImp : public kq::CaptureChain {
public:
    PrivateImp() : CaptureChain(kq::kAacEncodeTexts, &mAacPack) {}
    // Stops the worker, then closes the chain.
    ~PrivateImp();

    void start(const char* name, const AudioParam& param);
    int read(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b) {
        return kq::readIfRunning(mFiber.get(), mAacDataQueue, out, a, b);
    }
    int readCodec(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b,
                  I_SourceFactory::Codec codec);

private:
    void openSource();
    void closeSource();
    void CaptureLoop(std::atomic<bool>& stop);

    aac_encoder_pack mAacPack{};
    DataQueue mPcmDataQueue{"rts_pcm_source", 100, 0};
    std::shared_ptr<Buf> mPcmBuf = std::make_shared<Buf>();
    DataQueue mAacDataQueue{"rts_aac_source", 24, 0};
    std::shared_ptr<Buf> mAacBuf = std::make_shared<Buf>();
    std::unique_ptr<Fiber> mFiber;
    bool mStarted = false;  // by Create
};

void MultiAudioSourceAacPcm::PrivateImp::start(const char* name, const AudioParam& param) {
    mStarted = true;
    setSource(name, param);
    openSource();
    mFiber = kq::startWorker("MultiAudioSourceAacPcm capturing",
                             [this](std::atomic<bool>& stop) { CaptureLoop(stop); });
}

MultiAudioSourceAacPcm::PrivateImp::~PrivateImp() {
    mFiber.reset();
    if (mStarted) closeSource();
}

void MultiAudioSourceAacPcm::PrivateImp::openSource() {
    if (openChain(KQ_HERE) == 0) KQ_INFO("RTS Muti Audio Source AAC/PCM opened.");
}

void MultiAudioSourceAacPcm::PrivateImp::closeSource() {
    closeChain();
    rts_av_release();
    KQ_INFO("RTS Muti Audio Source AAC/PCM closed.");
}

// Each buffer is queued as PCM before it is encoded; its AAC output, if any, carries
// the same media time.
void MultiAudioSourceAacPcm::PrivateImp::CaptureLoop(std::atomic<bool>& stop) {
    if (!kq::clearAacEncoder(mAacPack, KQ_HERE)) return;
    int r = rts_av_start_recv(mEncodeChn);
    if (r != 0) {
        std::printf("start recv aac fail, ret = %d, %s\n", r, errno2str(r));
        return;
    }
    receiveUntilStopped(stop, [this](const rts_av_buffer& pcm) {
        if (kq::copyFrame(*mPcmBuf, pcm))
            mPcmDataQueue.Write(std::shared_ptr<const Buf>(mPcmBuf), mPcmBuf->size);
        int n = kq::encodeAacFrame(mAacPack, *mAacBuf, pcm);
        if (n > 0)
            mAacDataQueue.Write(std::shared_ptr<const Buf>(mAacBuf), static_cast<unsigned int>(n));
    });
}

int MultiAudioSourceAacPcm::PrivateImp::readCodec(std::shared_ptr<Buf>* out, unsigned int a,
                                                  unsigned int b, I_SourceFactory::Codec codec) {
    if (!mFiber || !mFiber->IsRunning()) return 0;
    switch (codec) {
        case I_SourceFactory::CODEC_PCM: return mPcmDataQueue.Read(out, a, b);
        case I_SourceFactory::CODEC_AAC: return mAacDataQueue.Read(out, a, b);
    }
    KQ_WARNING("unknown codec %d", static_cast<int>(codec));
    return 0;
}

// ---- The public classes ------------------------------------------------------------------------

std::shared_ptr<MultiAudioSourceAacPcm> MultiAudioSourceAacPcm::Create(const char* name,
                                                                       const AudioParam& param) {
    std::shared_ptr<MultiAudioSourceAacPcm> source(new MultiAudioSourceAacPcm,
                                                   kq::deleteSource<MultiAudioSourceAacPcm>);
    source->mImp->start(name, param);
    return source;
}

MultiAudioSourceAacPcm::MultiAudioSourceAacPcm() : mImp(std::make_unique<PrivateImp>()) {}

MultiAudioSourceAacPcm::~MultiAudioSourceAacPcm() = default;

int MultiAudioSourceAacPcm::Read(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b) {
    return mImp->read(out, a, b);
}

int MultiAudioSourceAacPcm::ReadCodec(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b,
                                      I_SourceFactory::Codec codec) {
    return mImp->readCodec(out, a, b, codec);
}

std::shared_ptr<MultiAudioSharedSource> MultiAudioSourceAacPcm::CreateSharedSource(
    I_SourceFactory::Codec codec) {
    return std::make_shared<MultiAudioSharedSource>(codec, shared_from_this());
}

MultiAudioSharedSource::MultiAudioSharedSource(I_SourceFactory::Codec codec,
                                               std::shared_ptr<MultiAudioSourceAacPcm> parent)
    : mCodec(codec), mParent(std::move(parent)) {}

MultiAudioSharedSource::~MultiAudioSharedSource() = default;

int MultiAudioSharedSource::Read(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b) {
    return mParent ? mParent->ReadCodec(out, a, b, mCodec) : 0;
}

}  // namespace module
