#include "support/overlay_drawing.h"

#include <variant>

#include "support/packs.h"

namespace host::support {
namespace {

void drawMasks(uint32_t maskPack, video::Frame& frame) {
    // A copy, so the pack's lock is not held while the rectangles are filled.
    std::array<MaskRect, kMaskCount> rects{};
    maskPacks().withId(maskPack, [&](MaskPackState& state) {
        rects = state.rects;
        return 0;
    });
    for (const MaskRect& rect : rects)
        if (rect.on)
            video::fillRect(frame, rect.x, rect.y, rect.width, rect.height,
                            {kMaskGrey, kMaskGrey, kMaskGrey});
}

void drawItem(const TextItem& text, video::Frame& frame) {
    if (text.boxed)
        video::fillRect(frame, text.x, text.y, static_cast<int>(text.mask.width),
                        static_cast<int>(text.mask.height), text.box);
    video::blendMask(frame, text.mask, text.x, text.y, text.ink);
}

void drawItem(const video::Sprite& image, video::Frame& frame) { image.draw(frame); }

void drawItem(std::monostate, video::Frame&) {}

}  // namespace

void drawOverlay(uint32_t osdPack, uint32_t maskPack, video::Frame& frame) {
    drawMasks(maskPack, frame);
    // The items are drawn under the pack's lock: the calls that change them build a new
    // item first and only swap it in under the lock.
    osdPacks().withId(osdPack, [&](OsdPackState& state) {
        for (const OverlayItem& item : state.items)
            std::visit([&](const auto& shown) { drawItem(shown, frame); }, item);
        return 0;
    });
}

}  // namespace host::support
