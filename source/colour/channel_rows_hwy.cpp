// Vector kernels of the channel operations (Highway, dispatched at run time):
// pixels are split into planes with interleaved loads, worked on per plane
// and interleaved again on the way out (or one plane stored, for extraction).
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "colour/channel_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "colour/channel_rows.h"

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace colour {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

void DesaturateVec(const TUbyte *HWY_RESTRICT in, TUbyte *HWY_RESTRICT out, TLong n, int bpp) {
#if HWY_TARGET == HWY_SCALAR
    return DesaturateRowPlain(in, out, n, bpp);
#else
    const hn::ScalableTag<uint8_t> d;
    const TLong N = static_cast<TLong>(hn::Lanes(d));
    TLong x = 0;
    if (bpp == 3) {
        for (; x + N <= n; x += N) {
            hn::Vec<decltype(d)> a, b, c;
            hn::LoadInterleaved3(d, in + 3 * x, a, b, c);
            const auto hi = hn::Max(a, hn::Max(b, c)), lo = hn::Min(a, hn::Min(b, c));
            // (lo + hi) >> 1 without overflow: the rounded-down mean.
            const auto v = hn::Sub(hn::AverageRound(lo, hi), hn::And(hn::Xor(lo, hi), hn::Set(d, 1)));
            hn::StoreInterleaved3(v, v, v, d, out + 3 * x);
        }
    } else {
        for (; x + N <= n; x += N) {
            hn::Vec<decltype(d)> a, b, c, e;
            hn::LoadInterleaved4(d, in + 4 * x, a, b, c, e);
            const auto hi = hn::Max(a, hn::Max(b, c)), lo = hn::Min(a, hn::Min(b, c));
            const auto v = hn::Sub(hn::AverageRound(lo, hi), hn::And(hn::Xor(lo, hi), hn::Set(d, 1)));
            hn::StoreInterleaved4(v, v, v, e, d, out + 4 * x);
        }
    }
    DesaturateRowPlain(in + x * bpp, out + x * bpp, n - x, bpp);
#endif
}

void SwapVec(const TUbyte *HWY_RESTRICT in, TUbyte *HWY_RESTRICT out, TLong n, int bpp, int mode) {
#if HWY_TARGET == HWY_SCALAR
    return SwapRowPlain(in, out, n, bpp, mode);
#else
    const hn::ScalableTag<uint8_t> d;
    const TLong N = static_cast<TLong>(hn::Lanes(d));
    const int s0 = SwapSource(mode, 0), s1 = SwapSource(mode, 1), s2 = SwapSource(mode, 2);
    TLong x = 0;
    if (bpp == 3) {
        // Five pixels per 16-byte block, one byte shuffle each: the block's
        // last byte is stored unchanged and rewritten by the next block, so
        // blocks stop while that byte still lies inside the row.
        const hn::CappedTag<uint8_t, 16> d16;
        HWY_ALIGN uint8_t order[16];
        for (int k = 0; k < 15; ++k) order[k] = static_cast<uint8_t>(k - k % 3 + SwapSource(mode, k % 3));
        order[15] = 15;
        const auto idx = hn::Load(d16, order);
        for (; 3 * (x + 5) < 3 * n; x += 5) hn::StoreU(hn::TableLookupBytes(hn::LoadU(d16, in + 3 * x), idx), d16, out + 3 * x);
    } else {
        for (; x + N <= n; x += N) {
            hn::Vec<decltype(d)> p[4];
            hn::LoadInterleaved4(d, in + 4 * x, p[0], p[1], p[2], p[3]);
            hn::StoreInterleaved4(p[s0], p[s1], p[s2], p[3], d, out + 4 * x);
        }
    }
    SwapRowPlain(in + x * bpp, out + x * bpp, n - x, bpp, mode);
#endif
}

void ExtractVec(const TUbyte *HWY_RESTRICT in, TUbyte *HWY_RESTRICT out, TLong n, int bpp, int pos) {
#if HWY_TARGET == HWY_SCALAR
    return ExtractRowPlain(in, out, n, bpp, pos);
#else
    const hn::ScalableTag<uint8_t> d;
    const TLong N = static_cast<TLong>(hn::Lanes(d));
    TLong x = 0;
    if (bpp == 3) {
        for (; x + N <= n; x += N) {
            hn::Vec<decltype(d)> p[3];
            hn::LoadInterleaved3(d, in + 3 * x, p[0], p[1], p[2]);
            hn::StoreU(p[pos], d, out + x);
        }
    } else if (bpp == 4) {
        for (; x + N <= n; x += N) {
            hn::Vec<decltype(d)> p[4];
            hn::LoadInterleaved4(d, in + 4 * x, p[0], p[1], p[2], p[3]);
            hn::StoreU(p[pos], d, out + x);
        }
    }
    ExtractRowPlain(in + x * bpp, out + x, n - x, bpp, pos);
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace colour
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
namespace colour {
HWY_EXPORT(DesaturateVec);
HWY_EXPORT(SwapVec);
HWY_EXPORT(ExtractVec);

void ExtractRow(const TUbyte *in, TUbyte *out, TLong n, int bpp, int pos) {
    HWY_DYNAMIC_DISPATCH(ExtractVec)(in, out, n, bpp, pos);
}

void DesaturateRow(const TUbyte *in, TUbyte *out, TLong n, int bpp) {
    HWY_DYNAMIC_DISPATCH(DesaturateVec)(in, out, n, bpp);
}

void SwapRow(const TUbyte *in, TUbyte *out, TLong n, int bpp, int mode) {
    HWY_DYNAMIC_DISPATCH(SwapVec)(in, out, n, bpp, mode);
}
}  // namespace colour
}  // namespace imge
#endif
