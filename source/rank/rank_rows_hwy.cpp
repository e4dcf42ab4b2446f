// Vector row kernels of the rank filters and the Gaussian blur (Highway,
// dispatched at run time). Each computes exactly what its plain twin in
// rank_rows.cpp computes, in the same order of operations.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rank/rank_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstring>

#include "core/dispatch.h"
#include "rank/rank_rows.h"

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

template <bool is_max, class D, class V>
HWY_INLINE V Pick(D, V a, V b) {
    return is_max ? hn::Max(a, b) : hn::Min(a, b);
}

template <bool is_max>
void MinMaxImpl(const uint8_t *const *slots, int n, int bpp, int begin, int end, uint8_t *HWY_RESTRICT scratch,
                uint8_t *HWY_RESTRICT out) {
    const hn::ScalableTag<uint8_t> d;
    const std::size_t L = hn::Lanes(d);
    const std::size_t count = static_cast<std::size_t>(end - begin);
    std::size_t len = count + static_cast<std::size_t>(n - 1) * bpp;
    auto pick = [](uint8_t a, uint8_t b) -> uint8_t { return is_max ? (a > b ? a : b) : (a < b ? a : b); };

    // Vertical extreme, several rows per pass over the scratch row.
    std::size_t t = 0;
    for (; t + L <= len; t += L) {
        auto v = hn::LoadU(d, slots[0] + begin + t);
        for (int k = 1; k < n; ++k) v = Pick<is_max>(d, v, hn::LoadU(d, slots[k] + begin + t));
        hn::StoreU(v, d, scratch + t);
    }
    for (; t < len; ++t) {
        uint8_t v = slots[0][begin + t];
        for (int k = 1; k < n; ++k) v = pick(v, slots[k][begin + t]);
        scratch[t] = v;
    }
    int p = 1;
    while (2 * p <= n) {
        const std::size_t shift = static_cast<std::size_t>(p) * bpp;
        len -= shift;
        t = 0;
        for (; t + L <= len; t += L)
            hn::StoreU(Pick<is_max>(d, hn::LoadU(d, scratch + t), hn::LoadU(d, scratch + t + shift)), d, scratch + t);
        for (; t < len; ++t) scratch[t] = pick(scratch[t], scratch[t + shift]);
        p *= 2;
    }
    const std::size_t shift = static_cast<std::size_t>(n - p) * bpp;
    uint8_t *o = out + begin;
    t = 0;
    for (; t + L <= count; t += L)
        hn::StoreU(Pick<is_max>(d, hn::LoadU(d, scratch + t), hn::LoadU(d, scratch + t + shift)), d, o + t);
    for (; t < count; ++t) o[t] = pick(scratch[t], scratch[t + shift]);
}

void MinMaxRowVec(bool is_max, const uint8_t *const *slots, int n, int bpp, int begin, int end,
                  uint8_t *HWY_RESTRICT scratch, uint8_t *HWY_RESTRICT out) {
    if (is_max)
        MinMaxImpl<true>(slots, n, bpp, begin, end, scratch, out);
    else
        MinMaxImpl<false>(slots, n, bpp, begin, end, scratch, out);
}

// Interprets the network on kUnroll vectors at a time, so that decoding an
// operation is paid once per kUnroll * Lanes positions.
std::size_t RunNetVec(const NetProgram &p, const uint8_t *const *rows, int bpp, std::size_t count,
                      uint8_t *const *outs) {
    const hn::ScalableTag<uint8_t> d;
    const std::size_t L = hn::Lanes(d);
    constexpr std::size_t kUnroll = 4;
    using V = decltype(hn::Zero(d));
    const std::size_t block = kUnroll * L;
    if (count < block) return 0;
    // Registers live in memory (an L1-resident array); the interpreter loop
    // loads two operands and stores one result per operation and vector.
    HWY_ALIGN uint8_t regs[256 * kUnroll * HWY_MAX_BYTES];
    auto R = [&](int r, std::size_t u) { return regs + (static_cast<std::size_t>(r) * kUnroll + u) * L; };
    std::size_t pos = 0;
    for (; pos + block <= count; pos += block) {
        for (int q = 0; q < p.n_inputs; ++q) {
            if (p.input_reg[q] == 255) continue;
            const uint8_t *src = rows[p.input[q].row] + pos + static_cast<std::size_t>(p.input[q].column) * bpp;
            for (std::size_t u = 0; u < kUnroll; ++u) hn::Store(hn::LoadU(d, src + u * L), d, R(p.input_reg[q], u));
        }
        for (int o = 0; o < p.n_ops; ++o) {
            const NetOp op = p.op[o];
            if (op.is_max) {
                for (std::size_t u = 0; u < kUnroll; ++u) {
                    const V a = hn::Load(d, R(op.a, u)), b = hn::Load(d, R(op.b, u));
                    hn::Store(hn::Max(a, b), d, R(op.dst, u));
                }
            } else {
                for (std::size_t u = 0; u < kUnroll; ++u) {
                    const V a = hn::Load(d, R(op.a, u)), b = hn::Load(d, R(op.b, u));
                    hn::Store(hn::Min(a, b), d, R(op.dst, u));
                }
            }
        }
        for (int k = 0; k < p.n_outputs; ++k)
            for (std::size_t u = 0; u < kUnroll; ++u)
                hn::StoreU(hn::Load(d, R(p.output_reg[k], u)), d, outs[k] + pos + u * L);
    }
    return pos;
}

