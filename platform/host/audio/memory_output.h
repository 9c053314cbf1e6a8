// The in-memory speaker: keeps the latest kMemoryKeptTime of what it played (at most
// kMemoryMaxBytes), oldest first, for tests and tools to inspect.
#pragma once

#include <chrono>
#include <mutex>

#include "audio/pcm_output.h"

namespace host::audio {

constexpr std::chrono::seconds kMemoryKeptTime{10};
constexpr std::size_t kMemoryMaxBytes = 8u << 20;

class MemoryOutput : public PcmOutput {
public:
    explicit MemoryOutput(const PcmFormat& format);

    int play(const uint8_t* frames, std::size_t bytes) override;
    std::vector<uint8_t> kept() const override;

private:
    mutable std::mutex mMutex;   // play() runs on the device thread, kept() on any
    std::vector<uint8_t> mRing;  // whole frames
    std::size_t mHead = 0;       // oldest byte
    std::size_t mSize = 0;
};

}  // namespace host::audio
