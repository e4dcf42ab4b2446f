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
    // The shuffle tables cover 64 bytes: wider vectors are capped.
    const hn::CappedTag<uint8_t, 64> d;
    const TLong N = static_cast<TLong>(hn::Lanes(d));
    TLong x = 0;
    if (bpp == 3) {
        // A vector of output bytes at o takes its bytes from two loads, two
        // bytes before and two bytes after it, one byte shuffle each; three
        // vectors in a row go through the three pixel phases.
        const TLong len = 3 * n;
        // The stores after the first land on N-byte boundaries of the output;
        // the first and the last vector may overlap their neighbours (the
        // same bytes written twice), so only the first and the last pixel's
        // bytes outside them take the plain loop.
        if (len >= N + 4) {
            const auto &idx = kSwapBlockIndex.three[mode];
            using V = hn::Vec<decltype(d)>;
            // Output bytes o..o+N-1 from the shuffle tables ia, ib of their phase.
            const auto swapped = [&](TLong o, V ia, V ib) {
                return hn::Or(hn::TableLookupBytesOr0(hn::LoadU(d, in + o - 2), ia),
                              hn::TableLookupBytesOr0(hn::LoadU(d, in + o + 2), ib));
            };
            const auto at = [&](TLong o) {
                const auto &t = idx[o % 3];
                return swapped(o, hn::LoadU(d, t[0]), hn::LoadU(d, t[1]));
            };
            SwapRowPlain(in, out, 1, 3, mode);
            hn::StoreU(at(2), d, out + 2);
            TLong o = 2 + static_cast<TLong>((0 - reinterpret_cast<uintptr_t>(out + 2)) & static_cast<uintptr_t>(N - 1));
            if (o + 3 * N + 2 <= len) {
                // Vector k of each three starts at phase (o + k * N) % 3.
                const int p = static_cast<int>(o % 3);
                const V a0 = hn::LoadU(d, idx[p][0]), b0 = hn::LoadU(d, idx[p][1]);
                const V a1 = hn::LoadU(d, idx[(p + N) % 3][0]), b1 = hn::LoadU(d, idx[(p + N) % 3][1]);
                const V a2 = hn::LoadU(d, idx[(p + 2 * N) % 3][0]), b2 = hn::LoadU(d, idx[(p + 2 * N) % 3][1]);
                for (; o + 3 * N + 2 <= len; o += 3 * N) {
                    hn::Store(swapped(o, a0, b0), d, out + o);
                    hn::Store(swapped(o + N, a1, b1), d, out + o + N);
                    hn::Store(swapped(o + 2 * N, a2, b2), d, out + o + 2 * N);
                }
            }
            for (; o + N + 2 <= len; o += N) hn::Store(at(o), d, out + o);
            // The last vector ends two bytes before the row: the last
            // pixel's other two bytes are plain.
            hn::StoreU(at(len - N - 2), d, out + len - N - 2);
            SwapRowPlain(in + len - 3, out + len - 3, 1, 3, mode);
            x = n;
        }
    } else {
        // Four-byte pixels never straddle a 16-byte block: one shuffle.
        const auto idx = hn::LoadU(d, kSwapBlockIndex.four[mode]);
        for (; x + N / 4 <= n; x += N / 4)
            hn::StoreU(hn::TableLookupBytes(hn::LoadU(d, in + 4 * x), idx), d, out + 4 * x);
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
