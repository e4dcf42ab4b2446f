#include <algorithm>

#include "draw/pen.h"
#include "draw/shapes.h"

namespace imge {
namespace draw {

namespace {

// Where a circle stands to the bitmap, to spare walking an octant that draws
// nothing new. Distances are compared in 64 bits: the coordinates are first
// limited by the radius, so the squares stay within range.
struct Extent {
    bool misses;  // no pixel of the bitmap lies within `reach` of the centre
    bool covers;  // every pixel of the bitmap lies within `inner` of the centre
};

// Distance from c to the nearest of the positions 0 .. n - 1.
uint64_t Gap(int64_t c, int64_t n) {
    if (c < 0) return static_cast<uint64_t>(-c);
    return c >= n ? static_cast<uint64_t>(c - (n - 1)) : 0;
}

Extent Locate(const IMG_BITMAP *b, int64_t xc, int64_t yc, int64_t r, int64_t reach, int64_t inner) {
    Extent e{false, false};
    if (xc + reach < 0 || xc - reach >= b->Width || yc + reach < 0 || yc - reach >= b->Height) {
        e.misses = true;
        return e;
    }
    // Within the square, the nearest pixel may still lie beyond the disc
    // (near a corner of the square). The walk's points stray less than a
    // pixel outside their radius, hence reach + 1. Both offsets are at most
    // reach < 2^32 here, so each square fits 63 bits and their sum 64.
    const uint64_t nx = Gap(xc, b->Width), ny = Gap(yc, b->Height);
    const uint64_t rr = static_cast<uint64_t>(reach) + 1;
    if (nx * nx + ny * ny > rr * rr) {
        e.misses = true;
        return e;
    }
    if (inner <= 0) return e;
    // The farthest pixel of the bitmap from the centre is one of its corners.
    const int64_t fx = std::max<int64_t>(xc, int64_t{b->Width} - 1 - xc);
    const int64_t fy = std::max<int64_t>(yc, int64_t{b->Height} - 1 - yc);
    if (fx > r || fy > r) return e;
    e.covers = fx * fx + fy * fy <= inner * inner;
    return e;
}

}  // namespace

// The walk's decision variable and coordinates are 64-bit so that radii near
// 2^31 do not overflow; below that the steps are the same.

void DrawFillCircleColor(IMG_BITMAP *b, int32_t xc, int32_t yc, int32_t radius, const IMG_UINT8 *color) {
    if (radius < 0) return;
    // The walk's spans reach at least sqrt(r^2 - t^2) - 1 on row offset t, so
    // a bitmap wholly within r - 3 of the centre is filled throughout; one
    // beside the circle's square gets nothing.
    const Extent where = Locate(b, xc, yc, radius, radius, radius >= 16 ? int64_t{radius} - 3 : 0);
    if (where.misses) return;
    if (where.covers) {
        for (int64_t row = 0; row < b->Height; ++row) DrawHorizontalLine(b, 0, row, int64_t{b->Width} - 1, color);
        return;
    }
    // Every span of a row is centred on xc, so each row only needs its widest
    // span: rows yc +- px get half-width py once per step, and rows yc +- py
    // are drawn once, with the last (widest) px before py moves on. Same
    // pixels as drawing all four spans of every step.
    int64_t px = 0, py = radius, d = 1 - int64_t{radius};
    const int64_t x = xc, y = yc;
    while (px <= py) {
        DrawHorizontalLine(b, x - py, y - px, x + py, color);
        if (px != 0) DrawHorizontalLine(b, x - py, y + px, x + py, color);
        const bool down = d >= 0;
        if (down) {
            d += 2 * (px - py) + 5;
        } else {
            d += 2 * px + 3;
        }
        const int64_t npy = down ? py - 1 : py, npx = px + 1;
        if (down || npx > npy) {
            DrawHorizontalLine(b, x - px, y + py, x + px, color);
            if (py != 0) DrawHorizontalLine(b, x - px, y - py, x + px, color);
        }
        px = npx;
        py = npy;
    }
}

void DrawCircleColor(IMG_BITMAP *b, int32_t xc, int32_t yc, int32_t radius, IMG_UINT32 line_width,
                     const IMG_UINT8 *color, IMG_UINT32 style) {
    if (radius < 0) return;
    // Every print is tested at pattern position 0: a one-pixel outline with a
    // non-solid style draws nothing (every such pattern has position 0 off).
    if (line_width < 2 && !StyleAllows(style, 0)) return;
    // Prints lie within one pixel of the radius, brushes reach 6 pixels
    // further: a bitmap beside the square or wholly within r - 16 of the
    // centre gets nothing.
    const int64_t reach = int64_t{radius} + 7;
    const Extent where = Locate(b, xc, yc, radius, reach, radius >= 32 ? int64_t{radius} - 16 : 0);
    if (where.misses || where.covers) return;
    int64_t px = 0, py = radius, d = 1 - int64_t{radius};
    const int64_t x = xc, y = yc;
    while (px <= py) {
        PlotBrushWithClip(b, x + px, y + py, color, line_width, style, 0);
        PlotBrushWithClip(b, x - px, y + py, color, line_width, style, 0);
        PlotBrushWithClip(b, x + px, y - py, color, line_width, style, 0);
        PlotBrushWithClip(b, x - px, y - py, color, line_width, style, 0);
        PlotBrushWithClip(b, x + py, y + px, color, line_width, style, 0);
        PlotBrushWithClip(b, x - py, y + px, color, line_width, style, 0);
        PlotBrushWithClip(b, x + py, y - px, color, line_width, style, 0);
        PlotBrushWithClip(b, x - py, y - px, color, line_width, style, 0);
        if (d < 0) {
            d += 2 * px + 3;
        } else {
            d += 2 * (px - py) + 5;
            --py;
        }
        ++px;
    }
}

}  // namespace draw
}  // namespace imge
