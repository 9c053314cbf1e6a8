// PCM capture.
#pragma once

#include <memory>

#include "module/audio_types.h"

namespace module {

class KQ_EXPORT PcmSource : public I_Source, public std::enable_shared_from_this<PcmSource> {
public:
    // Opens the capture device `name` and starts the capture worker. Device failures
    // are logged; the source is returned all the same.
    static std::shared_ptr<PcmSource> Create(const char* name, const AudioParam& param);

    PcmSource();
    ~PcmSource() override;
    PcmSource(const PcmSource&) = delete;
    PcmSource& operator=(const PcmSource&) = delete;

    // Waits for the next frame and returns its byte count; 0 once the worker has
    // stopped (a device failure included). Any thread; concurrent readers divide the
    // frames.
    int Read(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b) override;

    class PrivateImp;

private:
    std::unique_ptr<PrivateImp> mImp;
};

}  // namespace module
