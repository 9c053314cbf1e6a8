// The host's in-memory board beyond what the library reaches: a pin's deinit, the volume
// kept while muted, and for I2C two-byte register addresses, other buses and the
// transfers refused.
#include <cerrno>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "camera_support.h"
#include "host_control.h"

namespace {

class HostBoard : public ::testing::Test {
protected:
    void SetUp() override { hostctl::reset(); }
    void TearDown() override { hostctl::reset(); }
};

// The driven level is the outside world's and outlives the pin's setup; a muted codec
// keeps its volume for the unmute.
TEST_F(HostBoard, DeinitForgetsThePinAndMutingKeepsTheVolume) {
    ASSERT_EQ(hostctl::driveGpioInput(2, 0, 1), 0);
    EXPECT_EQ(init_gpio(2, 0, 0, 0), 0);
    EXPECT_EQ(get_gpio_value(2, 0), 1);
    EXPECT_EQ(deinit_gpio(2, 0), 0);
    EXPECT_EQ(get_gpio_value(2, 0), -EINVAL);
    EXPECT_EQ(deinit_gpio(2, 0), -EINVAL);
    const struct {
        int (*set)(int);
        int (*mute)(int);
        int (*get)(int*);
    } directions[] = {{set_playback_volume, enable_playback_mute, get_playback_volume},
                      {set_capture_volume, enable_capture_mute, get_capture_volume}};
    for (const auto& d : directions) {
        int volume = -1;
        EXPECT_EQ(d.set(30), 0);
        EXPECT_EQ(d.mute(1), 0);
        EXPECT_EQ(d.get(&volume), 0);
        EXPECT_EQ(volume, 30);
    }
}

TEST_F(HostBoard, TwoByteAddressesReachTheWholeMapOfAnyBus) {
    ASSERT_EQ(hostctl::addI2cDevice(1, 0x1a, 0x200), 0);
    unsigned char data[] = {7, 8};
    EXPECT_EQ(bulk_write_i2c(0, 0x1a, 2, 0x01, 0x80, 2, data), -ENXIO) << "bus 0 has no device";
    EXPECT_EQ(bulk_write_i2c(1, 0x1a, 2, 0x01, 0x80, 2, data), 0);
    std::vector<uint8_t> map = hostctl::i2cRegisters(1, 0x1a);
    ASSERT_EQ(map.size(), 0x200u);
    EXPECT_EQ(map[0x180], 7);
    EXPECT_EQ(map[0x181], 8);

    // The pointer follows every transfer: a direct read continues after the bulk write.
    ASSERT_EQ(hostctl::setI2cRegisters(1, 0x1a, 0x182, {9}), 0);
    unsigned char read[2] = {};
    EXPECT_EQ(read_i2c(1, 0x1a, 2, 1, read), 0);
    EXPECT_EQ(read[0], 9);

    // A direct write's leading bytes are the address, most significant first.
    unsigned char write[] = {0x01, 0xff, 0x42};
    EXPECT_EQ(write_i2c(1, 0x1a, 2, 3, write), 0);
    EXPECT_EQ(hostctl::i2cRegisters(1, 0x1a)[0x1ff], 0x42);

    // With one address byte the second register argument plays no part.
    EXPECT_EQ(set_bits_i2c(1, 0x1a, 1, 0x10, 0x77, 0x81), 0);
    EXPECT_EQ(hostctl::i2cRegisters(1, 0x1a)[0x10], 0x81);
}

TEST_F(HostBoard, RefusedTransfersMoveNothing) {
    ASSERT_EQ(hostctl::addI2cDevice(0, 0x20, 8), 0);
    EXPECT_EQ(hostctl::addI2cDevice(0, 0x20, 8), -EEXIST);

    unsigned char buffer[4] = {1, 2, 3, 4};
    unsigned char fromSix[] = {6, 1, 2, 3};
    unsigned char atEight[] = {8};
    const struct {
        const char* what;
        int result;
        int code;
    } cases[] = {
        {"three address bytes", read_i2c(0, 0x20, 3, 1, buffer), -EINVAL},
        {"null buffer", write_i2c(0, 0x20, 1, 2, nullptr), -EINVAL},
        {"length 0", bulk_write_i2c(0, 0x20, 1, 0, 0, 0, buffer), -EINVAL},
        {"write shorter than its address", write_i2c(0, 0x20, 2, 1, buffer), -EINVAL},
        {"register byte above 255", update_bits_i2c(0, 0x20, 1, 256, 0, 1, 1), -EINVAL},
        {"second register byte above 255", clear_bits_i2c(0, 0x20, 2, 0, 256, 1), -EINVAL},
        {"no such device", set_bits_i2c(0, 0x21, 1, 0, 0, 1), -ENXIO},
        {"write past the map", bulk_write_i2c(0, 0x20, 1, 6, 0, 4, buffer), -ERANGE},
        {"direct write past the map", write_i2c(0, 0x20, 1, 4, fromSix), -ERANGE},
        {"pointer beyond the map", write_i2c(0, 0x20, 1, 1, atEight), -ERANGE},
        {"bits past the map", set_bits_i2c(0, 0x20, 1, 8, 0, 1), -ERANGE},
    };
    for (const auto& c : cases) EXPECT_EQ(c.result, c.code) << c.what;
    EXPECT_EQ(hostctl::i2cRegisters(0, 0x20), std::vector<uint8_t>(8, 0));

    // The pointer stays where the last good transfer left it.
    ASSERT_EQ(hostctl::setI2cRegisters(0, 0x20, 0, {0x5a}), 0);
    EXPECT_EQ(read_i2c(0, 0x20, 1, 1, buffer), 0);
    EXPECT_EQ(buffer[0], 0x5a);
    EXPECT_EQ(hostctl::setI2cRegisters(0, 0x20, 7, {1, 2}), -ERANGE);
    EXPECT_EQ(hostctl::setI2cRegisters(0, 0x21, 0, {1}), -ENXIO);

    hostctl::reset();
    EXPECT_TRUE(hostctl::i2cRegisters(0, 0x20).empty());
    EXPECT_EQ(read_i2c(0, 0x20, 1, 1, buffer), -ENXIO);
}

}  // namespace