void GaussRowVec(const GaussWeights &w, const uint8_t *const *slots, int bpp, int begin, int end,
                 float *HWY_RESTRICT scratch, uint8_t *HWY_RESTRICT out) {
    const hn::ScalableTag<float> df;
    const hn::Rebind<int32_t, decltype(df)> di;
    const hn::Rebind<uint8_t, decltype(df)> d8;
    const std::size_t L = hn::Lanes(df);
    const int n = w.n;
    const std::size_t count = static_cast<std::size_t>(end - begin);
    const std::size_t len = count + static_cast<std::size_t>(n - 1) * bpp;
    auto load = [&](const uint8_t *p) { return hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(d8, p))); };
    std::size_t t = 0;
    for (; t + L <= len; t += L) {
        auto acc = hn::Mul(hn::Set(df, w.v[0]), load(slots[0] + begin + t));
        for (int k = 1; k < n; ++k) acc = hn::Add(acc, hn::Mul(hn::Set(df, w.v[k]), load(slots[k] + begin + t)));
        hn::StoreU(acc, df, scratch + t);
    }
    for (; t < len; ++t) {
        float acc = w.v[0] * static_cast<float>(slots[0][begin + t]);
        for (int k = 1; k < n; ++k) acc = acc + w.v[k] * static_cast<float>(slots[k][begin + t]);
        scratch[t] = acc;
    }
    uint8_t *o = out + begin;
    std::size_t i = 0;
    for (; i + L <= count; i += L) {
        auto acc = hn::Mul(hn::Set(df, w.h[0]), hn::LoadU(df, scratch + i));
        for (int j = 1; j < n; ++j)
            acc = hn::Add(acc, hn::Mul(hn::Set(df, w.h[j]), hn::LoadU(df, scratch + i + static_cast<std::size_t>(j) * bpp)));
        const auto q = hn::ConvertTo(di, acc);  // truncates toward zero
        hn::StoreU(hn::DemoteTo(d8, q), d8, o + i);
    }
    for (; i < count; ++i) {
        float acc = w.h[0] * scratch[i];
        for (int j = 1; j < n; ++j) acc = acc + w.h[j] * scratch[i + static_cast<std::size_t>(j) * bpp];
        const int q = static_cast<int>(acc);
        o[i] = static_cast<uint8_t>(q > 255 ? 255 : q < 0 ? 0 : q);
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
HWY_EXPORT(MinMaxRowVec);
HWY_EXPORT(RunNetVec);
HWY_EXPORT(GaussRowVec);

void MinMaxRow(bool is_max, const uint8_t *const *slots, int n, int bpp, int begin, int end, uint8_t *scratch,
               uint8_t *out) {
    if (ScalarForced()) return MinMaxRowScalar(is_max, slots, n, bpp, begin, end, scratch, out);
    HWY_DYNAMIC_DISPATCH(MinMaxRowVec)(is_max, slots, n, bpp, begin, end, scratch, out);
}

void RunNet(const NetProgram &p, const uint8_t *const *rows, int bpp, std::size_t count, uint8_t *const *outs) {
    std::size_t done = 0;
    if (!ScalarForced()) done = HWY_DYNAMIC_DISPATCH(RunNetVec)(p, rows, bpp, count, outs);
    RunNetScalar(p, rows, bpp, done, count, outs);
}

void GaussRow(const GaussWeights &w, const uint8_t *const *slots, int bpp, int begin, int end, float *scratch,
              uint8_t *out) {
    if (ScalarForced()) return GaussRowScalar(w, slots, bpp, begin, end, scratch, out);
    HWY_DYNAMIC_DISPATCH(GaussRowVec)(w, slots, bpp, begin, end, scratch, out);
}

}  // namespace imge
#endif
