// Vector row kernel of the Gaussian blur (Highway, dispatched at run time):
// the same sums as gauss_rows.cpp in the same order, in single precision,
// a band of the row at a time. Each multiply is fused with its addition
// where the target can, so a byte whose sum sits at an integer may come out
// one away from the plain loop's.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "blur/gauss_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "blur/gauss_rows.h"
#include "core/byte_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace blur {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using namespace ::imge::HWY_NAMESPACE;  // the shared byte helpers of core/

#if HWY_TARGET != HWY_SCALAR
// U vectors of vertical sums from position `at` of the slots (GaussColumn
// lane by lane), U independent chains of additions.
template <int U, int P, class DF>
HWY_INLINE void GaussColumns(DF df, const GaussWeights &w, const uint8_t *const *slots, std::size_t at,
                             float *HWY_RESTRICT dst) {
    const hn::Rebind<int32_t, DF> di;
    const hn::Rebind<uint8_t, DF> d8;
    const std::size_t L = hn::Lanes(df);
    const int half = w.n >> 1;
    auto wide = [&](const uint8_t *p) { return hn::PromoteTo(di, hn::LoadU(d8, p)); };
    hn::Vec<DF> acc[U];
    for (int u = 0; u < U; ++u)
        acc[u] = hn::Mul(hn::Set(df, w.v[half]), hn::ConvertTo(df, wide(slots[half] + at + u * L)));
    const int pairs = P ? P : (w.n - 1) >> 1;
    for (int p = 1; p <= pairs; ++p) {
        const auto wp = hn::Set(df, w.v[half - p]);
        for (int u = 0; u < U; ++u) {
            const auto pair = hn::Add(wide(slots[half - p] + at + u * L), wide(slots[half + p] + at + u * L));
            acc[u] = hn::MulAdd(wp, hn::ConvertTo(df, pair), acc[u]);
        }
    }
    if (!(w.n & 1))
        for (int u = 0; u < U; ++u)
            acc[u] = hn::MulAdd(hn::Set(df, w.v[0]), hn::ConvertTo(df, wide(slots[0] + at + u * L)), acc[u]);
    for (int u = 0; u < U; ++u) hn::StoreU(acc[u], df, dst + u * L);
}

// U sums of the horizontal kernel, tap(k, u) giving the vector at tap k of
// sum u: the centre first, then the pairs of taps outward, then an even
// size's extra first tap (the one order every path keeps).
template <int U, int P, class DF, class Tap>
HWY_INLINE void GaussTaps(DF df, const GaussWeights &w, const Tap &tap, hn::Vec<DF> (&acc)[U]) {
    const int half = w.n >> 1;
#pragma GCC unroll 16
    for (int u = 0; u < U; ++u) acc[u] = hn::Mul(hn::Set(df, w.h[half]), tap(half, u));
    const int pairs = P ? P : (w.n - 1) >> 1;
#pragma GCC unroll 16
    for (int p = 1; p <= pairs; ++p) {
        const auto wp = hn::Set(df, w.h[half - p]);
#pragma GCC unroll 16
        for (int u = 0; u < U; ++u) acc[u] = hn::MulAdd(wp, hn::Add(tap(half - p, u), tap(half + p, u)), acc[u]);
    }
    if (!(w.n & 1)) {
#pragma GCC unroll 16
        for (int u = 0; u < U; ++u) acc[u] = hn::MulAdd(hn::Set(df, w.h[0]), tap(0, u), acc[u]);
    }
}

// U vectors of output bytes from the vertical sums s (GaussByte lane by
// lane), truncated toward zero.
template <int U, int P, class DF>
HWY_INLINE void GaussBytes(DF df, const GaussWeights &w, const float *HWY_RESTRICT s, std::size_t step,
                           uint8_t *HWY_RESTRICT dst) {
    const hn::Rebind<int32_t, DF> di;
    const hn::Rebind<uint8_t, DF> d8;
    const std::size_t L = hn::Lanes(df);
    hn::Vec<DF> acc[U];
    GaussTaps<U, P>(df, w, [&](int k, int u) { return hn::LoadU(df, s + k * step + u * L); }, acc);
    if constexpr (U == 4) {
        // The sums lie in [0, 256): their floor plus 2^23 holds the byte in
        // the low bits of its float (exact, no conversion needed). The low
        // halves of each pair of 32-bit lanes, then the low bytes of each
        // pair of 16-bit lanes, make one vector of bytes.
        const hn::Repartition<uint16_t, DF> d16;
        const hn::Repartition<uint8_t, DF> d8all;
        const auto magic = hn::Set(df, 8388608.0f);
        auto low16 = [&](int u) { return hn::BitCast(d16, hn::Add(hn::Floor(acc[u]), magic)); };
        const auto lo = hn::ConcatEven(d16, low16(1), low16(0));
        const auto hi = hn::ConcatEven(d16, low16(3), low16(2));
        hn::StoreU(hn::ConcatEven(d8all, hn::BitCast(d8all, hi), hn::BitCast(d8all, lo)), d8all, dst);
    } else {
        for (int u = 0; u < U; ++u) hn::StoreU(SaturateToBytes(d8, hn::ConvertTo(di, acc[u])), d8, dst + u * L);
    }
}
#endif

