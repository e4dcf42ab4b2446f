// Vector row kernel of the Gaussian blur (Highway, dispatched at run time):
// the same sums as gauss_rows.cpp in the same order, in single precision.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "blur/gauss_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "blur/gauss_rows.h"
#include "core/byte_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace blur {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using namespace ::imge::HWY_NAMESPACE;  // the shared byte helpers of core/

void GaussRowVec(const GaussWeights &w, const uint8_t *const *slots, int bpp, int begin, int end,
                 float *HWY_RESTRICT scratch, uint8_t *HWY_RESTRICT out) {
#if HWY_TARGET == HWY_SCALAR
    return GaussRowPlain(w, slots, bpp, begin, end, scratch, out);
#else
    const hn::ScalableTag<float> df;
    const hn::Rebind<int32_t, decltype(df)> di;
    const hn::Rebind<uint8_t, decltype(df)> d8;
    const std::size_t L = hn::Lanes(df);
    const int n = w.n;
    const std::size_t count = static_cast<std::size_t>(end - begin);
    const std::size_t len = count + static_cast<std::size_t>(n - 1) * bpp;
    auto load = [&](const uint8_t *p) { return hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(d8, p))); };
    std::size_t t = 0;
    for (; t + L <= len; t += L) {
        auto acc = hn::Mul(hn::Set(df, w.v[0]), load(slots[0] + begin + t));
        for (int k = 1; k < n; ++k) acc = hn::Add(acc, hn::Mul(hn::Set(df, w.v[k]), load(slots[k] + begin + t)));
        hn::StoreU(acc, df, scratch + t);
    }
    for (; t < len; ++t) {
        float acc = w.v[0] * static_cast<float>(slots[0][begin + t]);
        for (int k = 1; k < n; ++k) acc = acc + w.v[k] * static_cast<float>(slots[k][begin + t]);
        scratch[t] = acc;
    }
    uint8_t *o = out + begin;
    std::size_t i = 0;
    for (; i + L <= count; i += L) {
        auto acc = hn::Mul(hn::Set(df, w.h[0]), hn::LoadU(df, scratch + i));
        for (int j = 1; j < n; ++j)
            acc = hn::Add(acc, hn::Mul(hn::Set(df, w.h[j]), hn::LoadU(df, scratch + i + static_cast<std::size_t>(j) * bpp)));
        const auto q = hn::ConvertTo(di, acc);  // truncates toward zero
        hn::StoreU(SaturateToBytes(d8, q), d8, o + i);
    }
    for (; i < count; ++i) {
        float acc = w.h[0] * scratch[i];
        for (int j = 1; j < n; ++j) acc = acc + w.h[j] * scratch[i + static_cast<std::size_t>(j) * bpp];
        const int q = static_cast<int>(acc);
        o[i] = static_cast<uint8_t>(q > 255 ? 255 : q < 0 ? 0 : q);
    }
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace blur
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
namespace blur {
HWY_EXPORT(GaussRowVec);

void GaussRow(const GaussWeights &w, const uint8_t *const *slots, int bpp, int begin, int end, float *scratch,
              uint8_t *out) {
    HWY_DYNAMIC_DISPATCH(GaussRowVec)(w, slots, bpp, begin, end, scratch, out);
}

}  // namespace blur
}  // namespace imge
#endif
