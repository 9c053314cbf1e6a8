// The board helpers against the host's in-memory board: GPIO pins, I2C transfers with
// their argument checks, and the speaker and microphone volumes with their mute flags.
#include <cerrno>
#include <functional>
#include <vector>

#include "camera_support.h"
#include "kq_board.h"
#include "library_fixture.h"
#include "log_entry.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

constexpr int kDevice = 0x50;
// Actions no function takes, inside and outside the named values' range.
constexpr auto kUnknownAction = static_cast<i2c_action_type>(7);
constexpr auto kNegativeAction = static_cast<i2c_action_type>(-1);
constexpr unsigned int kWarning = 3;

class BoardTest : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        // The mute flags outlive the host's reset: every test starts unmuted.
        ASSERT_EQ(set_aud_out_volume(100), 100);
        ASSERT_EQ(set_aud_in_volume(100), 100);
        forgetHistory();
    }

    // The only record logged since the history was last forgotten is this warning; the
    // history is then forgotten.
    static void expectWarning(const std::string& text) {
        const std::vector<hostctl::LogRecord> records = libraryRecords();
        forgetHistory();
        ASSERT_EQ(records.size(), 1u);
        EXPECT_EQ(records[0].text, text);
        EXPECT_EQ(records[0].level, kWarning);
        EXPECT_TRUE(records[0].file.empty()) << "warnings carry no location";
    }

    static std::vector<uint8_t> registers(std::size_t from, std::size_t count) {
        std::vector<uint8_t> all = hostctl::i2cRegisters(0, kDevice);
        if (all.size() < from + count) return {};
        return {all.begin() + from, all.begin() + from + count};
    }
};

TEST_F(BoardTest, GpioPinsAreDrivenThroughBankZeroAndTheirLevelsReturnedUnlogged) {
    EXPECT_EQ(gpio_init(7, 1, 1), 0);
    EXPECT_EQ(gpio_get_value(7), 1);
    EXPECT_EQ(gpio_set_value(7, 0), 0);
    EXPECT_EQ(gpio_get_value(7), 0);
    hostctl::GpioPinState pin{};
    ASSERT_EQ(hostctl::gpioPinState(7, 0, &pin), 0);
    EXPECT_TRUE(pin.initialised);
    EXPECT_EQ(pin.direction, 1);
    EXPECT_EQ(pin.level, 0);

    // An input reads what the board drives onto it.
    EXPECT_EQ(gpio_init(8, 0, 0), 0);
    ASSERT_EQ(hostctl::driveGpioInput(8, 0, 1), 0);
    EXPECT_EQ(gpio_get_value(8), 1);
    EXPECT_EQ(gpio_deinit(8), 0);

    EXPECT_THAT(hostctl::callTexts(),
                ElementsAre("init_gpio(7, 0, 1, 1)", "get_gpio_value(7, 0)",
                            "set_gpio_value(7, 0, 0)", "get_gpio_value(7, 0)",
                            "init_gpio(8, 0, 0, 0)", "get_gpio_value(8, 0)", "deinit_gpio(8, 0)"));
    EXPECT_THAT(logTexts(), IsEmpty());
}

