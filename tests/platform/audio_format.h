// Audio formats and raw sample bytes as the capture and playback tests build and read them,
// and their fixture.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host_control.h"
#include "rts_av.h"

using Bytes = std::vector<uint8_t>;

struct Format {
    uint32_t rate, bits, channels;
    std::size_t frameBytes() const { return channels * bits / 8; }
    std::size_t bytesPerMs(unsigned ms) const { return rate * ms / 1000 * frameBytes(); }
};

constexpr Format kVoice{16000, 16, 1};

inline rts_audio_attr attrFor(const std::string& name, const Format& f) {
    rts_audio_attr a{};
    std::strncpy(a.dev_node, name.c_str(), sizeof a.dev_node - 1);
    a.format = f.bits;
    a.channels = f.channels;
    a.rate = f.rate;
    return a;
}

// Little-endian samples of `bits` bits (8-bit ones unsigned, offset by 0x80).
inline Bytes samplesOf(const std::vector<int32_t>& values, uint32_t bits) {
    Bytes out;
    for (int32_t value : values) {
        const auto raw = static_cast<uint32_t>(bits == 8 ? value + 0x80 : value);
        for (uint32_t i = 0; i < bits / 8; ++i) out.push_back(static_cast<uint8_t>(raw >> (8 * i)));
    }
    return out;
}

// Sample `index` of a stream of `bits`-bit samples (8-bit ones unsigned), as a signed value.
inline int32_t sampleAt(const Bytes& bytes, uint32_t bits, std::size_t index) {
    const uint8_t* p = bytes.data() + index * (bits / 8);
    if (bits == 8) return int32_t{p[0]} - 128;
    uint32_t raw = 0;
    for (uint32_t i = 0; i < bits / 8; ++i) raw |= uint32_t{p[i]} << (8 * i);
    return static_cast<int32_t>(raw << (32 - bits)) >> (32 - bits);
}

// A fresh platform, initialised, and a folder of the test's own for the files it writes.
class AudioChannelTest : public ::testing::Test {
protected:
    void SetUp() override {
        hostctl::reset();
        hostctl::setLogEcho(nullptr);
        ASSERT_EQ(rts_av_init(), 0);
        char folder[] = "/tmp/kq-audio-XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        mFolder = folder;
    }
    void TearDown() override {
        hostctl::reset();
        std::filesystem::remove_all(mFolder);
    }

    std::string mFolder;
};
