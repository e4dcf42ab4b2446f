#include "draw/line.h"

#include <cstring>

#include "draw/pen.h"

namespace imge {
namespace draw {
namespace {

inline int64_t Abs(int64_t v) { return v < 0 ? -v : v; }

// Clipping is done in 64-bit arithmetic: every clipped coordinate lies
// between the segment's own ends, so the products below stay under 2^63
// (a difference of two 32-bit values times a 32-bit value). Wherever the
// 32-bit products would not overflow the results are the same.
struct Clipped {
    int64_t x0, y0, x1, y1;
};

bool ClipSegment(int64_t x0, int64_t y0, int64_t x1, int64_t y1, int64_t w, int64_t h, Clipped *c) {
    int64_t cx0 = x0, cy0 = y0;
    if (cx0 < 0) {
        if (x1 < 0) return false;
        cy0 = y0 + (y0 - y1) * x0 / (x1 - x0);
        cx0 = 0;
    } else if (cx0 >= w) {
        if (x1 >= w) return false;
        cy0 = y0 + (y1 - y0) * (w - 1 - x0) / (x1 - x0);
        cx0 = w - 1;
    }
    if (cy0 < 0) {
        if (y1 < 0) return false;
        cx0 = cx0 + (cx0 - x1) * cy0 / (y1 - cy0);
        cy0 = 0;
    } else if (cy0 >= h) {
        if (y1 >= h) return false;
        cx0 = cx0 + (x1 - cx0) * (h - 1 - cy0) / (y1 - cy0);
        cy0 = h - 1;
    }
    if (cx0 < 0 || cx0 >= w || cy0 < 0 || cy0 >= h) return false;

    int64_t cx1 = x1, cy1 = y1;
    if (cx1 < 0) {
        cy1 = y1 + (y1 - cy0) * x1 / (cx0 - x1);
        cx1 = 0;
    } else if (cx1 >= w) {
        cy1 = y1 + (cy0 - y1) * (w - 1 - x1) / (cx0 - x1);
        cx1 = w - 1;
    }
    if (cy1 < 0) {
        cx1 = cx1 + (cx1 - cx0) * cy1 / (cy0 - cy1);
        cy1 = 0;
    } else if (cy1 >= h) {
        cx1 = cx1 + (cx0 - cx1) * (h - 1 - cy1) / (cy0 - cy1);
        cy1 = h - 1;
    }
    *c = {cx0, cy0, cx1, cy1};
    return true;
}

// One-pixel pen: the pixel address is stepped directly. After clipping both
// ends lie inside the bitmap and the accumulator never goes negative (the
// truncated increment lags toward the start), so / 8192 is a shift.
void StepThin(IMG_BITMAP *b, const Clipped &c, const IMG_UINT8 *color, IMG_UINT32 style) {
    const int bpp = b->BytesPerPixel;
    const int64_t bpl = b->BytesPerLine;
    const bool bottom = (b->Origin & IMG_BOTTOM) != 0;
    IMG_UINT8 *row0 = bottom ? b->Data + (int64_t{b->Height} - 1) * bpl : b->Data;
    const int64_t row_step = bottom ? -bpl : bpl;
    const IMG_UINT32 pattern = style == 0 ? 0x00FFFFFFu : TableOfStyle[style];
    const int64_t dx = c.x1 - c.x0, dy = c.y1 - c.y0;
    const bool x_major = Abs(dx) > Abs(dy);
    const int64_t n = x_major ? Abs(dx) : Abs(dy);
    const int64_t inc = x_major ? dy * kDdaScale / Abs(dx) : (n == 0 ? 0 : dx * kDdaScale / Abs(dy));
    int64_t acc = (x_major ? c.y0 : c.x0) * kDdaScale + kDdaScale / 2;
    int64_t major = x_major ? c.x0 : c.y0;
    const int64_t step = (x_major ? c.x0 < c.x1 : c.y0 < c.y1) ? 1 : -1;
    int64_t minor = x_major ? c.y0 : c.x0;
    int phase = 0;  // pos mod 24
    for (int64_t pos = 0;; ++pos) {
        if ((pattern >> phase) & 1u) {
            int64_t x = x_major ? major : minor, y = x_major ? minor : major;
            IMG_UINT8 *p = row0 + y * row_step + x * bpp;
            if (bpp == 1) {
                *p = color[0];
            } else {
                std::memcpy(p, color, static_cast<size_t>(bpp));
            }
        }
        if (pos == n) break;
        acc += inc;
        minor = acc >> 13;
        major += step;
        if (++phase == 24) phase = 0;
    }
}

void StepBrush(IMG_BITMAP *b, const Clipped &c, IMG_UINT32 width, const IMG_UINT8 *color, IMG_UINT32 style) {
    const int64_t dx = c.x1 - c.x0, dy = c.y1 - c.y0;
    if (Abs(dx) > Abs(dy)) {
        const int64_t step = c.x0 < c.x1 ? 1 : -1;
        const int64_t inc = dy * kDdaScale / Abs(dx);
        int64_t acc = c.y0 * kDdaScale + kDdaScale / 2;
        int64_t col = c.x0, row = c.y0;
        for (int64_t pos = 0;; ++pos) {
            PlotBrush(b, col, row, color, width, style, pos);
            if (col == c.x1) break;
            acc += inc;
            row = acc >> 13;
            col += step;
        }
    } else {
        const int64_t step = c.y0 < c.y1 ? 1 : -1;
        const int64_t inc = dx * kDdaScale / Abs(dy);
        int64_t acc = c.x0 * kDdaScale + kDdaScale / 2;
        int64_t row = c.y0, col = c.x0;
        for (int64_t pos = 0;; ++pos) {
            PlotBrush(b, col, row, color, width, style, pos);
            if (row == c.y1) break;
            acc += inc;
            col = acc >> 13;
            row += step;
        }
    }
}

}  // namespace

void DrawLineColor(IMG_BITMAP *b, int32_t x0, int32_t y0, int32_t x1, int32_t y1, IMG_UINT32 line_width,
                   const IMG_UINT8 *color, IMG_UINT32 style) {
    if (x0 == x1 && y0 == y1) {
        PlotBrushWithClip(b, x0, y0, color, line_width, style, 0);
        return;
    }
    Clipped c;
    if (!ClipSegment(x0, y0, x1, y1, b->Width, b->Height, &c)) return;
    if (c.x0 == c.x1 && c.y0 == c.y1) {
        // A segment clipped down to one point prints at its unclipped start.
        PlotBrushWithClip(b, x0, y0, color, line_width, style, 0);
        return;
    }
    if (line_width < 2 || line_width > 13) {
        StepThin(b, c, color, style);
    } else {
        StepBrush(b, c, line_width, color, style);
    }
}

void DrawPolylineColor(IMG_BITMAP *b, const IMG_POINT *points, int32_t num_points, IMG_UINT32 line_width,
                       const IMG_UINT8 *color, IMG_UINT32 style, bool closed) {
    for (int32_t i = 1; i < num_points; ++i)
        DrawLineColor(b, points[i - 1].x, points[i - 1].y, points[i].x, points[i].y, line_width, color, style);
    if (closed && num_points > 0)
        DrawLineColor(b, points[num_points - 1].x, points[num_points - 1].y, points[0].x, points[0].y, line_width,
                      color, style);
}

}  // namespace draw
}  // namespace imge
