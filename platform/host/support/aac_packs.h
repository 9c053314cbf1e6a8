// The AAC encoder packs the support library keeps. A pack's object is shared: a call
// takes its own reference under the registry's lock and encodes outside it, so a
// destroy or reset meanwhile frees the object only once that call is done.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "audio/pcm_format.h"
#include "camera_support.h"
#include "support/pack_registry.h"

namespace host::support {

// Defined where the AAC calls are, and only where the host has libavcodec.
class AacPack;

constexpr std::size_t kMaxAacPacks = 16;

using AacPacks = PackRegistry<aac_encoder_pack, std::shared_ptr<AacPack>>;

AacPacks& aacPacks();

// The format of the PCM at these bytes when the caller knows it (samples lying in a
// buffer a channel handed out), for input whose call carries no format.
using PcmFormatLookup =
    std::function<std::optional<audio::PcmFormat>(const void* pcm, std::size_t bytes)>;

// Encodes PCM into the pack's ADTS frames, as do_pcm_to_aac_encode() does: the bytes
// of whole frames written to `out`, or a negative code. `formatOf` is asked once the
// pack is found; input of no known format is taken as 16-bit samples.
int encodeAacPcm(aac_encoder_pack* pack, const void* pcm, uint32_t pcmBytes, void* out,
                 uint32_t capacity, const PcmFormatLookup& formatOf);

}  // namespace host::support