#if HWY_TARGET != HWY_SCALAR
// Pairs of taps, known at compile time, from which the horizontal pass goes
// transposed: below that its transposes cost more than its aligned and
// shared loads save (sizes 7 and 15 run slower transposed on AVX-512).
constexpr int kTransposeFrom = 12;

// Transposes the L x L floats in r (L = lanes, a power of two): each round
// takes the even lanes of each pair of vectors, then the odd ones, which
// rotates the bits of (vector, lane) by one; log2(L) rounds swap them.
template <class DF, std::size_t L>
HWY_INLINE void Transpose(DF df, hn::Vec<DF> (&r)[L]) {
    for (std::size_t round = 1; round < L; round += round) {
        hn::Vec<DF> t[L];
        for (std::size_t i = 0; i < L / 2; ++i) {
            t[i] = hn::ConcatEven(df, r[2 * i + 1], r[2 * i]);
            t[L / 2 + i] = hn::ConcatOdd(df, r[2 * i + 1], r[2 * i]);
        }
        for (std::size_t i = 0; i < L; ++i) r[i] = t[i];
    }
}

// R positions x, x + step, ... x + (R - 1) * step of the transposed sums t
// (GaussByte lane by lane, unconverted) into o: neighbouring positions
// share all but one of their taps, so with P known each tap is loaded once
// for all R.
template <int P, int R, class DF>
HWY_INLINE void GaussTransposedRun(DF df, const GaussWeights &w, const float *HWY_RESTRICT t, std::size_t step,
                                   float *HWY_RESTRICT o) {
    constexpr std::size_t L = hn::MaxLanes(df);
    const std::size_t tap = step * L;  // floats from one tap to the next
    hn::Vec<DF> acc[R];
    GaussTaps<R, P>(df, w, [&](int k, int r) { return hn::Load(df, t + (r + k) * tap); }, acc);
    for (int r = 0; r < R; ++r) hn::Store(acc[r], df, o + r * tap);
}

// The horizontal pass over the first L * M bytes of a band, with lane l
// of every vector working on the band's l-th stretch of M bytes: the
// vertical sums s are transposed into t (position j of all stretches side
// by side), where every tap is a whole aligned vector away instead of a
// few floats (an unaligned load across two cache lines) and neighbouring
// positions share their taps; the sums of L positions at a time are
// transposed back into L stretches of L bytes. t is the block of
// GaussBlockFloats (gauss_rows.h), aligned to 64 bytes.
template <int P, class DF>
HWY_NOINLINE void GaussBytesTransposed(DF df, const GaussWeights &w, const float *HWY_RESTRICT s, std::size_t step,
                                       std::size_t M, float *HWY_RESTRICT t, uint8_t *HWY_RESTRICT dst) {
    constexpr std::size_t L = hn::MaxLanes(df);
    constexpr int R = 8;
    const hn::Rebind<int32_t, DF> di;
    const hn::Rebind<uint8_t, DF> d8;
    const std::size_t margin = static_cast<std::size_t>(w.n - 1) * step;
    // s is readable L floats past the band's sums, so the last block may
    // take a few positions that no stretch uses.
    for (std::size_t j = 0; j < M + margin; j += L) {
        hn::Vec<DF> r[L];
        for (std::size_t l = 0; l < L; ++l) r[l] = hn::LoadU(df, s + l * M + j);
        Transpose(df, r);
        for (std::size_t l = 0; l < L; ++l) hn::Store(r[l], df, t + (j + l) * L);
    }
    // Runs of R positions step apart, step runs side by side: R * step
    // positions at a time (the last few beyond M are computed and unused).
    float *HWY_RESTRICT o = t + (M + margin + R * step + L) * L;
    for (std::size_t x = 0; x < M; x += R * step)
        for (std::size_t c = 0; c < step; ++c)
            GaussTransposedRun<P, R>(df, w, t + (x + c) * L, step, o + (x + c) * L);
    for (std::size_t j = 0; j < M; j += L) {
        hn::Vec<DF> acc[L];
        for (std::size_t u = 0; u < L; ++u) acc[u] = hn::Load(df, o + (j + u) * L);
        Transpose(df, acc);
        for (std::size_t l = 0; l < L; ++l)
            hn::StoreU(SaturateToBytes(d8, hn::ConvertTo(di, acc[l])), d8, dst + l * M + j);
    }
}
#endif

