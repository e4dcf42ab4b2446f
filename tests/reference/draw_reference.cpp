#include "reference/draw_reference.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace reference {
namespace {

const uint32_t kStyles[5] = {0x00FFFFFF, 0x00FFFFC0, 0x00E38E38, 0x00FF81C0, 0x00FF8E38};
const char *const kBrushes[13] = {
    "1",
    "1111",
    "010111010",
    "011011110110",
    "0111011111111111111101110",
    "011110111111111111111111011110",
    "0011100011111011111111111111111111101111100011100",
    "0011110001111110111111111111111111111111111111110111111000111100",
    "000111000011111110011111110111111111111111111111111111011111110011111110000111000",
    "0001111000011111111001111111101111111111111111111111111111111111111111011111111001111111100001111000",
    "0000111000000111111100011111111100111111111011111111111111111111111111111111101111111110011111111100011111110000001110000",
    "000011110000001111111100011111111110011111111110111111111111111111111111111111111111111111111111011111111110011111111110001111111100000011110000",
    "0000011100000000111111100000111111111000111111111110011111111111011111111111111111111111111111111111111101111111111100111111111110001111111110000011111110000000011100000",
};

// Brush pixels around points near the ends of the 32-bit range lie beyond
// it: positions are held in 64 bits here.
void PlotRaw(IMG_BITMAP *b, int64_t x, int64_t y, const IMG_UINT8 *color, uint32_t style, int32_t pos, bool clip) {
    if (b->Origin & IMG_BOTTOM) y = b->Height - 1 - y;
    if (clip && (x < 0 || x >= b->Width || y < 0 || y >= b->Height)) return;
    if (style != 0 && ((kStyles[style] >> (pos % 24)) & 1) == 0) return;
    std::memcpy(b->Data + y * b->BytesPerLine + x * b->BytesPerPixel, color, b->BytesPerPixel);
}

void Brush(IMG_BITMAP *b, int32_t x, int32_t y, const IMG_UINT8 *color, uint32_t size, uint32_t style, int32_t pos,
           bool clip) {
    if (size < 2 || size > 13) {
        PlotRaw(b, x, y, color, style, pos, clip);
        return;
    }
    int32_t n = static_cast<int32_t>(size), half = n / 2;
    const char *mask = kBrushes[n - 1];
    size_t len = std::strlen(mask);
    for (int32_t j = 0; j < n; ++j)
        for (int32_t i = 0; i < n; ++i) {
            size_t k = static_cast<size_t>(j * n + i);
            if (k < len && mask[k] == '1') PlotRaw(b, int64_t{x} - half + i, int64_t{y} - half + j, color, style, 0, true);
        }
}

}  // namespace

void PlotWithClip(IMG_BITMAP *b, int32_t x, int32_t y, const IMG_UINT8 *color, uint32_t style, int32_t pos) {
    PlotRaw(b, x, y, color, style, pos, true);
}

void PlotBrushWithClip(IMG_BITMAP *b, int32_t x, int32_t y, const IMG_UINT8 *color, uint32_t size, uint32_t style,
                       int32_t pos) {
    Brush(b, x, y, color, size, style, pos, true);
}

void DrawHorizontalLine(IMG_BITMAP *b, int32_t x, int32_t y, int32_t xe, const IMG_UINT8 *color) {
    if (b->Origin & IMG_BOTTOM) y = b->Height - 1 - y;
    if (x < 0) {
        x = 0;
    } else if (x >= b->Width) {
        return;
    }
    if (xe < 0) return;
    if (xe >= b->Width) xe = b->Width - 1;
    if (y < 0 || y >= b->Height) return;
    for (int32_t i = x; i <= xe; ++i)
        std::memcpy(b->Data + y * b->BytesPerLine + i * b->BytesPerPixel, color, b->BytesPerPixel);
}

