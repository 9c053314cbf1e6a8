#include "support/gpio_pins.h"

#include <cerrno>

namespace host::support {
namespace {

bool isLevel(int value) { return value == 0 || value == 1; }

}  // namespace

GpioPins::Pin* GpioPins::find(int gpio, int bank) {
    if (bank < 0 || bank >= kBanks || gpio < 0 || gpio >= kPinsPerBank) return nullptr;
    return &mPins[bank * kPinsPerBank + gpio];
}

int GpioPins::init(int gpio, int bank, int direction, int value) {
    std::lock_guard<std::mutex> lock(mMutex);
    Pin* pin = find(gpio, bank);
    if (!pin) return -ENODEV;
    if (pin->initialised) return -EBUSY;
    if (direction != kInput && direction != kOutput) return -EINVAL;
    if (direction == kOutput && !isLevel(value)) return -EINVAL;
    pin->initialised = true;
    pin->direction = direction;
    pin->output = direction == kOutput ? value : 0;
    return 0;
}

int GpioPins::deinit(int gpio, int bank) {
    std::lock_guard<std::mutex> lock(mMutex);
    Pin* pin = find(gpio, bank);
    if (!pin) return -ENODEV;
    if (!pin->initialised) return -EINVAL;
    pin->initialised = false;
    return 0;
}

int GpioPins::get(int gpio, int bank) {
    std::lock_guard<std::mutex> lock(mMutex);
    Pin* pin = find(gpio, bank);
    if (!pin) return -ENODEV;
    if (!pin->initialised) return -EINVAL;
    return pin->level();
}

int GpioPins::set(int gpio, int bank, int value) {
    std::lock_guard<std::mutex> lock(mMutex);
    Pin* pin = find(gpio, bank);
    if (!pin) return -ENODEV;
    if (!pin->initialised) return -EINVAL;
    if (pin->direction != kOutput) return -EPERM;
    if (!isLevel(value)) return -EINVAL;
    pin->output = value;
    return 0;
}

std::optional<GpioPins::Pin> GpioPins::pin(int gpio, int bank) {
    std::lock_guard<std::mutex> lock(mMutex);
    Pin* pin = find(gpio, bank);
    if (!pin) return std::nullopt;
    return *pin;
}

int GpioPins::drive(int gpio, int bank, int level) {
    std::lock_guard<std::mutex> lock(mMutex);
    Pin* pin = find(gpio, bank);
    if (!pin) return -ENODEV;
    if (!isLevel(level)) return -EINVAL;
    pin->driven = level;
    return 0;
}

void GpioPins::reset() {
    std::lock_guard<std::mutex> lock(mMutex);
    mPins.fill(Pin{});
}

}  // namespace host::support
