// The control interface's view of the in-memory board: pins as they stand, levels driven
// from outside, I2C devices and their registers.
#include <cerrno>

#include "control/host_control.h"
#include "support/gpio_pins.h"
#include "support/i2c_devices.h"

namespace hostctl {

using host::support::gpioPins;
using host::support::i2cDevices;

int gpioPinState(int gpio, int bank, GpioPinState* state) {
    if (!state) return -EINVAL;
    auto pin = gpioPins().pin(gpio, bank);
    if (!pin) return -ENODEV;
    *state = {pin->initialised, pin->direction, pin->level()};
    return 0;
}

int driveGpioInput(int gpio, int bank, int level) { return gpioPins().drive(gpio, bank, level); }

int addI2cDevice(int bus, int device, std::size_t registers) {
    return i2cDevices().add(bus, device, registers);
}

std::vector<uint8_t> i2cRegisters(int bus, int device) {
    return i2cDevices().registers(bus, device).value_or(std::vector<uint8_t>{});
}

int setI2cRegisters(int bus, int device, std::size_t address, const std::vector<uint8_t>& bytes) {
    return i2cDevices().store(bus, device, address, bytes);
}

}  // namespace hostctl
