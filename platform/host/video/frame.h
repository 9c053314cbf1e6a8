// The picture the video pipeline passes between its stages: planar 4:2:0 (I420), a
// full-size luma plane followed by quarter-size Cb and Cr planes in one block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace host::video {

constexpr uint32_t kMinFrameSide = 16;
constexpr uint32_t kMaxFrameSide = 4096;

// Whether a picture of this size can travel the pipeline: even sides within the limits,
// so that every chroma sample covers a whole 2x2 block.
bool validFrameSize(uint32_t width, uint32_t height);

struct Frame {
    uint32_t width = 0, height = 0;  // even, kMinFrameSide..kMaxFrameSide
    uint64_t timestampUs = 0;        // capture time, monotonic clock
    std::vector<uint8_t> pixels;

    // Keeps the block's capacity: no allocation when the size is unchanged or smaller.
    void resize(uint32_t width, uint32_t height);

    // Whether the size is valid and the block holds all three planes.
    bool valid() const;

    uint32_t chromaWidth() const { return width / 2; }
    uint32_t chromaHeight() const { return height / 2; }
    std::size_t lumaSize() const { return std::size_t{width} * height; }
    std::size_t chromaSize() const { return std::size_t{chromaWidth()} * chromaHeight(); }
    std::size_t byteSize() const { return lumaSize() + 2 * chromaSize(); }

    // Strides: width for luma, width / 2 for chroma.
    uint8_t* y() { return pixels.data(); }
    uint8_t* u() { return y() + lumaSize(); }
    uint8_t* v() { return u() + chromaSize(); }
    const uint8_t* y() const { return pixels.data(); }
    const uint8_t* u() const { return y() + lumaSize(); }
    const uint8_t* v() const { return u() + chromaSize(); }
};

}  // namespace host::video
