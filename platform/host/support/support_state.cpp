// The support library's process-wide state and its reset.
#include "host_state.h"
#include "support/image_settings.h"
#include "support/packs.h"

namespace host::support {

// Both outlive every static destructor, so late calls still find them.
OsdPacks& osdPacks() {
    static OsdPacks* packs = new OsdPacks;
    return *packs;
}

MaskPacks& maskPacks() {
    static MaskPacks* packs = new MaskPacks;
    return *packs;
}

}  // namespace host::support

namespace hostctl {

void resetSupport() {
    host::support::resetImageSettings();
    host::support::osdPacks().reset();
    host::support::maskPacks().reset();
}

}  // namespace hostctl
