#include "video/source_decoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
#ifdef KQ_HOST_WEBCAMS
#include <libavdevice/avdevice.h>
#endif
}

#include <cstdio>
#include <mutex>

namespace host::video {
namespace {

constexpr int64_t kMicrosecond = 1000000;

std::string errorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

void closeFormat(AVFormatContext* format) { avformat_close_input(&format); }
void freeCodec(AVCodecContext* codec) { avcodec_free_context(&codec); }
void freePacket(AVPacket* packet) { av_packet_free(&packet); }
void freePicture(AVFrame* picture) { av_frame_free(&picture); }

// FFmpeg's own messages would go to stderr, once a picture for a damaged stream; the
// host's records say what failed instead.
void quietFfmpeg() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_QUIET); });
}

}  // namespace

SourceDecoder::SourceDecoder()
    : mFormat(nullptr, closeFormat),
      mCodec(nullptr, freeCodec),
      mPacket(av_packet_alloc(), freePacket),
      mPicture(av_frame_alloc(), freePicture) {}

SourceDecoder::~SourceDecoder() = default;

std::string SourceDecoder::open(const std::string& path, bool webcam) {
    quietFfmpeg();
    if (!mPacket || !mPicture) return "out of memory";
    mWebcam = webcam;
    const AVInputFormat* input = nullptr;
    if (webcam) {
#ifdef KQ_HOST_WEBCAMS
        avdevice_register_all();
        input = av_find_input_format("video4linux2");
#endif
        if (!input) return "this build has no V4L2 input (libavdevice)";
    }
    AVFormatContext* format = avformat_alloc_context();
    if (!format) return "out of memory";
    format->interrupt_callback = {
        [](void* decoder) -> int { return static_cast<SourceDecoder*>(decoder)->mInterrupted; },
        this};
    // A file is a file: a path with a colon in it is not taken for a protocol, and no
    // network or other protocol is reached from it.
    AVDictionary* options = nullptr;
    if (!webcam) av_dict_set(&options, "protocol_whitelist", "file", 0);
    const std::string url = webcam ? path : "file:" + path;
    // On failure the context is freed and `format` nulled.
    int rc = avformat_open_input(&format, url.c_str(), input, &options);
    av_dict_free(&options);
    if (rc < 0) return "cannot open it: " + errorText(rc);
    mFormat.reset(format);
    rc = avformat_find_stream_info(format, nullptr);
    if (rc < 0) return "cannot read its streams: " + errorText(rc);
    const AVCodec* decoder = nullptr;
    mStream = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
    if (mStream == AVERROR_STREAM_NOT_FOUND) return "it has no video stream";
    if (mStream < 0 || !decoder) return "no decoder for its video";
    mCodec.reset(avcodec_alloc_context3(decoder));
    if (!mCodec) return "out of memory";
    avcodec_parameters_to_context(mCodec.get(), format->streams[mStream]->codecpar);
    mCodec->thread_count = 1;
    rc = avcodec_open2(mCodec.get(), decoder, nullptr);
    if (rc < 0) return "cannot open its decoder: " + errorText(rc);
    return {};
}

SourceDecoder::Next SourceDecoder::next(int64_t* timeUs, std::string* reason) {
    av_frame_unref(mPicture.get());
    for (;;) {
        bool failed = false;
        if (receive(timeUs, reason, &failed)) return Next::Picture;
        if (failed) return Next::Failed;
        if (mDraining) {
            Next after = restart(reason);
            if (after != Next::Picture) return after;
            continue;
        }
        int rc = av_read_frame(mFormat.get(), mPacket.get());
        if (rc == AVERROR_EOF) {
            mDraining = true;
            avcodec_send_packet(mCodec.get(), nullptr);
            continue;
        }
        if (rc < 0) {
            *reason = "reading it failed: " + errorText(rc);
            return Next::Failed;
        }
        const bool ours = mPacket->stream_index == mStream;
        const bool corrupt = mPacket->flags & AV_PKT_FLAG_CORRUPT;
        rc = ours && !corrupt ? avcodec_send_packet(mCodec.get(), mPacket.get()) : 0;
        av_packet_unref(mPacket.get());
        if (ours && corrupt) {
            *reason = "it breaks off in the middle of a picture";
            return Next::Failed;
        }
        if (rc < 0 && rc != AVERROR(EAGAIN)) {
            *reason = "a picture cannot be decoded: " + errorText(rc);
            return Next::Failed;
        }
    }
}

