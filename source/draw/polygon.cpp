#include <algorithm>
#include <cstdint>

#include "draw/pen.h"
#include "draw/shapes.h"
#include "libtools.h"

namespace imge {
namespace draw {
namespace {

// The crossing xt + (y - yt) * (xb - xt) / (yb - yt), truncated toward zero,
// without overflow: 0 <= y - yt <= yb - yt < 2^32 and |xb - xt| < 2^32, so the
// magnitude of the product fits 64 unsigned bits. The result lies between xt
// and xb.
inline int64_t Crossing(int64_t y, int64_t xt, int64_t yt, int64_t xb, int64_t yb) {
    const int64_t dx = xb - xt;
    const uint64_t mag = static_cast<uint64_t>(dx < 0 ? -dx : dx) * static_cast<uint64_t>(y - yt) /
                         static_cast<uint64_t>(yb - yt);
    return dx < 0 ? xt - static_cast<int64_t>(mag) : xt + static_cast<int64_t>(mag);
}

// Ascending order; the result does not depend on the method, so few values
// are sorted by insertion and many by std::sort.
void SortCrossings(int64_t *v, int32_t n) {
    if (n > 24) {
        std::sort(v, v + n);
        return;
    }
    for (int32_t i = 1; i < n; ++i) {
        const int64_t t = v[i];
        int32_t j = i;
        for (; j > 0 && v[j - 1] > t; --j) v[j] = v[j - 1];
        v[j] = t;
    }
}

// A block from imgMemoryAlloc, released on every way out.
struct BaseBlock {
    void *p = nullptr;
    ~BaseBlock() { imgMemoryFree(p); }
};

}  // namespace

IMG_ERROR DrawFillPolygon(IMG_BITMAP *b, const IMG_POINT *points, int32_t num_points, const IMG_UINT8 *color) {
    const uint64_t bytes = static_cast<uint64_t>(num_points) * sizeof(int64_t);
    if (bytes > UINT32_MAX) return IMG_ERROR_NO_MEMORY;
    BaseBlock block;
    block.p = imgMemoryAlloc(static_cast<IMG_UINT32>(bytes));
    if (!block.p) return IMG_ERROR_NO_MEMORY;
    int64_t *cross = static_cast<int64_t *>(block.p);

    int64_t ymin = points[0].y, ymax = points[0].y;
    for (int32_t i = 1; i < num_points; ++i) {
        ymin = std::min<int64_t>(ymin, points[i].y);
        ymax = std::max<int64_t>(ymax, points[i].y);
    }
    // Rows outside the bitmap receive nothing, and row ymin never gets a
    // span (no edge counts at its upper end): only visible rows are walked.
    const int64_t first = std::max<int64_t>(ymin + 1, 0);
    const int64_t last = std::min<int64_t>(ymax, int64_t{b->Height} - 1);
    for (int64_t y = first; y <= last; ++y) {
        int32_t n = 0;
        for (int32_t i = 0; i < num_points; ++i) {
            const IMG_POINT &p = points[i];
            const IMG_POINT &q = points[i + 1 == num_points ? 0 : i + 1];
            if (p.y == q.y) continue;
            const bool p_top = p.y < q.y;
            const int64_t yt = p_top ? p.y : q.y, yb = p_top ? q.y : p.y;
            if (!(yt < y && y <= yb)) continue;
            cross[n++] = p_top ? Crossing(y, p.x, p.y, q.x, q.y) : Crossing(y, q.x, q.y, p.x, p.y);
        }
        SortCrossings(cross, n);
        for (int32_t j = 0; j + 1 < n; j += 2) DrawHorizontalLine(b, cross[j], y, cross[j + 1], color);
    }
    return IMG_NO_ERROR;
}

}  // namespace draw
}  // namespace imge
