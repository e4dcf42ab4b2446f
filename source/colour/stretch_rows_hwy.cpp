// Vector shadow and highlight stretch (Highway, dispatched at run time): the
// luminance of whole vectors of pixels decides; vectors of mid-tones only are
// passed through, the others go through both tables by byte shuffles.
// Also compiled for AVX-512 with byte permutes (VBMI), where a 256-entry
// table lookup is two permutes and a blend.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "colour/stretch_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "colour/stretch_rows.h"
#include "core/byte_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace colour {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using namespace ::imge::HWY_NAMESPACE;  // the shared byte helpers of core/

template <class D, class M, class V>
HWY_INLINE V StretchPlane(D d, const Table256 &dark_table, const Table256 &bright_table, M dark, bool any_dark,
                          M bright, bool any_bright, V v) {
    V r = v;
    if (any_dark) r = hn::IfThenElse(dark, dark_table(d, v), r);
    if (any_bright) r = hn::IfThenElse(bright, bright_table(d, v), r);
    return r;
}

template <int Bpp>
TLong StretchVec(const TUbyte *in, TUbyte *out, TLong n, const StretchTables &t) {  // in may be out
    const hn::ScalableTag<uint8_t> d;
    const TLong N = static_cast<TLong>(hn::Lanes(d));
    const auto top = hn::Set(d, kShadowTop + 1), bottom = hn::Set(d, kHighlightBottom - 1);
    const Table256 dark_table(t.dark), bright_table(t.bright);
    TLong x = 0;
    for (; x + N <= n; x += N) {
        hn::Vec<decltype(d)> v[4];
        if (Bpp == 3) hn::LoadInterleaved3(d, in + 3 * x, v[0], v[1], v[2]);
        else hn::LoadInterleaved4(d, in + 4 * x, v[0], v[1], v[2], v[3]);
        const auto luma = Luma(d, v[0], v[1], v[2]);
        const auto dark = hn::Lt(luma, top), bright = hn::Gt(luma, bottom);
        const bool any_dark = !hn::AllFalse(d, dark), any_bright = !hn::AllFalse(d, bright);
        if (!any_dark && !any_bright) {
            // All mid-tones: the bytes as they are.
            if (in != out)
                for (int k = 0; k < Bpp; ++k) hn::StoreU(hn::LoadU(d, in + (Bpp * x + k * N)), d, out + (Bpp * x + k * N));
            continue;
        }
        for (int k = 0; k < 3; ++k) v[k] = StretchPlane(d, dark_table, bright_table, dark, any_dark, bright, any_bright, v[k]);
        if (Bpp == 3) hn::StoreInterleaved3(v[0], v[1], v[2], d, out + 3 * x);
        else hn::StoreInterleaved4(v[0], v[1], v[2], v[3], d, out + 4 * x);
    }
    return x;
}

void StretchRowVec(const TUbyte *in, TUbyte *out, TLong n, int bpp, const StretchTables &t) {
    TLong done = 0;
#if HWY_TARGET != HWY_SCALAR  // one lane holds no 16-byte table piece: the plain loop does it
    done = bpp == 3 ? StretchVec<3>(in, out, n, t) : StretchVec<4>(in, out, n, t);
#endif
    StretchRowPlain(in + done * bpp, out + done * bpp, n - done, bpp, t);
}

}  // namespace HWY_NAMESPACE
}  // namespace colour
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
namespace colour {
HWY_EXPORT(StretchRowVec);

void StretchRow(const TUbyte *in, TUbyte *out, TLong n, int bpp, const StretchTables &t) {
    HWY_DYNAMIC_DISPATCH(StretchRowVec)(in, out, n, bpp, t);
}

}  // namespace colour
}  // namespace imge
#endif
