// Vector kernels of the linear filters (Highway, dispatched at run time).
//
// Integer sums are kept exact: in 16-bit lanes while they cannot overflow,
// otherwise in single precision while below 2^24. The truncating division
// is a product with the smallest float not below 1/|divisor|, exact while
// |sum| + |divisor| <= 2^22 (see LinearPlan). Plans outside those ranges
// take the plain path, so both paths give the same bytes.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/linear_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "core/byte_vectors-inl.h"
#include "filters/linear_rows.h"

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace filters {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using namespace ::imge::HWY_NAMESPACE;  // the shared byte helpers of core/

#if HWY_TARGET == HWY_SCALAR
// One lane gains nothing: the plain path does the work.
int LinearFloatVec(const float *, const uint8_t *const *, int, float, bool, int32_t, int begin, int, uint8_t *) {
    return begin;
}
int LinearShortVec(const int16_t *, const uint8_t *const *, int, int, int, int32_t, const uint8_t *, int32_t, float,
                   bool, int32_t, const ShortDivide &, int begin, int, uint8_t *) {
    return begin;
}
int SharpenRowVec(float, float, bool, const uint8_t *const *, int, int begin, int, uint8_t *) { return begin; }
int SharpenShortVec(int, uint16_t, int, bool, const uint8_t *const *, int, int begin, int, uint8_t *) { return begin; }
#else

// Each returns the first byte position left for the caller.

// Weighted sum in floats, product with the reciprocal, truncation, bias,
// saturation to 0..255.
int LinearFloatVec(const float *HWY_RESTRICT w, const uint8_t *const *HWY_RESTRICT base, int n_taps, float recip,
                   bool divide, int32_t bias, int begin, int end, uint8_t *HWY_RESTRICT out) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<uint8_t, decltype(df)> du8;
    const int L = static_cast<int>(hn::Lanes(df));
    const auto vrecip = hn::Set(df, recip);
    const auto vbias = hn::Set(di, bias);
    int i = begin;
    for (; i + L <= end; i += L) {
        auto acc = hn::Zero(df);
        for (int t = 0; t < n_taps; ++t)
            acc = hn::MulAdd(hn::Set(df, w[t]), hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(du8, base[t] + i))), acc);
        if (divide) acc = hn::Mul(acc, vrecip);
        const auto v = hn::Add(hn::ConvertTo(di, acc), vbias);
        hn::StoreU(SaturateToBytes(du8, v), du8, out + i);
    }
    return i;
}

// Sum of taps in 16-bit lanes: n_plus taps of weight +1, n_minus of -1,
// then the rest with their weights.
template <class D16, class D8>
HWY_INLINE hn::Vec<D16> ShortSum(D16 d16, D8 d8, const int16_t *HWY_RESTRICT w, const uint8_t *const *HWY_RESTRICT base,
                                 int n_plus, int n_minus, int n_short, int i) {
    auto acc = hn::Zero(d16);
    int t = 0;
    for (; t < n_plus; ++t) acc = hn::Add(acc, hn::PromoteTo(d16, hn::LoadU(d8, base[t] + i)));
    for (; t < n_plus + n_minus; ++t) acc = hn::Sub(acc, hn::PromoteTo(d16, hn::LoadU(d8, base[t] + i)));
    for (; t < n_short; ++t)
        acc = hn::Add(acc, hn::Mul(hn::PromoteTo(d16, hn::LoadU(d8, base[t] + i)), hn::Set(d16, w[t])));
    return acc;
}

