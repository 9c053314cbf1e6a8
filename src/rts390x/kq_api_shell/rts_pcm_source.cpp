// module::PcmSource: PCM capture. A worker moves every buffer of the capture chain's
// encode channel into the frame queue, where readers take them.
#include "module/pcm_source.h"

#include <cstdio>

#include "rts_capture_chain.h"
#include "rts_log.h"

namespace module {

class KQ_LOCAL PcmSource::PrivateImp : public kq::CaptureChain {
public:
    PrivateImp() : CaptureChain(kq::kPcmEncodeTexts, nullptr) {}
    // Stops the worker, then closes the chain.
    ~PrivateImp();

    void start(const char* name, const AudioParam& param);
    int read(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b) {
        return kq::waitForFrame(mFiber.get(), mDataQueue, out, a, b, mParam.frameMs, KQ_HERE);
    }

private:
    void openSource();
    void closeSource();
    void CaptureLoop(std::atomic<bool>& stop);

    DataQueue mDataQueue{"rts_pcm_source", 20, 0};
    std::shared_ptr<Buf> mBuf = std::make_shared<Buf>();
    std::unique_ptr<Fiber> mFiber;
    bool mStarted = false;  // by Create
};

void PcmSource::PrivateImp::start(const char* name, const AudioParam& param) {
    mStarted = true;
    setSource(name, param);
    openSource();
    mFiber = kq::startWorker("PcmSource capturing",
                             [this](std::atomic<bool>& stop) { CaptureLoop(stop); });
}

PcmSource::PrivateImp::~PrivateImp() {
    mFiber.reset();
    // A source made without Create never started the platform: it has nothing to release.
    if (mStarted) closeSource();
}

void PcmSource::PrivateImp::openSource() {
    if (openChain(KQ_HERE) == 0) KQ_INFO("RTS PCM Source opened.");
}

void PcmSource::PrivateImp::closeSource() {
    closeChain();
    rts_av_release();
    KQ_INFO("RTS PCM Source closed.");
}

void PcmSource::PrivateImp::CaptureLoop(std::atomic<bool>& stop) {
    int r = rts_av_start_recv(mEncodeChn);
    if (r != 0) {
        std::printf("start recv fail, ret = %d, %s\n", r, errno2str(r));
        return;
    }
    receiveUntilStopped(stop, [this](const rts_av_buffer& received) {
        if (kq::copyFrame(*mBuf, received))
            mDataQueue.Write(std::shared_ptr<const Buf>(mBuf), mBuf->size);
    });
}

// ---- The public class --------------------------------------------------------------------------

std::shared_ptr<PcmSource> PcmSource::Create(const char* name, const AudioParam& param) {
    std::shared_ptr<PcmSource> source(new PcmSource, kq::deleteSource<PcmSource>);
    source->mImp->start(name, param);
    KQ_DEBUG("PcmSource::Create() OK.");
    return source;
}

PcmSource::PcmSource() : mImp(std::make_unique<PrivateImp>()) {}

PcmSource::~PcmSource() = default;

int PcmSource::Read(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b) {
    return mImp->read(out, a, b);
}

}  // namespace module
