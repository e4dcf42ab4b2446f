// Vector luminance rows (Highway, dispatched at run time): the pixels are
// split into byte planes, widened to 16 bits (77 R + 150 G + 29 B is at most
// 65 280), weighted, shifted and narrowed again.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lut/luma_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "lut/luma_rows.h"

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace lut {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

template <class D16, class V8>
HWY_INLINE hn::Vec<D16> Weighted(D16 d16, V8 r, V8 g, V8 b) {
    auto s = hn::Mul(hn::PromoteTo(d16, r), hn::Set(d16, 77));
    s = hn::Add(s, hn::Mul(hn::PromoteTo(d16, g), hn::Set(d16, 150)));
    s = hn::Add(s, hn::Mul(hn::PromoteTo(d16, b), hn::Set(d16, 29)));
    return hn::ShiftRight<8>(s);
}

void LumaRowVec(const uint8_t *HWY_RESTRICT p, std::size_t n, int bpp, int r, int g, int b,
                uint8_t *HWY_RESTRICT out) {
#if HWY_TARGET == HWY_SCALAR
    return LumaRowPlain(p, n, bpp, r, g, b, out);
#else
    const hn::ScalableTag<uint16_t> d16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const hn::Rebind<int16_t, decltype(d16)> di16;  // results are at most 255: narrowing from signed is exact
    const std::size_t N = hn::Lanes(d16);
    std::size_t i = 0;
    if (bpp == 3) {
        for (; i + N <= n; i += N) {
            hn::Vec<decltype(d8)> v[3];
            hn::LoadInterleaved3(d8, p + 3 * i, v[0], v[1], v[2]);
            hn::StoreU(hn::DemoteTo(d8, hn::BitCast(di16, Weighted(d16, v[r], v[g], v[b]))), d8, out + i);
        }
    } else {
        for (; i + N <= n; i += N) {
            hn::Vec<decltype(d8)> v[4];
            hn::LoadInterleaved4(d8, p + 4 * i, v[0], v[1], v[2], v[3]);
            hn::StoreU(hn::DemoteTo(d8, hn::BitCast(di16, Weighted(d16, v[r], v[g], v[b]))), d8, out + i);
        }
    }
    LumaRowPlain(p + i * bpp, n - i, bpp, r, g, b, out + i);
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace lut
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
namespace lut {
HWY_EXPORT(LumaRowVec);

void LumaRow(const uint8_t *p, std::size_t n, int bpp, int r, int g, int b, uint8_t *out) {
    HWY_DYNAMIC_DISPATCH(LumaRowVec)(p, n, bpp, r, g, b, out);
}

}  // namespace lut
}  // namespace imge
#endif
