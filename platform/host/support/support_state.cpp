// The support library's process-wide state and its reset.
#include "host_state.h"
#include "support/aac_packs.h"
#include "support/audio_volumes.h"
#include "support/gpio_pins.h"
#include "support/i2c_devices.h"
#include "support/image_settings.h"
#include "support/osd_images.h"
#include "support/packs.h"

namespace host::support {

// They outlive every static destructor, so late calls still find them.
OsdPacks& osdPacks() {
    static OsdPacks* packs = new OsdPacks;
    return *packs;
}

MaskPacks& maskPacks() {
    static MaskPacks* packs = new MaskPacks;
    return *packs;
}

AacPacks& aacPacks() {
    static AacPacks* packs = new AacPacks(kMaxAacPacks);
    return *packs;
}

OsdImages& osdImages() {
    static OsdImages* images = new OsdImages;
    return *images;
}

GpioPins& gpioPins() {
    static GpioPins* pins = new GpioPins;
    return *pins;
}

I2cDevices& i2cDevices() {
    static I2cDevices* devices = new I2cDevices;
    return *devices;
}

}  // namespace host::support

namespace hostctl {

void resetSupport() {
    host::support::resetImageSettings();
    host::support::osdPacks().reset();
    host::support::maskPacks().reset();
    host::support::aacPacks().reset();
    // Images go too; the handles callers still hold are refused from now on.
    host::support::osdImages().reset();
    host::support::resetAudioVolumes();
    host::support::gpioPins().reset();
    host::support::i2cDevices().reset();
}

int liveOsdPacks() { return static_cast<int>(host::support::osdPacks().size()); }
int liveMaskPacks() { return static_cast<int>(host::support::maskPacks().size()); }
int liveOsdImages() { return static_cast<int>(host::support::osdImages().size()); }

}  // namespace hostctl
