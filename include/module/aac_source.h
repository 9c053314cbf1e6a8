// AAC capture: captured PCM encoded in software into ADTS frames. Every open AacSource
// also appends its frames to /tmp/rts_aac_source.aac (shared by the sources open at
// the same time: the first creates or empties it, the last closes it).
#pragma once

#include <memory>

#include "module/audio_types.h"

namespace module {

class KQ_EXPORT AacSource : public I_Source, public std::enable_shared_from_this<AacSource> {
public:
    // As PcmSource::Create(); a dump file that cannot be opened is logged and the source
    // captures all the same.
    static std::shared_ptr<AacSource> Create(const char* name, const AudioParam& param);

    AacSource();
    ~AacSource() override;
    AacSource(const AacSource&) = delete;
    AacSource& operator=(const AacSource&) = delete;

    // As PcmSource::Read(), with AAC frames; every call also logs its result as a
    // warning ("RTS390X AacSource::Read R%d"). Any thread.
    int Read(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b) override;

    class PrivateImp;

private:
    std::unique_ptr<PrivateImp> mImp;
};

}  // namespace module
