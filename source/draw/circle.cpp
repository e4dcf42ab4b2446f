#include <algorithm>
#include <cmath>
#include <cstdint>

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

// The midpoint walk of one octant (px from 0 up while px <= py), entered at
// any step: at step px the walk's py is the largest y with
// px^2 + (y - 1/2)^2 < r^2, and its decision variable is
// (px + 1)^2 + py^2 - py - r^2, so the steps that draw near the bitmap can be
// walked alone, with the same pixels as the whole walk.
struct Octant {
    int64_t r;
    // Largest k with k * k <= m (m < 2^64).
    static uint64_t ISqrt(uint64_t m) {
        uint64_t k = static_cast<uint64_t>(std::sqrt(static_cast<long double>(m)));
        if (k > 0xFFFFFFFFu) k = 0xFFFFFFFFu;
        while (k * k > m) --k;
        while (k < 0xFFFFFFFFu && (k + 1) * (k + 1) <= m) ++k;
        return k;
    }
    int64_t Py(int64_t px) const {
        if (px == 0) return r;
        if (px >= r) return -1;
        const uint64_t rr = static_cast<uint64_t>(r), xx = static_cast<uint64_t>(px);
        uint64_t k = ISqrt(4 * rr * rr - 4 * xx * xx - 1);  // largest odd k: k^2 < 4 r^2 - 4 px^2
        if (k % 2 == 0) --k;
        return static_cast<int64_t>((k + 1) / 2);
    }
    int64_t D(int64_t px, int64_t py) const { return (px + 1) * (px + 1) + py * py - py - r * r; }
    // The last step of the octant.
    int64_t Last() const {
        int64_t lo = 0, hi = r;  // px <= Py(px) holds at lo
        while (lo < hi) {
            const int64_t mid = lo + (hi - lo + 1) / 2;
            if (mid <= Py(mid)) lo = mid;
            else hi = mid - 1;
        }
        return lo;
    }
    // First step whose py is at most v (Py falls as px grows).
    int64_t FirstAtMost(int64_t v, int64_t last) const {
        int64_t lo = 0, hi = last + 1;
        while (lo < hi) {
            const int64_t mid = lo + (hi - lo) / 2;
            if (Py(mid) <= v) hi = mid;
            else lo = mid + 1;
        }
        return lo;
    }
};

struct Span { int64_t lo, hi; };
struct Spans {  // at most four
    Span s[4];
    int n = 0;
    void push_back(Span v) { s[n++] = v; }
};

// The steps px in [0, last] for which c + px or c - px lies in [-m, n - 1 + m].
void Near(int64_t c, int64_t n, int64_t m, Spans *out) {
    out->push_back({-m - c, n - 1 + m - c});
    out->push_back({c - n + 1 - m, c + m});
}

// The steps px in [0, last] whose py lies within [lo, hi].
void WithPy(const Octant &o, int64_t last, int64_t lo, int64_t hi, Spans *out) {
    if (hi < lo) return;
    out->push_back({o.FirstAtMost(hi, last), o.FirstAtMost(lo - 1, last) - 1});
}

// Calls step(px, py, d) for every step of the spans, in order, each once.
template <typename Step>
void WalkSpans(const Octant &o, int64_t last, Spans spans, Step step) {
    Span *const first = spans.s, *const end = spans.s + spans.n;
    for (Span *s = first; s != end; ++s) *s = {std::max<int64_t>(s->lo, 0), std::min(s->hi, last)};
    for (int i = 1; i < spans.n; ++i)  // by start
        for (int j = i; j > 0 && spans.s[j].lo < spans.s[j - 1].lo; --j) std::swap(spans.s[j], spans.s[j - 1]);
    int64_t next = 0;  // first step not yet walked
    for (const Span *sp = first; sp != end; ++sp) {
        const Span &s = *sp;
        const int64_t from = std::max(s.lo, next);
        if (from > s.hi) continue;
        int64_t px = from, py = o.Py(from), d = o.D(from, py);
        for (; px <= s.hi; ++px) step(px, py, d);
        next = s.hi + 1;
    }
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
    // Only the steps whose rows meet the bitmap: rows yc +- px and yc +- py.
    const Octant o{radius};
    const int64_t last = o.Last(), x = xc, y = yc;
    Spans spans;
    Near(yc, b->Height, 0, &spans);
    WithPy(o, last, -y, b->Height - 1 - y, &spans);
    WithPy(o, last, y - b->Height + 1, y, &spans);
    WalkSpans(o, last, spans, [&](int64_t &px, int64_t &py, int64_t &d) {
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
        py = npy;
    });
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
    // Only the steps whose points come within a brush of the bitmap.
    const Octant o{radius};
    const int64_t last = o.Last(), x = xc, y = yc;
    Spans spans;
    Near(xc, b->Width, 8, &spans);
    Near(yc, b->Height, 8, &spans);
    WalkSpans(o, last, spans, [&](int64_t &px, int64_t &py, int64_t &d) {
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
    });
}

}  // namespace draw
}  // namespace imge
