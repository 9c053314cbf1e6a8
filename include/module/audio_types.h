// Types shared by the library's audio classes.
//
// Every audio object is made by its class's Create(name, param), which starts the media
// platform for itself, opens the device `name` (a name of 1 to 63 characters; what
// names mean is the platform's) and starts one worker thread of its own. Device
// failures are logged and the object is returned all the same: it then reads nothing
// or plays nothing. Dropping the last shared_ptr stops the worker, closes the channels
// and releases the platform. The objects' operations may be called from any thread,
// also while another thread reads or writes.
#pragma once

#include <cstdint>
#include <memory>

#include "kq_export.h"

namespace module {

// Frame buffer of the platform's utility library (module/buf.h of the platform).
class Buf;

// Audio format given to every audio Create().
struct AudioParam {
    uint32_t sampleRate;  // Hz
    uint8_t channels;
    uint8_t bitsPerSample;  // also the platform's sample format value
    uint16_t frameMs;       // duration of one PCM buffer
};

// A capture source: Read() returns the byte count of the frame stored in `out`, or 0
// when there is none (yet, or any more). `a` and `b` go to the platform's queue; on the
// host `a` is how long to wait for a frame, in milliseconds. The frame's media
// information (module::MediaInfo) carries its capture time in milliseconds.
class KQ_EXPORT I_Source {
public:
    virtual int Read(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b) = 0;
    virtual ~I_Source() = default;
};

// A playback sink.
class KQ_EXPORT I_Sink {
public:
    virtual void Write(std::shared_ptr<const Buf> buf, unsigned int len) = 0;
    virtual void Flush() = 0;
    virtual ~I_Sink() = default;
};

class I_SourceFactory {
public:
    // Stream selector of the combined capture source.
    enum Codec : int32_t { CODEC_PCM = 0, CODEC_AAC = 1 };
};

}  // namespace module
