// Image items of overlay packs: create_osd_image() converts a bitmap to the frame's
// colour space once, draw_osd_image() lays it on the frame's grid at its place in a
// block of a pack, and every picture through the pack's overlay channel gets it blended
// in.
#include <cerrno>
#include <new>
#include <optional>
#include <utility>

#include "camera_support.h"
#include "journal/call_journal.h"
#include "journal/journaled.h"
#include "module/bitmap.h"
#include "support/osd_images.h"
#include "support/packs.h"

using host::journaled;
using host::support::OsdImage;
using host::support::osdImages;
using host::support::osdPacks;
using host::support::OsdPackState;
using host::support::OverlayItem;

namespace {

bool validImage(const void* pixels, uint32_t width, uint32_t height, uint32_t format,
                uint8_t bits) {
    auto validSide = [](uint32_t side) { return side >= 1 && side <= module::kMaxBitmapSide; };
    return pixels && validSide(width) && validSide(height) &&
           format == module::kBitmapFormatBgra8888 && (bits == 24 || bits == 32);
}

// 0 with the new image's handle, or the code of the refusal.
int makeImage(const void* pixels, uint32_t width, uint32_t height, uint32_t format, uint8_t bits,
              osd_image** handle) {
    if (!validImage(pixels, width, height, format, bits)) return -EINVAL;
    try {
        auto picture = std::make_shared<const host::video::YuvaPicture>(host::video::yuvaFromBgra(
            static_cast<const uint8_t*>(pixels), width, height, bits == 32));
        *handle = osdImages().add({width, height, format, bits, std::move(picture)});
    } catch (const std::bad_alloc&) {
        return -ENOMEM;
    }
    return *handle ? 0 : -ENOSPC;
}

int drawImage(osd_pack* pack, const osd_image* image, uint32_t width, uint32_t height,
              uint32_t format, uint8_t bits, int x, int y, int block) {
    if (!host::support::validBlock(block)) return -EINVAL;
    if (int rc = osdPacks().with(pack, [](uint32_t, OsdPackState&) { return 0; }); rc != 0)
        return rc;
    std::optional<OsdImage> found = osdImages().find(image);
    if (!found || !found->matches(width, height, format, bits)) return -EINVAL;
    OverlayItem item;
    try {
        // Laid on the frame's grid outside the pack's lock, since that takes a while.
        item.emplace<host::video::Sprite>(found->picture, x, y);
    } catch (const std::bad_alloc&) {
        return -ENOMEM;
    }
    return host::support::placeItem(pack, block, std::move(item));
}

}  // namespace

extern "C" {

struct osd_image* create_osd_image(const void* pixels, uint32_t width, uint32_t height,
                                   uint32_t format, uint8_t bits) {
    hostctl::Call call("create_osd_image",
                       [&] { return hostctl::args(pixels, width, height, format, bits); });
    // Whatever code was injected, the call fails: there is no handle to return.
    if (call.injected()) {
        call.result(call.injectedCode() < 0 ? call.injectedCode() : -EIO);
        return nullptr;
    }
    osd_image* image = nullptr;
    call.result(makeImage(pixels, width, height, format, bits, &image));
    return image;
}

void destroy_osd_image(struct osd_image** image) {
    hostctl::Call call("destroy_osd_image", [&] {
        return hostctl::args(static_cast<const void*>(image),
                             static_cast<const void*>(image ? *image : nullptr));
    });
    if (call.injected()) return;
    if (!image) {
        call.result(-EINVAL);
        return;
    }
    if (!*image) return;  // no image: nothing to do
    // A handle that names no image of ours frees nothing; it is dead all the same.
    bool freed = osdImages().remove(*image);
    *image = nullptr;
    call.result(freed ? 0 : -EINVAL);
}

int draw_osd_image(struct osd_pack* pack, struct osd_image* image, uint32_t width, uint32_t height,
                   uint32_t format, uint8_t bits, int x, int y, int block) {
    return journaled(
        "draw_osd_image",
        [&] {
            return hostctl::args(pack, static_cast<const void*>(image), width, height, format, bits,
                                 x, y, block);
        },
        [=] { return drawImage(pack, image, width, height, format, bits, x, y, block); });
}

int erase_osd_image(struct osd_pack* pack, int block) {
    return journaled(
        "erase_osd_image", [&] { return hostctl::args(pack, block); },
        [=] { return host::support::placeItem(pack, block, std::monostate{}); });
}

}  // extern "C"
