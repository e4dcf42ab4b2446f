// The rank filters: each is the shared row frame with
// its size test and its row kernel.
#include "core/row_frame.h"
#include "libformat.h"
#include "rank/rank_kernels.h"

namespace {

constexpr TLong kLargestRank = 15;

bool RankSizeOk(TLong n) { return n >= 2 && n <= kLargestRank; }

template <typename Kernel>
IMF_ERROR Run(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong n, bool size_ok, Kernel kernel) {
    return imge::RunRowFilter(src, dst, area, size_ok ? static_cast<int>(n) : 1, size_ok, kernel);
}

}  // namespace

extern "C" {

IMF_ERROR imfMinimum(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong filter_size) {
    const bool ok = RankSizeOk(filter_size);
    return Run(src, dst, area, filter_size, ok, imge::rank::MinMaxKernel(false, ok ? filter_size : 2));
}

IMF_ERROR imfMaximum(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong filter_size) {
    const bool ok = RankSizeOk(filter_size);
    return Run(src, dst, area, filter_size, ok, imge::rank::MinMaxKernel(true, ok ? filter_size : 2));
}

IMF_ERROR imfMedianBox(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong filter_size) {
    const bool ok = RankSizeOk(filter_size);
    return Run(src, dst, area, filter_size, ok, imge::rank::MedianBoxKernel(ok ? filter_size : 2));
}

IMF_ERROR imfMedianCross(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong filter_size) {
    const bool ok = RankSizeOk(filter_size);
    return Run(src, dst, area, filter_size, ok, imge::rank::MedianCrossKernel(ok ? filter_size : 2));
}

}  // extern "C"
