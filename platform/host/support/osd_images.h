// The images create_osd_image() made, by handle. A handle is an image's id dressed as a
// pointer of the opaque handle type: nobody ever dereferences it, and every use looks it
// up again, so a stray, stale or destroyed handle is refused, never followed. Ids are
// never reused, not even after a reset.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "camera_support.h"
#include "journal/id_table.h"
#include "video/sprite.h"

namespace host::support {

struct OsdImage {
    uint32_t width, height, format;
    uint8_t bits;
    // Shared with the items showing it, which outlive the image's destruction.
    std::shared_ptr<const video::YuvaPicture> picture;

    bool matches(uint32_t w, uint32_t h, uint32_t f, uint8_t b) const {
        return w == width && h == height && f == format && b == bits;
    }
};

class OsdImages {
public:
    // Far more than the camera library's two images per channel.
    static constexpr std::size_t kMaxImages = 64;

    // The new image's handle, or null when the table is full.
    osd_image* add(OsdImage image) {
        std::lock_guard<std::mutex> lock(mMutex);
        return handleOf(mTable.add(std::move(image)));
    }

    // A copy of the image (its pixels shared), or none for a handle that names none.
    std::optional<OsdImage> find(const osd_image* handle) {
        std::lock_guard<std::mutex> lock(mMutex);
        const OsdImage* image = mTable.find(idOf(handle));
        if (!image) return std::nullopt;
        return *image;
    }

    // Whether the handle named an image, which is now gone.
    bool remove(const osd_image* handle) {
        std::lock_guard<std::mutex> lock(mMutex);
        return mTable.remove(idOf(handle));
    }

    void reset() {
        std::lock_guard<std::mutex> lock(mMutex);
        mTable.clear();
    }

    std::size_t size() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mTable.size();
    }

private:
    // Handles are ids scrambled by an odd factor (a bijection of 32-bit values that keeps
    // 0 for null), so that small numbers, such as another kind of handle passed by
    // mistake, name no image.
    static constexpr uint32_t kScramble = 0x9e3779b1;
    static constexpr uint32_t kUnscramble = 0x0e8b2f51;  // its inverse modulo 2^32
    static_assert(kScramble * kUnscramble == 1u, "the factors undo each other");

    static osd_image* handleOf(uint32_t id) {
        return reinterpret_cast<osd_image*>(static_cast<uintptr_t>(id * kScramble));
    }

    static uint32_t idOf(const osd_image* handle) {
        uintptr_t value = reinterpret_cast<uintptr_t>(handle);
        uint32_t scrambled = static_cast<uint32_t>(value);
        if (scrambled != value) return 0;  // wider values were never handed out
        return scrambled * kUnscramble;
    }

    std::mutex mMutex;
    IdTable<OsdImage> mTable{kMaxImages};
};

OsdImages& osdImages();

}  // namespace host::support
