// The board's GPIO pins and I2C register access: thin wrappers over the support library
// that add its fixed arguments, check the I2C transfers' arguments and log failures.
#include "camera_support.h"
#include "kq_board.h"
#include "rts_log.h"

namespace kq {
namespace {

// Every pin is in the support library's bank 0; every device is on I2C bus 0 and takes
// one-byte register addresses.
constexpr int kGpioBank = 0;
constexpr int kI2cBus = 0;
constexpr int kI2cAddressBytes = 1;

// The I2C argument checks' codes, returned as they are.
constexpr int kI2cBadArgument = -21;  // a length or size of 0 or less, or a refused action
constexpr int kI2cNoBuffer = -10;
constexpr int kI2cBufferTooSmall = -69;

// The checks of a transfer's length and buffer, in the order their codes win.
int checkTransfer(int length, const unsigned char* buffer, int size) {
    if (length <= 0) return kI2cBadArgument;
    if (size <= 0) return kI2cBadArgument;
    if (!buffer) return kI2cNoBuffer;
    if (size < length) return kI2cBufferTooSmall;
    return 0;
}

int transferDirect(i2c_action_type action, int device, int length, unsigned char* buffer) {
    switch (action) {
        case I2C_ACTION_READ: return read_i2c(kI2cBus, device, kI2cAddressBytes, length, buffer);
        case I2C_ACTION_WRITE: return write_i2c(kI2cBus, device, kI2cAddressBytes, length, buffer);
        default: return kI2cBadArgument;
    }
}

int transferRegister(i2c_action_type action, int device, int reg1, int reg2, int length,
                     unsigned char* buffer) {
    switch (action) {
        case I2C_ACTION_READ:
            return bulk_read_i2c(kI2cBus, device, kI2cAddressBytes, reg1, reg2, length, buffer);
        case I2C_ACTION_WRITE:
            return bulk_write_i2c(kI2cBus, device, kI2cAddressBytes, reg1, reg2, length, buffer);
        default: return kI2cBadArgument;
    }
}

int changeBits(i2c_action_type action, int device, int reg1, int reg2, unsigned char bits,
               unsigned char operand) {
    switch (action) {
        case I2C_ACTION_SET_BITS:
            return set_bits_i2c(kI2cBus, device, kI2cAddressBytes, reg1, reg2, bits);
        case I2C_ACTION_CLEAR_BITS:
            return clear_bits_i2c(kI2cBus, device, kI2cAddressBytes, reg1, reg2, bits);
        case I2C_ACTION_UPDATE_BITS:
            // The support call takes the second operand before the bit pattern.
            return update_bits_i2c(kI2cBus, device, kI2cAddressBytes, reg1, reg2, operand, bits);
        default: return kI2cBadArgument;
    }
}

}  // namespace
}  // namespace kq

using namespace kq;

int gpio_init(int gpio, int direction, int value) {
    int r = init_gpio(gpio, kGpioBank, direction, value);
    if (r < 0) KQ_ERROR("init gpio fail!");
    return r;
}

int gpio_deinit(int gpio) {
    int r = deinit_gpio(gpio, kGpioBank);
    if (r < 0) KQ_ERROR("deinit gpio fail!");
    return r;
}

int gpio_get_value(int gpio) {
    int r = get_gpio_value(gpio, kGpioBank);
    if (r < 0) KQ_ERROR("get gpio value fail!");
    return r;
}

int gpio_set_value(int gpio, int value) {
    int r = set_gpio_value(gpio, kGpioBank, value);
    if (r < 0) KQ_ERROR("set gpio value fail!");
    return r;
}

// I2C failures are any non-zero code, the checks' own included.

int i2c_act_direct(i2c_action_type action, int device, int length, unsigned char* buffer,
                   int size) {
    int r = checkTransfer(length, buffer, size);
    if (r == 0) r = transferDirect(action, device, length, buffer);
    if (r != 0) KQ_PLATFORM_WARNING("i2c act direct fail!, ret = %d, %s", r);
    return r;
}

int i2c_act_register(i2c_action_type action, int device, int reg1, int reg2, int length,
                     unsigned char* buffer, int size) {
    int r = checkTransfer(length, buffer, size);
    if (r == 0) r = transferRegister(action, device, reg1, reg2, length, buffer);
    if (r != 0) KQ_PLATFORM_WARNING("i2c act register fail!, ret = %d, %s", r);
    return r;
}

int i2c_act_reg_bits(i2c_action_type action, int device, int reg1, int reg2, unsigned char bits,
                     unsigned char operand) {
    int r = changeBits(action, device, reg1, reg2, bits, operand);
    if (r != 0) KQ_PLATFORM_WARNING("i2c act reg bits fail!, ret = %d, %s", r);
    return r;
}
