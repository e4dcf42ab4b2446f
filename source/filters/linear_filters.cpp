// The linear neighbourhood filters: user kernels, the predefined 3 x 3
// kernels, sharpen, blur, soften, box mean, noise reducer and edge enhancer.
// Each is its parameter test and a row kernel inside the row frame.
#include <cstring>

#include "core/scratch.h"
#include "filters/linear_rows.h"
#include "core/row_frame.h"
#include "libformat.h"

namespace imge {
namespace filters {
namespace {

// The predefined kernels: nine coefficients row by row, divisor, bias.
const int32_t Filter3x3List[9][11] = {
    {0, -1, 0, -1, 10, -1, 0, -1, 0, 6, 0},    // IMF_FilterEnhanceDetail
    {-1, 0, -1, 0, 7, 0, -1, 0, -1, 3, 0},     // IMF_FilterEnhanceFocus
    {0, -1, 0, -1, 5, -1, 0, -1, 0, 1, 0},     // IMF_FilterFocusRestoration
    {1, -2, 1, -2, 5, -2, 1, -2, 1, 1, 0},     // IMF_FilterSharpen
    {0, 1, 0, 1, -4, 1, 0, 1, 0, 1, 128},      // IMF_FilterEdgeDetectLight
    {-1, -1, -1, -1, 8, -1, -1, -1, -1, 1, 128},  // IMF_FilterEdgeDetectMedium
    {1, -2, 1, -2, 4, -2, 1, -2, 1, 1, 128},   // IMF_FilterEdgeDetectHeavy
    {-1, 0, 0, 0, 0, 0, 0, 0, 1, 1, 128},      // IMF_FilterEmboss
    {-1, -2, 0, -2, 0, 2, 0, 2, 1, 1, 128},    // IMF_FilterEmbossMore
};

class PlanKernel {
public:
    explicit PlanKernel(const LinearPlan *plan) : plan_(plan) {}
    bool Prepare(int, int bpp) {
        bpp_ = bpp;
        return true;
    }
    void Row(const uint8_t *const *slots, int begin, int end, uint8_t *out) {
        LinearRow(*plan_, slots, bpp_, begin, end, out);
    }

private:
    const LinearPlan *plan_;
    int bpp_ = 0;
};

class SharpenKernel {
public:
    SharpenKernel(int64_t p, int64_t d) : p_(p), d_(d) {}
    bool Prepare(int, int bpp) {
        bpp_ = bpp;
        return true;
    }
    void Row(const uint8_t *const *slots, int begin, int end, uint8_t *out) {
        SharpenRow(p_, d_, slots, bpp_, begin, end, out);
    }

private:
    int64_t p_, d_;
    int bpp_ = 0;
};

// Box mean by running sums in both directions: 16-bit column sums over the
// n rows, updated by the entering and the leaving row, then a running sum
// along each byte position; the division by n * n is a multiply and a shift.
// The time per byte does not depend on n.
class BoxKernel {
public:
    explicit BoxKernel(int n) : n_(n) {}
    bool Prepare(int width, int bpp) {
        bpp_ = bpp;
        magic_ = DivisionMagic(static_cast<uint32_t>(n_ * n_));
        bytes_ = (static_cast<std::size_t>(width) + 2 * static_cast<std::size_t>(n_ >> 1)) * static_cast<std::size_t>(bpp);
        return col_.Allocate(bytes_) && totals_.Allocate(bytes_ + kBoxScratchLead);
    }
    void Row(const uint8_t *const *slots, int begin, int end, uint8_t *out) {
        if (!slots[n_]) {
            std::memset(col_.get(), 0, bytes_ * sizeof(uint16_t));
            for (int k = 0; k < n_; ++k) ColumnAdd(col_.get(), slots[k], bytes_);
        } else {
            ColumnUpdate(col_.get(), slots[n_ - 1], slots[n_], bytes_);
        }
        BoxRowFast(col_.get(), n_, bpp_, begin, end, magic_, totals_.get(), out);
    }

private:
    int n_, bpp_ = 0;
    uint64_t magic_ = 0;
    std::size_t bytes_ = 0;
    Scratch<uint16_t> col_;
    Scratch<uint16_t> totals_;
};

IMF_ERROR RunPlan(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, int n, bool ok, LinearPlan *plan) {
    plan->Finish();
    PlanKernel kernel(plan);
    return RunRowFilter(src, dst, area, n, ok, kernel);
}

// The 3 x 3 kernel of centre weight `centre`, edge neighbours `edge`, corner
// neighbours `corner`.
void Ring3x3(LinearPlan *plan, int64_t corner, int64_t edge, int64_t centre) {
    for (int k = 0; k < 3; ++k)
        for (int j = 0; j < 3; ++j)
            plan->Add(k, j, k == 1 && j == 1 ? centre : ((k == 1 || j == 1) ? edge : corner));
}

// t = ((100 - p) * 3175) / 100 of blur and soften; 64-bit so that very
// negative percentages stay exact.
int64_t BlurT(TLong p) { return ((100 - static_cast<int64_t>(p)) * 3175) / 100; }

}  // namespace
}  // namespace filters
}  // namespace imge

using imge::filters::LinearPlan;

