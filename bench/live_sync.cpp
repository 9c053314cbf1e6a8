// Sync and delay of kq-live's RTSP streams as a viewer on this machine sees them. kq-live
// runs with the host's sync marks: the picture stamped at each whole second of the
// monotonic clock is white, and the captured sound carries a 4 kHz beep from that same
// instant. A client built of FFmpeg's libraries reads ch0 (H.264 and AAC), then ch1
// (MJPEG), decoding as it goes with its buffering turned off, and finds the marks:
//   - A/V offset: the white picture's presentation time minus the beep's onset, both on
//     the timeline the client builds from the sender reports (positive: picture late);
//   - glass-to-client delay: from the white picture's capture instant (its whole second)
//     to the moment the client has decoded it, on the same clock.
#include <time.h>
#include <unistd.h>

#include <sys/wait.h>
#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "bench_report.h"
#include "child_process.h"

namespace {

constexpr int kRtspPort = 18554, kHttpPort = 18080;
constexpr double kWarmUpSeconds = 2, kMeasureSeconds = 10;
constexpr double kBeepHz = 4000;  // the host's sync beep

double monotonicSeconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec + now.tv_nsec / 1e9;
}

double percentile(std::vector<double> values, double p) {
    if (values.empty()) return NAN;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, static_cast<std::size_t>(p * values.size()))];
}

// A white picture: the mean of a sample of its luma.
bool isWhite(const AVFrame& frame) {
    double sum = 0;
    int count = 0;
    for (int y = 0; y < frame.height; y += 8)
        for (int x = 0; x < frame.width; x += 8, ++count)
            sum += frame.data[0][y * frame.linesize[0] + x];
    return count > 0 && sum / count > 200;
}

// Finds the beep's onsets in a stream of samples: the power at 4 kHz over blocks of a
// millisecond, a whole number of cycles of both the beep and the 1 kHz tone beneath it.
class BeepFinder {
public:
    // Onsets in the samples of `frame` (channel 0), as presentation times.
    void feed(const AVFrame& frame, double firstSeconds, std::vector<double>* onsets) {
        const auto* samples = reinterpret_cast<const float*>(frame.extended_data[0]);
        const int block = frame.sample_rate / 1000;
        for (int i = 0; i < frame.nb_samples; ++i) {
            const double phase = 2 * M_PI * kBeepHz * mInBlock / frame.sample_rate;
            mRe += samples[i] * std::cos(phase);
            mIm += samples[i] * std::sin(phase);
            if (++mInBlock < block) continue;
            const double amplitude = 2 * std::hypot(mRe, mIm) / block;  // 0.5 for the beep
            const bool loud = amplitude > 0.2;
            if (loud && !mLoud)
                onsets->push_back(firstSeconds + double(i + 1 - block) / frame.sample_rate);
            mLoud = loud;
            mRe = mIm = 0;
            mInBlock = 0;
        }
    }

private:
    double mRe = 0, mIm = 0;
    int mInBlock = 0;
    bool mLoud = false;
};

struct Marks {
    std::vector<double> picturePts, pictureDelays, beepPts;
};

AVCodecContext* openDecoder(const AVStream& stream) {
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    AVCodecContext* context = codec ? avcodec_alloc_context3(codec) : nullptr;
    if (!context) return nullptr;
    avcodec_parameters_to_context(context, stream.codecpar);
    context->flags |= AV_CODEC_FLAG_LOW_DELAY;
    context->thread_count = 1;  // frame threads would hold pictures back
    if (avcodec_open2(context, codec, nullptr) < 0) avcodec_free_context(&context);
    return context;
}