// A transfer's arguments are checked in their order before its action: the length, the
// size, the buffer, then the sizes' comparison; each function then refuses the actions
// it does not take. Every refusal is a warning with its code, and nothing is transferred.
TEST_F(BoardTest, I2cArgumentsAreCheckedInTheirOrderBeforeTheAction) {
    unsigned char buffer[4] = {};
    const struct {
        int length;
        unsigned char* buffer;
        int size;
        int code;
    } transfers[] = {
        {0, nullptr, 0, -21}, {-1, buffer, 4, -21}, {4, nullptr, 0, -21}, {4, nullptr, -3, -21},
        {4, nullptr, 4, -10}, {4, nullptr, 2, -10}, {4, buffer, 2, -69},
    };
    const auto expectRefused = [](const char* function, int result, int code) {
        EXPECT_EQ(result, code);
        expectWarning(std::string("i2c act ") + function + " fail!, ret = " + std::to_string(code) +
                      ", " + errno2str(code));
    };
    for (i2c_action_type action : {I2C_ACTION_READ, I2C_ACTION_WRITE, I2C_ACTION_SET_BITS}) {
        for (const auto& t : transfers) {
            SCOPED_TRACE(testing::Message()
                         << "action " << action << ", length " << t.length << ", size " << t.size);
            expectRefused("direct", i2c_act_direct(action, kDevice, t.length, t.buffer, t.size),
                          t.code);
            expectRefused("register",
                          i2c_act_register(action, kDevice, 1, 0, t.length, t.buffer, t.size),
                          t.code);
        }
    }
    for (i2c_action_type action : {I2C_ACTION_SET_BITS, I2C_ACTION_CLEAR_BITS,
                                   I2C_ACTION_UPDATE_BITS, kUnknownAction, kNegativeAction}) {
        SCOPED_TRACE(action);
        expectRefused("direct", i2c_act_direct(action, kDevice, 2, buffer, 2), -21);
        expectRefused("register", i2c_act_register(action, kDevice, 1, 0, 2, buffer, 2), -21);
    }
    for (i2c_action_type action :
         {I2C_ACTION_READ, I2C_ACTION_WRITE, kUnknownAction, kNegativeAction}) {
        SCOPED_TRACE(action);
        expectRefused("reg bits", i2c_act_reg_bits(action, kDevice, 1, 0, 0xff, 0xff), -21);
    }
    EXPECT_THAT(callNames(), IsEmpty());
}

TEST_F(BoardTest, RegisterWritesReadBackThroughDirectAndRegisterReads) {
    ASSERT_EQ(hostctl::addI2cDevice(0, kDevice, 64), 0);
    unsigned char written[] = {0x11, 0x22, 0x33};
    EXPECT_EQ(i2c_act_register(I2C_ACTION_WRITE, kDevice, 0x10, 0, 3, written, 3), 0);
    EXPECT_EQ(registers(0x10, 3), std::vector<uint8_t>({0x11, 0x22, 0x33}));

    // A direct write of the register address alone points the device at it, and a
    // direct read goes on from there; a buffer larger than the length is fine.
    unsigned char address[] = {0x11};
    EXPECT_EQ(i2c_act_direct(I2C_ACTION_WRITE, kDevice, 1, address, 1), 0);
    unsigned char read[4] = {0xee, 0xee, 0xee, 0xee};
    EXPECT_EQ(i2c_act_direct(I2C_ACTION_READ, kDevice, 2, read, sizeof read), 0);
    EXPECT_THAT(read, ElementsAre(0x22, 0x33, 0xee, 0xee));

    EXPECT_EQ(i2c_act_register(I2C_ACTION_READ, kDevice, 0x10, 0, 3, read, sizeof read), 0);
    EXPECT_THAT(read, ElementsAre(0x11, 0x22, 0x33, 0xee));

    std::vector<hostctl::JournalEntry> calls = hostctl::journal();
    ASSERT_EQ(calls.size(), 4u);
    EXPECT_EQ(calls[0].text(), "bulk_write_i2c(0, 80, 1, 16, 0, 3, {17, 34, 51}) = 0");
    EXPECT_EQ(calls[1].text(), "write_i2c(0, 80, 1, 1, {17}) = 0");
    EXPECT_EQ(calls[2].function, "read_i2c");
    EXPECT_THAT(calls[2].args, StartsWith("0, 80, 1, 2, "));
    EXPECT_EQ(calls[3].function, "bulk_read_i2c");
    EXPECT_THAT(calls[3].args, StartsWith("0, 80, 1, 16, 0, 3, "));
    EXPECT_THAT(logTexts(), IsEmpty());
}

