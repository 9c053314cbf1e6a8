// libFuzzer target: the I2C helpers with any arguments, against a board with two
// devices (a 256-register sensor and a 64 KiB memory). Buffers are real: `size` is the
// capacity of the buffer passed, or the buffer is null. Beyond the sanitizers' checks:
// a result is 0 or a negative code, a refused argument is refused before anything is
// sent, and nothing is written past the length asked for.
#include <cstdint>
#include <cstring>
#include <vector>

#include "kq_board.h"
#include "library_harness.h"

namespace {

constexpr int kSensor = 0x36;
constexpr int kMemory = 0x50;
constexpr uint8_t kGuard = 0xa5;

// Reads the input front to back; zeros once it runs out.
class InputReader {
public:
    InputReader(const uint8_t* data, size_t size) : mData(data), mSize(size) {}

    template <typename T>
    T take() {
        T value{};
        const size_t n = mSize - mAt < sizeof value ? mSize - mAt : sizeof value;
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
        default: return raw;         // any int at all
    }
}

// A small length mostly, any int now and then.
int pickLength(uint8_t choice, int raw, int capacity) {
    return choice % 8 == 0 ? raw : static_cast<int>(choice) % (capacity + 2) - 1;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::quietPlatform();
    KQ_FUZZ_CHECK(hostctl::addI2cDevice(0, kSensor, 256) == 0);
    KQ_FUZZ_CHECK(hostctl::addI2cDevice(0, kMemory, 65536) == 0);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    InputReader in(data, size);
    const uint8_t function = in.take<uint8_t>();
    // Any value the enumeration can hold (0-7): the five actions and three refused ones.
    const auto action = static_cast<i2c_action_type>(in.take<uint8_t>() % 8);
    const int device = pickDevice(in.take<uint8_t>(), in.take<int>());
    const int reg1 = in.take<uint8_t>() & 1 ? in.take<int>() : in.take<uint8_t>();
    const int reg2 = in.take<uint8_t>();
    const uint8_t lengthChoice = in.take<uint8_t>();
    const int rawLength = in.take<int>();
    const bool nullBuffer = (function & 0x80) != 0;

    // The buffer: the rest of the input, then a guard byte that must survive.
    const int capacity = static_cast<int>(in.left() < 512 ? in.left() : 512);
    std::vector<uint8_t> buffer(static_cast<size_t>(capacity) + 1, kGuard);
    for (int i = 0; i < capacity; ++i) buffer[static_cast<size_t>(i)] = in.take<uint8_t>();
    const int length = pickLength(lengthChoice, rawLength, capacity);
    unsigned char* bytes = nullBuffer ? nullptr : buffer.data();

    int r = 0;
    switch (function % 3) {
        case 0: r = i2c_act_direct(action, device, length, bytes, capacity); break;
        case 1: r = i2c_act_register(action, device, reg1, reg2, length, bytes, capacity); break;
        default:
            r = i2c_act_reg_bits(action, device, reg1, reg2, static_cast<unsigned char>(reg2),
                                 lengthChoice);
            break;
    }
    KQ_FUZZ_CHECK(r <= 0);
    if (function % 3 != 2) {
        // The library's own checks, in their order, before the platform is asked.
        if (length <= 0 || capacity <= 0) KQ_FUZZ_CHECK(r == -21);
        else if (nullBuffer) KQ_FUZZ_CHECK(r == -10);
        else if (capacity < length) KQ_FUZZ_CHECK(r == -69);
    }
    KQ_FUZZ_CHECK(buffer.back() == kGuard);
    return 0;
}
