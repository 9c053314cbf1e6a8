// One sample of a PCM stream as a signed value, whatever its width: 8-bit samples are
// unsigned with 0x80 for silence (as in WAV), wider ones signed little-endian, 24-bit
// ones packed in three bytes. Values keep the sample's own scale (-128 to 127 for
// 8 bits, -2^31 to 2^31 - 1 for 32).
#pragma once

#include <cstdint>
#include <cstring>

namespace host::audio {

inline int32_t readSample(const uint8_t* p, uint32_t bytes) {
    switch (bytes) {
        case 1: return int32_t{p[0]} - 0x80;
        case 2: return static_cast<int16_t>(p[0] | p[1] << 8);
        case 3: {
            uint32_t raw = uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16;
            return static_cast<int32_t>(raw << 8) >> 8;  // sign-extends bit 23
        }
        default: {
            uint32_t raw;
            std::memcpy(&raw, p, sizeof raw);  // the host is little-endian like the samples
            return static_cast<int32_t>(raw);
        }
    }
}

inline void writeSample(uint8_t* p, uint32_t bytes, int32_t value) {
    if (bytes == 1) {
        p[0] = static_cast<uint8_t>(value + 0x80);
        return;
    }
    auto raw = static_cast<uint32_t>(value);
    for (uint32_t i = 0; i < bytes; ++i) p[i] = static_cast<uint8_t>(raw >> (8 * i));
}

}  // namespace host::audio
