#include "video/text_renderer.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_ADVANCES_H

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <type_traits>
#include <unordered_map>
#include <vector>

namespace host::video {
namespace {

// Rendered glyphs are kept until they take this much memory; then the cache starts over.
constexpr std::size_t kGlyphCacheBudget = 4u << 20;

struct LibraryDeleter {
    void operator()(FT_Library library) const { FT_Done_FreeType(library); }
};
struct FaceDeleter {
    void operator()(FT_Face face) const { FT_Done_Face(face); }
};
using LibraryPtr = std::unique_ptr<std::remove_pointer_t<FT_Library>, LibraryDeleter>;
using FacePtr = std::unique_ptr<std::remove_pointer_t<FT_Face>, FaceDeleter>;

// A glyph's coverage and where it sits against its cell's left edge and the baseline.
struct Glyph {
    int left = 0;  // from the cell's left edge to the bitmap's first column
    int top = 0;   // from the baseline up to the bitmap's first row
    uint32_t width = 0;
    uint32_t rows = 0;
    std::vector<uint8_t> coverage;
};

// Lays `glyph` into `mask` with its cell's left edge at `cellX`; where neighbours overlap,
// the stronger coverage wins.
void stamp(const Glyph& glyph, int cellX, int baseline, AlphaMask& mask) {
    for (uint32_t row = 0; row < glyph.rows; ++row) {
        int my = baseline - glyph.top + static_cast<int>(row);
        if (my < 0 || my >= static_cast<int>(mask.height)) continue;
        uint8_t* line = mask.alpha.data() + std::size_t{mask.width} * my;
        const uint8_t* source = glyph.coverage.data() + std::size_t{glyph.width} * row;
        for (uint32_t column = 0; column < glyph.width; ++column) {
            int mx = cellX + glyph.left + static_cast<int>(column);
            if (mx < 0 || mx >= static_cast<int>(mask.width)) continue;
            line[mx] = std::max(line[mx], source[column]);
        }
    }
}

}  // namespace

// The loaded face, sized for one font size at a time.
class TextRenderer::Font {
public:
    static std::unique_ptr<Font> load(const std::string& path) {
        FT_Library library = nullptr;
        if (FT_Init_FreeType(&library) != 0) return nullptr;
        LibraryPtr libraryPtr(library);
        FT_Face face = nullptr;
        if (FT_New_Face(library, path.c_str(), 0, &face) != 0) return nullptr;
        FacePtr facePtr(face);
        // Every glyph of a monospaced font advances as far as the digits do.
        FT_Fixed advance = 0;
        FT_UInt zero = FT_Get_Char_Index(face, '0');
        if (!FT_IS_SCALABLE(face) || zero == 0 ||
            FT_Get_Advance(face, zero, FT_LOAD_NO_SCALE, &advance) != 0 || advance <= 0)
            return nullptr;
        return std::unique_ptr<Font>(new Font(std::move(libraryPtr), std::move(facePtr), advance));
    }

    // Scales the face so that its advance is fontSize / 2 pixels.
    bool setSize(uint32_t fontSize) {
        if (fontSize == mFontSize) return true;
        uint32_t cell = fontSize / 2;
        auto charSize = static_cast<FT_F26Dot6>(
            std::lround(64.0 * cell * mFace->units_per_EM / static_cast<double>(mAdvanceUnits)));
        if (FT_Set_Char_Size(mFace.get(), 0, charSize, 72, 72) != 0) {
            mFontSize = 0;
            return false;
        }
        // The cell's lowest rows hold the descenders.
        auto descender = static_cast<int>(std::ceil(-mFace->size->metrics.descender / 64.0));
        mBaseline = static_cast<int>(fontSize) - std::max(descender, 0);
        mFontSize = fontSize;
        return true;
    }

    // Rows from the cell's top to the baseline at the current size.
    int baseline() const { return mBaseline; }