int LinearShortVec(const int16_t *HWY_RESTRICT w, const uint8_t *const *HWY_RESTRICT base, int n_plus, int n_minus,
                   int n_short, int32_t scale, const uint8_t *lone_base, int32_t lone_w, float recip, bool divide,
                   int32_t bias, const ShortDivide &sd, int begin, int end, uint8_t *HWY_RESTRICT out) {
    const hn::ScalableTag<int16_t> d16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const hn::Half<decltype(d16)> dh;
    const hn::Rebind<int32_t, decltype(dh)> d32;
    const hn::Rebind<float, decltype(d32)> df;
    const hn::Rebind<uint8_t, decltype(d32)> d8h;
    const int L = static_cast<int>(hn::Lanes(d16));
    const int H = static_cast<int>(hn::Lanes(d32));
    const bool direct = scale == 1 && !lone_base && bias >= -32768 && bias <= 32767 && (!divide || sd.on);
    const auto vbias16 = hn::Set(d16, static_cast<int16_t>(direct ? bias : 0));
    const hn::RebindToUnsigned<decltype(d16)> du16;
    const auto vmagic = hn::Set(du16, sd.magic);
    const auto vneg = hn::Set(d16, static_cast<int16_t>(sd.negative ? -1 : 0));
    const auto vbias = hn::Set(d32, bias);
    const auto vscale = hn::Set(df, static_cast<float>(scale)), vlone = hn::Set(df, static_cast<float>(lone_w));
    const auto vrecip = hn::Set(df, recip);
    int i = begin;
    for (; i + L <= end; i += L) {
        auto acc = ShortSum(d16, d8, w, base, n_plus, n_minus, n_short, i);
        if (direct) {
            if (divide) {
                // sign * floor(|sum| / |divisor|), sign that of sum / divisor.
                auto x = hn::BitCast(du16, hn::Abs(acc));
                if (sd.magic) x = hn::MulHigh(x, vmagic);
                x = hn::ShiftRightSame(x, sd.shift);
                const auto sign = hn::Xor(hn::ShiftRight<15>(acc), vneg);  // 0 or -1
                acc = hn::Sub(hn::Xor(hn::BitCast(d16, x), sign), sign);
            }
            hn::StoreU(hn::DemoteTo(d8, hn::SaturatedAdd(acc, vbias16)), d8, out + i);
            continue;
        }
        // In single precision: every value here is an integer below 2^22.
        auto halves = [&](hn::Vec<decltype(d32)> v, int pos) {
            auto f = hn::ConvertTo(df, v);
            if (scale != 1) f = hn::Mul(f, vscale);
            if (lone_base)
                f = hn::MulAdd(hn::ConvertTo(df, hn::PromoteTo(d32, hn::LoadU(d8h, lone_base + pos))), vlone, f);
            if (divide) f = hn::Mul(f, vrecip);
            hn::StoreU(SaturateToBytes(d8h, hn::Add(hn::ConvertTo(d32, f), vbias)), d8h, out + pos);
        };
        halves(hn::PromoteTo(d32, hn::LowerHalf(dh, acc)), i);
        halves(hn::PromoteTo(d32, hn::UpperHalf(dh, acc)), i + H);
    }
    return i;
}

// v = (100 * C - trunc(p * S8 / 8)) / d: S8 in 16-bit lanes, the rest in
// 32-bit and single precision (exact for SharpenFitsFloat percentages).
int SharpenRowVec(float p, float recip, bool divide, const uint8_t *const *HWY_RESTRICT slots, int bpp, int begin,
                  int end, uint8_t *HWY_RESTRICT out) {
    const hn::ScalableTag<int16_t> d16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const hn::Half<decltype(d16)> dh;
    const hn::Rebind<int32_t, decltype(dh)> d32;
    const hn::Rebind<float, decltype(d32)> df;
    const hn::Rebind<uint8_t, decltype(d32)> d8h;
    const int L = static_cast<int>(hn::Lanes(d16));
    const int H = static_cast<int>(hn::Lanes(d32));
    const uint8_t *base[8] = {slots[0], slots[0] + bpp, slots[0] + 2 * bpp, slots[1],
                              slots[1] + 2 * bpp, slots[2], slots[2] + bpp, slots[2] + 2 * bpp};
    const uint8_t *centre = slots[1] + bpp;
    const auto vp = hn::Set(df, p * 0.125f), vrecip = hn::Set(df, recip);
    const auto hundred = hn::Set(d32, 100);
    int i = begin;
    for (; i + L <= end; i += L) {
        const auto s8 = ShortSum(d16, d8, nullptr, base, 8, 0, 8, i);
        auto halves = [&](hn::Vec<decltype(d32)> s, int pos) {
            // p * S8 is exact, and so is its eighth.
            const auto inner = hn::ConvertTo(d32, hn::Mul(vp, hn::ConvertTo(df, s)));
            const auto c = hn::PromoteTo(d32, hn::LoadU(d8h, centre + pos));
            auto num = hn::ConvertTo(df, hn::Sub(hn::Mul(c, hundred), inner));
            if (divide) num = hn::Mul(num, vrecip);
            hn::StoreU(SaturateToBytes(d8h, hn::ConvertTo(d32, num)), d8h, out + pos);
        };
        halves(hn::PromoteTo(d32, hn::LowerHalf(dh, s8)), i);
        halves(hn::PromoteTo(d32, hn::UpperHalf(dh, s8)), i + H);
    }
    return i;
}