#if HWY_TARGET != HWY_SCALAR
// The bands of one call; P pairs of taps either side of the centre known at
// compile time (0: taken from w).
template <int P>
void GaussBands(const GaussWeights &w, const uint8_t *const *slots, std::size_t step, std::size_t begin,
                std::size_t count, float *HWY_RESTRICT scratch, float *block, uint8_t *HWY_RESTRICT out) {
    const hn::ScalableTag<float> df;
    const std::size_t L = hn::Lanes(df);
    const std::size_t margin = static_cast<std::size_t>(w.n - 1) * step;
    // The widest kernel on vectors of eight to sixteen lanes takes the
    // transposed horizontal pass.
    float *HWY_RESTRICT tb =
        block ? reinterpret_cast<float *>((reinterpret_cast<std::uintptr_t>(block) + 63) & ~std::uintptr_t{63}) : nullptr;
    if (!(P >= kTransposeFrom && L == hn::MaxLanes(df) && L >= 8 && L <= 16)) tb = nullptr;
    for (std::size_t band = 0; band < count; band += kGaussBand) {
        const std::size_t bc = count - band < kGaussBand ? count - band : kGaussBand;
        const std::size_t len = bc + margin, base = begin + band;
        // The band's vertical sums, four vectors at a time, then single
        // vectors; a ragged end is one more vector ending at the end (it
        // repeats a few sums), or sum by sum when the band is narrower.
        std::size_t t = 0;
        for (; t + 4 * L <= len; t += 4 * L) GaussColumns<4, P>(df, w, slots, base + t, scratch + t);
        for (; t + L <= len; t += L) GaussColumns<1, P>(df, w, slots, base + t, scratch + t);
        if (t < len && len >= L) GaussColumns<1, P>(df, w, slots, base + len - L, scratch + len - L);
        for (; t < len && len < L; ++t) scratch[t] = GaussColumn(w, slots, base + t);
        // Its output bytes, likewise.
        uint8_t *o = out + base;
        std::size_t i = 0;
        if constexpr (P >= kTransposeFrom) {
            if (tb && bc >= L * L) {
                const std::size_t M = bc / (L * L) * L;
                GaussBytesTransposed<P>(df, w, scratch, step, M, tb, o);
                i = M * L;
            }
        }
        for (; i + 4 * L <= bc; i += 4 * L) GaussBytes<4, P>(df, w, scratch + i, step, o + i);
        for (; i + L <= bc; i += L) GaussBytes<1, P>(df, w, scratch + i, step, o + i);
        if (i < bc && bc >= L) GaussBytes<1, P>(df, w, scratch + bc - L, step, o + bc - L);
        for (; i < bc && bc < L; ++i) o[i] = GaussByte(w, scratch + i, step);
    }
}
#endif

void GaussRowVec(const GaussWeights &w, const uint8_t *const *slots, int bpp, int begin, int end,
                 float *HWY_RESTRICT scratch, float *block, uint8_t *HWY_RESTRICT out) {
#if HWY_TARGET == HWY_SCALAR
    (void)block;
    return GaussRowPlain(w, slots, bpp, begin, end, scratch, out);
#else
    const std::size_t step = static_cast<std::size_t>(bpp), from = static_cast<std::size_t>(begin);
    const std::size_t count = static_cast<std::size_t>(end - begin);
    // Sizes 7 and 8 (three pairs of taps; the drop shadow's) and 25 (twelve
    // pairs) with their loops unrolled.
    switch ((w.n - 1) >> 1) {
        case 3: return GaussBands<3>(w, slots, step, from, count, scratch, block, out);
        case 12: return GaussBands<12>(w, slots, step, from, count, scratch, block, out);
        default: return GaussBands<0>(w, slots, step, from, count, scratch, block, out);
    }
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace blur
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
namespace blur {
HWY_EXPORT(GaussRowVec);

void GaussRow(const GaussWeights &w, const uint8_t *const *slots, int bpp, int begin, int end, float *scratch,
              float *block, uint8_t *out) {
    HWY_DYNAMIC_DISPATCH(GaussRowVec)(w, slots, bpp, begin, end, scratch, block, out);
}

}  // namespace blur
}  // namespace imge
#endif