bool SourceDecoder::receive(int64_t* timeUs, std::string* reason, bool* failed) {
    int rc = avcodec_receive_frame(mCodec.get(), mPicture.get());
    if (rc == AVERROR(EAGAIN) || rc == AVERROR_EOF) return false;
    if (rc < 0) {
        *reason = "a picture cannot be decoded: " + errorText(rc);
        *failed = true;
        return false;
    }
    const AVStream* stream = mFormat->streams[mStream];
    const int64_t stamp = mPicture->best_effort_timestamp;
    // A picture without a time comes one interval after the last.
    int64_t ownUs = stamp == AV_NOPTS_VALUE
                        ? mLastUs + mIntervalUs
                        : av_rescale_q(stamp, stream->time_base, AVRational{1, kMicrosecond});
    if (mFirstUs == INT64_MIN) mFirstUs = ownUs;
    const int64_t us = mPassStartUs + ownUs - mFirstUs;
    if (mPicturesThisPass > 0 && us > mLastUs) mIntervalUs = us - mLastUs;
    mLastUs = us;
    ++mPicturesThisPass;
    *timeUs = us;
    return true;
}

bool SourceDecoder::convert(Frame& frame, std::string* reason) {
    const AVFrame& picture = *mPicture;
    if (!picture.data[0]) {
        *reason = "no picture decoded to convert";
        return false;
    }
    const auto width = static_cast<uint32_t>(picture.width) & ~1u;
    const auto height = static_cast<uint32_t>(picture.height) & ~1u;
    if (!validFrameSize(width, height)) {
        *reason = "its pictures are " + std::to_string(picture.width) + "x" +
                  std::to_string(picture.height) + ", outside " + std::to_string(kMinFrameSide) +
                  "-" + std::to_string(kMaxFrameSide) + " a side";
        return false;
    }
    SwsContext* scaler =
        mScaler.get(static_cast<int>(width), static_cast<int>(height), picture.format,
                    static_cast<int>(width), static_cast<int>(height), AV_PIX_FMT_YUVJ420P);
    if (!scaler) {
        *reason = std::string("its pixel format ") +
                  av_get_pix_fmt_name(static_cast<AVPixelFormat>(picture.format)) +
                  " cannot be converted";
        return false;
    }
    frame.resize(width, height);
    uint8_t* planes[] = {frame.y(), frame.u(), frame.v()};
    const int strides[] = {static_cast<int>(width), static_cast<int>(frame.chromaWidth()),
                           static_cast<int>(frame.chromaWidth())};
    sws_scale(scaler, picture.data, picture.linesize, 0, static_cast<int>(height), planes, strides);
    return true;
}

bool SourceDecoder::cutShort(std::string* reason) const {
    const AVStream* stream = mFormat->streams[mStream];
    int64_t announcedUs = AV_NOPTS_VALUE;
    if (stream->duration != AV_NOPTS_VALUE && stream->duration > 0)
        announcedUs =
            av_rescale_q(stream->duration, stream->time_base, AVRational{1, kMicrosecond});
    else if (mFormat->duration != AV_NOPTS_VALUE && mFormat->duration > 0)
        announcedUs = av_rescale_q(mFormat->duration, AV_TIME_BASE_Q, AVRational{1, kMicrosecond});
    const int64_t playedUs = mLastUs + mIntervalUs;
    // Containers round their lengths: only a shortfall of more than two pictures counts.
    if (announcedUs == AV_NOPTS_VALUE || playedUs + 2 * mIntervalUs >= announcedUs) return false;
    char text[128];
    std::snprintf(text, sizeof text,
                  "it ends after %.2f s of the %.2f s it announces: the file is cut short",
                  playedUs / 1e6, announcedUs / 1e6);
    *reason = text;
    return true;
}

SourceDecoder::Next SourceDecoder::restart(std::string* reason) {
    if (mPicturesThisPass == 0) {
        *reason = mWebcam ? "the device sent no picture" : "no picture in it could be decoded";
        return Next::Failed;
    }
    if (mWebcam) {
        *reason = "the device stopped sending";
        return Next::Failed;
    }
    if (mPassStartUs == 0) {
        // A still image stays on show; its one picture was given already.
        if (mPicturesThisPass == 1) return Next::Still;
        if (cutShort(reason)) return Next::Failed;
    }
    int rc = avformat_seek_file(mFormat.get(), -1, INT64_MIN, 0, 0, 0);
    if (rc < 0) {
        *reason = "cannot go back to its start: " + errorText(rc);
        return Next::Failed;
    }
    avcodec_flush_buffers(mCodec.get());
    mPassStartUs = mLastUs + mIntervalUs;
    mFirstUs = INT64_MIN;
    mPicturesThisPass = 0;
    mDraining = false;
    return Next::Picture;
}

}  // namespace host::video
