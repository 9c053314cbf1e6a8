// The pictures of a video file, a still image or a webcam, decoded with FFmpeg's
// libraries: libavformat opens and reads the source, libavcodec decodes its best video
// stream and libswscale turns each picture into the pipeline's planar 4:2:0. A file plays
// in a loop, its pictures' times running on across each return to the start; a webcam
// only differs in how it is opened. Built where FFmpeg's libraries are found, webcams
// where libavdevice is too (KQ_HOST_WEBCAMS).
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "video/frame.h"
#include "video/scaler_context.h"

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;

namespace host::video {

class SourceDecoder {
public:
    SourceDecoder();
    ~SourceDecoder();
    SourceDecoder(const SourceDecoder&) = delete;
    SourceDecoder& operator=(const SourceDecoder&) = delete;

    // Opens `path`, a file or, for a webcam, a V4L2 device. Empty, or why it cannot be
    // read: "cannot open it: No such file or directory", "it has no video stream", ...
    std::string open(const std::string& path, bool webcam);

    enum class Next {
        Picture,  // the next picture is decoded, `timeUs` its time: convert() gives it
        Still,    // the source is one picture, already given: keep showing it
        Failed,   // `reason` says why; the decoder gives nothing more
    };
    // Decodes the next picture; `timeUs` counts from the first picture. Blocks until a
    // webcam sends one.
    Next next(int64_t* timeUs, std::string* reason);
    // The picture next() decoded into `frame`, at the source's size rounded down to even
    // sides, full-range BT.601 as the pipeline draws. Apart from decoding, since a
    // picture decoded too late to be shown need not be converted. False, saying why,
    // when its size or pixel format cannot be taken.
    bool convert(Frame& frame, std::string* reason);

    // Makes a next() or open() waiting on the source give up (Failed); from any thread.
    void interrupt() { mInterrupted = true; }

private:
    // One picture out of the decoder; false when the decoder wants input or failed.
    bool receive(int64_t* timeUs, std::string* reason, bool* failed);
    // Back to the first picture at the end of a file; Still, Failed or Picture (go on).
    Next restart(std::string* reason);
    // Whether the first pass ended well before the length the file announces.
    bool cutShort(std::string* reason) const;

    std::unique_ptr<AVFormatContext, void (*)(AVFormatContext*)> mFormat;
    std::unique_ptr<AVCodecContext, void (*)(AVCodecContext*)> mCodec;
    std::unique_ptr<AVPacket, void (*)(AVPacket*)> mPacket;
    std::unique_ptr<AVFrame, void (*)(AVFrame*)> mPicture;
    ScalerContext mScaler;  // the decoded pictures into the pipeline's format
    int mStream = -1;
    std::atomic<bool> mInterrupted{false};
    bool mWebcam = false;
    bool mDraining = false;  // the file's end reached: the decoder gives what it holds

    // Times: each pass through a file starts where the last one ended.
    int64_t mFirstUs = INT64_MIN;  // the first picture's own time in this pass
    int64_t mPassStartUs = 0;
    int64_t mLastUs = 0, mIntervalUs = 40000;
    uint64_t mPicturesThisPass = 0;
};

}  // namespace host::video
