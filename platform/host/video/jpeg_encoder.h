// Baseline JFIF 4:2:0 pictures with libjpeg-turbo, straight from a Frame's planes.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "video/frame.h"

namespace host::video {

constexpr int kMinJpegQuality = 1;
constexpr int kMaxJpegQuality = 100;

class JpegEncoder {
public:
    JpegEncoder();
    ~JpegEncoder();
    JpegEncoder(const JpegEncoder&) = delete;
    JpegEncoder& operator=(const JpegEncoder&) = delete;

    // Compresses `frame` at `quality` into `out`, whose capacity is reused: a warm vector
    // takes a picture without allocating. 0, -EINVAL for an invalid frame or a quality
    // outside kMinJpegQuality..kMaxJpegQuality, -EIO when libjpeg fails (`out` then empty).
    int encode(const Frame& frame, int quality, std::vector<uint8_t>& out);

private:
    class Compressor;
    std::unique_ptr<Compressor> mCompressor;
};

}  // namespace host::video
