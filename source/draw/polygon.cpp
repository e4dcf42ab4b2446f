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

// A non-horizontal edge, upper end (xt, yt) and lower end (xb, yb).
struct Edge {
    int64_t yt, yb, xt, xb;
};

}  // namespace

IMG_ERROR DrawFillPolygon(IMG_BITMAP *b, const IMG_POINT *points, int32_t num_points, const IMG_UINT8 *color) {
    // One work block: the edges, the active edge indices and the crossings.
    const uint64_t n = static_cast<uint64_t>(num_points);
    const uint64_t bytes = n * (sizeof(Edge) + sizeof(int32_t) + sizeof(int64_t));
    if (bytes > UINT32_MAX) return IMG_ERROR_NO_MEMORY;
    BaseBlock block;
    block.p = imgMemoryAlloc(static_cast<IMG_UINT32>(bytes));
    if (!block.p) return IMG_ERROR_NO_MEMORY;
    Edge *edges = static_cast<Edge *>(block.p);
    int64_t *cross = reinterpret_cast<int64_t *>(edges + n);
    int32_t *active = reinterpret_cast<int32_t *>(cross + n);

    int32_t num_edges = 0;
    for (int32_t i = 0; i < num_points; ++i) {
        const IMG_POINT &p = points[i];
        const IMG_POINT &q = points[i + 1 == num_points ? 0 : i + 1];
        if (p.y == q.y) continue;  // horizontal edges never cross a row
        edges[num_edges++] = p.y < q.y ? Edge{p.y, q.y, p.x, q.x} : Edge{q.y, p.y, q.x, p.x};
    }
    if (num_edges == 0) return IMG_NO_ERROR;
    // Edges enter in order of their upper ends. Crossings are sorted per row,
    // so the order in which edges are visited does not change the spans.
    std::sort(edges, edges + num_edges, [](const Edge &a, const Edge &c) { return a.yt < c.yt; });
    int64_t ymin = edges[0].yt, ymax = edges[0].yb;
    for (int32_t i = 1; i < num_edges; ++i) ymax = std::max(ymax, edges[i].yb);

    // An edge crosses row y when yt < y <= yb. Rows outside the bitmap
    // receive nothing, and row ymin never gets a span (no edge counts at its
    // upper end): only visible rows are walked.
    const int64_t first = std::max<int64_t>(ymin + 1, 0);
    const int64_t last = std::min<int64_t>(ymax, int64_t{b->Height} - 1);
    int32_t next = 0, num_active = 0;
    for (int64_t y = first; y <= last; ++y) {
        while (next < num_edges && edges[next].yt < y) active[num_active++] = next++;
        int32_t k = 0, count = 0;
        for (int32_t a = 0; a < num_active; ++a) {
            const Edge &e = edges[active[a]];
            if (e.yb < y) continue;  // finished: dropped from the list
            active[k++] = active[a];
            cross[count++] = Crossing(y, e.xt, e.yt, e.xb, e.yb);
        }
        num_active = k;
        SortCrossings(cross, count);
        for (int32_t j = 0; j + 1 < count; j += 2) DrawHorizontalLine(b, cross[j], y, cross[j + 1], color);
    }
    return IMG_NO_ERROR;
}

}  // namespace draw
}  // namespace imge
