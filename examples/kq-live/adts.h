// The 7- or 9-byte header of an ADTS frame, as the AAC sources deliver them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace live {

struct AdtsHeader {
    std::size_t headerBytes;  // 7, or 9 with a CRC
    std::size_t frameBytes;   // header included
};

// The header at `data`, or false when `bytes` do not start with a whole ADTS frame.
inline bool readAdtsHeader(const uint8_t* data, std::size_t bytes, AdtsHeader* header) {
    if (bytes < 7 || data[0] != 0xff || (data[1] & 0xf6) != 0xf0) return false;
    const bool crc = (data[1] & 0x01) == 0;
    const std::size_t length =
        (std::size_t{data[3]} & 0x03) << 11 | std::size_t{data[4]} << 3 | std::size_t{data[5]} >> 5;
    header->headerBytes = crc ? 9 : 7;
    header->frameBytes = length;
    return length > header->headerBytes && length <= bytes;
}

}  // namespace live
