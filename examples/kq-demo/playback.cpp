#include "playback.h"

#include <sndfile.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "host_platform.h"
#include "module/buf.h"
#include "module/pcm_sink.h"

namespace demo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr uint16_t kBufferMs = 20;
constexpr unsigned kStartLevel = 8;  // the sink plays once this many buffers wait
constexpr uint32_t kToneRate = 48000;
constexpr double kToneLevel = 0.5;  // of full scale
constexpr double kPi = 3.14159265358979323846;

}  // namespace

Playback::~Playback() { stop(); }

bool Playback::loadFile(const std::string& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) {
        std::fprintf(stderr, "kq-demo: cannot read %s: %s\n", path.c_str(), sf_strerror(nullptr));
        return false;
    }
    const uint32_t frameBytes = static_cast<uint32_t>(info.channels) * 2 *
                                (static_cast<uint32_t>(info.samplerate) * kBufferMs / 1000);
    if (info.frames <= 0 || info.channels < 1 || info.channels > 8 || frameBytes > 65535) {
        std::fprintf(stderr, "kq-demo: %s has no playable sound (%d channels at %d Hz)\n",
                     path.c_str(), info.channels, info.samplerate);
        sf_close(file);
        return false;
    }
    mSamples.resize(static_cast<std::size_t>(info.frames) * info.channels);
    const sf_count_t read = sf_readf_short(file, mSamples.data(), info.frames);
    sf_close(file);
    mSamples.resize(static_cast<std::size_t>(read) * info.channels);
    mParam = {static_cast<uint32_t>(info.samplerate), static_cast<uint8_t>(info.channels), 16,
              kBufferMs};
    mSource = path;
    return !mSamples.empty();
}

void Playback::makeTone() {
    // One second holds a whole number of cycles, so the loop joins without a click.
    mSamples.resize(kToneRate);
    for (std::size_t i = 0; i < mSamples.size(); ++i)
        mSamples[i] = static_cast<int16_t>(32767 * kToneLevel *
                                           std::sin(2 * kPi * kToneHz * i / double(kToneRate)));
    mParam = {kToneRate, 1, 16, kBufferMs};
    mSource = std::to_string(kToneHz) + " Hz tone";
}

bool Playback::start(const std::string& speaker, const std::string& play) {
    if (play.empty())
        makeTone();
    else if (!loadFile(play))
        return false;
    mSpeaker = speaker;
    mSink = module::PcmSink::Create(mSpeaker.c_str(), mParam);
    mChannel = newestPlaybackChannel();
    mWriter = std::thread([this] { write(); });
    return true;
}

void Playback::write() {
    const uint32_t frames = mParam.sampleRate * kBufferMs / 1000;
    const uint32_t samples = frames * mParam.channels;
    auto buf = std::make_shared<module::Buf>();
    buf->Malloc(samples * 2);
    buf->size = samples * 2;
    std::size_t position = 0;
    const auto start = Clock::now();
    for (uint64_t n = 0; !mStopping; ++n) {
        if (n >= kStartLevel)
            std::this_thread::sleep_until(start +
                                          (n - kStartLevel) * std::chrono::milliseconds(kBufferMs));
        auto* out = reinterpret_cast<int16_t*>(buf->Data());
        for (uint32_t i = 0; i < samples; ++i, position = (position + 1) % mSamples.size())
            out[i] = mSamples[position];
        // The sink copies what it queues: the same Buf is refilled for the next one.
        mSink->Write(buf, buf->size);
    }
}

void Playback::stop() {
    mStopping = true;
    if (mWriter.joinable()) mWriter.join();
    mSink.reset();
}

int Playback::jitterMs() const { return mSink ? mSink->JitterMs() : 0; }

uint64_t Playback::underruns() const { return mChannel >= 0 ? speakerUnderruns(mChannel) : 0; }

std::string Playback::describe() const {
    char format[64];
    std::snprintf(format, sizeof format, ", %u Hz, %u channel%s, 16 bits", mParam.sampleRate,
                  unsigned{mParam.channels}, mParam.channels == 1 ? "" : "s");
    return mSource + format;
}

}  // namespace demo
