#include "draw/pen.h"

#include <cstring>

namespace imge {
namespace draw {

const IMG_UINT32 TableOfStyle[kStyleCount] = {
    0x00FFFFFFu,  // solid
    0x00FFFFC0u,  // dash: 6 off, 18 on
    0x00E38E38u,  // dot: (3 off, 3 on) x 4
    0x00FF81C0u,  // dash-dot: 6 off, 3 on, 6 off, 9 on
    0x00FF8E38u,  // dash-dot-dot: 3 off, 3 on, 3 off, 3 on, 3 off, 9 on
};

// Sizes 4 and 6 are one row short on purpose: their last row stays empty.
const Brush TableOfBrush[13] = {
    {"1"},
    {"1111"},
    {"010111010"},
    {"011011110110"},
    {"0111011111111111111101110"},
    {"011110111111111111111111011110"},
    {"0011100011111011111111111111111111101111100011100"},
    {"0011110001111110111111111111111111111111111111110111111000111100"},
    {"000111000011111110011111110111111111111111111111111111011111110011111110000111000"},
    {"0001111000011111111001111111101111111111111111111111111111111111111111011111111001111111100001111000"},
    {"0000111000000111111100011111111100111111111011111111111111111111111111111111101111111110011111111100011111110000001110000"},
    {"000011110000001111111100011111111110011111111110111111111111111111111111111111111111111111111111011111111110011111111110001111111100000011110000"},
    {"0000011100000000111111100000111111111000111111111110011111111111011111111111111111111111111111111111111101111111111100111111111110001111111110000011111110000000011100000"},
};

void FillPixels(IMG_UINT8 *p, int64_t n, int bpp, const IMG_UINT8 *color) {
    if (bpp == 1) {
        std::memset(p, color[0], static_cast<size_t>(n));
        return;
    }
    // A few pixels one by one, then the filled prefix is copied onto the rest
    // in doubling blocks: long spans of wide pixels run at copy speed.
    const int64_t head = n < 8 ? n : 8;
    for (int64_t i = 0; i < head; ++i) std::memcpy(p + i * bpp, color, static_cast<size_t>(bpp));
    const int64_t total = n * bpp;
    int64_t done = head * bpp;
    while (done < total) {
        const int64_t chunk = done < total - done ? done : total - done;
        std::memcpy(p + done, p, static_cast<size_t>(chunk));
        done += chunk;
    }
}

void Plot(IMG_BITMAP *b, int64_t x, int64_t y, const IMG_UINT8 *color, IMG_UINT32 style, int64_t pos) {
    if (!StyleAllows(style, pos)) return;
    std::memcpy(PictureRow(b, y) + x * b->BytesPerPixel, color, b->BytesPerPixel);
}

void PlotWithClip(IMG_BITMAP *b, int64_t x, int64_t y, const IMG_UINT8 *color, IMG_UINT32 style, int64_t pos) {
    // Picture coordinates are tested before the row is flipped: the flip maps
    // 0..Height-1 onto itself, so the outcome is the same.
    if (x < 0 || x >= b->Width || y < 0 || y >= b->Height) return;
    Plot(b, x, y, color, style, pos);
}

void PlotBrushWithClip(IMG_BITMAP *b, int64_t x, int64_t y, const IMG_UINT8 *color, IMG_UINT32 size,
                       IMG_UINT32 style, int64_t pos) {
    if (size < 2 || size > 13) {
        PlotWithClip(b, x, y, color, style, pos);
        return;
    }
    // Every brush pixel is tested at pattern position 0.
    if (!StyleAllows(style, 0)) return;
    const int n = static_cast<int>(size);
    const int64_t half = n / 2;
    const char *mask = TableOfBrush[n - 1].pattern;
    const size_t len = std::strlen(mask);
    for (int j = 0; j < n; ++j) {
        const int64_t py = y - half + j;
        if (py < 0 || py >= b->Height) continue;
        // Each maximal run of '1's in the row is one clipped span.
        int i = 0;
        while (i < n) {
            size_t k = static_cast<size_t>(j) * n + i;
            if (k >= len || mask[k] != '1') {
                ++i;
                continue;
            }
            int e = i;
            while (e + 1 < n && k + (e + 1 - i) < len && mask[k + (e + 1 - i)] == '1') ++e;
            int64_t xs = x - half + i, xe = x - half + e;
            if (xs < 0) xs = 0;
            if (xe >= b->Width) xe = b->Width - 1;
            if (xs <= xe) FillPixels(PictureRow(b, py) + xs * b->BytesPerPixel, xe - xs + 1, b->BytesPerPixel, color);
            i = e + 1;
        }
    }
}

void PlotBrush(IMG_BITMAP *b, int64_t x, int64_t y, const IMG_UINT8 *color, IMG_UINT32 size,
               IMG_UINT32 style, int64_t pos) {
    if (size < 2 || size > 13) {
        Plot(b, x, y, color, style, pos);
        return;
    }
    PlotBrushWithClip(b, x, y, color, size, style, pos);
}

void DrawHorizontalLine(IMG_BITMAP *b, int64_t x, int64_t y, int64_t xe, const IMG_UINT8 *color) {
    if (y < 0 || y >= b->Height) return;
    if (x < 0) {
        x = 0;
    } else if (x >= b->Width) {
        return;
    }
    if (xe < 0) return;
    if (xe >= b->Width) xe = b->Width - 1;
    if (x > xe) return;
    FillPixels(PictureRow(b, y) + x * b->BytesPerPixel, xe - x + 1, b->BytesPerPixel, color);
}

void GetMinMax(IMG_POINT *ptmin, IMG_POINT *ptmax, const IMG_POINT point[2]) {
    ptmin->x = point[0].x < point[1].x ? point[0].x : point[1].x;
    ptmin->y = point[0].y < point[1].y ? point[0].y : point[1].y;
    ptmax->x = point[0].x < point[1].x ? point[1].x : point[0].x;
    ptmax->y = point[0].y < point[1].y ? point[1].y : point[0].y;
}

void DrawFillRectangle(IMG_BITMAP *b, const IMG_POINT point[2], const IMG_UINT8 *color) {
    IMG_POINT lo, hi;
    GetMinMax(&lo, &hi, point);
    // Rows outside the bitmap draw nothing: only the visible ones are walked.
    int64_t y0 = lo.y < 0 ? 0 : lo.y;
    int64_t y1 = hi.y >= b->Height ? int64_t{b->Height} - 1 : hi.y;
    for (int64_t y = y0; y <= y1; ++y) DrawHorizontalLine(b, lo.x, y, hi.x, color);
}

}  // namespace draw
}  // namespace imge
