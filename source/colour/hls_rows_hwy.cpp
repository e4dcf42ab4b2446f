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
namespace colour {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// v < 0 ? 0 : v > 1 ? 1 : v
template <class D, class V>
HWY_INLINE V Clamp01(D d, V v) {
    const auto zero = hn::Zero(d), one = hn::Set(d, 1.0);
    return hn::IfThenElse(hn::Lt(v, zero), zero, hn::IfThenElse(hn::Gt(v, one), one, v));
}

// hls_value for K vectors side by side: the hue brought into 0..360 by whole
// turns (one subtraction or addition of 360 per step, as long as any lane
// needs one), then the ramp.
template <int K, class D, class V>
HWY_INLINE void HlsValue(D d, const V (&n1)[K], const V (&n2)[K], V (&hue)[K], V (&value)[K]) {
    const auto turn = hn::Set(d, 360.0), zero = hn::Zero(d);
    // One turn more in every lane that needs one, as long as any lane does.
    auto turns = [&](auto needs_turn, auto turned) {
        for (bool any = true; any;) {
            any = false;
            for (int k = 0; k < K; ++k) {
                const auto m = needs_turn(hue[k]);
                hue[k] = hn::IfThenElse(m, turned(hue[k]), hue[k]);
                any |= !hn::AllFalse(d, m);
            }
        }
    };
    turns([&](V x) { return hn::Gt(x, turn); }, [&](V x) { return hn::Sub(x, turn); });
    turns([&](V x) { return hn::Lt(x, zero); }, [&](V x) { return hn::Add(x, turn); });
    for (int k = 0; k < K; ++k) {
        const auto rising = hn::Lt(hue[k], hn::Set(d, 60.0));
        const auto t = hn::IfThenElse(rising, hue[k], hn::Sub(hn::Set(d, 240.0), hue[k]));
        const auto ramp = hn::Add(n1[k], hn::Div(hn::Mul(hn::Sub(n2[k], n1[k]), t), hn::Set(d, 60.0)));
        value[k] = hn::IfThenElse(rising, ramp,
                                  hn::IfThenElse(hn::Lt(hue[k], hn::Set(d, 180.0)), n2[k],
                                                 hn::IfThenElse(hn::Lt(hue[k], hn::Set(d, 240.0)), ramp, n1[k])));
    }
}

// K vectors of pixels side by side (independent chains keep the arithmetic
// units busy): red, green and blue as v / 255.0 in, the three results as
// (int)(v * 255.0) (truncated toward zero) out.
template <int K, class D>
HWY_INLINE void ConvertLanes(D d, const HlsIncrements &inc, const hn::Vec<D> (&r)[K], const hn::Vec<D> (&g)[K],
                             const hn::Vec<D> (&b)[K], hn::Vec<hn::Rebind<int32_t, D>> (&out)[K][3]) {
    using V = hn::Vec<D>;
    const hn::Rebind<int32_t, D> d32;
    const auto zero = hn::Zero(d), half = hn::Set(d, 0.5), one = hn::Set(d, 1.0), two = hn::Set(d, 2.0);
    V l[K], s[K], h[K], m1[K], m2[K];
    for (int k = 0; k < K; ++k) {
        // rgb2hls
        const auto mx = hn::Max(hn::Max(r[k], g[k]), hn::Max(g[k], b[k]));
        const auto mn = hn::Min(hn::Min(r[k], g[k]), hn::Min(g[k], b[k]));
        l[k] = hn::Mul(hn::Add(mx, mn), half);
        const auto grey = hn::Eq(mx, mn);
        const auto delta = hn::Sub(mx, mn);
        s[k] = hn::Div(delta, hn::IfThenElse(hn::Le(l[k], half), hn::Add(mx, mn), hn::Sub(hn::Sub(two, mx), mn)));
        const auto red_max = hn::Eq(r[k], mx), green_max = hn::Eq(g[k], mx);
        const auto num = hn::IfThenElse(red_max, hn::Sub(g[k], b[k]),
                                        hn::IfThenElse(green_max, hn::Sub(b[k], r[k]), hn::Sub(r[k], g[k])));
        const auto q = hn::Div(num, delta);
        h[k] = hn::IfThenElse(red_max, q, hn::Add(hn::IfThenElse(green_max, two, hn::Set(d, 4.0)), q));
        h[k] = hn::Mul(h[k], hn::Set(d, 60.0));
        h[k] = hn::IfThenElse(hn::Lt(h[k], zero), hn::Add(h[k], hn::Set(d, 360.0)), h[k]);  // at least -60 here
        s[k] = hn::IfThenElse(grey, zero, s[k]);
        h[k] = hn::IfThenElse(grey, zero, h[k]);
        // increments
        if (inc.h_increment) h[k] = hn::Add(h[k], hn::Set(d, inc.h));
        if (inc.l_increment) l[k] = Clamp01(d, hn::Add(l[k], hn::Set(d, inc.l)));
        if (inc.s_increment) s[k] = Clamp01(d, hn::Add(s[k], hn::Set(d, inc.s)));
        // hls2rgb
        m2[k] = hn::IfThenElse(hn::Le(l[k], half), hn::Mul(l[k], hn::Add(one, s[k])),
                               hn::Sub(hn::Add(l[k], s[k]), hn::Mul(l[k], s[k])));
        m1[k] = hn::Sub(hn::Mul(two, l[k]), m2[k]);
    }
    const auto third = hn::Set(d, 120.0), scale = hn::Set(d, 255.0);
    for (int c = 0; c < 3; ++c) {
        V hue[K], value[K];
        for (int k = 0; k < K; ++k) hue[k] = c == 0 ? hn::Add(h[k], third) : c == 1 ? h[k] : hn::Sub(h[k], third);
        HlsValue<K>(d, m1, m2, hue, value);
        for (int k = 0; k < K; ++k)
            out[k][c] = hn::DemoteTo(d32, hn::Mul(hn::IfThenElse(hn::Eq(s[k], zero), l[k], value[k]), scale));
    }
}

#if HWY_TARGET != HWY_SCALAR
// Vectors converted side by side per step: each conversion is one long
// chain of dependent operations, and two independent chains keep the units
// busy (71.8 -> 60.5 ms on 12 Mpixels; three or four run out of registers).
constexpr int kChains = 2;

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
    for (; x + kChains * M <= n; x += kChains * M) {
        hn::Vec<decltype(d8)> v[kChains][4];
        hn::Vec<decltype(d)> r[kChains], g[kChains], b[kChains];
        auto unit_of = [&](const hn::Vec<decltype(d8)> &bytes) {
#if HWY_NATIVE_FMA
            // v / 255.0 without a look-up: the product with the rounded
            // reciprocal, corrected once by its exact remainder, is the
            // correctly rounded quotient for every byte v (the tests compare
            // every value with the plain code).
            (void)unit;
            const auto v = hn::PromoteTo(d, hn::PromoteTo(d32, bytes));
            const auto r = hn::Set(d, 1.0 / 255.0);
            const auto q = hn::Mul(v, r);
            return hn::MulAdd(hn::NegMulAdd(q, hn::Set(d, 255.0), v), r, q);
#else
            return hn::GatherIndex(d, unit, hn::PromoteTo(d64, hn::PromoteTo(d32, bytes)));
#endif
        };
        for (int k = 0; k < kChains; ++k) {
            const unsigned char *q = p + static_cast<long long>(x + k * M) * Bpp;
            if (Bpp == 3) hn::LoadInterleaved3(d8, q, v[k][0], v[k][1], v[k][2]);
            else hn::LoadInterleaved4(d8, q, v[k][0], v[k][1], v[k][2], v[k][3]);
            r[k] = unit_of(v[k][ir]);
            g[k] = unit_of(v[k][ig]);
            b[k] = unit_of(v[k][ib]);
        }
        hn::Vec<decltype(d32)> out[kChains][3];
        ConvertLanes<kChains>(d, inc, r, g, b, out);
        for (int k = 0; k < kChains; ++k) {
            v[k][ir] = hn::TruncateTo(d8, hn::BitCast(du32, out[k][0]));
            v[k][ig] = hn::TruncateTo(d8, hn::BitCast(du32, out[k][1]));
            v[k][ib] = hn::TruncateTo(d8, hn::BitCast(du32, out[k][2]));
            unsigned char *q = p + static_cast<long long>(x + k * M) * Bpp;
            if (Bpp == 3) hn::StoreInterleaved3(v[k][0], v[k][1], v[k][2], d8, q);
            else hn::StoreInterleaved4(v[k][0], v[k][1], v[k][2], v[k][3], d8, q);
        }
    }
    return x;
}
#endif

