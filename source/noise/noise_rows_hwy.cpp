// Vector noise rows (Highway, dispatched at run time): the table entries of
// a vector of draws are gathered, the bytes widened, and the same integer or
// double operations as the plain loops applied lane by lane.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "noise/noise_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "noise/noise_rows.h"

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace noise {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

void OffsetRowVec(const uint8_t *HWY_RESTRICT in, const uint32_t *HWY_RESTRICT draws, const int32_t *HWY_RESTRICT off,
                  std::size_t n, uint8_t *HWY_RESTRICT out) {
#if HWY_TARGET == HWY_SCALAR
    return OffsetRowPlain(in, draws, off, n, out);
#else
    const hn::ScalableTag<int32_t> di;
    const hn::Rebind<uint8_t, decltype(di)> d8;
    const hn::Rebind<uint32_t, decltype(di)> du;
    const std::size_t N = hn::Lanes(di);
    std::size_t i = 0;
    for (; i + N <= n; i += N) {
        const auto idx = hn::BitCast(di, hn::LoadU(du, draws + i));
        const auto v = hn::Add(hn::PromoteTo(di, hn::LoadU(d8, in + i)), hn::GatherIndex(di, off, idx));
        hn::StoreU(hn::DemoteTo(d8, v), d8, out + i);  // the demotion holds to 0..255
    }
    OffsetRowPlain(in + i, draws + i, off, n - i, out + i);
#endif
}

void GaussianRowVec(const uint8_t *HWY_RESTRICT in, const uint32_t *HWY_RESTRICT draws, const double *HWY_RESTRICT s,
                    const double *HWY_RESTRICT cs, double amount, std::size_t n, uint8_t *HWY_RESTRICT out) {
#if HWY_TARGET == HWY_SCALAR
    return GaussianRowPlain(in, draws, s, cs, amount, n, out);
#else
    const hn::ScalableTag<double> dd;
    const hn::Rebind<int64_t, decltype(dd)> di64;
    const hn::Rebind<int32_t, decltype(dd)> di32;
    const hn::Rebind<uint32_t, decltype(dd)> du32;
    const hn::Rebind<uint8_t, decltype(dd)> d8;
    const std::size_t N = hn::Lanes(dd);
    const auto vamount = hn::Set(dd, amount), twenty = hn::Set(dd, 20.0);
    const auto zero = hn::Zero(dd), top = hn::Set(dd, 255.0);
    std::size_t i = 0;
    for (; i + N <= n; i += N) {
        hn::Vec<decltype(du32)> a, b;
        hn::LoadInterleaved2(du32, draws + 2 * i, a, b);
        const auto ia = hn::PromoteTo(di64, hn::BitCast(di32, a));
        const auto ib = hn::ShiftLeft<1>(hn::PromoteTo(di64, hn::BitCast(di32, b)));
        const auto r = hn::GatherIndex(dd, s, ia);
        const auto c = hn::GatherIndex(dd, cs, ib);
        const auto sn = hn::GatherIndex(dd, cs + 1, ib);
        const auto p = hn::PromoteTo(dd, hn::PromoteTo(di32, hn::LoadU(d8, in + i)));
        auto v = hn::Add(p, hn::Mul(hn::Mul(hn::Sqrt(p), vamount), hn::Mul(r, c)));
        v = hn::Add(v, hn::Mul(twenty, hn::Mul(r, sn)));
        v = hn::Min(hn::Max(v, zero), top);
        hn::StoreU(hn::DemoteTo(d8, hn::DemoteTo(di32, v)), d8, out + i);  // truncates, as the cast does
    }
    GaussianRowPlain(in + i, draws + 2 * i, s, cs, amount, n - i, out + i);
#endif
}

// Rounds of 31 values held in 32 lanes (C vectors of N): the value at lane
// k of a round is y[k] = y[k - 31] + y[k - 3], where y[k - 31] is lane k of the
// round before, so each vector is its predecessor's plus the sums along lanes
// three apart (shifted copies added in log steps), plus the last three values
// made before it, repeated every three lanes.
void FeedbackRoundsVec(uint32_t *HWY_RESTRICT round, uint32_t *HWY_RESTRICT draws, std::size_t rounds,
                       uint32_t mask) {
#if HWY_TARGET == HWY_SCALAR
    return FeedbackRoundsPlain(round, draws, rounds, mask);
#else
    const hn::ScalableTag<uint32_t> d;
    const std::size_t N = hn::Lanes(d);
    if (N < 4 || N > 16) return FeedbackRoundsPlain(round, draws, rounds, mask);
    const std::size_t C = 32 / N;
    HWY_ALIGN int32_t first[16], later[16], shift[3][16];
    HWY_ALIGN uint32_t keep[3][16];
    for (std::size_t k = 0; k < N; ++k) {
        first[k] = static_cast<int32_t>(28 % N + k % 3);  // y[-3..-1]: lanes 28..30 of the round before
        later[k] = static_cast<int32_t>(N - 3 + k % 3);   // the last three lanes of the vector before
        for (int j = 0; j < 3; ++j) {
            const std::size_t by = std::size_t{3} << j;
            shift[j][k] = static_cast<int32_t>(k >= by ? k - by : 0);
            keep[j][k] = k >= by ? ~0u : 0u;
        }
    }
    const int steps = N == 4 ? 1 : N == 8 ? 2 : 3;
    const auto from_first = hn::SetTableIndices(d, first), from_later = hn::SetTableIndices(d, later);
    const auto s0 = hn::SetTableIndices(d, shift[0]), s1 = hn::SetTableIndices(d, shift[1]),
               s2 = hn::SetTableIndices(d, shift[2]);
    const auto k0 = hn::Load(d, keep[0]), k1 = hn::Load(d, keep[1]), k2 = hn::Load(d, keep[2]);
    const auto vmask = hn::Set(d, mask);
    hn::Vec<decltype(d)> prev[8], cur[8];
    for (std::size_t v = 0; v < C; ++v) prev[v] = hn::LoadU(d, round + v * N);
    for (std::size_t r = 0; r < rounds; ++r, draws += 31) {
        for (std::size_t v = 0; v < C; ++v) {
            auto t = prev[v];
            t = hn::Add(t, hn::And(hn::TableLookupLanes(t, s0), k0));
            if (steps > 1) t = hn::Add(t, hn::And(hn::TableLookupLanes(t, s1), k1));
            if (steps > 2) t = hn::Add(t, hn::And(hn::TableLookupLanes(t, s2), k2));
            const auto carry = v == 0 ? hn::TableLookupLanes(prev[28 / N], from_first)
                                      : hn::TableLookupLanes(cur[v - 1], from_later);
            cur[v] = hn::Add(t, carry);
            hn::StoreU(hn::And(hn::ShiftRight<1>(cur[v]), vmask), d, draws + v * N);
        }
        for (std::size_t v = 0; v < C; ++v) prev[v] = cur[v];
    }
    for (std::size_t v = 0; v < C; ++v) hn::StoreU(prev[v], d, round + v * N);
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace noise
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
namespace noise {
HWY_EXPORT(OffsetRowVec);
HWY_EXPORT(GaussianRowVec);
HWY_EXPORT(FeedbackRoundsVec);

void OffsetRow(const uint8_t *in, const uint32_t *draws, const int32_t *off, std::size_t n, uint8_t *out) {
    HWY_DYNAMIC_DISPATCH(OffsetRowVec)(in, draws, off, n, out);
}

void GaussianRow(const uint8_t *in, const uint32_t *draws, const double *s, const double *cs, double amount,
                 std::size_t n, uint8_t *out) {
    HWY_DYNAMIC_DISPATCH(GaussianRowVec)(in, draws, s, cs, amount, n, out);
}

void FeedbackRounds(uint32_t *round, uint32_t *draws, std::size_t rounds, uint32_t mask) {
    HWY_DYNAMIC_DISPATCH(FeedbackRoundsVec)(round, draws, rounds, mask);
}

}  // namespace noise
}  // namespace imge
#endif
