#include "capture.h"

#include "module/buf.h"
#include "module/multi_audio_source.h"

namespace demo {
namespace {

// AAC frames hold 1024 samples of each channel.
constexpr unsigned kAacFrameSamples = 1024;

// Reads frames from `source` until `stopping`, handing each to `write`. The combined
// source's reads do not wait themselves: the queue waits up to kWaitMs for a frame.
template <typename Write>
void readFrames(module::I_Source& source, const std::atomic<bool>& stopping, StreamCount& count,
                Write write) {
    constexpr unsigned kWaitMs = 100;
    std::shared_ptr<module::Buf> frame;
    while (!stopping) {
        int len = source.Read(&frame, kWaitMs, 0);
        if (len <= 0) {
            // Nothing within the wait, or the worker has ended (see the log).
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            continue;
        }
        write(frame->Data(), static_cast<std::size_t>(len));
        ++count.frames;
        count.bytes += static_cast<uint64_t>(len);
    }
}

}  // namespace

Capture::~Capture() { stop(); }

bool Capture::start(const std::string& mic, const std::string& folder) {
    mMic = mic;
    mWavPath = folder + "/capture.wav";
    mAacPath = folder + "/capture.aac";
    SF_INFO info{0,
                 static_cast<int>(kParam.sampleRate),
                 kParam.channels,
                 SF_FORMAT_WAV | SF_FORMAT_PCM_16,
                 0,
                 0};
    mWav.reset(sf_open(mWavPath.c_str(), SFM_WRITE, &info));
    mAacFile.reset(std::fopen(mAacPath.c_str(), "wb"));
    if (!mWav || !mAacFile) {
        std::fprintf(stderr, "kq-demo: cannot write %s\n", (mWav ? mAacPath : mWavPath).c_str());
        return false;
    }
    mSource = module::MultiAudioSourceAacPcm::Create(mMic.c_str(), kParam);
    mPcmReader = std::thread(&Capture::readPcm, this,
                             mSource->CreateSharedSource(module::I_SourceFactory::CODEC_PCM));
    mAacReader = std::thread(&Capture::readAac, this,
                             mSource->CreateSharedSource(module::I_SourceFactory::CODEC_AAC));
    return true;
}

void Capture::readPcm(std::shared_ptr<module::I_Source> source) {
    SNDFILE* wav = mWav.get();
    readFrames(*source, mStopping, mPcm, [wav](const uint8_t* data, std::size_t bytes) {
        sf_write_raw(wav, data, static_cast<sf_count_t>(bytes));
    });
}

void Capture::readAac(std::shared_ptr<module::I_Source> source) {
    std::FILE* file = mAacFile.get();
    readFrames(*source, mStopping, mAac, [file](const uint8_t* data, std::size_t bytes) {
        std::fwrite(data, 1, bytes, file);
    });
}

void Capture::stop() {
    mStopping = true;
    for (std::thread* reader : {&mPcmReader, &mAacReader})
        if (reader->joinable()) reader->join();
    // The readers' shared sources are gone with them: this closes the source.
    mSource.reset();
    mWav.reset();
    mAacFile.reset();
}

double Capture::pcmSeconds() const {
    const double bytesPerSecond = kParam.sampleRate * kParam.channels * (kParam.bitsPerSample / 8);
    return mPcm.bytes / bytesPerSecond;
}

double Capture::aacSeconds() const {
    return double(mAac.frames) * kAacFrameSamples / kParam.sampleRate;
}

}  // namespace demo
