// Vector row kernel of the Gaussian blur (Highway, dispatched at run time):
// the same sums as gauss_rows.cpp in the same order, in single precision,
// a band of the row at a time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "blur/gauss_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "blur/gauss_rows.h"
#include "core/byte_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Output bytes per band: its vertical sums stay in the first-level cache
// while the horizontal pass reads them n times.
constexpr std::size_t kGaussBand = 4096;

void GaussRowVec(const GaussWeights &w, const uint8_t *const *slots, int bpp, int begin, int end,
                 float *HWY_RESTRICT scratch, uint8_t *HWY_RESTRICT out) {
#if HWY_TARGET == HWY_SCALAR
    return GaussRowPlain(w, slots, bpp, begin, end, scratch, out);
#else
    const hn::ScalableTag<float> df;
    const hn::Rebind<int32_t, decltype(df)> di;
    const hn::Rebind<uint8_t, decltype(df)> d8;
    const std::size_t L = hn::Lanes(df);
    const int n = w.n, half = n >> 1;
    const bool odd = (n & 1) != 0;
    const std::size_t step = static_cast<std::size_t>(bpp);
    const std::size_t margin = static_cast<std::size_t>(n - 1) * step;
    const std::size_t count = static_cast<std::size_t>(end - begin);
    auto wide = [&](const uint8_t *p) { return hn::PromoteTo(di, hn::LoadU(d8, p)); };
    for (std::size_t band = 0; band < count; band += kGaussBand) {
        const std::size_t bc = count - band < kGaussBand ? count - band : kGaussBand;
        const std::size_t len = bc + margin, base = static_cast<std::size_t>(begin) + band;
        // Vertical sums of the band's positions (GaussColumn, lane by lane).
        // Four vectors at a time: four independent chains of additions.
        std::size_t t = 0;
        for (; t + 4 * L <= len; t += 4 * L) {
            const std::size_t at = base + t;
            const uint8_t *c = slots[half] + at;
            auto w0 = hn::Set(df, w.v[half]);
            auto a0 = hn::Mul(w0, hn::ConvertTo(df, wide(c)));
            auto a1 = hn::Mul(w0, hn::ConvertTo(df, wide(c + L)));
            auto a2 = hn::Mul(w0, hn::ConvertTo(df, wide(c + 2 * L)));
            auto a3 = hn::Mul(w0, hn::ConvertTo(df, wide(c + 3 * L)));
            for (int p = 1; half + p < n; ++p) {
                const uint8_t *u = slots[half - p] + at, *v = slots[half + p] + at;
                const auto wp = hn::Set(df, w.v[half - p]);
                a0 = hn::Add(a0, hn::Mul(wp, hn::ConvertTo(df, hn::Add(wide(u), wide(v)))));
                a1 = hn::Add(a1, hn::Mul(wp, hn::ConvertTo(df, hn::Add(wide(u + L), wide(v + L)))));
                a2 = hn::Add(a2, hn::Mul(wp, hn::ConvertTo(df, hn::Add(wide(u + 2 * L), wide(v + 2 * L)))));
                a3 = hn::Add(a3, hn::Mul(wp, hn::ConvertTo(df, hn::Add(wide(u + 3 * L), wide(v + 3 * L)))));
            }
            if (!odd) {
                const uint8_t *u = slots[0] + at;
                const auto wp = hn::Set(df, w.v[0]);
                a0 = hn::Add(a0, hn::Mul(wp, hn::ConvertTo(df, wide(u))));
                a1 = hn::Add(a1, hn::Mul(wp, hn::ConvertTo(df, wide(u + L))));
                a2 = hn::Add(a2, hn::Mul(wp, hn::ConvertTo(df, wide(u + 2 * L))));
                a3 = hn::Add(a3, hn::Mul(wp, hn::ConvertTo(df, wide(u + 3 * L))));
            }
            hn::StoreU(a0, df, scratch + t);
            hn::StoreU(a1, df, scratch + t + L);
            hn::StoreU(a2, df, scratch + t + 2 * L);
            hn::StoreU(a3, df, scratch + t + 3 * L);
        }
        for (; t + L <= len; t += L) {
            const std::size_t at = base + t;
            auto acc = hn::Mul(hn::Set(df, w.v[half]), hn::ConvertTo(df, wide(slots[half] + at)));
            for (int p = 1; half + p < n; ++p) {
                const auto pair = hn::Add(wide(slots[half - p] + at), wide(slots[half + p] + at));
                acc = hn::Add(acc, hn::Mul(hn::Set(df, w.v[half - p]), hn::ConvertTo(df, pair)));
            }
            if (!odd) acc = hn::Add(acc, hn::Mul(hn::Set(df, w.v[0]), hn::ConvertTo(df, wide(slots[0] + at))));
            hn::StoreU(acc, df, scratch + t);
        }
        for (; t < len; ++t) scratch[t] = GaussColumn(w, slots, base + t);
        // Horizontal sums (GaussByte), truncated.
        uint8_t *o = out + base;
        std::size_t i = 0;
        for (; i + 4 * L <= bc; i += 4 * L) {
            const float *s = scratch + i;
            const auto w0 = hn::Set(df, w.h[half]);
            auto a0 = hn::Mul(w0, hn::LoadU(df, s + half * step));
            auto a1 = hn::Mul(w0, hn::LoadU(df, s + half * step + L));
            auto a2 = hn::Mul(w0, hn::LoadU(df, s + half * step + 2 * L));
            auto a3 = hn::Mul(w0, hn::LoadU(df, s + half * step + 3 * L));
            for (int p = 1; half + p < n; ++p) {
                const float *u = s + (half - p) * step, *v = s + (half + p) * step;
                const auto wp = hn::Set(df, w.h[half - p]);
                a0 = hn::Add(a0, hn::Mul(wp, hn::Add(hn::LoadU(df, u), hn::LoadU(df, v))));
                a1 = hn::Add(a1, hn::Mul(wp, hn::Add(hn::LoadU(df, u + L), hn::LoadU(df, v + L))));
                a2 = hn::Add(a2, hn::Mul(wp, hn::Add(hn::LoadU(df, u + 2 * L), hn::LoadU(df, v + 2 * L))));
                a3 = hn::Add(a3, hn::Mul(wp, hn::Add(hn::LoadU(df, u + 3 * L), hn::LoadU(df, v + 3 * L))));
            }
            if (!odd) {
                const auto wp = hn::Set(df, w.h[0]);
                a0 = hn::Add(a0, hn::Mul(wp, hn::LoadU(df, s)));
                a1 = hn::Add(a1, hn::Mul(wp, hn::LoadU(df, s + L)));
                a2 = hn::Add(a2, hn::Mul(wp, hn::LoadU(df, s + 2 * L)));
                a3 = hn::Add(a3, hn::Mul(wp, hn::LoadU(df, s + 3 * L)));
            }
            // Truncated toward zero.
            hn::StoreU(SaturateToBytes(d8, hn::ConvertTo(di, a0)), d8, o + i);
            hn::StoreU(SaturateToBytes(d8, hn::ConvertTo(di, a1)), d8, o + i + L);
            hn::StoreU(SaturateToBytes(d8, hn::ConvertTo(di, a2)), d8, o + i + 2 * L);
            hn::StoreU(SaturateToBytes(d8, hn::ConvertTo(di, a3)), d8, o + i + 3 * L);
        }
        for (; i + L <= bc; i += L) {
            const float *s = scratch + i;
            auto acc = hn::Mul(hn::Set(df, w.h[half]), hn::LoadU(df, s + half * step));
            for (int p = 1; half + p < n; ++p) {
                const auto pair = hn::Add(hn::LoadU(df, s + (half - p) * step), hn::LoadU(df, s + (half + p) * step));
                acc = hn::Add(acc, hn::Mul(hn::Set(df, w.h[half - p]), pair));
            }
            if (!odd) acc = hn::Add(acc, hn::Mul(hn::Set(df, w.h[0]), hn::LoadU(df, s)));
            hn::StoreU(SaturateToBytes(d8, hn::ConvertTo(di, acc)), d8, o + i);
        }
        for (; i < bc; ++i) o[i] = GaussByte(w, scratch + i, step);
    }
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
HWY_EXPORT(GaussRowVec);

void GaussRow(const GaussWeights &w, const uint8_t *const *slots, int bpp, int begin, int end, float *scratch,
              uint8_t *out) {
    HWY_DYNAMIC_DISPATCH(GaussRowVec)(w, slots, bpp, begin, end, scratch, out);
}

}  // namespace imge
#endif
