#include "draw/pen.h"
#include "draw/shapes.h"

namespace imge {
namespace draw {

// The walk's decision variable and coordinates are 64-bit so that radii near
// 2^31 do not overflow; below that the steps are the same.

void DrawFillCircleColor(IMG_BITMAP *b, int32_t xc, int32_t yc, int32_t radius, const IMG_UINT8 *color) {
    if (radius < 0) return;
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
