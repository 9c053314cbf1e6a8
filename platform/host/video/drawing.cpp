#include "video/drawing.h"

#include <algorithm>
#include <cstring>

#include "video/blend.h"

namespace host::video {
namespace {

// The mask's coverage at frame pixels, as placed and flipped; 0 outside it.
class PlacedMask {
public:
    PlacedMask(const AlphaMask& mask, int x, int y, MaskFlip flip, const Frame& frame)
        : mMask(mask),
          mX(x),
          mY(y),
          mFlip(flip),
          mColumns(clip(x, mask.width, frame.width)),
          mRows(clip(y, mask.height, frame.height)) {}

    Span columns() const { return mColumns; }
    Span rows() const { return mRows; }

    int at(int px, int py) const {
        if (px < mColumns.begin || px >= mColumns.end || py < mRows.begin || py >= mRows.end)
            return 0;
        int mx = px - mX;
        int my = py - mY;
        if (mFlip.mirror) mx = static_cast<int>(mMask.width) - 1 - mx;
        if (mFlip.upsideDown) my = static_cast<int>(mMask.height) - 1 - my;
        return mMask.alpha[static_cast<std::size_t>(my) * mMask.width + mx];
    }

private:
    const AlphaMask& mMask;
    int mX;
    int mY;
    MaskFlip mFlip;
    Span mColumns;
    Span mRows;
};

}  // namespace

void fillRect(Frame& frame, int x, int y, int width, int height, Yuv colour) {
    if (!frame.valid()) return;
    Span columns = clip(x, width, frame.width);
    Span rows = clip(y, height, frame.height);
    if (columns.empty() || rows.empty()) return;

    for (int row = rows.begin; row < rows.end; ++row)
        std::memset(frame.y() + std::size_t{frame.width} * row + columns.begin, colour.y,
                    columns.end - columns.begin);

    Span chromaColumns = chromaSpan(columns);
    Span chromaRows = chromaSpan(rows);
    for (int row = chromaRows.begin; row < chromaRows.end; ++row) {
        std::size_t offset = std::size_t{frame.chromaWidth()} * row + chromaColumns.begin;
        std::size_t count = chromaColumns.end - chromaColumns.begin;
        std::memset(frame.u() + offset, colour.u, count);
        std::memset(frame.v() + offset, colour.v, count);
    }
}

void blendMask(Frame& frame, const AlphaMask& mask, int x, int y, Yuv colour, MaskFlip flip) {
    if (!frame.valid() || mask.alpha.size() < std::size_t{mask.width} * mask.height) return;
    PlacedMask placed(mask, x, y, flip, frame);
    Span columns = placed.columns();
    Span rows = placed.rows();
    if (columns.empty() || rows.empty()) return;

    for (int py = rows.begin; py < rows.end; ++py) {
        uint8_t* line = frame.y() + std::size_t{frame.width} * py;
        for (int px = columns.begin; px < columns.end; ++px)
            line[px] = blend(line[px], colour.y, placed.at(px, py));
    }

    Span chromaColumns = chromaSpan(columns);
    Span chromaRows = chromaSpan(rows);
    for (int cy = chromaRows.begin; cy < chromaRows.end; ++cy) {
        std::size_t line = std::size_t{frame.chromaWidth()} * cy;
        for (int cx = chromaColumns.begin; cx < chromaColumns.end; ++cx) {
            int px = 2 * cx;
            int py = 2 * cy;
            int coverage = placed.at(px, py) + placed.at(px + 1, py) + placed.at(px, py + 1) +
                           placed.at(px + 1, py + 1);
            int alpha = (coverage + 2) / 4;
            frame.u()[line + cx] = blend(frame.u()[line + cx], colour.u, alpha);
            frame.v()[line + cx] = blend(frame.v()[line + cx], colour.v, alpha);
        }
    }
}

}  // namespace host::video
