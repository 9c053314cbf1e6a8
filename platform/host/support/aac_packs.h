// The AAC encoder packs the support library keeps. A pack's object is shared: a call
// takes its own reference under the registry's lock and encodes outside it, so a
// destroy or reset meanwhile frees the object only once that call is done.
#pragma once

#include <cstddef>
#include <memory>

#include "camera_support.h"
#include "support/pack_registry.h"

namespace host::support {

// Defined where the AAC calls are, and only where the host has libavcodec.
class AacPack;

constexpr std::size_t kMaxAacPacks = 16;

using AacPacks = PackRegistry<aac_encoder_pack, std::shared_ptr<AacPack>>;

AacPacks& aacPacks();

}  // namespace host::support