// imfSharpen for the usual percentages (SharpenFitsShort) in 16-bit lanes
// only: inner = |p| * S8 >> 3 from the 32-bit product's two halves (S8 and
// |p| are non-negative, so the shift truncates like the division), then
// num = 100 * C -/+ inner and sign * (|num| / |d|) by the 16-bit division.
int SharpenShortVec(int p, uint16_t magic, int shift, bool d_negative, const uint8_t *const *HWY_RESTRICT slots,
                    int bpp, int begin, int end, uint8_t *HWY_RESTRICT out) {
    const hn::ScalableTag<int16_t> d16;
    const hn::RebindToUnsigned<decltype(d16)> du16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const int L = static_cast<int>(hn::Lanes(d16));
    const uint8_t *base[8] = {slots[0], slots[0] + bpp, slots[0] + 2 * bpp, slots[1],
                              slots[1] + 2 * bpp, slots[2], slots[2] + bpp, slots[2] + 2 * bpp};
    const uint8_t *centre = slots[1] + bpp;
    const auto vp = hn::Set(du16, static_cast<uint16_t>(p < 0 ? -p : p));
    const auto hundred = hn::Set(d16, 100);
    const auto vmagic = hn::Set(du16, magic);
    const auto vneg = hn::Set(d16, static_cast<int16_t>(d_negative ? -1 : 0));
    int i = begin;
    for (; i + L <= end; i += L) {
        const auto s8 = hn::BitCast(du16, ShortSum(d16, d8, nullptr, base, 8, 0, 8, i));
        const auto lo = hn::Mul(s8, vp), hi = hn::MulHigh(s8, vp);
        const auto inner = hn::BitCast(d16, hn::Or(hn::ShiftLeft<13>(hi), hn::ShiftRight<3>(lo)));
        const auto c100 = hn::Mul(hn::PromoteTo(d16, hn::LoadU(d8, centre + i)), hundred);
        const auto num = p < 0 ? hn::Add(c100, inner) : hn::Sub(c100, inner);
        auto q = hn::BitCast(du16, hn::Abs(num));
        if (magic) q = hn::MulHigh(q, vmagic);
        q = hn::ShiftRightSame(q, shift);
        const auto sign = hn::Xor(hn::ShiftRight<15>(num), vneg);
        const auto v = hn::Sub(hn::Xor(hn::BitCast(d16, q), sign), sign);
        hn::StoreU(hn::DemoteTo(d8, v), d8, out + i);
    }
    return i;
}

// Box mean along a row from the column sums, in two passes that do not
// depend on the box size: running totals along each byte position
// (q[t] = col[t] + q[t - bpp], modulo 2^16; q[-bpp .. -1] are 0), then
// each window as the difference of two totals (exact modulo 2^16, since a
// window's sum is below 2^16), divided by n * n through the reciprocal.
template <int kBpp>
int PrefixBlocks(const uint16_t *HWY_RESTRICT col, int count, uint16_t *HWY_RESTRICT q) {
    const hn::Full128<uint16_t> d;
    const hn::Full128<uint8_t> d8;
    // Lane i of a block continues the total of lane 8 - kBpp + i % kBpp of
    // the block before.
    HWY_ALIGN uint8_t idx[16];
    for (int i = 0; i < 8; ++i) {
        const int j = 8 - kBpp + i % kBpp;
        idx[2 * i] = static_cast<uint8_t>(2 * j);
        idx[2 * i + 1] = static_cast<uint8_t>(2 * j + 1);
    }
    const auto carry_idx = hn::Load(d8, idx);
    auto prev = hn::Zero(d);
    int t = 0;
    for (; t + 8 <= count; t += 8) {
        auto x = hn::LoadU(d, col + t);
        x = hn::Add(x, hn::ShiftLeftLanes<kBpp>(d, x));
        if (2 * kBpp < 8) x = hn::Add(x, hn::ShiftLeftLanes<(2 * kBpp) % 8>(d, x));
        if (4 * kBpp < 8) x = hn::Add(x, hn::ShiftLeftLanes<(4 * kBpp) % 8>(d, x));
        x = hn::Add(x, hn::BitCast(d, hn::TableLookupBytes(hn::BitCast(d8, prev), carry_idx)));
        hn::StoreU(x, d, q + t);
        prev = x;
    }
    return t;
}

