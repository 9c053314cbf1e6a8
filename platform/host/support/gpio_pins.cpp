#include "support/gpio_pins.h"

#include <cerrno>
#include <string>

#include "log/host_log.h"

namespace host::support {
namespace {

bool isLevel(int value) { return value == 0 || value == 1; }

// The record of `call` refused for pin `gpio` of `bank`; returns `code`.
int refuse(const char* call, int gpio, int bank, int code, const std::string& why) {
    return log::refuse(code, "%s: pin %d of bank %d refused: %s", call, gpio, bank, why.c_str());
}

std::string levelRefused(int level) { return "level " + std::to_string(level) + ", not 0 or 1"; }

}  // namespace

GpioPins::Pin* GpioPins::find(int gpio, int bank) {
    if (bank < 0 || bank >= kBanks || gpio < 0 || gpio >= kPinsPerBank) return nullptr;
    return &mPins[bank * kPinsPerBank + gpio];
}

int GpioPins::noSuchPin(const char* call, int gpio, int bank) {
    return refuse(call, gpio, bank, -ENODEV,
                  "the board has pins 0 to " + std::to_string(kPinsPerBank - 1) +
                      " in banks 0 to " + std::to_string(kBanks - 1));
}

int GpioPins::init(int gpio, int bank, int direction, int value) {
    constexpr char kCall[] = "init_gpio";
    std::lock_guard<std::mutex> lock(mMutex);
    Pin* pin = find(gpio, bank);
    if (!pin) return noSuchPin(kCall, gpio, bank);
    if (pin->initialised) return refuse(kCall, gpio, bank, -EBUSY, "initialised already");
    if (direction != kInput && direction != kOutput)
        return refuse(kCall, gpio, bank, -EINVAL,
                      "direction " + std::to_string(direction) + ", not 0 (input) or 1 (output)");
    if (direction == kOutput && !isLevel(value))
        return refuse(kCall, gpio, bank, -EINVAL, levelRefused(value));
    pin->initialised = true;
    pin->direction = direction;
    pin->output = direction == kOutput ? value : 0;
    return 0;
}

int GpioPins::deinit(int gpio, int bank) {
    constexpr char kCall[] = "deinit_gpio";
    std::lock_guard<std::mutex> lock(mMutex);
    Pin* pin = find(gpio, bank);
    if (!pin) return noSuchPin(kCall, gpio, bank);
    if (!pin->initialised) return refuse(kCall, gpio, bank, -EINVAL, "not initialised");
    pin->initialised = false;
    return 0;
}

int GpioPins::get(int gpio, int bank) {
    constexpr char kCall[] = "get_gpio_value";
    std::lock_guard<std::mutex> lock(mMutex);
    Pin* pin = find(gpio, bank);
    if (!pin) return noSuchPin(kCall, gpio, bank);
    if (!pin->initialised) return refuse(kCall, gpio, bank, -EINVAL, "not initialised");
    return pin->level();
}

int GpioPins::set(int gpio, int bank, int value) {
    constexpr char kCall[] = "set_gpio_value";
    std::lock_guard<std::mutex> lock(mMutex);
    Pin* pin = find(gpio, bank);
    if (!pin) return noSuchPin(kCall, gpio, bank);
    if (!pin->initialised) return refuse(kCall, gpio, bank, -EINVAL, "not initialised");
    if (pin->direction != kOutput) return refuse(kCall, gpio, bank, -EPERM, "it is an input");
    if (!isLevel(value)) return refuse(kCall, gpio, bank, -EINVAL, levelRefused(value));
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
    constexpr char kCall[] = "hostctl::driveGpioInput";
    std::lock_guard<std::mutex> lock(mMutex);
    Pin* pin = find(gpio, bank);
    if (!pin) return noSuchPin(kCall, gpio, bank);
    if (!isLevel(level)) return refuse(kCall, gpio, bank, -EINVAL, levelRefused(level));
    pin->driven = level;
    return 0;
}

void GpioPins::reset() {
    std::lock_guard<std::mutex> lock(mMutex);
    mPins.fill(Pin{});
}

}  // namespace host::support
