// The filter row frame: edge-extended rows, the rows each ring slot holds,
// hand-over and every refusal.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "core/row_frame.h"
#include "libformat.h"
#include "libtools.h"
#include "support/bitmaps.h"

using testing_support::OwnedImf;

namespace {

TEST(PrepareRow, StatedExampleAndRowsBeyondTheEdges) {
    OwnedImf g;
    ASSERT_NE(imfAllock(g.get(), IMF_GREY, 4, 3, 2), 0);
    const TUbyte row0[3] = {10, 20, 30}, row1[3] = {1, 2, 3};
    std::memcpy(g->Data, row0, 3);
    std::memcpy(g->Data + g->BytesPerLine, row1, 3);
    const TUbyte top[7] = {10, 10, 10, 20, 30, 30, 30}, bottom[7] = {1, 1, 1, 2, 3, 3, 3};
    for (TLong y : {-3, -1, 0, 1, 2, 9}) {
        TUbyte buf[7];
        imge::PrepareRow(buf, g.get(), y, 5);
        EXPECT_EQ(std::memcmp(buf, y < 1 ? top : bottom, 7), 0) << y;
    }
    OwnedImf c;
    ASSERT_NE(imfAllock(c.get(), IMF_RGB, 1, 2, 1), 0);
    const TUbyte px[6] = {1, 2, 3, 4, 5, 6};
    std::memcpy(c->Data, px, 6);
    TUbyte buf[18];
    imge::PrepareRow(buf, c.get(), 0, 4);  // half 2: (2 + 4) pixels
    const TUbyte want[18] = {1, 2, 3, 1, 2, 3, 1, 2, 3, 4, 5, 6, 4, 5, 6, 4, 5, 6};
    EXPECT_EQ(std::memcmp(buf, want, 18), 0);
}

// Writes the sample of slot k, column offset j of every byte, and checks the
// leaving row against the row above the neighbourhood.
struct ProbeKernel {
    ProbeKernel(int n_, int k_, int j_) : n(n_), k(k_), j(j_) {}
    int n, k, j, bpp = 0, width = 0;
    const IMF_BITMAP *src = nullptr;
    int rows_seen = 0, leaving_errors = 0, top = 0;
    bool fail_prepare = false;
    bool Prepare(int w, int b) {
        width = w;
        bpp = b;
        return !fail_prepare;
    }
    void Row(const uint8_t *const *slots, int begin, int end, uint8_t *out) {
        for (int i = begin; i < end; ++i) out[i] = slots[k][i + j * bpp];
        // slots[n] must hold the row the previous neighbourhood started with.
        if (rows_seen == 0) {
            if (slots[n] != nullptr) ++leaving_errors;
        } else {
            int r = top + rows_seen - (n >> 1) - 1;
            r = r < 0 ? 0 : (r >= src->Height ? src->Height - 1 : r);
            const uint8_t *want = src->Data + static_cast<long long>(r) * src->BytesPerLine;
            if (!slots[n] || std::memcmp(slots[n] + (n >> 1) * bpp, want, static_cast<size_t>(width) * bpp))
                ++leaving_errors;
        }
        ++rows_seen;
    }
};

// Inside the area every byte is the sample of slot k, column offset j
// (clamped to the bitmap); outside it the source's byte.
void ExpectProbedBytes(const IMF_BITMAP &before, const IMF_BITMAP &out, const IMF_RECT *area, int n, int k, int j) {
    const int w = before.Width, h = before.Height;
    const IMF_RECT r = area ? *area : IMF_RECT{0, 0, w, h};
    const int bpp = before.BytesPerPixel, half = n >> 1;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const bool inside = x >= r.left && x < r.left + r.width && y >= r.top && y < r.top + r.height;
            int sy = y, sx = x;
            if (inside) {
                sy = std::min(std::max(y - half + k, 0), h - 1);
                sx = std::min(std::max(x - half + j, 0), w - 1);
            } else if (!area) {
                continue;
            }
            for (int c = 0; c < bpp; ++c) {
                const int got = out.Data[static_cast<long long>(y) * out.BytesPerLine + x * bpp + c];
                const int want = before.Data[static_cast<long long>(sy) * before.BytesPerLine + sx * bpp + c];
                ASSERT_EQ(got, want) << "x " << x << " y " << y << " c " << c;
            }
        }
}

