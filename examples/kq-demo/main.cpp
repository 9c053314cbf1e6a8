// kq-demo: a small camera application on libkq_api, run on the host platform.
//
// It streams channel 0 as H.264 and channel 1 as MJPEG with the running timestamp on
// both, a watermark logo on channel 0 and privacy mode on channel 1 for the middle third
// of the run, takes a snapshot of each channel every few seconds, plays a tone through a
// PCM sink whose speaker volume is lowered halfway, and records audio as PCM and AAC
// through one combined capture source. Everything goes into one folder: ch0.h264,
// ch1.mjpeg, the snapshot JPEGs, playback.wav, capture.wav and capture.aac. A progress
// line shows what arrives; at the end a table lists the files and the log records by
// level.
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

#include "capture.h"
#include "host_platform.h"
#include "kq_api.h"
#include "kq_board.h"
#include "options.h"
#include "output_files.h"
#include "playback.h"

namespace {

using Clock = std::chrono::steady_clock;
using demo::Options;
using demo::SnapshotFiles;
using demo::StreamFile;
using demo::StreamOptions;

// The speaker volume of the first and the second half of the run.
constexpr int kSpeakerVolume = 100;
constexpr int kLoweredSpeakerVolume = 60;

bool makeFolder(const std::string& path) {
    if (mkdir(path.c_str(), 0755) == 0 || errno == EEXIST) return true;
    std::perror(path.c_str());
    return false;
}

// Opens and starts one channel with the timestamp on; true on success.
bool startChannel(int channel, uint32_t encType, const StreamOptions& stream,
                  const Options& options, StreamFile* file) {
    const kq_encoder_param param = {encType,    stream.width,    stream.height,
                                    stream.fps, options.bitrate, options.gop};
    int r = kq_open_encoder(channel, &param, StreamFile::onFrame, file);
    std::printf("channel %d: %s %ux%u@%u -> %s\n", channel,
                encType == KQ_ENC_H264 ? "H.264" : "MJPEG", stream.width, stream.height, stream.fps,
                file->path().c_str());
    if (r != KQ_OK) {
        std::fprintf(stderr, "kq_open_encoder(%d) = %d\n", channel, r);
        return false;
    }
    kq_register_snapshot_callback(channel, SnapshotFiles::onSnapshot);
    kq_enable_osd(channel, 1);
    r = kq_start_encoder(channel);
    if (r != KQ_OK) std::fprintf(stderr, "kq_start_encoder(%d) = %d\n", channel, r);
    return r == KQ_OK;
}

// Channel 0 shows the logo at the bottom right from the start; channel 1 gets the icon
// that its privacy mode shows once switched on.
void setUpOverlays(const Options& options) {
    kq_watermark_setup_logo(0, options.logo.c_str());
    kq_watermark_setup_position(0, KQ_POS_BOTTOM_RIGHT);
    int r = kq_watermark_enable(0, 1);
    std::printf("watermark: %s on channel 0, bottom right%s\n", options.logo.c_str(),
                r == 0 ? "" : " (not shown, see the log)");
    r = kq_privacy_setup_icon(1, options.icon.c_str());
    std::printf("privacy icon: %s for channel 1, whose privacy mode is on for the middle third%s\n",
                options.icon.c_str(), r == 0 ? "" : " (no icon, see the log)");
}

void switchPrivacy(bool on, double seconds) {
    int r = kq_enable_privacy_mode(1, on);
    std::printf("%s%5.1f s  privacy mode of channel 1 %s%s\n", isatty(STDOUT_FILENO) ? "\r" : "",
                seconds, on ? "on" : "off", r == 0 ? "" : " (with a failure, see the log)");
}

// The tone (or the file) through a PCM sink at full speaker volume.
bool startPlayback(const Options& options, demo::Playback* playback) {
    const std::string speaker =
        options.speaker.empty() ? options.outDir + "/playback.wav" : options.speaker;
    set_aud_out_volume(kSpeakerVolume);
    if (!playback->start(speaker, options.play)) return false;
    std::printf("sound: %s -> %s, speaker volume %d, %d from halfway\n",
                playback->describe().c_str(), speaker.c_str(), kSpeakerVolume,
                kLoweredSpeakerVolume);
    return true;
}

bool startCapture(const Options& options, demo::Capture* capture) {
    if (!capture->start(options.mic, options.outDir)) return false;
    const module::AudioParam& p = demo::Capture::kParam;
    std::printf("capture: %s, %u Hz, %u channel, %u bits -> %s, %s\n", options.mic.c_str(),
                p.sampleRate, unsigned{p.channels}, unsigned{p.bitsPerSample},
                capture->wavPath().c_str(), capture->aacPath().c_str());
    return true;
}

double megabits(uint64_t bytes, double seconds) {
    return seconds > 0 ? bytes * 8.0 / seconds / 1e6 : 0.0;
}

// What the run makes: the two streams, the sound played and the sound recorded.
struct Outputs {
    const StreamFile (&files)[2];
    const demo::Playback& playback;
    const demo::Capture& capture;
};

void printProgress(double seconds, const Outputs& outputs, bool final) {
    const StreamFile(&files)[2] = outputs.files;
    std::printf("\r%5.1f s", seconds);
    for (int ch = 0; ch < 2; ++ch)
        std::printf("  ch%d %5llu frames %5.1f fps %6.2f Mbit/s", ch,
                    static_cast<unsigned long long>(files[ch].frames()),
                    seconds > 0 ? files[ch].frames() / seconds : 0.0,
                    megabits(files[ch].bytes(), seconds));
    std::printf("  snapshots %zu  playback jitter %3d ms, %llu underruns",
                SnapshotFiles::instance().files().size(), outputs.playback.jitterMs(),
                static_cast<unsigned long long>(outputs.playback.underruns()));
    const demo::StreamCount* streams[2] = {&outputs.capture.pcm(), &outputs.capture.aac()};
    const char* names[2] = {"pcm", "aac"};
    for (int i = 0; i < 2; ++i)
        std::printf("  %s %4llu frames %6.1f kbit/s", names[i],
                    static_cast<unsigned long long>(streams[i]->frames.load()),
                    megabits(streams[i]->bytes, seconds) * 1000);
    std::printf("%s", final || !isatty(STDOUT_FILENO) ? "\n" : "");
    std::fflush(stdout);
}

// Polls until the run time is over, asking for snapshots and switching channel 1's
// privacy mode on a third into the run and off at two thirds.
void run(const Options& options, const Outputs& outputs) {
    const auto start = Clock::now();
    const auto end = start + std::chrono::seconds(options.seconds);
    const auto privacyFrom = start + (end - start) / 3;
    const auto privacyUntil = start + (end - start) * 2 / 3;
    auto nextSnapshot = start + std::chrono::seconds(options.snapshotEvery);
    auto nextProgress = start + std::chrono::seconds(1);
    bool settingsChanged = false;
    enum { Before, On, After } privacy = Before;
    // A picture drawn just before a switch may still be on its way through the encoder:
    // snapshots wait this long after one, so that each is wholly before or after it.
    const auto settle = std::chrono::milliseconds(200);
    auto lastSwitch = start - settle;
    auto secondsSince = [start](Clock::time_point t) {
        return std::chrono::duration<double>(t - start).count();
    };
    for (auto now = start; now < end; now = Clock::now()) {
        kq_poll_frame(100);
        if ((privacy == Before && now >= privacyFrom) || (privacy == On && now >= privacyUntil)) {
            privacy = privacy == Before ? On : After;
            switchPrivacy(privacy == On, secondsSince(now));
            lastSwitch = now;
        }
        if (now >= nextSnapshot && now >= lastSwitch + settle) {
            // The request is armed by a later poll on this thread: noted before it can arrive.
            for (int ch = 0; ch < 2; ++ch)
                if (kq_trigger_snapshot(ch, 80) == 0)
                    SnapshotFiles::instance().expect(ch, ch == 1 && privacy == On);
            nextSnapshot += std::chrono::seconds(options.snapshotEvery);
        }
        if (!settingsChanged && now >= start + (end - start) / 2) {
            // Halfway: a livelier picture, the timestamp moved on channel 1, and the
            // speaker turned down.
            kq_isp_set(KQ_ISP_SATURATION, 180);
            kq_osd_set_position(1, KQ_POS_BOTTOM_RIGHT);
            set_aud_out_volume(kLoweredSpeakerVolume);
            settingsChanged = true;
        }
        if (now >= nextProgress) {
            printProgress(secondsSince(now), outputs, false);
            nextProgress += std::chrono::seconds(1);
        }
    }
    printProgress(options.seconds, outputs, true);
}

// The WAV file the speaker wrote, with its duration; nothing for other speakers.
void printPlayback(const demo::Playback& playback) {
    const std::string& path = playback.speaker();
    SF_INFO info{};
    SNDFILE* wav = path.size() > 4 && path.compare(path.size() - 4, 4, ".wav") == 0
                       ? sf_open(path.c_str(), SFM_READ, &info)
                       : nullptr;
    if (!wav) return;
    sf_close(wav);
    struct stat file {};
    stat(path.c_str(), &file);
    std::printf("%-36s %10lld  %s, %.1f s, volume %d then %d\n", path.c_str(),
                static_cast<long long>(file.st_size), playback.describe().c_str(),
                info.samplerate ? static_cast<double>(info.frames) / info.samplerate : 0.0,
                kSpeakerVolume, kLoweredSpeakerVolume);
}

void printCapture(const demo::Capture& capture) {
    for (const std::string* path : {&capture.wavPath(), &capture.aacPath()}) {
        struct stat file {};
        if (stat(path->c_str(), &file) != 0) continue;
        const bool pcm = path == &capture.wavPath();
        std::printf("%-36s %10lld  %s captured from %s, %.1f s, %u Hz\n", path->c_str(),
                    static_cast<long long>(file.st_size), pcm ? "PCM" : "AAC",
                    capture.mic().c_str(), pcm ? capture.pcmSeconds() : capture.aacSeconds(),
                    demo::Capture::kParam.sampleRate);
    }
}

void printFiles(const Options& options, const Outputs& outputs) {
    const StreamFile(&files)[2] = outputs.files;
    std::printf("\n%-36s %10s  %s\n", "file", "bytes", "content");
    const StreamOptions* streams[2] = {&options.ch0, &options.ch1};
    for (int ch = 0; ch < 2; ++ch)
        std::printf("%-36s %10llu  %llu frames (%llu key), %.1f s, %ux%u\n",
                    files[ch].path().c_str(), static_cast<unsigned long long>(files[ch].bytes()),
                    static_cast<unsigned long long>(files[ch].frames()),
                    static_cast<unsigned long long>(files[ch].keyFrames()),
                    files[ch].spanMs() / 1000.0, streams[ch]->width, streams[ch]->height);
    for (const demo::SnapshotFile& f : SnapshotFiles::instance().files())
        std::printf("%-36s %10u  JPEG snapshot of channel %d, %ux%u%s\n", f.path.c_str(), f.bytes,
                    f.channel, streams[f.channel]->width, streams[f.channel]->height,
                    f.underPrivacy ? ", under privacy" : "");
    printPlayback(outputs.playback);
    printCapture(outputs.capture);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    const demo::Parsed parsed = demo::parseOptions(argc, argv, &options);
    if (parsed != demo::Parsed::Run) {
        demo::printUsage();
        return parsed == demo::Parsed::Help ? 0 : 2;
    }
    if (!makeFolder(options.outDir)) return 1;
    demo::quietHostPlatform();
    if (!options.camera.empty() && !demo::useCamera(options.camera)) {
        demo::printLogRecords(options.logLevel);
        return 2;
    }
    std::printf("camera: %s\n", demo::cameraSource().c_str());
    SnapshotFiles::instance().setFolder(options.outDir);

    StreamFile files[2];
    if (!files[0].open(options.outDir + "/ch0.h264") ||
        !files[1].open(options.outDir + "/ch1.mjpeg"))
        return 1;
    if (kq_init_kq() != KQ_OK) {
        demo::printLogRecords(options.logLevel);
        return 1;
    }
    demo::Playback playback;
    demo::Capture capture;
    const Outputs outputs{files, playback, capture};
    bool ok = startChannel(0, KQ_ENC_H264, options.ch0, options, &files[0]) &&
              startChannel(1, KQ_ENC_MJPEG, options.ch1, options, &files[1]) &&
              startPlayback(options, &playback) && startCapture(options, &capture);
    if (ok) {
        setUpOverlays(options);
        run(options, outputs);
    }
    // Closing waits for a snapshot still on its way.
    playback.stop();
    capture.stop();
    kq_close_encoder(0);
    kq_close_encoder(1);
    kq_uninit();
    for (StreamFile& file : files) file.close();
    printFiles(options, outputs);
    demo::printLogRecords(options.logLevel);
    return ok ? 0 : 1;
}
