// PCM playback with a jitter buffer and paced output.
#pragma once

#include <memory>

#include "module/audio_types.h"

namespace module {

// Dropping the last pointer stops the worker and closes the device; audio still in the
// jitter buffer is dropped unplayed: Flush() and wait for JitterMs() to reach 0 first.
class KQ_EXPORT PcmSink : public I_Sink {
public:
    // Opens the playback device `name` and starts the playback worker. Device failures
    // (a format the platform cannot play included) are logged; the sink is returned all
    // the same, running, and drops each buffer it would play with a warning.
    static std::shared_ptr<PcmSink> Create(const char* name, const AudioParam& param);

    PcmSink();
    ~PcmSink() override;
    PcmSink(const PcmSink&) = delete;
    PcmSink& operator=(const PcmSink&) = delete;

    // Copies `len` bytes (1 to one frameMs of PCM) into the jitter buffer, which holds
    // 64 buffers. Playback starts once 8 are queued: the first 5 at once, then one per
    // frameMs at the device's pace; when the jitter buffer runs dry the worker waits for
    // 8 again, and after 5 s of waiting mutes the output until playback starts again. A
    // sink that is not running, a null buffer or a bad length is logged and nothing is
    // queued; a full jitter buffer drops its oldest buffers (logged once per spell). Any
    // thread.
    void Write(std::shared_ptr<const Buf> buf, unsigned int len) override;
    // Ends the wait for the start level early, now or, while playing, at the next wait:
    // what is queued then plays without waiting for 8. A later Write() cancels it.
    void Flush() override;
    // Whether the playback worker runs: true from Create() on, also after a device
    // failure; false for a sink not made by Create() and after an exception ended the
    // worker (logged).
    bool IsRunning() const;
    // frameMs for each buffer still in the jitter buffer (not those already handed to
    // the device).
    int JitterMs() const;

    // The playback volume, or the platform's negative code (logged). 0 without asking
    // the platform while this sink holds the output muted: from Create() (a sink starts
    // muted in its own view) until playback first starts or setVolume() sets a
    // non-zero volume, after setVolume(0), and while starved of data.
    int getVolume();
    // 0 mutes, anything else unmutes and sets it, on the platform's scale and at once;
    // the volume given, or the platform's negative code (logged). The next start of
    // playback unmutes the output, also after setVolume(0); the volume stays as set.
    int setVolume(int volume);

    class PrivateImp;

private:
    std::unique_ptr<PrivateImp> mImp;
};

}  // namespace module
