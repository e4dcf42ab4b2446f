// The drawing functions against the plain reference at huge coordinates and
// radii (the ordinary random shapes of every type run in fuzz_replay_test.cpp).
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "libimge.h"
#include "libtools.h"
#include "reference/draw_reference.h"
#include "support/bitmaps.h"

namespace {

struct Pair {
    IMG_BITMAP *ours = nullptr, *ref = nullptr;
    ~Pair() {
        imgFreeBitmap(ours);
        imgFreeBitmap(ref);
    }
};

// A random bitmap and its clone; random pixels, palette and origin.
void MakePair(std::mt19937 &rng, IMG_BITMAP_TYPE type, Pair *p) {
    std::uniform_int_distribution<int> size(1, 40), byte(0, 255);
    p->ours = imgCreateBitmap(type, size(rng), size(rng));
    ASSERT_NE(p->ours, nullptr);
    p->ours->Origin = (rng() & 1) ? IMG_BOTTOM_LEFT : IMG_TOP_LEFT;
    const size_t n = static_cast<size_t>(p->ours->BytesPerLine) * p->ours->Height;
    for (size_t i = 0; i < n; ++i) p->ours->Data[i] = static_cast<IMG_UINT8>(byte(rng));
    if (p->ours->ColorMap) {
        auto *m = reinterpret_cast<IMG_UINT8 *>(p->ours->ColorMap);
        for (size_t i = 0; i < 1024; ++i) m[i] = static_cast<IMG_UINT8>(byte(rng));
    }
    p->ref = imgCloneBitmap(p->ours);
    ASSERT_NE(p->ref, nullptr);
}

bool Same(const Pair &p) {
    return std::memcmp(p.ours->Data, p.ref->Data, static_cast<size_t>(p.ours->BytesPerLine) * p.ours->Height) == 0;
}

struct Pen {
    IMG_COLOR line{}, fill{};
    IMG_UINT8 line_bytes[4], fill_bytes[4];
    bool has_line, has_fill;
    IMG_UINT32 width, style, drawn_style;
};

Pen RandomPen(std::mt19937 &rng, const IMG_BITMAP *b) {
    Pen pen;
    std::uniform_int_distribution<int> c(0, 255);
    pen.line = {static_cast<IMG_UINT16>(c(rng)), static_cast<IMG_UINT16>(c(rng)), static_cast<IMG_UINT16>(c(rng)),
                static_cast<IMG_UINT16>(c(rng))};
    pen.fill = {static_cast<IMG_UINT16>(c(rng)), static_cast<IMG_UINT16>(c(rng)), static_cast<IMG_UINT16>(c(rng)),
                static_cast<IMG_UINT16>(c(rng))};
    imgGetColorArray(b, &pen.line, pen.line_bytes);
    imgGetColorArray(b, &pen.fill, pen.fill_bytes);
    pen.has_line = rng() % 5 != 0;
    pen.has_fill = rng() % 4 != 0;
    const IMG_UINT32 widths[] = {0, 1, 1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 200};
    pen.width = widths[rng() % (sizeof widths / sizeof widths[0])];
    pen.style = rng() % 5;
    pen.drawn_style = pen.width >= 2 ? 0 : pen.style;
    return pen;
}

}  // namespace

// Huge and negative coordinates, against the same formulas in 64-bit arithmetic.
TEST(DrawReferenceWide, HugeLinesAndPolygons) {
    std::mt19937 rng(6000);
    auto huge = [&](int32_t lim) {
        switch (rng() % 4) {
            case 0: return std::uniform_int_distribution<int32_t>(-lim, lim)(rng);
            case 1: return std::uniform_int_distribution<int32_t>(-50, 80)(rng);
            case 2: return rng() % 2 ? lim : -lim;
            default: return std::uniform_int_distribution<int32_t>(-100000, 100000)(rng);
        }
    };
    for (int iter = 0; iter < 3000; ++iter) {
        Pair p;
        MakePair(rng, testing_support::kByteTypes[iter % 9], &p);
        Pen pen = RandomPen(rng, p.ours);
        if (iter % 3 == 0) {
            const int32_t x0 = huge(INT32_MAX), y0 = huge(INT32_MAX), x1 = huge(INT32_MAX), y1 = huge(INT32_MAX);
            ASSERT_EQ(imgDrawLineColor(p.ours, x0, y0, x1, y1, pen.width, &pen.line, pen.style, nullptr), IMG_NO_ERROR);
            reference::DrawLineColorWide(p.ref, x0, y0, x1, y1, pen.width, pen.line_bytes, pen.drawn_style);
            ASSERT_TRUE(Same(p)) << "line (" << x0 << "," << y0 << ")-(" << x1 << "," << y1 << ")";
        } else {
            const int n = 3 + static_cast<int>(rng() % 6);
            std::vector<IMG_POINT> pts(n);
            for (auto &q : pts) q = {huge(1 << 30), huge(1 << 30)};
            ASSERT_EQ(imgDrawPolygonColor(p.ours, pts.data(), n, pen.has_fill ? &pen.fill : nullptr, pen.width,
                                          pen.has_line ? &pen.line : nullptr, pen.style, nullptr),
                      IMG_NO_ERROR);
            reference::DrawPolygonWide(p.ref, pts.data(), n, pen.has_fill ? pen.fill_bytes : nullptr, pen.width,
                                       pen.has_line ? pen.line_bytes : nullptr, pen.drawn_style);
            ASSERT_TRUE(Same(p)) << "polygon iter " << iter;
        }
    }
}

// Large circles around, across and beside small bitmaps (the shortcuts for
// bitmaps wholly inside or outside the circle).
TEST(DrawReferenceWide, LargeCircles) {
    std::mt19937 rng(7000);
    for (int iter = 0; iter < 600; ++iter) {
        Pair p;
        MakePair(rng, testing_support::kByteTypes[iter % 9], &p);
        Pen pen = RandomPen(rng, p.ours);
        // One in sixty up to 2^20: the steps near the bitmap are walked alone.
        const int32_t r = std::uniform_int_distribution<int32_t>(10, iter % 60 ? 3000 : 1 << 20)(rng);
        int32_t x = std::uniform_int_distribution<int32_t>(-r - 50, r + 50)(rng);
        int32_t y = std::uniform_int_distribution<int32_t>(-r - 50, r + 50)(rng);
        if (iter % 2) {
            // The bitmap's corner near the circle's rim on a diagonal: inside
            // the circle's square but possibly outside the disc.
            const int32_t d = static_cast<int32_t>(r * 0.70710678) + std::uniform_int_distribution<int32_t>(-9, 9)(rng);
            x = (iter & 2) ? -d : p.ours->Width - 1 + d;
            y = (iter & 4) ? -d : p.ours->Height - 1 + d;
        }
        ASSERT_EQ(imgDrawCircleColor(p.ours, x, y, r, pen.has_fill ? &pen.fill : nullptr, pen.width,
                                     pen.has_line ? &pen.line : nullptr, pen.style, nullptr),
                  IMG_NO_ERROR);
        reference::DrawCircle(p.ref, x, y, r, pen.has_fill ? pen.fill_bytes : nullptr, pen.width,
                              pen.has_line ? pen.line_bytes : nullptr, pen.drawn_style);
        ASSERT_TRUE(Same(p)) << "iter " << iter << " (" << x << "," << y << ") r " << r;
    }
}
