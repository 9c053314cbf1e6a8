// libkq_api board helpers: GPIO pins, I2C register access and the speaker and
// microphone volume. C++ linkage, global namespace. All results are signed 32-bit.
//
// Each function is a thin wrapper of the platform's support library: it adds fixed
// arguments (GPIO bank 0; I2C bus 0 with one-byte register addresses), the I2C argument
// checks and the volumes' mute rule, logs a failure and returns the code unchanged.
// Nothing here takes a lock: call the functions of one pin, one device or one volume
// from one thread at a time.
#pragma once

#include "kq_export.h"

enum i2c_action_type : int {
    I2C_ACTION_READ = 0,        // i2c_act_direct, i2c_act_register
    I2C_ACTION_WRITE = 1,       // i2c_act_direct, i2c_act_register
    I2C_ACTION_SET_BITS = 2,    // i2c_act_reg_bits: ORs `bits` in
    I2C_ACTION_CLEAR_BITS = 3,  // i2c_act_reg_bits: clears `bits`
    I2C_ACTION_UPDATE_BITS = 4  // i2c_act_reg_bits: `operand` is the mask of the bits
                                // changed, `bits` their new values
};

// GPIO pin `gpio` of bank 0. A negative result is the platform's code and is logged
// as an error; gpio_get_value() otherwise returns the pin's level.
// gpio_init(gpio, direction, value): direction 0 input, 1 output starting at `value`
// (the meaning of the two is the platform's; on the host as given here).
KQ_EXPORT int gpio_init(int gpio, int direction, int value);
KQ_EXPORT int gpio_deinit(int gpio);
KQ_EXPORT int gpio_get_value(int gpio);
KQ_EXPORT int gpio_set_value(int gpio, int value);

// I2C transfers with `device` on bus 0. 0 on success, else a code, logged as a warning:
// -21 for a length or size of 0 or less, -10 for a null buffer, -69 when `size` (the
// buffer's capacity) is smaller than `length`, checked in this order before anything
// is sent; then -21 for an action the function does not take; or the platform's
// non-zero code (a positive one included).
// Direct transfers read or write `length` bytes at the device's register pointer (on
// the host a write's first byte is the register address and moves the pointer).
KQ_EXPORT int i2c_act_direct(i2c_action_type action, int device, int length, unsigned char* buffer,
                             int size);
// Register transfers address register `reg1` (`reg2` is passed on as the platform's
// second register byte).
KQ_EXPORT int i2c_act_register(i2c_action_type action, int device, int reg1, int reg2, int length,
                               unsigned char* buffer, int size);
// Bit operations on one register; no argument checks besides the action (-21).
KQ_EXPORT int i2c_act_reg_bits(i2c_action_type action, int device, int reg1, int reg2,
                               unsigned char bits, unsigned char operand);

// Speaker (out) and microphone (in) volume, on the platform's scale (0-100 on the host).
// Setting 0 mutes, anything else unmutes first; while muted the getters answer 0
// without asking the platform. The setters return the volume given, the getters the
// volume; a negative result is the platform's code, logged as an error. A failed mute
// change leaves the volume as it was but the mute flag changed: after a failed set to 0
// the getter answers 0. These mute flags are the process's own and are apart from a
// PcmSink's.
KQ_EXPORT int get_aud_out_volume();
KQ_EXPORT int set_aud_out_volume(int volume);
KQ_EXPORT int get_aud_in_volume();
KQ_EXPORT int set_aud_in_volume(int volume);