int BoxPrefixVec(const uint16_t *HWY_RESTRICT col, int bpp, int count, uint16_t *HWY_RESTRICT q) {
    switch (bpp) {
        case 1: return PrefixBlocks<1>(col, count, q);
        case 3: return PrefixBlocks<3>(col, count, q);
        case 4: return PrefixBlocks<4>(col, count, q);
        default: return 0;
    }
}

int BoxDiffVec(const uint16_t *HWY_RESTRICT q, int span, int bpp, int pre_shift, uint16_t magic, int shift,
               int count, uint8_t *HWY_RESTRICT out) {
    const hn::ScalableTag<uint16_t> d16;
    const hn::RebindToSigned<decltype(d16)> di16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const int L = static_cast<int>(hn::Lanes(d16));
    const auto vmagic = hn::Set(d16, magic);
    int t = 0;
    for (; t + L <= count; t += L) {
        auto w = hn::Sub(hn::LoadU(d16, q + t + span), hn::LoadU(d16, q + t - bpp));
        w = hn::ShiftRightSame(w, pre_shift);
        if (magic) w = hn::MulHigh(w, vmagic);
        w = hn::ShiftRightSame(w, shift);
        hn::StoreU(hn::DemoteTo(d8, hn::BitCast(di16, w)), d8, out + t);
    }
    return t;
}

#endif  // HWY_TARGET == HWY_SCALAR

// Running totals and differences modulo 2^16, then the division by n * n as
// shifts and a multiply-high. The one-lane target runs the plain loop.
void BoxRowVec(const uint16_t *HWY_RESTRICT col, int n, int bpp, int begin, int end, uint64_t magic,
               uint16_t *HWY_RESTRICT scratch, uint8_t *HWY_RESTRICT out) {
#if HWY_TARGET == HWY_SCALAR
    (void)scratch;
    BoxRow(col, n, bpp, begin, end, magic, out);
#else
    (void)magic;
    const int span = (n - 1) * bpp;
    const int count = end - begin;
    const int total = count + span;
    uint16_t *q = scratch + kBoxScratchLead;
    for (int t = -bpp; t < 0; ++t) q[t] = 0;
    const uint16_t *c = col + begin;
    int t = BoxPrefixVec(c, bpp, total, q);
    for (; t < total; ++t) q[t] = static_cast<uint16_t>(c[t] + q[t - bpp]);
    const BoxDivision div = MakeBoxDivision(n);
    t = BoxDiffVec(q, span, bpp, div.pre_shift, div.odd.magic, div.odd.shift, count, out + begin);
    for (; t < count; ++t)
        out[begin + t] = static_cast<uint8_t>(ApplyBoxDivision(div, static_cast<uint16_t>(q[t + span] - q[t - bpp])));
#endif
}

