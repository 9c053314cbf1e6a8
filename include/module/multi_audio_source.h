// One capture chain delivering every frame both as PCM and as AAC, each into a queue
// of its own with the same capture times. Read it through shared sources, one per
// consumer thread; frames of one codec are divided among its readers.
#pragma once

#include <memory>

#include "module/audio_types.h"

namespace module {

class MultiAudioSharedSource;

class KQ_EXPORT MultiAudioSourceAacPcm
    : public I_Source,
      public std::enable_shared_from_this<MultiAudioSourceAacPcm> {
public:
    static std::shared_ptr<MultiAudioSourceAacPcm> Create(const char* name,
                                                          const AudioParam& param);

    MultiAudioSourceAacPcm();
    ~MultiAudioSourceAacPcm() override;
    MultiAudioSourceAacPcm(const MultiAudioSourceAacPcm&) = delete;
    MultiAudioSourceAacPcm& operator=(const MultiAudioSourceAacPcm&) = delete;

    // One read of the AAC queue, without waiting: a reader polls at its own pace. 0 when
    // it is empty, and at once once the worker has stopped.
    int Read(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b) override;
    // One read of the queue of `codec`, as Read(): the byte count, or 0 (also for an
    // unknown codec, which is logged while the worker runs).
    int ReadCodec(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b,
                  I_SourceFactory::Codec codec);
    // A source reading one codec's queue; it keeps this source alive. The last shared
    // source dropped (with the application's own pointer) tears the chain down.
    std::shared_ptr<MultiAudioSharedSource> CreateSharedSource(I_SourceFactory::Codec codec);

    class PrivateImp;

private:
    std::unique_ptr<PrivateImp> mImp;
};

class KQ_EXPORT MultiAudioSharedSource : public I_Source {
public:
    MultiAudioSharedSource(I_SourceFactory::Codec codec,
                           std::shared_ptr<MultiAudioSourceAacPcm> parent);
    ~MultiAudioSharedSource() override;

    // One read of its codec's queue of the parent; 0 without a parent.
    int Read(std::shared_ptr<Buf>* out, unsigned int a, unsigned int b) override;

private:
    I_SourceFactory::Codec mCodec;
    std::shared_ptr<MultiAudioSourceAacPcm> mParent;
};

}  // namespace module