namespace {

template <typename I>
void LineT(IMG_BITMAP *b, I x0, I y0, I x1, I y1, uint32_t width, const IMG_UINT8 *color, uint32_t style) {
    const I W = b->Width, H = b->Height;
    if (x0 == x1 && y0 == y1) {
        Brush(b, static_cast<int32_t>(x0), static_cast<int32_t>(y0), color, width, style, 0, true);
        return;
    }
    I cx0 = x0, cy0 = y0;
    if (cx0 < 0) {
        if (x1 < 0) return;
        cy0 = y0 + (y0 - y1) * x0 / (x1 - x0);
        cx0 = 0;
    } else if (cx0 >= W) {
        if (x1 >= W) return;
        cy0 = y0 + (y1 - y0) * (W - 1 - x0) / (x1 - x0);
        cx0 = W - 1;
    }
    if (cy0 < 0) {
        if (y1 < 0) return;
        cx0 = cx0 + (cx0 - x1) * cy0 / (y1 - cy0);
        cy0 = 0;
    } else if (cy0 >= H) {
        if (y1 >= H) return;
        cx0 = cx0 + (x1 - cx0) * (H - 1 - cy0) / (y1 - cy0);
        cy0 = H - 1;
    }
    if (cx0 < 0 || cx0 >= W || cy0 < 0 || cy0 >= H) return;
    I cx1 = x1, cy1 = y1;
    if (cx1 < 0) {
        cy1 = y1 + (y1 - cy0) * x1 / (cx0 - x1);
        cx1 = 0;
    } else if (cx1 >= W) {
        cy1 = y1 + (cy0 - y1) * (W - 1 - x1) / (cx0 - x1);
        cx1 = W - 1;
    }
    if (cy1 < 0) {
        cx1 = cx1 + (cx1 - cx0) * cy1 / (cy0 - cy1);
        cy1 = 0;
    } else if (cy1 >= H) {
        cx1 = cx1 + (cx0 - cx1) * (H - 1 - cy1) / (cy0 - cy1);
        cy1 = H - 1;
    }
    if (cx0 == cx1 && cy0 == cy1) {
        Brush(b, static_cast<int32_t>(x0), static_cast<int32_t>(y0), color, width, style, 0, true);
        return;
    }
    I dx = cx1 - cx0, dy = cy1 - cy0;
    I adx = dx < 0 ? -dx : dx, ady = dy < 0 ? -dy : dy;
    if (adx > ady) {
        I step = cx0 < cx1 ? 1 : -1, inc = dy * 8192 / adx, acc = cy0 * 8192 + 4096;
        I col = cx0, row = cy0;
        int32_t pos = 0;
        for (;;) {
            Brush(b, static_cast<int32_t>(col), static_cast<int32_t>(row), color, width, style, pos, false);
            if (col == cx1) break;
            acc = acc + inc;
            row = acc / 8192;
            col = col + step;
            pos = pos + 1;
        }
    } else {
        I step = cy0 < cy1 ? 1 : -1, inc = dx * 8192 / ady, acc = cx0 * 8192 + 4096;
        I row = cy0, col = cx0;
        int32_t pos = 0;
        for (;;) {
            Brush(b, static_cast<int32_t>(col), static_cast<int32_t>(row), color, width, style, pos, false);
            if (row == cy1) break;
            acc = acc + inc;
            col = acc / 8192;
            row = row + step;
            pos = pos + 1;
        }
    }
}

}  // namespace

void DrawLineColor(IMG_BITMAP *b, int32_t x0, int32_t y0, int32_t x1, int32_t y1, uint32_t width,
                   const IMG_UINT8 *color, uint32_t style) {
    LineT<int32_t>(b, x0, y0, x1, y1, width, color, style);
}

void DrawLineColorWide(IMG_BITMAP *b, int32_t x0, int32_t y0, int32_t x1, int32_t y1, uint32_t width,
                       const IMG_UINT8 *color, uint32_t style) {
    LineT<int64_t>(b, x0, y0, x1, y1, width, color, style);
}

void DrawPolylineColor(IMG_BITMAP *b, const IMG_POINT *points, int32_t n, uint32_t width, const IMG_UINT8 *color,
                       uint32_t style) {
    for (int32_t i = 1; i < n; ++i)
        DrawLineColor(b, points[i - 1].x, points[i - 1].y, points[i].x, points[i].y, width, color, style);
}

void DrawRectangle(IMG_BITMAP *b, int32_t x0, int32_t y0, int32_t w, int32_t h, const IMG_UINT8 *fill, uint32_t width,
                   const IMG_UINT8 *line, uint32_t style) {
    int32_t x1 = x0 + w - 1, y1 = y0 + h - 1;
    if (fill) {
        int32_t xa = x0 < x1 ? x0 : x1, xb = x0 < x1 ? x1 : x0, ya = y0 < y1 ? y0 : y1, yb = y0 < y1 ? y1 : y0;
        for (int32_t y = ya; y <= yb; ++y) DrawHorizontalLine(b, xa, y, xb, fill);
    }
    if (!line) return;
    DrawLineColor(b, x0, y0, x1, y0, width, line, style);
    DrawLineColor(b, x1, y0, x1, y1, width, line, style);
    DrawLineColor(b, x1, y1, x0, y1, width, line, style);
    DrawLineColor(b, x0, y1, x0, y0, width, line, style);
}

