// The support library's process-wide state and its reset.
#include "support/support_state.h"

#include "control/host_control.h"
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

void resetState() {
    resetImageSettings();
    osdPacks().reset();
    maskPacks().reset();
    aacPacks().reset();
    // Images go too; the handles callers still hold are refused from now on.
    osdImages().reset();
    resetAudioVolumes();
    gpioPins().reset();
    i2cDevices().reset();
}

}  // namespace host::support

namespace hostctl {

int liveOsdPacks() { return static_cast<int>(host::support::osdPacks().size()); }
int liveMaskPacks() { return static_cast<int>(host::support::maskPacks().size()); }
int liveOsdImages() { return static_cast<int>(host::support::osdImages().size()); }

}  // namespace hostctl
