// The in-memory board's GPIO pins: banks 0-3 of pins 0-31 each. A pin is used between
// init and deinit as an input (direction 0), which reads the level driven onto it from
// outside (hostctl::driveGpioInput, 0 until driven), or as an output (direction 1),
// which reads back the level last set. Levels are 0 or 1.
//
// Codes: -ENODEV for a pin the board does not have; -EINVAL for a pin not initialised,
// a direction or level other than 0 or 1; -EBUSY for a second init; -EPERM for setting
// an input. Each refusal comes with a record naming the call, the pin and its bank.
#pragma once

#include <array>
#include <mutex>
#include <optional>

namespace host::support {

class GpioPins {
public:
    static constexpr int kBanks = 4;
    static constexpr int kPinsPerBank = 32;

    enum Direction { kInput = 0, kOutput = 1 };

    struct Pin {
        bool initialised;
        int direction;
        int output;  // the level set while an output
        int driven;  // the level the outside world drives onto it

        // What the pin reads.
        int level() const { return direction == kOutput ? output : driven; }
    };

    // `value` is an output's initial level; an input ignores it.
    int init(int gpio, int bank, int direction, int value);
    int deinit(int gpio, int bank);
    // The level the pin reads, or a code.
    int get(int gpio, int bank);
    int set(int gpio, int bank, int value);

    // For the control interface: the pin as it stands, none for a pin not on the board.
    std::optional<Pin> pin(int gpio, int bank);
    int drive(int gpio, int bank, int level);
    // Every pin uninitialised, nothing driven.
    void reset();

private:
    Pin* find(int gpio, int bank);
    // The refusal of `call` for a pin the board does not have.
    static int noSuchPin(const char* call, int gpio, int bank);

    std::mutex mMutex;
    std::array<Pin, kBanks * kPinsPerBank> mPins{};
};

GpioPins& gpioPins();

}  // namespace host::support
