// libFuzzer target: the I2C helpers with any arguments, against a board with two devices
// (a 256-register sensor and a 64 KiB memory), put back as new for every input. Buffers
// are real: `size` is the length of the buffer passed, or the buffer is null.
//
// Input: function byte (its top bit: null buffer), action (any int), device choice and
// address, register arguments, length choice and value, then the buffer's bytes. Beyond
// the sanitizers' checks: a result is 0 or negative, the library's own argument checks
// come first with their codes, an action the function does not take gives -21, and a
// transfer changes no byte of the buffer past its length.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "kq_board.h"
#include "library_harness.h"

namespace {

constexpr int kSensor = 0x36;
constexpr int kMemory = 0x50;
constexpr std::size_t kMaxBuffer = 512;

// Reads the input front to back; zeros once it runs out.
class InputReader {
public:
    InputReader(const uint8_t* data, size_t size) : mData(data), mSize(size) {}

    template <typename T>
    T take() {
        T value{};
        const size_t n = left() < sizeof value ? left() : sizeof value;
        std::memcpy(&value, mData + mAt, n);
        mAt += n;
        return value;
    }
    size_t left() const { return mSize - mAt; }

private:
    const uint8_t* mData;
    size_t mSize;
    size_t mAt = 0;
};

int pickDevice(uint8_t choice, int raw) {
    switch (choice % 4) {
        case 0: return kSensor;
        case 1: return kMemory;
        case 2: return raw & 0x7f;  // any address on the bus, mostly empty
        default: return raw;        // any int at all
    }
}

// Mostly -1 to one past the buffer's size; any int now and then.
int pickLength(uint8_t choice, int raw, int size) {
    return choice % 8 == 0 ? raw : static_cast<int>(choice) % (size + 3) - 1;
}

void resetBoard() {
    fuzz::quietPlatform();
    KQ_FUZZ_CHECK(hostctl::addI2cDevice(0, kSensor, 256) == 0);
    KQ_FUZZ_CHECK(hostctl::addI2cDevice(0, kMemory, 65536) == 0);
}

// The checks the library makes before the support library is asked, in their order.
int expectedCheck(int length, const unsigned char* buffer, int size) {
    if (length <= 0 || size <= 0) return -21;
    if (!buffer) return -10;
    if (size < length) return -69;
    return 0;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    resetBoard();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    InputReader in(data, size);
    const uint8_t function = in.take<uint8_t>();
    // Any int: the enumeration's underlying type is int, so every value is one it holds.
    const auto action = static_cast<i2c_action_type>(in.take<int>());
    const uint8_t deviceChoice = in.take<uint8_t>();
    const int device = pickDevice(deviceChoice, in.take<int>());
    const int reg1 = in.take<uint8_t>() & 1 ? in.take<int>() : in.take<uint8_t>();
    const int reg2 = in.take<uint8_t>();
    const uint8_t lengthChoice = in.take<uint8_t>();
    const int rawLength = in.take<int>();
    const bool nullBuffer = (function & 0x80) != 0;

    // The buffer: the rest of the input, exactly as long as the size passed.
    std::vector<uint8_t> buffer(data + size - (in.left() < kMaxBuffer ? in.left() : kMaxBuffer),
                                data + size);
    const std::vector<uint8_t> before = buffer;
    const int bufferSize = static_cast<int>(buffer.size());
    const int length = pickLength(lengthChoice, rawLength, bufferSize);
    unsigned char* bytes = nullBuffer || buffer.empty() ? nullptr : buffer.data();

    int r = 0;
    switch (function % 3) {
        case 0: r = i2c_act_direct(action, device, length, bytes, bufferSize); break;
        case 1: r = i2c_act_register(action, device, reg1, reg2, length, bytes, bufferSize); break;
        default:
            r = i2c_act_reg_bits(action, device, reg1, reg2, static_cast<unsigned char>(reg2),
                                 lengthChoice);
            break;
    }
    KQ_FUZZ_CHECK(r <= 0);
    const bool transfer = action == I2C_ACTION_READ || action == I2C_ACTION_WRITE;
    if (function % 3 != 2) {
        const int check = expectedCheck(length, bytes, bufferSize);
        if (check != 0) KQ_FUZZ_CHECK(r == check);
        if (check == 0 && !transfer) KQ_FUZZ_CHECK(r == -21);
        // Only a read changes the buffer, and only its first `length` bytes.
        const std::size_t kept = check == 0 && action == I2C_ACTION_READ ? length : 0;
        KQ_FUZZ_CHECK(std::equal(buffer.begin() + kept, buffer.end(), before.begin() + kept));
    } else if (action < I2C_ACTION_SET_BITS || action > I2C_ACTION_UPDATE_BITS) {
        KQ_FUZZ_CHECK(r == -21);
    }
    resetBoard();
    return 0;
}
