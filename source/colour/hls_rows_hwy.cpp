// imgAdjustHLS in double lanes (Highway, dispatched at run time): the
// conversion of the plain code written lane-wise, every branch a selection,
// every operation the same IEEE operation in the same order, so the same
// doubles and the same truncated bytes.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "colour/hls_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "colour/hls.h"

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// v < 0 ? 0 : v > 1 ? 1 : v
template <class D, class V>
HWY_INLINE V Clamp01(D d, V v) {
    const auto zero = hn::Zero(d), one = hn::Set(d, 1.0);
    return hn::IfThenElse(hn::Lt(v, zero), zero, hn::IfThenElse(hn::Gt(v, one), one, v));
}

// hls_value: the hue brought into 0..360 by whole turns (one subtraction or
// addition of 360 per step, as long as any lane needs one), then the ramp.
template <class D, class V>
HWY_INLINE V HlsValue(D d, V n1, V n2, V hue) {
    const auto turn = hn::Set(d, 360.0), zero = hn::Zero(d);
    for (auto m = hn::Gt(hue, turn); !hn::AllFalse(d, m); m = hn::Gt(hue, turn))
        hue = hn::IfThenElse(m, hn::Sub(hue, turn), hue);
    for (auto m = hn::Lt(hue, zero); !hn::AllFalse(d, m); m = hn::Lt(hue, zero))
        hue = hn::IfThenElse(m, hn::Add(hue, turn), hue);
    const auto rising = hn::Lt(hue, hn::Set(d, 60.0));
    const auto t = hn::IfThenElse(rising, hue, hn::Sub(hn::Set(d, 240.0), hue));
    const auto ramp = hn::Add(n1, hn::Div(hn::Mul(hn::Sub(n2, n1), t), hn::Set(d, 60.0)));
    return hn::IfThenElse(rising, ramp,
                          hn::IfThenElse(hn::Lt(hue, hn::Set(d, 180.0)), n2,
                                         hn::IfThenElse(hn::Lt(hue, hn::Set(d, 240.0)), ramp, n1)));
}

// One vector of pixels: red, green and blue as v / 255.0 in, the three
// results as (int)(v * 255.0) (truncated toward zero) out.
template <class D>
HWY_INLINE void ConvertLanes(D d, const HlsIncrements &inc, hn::Vec<D> r, hn::Vec<D> g, hn::Vec<D> b,
                             hn::Vec<hn::Rebind<int32_t, D>> (&out)[3]) {
    const hn::Rebind<int32_t, D> d32;
    const auto zero = hn::Zero(d), half = hn::Set(d, 0.5), one = hn::Set(d, 1.0), two = hn::Set(d, 2.0);
    // rgb2hls
    const auto mx = hn::Max(hn::Max(r, g), hn::Max(g, b));
    const auto mn = hn::Min(hn::Min(r, g), hn::Min(g, b));
    auto l = hn::Mul(hn::Add(mx, mn), half);
    const auto grey = hn::Eq(mx, mn);
    const auto delta = hn::Sub(mx, mn);
    auto s = hn::Div(delta, hn::IfThenElse(hn::Le(l, half), hn::Add(mx, mn), hn::Sub(hn::Sub(two, mx), mn)));
    const auto red_max = hn::Eq(r, mx), green_max = hn::Eq(g, mx);
    const auto num = hn::IfThenElse(red_max, hn::Sub(g, b), hn::IfThenElse(green_max, hn::Sub(b, r), hn::Sub(r, g)));
    const auto q = hn::Div(num, delta);
    auto h = hn::IfThenElse(red_max, q, hn::Add(hn::IfThenElse(green_max, two, hn::Set(d, 4.0)), q));
    h = hn::Mul(h, hn::Set(d, 60.0));
    h = hn::IfThenElse(hn::Lt(h, zero), hn::Add(h, hn::Set(d, 360.0)), h);  // at least -60 here
    s = hn::IfThenElse(grey, zero, s);
    h = hn::IfThenElse(grey, zero, h);
    // increments
    if (inc.h_increment) h = hn::Add(h, hn::Set(d, inc.h));
    if (inc.l_increment) l = Clamp01(d, hn::Add(l, hn::Set(d, inc.l)));
    if (inc.s_increment) s = Clamp01(d, hn::Add(s, hn::Set(d, inc.s)));
    // hls2rgb
    const auto m2 = hn::IfThenElse(hn::Le(l, half), hn::Mul(l, hn::Add(one, s)), hn::Sub(hn::Add(l, s), hn::Mul(l, s)));
    const auto m1 = hn::Sub(hn::Mul(two, l), m2);
    const auto flat = hn::Eq(s, zero);
    const auto third = hn::Set(d, 120.0), scale = hn::Set(d, 255.0);
    out[0] = hn::DemoteTo(d32, hn::Mul(hn::IfThenElse(flat, l, HlsValue(d, m1, m2, hn::Add(h, third))), scale));
    out[1] = hn::DemoteTo(d32, hn::Mul(hn::IfThenElse(flat, l, HlsValue(d, m1, m2, h)), scale));
    out[2] = hn::DemoteTo(d32, hn::Mul(hn::IfThenElse(flat, l, HlsValue(d, m1, m2, hn::Sub(h, third))), scale));
}