extern "C" {

// Size outside 1..7 (Matrix holds 7 x 7 coefficients) or a zero Divisor:
// IMF_ERRBADPARAMS at the frame's parameter step.
IMF_ERROR imfConvolve(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, const IMG_FILTER *filter) {
    const bool ok = filter && filter->Size >= 1 && filter->Size <= 7 && filter->Divisor != 0;
    LinearPlan plan;
    const int n = ok ? filter->Size : 1;
    if (ok) {
        for (int k = 0; k < n; ++k)
            for (int j = 0; j < n; ++j) plan.Add(k, j, filter->Matrix[k * n + j]);
        plan.divisor = filter->Divisor;
        plan.bias = filter->Bias;
    }
    return imge::filters::RunPlan(src, dst, area, n, ok, &plan);
}

// Indices outside 0..8 name no kernel: IMF_ERRBADPARAMS.
IMF_ERROR imfConvolveIndex(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong index) {
    const bool ok = index >= 0 && index <= 8;
    LinearPlan plan;
    if (ok) {
        const int32_t *m = imge::filters::Filter3x3List[index];
        for (int k = 0; k < 3; ++k)
            for (int j = 0; j < 3; ++j) plan.Add(k, j, m[k * 3 + j]);
        plan.divisor = m[9];
        plan.bias = m[10];
    }
    return imge::filters::RunPlan(src, dst, area, 3, ok, &plan);
}

IMF_ERROR imfEnhanceDetail(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    return imfConvolveIndex(src, dst, area, IMF_FilterEnhanceDetail);
}
IMF_ERROR imfEnhanceFocus(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    return imfConvolveIndex(src, dst, area, IMF_FilterEnhanceFocus);
}
IMF_ERROR imfFocusRestoration(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    return imfConvolveIndex(src, dst, area, IMF_FilterFocusRestoration);
}
IMF_ERROR imfEdgeDetectLight(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    return imfConvolveIndex(src, dst, area, IMF_FilterEdgeDetectLight);
}
IMF_ERROR imfEdgeDetectMedium(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    return imfConvolveIndex(src, dst, area, IMF_FilterEdgeDetectMedium);
}
IMF_ERROR imfEdgeDetectHeavy(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    return imfConvolveIndex(src, dst, area, IMF_FilterEdgeDetectHeavy);
}
IMF_ERROR imfEmboss(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    return imfConvolveIndex(src, dst, area, IMF_FilterEmboss);
}
IMF_ERROR imfEmbossMore(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    return imfConvolveIndex(src, dst, area, IMF_FilterEmbossMore);
}

// Every percentage is accepted; the arithmetic is 64-bit, so percentages
// whose 32-bit products would overflow (beyond about +-1,000,000) still get
// the exact formula.
IMF_ERROR imfSharpen(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong percentage) {
    const int64_t p = percentage;
    imge::filters::SharpenKernel kernel(p, p == 100 ? 1 : 100 - p);
    return imge::RunRowFilter(src, dst, area, 3, true, kernel);
}

// Percentages above 100 (negative weights, a zero divisor at 126) are
// refused with IMF_ERRBADPARAMS; below 0 the filter blurs less and less.
IMF_ERROR imfBlur(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong percentage) {
    const bool ok = percentage <= 100;
    LinearPlan plan;
    if (ok) {
        const int64_t t = imge::filters::BlurT(percentage);
        imge::filters::Ring3x3(&plan, 100, 200, t + 25);
        plan.divisor = t + 1225;
    }
    return imge::filters::RunPlan(src, dst, area, 3, ok, &plan);
}

IMF_ERROR imfSoften(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong percentage) {
    const bool ok = percentage <= 100;
    LinearPlan plan;
    if (ok) {
        const int64_t t = imge::filters::BlurT(percentage);
        imge::filters::Ring3x3(&plan, 100, 100, t + 25);
        plan.divisor = t + 825;
    }
    return imge::filters::RunPlan(src, dst, area, 3, ok, &plan);
}

IMF_ERROR imfAverage(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong filter_size) {
    const bool ok = filter_size >= 2 && filter_size <= 15;
    imge::filters::BoxKernel kernel(ok ? filter_size : 2);
    return imge::RunRowFilter(src, dst, area, ok ? filter_size : 2, ok, kernel);
}

IMF_ERROR imfReduceNoise(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    LinearPlan plan;
    plan.Add(2, 2, 7);
    plan.Add(1, 2, 3);
    plan.Add(3, 2, 3);
    plan.Add(2, 1, 3);
    plan.Add(2, 3, 3);
    plan.Add(0, 2, -1);
    plan.Add(4, 2, -1);
    plan.Add(2, 0, -1);
    plan.Add(2, 4, -1);
    plan.divisor = 15;
    return imge::filters::RunPlan(src, dst, area, 5, true, &plan);
}

// Percentages above 100 (a zero divisor at 102 and 103, negative beyond)
// are refused with IMF_ERRBADPARAMS.
IMF_ERROR imfEdge(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong percentage) {
    const bool ok = percentage <= 100;
    LinearPlan plan;
    if (ok) {
        const int64_t t = ((100 - static_cast<int64_t>(percentage)) * 55) / 100;
        imge::filters::Ring3x3(&plan, -1, -1, t + 9);
        plan.divisor = t + 1;
    }
    return imge::filters::RunPlan(src, dst, area, 3, ok, &plan);
}

}  // extern "C"
