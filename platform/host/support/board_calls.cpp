// The support library's GPIO and I2C calls on the in-memory board. They work without
// rts_av_init(): pins and buses belong to the board, not to a channel.
#include <algorithm>
#include <string>

#include "camera_support.h"
#include "journal/call_journal.h"
#include "journal/journaled.h"
#include "support/gpio_pins.h"
#include "support/i2c_devices.h"

using host::journaled;
using host::support::gpioPins;
using host::support::i2cDevices;

namespace {

// The journal shows at most this many of the bytes a write sends.
constexpr int kJournaledBytes = 16;

// A write's bytes as numbers, "{16, 170}", so that a test reads what went out; the
// buffer's address when there are none to read.
std::string sentBytes(const unsigned char* buffer, int length) {
    if (!buffer || length <= 0) return hostctl::arg(buffer);
    std::string text = "{";
    for (int i = 0; i < std::min(length, kJournaledBytes); ++i)
        text += (i ? ", " : "") + std::to_string(buffer[i]);
    return text + (length > kJournaledBytes ? ", ...}" : "}");
}

}  // namespace

extern "C" {

int init_gpio(int gpio, int bank, int direction, int value) {
    return journaled(
        __func__, [&] { return hostctl::args(gpio, bank, direction, value); },
        [=] { return gpioPins().init(gpio, bank, direction, value); });
}

int deinit_gpio(int gpio, int bank) {
    return journaled(
        __func__, [&] { return hostctl::args(gpio, bank); },
        [=] { return gpioPins().deinit(gpio, bank); });
}

int get_gpio_value(int gpio, int bank) {
    return journaled(
        __func__, [&] { return hostctl::args(gpio, bank); },
        [=] { return gpioPins().get(gpio, bank); });
}

int set_gpio_value(int gpio, int bank, int value) {
    return journaled(
        __func__, [&] { return hostctl::args(gpio, bank, value); },
        [=] { return gpioPins().set(gpio, bank, value); });
}

int read_i2c(int bus, int device, int addr_bytes, int length, unsigned char* buffer) {
    return journaled(
        __func__, [&] { return hostctl::args(bus, device, addr_bytes, length, buffer); },
        [=] { return i2cDevices().readDirect(bus, device, addr_bytes, length, buffer); });
}

int write_i2c(int bus, int device, int addr_bytes, int length, unsigned char* buffer) {
    return journaled(
        __func__,
        [&] {
            return hostctl::args(bus, device, addr_bytes, length) + ", " +
                   sentBytes(buffer, length);
        },
        [=] { return i2cDevices().writeDirect(bus, device, addr_bytes, length, buffer); });
}

int bulk_read_i2c(int bus, int device, int addr_bytes, int reg1, int reg2, int length,
                  unsigned char* buffer) {
    return journaled(
        __func__,
        [&] { return hostctl::args(bus, device, addr_bytes, reg1, reg2, length, buffer); },
        [=] {
            return i2cDevices().readRegisters(bus, device, addr_bytes, reg1, reg2, length, buffer);
        });
}

int bulk_write_i2c(int bus, int device, int addr_bytes, int reg1, int reg2, int length,
                   unsigned char* buffer) {
    return journaled(
        __func__,
        [&] {
            return hostctl::args(bus, device, addr_bytes, reg1, reg2, length) + ", " +
                   sentBytes(buffer, length);
        },
        [=] {
            return i2cDevices().writeRegisters(bus, device, addr_bytes, reg1, reg2, length, buffer);
        });
}

int set_bits_i2c(int bus, int device, int addr_bytes, int reg1, int reg2, unsigned char bits) {
    return journaled(
        __func__, [&] { return hostctl::args(bus, device, addr_bytes, reg1, reg2, bits); },
        [=] { return i2cDevices().updateBits(bus, device, addr_bytes, reg1, reg2, bits, bits); });
}

int clear_bits_i2c(int bus, int device, int addr_bytes, int reg1, int reg2, unsigned char bits) {
    return journaled(
        __func__, [&] { return hostctl::args(bus, device, addr_bytes, reg1, reg2, bits); },
        [=] { return i2cDevices().updateBits(bus, device, addr_bytes, reg1, reg2, bits, 0); });
}

int update_bits_i2c(int bus, int device, int addr_bytes, int reg1, int reg2, unsigned char mask,
                    unsigned char value) {
    return journaled(
        __func__, [&] { return hostctl::args(bus, device, addr_bytes, reg1, reg2, mask, value); },
        [=] { return i2cDevices().updateBits(bus, device, addr_bytes, reg1, reg2, mask, value); });
}

}  // extern "C"
