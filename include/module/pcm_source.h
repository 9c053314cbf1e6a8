// PCM capture.
#pragma once

#include <memory>

#include "module/audio_types.h"

namespace module {

class KQ_EXPORT PcmSource : public I_Source, public std::enable_shared_from_this<PcmSource> {
public:
    // Opens the capture device `name` and starts the capture worker. Device failures
    // are logged; the source is returned all the same, and its Read() answers 0.
    static std::shared_ptr<PcmSource> Create(const char* name, const AudioParam& param);

    PcmSource();
    ~PcmSource() override;
    PcmSource(const PcmSource&) = delete;
    PcmSource& operator=(const PcmSource&) = delete;

    // Waits for the next frame, checking every frameMs, and returns its byte count; each
    // frame is one buffer of the device, neither split nor joined. 0 at once, without
    // waiting, once the worker has stopped (after a device failure at once, so a reader
    // must not retry in a tight loop), also while frames are left; 0 for a null `out`
    // (logged). Any thread; concurrent readers divide the frames.
    int Read(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b) override;

    class PrivateImp;

private:
    std::unique_ptr<PrivateImp> mImp;
};

}  // namespace module