bool InVectors() { return HWY_TARGET != HWY_SCALAR; }

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
        const hn::Vec<decltype(d)> r[1] = {hn::Load(d, in[0])}, g[1] = {hn::Load(d, in[1])},
                                   b[1] = {hn::Load(d, in[2])};
        hn::Vec<decltype(d32)> out[1][3];
        ConvertLanes<1>(d, inc, r, g, b, out);
        for (int k = 0; k < 3; ++k) hn::Store(out[0][k], d32, res[k]);
        unsigned char *w = p + static_cast<long long>(x0) * bpp;
        for (int i = 0; i < m; ++i, w += bpp) {
            w[ir] = static_cast<unsigned char>(res[0][i]);
            w[ig] = static_cast<unsigned char>(res[1][i]);
            w[ib] = static_cast<unsigned char>(res[2][i]);
        }
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace colour
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
namespace colour {
HWY_EXPORT(AdjustHlsRowVec);
HWY_EXPORT(InVectors);

bool HlsRowsInVectors() { return HWY_DYNAMIC_DISPATCH(InVectors)(); }

void AdjustHlsRow(unsigned char *p, int n, int bpp, int ir, int ig, int ib, const HlsIncrements &inc,
                  const double unit[256]) {
    HWY_DYNAMIC_DISPATCH(AdjustHlsRowVec)(p, n, bpp, ir, ig, ib, inc, unit);
}
}  // namespace colour
}  // namespace imge
#endif