    // The glyph of Latin-1 character `c` at the current size; blank when the font lacks it.
    Glyph render(unsigned char c) {
        Glyph glyph;
        // Control characters leave their cell blank.
        if (c < 0x20 || (c >= 0x7f && c < 0xa0)) return glyph;
        if (FT_Load_Char(mFace.get(), c, FT_LOAD_RENDER) != 0) return glyph;
        const FT_GlyphSlot slot = mFace->glyph;
        const FT_Bitmap& bitmap = slot->bitmap;
        if (bitmap.pixel_mode != FT_PIXEL_MODE_GRAY || bitmap.pitch < 0) return glyph;
        glyph.left = slot->bitmap_left;
        glyph.top = slot->bitmap_top;
        glyph.width = bitmap.width;
        glyph.rows = bitmap.rows;
        glyph.coverage.resize(std::size_t{bitmap.width} * bitmap.rows);
        for (unsigned row = 0; row < bitmap.rows; ++row)
            std::copy_n(bitmap.buffer + std::size_t(bitmap.pitch) * row, bitmap.width,
                        glyph.coverage.data() + std::size_t{bitmap.width} * row);
        return glyph;
    }

private:
    Font(LibraryPtr library, FacePtr face, FT_Fixed advanceUnits)
        : mLibrary(std::move(library)), mFace(std::move(face)), mAdvanceUnits(advanceUnits) {}

    LibraryPtr mLibrary;  // declared first: the face must go before its library
    FacePtr mFace;
    FT_Fixed mAdvanceUnits;
    uint32_t mFontSize = 0;
    int mBaseline = 0;
};

// Rendered glyphs by font size and character: the frame counter and the timestamps are
// rendered every frame from a handful of characters.
class TextRenderer::GlyphCache {
public:
    const Glyph* find(uint32_t fontSize, unsigned char c) const {
        auto it = mGlyphs.find(key(fontSize, c));
        return it == mGlyphs.end() ? nullptr : &it->second;
    }

    const Glyph& add(uint32_t fontSize, unsigned char c, Glyph glyph) {
        std::size_t bytes = glyph.coverage.size() + sizeof(Glyph);
        if (mBytes + bytes > kGlyphCacheBudget) {
            mGlyphs.clear();
            mBytes = 0;
        }
        mBytes += bytes;
        return mGlyphs.insert_or_assign(key(fontSize, c), std::move(glyph)).first->second;
    }

private:
    static uint32_t key(uint32_t fontSize, unsigned char c) { return fontSize << 8 | c; }

    std::unordered_map<uint32_t, Glyph> mGlyphs;
    std::size_t mBytes = 0;
};

TextRenderer::TextRenderer(const std::string& fontPath)
    : mFont(Font::load(fontPath)), mGlyphs(std::make_unique<GlyphCache>()) {}

TextRenderer::~TextRenderer() = default;

int TextRenderer::render(const char* text, std::size_t count, uint32_t fontSize, AlphaMask* out) {
    if (text == nullptr || out == nullptr || fontSize < kMinFontSize || fontSize > kMaxFontSize)
        return -EINVAL;
    uint32_t cell = fontSize / 2;
    if (count > kMaxTextWidth / cell) return -EINVAL;

    std::lock_guard<std::mutex> lock(mMutex);
    if (!mFont) return -ENOENT;
    if (!mFont->setSize(fontSize)) return -EIO;

    out->width = static_cast<uint32_t>(count) * cell;
    out->height = fontSize;
    out->alpha.assign(std::size_t{out->width} * out->height, 0);
    for (std::size_t i = 0; i < count; ++i) {
        auto c = static_cast<unsigned char>(text[i]);
        const Glyph* glyph = mGlyphs->find(fontSize, c);
        if (glyph == nullptr) glyph = &mGlyphs->add(fontSize, c, mFont->render(c));
        stamp(*glyph, static_cast<int>(i * cell), mFont->baseline(), *out);
    }
    return 0;
}

TextRenderer& textRenderer() {
    // Never destroyed: pipeline threads may still draw while the process's statics go.
    static TextRenderer* renderer = new TextRenderer;
    return *renderer;
}

}  // namespace host::video