void ColumnUpdateVec(uint16_t *HWY_RESTRICT col, const uint8_t *HWY_RESTRICT add, const uint8_t *HWY_RESTRICT sub,
                     std::size_t n) {
#if HWY_TARGET == HWY_SCALAR
    ColumnUpdatePlain(col, add, sub, n);
#else
    const hn::ScalableTag<uint16_t> d16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const std::size_t L = hn::Lanes(d16);
    std::size_t i = 0;
    for (; i + L <= n; i += L) {
        const auto v = hn::Add(hn::LoadU(d16, col + i), hn::PromoteTo(d16, hn::LoadU(d8, add + i)));
        hn::StoreU(hn::Sub(v, hn::PromoteTo(d16, hn::LoadU(d8, sub + i))), d16, col + i);
    }
    for (; i < n; ++i) col[i] = static_cast<uint16_t>(col[i] + add[i] - sub[i]);
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace filters
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
namespace filters {
HWY_EXPORT(LinearFloatVec);
HWY_EXPORT(LinearShortVec);
HWY_EXPORT(SharpenRowVec);
HWY_EXPORT(SharpenShortVec);
HWY_EXPORT(ColumnUpdateVec);
HWY_EXPORT(BoxRowVec);

void BoxRowFast(const uint16_t *col, int n, int bpp, int begin, int end, uint64_t magic, uint16_t *scratch,
                uint8_t *out) {
    if (begin >= end) return;
    HWY_DYNAMIC_DISPATCH(BoxRowVec)(col, n, bpp, begin, end, magic, scratch, out);
}

void LinearRow(const LinearPlan &plan, const uint8_t *const *slots, int bpp, int begin, int end, uint8_t *out) {
    if (plan.mode == LinearPlan::kPlain) return LinearRowPlain(plan, slots, bpp, begin, end, out);
    const bool divide = plan.divisor != 1;
    const int32_t bias = static_cast<int32_t>(plan.bias);
    const uint8_t *base[LinearPlan::kMaxTaps];
    int done;
    if (plan.mode == LinearPlan::kFloat) {
        float w[LinearPlan::kMaxTaps];
        for (int t = 0; t < plan.n_taps; ++t) {
            w[t] = static_cast<float>(plan.tap[t].w);
            base[t] = slots[plan.tap[t].k] + plan.tap[t].j * bpp;
        }
        done = HWY_DYNAMIC_DISPATCH(LinearFloatVec)(w, base, plan.n_taps, plan.recip, divide, bias, begin, end, out);
    } else {
        for (int s = 0; s < plan.n_short; ++s) {
            const LinearTap &t = plan.tap[plan.short_tap[s]];
            base[s] = slots[t.k] + t.j * bpp;
        }
        const uint8_t *lone_base = nullptr;
        int32_t lone_w = 0;
        if (plan.lone >= 0) {
            const LinearTap &t = plan.tap[plan.lone];
            lone_base = slots[t.k] + t.j * bpp;
            lone_w = static_cast<int32_t>(t.w);
        }
        ShortDivide sd;
        sd.on = plan.short_divide;
        sd.magic = plan.div16.magic;
        sd.shift = plan.div16.shift;
        sd.negative = plan.divisor < 0;
        done = HWY_DYNAMIC_DISPATCH(LinearShortVec)(plan.short_w, base, plan.n_plus, plan.n_minus, plan.n_short,
                                                    plan.scale, lone_base, lone_w, plan.recip, divide, bias, sd,
                                                    begin, end, out);
    }
    if (done < end) LinearRowPlain(plan, slots, bpp, done, end, out);
}

void SharpenRow(int64_t p, int64_t d, const uint8_t *const *slots, int bpp, int begin, int end, uint8_t *out) {
    if (!SharpenFitsFloat(p)) return SharpenRowPlain(p, d, slots, bpp, begin, end, out);
    if (SharpenFitsShort(p)) {
        const LinearPlan::Div16 div = MakeDiv16(static_cast<uint32_t>(d < 0 ? -d : d));
        const int done = HWY_DYNAMIC_DISPATCH(SharpenShortVec)(static_cast<int>(p), div.magic, div.shift, d < 0,
                                                               slots, bpp, begin, end, out);
        if (done < end) SharpenRowPlain(p, d, slots, bpp, done, end, out);
        return;
    }
    const int done = HWY_DYNAMIC_DISPATCH(SharpenRowVec)(static_cast<float>(p), RecipOf(d), d != 1, slots, bpp,
                                                         begin, end, out);
    if (done < end) SharpenRowPlain(p, d, slots, bpp, done, end, out);
}

void ColumnUpdate(uint16_t *col, const uint8_t *add, const uint8_t *sub, std::size_t n) {
    HWY_DYNAMIC_DISPATCH(ColumnUpdateVec)(col, add, sub, n);
}

}  // namespace filters
}  // namespace imge
#endif