void DrawCircle(IMG_BITMAP *b, int32_t xc, int32_t yc, int32_t r, const IMG_UINT8 *fill, uint32_t width,
                const IMG_UINT8 *line, uint32_t style) {
    if (r < 0) return;
    if (fill) {
        int32_t px = 0, py = r, d = 1 - r;
        while (px <= py) {
            DrawHorizontalLine(b, xc - px, yc + py, xc + px, fill);
            DrawHorizontalLine(b, xc - px, yc - py, xc + px, fill);
            DrawHorizontalLine(b, xc - py, yc - px, xc + py, fill);
            DrawHorizontalLine(b, xc - py, yc + px, xc + py, fill);
            if (d < 0) {
                d = d + 2 * px + 3;
            } else {
                d = d + 2 * (px - py) + 5;
                py = py - 1;
            }
            px = px + 1;
        }
    }
    if (line) {
        int32_t px = 0, py = r, d = 1 - r;
        while (px <= py) {
            const int32_t pts[8][2] = {{xc + px, yc + py}, {xc - px, yc + py}, {xc + px, yc - py}, {xc - px, yc - py},
                                       {xc + py, yc + px}, {xc - py, yc + px}, {xc + py, yc - px}, {xc - py, yc - px}};
            for (auto &p : pts) Brush(b, p[0], p[1], line, width, style, 0, true);
            if (d < 0) {
                d = d + 2 * px + 3;
            } else {
                d = d + 2 * (px - py) + 5;
                py = py - 1;
            }
            px = px + 1;
        }
    }
}

namespace {

template <typename I>
void PolygonT(IMG_BITMAP *b, const IMG_POINT *points, int32_t n, const IMG_UINT8 *fill, uint32_t width,
              const IMG_UINT8 *line, uint32_t style) {
    std::vector<IMG_POINT> copy(points, points + n);
    copy.push_back(points[0]);
    if (fill) {
        const IMG_POINT *p = points;
        if (n == 4 && p[0].x == p[3].x && p[1].x == p[2].x && p[0].y == p[1].y && p[2].y == p[3].y) {
            int32_t xa = p[0].x < p[1].x ? p[0].x : p[1].x, xb = p[0].x < p[1].x ? p[1].x : p[0].x;
            int32_t ya = p[0].y < p[2].y ? p[0].y : p[2].y, yb = p[0].y < p[2].y ? p[2].y : p[0].y;
            if (sizeof(I) > 4) {  // as below: only the rows that can show
                ya = std::max<int32_t>(ya, -1);
                yb = std::min<int32_t>(yb, b->Height);
            }
            for (int32_t y = ya; y <= yb; ++y) DrawHorizontalLine(b, xa, y, xb, fill);
        } else {
            int32_t ymin = points[0].y, ymax = points[0].y;
            for (int32_t i = 1; i < n; ++i) {
                if (points[i].y < ymin) ymin = points[i].y;
                if (points[i].y > ymax) ymax = points[i].y;
            }
            std::vector<int32_t> cross(static_cast<size_t>(n) + 2);
            // The wide oracle walks only the rows that can show (the others
            // draw nothing), so that huge polygons stay quick to check.
            I ylo = ymin, yhi = ymax;
            if (sizeof(I) > 4) {
                ylo = std::max<I>(ylo, -1);
                yhi = std::min<I>(yhi, b->Height);
            }
            for (I y = ylo; y <= yhi; ++y) {
                int32_t count = 0;
                for (int32_t i = 0; i < n; ++i) {
                    IMG_POINT t = copy[i], u = copy[i + 1];
                    if (u.y < t.y) std::swap(t, u);
                    if (t.y < y && y <= u.y)
                        cross[count++] = static_cast<int32_t>(I{t.x} + (I{y} - t.y) * (I{u.x} - t.x) / (I{u.y} - t.y));
                }
                for (int32_t i = 0; i + 1 < count; ++i) {
                    int32_t m = i;
                    for (int32_t k = i + 1; k < count; ++k)
                        if (cross[k] < cross[m]) m = k;
                    std::swap(cross[i], cross[m]);
                }
                for (int32_t j = 0; j < count; j += 2)
                    DrawHorizontalLine(b, cross[j], static_cast<int32_t>(y), cross[j + 1], fill);
            }
        }
    }
    if (line)
        for (int32_t i = 1; i <= n; ++i)
            LineT<I>(b, copy[i - 1].x, copy[i - 1].y, copy[i].x, copy[i].y, width, line, style);
}

}  // namespace

void DrawPolygon(IMG_BITMAP *b, const IMG_POINT *points, int32_t n, const IMG_UINT8 *fill, uint32_t width,
                 const IMG_UINT8 *line, uint32_t style) {
    PolygonT<int32_t>(b, points, n, fill, width, line, style);
}

void DrawPolygonWide(IMG_BITMAP *b, const IMG_POINT *points, int32_t n, const IMG_UINT8 *fill, uint32_t width,
                     const IMG_UINT8 *line, uint32_t style) {
    PolygonT<int64_t>(b, points, n, fill, width, line, style);
}

}  // namespace reference
