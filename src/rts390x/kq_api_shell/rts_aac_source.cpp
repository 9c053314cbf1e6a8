// module::AacSource: AAC capture. The worker encodes every PCM buffer of the capture
// chain in software, queues the encoded frames for readers and appends them to the
// dump file "/tmp/rts_aac_source.aac".
#include "module/aac_source.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>

#include "rts_capture_chain.h"
#include "rts_log.h"

namespace module {
namespace {

constexpr const char* kAacDumpPath = "/tmp/rts_aac_source.aac";

// The dump file's one descriptor, shared by every AAC source of the process; -1 when
// none is open. Sources open at the same time share the file by count: the first to
// open creates or empties it, later ones append to it, and the last to close closes
// it. A source writes only while it holds its share, and writes and closes take the
// same lock, so no frame ever goes to a descriptor that was closed or that a later
// open reused.
int32_t gAacDumpFd = -1;
unsigned int gAacDumpShares = 0;
std::mutex gAacDumpMutex;

// Takes a share of the dump file, opening it if no source has it open; false when it
// cannot be opened.
bool shareDumpFile() {
    std::lock_guard<std::mutex> lock(gAacDumpMutex);
    if (gAacDumpFd < 0) gAacDumpFd = ::open(kAacDumpPath, O_WRONLY | O_CREAT | O_TRUNC, 0777);
    if (gAacDumpFd < 0) return false;
    ++gAacDumpShares;
    return true;
}

void leaveDumpFile() {
    std::lock_guard<std::mutex> lock(gAacDumpMutex);
    if (gAacDumpShares == 0 || --gAacDumpShares > 0) return;
    ::close(gAacDumpFd);
    gAacDumpFd = -1;
}

// write()'s result; -1 (EBADF) for a source without a share, as for a closed descriptor.
ssize_t writeDumpFile(bool shared, const void* bytes, size_t count) {
    std::lock_guard<std::mutex> lock(gAacDumpMutex);
    if (!shared) {
        errno = EBADF;
        return -1;
    }
    return ::write(gAacDumpFd, bytes, count);
}

}  // namespace

class KQ_LOCAL AacSource::PrivateImp : public kq::CaptureChain {
public:
    PrivateImp() : CaptureChain(kq::kPcmEncodeTexts, &mAacPack) {}
    // Stops the worker, then closes the chain and the dump file.
    ~PrivateImp();

    void start(const char* name, const AudioParam& param);
    int read(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b);

private:
    void openSource();
    void closeSource();
    void CaptureLoop(std::atomic<bool>& stop);

    aac_encoder_pack mAacPack{};
    DataQueue mDataQueue{"rts_aac_source", 20, 0};
    std::shared_ptr<Buf> mBuf = std::make_shared<Buf>();
    std::unique_ptr<Fiber> mFiber;
    bool mStarted = false;     // by Create
    bool mDumpShared = false;  // whether this source holds a share of the dump file
};

void AacSource::PrivateImp::start(const char* name, const AudioParam& param) {
    mStarted = true;
    setSource(name, param);
    openSource();
    mFiber = kq::startWorker("AacSource capturing",
                             [this](std::atomic<bool>& stop) { CaptureLoop(stop); });
}

AacSource::PrivateImp::~PrivateImp() {
    mFiber.reset();
    if (mStarted) closeSource();
}

void AacSource::PrivateImp::openSource() {
    if (openChain(KQ_HERE) != 0) return;
    mDumpShared = shareDumpFile();
    if (!mDumpShared) {
        KQ_ERROR("Fail to open %s to write", kAacDumpPath);
        return;
    }
    KQ_INFO("RTS AAC Source opened.");
}

void AacSource::PrivateImp::closeSource() {
    closeChain();
    if (mDumpShared) leaveDumpFile();
    mDumpShared = false;
    rts_av_release();
    KQ_INFO("RTS AAC Source closed.");
}

void AacSource::PrivateImp::CaptureLoop(std::atomic<bool>& stop) {
    if (!kq::clearAacEncoder(mAacPack, KQ_HERE)) return;
    int r = rts_av_start_recv(mEncodeChn);
    if (r != 0) {
        KQ_PLATFORM_ERROR("start recv fail, ret = %d, %s", r);
        return;
    }
    receiveUntilStopped(stop, [this](const rts_av_buffer& pcm) {
        int n = kq::encodeAacFrame(mAacPack, *mBuf, pcm);
        if (n <= 0) return;
        mDataQueue.Write(std::shared_ptr<const Buf>(mBuf), static_cast<unsigned int>(n));
        ssize_t written = writeDumpFile(mDumpShared, mBuf->Data(), static_cast<size_t>(n));
        if (written != n)
            KQ_WARNING("write capture to file fail, ret = %d", static_cast<int>(written));
    });
}

int AacSource::PrivateImp::read(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b) {
    int r = kq::waitForFrame(mFiber.get(), mDataQueue, out, a, b, mParam.frameMs, KQ_HERE);
    KQ_WARNING("RTS390X AacSource::Read R%d", r);
    return r;
}

// ---- The public class --------------------------------------------------------------------------

std::shared_ptr<AacSource> AacSource::Create(const char* name, const AudioParam& param) {
    std::shared_ptr<AacSource> source(new AacSource, kq::deleteSource<AacSource>);
    source->mImp->start(name, param);
    KQ_DEBUG("AacSource::Create() OK.");
    return source;
}

AacSource::AacSource() : mImp(std::make_unique<PrivateImp>()) {}

AacSource::~AacSource() = default;

int AacSource::Read(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b) {
    return mImp->read(out, a, b);
}

}  // namespace module
