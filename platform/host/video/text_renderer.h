// Text into an alpha mask, with FreeType and the monospaced DejaVu font. Every character
// takes a cell half the font size wide and the font size high: the camera library places
// texts reckoning each character half the font size wide, so the glyphs are sized to make
// that true.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "video/drawing.h"

namespace host::video {

constexpr const char* kMonospaceFontPath = "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf";
constexpr uint32_t kMinFontSize = 8;
constexpr uint32_t kMaxFontSize = 256;
// Wider than any frame can show, so a longer text is a caller's mistake.
constexpr uint32_t kMaxTextWidth = 2 * kMaxFrameSide;

class TextRenderer {
public:
    // Loads the font once; a renderer whose font failed to load refuses every text.
    explicit TextRenderer(const std::string& fontPath = kMonospaceFontPath);
    ~TextRenderer();
    TextRenderer(const TextRenderer&) = delete;
    TextRenderer& operator=(const TextRenderer&) = delete;

    // Renders `count` bytes of `text`, one character each (Latin-1), into a mask
    // count * (fontSize / 2) wide and fontSize high, the baseline placed so descenders fit;
    // `out` keeps its capacity. 0, or -ENOENT when the font could not be loaded, -EINVAL
    // for a size outside kMinFontSize..kMaxFontSize, a null text or mask, or a mask wider
    // than kMaxTextWidth. Safe to call from any thread.
    int render(const char* text, std::size_t count, uint32_t fontSize, AlphaMask* out);

private:
    class Font;
    class GlyphCache;

    std::mutex mMutex;
    std::unique_ptr<Font> mFont;  // null when the font could not be loaded
    std::unique_ptr<GlyphCache> mGlyphs;
};

// The process's renderer, its font loaded on first use.
TextRenderer& textRenderer();

}  // namespace host::video
