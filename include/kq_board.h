// libkq_api board helpers: GPIO pins, I2C register access and the speaker and
// microphone volume. C++ linkage, global namespace. All results are signed 32-bit:
// negative codes (and, for I2C, any non-zero code) report failures.
#pragma once

#include "kq_export.h"

enum i2c_action_type {
    I2C_ACTION_READ = 0,
    I2C_ACTION_WRITE = 1,
    I2C_ACTION_SET_BITS = 2,
    I2C_ACTION_CLEAR_BITS = 3,
    I2C_ACTION_UPDATE_BITS = 4
};

KQ_EXPORT int gpio_init(int gpio, int direction, int value);
KQ_EXPORT int gpio_deinit(int gpio);
KQ_EXPORT int gpio_get_value(int gpio);
KQ_EXPORT int gpio_set_value(int gpio, int value);

// Argument checks: -21 for a length or size of 0 or less or a refused action,
// -10 for a null buffer, -69 when the buffer is smaller than the length.
KQ_EXPORT int i2c_act_direct(i2c_action_type action, int device, int length,
                             unsigned char* buffer, int size);
KQ_EXPORT int i2c_act_register(i2c_action_type action, int device, int reg1, int reg2,
                               int length, unsigned char* buffer, int size);
KQ_EXPORT int i2c_act_reg_bits(i2c_action_type action, int device, int reg1, int reg2,
                               unsigned char bits, unsigned char operand);

// A volume of 0 mutes; while muted the getters answer 0.
KQ_EXPORT int get_aud_out_volume();
KQ_EXPORT int set_aud_out_volume(int volume);
KQ_EXPORT int get_aud_in_volume();
KQ_EXPORT int set_aud_in_volume(int volume);
