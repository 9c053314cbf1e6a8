// The in-memory board's I2C devices. Each sits at a 7-bit address (0-127) on a bus (0 or
// more) and holds a map of 1 to 65,536 byte registers, all 0 when added, with a
// register pointer at 0.
//
// Register addresses take `addr_bytes` bytes, 1 or 2, most significant first as they go
// on the wire:
//   - a direct write's first `addr_bytes` bytes are the register address and set the
//     pointer, the rest are written from there on (the address alone only sets it);
//   - a direct read reads from the pointer on;
//   - register (bulk) transfers and bit operations address register reg1 with one
//     address byte, and reg1 * 256 + reg2 with two (reg1 and reg2 each 0-255; reg2 is
//     ignored with one byte);
//   - a bit operation reads the register, changes it and writes it back: set ORs the
//     bits in, clear clears them, update makes (old & ~mask) | (value & mask).
// Every transfer leaves the pointer after the last register it touched.
//
// Codes: -EINVAL for `addr_bytes` other than 1 or 2, a null buffer, a length of 0 or
// less, a direct write shorter than its address or register bytes outside 0-255; then
// -ENXIO when no device answers at that address; then -ERANGE, with nothing transferred
// and the pointer left alone, for a transfer that would run past the end of the map.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace host::support {

// One device's register map and pointer.
class I2cDevice {
public:
    explicit I2cDevice(std::size_t size) : mRegisters(size, 0) {}

    // `count` registers from `address` on, moving the pointer after them; -ERANGE when
    // the map ends first. A write of no bytes only moves the pointer to `address`.
    int read(std::size_t address, uint8_t* out, std::size_t count);
    int write(std::size_t address, const uint8_t* in, std::size_t count);
    // As write(), but the pointer stays: the world changing the registers, not a transfer.
    int store(std::size_t address, const std::vector<uint8_t>& bytes);

    std::size_t pointer() const { return mPointer; }
    const std::vector<uint8_t>& registers() const { return mRegisters; }

private:
    // An address inside the map with `count` registers after it.
    bool fits(std::size_t address, std::size_t count) const {
        return address < mRegisters.size() && count <= mRegisters.size() - address;
    }

    std::vector<uint8_t> mRegisters;
    std::size_t mPointer = 0;
};

// Every device of every bus, each call one transfer under one lock.
class I2cDevices {
public:
    static constexpr int kMaxDeviceAddress = 127;
    static constexpr std::size_t kMaxRegisters = 65536;

    // -EINVAL for a negative bus, an address outside 0-127 or a size outside 1-65,536;
    // -EEXIST when the address is taken on that bus.
    int add(int bus, int device, std::size_t registers);
    // The register map, none for no such device.
    std::optional<std::vector<uint8_t>> registers(int bus, int device);
    int store(int bus, int device, std::size_t address, const std::vector<uint8_t>& bytes);

    int readDirect(int bus, int device, int addrBytes, int length, uint8_t* buffer);
    int writeDirect(int bus, int device, int addrBytes, int length, const uint8_t* buffer);
    int readRegisters(int bus, int device, int addrBytes, int reg1, int reg2, int length,
                      uint8_t* buffer);
    int writeRegisters(int bus, int device, int addrBytes, int reg1, int reg2, int length,
                       const uint8_t* buffer);
    // The register becomes (old & ~mask) | (value & mask).
    int updateBits(int bus, int device, int addrBytes, int reg1, int reg2, uint8_t mask,
                   uint8_t value);

    // No device left.
    void reset();

private:
    // Runs `transfer(device)` under the lock; -ENXIO for no such device.
    template <typename Transfer>
    int withDevice(int bus, int device, Transfer transfer);

    std::mutex mMutex;
    std::map<std::pair<int, int>, I2cDevice> mDevices;  // by (bus, address)
};

I2cDevices& i2cDevices();

}  // namespace host::support