TEST(RowFrame, SlotsHoldTheClampedNeighbourhoodForOddAndEvenSides) {
    std::mt19937 rng(11);
    std::uniform_int_distribution<int> size(1, 23), side(1, 15), coin(0, 1);
    for (int iter = 0; iter < 300; ++iter) {
        const unsigned type = testing_support::kByteTypes[iter % 9];
        const int w = size(rng), h = size(rng), n = side(rng);
        OwnedImf src, before, dst;
        testing_support::MakeRandom(rng, type, w, h, 1 + iter % 4, &src);
        src->TransparentIndex = 3;
        testing_support::Clone(*src.get(), &before);
        std::uniform_int_distribution<int> pick(0, n - 1);
        const int pk = pick(rng), pj = pick(rng);
        ProbeKernel probe(n, pk, pj);
        probe.src = before.get();
        const bool use_area = coin(rng), with_dst = coin(rng);
        IMF_RECT area = use_area ? testing_support::RandomArea(rng, w, h) : IMF_RECT{0, 0, w, h};
        probe.top = area.top;
        SCOPED_TRACE(testing_support::TypeName(type) + " " + std::to_string(w) + "x" + std::to_string(h) + " n" +
                     std::to_string(n) + " k" + std::to_string(probe.k) + " j" + std::to_string(probe.j));
        TUbyte *old_data = src->Data;
        ASSERT_EQ(imge::RunRowFilter(src.get(), with_dst ? dst.get() : nullptr, use_area ? &area : nullptr, n, true,
                                     probe),
                  IMF_NOERROR);
        const IMF_BITMAP &out = with_dst ? *dst.get() : *src.get();
        if (with_dst) {
            EXPECT_EQ(testing_support::Diff(*src.get(), *before.get()), "");
        } else {
            EXPECT_NE(src->Data, old_data);
        }
        EXPECT_EQ(out.TransparentIndex, -1);
        EXPECT_EQ(out.ColorUsed, before->ColorUsed);
        EXPECT_EQ(out.Pack, before->Pack);
        EXPECT_EQ(probe.rows_seen, area.width > 0 ? area.height : 0);
        EXPECT_EQ(probe.leaving_errors, 0);
        if (type == IMF_COLORS) {
            ASSERT_EQ(std::memcmp(out.ColorMap, before->ColorMap, sizeof(IMF_COLORMAP)), 0);
        }
        ExpectProbedBytes(*before.get(), out, use_area ? &area : nullptr, n, pk, pj);
    }
}

// A kernel that keeps nothing from row to row is handed the source rows
// themselves and strips at either edge: the same bytes, on rows narrower and
// wider than the two edge strips, strips as narrow as the neighbourhood or
// wider, with and without an area.
TEST(RowFrame, RowsInPlaceGiveTheRingsBytes) {
    struct InPlaceProbe {
        int k, j, edge, bpp = 0;
        bool Prepare(int, int b) {
            bpp = b;
            return true;
        }
        void Row(const uint8_t *const *slots, int begin, int end, uint8_t *out) {
            for (int i = begin; i < end; ++i) out[i] = slots[k][i + j * bpp];
        }
        bool RowsInPlace() const { return true; }
        int EdgeBytes() const { return edge; }
    };
    std::mt19937 rng(12);
    std::uniform_int_distribution<int> width(1, 170), height(1, 30), side(2, 25), coin(0, 1);
    for (int iter = 0; iter < 200; ++iter) {
        const unsigned type = testing_support::kByteTypes[iter % 9];
        const int w = width(rng), h = height(rng), n = side(rng);
        OwnedImf src, dst;
        testing_support::MakeRandom(rng, type, w, h, 1 + iter % 4, &src);
        std::uniform_int_distribution<int> pick(0, n - 1);
        InPlaceProbe probe{pick(rng), pick(rng), iter % 3 == 0 ? 0 : iter % 3 == 1 ? 7 : 64};
        const bool use_area = coin(rng);
        IMF_RECT area = use_area ? testing_support::RandomArea(rng, w, h) : IMF_RECT{0, 0, w, h};
        SCOPED_TRACE(testing_support::TypeName(type) + " " + std::to_string(w) + "x" + std::to_string(h) + " n" +
                     std::to_string(n) + " k" + std::to_string(probe.k) + " j" + std::to_string(probe.j) +
                     " edge " + std::to_string(probe.edge));
        ASSERT_EQ(imge::RunRowFilter(src.get(), dst.get(), use_area ? &area : nullptr, n, true, probe), IMF_NOERROR);
        ExpectProbedBytes(*src.get(), *dst.get(), use_area ? &area : nullptr, n, probe.k, probe.j);
    }
}

