// Vector kernels of the linear filters (Highway, dispatched at run time).
//
// Sums of products of bytes and small integer weights are exact in single
// precision while they stay below 2^24, and so is the truncated quotient of
// two such integers (a quotient that is not an integer lies at least
// 1/|divisor| away from the nearest one, more than half a unit in the last
// place), so the float path gives the integer formula's bytes. Plans outside
// that range take the plain path.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/linear_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "core/dispatch.h"
#include "filters/linear_rows.h"

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Returns the first byte position left for the caller.
int LinearRowVec(const float *HWY_RESTRICT w, const uint8_t *const *HWY_RESTRICT base, int n_taps, float divisor,
                 int32_t bias, int begin, int end, uint8_t *HWY_RESTRICT out) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<uint8_t, decltype(df)> du8;
    const int L = static_cast<int>(hn::Lanes(df));
    const auto vdiv = hn::Set(df, divisor);
    const auto vbias = hn::Set(di, bias);
    const bool divide = divisor != 1.0f;
    int i = begin;
    for (; i + L <= end; i += L) {
        auto acc = hn::Zero(df);
        for (int t = 0; t < n_taps; ++t)
            acc = hn::MulAdd(hn::Set(df, w[t]), hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(du8, base[t] + i))), acc);
        if (divide) acc = hn::Div(acc, vdiv);
        const auto v = hn::Add(hn::ConvertTo(di, acc), vbias);
        hn::StoreU(hn::DemoteTo(du8, v), du8, out + i);
    }
    return i;
}

int SharpenRowVec(float p, float d, const uint8_t *const *HWY_RESTRICT slots, int bpp, int begin, int end,
                  uint8_t *HWY_RESTRICT out) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<uint8_t, decltype(df)> du8;
    const int L = static_cast<int>(hn::Lanes(df));
    const uint8_t *r0 = slots[0], *r1 = slots[1], *r2 = slots[2];
    const auto vp = hn::Set(df, p), vd = hn::Set(df, d), eighth = hn::Set(df, 0.125f);
    const auto hundred = hn::Set(di, 100);
    const bool divide = d != 1.0f;
    int i = begin;
    for (; i + L <= end; i += L) {
        const int a = i, b = i + bpp, c = i + 2 * bpp;
        auto s8 = hn::Add(hn::PromoteTo(di, hn::LoadU(du8, r0 + a)), hn::PromoteTo(di, hn::LoadU(du8, r0 + b)));
        s8 = hn::Add(s8, hn::PromoteTo(di, hn::LoadU(du8, r0 + c)));
        s8 = hn::Add(s8, hn::PromoteTo(di, hn::LoadU(du8, r1 + a)));
        s8 = hn::Add(s8, hn::PromoteTo(di, hn::LoadU(du8, r1 + c)));
        s8 = hn::Add(s8, hn::PromoteTo(di, hn::LoadU(du8, r2 + a)));
        s8 = hn::Add(s8, hn::PromoteTo(di, hn::LoadU(du8, r2 + b)));
        s8 = hn::Add(s8, hn::PromoteTo(di, hn::LoadU(du8, r2 + c)));
        const auto inner = hn::ConvertTo(di, hn::Mul(hn::Mul(vp, hn::ConvertTo(df, s8)), eighth));
        const auto centre = hn::PromoteTo(di, hn::LoadU(du8, r1 + b));
        auto num = hn::ConvertTo(df, hn::Sub(hn::Mul(centre, hundred), inner));
        if (divide) num = hn::Div(num, vd);
        hn::StoreU(hn::DemoteTo(du8, hn::ConvertTo(di, num)), du8, out + i);
    }
    return i;
}

void ColumnUpdateVec(uint16_t *HWY_RESTRICT col, const uint8_t *HWY_RESTRICT add, const uint8_t *HWY_RESTRICT sub,
                     std::size_t n) {
    const hn::ScalableTag<uint16_t> d16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const std::size_t L = hn::Lanes(d16);
    std::size_t i = 0;
    for (; i + L <= n; i += L) {
        const auto v = hn::Add(hn::LoadU(d16, col + i), hn::PromoteTo(d16, hn::LoadU(d8, add + i)));
        hn::StoreU(hn::Sub(v, hn::PromoteTo(d16, hn::LoadU(d8, sub + i))), d16, col + i);
    }
    for (; i < n; ++i) col[i] = static_cast<uint16_t>(col[i] + add[i] - sub[i]);
}

}  // namespace HWY_NAMESPACE
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
HWY_EXPORT(LinearRowVec);
HWY_EXPORT(SharpenRowVec);
HWY_EXPORT(ColumnUpdateVec);

void LinearRow(const LinearPlan &plan, const uint8_t *const *slots, int bpp, int begin, int end, uint8_t *out) {
    if (!plan.fits_float || ScalarForced()) return LinearRowPlain(plan, slots, bpp, begin, end, out);
    float w[LinearPlan::kMaxTaps];
    const uint8_t *base[LinearPlan::kMaxTaps];
    for (int t = 0; t < plan.n_taps; ++t) {
        w[t] = static_cast<float>(plan.tap[t].w);
        base[t] = slots[plan.tap[t].k] + plan.tap[t].j * bpp;
    }
    const int done = HWY_DYNAMIC_DISPATCH(LinearRowVec)(w, base, plan.n_taps, static_cast<float>(plan.divisor),
                                                        static_cast<int32_t>(plan.bias), begin, end, out);
    if (done < end) LinearRowPlain(plan, slots, bpp, done, end, out);
}

void SharpenRow(int64_t p, int64_t d, const uint8_t *const *slots, int bpp, int begin, int end, uint8_t *out) {
    if (!SharpenFitsFloat(p) || ScalarForced()) return SharpenRowPlain(p, d, slots, bpp, begin, end, out);
    const int done = HWY_DYNAMIC_DISPATCH(SharpenRowVec)(static_cast<float>(p), static_cast<float>(d), slots, bpp,
                                                         begin, end, out);
    if (done < end) SharpenRowPlain(p, d, slots, bpp, done, end, out);
}

void ColumnUpdate(uint16_t *col, const uint8_t *add, const uint8_t *sub, std::size_t n) {
    if (ScalarForced()) return ColumnUpdatePlain(col, add, sub, n);
    HWY_DYNAMIC_DISPATCH(ColumnUpdateVec)(col, add, sub, n);
}

}  // namespace imge
#endif
