// Text items of overlay packs: set_osd_text() renders a text once into the pack's block,
// and every picture through the pack's overlay channel gets it drawn in.
#include <cerrno>
#include <cstring>
#include <string>

#include "camera_support.h"
#include "journal/call_journal.h"
#include "journal/journaled.h"
#include "support/packs.h"
#include "video/text_renderer.h"

using host::journaled;
using host::support::osdPacks;
using host::support::OsdPackState;
using host::support::OverlayItem;
using host::support::TextItem;

namespace {

constexpr int kMaxTextLength = 256;

// Before any colour is set (all six bytes zero) text is white on a dark box, which
// stays legible on any picture.
const host::video::Yuv kDefaultInk = host::video::yuvFromRgb(255, 255, 255);
const host::video::Yuv kDefaultBox = host::video::yuvFromRgb(16, 16, 16);

bool defaultColours(const uint8_t (&colour)[6]) {
    for (uint8_t c : colour)
        if (c != 0) return false;
    return true;
}

bool blank(const char* text, int count) {
    for (int i = 0; i < count; ++i)
        if (text[i] != ' ') return false;
    return true;
}

// The item the text makes, or none for an empty text and for blanks in the default
// style: with no box to show, they clear the block.
int makeTextItem(const osd_pack& pack, uint32_t fontSize, const char* text, int count, int x, int y,
                 OverlayItem* item) {
    bool plain = defaultColours(pack.color);
    if (count == 0 || (plain && blank(text, count))) return 0;
    TextItem made{};
    int rc = host::video::textRenderer().render(text, static_cast<std::size_t>(count), fontSize,
                                                &made.mask);
    if (rc != 0) return rc;
    made.x = x;
    made.y = y;
    made.boxed = true;
    made.ink =
        plain ? kDefaultInk : host::video::yuvFromRgb(pack.color[0], pack.color[1], pack.color[2]);
    made.box =
        plain ? kDefaultBox : host::video::yuvFromRgb(pack.color[3], pack.color[4], pack.color[5]);
    *item = std::move(made);
    return 0;
}

}  // namespace

extern "C" {

int set_osd_text(struct osd_pack* pack, const char* text, int count, int x, int y, int block) {
    return journaled(
        "set_osd_text",
        [&] {
            std::string shown = text && count > 0 ? std::string(text, strnlen(text, count)) : "";
            return hostctl::args(pack, shown.c_str(), count, x, y, block);
        },
        [=] {
            if (!text || count < 0 || count > kMaxTextLength || !host::support::validBlock(block))
                return -EINVAL;
            uint32_t fontSize = 0;
            int rc = osdPacks().with(pack, [&](uint32_t, OsdPackState& state) {
                fontSize = state.fontSize;
                return 0;
            });
            if (rc != 0) return rc;
            // Rendering takes a while: done outside the pack's lock.
            OverlayItem item;
            if ((rc = makeTextItem(*pack, fontSize, text, count, x, y, &item)) != 0) return rc;
            return host::support::placeItem(pack, block, std::move(item));
        });
}

}  // extern "C"