TEST(RowFrame, ColourMapOnATypeWithoutOneIsNotCarriedOver) {
    std::mt19937 rng(6);
    OwnedImf src, dst;
    testing_support::MakeRandom(rng, IMF_GREY, 3, 3, 1, &src);
    src->ColorMap = static_cast<IMF_COLORMAP *>(std::calloc(1, sizeof(IMF_COLORMAP)));
    ProbeKernel probe(3, 1, 1);
    probe.src = src.get();
    ASSERT_EQ(imge::RunRowFilter(src.get(), dst.get(), nullptr, 3, true, probe), IMF_NOERROR);
    EXPECT_EQ(dst->ColorMap, nullptr);
    ASSERT_EQ(imge::RunRowFilter(src.get(), nullptr, nullptr, 3, true, probe), IMF_NOERROR);
    EXPECT_EQ(src->ColorMap, nullptr) << "released with the old buffers";
}

TEST(RowFrame, ExtendedDataIsCopiedIntoTheResult) {
    std::mt19937 rng(8);
    OwnedImf src, dst;
    testing_support::MakeRandom(rng, IMF_RGB, 3, 2, 1, &src);
    src->Xdpi = 300;
    src->Origin = IMF_BOTTOM_LEFT;
    ProbeKernel probe(1, 0, 0);
    probe.src = src.get();
    ASSERT_EQ(imge::RunRowFilter(src.get(), dst.get(), nullptr, 1, true, probe), IMF_NOERROR);
    EXPECT_EQ(dst->Xdpi, 300);
    EXPECT_EQ(dst->Origin, IMF_BOTTOM_LEFT);
    EXPECT_EQ(testing_support::Diff(*dst.get(), *src.get()), "");
}

}  // namespace

// Results written in one pass start from uncleared memory: the padding after
// each row's pixels must still be zero when the allocator hands back a block
// full of old bytes (a freed block of the same size, filled with 0xFF).
TEST(RowFrame, PaddingOfResultsIsZeroOnReusedMemory) {
    using Op = IMF_ERROR (*)(IMF_BITMAP *, IMF_BITMAP *);
    const Op ops[] = {[](IMF_BITMAP *s, IMF_BITMAP *d) { return imfMinimum(s, d, nullptr, 3); },
                      [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfMedianBox(s, d, nullptr, 3); },
                      [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfSwapColors(s, d, nullptr, IMF_SwapColors_BGR); },
                      [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfDesaturate(s, d, nullptr); }};
    OwnedImf src;
    ASSERT_NE(imfAllock(src.get(), IMF_RGB, 8, 5, 4), 0);  // 15 bytes of pixels in rows of 16
    for (const Op op : ops) {
        void *old = std::malloc(static_cast<std::size_t>(src->BytesPerLine) * src->Height);
        std::memset(old, 0xFF, static_cast<std::size_t>(src->BytesPerLine) * src->Height);
        std::free(old);
        OwnedImf out;
        ASSERT_EQ(op(src.get(), out.get()), IMF_NOERROR);
        for (TLong y = 0; y < out->Height; ++y) EXPECT_EQ(out->Data[y * out->BytesPerLine + 15], 0) << y;
    }
}
