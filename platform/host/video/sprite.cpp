#include "video/sprite.h"

#include <cstring>
#include <utility>

#include "video/blend.h"
#include "video/drawing.h"

namespace host::video {
namespace {

// The chroma coordinate of a luma coordinate, rounded down for negative ones too.
int64_t chromaOf(int64_t luma) { return (luma - (luma < 0 ? 1 : 0)) / 2; }

// How many chroma samples a run of `length` luma samples from `start` touches.
uint32_t chromaLength(int64_t start, uint32_t length) {
    if (length == 0) return 0;
    return static_cast<uint32_t>(chromaOf(start + length - 1) - chromaOf(start) + 1);
}

}  // namespace

YuvaPicture yuvaFromBgra(const uint8_t* bgra, uint32_t width, uint32_t height, bool useAlpha) {
    YuvaPicture picture;
    picture.width = width;
    picture.height = height;
    const std::size_t count = std::size_t{width} * height;
    picture.y.resize(count);
    picture.u.resize(count);
    picture.v.resize(count);
    picture.alpha.resize(count);
    bool opaque = true;
    for (std::size_t i = 0; i < count; ++i, bgra += 4) {
        Yuv yuv = yuvFromRgb(bgra[2], bgra[1], bgra[0]);
        picture.y[i] = yuv.y;
        picture.u[i] = yuv.u;
        picture.v[i] = yuv.v;
        picture.alpha[i] = useAlpha ? bgra[3] : 255;
        opaque = opaque && picture.alpha[i] == 255;
    }
    picture.opaque = opaque;
    return picture;
}

Sprite::Sprite(std::shared_ptr<const YuvaPicture> picture, int x, int y)
    : mPicture(std::move(picture)),
      mX(x),
      mY(y),
      mChromaX(chromaOf(x)),
      mChromaY(chromaOf(y)),
      mChromaWidth(chromaLength(x, mPicture->width)),
      mChromaHeight(chromaLength(y, mPicture->height)) {
    const YuvaPicture& p = *mPicture;
    const std::size_t blocks = std::size_t{mChromaWidth} * mChromaHeight;
    mU.resize(blocks);
    mV.resize(blocks);
    mChromaAlpha.resize(blocks);
    for (uint32_t cy = 0; cy < mChromaHeight; ++cy) {
        for (uint32_t cx = 0; cx < mChromaWidth; ++cx) {
            uint32_t alpha = 0, u = 0, v = 0;
            for (int64_t py = 2 * (mChromaY + cy); py < 2 * (mChromaY + cy) + 2; ++py) {
                for (int64_t px = 2 * (mChromaX + cx); px < 2 * (mChromaX + cx) + 2; ++px) {
                    int64_t column = px - mX, row = py - mY;
                    if (column < 0 || column >= p.width || row < 0 || row >= p.height) continue;
                    std::size_t i = static_cast<std::size_t>(row * p.width + column);
                    alpha += p.alpha[i];
                    u += p.alpha[i] * p.u[i];
                    v += p.alpha[i] * p.v[i];
                }
            }
            std::size_t block = std::size_t{cy} * mChromaWidth + cx;
            mChromaAlpha[block] = static_cast<uint8_t>((alpha + 2) / 4);
            mU[block] = static_cast<uint8_t>(alpha ? (u + alpha / 2) / alpha : 128);
            mV[block] = static_cast<uint8_t>(alpha ? (v + alpha / 2) / alpha : 128);
        }
    }
}

void Sprite::draw(Frame& frame) const {
    if (!frame.valid()) return;
    drawLuma(frame);
    drawChroma(frame);
}

void Sprite::drawLuma(Frame& frame) const {
    const YuvaPicture& p = *mPicture;
    Span columns = clip(mX, p.width, frame.width);
    Span rows = clip(mY, p.height, frame.height);
    if (columns.empty() || rows.empty()) return;
    const std::size_t count = columns.end - columns.begin;
    for (int row = rows.begin; row < rows.end; ++row) {
        const std::size_t from =
            static_cast<std::size_t>((row - mY) * p.width + columns.begin - mX);
        uint8_t* to = frame.y() + std::size_t{frame.width} * row + columns.begin;
        if (p.opaque) {
            std::memcpy(to, &p.y[from], count);
            continue;
        }
        for (std::size_t i = 0; i < count; ++i)
            to[i] = blend(to[i], p.y[from + i], p.alpha[from + i]);
    }
}

void Sprite::drawChroma(Frame& frame) const {
    Span columns = clip(mChromaX, mChromaWidth, frame.chromaWidth());
    Span rows = clip(mChromaY, mChromaHeight, frame.chromaHeight());
    if (columns.empty() || rows.empty()) return;
    const std::size_t count = columns.end - columns.begin;
    for (int row = rows.begin; row < rows.end; ++row) {
        const std::size_t from =
            static_cast<std::size_t>((row - mChromaY) * mChromaWidth + columns.begin - mChromaX);
        const std::size_t to = std::size_t{frame.chromaWidth()} * row + columns.begin;
        for (std::size_t i = 0; i < count; ++i) {
            int alpha = mChromaAlpha[from + i];
            frame.u()[to + i] = blend(frame.u()[to + i], mU[from + i], alpha);
            frame.v()[to + i] = blend(frame.v()[to + i], mV[from + i], alpha);
        }
    }
}

}  // namespace host::video