// Reads `url` for the warm-up and the measured time; false when it cannot be read.
bool measure(const std::string& url, Marks* marks) {
    AVFormatContext* input = nullptr;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "fflags", "nobuffer", 0);
    av_dict_set(&options, "flags", "low_delay", 0);
    av_dict_set(&options, "max_delay", "0", 0);
    av_dict_set(&options, "reorder_queue_size", "0", 0);
    bool opened = false;
    for (double giveUp = monotonicSeconds() + 15; !opened && monotonicSeconds() < giveUp;) {
        AVDictionary* tried = nullptr;
        av_dict_copy(&tried, options, 0);
        opened = avformat_open_input(&input, url.c_str(), nullptr, &tried) == 0;
        av_dict_free(&tried);
        if (!opened) usleep(300000);
    }
    av_dict_free(&options);
    if (!opened || avformat_find_stream_info(input, nullptr) < 0) return false;
    std::vector<AVCodecContext*> decoders(input->nb_streams);
    for (unsigned i = 0; i < input->nb_streams; ++i) decoders[i] = openDecoder(*input->streams[i]);
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    BeepFinder beeps;
    bool lastWhite = false;
    const double start = monotonicSeconds();
    while (monotonicSeconds() < start + kWarmUpSeconds + kMeasureSeconds &&
           av_read_frame(input, packet) >= 0) {
        AVCodecContext* decoder = decoders[packet->stream_index];
        const AVRational base = input->streams[packet->stream_index]->time_base;
        const bool counted = monotonicSeconds() > start + kWarmUpSeconds;
        if (decoder && avcodec_send_packet(decoder, packet) == 0) {
            while (avcodec_receive_frame(decoder, frame) == 0) {
                const double pts = frame->best_effort_timestamp * av_q2d(base);
                if (decoder->codec_type == AVMEDIA_TYPE_AUDIO) {
                    std::vector<double> onsets;
                    beeps.feed(*frame, pts, &onsets);
                    if (counted)
                        marks->beepPts.insert(marks->beepPts.end(), onsets.begin(), onsets.end());
                    continue;
                }
                const bool white = isWhite(*frame);
                if (white && !lastWhite && counted) {
                    const double now = monotonicSeconds();
                    marks->picturePts.push_back(pts);
                    marks->pictureDelays.push_back((now - std::floor(now)) * 1000);
                }
                lastWhite = white;
            }
        }
        av_packet_unref(packet);
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    for (AVCodecContext*& decoder : decoders) avcodec_free_context(&decoder);
    avformat_close_input(&input);
    return true;
}

// Each white picture's offset from the nearest beep, in milliseconds.
std::vector<double> offsets(const Marks& marks) {
    std::vector<double> out;
    for (double picture : marks.picturePts) {
        double best = NAN;
        for (double beep : marks.beepPts)
            if (std::isnan(best) || std::fabs(picture - beep) < std::fabs(best))
                best = picture - beep;
        if (!std::isnan(best) && std::fabs(best) < 0.5) out.push_back(best * 1000);
    }
    return out;
}

}  // namespace

int main() {
    bench::Report report("live view: A/V sync and glass-to-client delay over RTSP, sync marks on");
    av_log_set_level(AV_LOG_FATAL);  // refused connections while kq-live starts are expected
    const int child =
        bench::startChild({KQ_LIVE_PATH, "--sync-marks", "--seconds", "40", "--rtsp-port",
                           std::to_string(kRtspPort), "--http-port", std::to_string(kHttpPort)},
                          KQ_BENCH_SCRATCH_DIR "/live_sync.log");
    if (child < 0) {
        report.note("kq-live did not start");
        return 0;
    }
    const std::string base = "rtsp://127.0.0.1:" + std::to_string(kRtspPort);
    Marks ch0, ch1;
    if (!measure(base + "/ch0", &ch0) || !measure(base + "/ch1", &ch1))
        report.note("a stream could not be read: see " KQ_BENCH_SCRATCH_DIR "/live_sync.log");
    kill(child, SIGINT);
    waitpid(child, nullptr, 0);

    const std::vector<double> av = offsets(ch0);
    std::vector<double> magnitudes;
    for (double o : av) magnitudes.push_back(std::fabs(o));
    report.figure("ch0 marks matched (white picture and beep)", av.size(), "");
    report.figure("ch0 A/V offset, median (picture minus sound)", percentile(av, 0.5), "ms", 1);
    report.figure("ch0 A/V offset, median of its size", percentile(magnitudes, 0.5), "ms",
                  bench::Target::atMost(10), 1);
    report.figure("ch0 A/V offset, largest size", percentile(magnitudes, 1), "ms",
                  bench::Target::atMost(20), 1);
    report.figure("ch0 H.264 1080p25 glass-to-client, median", percentile(ch0.pictureDelays, 0.5),
                  "ms", bench::Target::atMost(60), 1);
    report.figure("ch0 H.264 1080p25 glass-to-client, p99", percentile(ch0.pictureDelays, 0.99),
                  "ms", bench::Target::atMost(100), 1);
    report.figure("ch1 MJPEG glass-to-client, median", percentile(ch1.pictureDelays, 0.5), "ms",
                  bench::Target::atMost(40), 1);
    report.figure("ch1 MJPEG glass-to-client, p99", percentile(ch1.pictureDelays, 0.99), "ms", 1);
    return 0;
}
