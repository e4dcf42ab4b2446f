// Vector sepia rows (Highway, dispatched at run time): pixels split into
// byte planes; grey and offsets in byte lanes (saturating adds and
// subtractions are the clamps), the blend in double lanes with the same
// products and sums as the plain loop, so the same truncated bytes.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "colour/sepia_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "colour/sepia_rows.h"
#include "core/byte_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace colour {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using namespace ::imge::HWY_NAMESPACE;  // the shared byte helpers of core/

#if HWY_TARGET != HWY_SCALAR  // one lane: the plain loop does it

// Each plane byte becomes (int)(plane * c1 + (r + g + b) * c2), low byte,
// in registers: a quarter of the byte lanes widened to 32 bits, each half of
// those in double lanes, and narrowed back.
template <class Q8>
HWY_INLINE void BlendQuarter(Q8 q8, const SepiaTone &t, hn::Vec<Q8> (&v)[3]) {
    const hn::Rebind<int32_t, Q8> d32;
    const hn::Rebind<uint32_t, Q8> du32;
    const hn::Half<decltype(d32)> dh;
    const hn::Rebind<double, decltype(dh)> dd;
    const auto c1 = hn::Set(dd, t.c1), c2 = hn::Set(dd, t.c2);
    hn::Vec<decltype(d32)> w[3];
    for (int k = 0; k < 3; ++k) w[k] = hn::PromoteTo(d32, v[k]);
    const auto sum = hn::Add(hn::Add(w[0], w[1]), w[2]);
    const auto share_lo = hn::Mul(hn::PromoteTo(dd, hn::LowerHalf(dh, sum)), c2);
    const auto share_hi = hn::Mul(hn::PromoteTo(dd, hn::UpperHalf(dh, sum)), c2);
    for (int k = 0; k < 3; ++k) {
        const auto lo = hn::Add(hn::Mul(hn::PromoteTo(dd, hn::LowerHalf(dh, w[k])), c1), share_lo);
        const auto hi = hn::Add(hn::Mul(hn::PromoteTo(dd, hn::UpperHalf(dh, w[k])), c1), share_hi);
        const auto both = hn::Combine(d32, hn::DemoteTo(dh, hi), hn::DemoteTo(dh, lo));
        v[k] = hn::TruncateTo(q8, hn::BitCast(du32, both));
    }
}

template <class D8>
HWY_INLINE void Blend(D8 d8, const SepiaTone &t, hn::Vec<D8> &r, hn::Vec<D8> &g, hn::Vec<D8> &b) {
    const hn::Half<D8> h8;
    const hn::Half<decltype(h8)> q8;
    hn::Vec<decltype(h8)> half[2][3];
    const hn::Vec<D8> in[3] = {r, g, b};
    for (int part = 0; part < 2; ++part) {
        hn::Vec<decltype(q8)> lo[3], hi[3];
        for (int k = 0; k < 3; ++k) {
            const auto h = part ? hn::UpperHalf(h8, in[k]) : hn::LowerHalf(h8, in[k]);
            lo[k] = hn::LowerHalf(q8, h);
            hi[k] = hn::UpperHalf(q8, h);
        }
        BlendQuarter(q8, t, lo);
        BlendQuarter(q8, t, hi);
        for (int k = 0; k < 3; ++k) half[part][k] = hn::Combine(h8, hi[k], lo[k]);
    }
    r = hn::Combine(d8, half[1][0], half[0][0]);
    g = hn::Combine(d8, half[1][1], half[0][1]);
    b = hn::Combine(d8, half[1][2], half[0][2]);
}

template <int Bpp>
IMG_INT32 SepiaVec(IMG_UINT8 *HWY_RESTRICT p, IMG_INT32 n, const RgbPositions &pos, const SepiaTone &t) {
    const hn::ScalableTag<uint8_t> d;
    const IMG_INT32 N = static_cast<IMG_INT32>(hn::Lanes(d));
    const auto off_r = hn::Set(d, static_cast<uint8_t>(t.red)), off_g = hn::Set(d, static_cast<uint8_t>(t.green)),
               off_b = hn::Set(d, static_cast<uint8_t>(t.blue));
    IMG_INT32 x = 0;
    for (; x + N <= n; x += N) {
        hn::Vec<decltype(d)> v[4];
        if (Bpp == 3) hn::LoadInterleaved3(d, p + 3 * x, v[0], v[1], v[2]);
        else hn::LoadInterleaved4(d, p + 4 * x, v[0], v[1], v[2], v[3]);
        auto r = v[pos.r], g = v[pos.g], b = v[pos.b];
        if (t.kind == SepiaTone::kBlendTint) {
            Blend(d, t, r, g, b);
            r = hn::SaturatedSub(r, off_r);
            g = hn::SaturatedSub(g, off_g);
            b = hn::SaturatedSub(b, off_b);
        } else {
            const auto grey = Luma(d, r, g, b);
            if (t.kind == SepiaTone::kWarm) {
                r = hn::SaturatedAdd(grey, off_r);
                g = hn::SaturatedAdd(grey, off_g);
                b = hn::SaturatedAdd(grey, off_b);
            } else {
                r = hn::SaturatedSub(grey, off_r);
                g = hn::SaturatedSub(grey, off_g);
                b = hn::SaturatedSub(grey, off_b);
            }
        }
        v[pos.r] = r;
        v[pos.g] = g;
        v[pos.b] = b;
        if (Bpp == 3) hn::StoreInterleaved3(v[0], v[1], v[2], d, p + 3 * x);
        else hn::StoreInterleaved4(v[0], v[1], v[2], v[3], d, p + 4 * x);
    }
    return x;
}

#endif

void SepiaRowVec(IMG_UINT8 *p, IMG_INT32 n, int bpp, const RgbPositions &pos, const SepiaTone &t) {
    IMG_INT32 done = 0;
#if HWY_TARGET != HWY_SCALAR
    if (bpp == 3) done = SepiaVec<3>(p, n, pos, t);
    else if (bpp == 4) done = SepiaVec<4>(p, n, pos, t);
#endif
    SepiaRowPlain(p + static_cast<long long>(done) * bpp, n - done, bpp, pos, t);
}

}  // namespace HWY_NAMESPACE
}  // namespace colour
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
namespace colour {
HWY_EXPORT(SepiaRowVec);

void SepiaRow(IMG_UINT8 *p, IMG_INT32 n, int bpp, const RgbPositions &pos, const SepiaTone &t) {
    HWY_DYNAMIC_DISPATCH(SepiaRowVec)(p, n, bpp, pos, t);
}

}  // namespace colour
}  // namespace imge
#endif
