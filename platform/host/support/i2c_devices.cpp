#include "support/i2c_devices.h"

#include <algorithm>
#include <cerrno>

namespace host::support {
namespace {

constexpr int kByteMax = 0xff;

bool validAddressBytes(int addrBytes) { return addrBytes == 1 || addrBytes == 2; }
bool isByte(int value) { return value >= 0 && value <= kByteMax; }

// The register a bulk transfer or bit operation addresses; -EINVAL for bad bytes.
int registerAddress(int addrBytes, int reg1, int reg2, std::size_t* address) {
    if (!validAddressBytes(addrBytes) || !isByte(reg1)) return -EINVAL;
    if (addrBytes == 1) {
        *address = static_cast<std::size_t>(reg1);
        return 0;
    }
    if (!isByte(reg2)) return -EINVAL;
    *address = static_cast<std::size_t>(reg1) << 8 | static_cast<std::size_t>(reg2);
    return 0;
}

// The address at the head of a direct write, most significant byte first.
std::size_t leadingAddress(const uint8_t* bytes, int addrBytes) {
    std::size_t address = 0;
    for (int i = 0; i < addrBytes; ++i) address = address << 8 | bytes[i];
    return address;
}

bool validTransfer(int addrBytes, int length, const uint8_t* buffer) {
    return validAddressBytes(addrBytes) && length > 0 && buffer;
}

// The register a bulk transfer starts at; -EINVAL for a bad transfer.
int bulkAddress(int addrBytes, int reg1, int reg2, int length, const uint8_t* buffer,
                std::size_t* address) {
    if (!validTransfer(addrBytes, length, buffer)) return -EINVAL;
    return registerAddress(addrBytes, reg1, reg2, address);
}

}  // namespace

int I2cDevice::read(std::size_t address, uint8_t* out, std::size_t count) {
    if (!fits(address, count)) return -ERANGE;
    std::copy_n(mRegisters.begin() + address, count, out);
    mPointer = address + count;
    return 0;
}

int I2cDevice::write(std::size_t address, const uint8_t* in, std::size_t count) {
    if (!fits(address, count)) return -ERANGE;
    std::copy_n(in, count, mRegisters.begin() + address);
    mPointer = address + count;
    return 0;
}

int I2cDevice::store(std::size_t address, const std::vector<uint8_t>& bytes) {
    if (!fits(address, bytes.size())) return -ERANGE;
    std::copy(bytes.begin(), bytes.end(), mRegisters.begin() + address);
    return 0;
}

template <typename Transfer>
int I2cDevices::withDevice(int bus, int device, Transfer transfer) {
    std::lock_guard<std::mutex> lock(mMutex);
    auto it = mDevices.find({bus, device});
    return it == mDevices.end() ? -ENXIO : transfer(it->second);
}

int I2cDevices::add(int bus, int device, std::size_t registers) {
    if (bus < 0 || device < 0 || device > kMaxDeviceAddress || registers == 0 ||
        registers > kMaxRegisters)
        return -EINVAL;
    std::lock_guard<std::mutex> lock(mMutex);
    bool added = mDevices.try_emplace(std::make_pair(bus, device), registers).second;
    return added ? 0 : -EEXIST;
}

std::optional<std::vector<uint8_t>> I2cDevices::registers(int bus, int device) {
    std::optional<std::vector<uint8_t>> map;
    withDevice(bus, device, [&](I2cDevice& d) {
        map = d.registers();
        return 0;
    });
    return map;
}

int I2cDevices::store(int bus, int device, std::size_t address, const std::vector<uint8_t>& bytes) {
    return withDevice(bus, device, [&](I2cDevice& d) { return d.store(address, bytes); });
}

int I2cDevices::readDirect(int bus, int device, int addrBytes, int length, uint8_t* buffer) {
    if (!validTransfer(addrBytes, length, buffer)) return -EINVAL;
    return withDevice(bus, device,
                      [&](I2cDevice& d) { return d.read(d.pointer(), buffer, length); });
}

int I2cDevices::writeDirect(int bus, int device, int addrBytes, int length, const uint8_t* buffer) {
    if (!validTransfer(addrBytes, length, buffer) || length < addrBytes) return -EINVAL;
    std::size_t address = leadingAddress(buffer, addrBytes);
    return withDevice(bus, device, [&](I2cDevice& d) {
        return d.write(address, buffer + addrBytes, length - addrBytes);
    });
}

int I2cDevices::readRegisters(int bus, int device, int addrBytes, int reg1, int reg2, int length,
                              uint8_t* buffer) {
    std::size_t address = 0;
    if (int rc = bulkAddress(addrBytes, reg1, reg2, length, buffer, &address); rc != 0) return rc;
    return withDevice(bus, device, [&](I2cDevice& d) { return d.read(address, buffer, length); });
}

int I2cDevices::writeRegisters(int bus, int device, int addrBytes, int reg1, int reg2, int length,
                               const uint8_t* buffer) {
    std::size_t address = 0;
    if (int rc = bulkAddress(addrBytes, reg1, reg2, length, buffer, &address); rc != 0) return rc;
    return withDevice(bus, device, [&](I2cDevice& d) { return d.write(address, buffer, length); });
}

int I2cDevices::updateBits(int bus, int device, int addrBytes, int reg1, int reg2, uint8_t mask,
                           uint8_t value) {
    std::size_t address = 0;
    if (int rc = registerAddress(addrBytes, reg1, reg2, &address); rc != 0) return rc;
    return withDevice(bus, device, [&](I2cDevice& d) {
        uint8_t old = 0;
        if (int rc = d.read(address, &old, 1); rc != 0) return rc;
        const auto updated = static_cast<uint8_t>((old & ~mask) | (value & mask));
        return d.write(address, &updated, 1);
    });
}

void I2cDevices::reset() {
    std::lock_guard<std::mutex> lock(mMutex);
    mDevices.clear();
}

}  // namespace host::support
