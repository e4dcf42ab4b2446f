// The pen: line styles, round brushes, clipped plotting and solid spans.
// Everything here draws straight into a public IMG_BITMAP; picture rows are
// counted from the top whatever the bitmap's Origin.
#pragma once

#include <cstdint>

#include "libimg.h"

namespace imge {
namespace draw {

// Number of line styles (IMG_LINE_STYLE_SOLID .. IMG_LINE_STYLE_DASHDOTDOT).
constexpr IMG_UINT32 kStyleCount = 5;
// Low 24 bits: bit k tells whether pattern position k is drawn.
extern const IMG_UINT32 TableOfStyle[kStyleCount];

struct Brush {
    const char *pattern;  // row by row, size x size; '1' marks a brush pixel
};
// Brushes of sizes 1 to 13 (entry size - 1).
extern const Brush TableOfBrush[13];

// True when the style lets pattern position pos (never negative) through.
inline bool StyleAllows(IMG_UINT32 style, int64_t pos) {
    return style == 0 || ((TableOfStyle[style] >> (pos % 24)) & 1u) != 0;
}

void PlotWithClip(IMG_BITMAP *b, int64_t x, int64_t y, const IMG_UINT8 *color, IMG_UINT32 style, int64_t pos);
// As PlotWithClip; (x, y) must lie inside the bitmap.
void Plot(IMG_BITMAP *b, int64_t x, int64_t y, const IMG_UINT8 *color, IMG_UINT32 style, int64_t pos);
void PlotBrushWithClip(IMG_BITMAP *b, int64_t x, int64_t y, const IMG_UINT8 *color, IMG_UINT32 size,
                       IMG_UINT32 style, int64_t pos);
// As PlotBrushWithClip, except that a one-pixel pen uses Plot.
void PlotBrush(IMG_BITMAP *b, int64_t x, int64_t y, const IMG_UINT8 *color, IMG_UINT32 size,
               IMG_UINT32 style, int64_t pos);
// Pixels x..xe of row y, clipped; always solid.
void DrawHorizontalLine(IMG_BITMAP *b, int64_t x, int64_t y, int64_t xe, const IMG_UINT8 *color);
void GetMinMax(IMG_POINT *ptmin, IMG_POINT *ptmax, const IMG_POINT point[2]);
// Fills the rectangle with opposite corners point[0] and point[1], both included.
void DrawFillRectangle(IMG_BITMAP *b, const IMG_POINT point[2], const IMG_UINT8 *color);

// Start of the buffer row that shows picture row y (0 <= y < Height).
inline IMG_UINT8 *PictureRow(const IMG_BITMAP *b, int64_t y) {
    if (b->Origin & IMG_BOTTOM) y = b->Height - 1 - y;
    return b->Data + static_cast<int64_t>(y) * b->BytesPerLine;
}

// Sets n pixels from p on (n >= 1).
void FillPixels(IMG_UINT8 *p, int64_t n, int bpp, const IMG_UINT8 *color);

}  // namespace draw
}  // namespace imge
