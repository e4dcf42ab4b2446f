// The row kernels of the rank filters and the Gaussian blur against the
// plain references, driven row by row over edge-extended rows built here.
#include <gtest/gtest.h>
#include <hwy/tests/hwy_gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <vector>

#include "blur/gauss_rows.h"
#include "rank/rank_rows.h"
#include "reference/rank_reference.h"
#include "support/bitmaps.h"

using testing_support::OwnedImf;

namespace {

enum class Kernel { kMin, kMax, kMedianNet, kMedianHist, kCross, kGauss };

// The rows of the neighbourhood of output row y, each edge-extended by half
// pixels on the left and n - 1 - half (padded to half) on the right.
std::vector<std::vector<uint8_t>> ExtendedRows(const IMF_BITMAP &b, int y, int n) {
    const int half = n >> 1, bpp = b.BytesPerPixel;
    std::vector<std::vector<uint8_t>> rows(n);
    for (int k = 0; k < n; ++k) {
        const int r = std::min(std::max(y - half + k, 0), b.Height - 1);
        const uint8_t *src = b.Data + static_cast<long long>(r) * b.BytesPerLine;
        std::vector<uint8_t> &row = rows[k];
        row.resize(static_cast<std::size_t>(b.Width + 2 * half) * bpp);
        for (int x = -half; x < b.Width + half; ++x) {
            const int sx = std::min(std::max(x, 0), b.Width - 1);
            for (int c = 0; c < bpp; ++c) row[(x + half) * bpp + c] = src[sx * bpp + c];
        }
    }
    return rows;
}

void RunKernel(Kernel kind, const IMF_BITMAP &src, int n, IMF_BITMAP *out) {
    const int bpp = src.BytesPerPixel;
    const int len = (src.Width + 2 * (n >> 1)) * bpp;
    std::vector<uint8_t> scratch(len);
    std::vector<float> fscratch(len);
    imge::NetProgram colsort, select;
    if (kind == Kernel::kMedianNet) {
        imge::BuildColumnSort(n, &colsort);
        imge::BuildBoxSelect(n, &select);
    } else if (kind == Kernel::kCross) {
        imge::BuildCrossSelect(n, &select);
    }
    imge::GaussWeights w;
    imge::MakeGaussWeights(n, &w);
    std::vector<std::vector<uint8_t>> sorted(n, std::vector<uint8_t>(len));
    for (int y = 0; y < src.Height; ++y) {
        auto rows = ExtendedRows(src, y, n);
        std::vector<const uint8_t *> slots(n);
        for (int k = 0; k < n; ++k) slots[k] = rows[k].data();
        uint8_t *o = out->Data + static_cast<long long>(y) * out->BytesPerLine;
        const int end = src.Width * bpp;
        switch (kind) {
        case Kernel::kMin:
        case Kernel::kMax:
            imge::MinMaxRow(kind == Kernel::kMax, slots.data(), n, bpp, 0, end, scratch.data(), o);
            break;
        case Kernel::kMedianHist: imge::MedianHistogramRow(slots.data(), n, bpp, 0, end, o); break;
        case Kernel::kMedianNet: {
            std::vector<uint8_t *> outs(n);
            std::vector<const uint8_t *> ins(n);
            for (int r = 0; r < n; ++r) ins[r] = outs[r] = sorted[r].data();
            imge::RunNet(colsort, imge::kNetColumnSort, n, slots.data(), bpp, static_cast<std::size_t>(len), outs.data());
            imge::RunNet(select, imge::kNetBoxSelect, n, ins.data(), bpp, static_cast<std::size_t>(end), &o);
            break;
        }
        case Kernel::kCross: imge::RunNet(select, imge::kNetCrossSelect, n, slots.data(), bpp, static_cast<std::size_t>(end), &o); break;
        case Kernel::kGauss: imge::GaussRow(w, slots.data(), bpp, 0, end, fscratch.data(), o); break;
        }
    }
}

void CheckKernelsForEverySizeAndPixelWidth() {
    std::mt19937 rng(11);
    const unsigned types[] = {IMF_GREY, IMF_RGB, IMF_ARGB};
    const int widths[] = {1, 3, 37, 130};
    for (unsigned type : types)
        for (int width : widths)
            for (int n = 2; n <= 15; ++n) {
                OwnedImf src, got, want;
                testing_support::MakeRandom(rng, type, width, 7, 1, &src);
                testing_support::Clone(*src.get(), &got);
                testing_support::Clone(*src.get(), &want);
                const IMF_RECT all{0, 0, width, 7};
                struct { Kernel k; reference::Rank r; bool applies; } cases[] = {
                    {Kernel::kMin, reference::Rank::kMinimum, true},
                    {Kernel::kMax, reference::Rank::kMaximum, true},
                    {Kernel::kMedianHist, reference::Rank::kMedianBox, true},
                    {Kernel::kMedianNet, reference::Rank::kMedianBox, n <= 8},
                    {Kernel::kCross, reference::Rank::kMedianCross, true},
                };
                for (const auto &c : cases) {
                    if (!c.applies) continue;
                    RunKernel(c.k, *src.get(), n, got.get());
                    reference::RankFilter(c.r, *src.get(), want.get(), all, n);
                    ASSERT_EQ(testing_support::Diff(*got.get(), *want.get()), "")
                        << "kernel " << int(c.k) << " n " << n << " width " << width << " "
                        << testing_support::TypeName(type);
                }
            }
}

void CheckGaussianWithinOne() {
    std::mt19937 rng(12);
    for (int n = 2; n <= 25; n += 1) {
        OwnedImf src, got, want;
        testing_support::MakeRandom(rng, IMF_RGB, 41, 5, 1, &src);
        testing_support::Clone(*src.get(), &got);
        testing_support::Clone(*src.get(), &want);
        RunKernel(Kernel::kGauss, *src.get(), n, got.get());
        reference::GaussianBlur(*src.get(), want.get(), IMF_RECT{0, 0, 41, 5}, n);
        for (int i = 0; i < 41 * 3 * 5; ++i)
            ASSERT_LE(std::abs(int(got->Data[i]) - int(want->Data[i])), 1) << "n " << n << " byte " << i;
    }
}

// On every target this machine can run, the plain one included (the best
// one is chosen otherwise, so the others would go untested).
class RankRows : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(RankRows);

TEST_P(RankRows, KernelsMatchReferenceForEverySizeAndPixelWidth) { CheckKernelsForEverySizeAndPixelWidth(); }

TEST_P(RankRows, GaussianWithinOneOfTheReference) { CheckGaussianWithinOne(); }

TEST(RankRows, NetworksStayWithinTheirCapacity) {
    for (int n = 2; n <= 15; ++n) {
        imge::NetProgram p;
        imge::BuildCrossSelect(n, &p);
        EXPECT_LT(p.n_regs, 255) << n;
        EXPECT_EQ(p.n_outputs, 1);
        if (n <= 8) {
            imge::BuildBoxSelect(n, &p);
            EXPECT_LT(p.n_regs, 255) << n;
            imge::BuildColumnSort(n, &p);
            EXPECT_LT(p.n_regs, 255) << n;
        }
    }
}

}  // namespace
