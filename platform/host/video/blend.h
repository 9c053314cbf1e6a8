// The arithmetic every drawing into a Frame shares: clipping a run of pixels to the
// frame and blending one sample over another.
#pragma once

#include <algorithm>
#include <cstdint>

namespace host::video {

// A half-open range of coordinates.
struct Span {
    int begin;
    int end;
    bool empty() const { return begin >= end; }
};

// [pos, pos + length) within [0, limit); computed wide so no position overflows.
inline Span clip(int64_t pos, int64_t length, uint32_t limit) {
    int64_t begin = std::clamp<int64_t>(pos, 0, limit);
    int64_t end = std::clamp<int64_t>(pos + std::max<int64_t>(length, 0), 0, limit);
    return {static_cast<int>(begin), static_cast<int>(std::max(begin, end))};
}

// The chroma samples whose 2x2 blocks touch a luma span.
inline Span chromaSpan(Span luma) { return {luma.begin / 2, (luma.end + 1) / 2}; }

// `over` laid on `under` with coverage `alpha` (0..255).
inline uint8_t blend(uint8_t under, uint8_t over, int alpha) {
    return static_cast<uint8_t>((over * alpha + under * (255 - alpha) + 127) / 255);
}

}  // namespace host::video