#if HWY_TARGET != HWY_SCALAR
// Whole vectors of pixels of Bpp bytes: split into byte planes, the colour
// planes looked up in `unit`, the results narrowed to their low bytes and
// interleaved with the untouched plane again. Returns the pixels done.
template <int Bpp>
int ConvertPixels(unsigned char *p, int n, int ir, int ig, int ib, const HlsIncrements &inc, const double *unit) {
    const hn::ScalableTag<double> d;
    const hn::Rebind<uint8_t, decltype(d)> d8;
    const hn::Rebind<int32_t, decltype(d)> d32;
    const hn::Rebind<uint32_t, decltype(d)> du32;
    const hn::Rebind<int64_t, decltype(d)> d64;
    const int M = static_cast<int>(hn::Lanes(d));
    int x = 0;
    for (; x + M <= n; x += M) {
        unsigned char *q = p + static_cast<long long>(x) * Bpp;
        hn::Vec<decltype(d8)> v[4];
        if (Bpp == 3) hn::LoadInterleaved3(d8, q, v[0], v[1], v[2]);
        else hn::LoadInterleaved4(d8, q, v[0], v[1], v[2], v[3]);
        auto unit_of = [&](int k) { return hn::GatherIndex(d, unit, hn::PromoteTo(d64, hn::PromoteTo(d32, v[k]))); };
        hn::Vec<decltype(d32)> out[3];
        ConvertLanes(d, inc, unit_of(ir), unit_of(ig), unit_of(ib), out);
        v[ir] = hn::TruncateTo(d8, hn::BitCast(du32, out[0]));
        v[ig] = hn::TruncateTo(d8, hn::BitCast(du32, out[1]));
        v[ib] = hn::TruncateTo(d8, hn::BitCast(du32, out[2]));
        if (Bpp == 3) hn::StoreInterleaved3(v[0], v[1], v[2], d8, q);
        else hn::StoreInterleaved4(v[0], v[1], v[2], v[3], d8, q);
    }
    return x;
}
#endif

void AdjustHlsRowVec(unsigned char *p, int n, int bpp, int ir, int ig, int ib, const HlsIncrements &inc,
                     const double *unit) {
    const hn::ScalableTag<double> d;
    const hn::Rebind<int32_t, decltype(d)> d32;
    const int M = static_cast<int>(hn::Lanes(d));
    int x0 = 0;
#if HWY_TARGET != HWY_SCALAR
    if (bpp == 3) x0 = ConvertPixels<3>(p, n, ir, ig, ib, inc, unit);
    else if (bpp == 4) x0 = ConvertPixels<4>(p, n, ir, ig, ib, inc, unit);
#endif
    // The rest (and other pixel sizes) through arrays, the last vector
    // padded with black.
    HWY_ALIGN double in[3][HWY_MAX_BYTES / sizeof(double)];
    HWY_ALIGN int32_t res[3][HWY_MAX_BYTES / sizeof(double)];
    for (; x0 < n; x0 += M) {
        const int m = n - x0 < M ? n - x0 : M;
        const unsigned char *q = p + static_cast<long long>(x0) * bpp;
        for (int i = 0; i < M; ++i, q += bpp) {
            in[0][i] = i < m ? unit[q[ir]] : 0.0;
            in[1][i] = i < m ? unit[q[ig]] : 0.0;
            in[2][i] = i < m ? unit[q[ib]] : 0.0;
        }
        hn::Vec<decltype(d32)> out[3];
        ConvertLanes(d, inc, hn::Load(d, in[0]), hn::Load(d, in[1]), hn::Load(d, in[2]), out);
        for (int k = 0; k < 3; ++k) hn::Store(out[k], d32, res[k]);
        unsigned char *w = p + static_cast<long long>(x0) * bpp;
        for (int i = 0; i < m; ++i, w += bpp) {
            w[ir] = static_cast<unsigned char>(res[0][i]);
            w[ig] = static_cast<unsigned char>(res[1][i]);
            w[ib] = static_cast<unsigned char>(res[2][i]);
        }
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
HWY_EXPORT(AdjustHlsRowVec);

void AdjustHlsRow(unsigned char *p, int n, int bpp, int ir, int ig, int ib, const HlsIncrements &inc,
                  const double unit[256]) {
    HWY_DYNAMIC_DISPATCH(AdjustHlsRowVec)(p, n, bpp, ir, ig, ib, inc, unit);
}
}  // namespace imge
#endif