TEST_F(BoardTest, BitActionsChangeOnlyTheirBitsAndUpdateTakesTheOperandAsMask) {
    ASSERT_EQ(hostctl::addI2cDevice(0, kDevice, 64), 0);
    ASSERT_EQ(hostctl::setI2cRegisters(0, kDevice, 0x20, {0x55}), 0);
    EXPECT_EQ(i2c_act_reg_bits(I2C_ACTION_SET_BITS, kDevice, 0x20, 0, 0x82, 0x00), 0);
    EXPECT_EQ(registers(0x20, 1), std::vector<uint8_t>{0xd7});
    EXPECT_EQ(i2c_act_reg_bits(I2C_ACTION_CLEAR_BITS, kDevice, 0x20, 0, 0x05, 0xff), 0);
    EXPECT_EQ(registers(0x20, 1), std::vector<uint8_t>{0xd2});

    // The support call's mask comes first: here the operand 0xf0, with the bits 0x0f
    // as the new value, clears the high nibble. Taken the other way round it would
    // have kept 0xd0.
    EXPECT_EQ(i2c_act_reg_bits(I2C_ACTION_UPDATE_BITS, kDevice, 0x20, 0, 0x0f, 0xf0), 0);
    EXPECT_EQ(registers(0x20, 1), std::vector<uint8_t>{0x02});
    EXPECT_THAT(hostctl::callTexts(), ElementsAre("set_bits_i2c(0, 80, 1, 32, 0, 130)",
                                                  "clear_bits_i2c(0, 80, 1, 32, 0, 5)",
                                                  "update_bits_i2c(0, 80, 1, 32, 0, 240, 15)"));
    EXPECT_THAT(logTexts(), IsEmpty());
}

// One direction of the volume functions, with the support library calls they make.
struct AudioDirection {
    const char* name;
    int (*set)(int);
    int (*get)();
    std::string mute, setVolume, getVolume;
};

const AudioDirection kSpeaker{"speaker",
                              set_aud_out_volume,
                              get_aud_out_volume,
                              "enable_playback_mute",
                              "set_playback_volume",
                              "get_playback_volume"};
const AudioDirection kMicrophone{"microphone",          set_aud_in_volume,    get_aud_in_volume,
                                 "enable_capture_mute", "set_capture_volume", "get_capture_volume"};

// A volume of 0 mutes its direction alone, which then answers 0 without asking, until
// the next non-zero volume. A failed mute still raises the flag.
TEST_F(BoardTest, VolumeZeroMutesItsDirectionAloneUntilTheNextNonZeroVolume) {
    for (const auto& [d, other] :
         {std::pair{kSpeaker, kMicrophone}, std::pair{kMicrophone, kSpeaker}}) {
        SCOPED_TRACE(d.name);
        EXPECT_EQ(d.set(0), 0);
        EXPECT_THAT(hostctl::callTexts(), ElementsAre(d.mute + "(1)", d.setVolume + "(0)"));
        forgetHistory();
        EXPECT_EQ(d.get(), 0);
        EXPECT_EQ(other.get(), 100);
        EXPECT_THAT(callNames(), ElementsAre(other.getVolume));
        forgetHistory();

        EXPECT_EQ(d.set(5), 5);
        EXPECT_THAT(hostctl::callTexts(), ElementsAre(d.mute + "(0)", d.setVolume + "(5)"));
        forgetHistory();
        EXPECT_EQ(d.get(), 5);
        EXPECT_THAT(callNames(), ElementsAre(d.getVolume));
        EXPECT_THAT(logTexts(), IsEmpty());

        hostctl::failCall(d.mute, 1, -5);
        EXPECT_EQ(d.set(0), -5);
        forgetHistory();
        EXPECT_EQ(d.get(), 0);
        EXPECT_THAT(callNames(), IsEmpty()) << "the failed mute raised the flag";
        ASSERT_EQ(d.set(100), 100);
        forgetHistory();
    }
}

}  // namespace
