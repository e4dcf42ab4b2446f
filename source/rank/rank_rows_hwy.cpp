// Vector row kernels of the rank filters (Highway,
// dispatched at run time). Each computes exactly what its plain twin in
// rank_rows.cpp computes, in the same order of operations.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rank/rank_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstring>
#include <utility>

#include "core/byte_vectors-inl.h"
#include "rank/net_build.h"
#include "rank/rank_rows.h"

#ifndef IMGE_RANK_FIXED_NETS
#define IMGE_RANK_FIXED_NETS
namespace imge {
namespace rank {
namespace nets {
// The networks of every size, built by the compiler.
template <int n>
struct Box {
    static constexpr NetProgram kSort = net::ColumnSort(n);
    static constexpr NetProgram kSelect = net::BoxSelect(n);
};
template <int n>
struct Cross {
    static constexpr NetProgram kSelect = net::CrossSelect(n);
};
}  // namespace nets
}  // namespace rank
}  // namespace imge
#endif

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace rank {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

template <bool is_max, class D, class V>
HWY_INLINE V Pick(D, V a, V b) {
    return is_max ? hn::Max(a, b) : hn::Min(a, b);
}

template <bool is_max>
void MinMaxImpl(const uint8_t *const *slots, int n, int bpp, int begin, int end, uint8_t *HWY_RESTRICT scratch,
                uint8_t *HWY_RESTRICT out, bool vertical_done) {
    const hn::ScalableTag<uint8_t> d;
    const std::size_t L = hn::Lanes(d);
    const std::size_t count = static_cast<std::size_t>(end - begin);
    std::size_t len = count + static_cast<std::size_t>(n - 1) * bpp;
    auto pick = [](uint8_t a, uint8_t b) -> uint8_t { return is_max ? (a > b ? a : b) : (a < b ? a : b); };

    // 3 x 3 straight from the three rows: nine loads and eight picks per
    // vector, no pass through the scratch row.
    if (n == 3 && !vertical_done && count >= L) {
        const uint8_t *r0 = slots[0] + begin, *r1 = slots[1] + begin, *r2 = slots[2] + begin;
        const std::size_t s1 = static_cast<std::size_t>(bpp), s2 = 2 * s1;
        auto col = [&](std::size_t u) HWY_ATTR {
            return Pick<is_max>(d, Pick<is_max>(d, hn::LoadU(d, r0 + u), hn::LoadU(d, r1 + u)), hn::LoadU(d, r2 + u));
        };
        auto at = [&](std::size_t u) HWY_ATTR { return Pick<is_max>(d, Pick<is_max>(d, col(u), col(u + s1)), col(u + s2)); };
        uint8_t *o = out + begin;
        std::size_t u = 0;
        for (; u + L <= count; u += L) hn::StoreU(at(u), d, o + u);
        if (u < count) hn::StoreU(at(count - L), d, o + count - L);
        return;
    }
    // Vertical extreme, several rows per pass over the scratch row.
    std::size_t t = 0;
    if (!vertical_done) {
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
    }
    uint8_t *o = out + begin;
    if (n <= 4) {  // few columns: straight from the vertical extremes
        t = 0;
        for (; t + L <= count; t += L) {
            auto v = hn::LoadU(d, scratch + t);
            for (int j = 1; j < n; ++j) v = Pick<is_max>(d, v, hn::LoadU(d, scratch + t + static_cast<std::size_t>(j) * bpp));
            hn::StoreU(v, d, o + t);
        }
        for (; t < count; ++t) {
            uint8_t v = scratch[t];
            for (int j = 1; j < n; ++j) v = pick(v, scratch[t + static_cast<std::size_t>(j) * bpp]);
            o[t] = v;
        }
        return;
    }
    int p = 1;
    while (4 * p <= n) {
        const std::size_t shift = static_cast<std::size_t>(p) * bpp;
        len -= shift;
        t = 0;
        for (; t + L <= len; t += L)
            hn::StoreU(Pick<is_max>(d, hn::LoadU(d, scratch + t), hn::LoadU(d, scratch + t + shift)), d, scratch + t);
        for (; t < len; ++t) scratch[t] = pick(scratch[t], scratch[t + shift]);
        p *= 2;
    }
    const std::size_t a = static_cast<std::size_t>(p) * bpp, b = static_cast<std::size_t>(n - 2 * p) * bpp;
    t = 0;
    for (; t + L <= count; t += L) {
        const auto lo = Pick<is_max>(d, hn::LoadU(d, scratch + t), hn::LoadU(d, scratch + t + a));
        const auto hi = Pick<is_max>(d, hn::LoadU(d, scratch + t + b), hn::LoadU(d, scratch + t + b + a));
        hn::StoreU(Pick<is_max>(d, lo, hi), d, o + t);
    }
    for (; t < count; ++t) o[t] = pick(pick(scratch[t], scratch[t + a]), pick(scratch[t + b], scratch[t + b + a]));
}

void MinMaxRowVec(bool is_max, const uint8_t *const *slots, int n, int bpp, int begin, int end,
                  uint8_t *HWY_RESTRICT scratch, uint8_t *HWY_RESTRICT out, bool vertical_done) {
#if HWY_TARGET == HWY_SCALAR
    return MinMaxRowPlain(is_max, slots, n, bpp, begin, end, scratch, out, vertical_done);
#else
    if (is_max)
        MinMaxImpl<true>(slots, n, bpp, begin, end, scratch, out, vertical_done);
    else
        MinMaxImpl<false>(slots, n, bpp, begin, end, scratch, out, vertical_done);
#endif
}

template <bool is_max>
void PickImpl(const uint8_t *a, const uint8_t *b, uint8_t *dst, std::size_t len) {
    const hn::ScalableTag<uint8_t> d;
    const std::size_t L = hn::Lanes(d);
    std::size_t t = 0;
    for (; t + L <= len; t += L) hn::StoreU(Pick<is_max>(d, hn::LoadU(d, a + t), hn::LoadU(d, b + t)), d, dst + t);
    for (; t < len; ++t) dst[t] = is_max ? (a[t] > b[t] ? a[t] : b[t]) : (a[t] < b[t] ? a[t] : b[t]);
}

void PickRowsVec(bool is_max, const uint8_t *a, const uint8_t *b, uint8_t *dst, std::size_t len) {
#if HWY_TARGET == HWY_SCALAR
    return PickRowsPlain(is_max, a, b, dst, len);
#else
    if (is_max)
        PickImpl<true>(a, b, dst, len);
    else
        PickImpl<false>(a, b, dst, len);
#endif
}

// Median of 3 x 3 for output positions 0 .. count - 1 (count >= one
// vector) from the three rows at `in`, straight from the rows: each of the
// three columns of a vector of positions sorted in registers, then
// Median3SelectPlain's formula. Returns the positions done (0 on the
// one-lane target).
std::size_t Median3RowVec(const uint8_t *const *in, int bpp, std::size_t count, uint8_t *HWY_RESTRICT out) {
#if HWY_TARGET == HWY_SCALAR
    (void)in, (void)bpp, (void)count, (void)out;
    return 0;
#else
    // At most 256 bits: nine unaligned loads per vector, and an unaligned
    // 64-byte load always spans two cache lines; on AMD Zen 4, which runs
    // 512-bit operations as two halves anyway, this is 15 % faster.
    const hn::CappedTag<uint8_t, 32> d;
    using V = hn::Vec<decltype(d)>;
    const std::size_t L = hn::Lanes(d);
    if (count < L) return 0;
    const std::size_t s1 = static_cast<std::size_t>(bpp);
    const uint8_t *r0 = in[0], *r1 = in[1], *r2 = in[2];
    auto at = [&](std::size_t t) HWY_ATTR {
        V lo[3], mid[3], hi[3];
        for (int j = 0; j < 3; ++j, t += s1) {
            const V x = hn::LoadU(d, r0 + t), y = hn::LoadU(d, r1 + t), w = hn::LoadU(d, r2 + t);
            const V p = hn::Min(x, y), q = hn::Max(x, y);
            lo[j] = hn::Min(p, w);
            hi[j] = hn::Max(q, w);
            mid[j] = hn::Max(p, hn::Min(q, w));
        }
        const V low = hn::Max(hn::Max(lo[0], lo[1]), lo[2]), high = hn::Min(hn::Min(hi[0], hi[1]), hi[2]);
        const V m = hn::Max(hn::Min(mid[0], mid[1]), hn::Min(hn::Max(mid[0], mid[1]), mid[2]));
        return hn::Max(hn::Min(low, m), hn::Min(hn::Max(low, m), high));
    };
    std::size_t t = 0;
    for (; t + L <= count; t += L) hn::StoreU(at(t), d, out + t);
    if (t < count) hn::StoreU(at(count - L), d, out + count - L);
    return count;
#endif
}

// A fixed network unrolled into straight-line code: every register index is
// a compile-time constant, so the registers live in vector registers (or
// spill slots) instead of being looked up per operation.
template <const NetProgram &P>
struct FixedNet {
    template <class D, class V, std::size_t... I>
    static HWY_INLINE void Load(D d, V *r, const uint8_t *const *rows, std::size_t pos, int bpp,
                                std::index_sequence<I...>) {
        ((P.input_reg[I] != 255
              ? (void)(r[P.input_reg[I]] =
                           hn::LoadU(d, rows[P.input[I].row] + pos + static_cast<std::size_t>(P.input[I].column) * bpp))
              : (void)0),
         ...);
    }
    template <std::size_t I, class V>
    static HWY_INLINE void Op(V *r) {
        constexpr NetOp o = P.op[I];
        if constexpr (o.is_max != 0)
            r[o.dst] = hn::Max(r[o.a], r[o.b]);
        else
            r[o.dst] = hn::Min(r[o.a], r[o.b]);
    }
    template <class V, std::size_t... I>
    static HWY_INLINE void Ops(V *r, std::index_sequence<I...>) {
        (Op<I>(r), ...);
    }
    template <class D, class V, std::size_t... I>
    static HWY_INLINE void Store(D d, const V *r, uint8_t *const *outs, std::size_t pos, std::index_sequence<I...>) {
        (hn::StoreU(r[P.output_reg[I]], d, outs[I] + pos), ...);
    }

    static std::size_t Run(const uint8_t *const *rows, int bpp, std::size_t count, uint8_t *const *outs) {
        const hn::ScalableTag<uint8_t> d;
        using V = decltype(hn::Zero(d));
        const std::size_t L = hn::Lanes(d);
        if (count < L) return 0;
        V r[P.n_regs];
        auto step = [&](std::size_t pos) HWY_ATTR {
            Load(d, r, rows, pos, bpp, std::make_index_sequence<P.n_inputs>());
            Ops(r, std::make_index_sequence<P.n_ops>());
            Store(d, r, outs, pos, std::make_index_sequence<P.n_outputs>());
        };
        std::size_t pos = 0;
        for (; pos + L <= count; pos += L) step(pos);
        // The last positions once more in a vector that overlaps the previous
        // one: outputs never alias inputs, so recomputing them is harmless.
        if (pos < count) step(count - L);
        return count;
    }
};

std::size_t RunNetVec(int kind, int n, const uint8_t *const *rows, int bpp, std::size_t count,
                      uint8_t *const *outs) {
#if HWY_TARGET == HWY_SCALAR
    (void)kind, (void)n, (void)rows, (void)bpp, (void)count, (void)outs;
    return 0;  // the plain network does every column
#else
    using nets::Box;
    using nets::Cross;
#define IMGE_BOX(N)                                                            \
    case N:                                                                    \
        return kind == kNetColumnSort ? FixedNet<Box<N>::kSort>::Run(rows, bpp, count, outs) \
                                      : FixedNet<Box<N>::kSelect>::Run(rows, bpp, count, outs);
#define IMGE_CROSS(N) \
    case N:           \
        return FixedNet<Cross<N>::kSelect>::Run(rows, bpp, count, outs);
    if (kind == kNetCrossSelect) {
        switch (n) {
            IMGE_CROSS(2) IMGE_CROSS(3) IMGE_CROSS(4) IMGE_CROSS(5) IMGE_CROSS(6) IMGE_CROSS(7) IMGE_CROSS(8)
            IMGE_CROSS(9) IMGE_CROSS(10) IMGE_CROSS(11) IMGE_CROSS(12) IMGE_CROSS(13) IMGE_CROSS(14) IMGE_CROSS(15)
        default: return 0;
        }
    }
    switch (n) {
        IMGE_BOX(2) IMGE_BOX(3) IMGE_BOX(4) IMGE_BOX(5) IMGE_BOX(6) IMGE_BOX(7) IMGE_BOX(8)
    default: return 0;
    }
#undef IMGE_BOX
#undef IMGE_CROSS
#endif
}

// The box median from column histograms: the same search as the plain loop,
// sixteen bins per 128-bit vector (counts are bytes; sums wrap back into
// range since every true count is at most 225).
void MedianColumnsRowVec(const uint8_t *HWY_RESTRICT coarse, const uint8_t *HWY_RESTRICT fine, int n, int bpp,
                         int begin, int end, uint8_t *HWY_RESTRICT out) {
#if HWY_TARGET == HWY_SCALAR
    MedianColumnsRowPlain(coarse, fine, n, bpp, begin, end, out);
#else
    const hn::Full128<uint8_t> d;
    using V = hn::Vec<decltype(d)>;
    const int want = (n * n) >> 1;
    const std::size_t step = static_cast<std::size_t>(bpp);
    const std::size_t span = static_cast<std::size_t>(n) * step;
    // Bins whose running count stays at most `limit`: the index of the bin
    // the wanted sample falls in; below = samples in the bins before it.
    HWY_ALIGN uint8_t sums[16];
    auto search = [&](V v, int limit, int *below) {
        v = hn::Add(v, hn::ShiftLeftLanes<1>(d, v));
        v = hn::Add(v, hn::ShiftLeftLanes<2>(d, v));
        v = hn::Add(v, hn::ShiftLeftLanes<4>(d, v));
        v = hn::Add(v, hn::ShiftLeftLanes<8>(d, v));
        const int b = static_cast<int>(hn::CountTrue(d, hn::Eq(hn::Min(v, hn::Set(d, static_cast<uint8_t>(limit))), v)));
        hn::Store(v, d, sums);
        *below = b ? sums[b - 1] : 0;
        return b;
    };
    for (int c = 0; c < bpp && begin + c < end; ++c) {
        const std::size_t first = static_cast<std::size_t>(begin + c);
        HWY_ALIGN uint8_t kf[256];
        std::size_t since[16];
        for (int b = 0; b < 16; ++b) since[b] = 0;
        V kc = hn::Zero(d);
        for (std::size_t j = 0; j < span; j += step) kc = hn::Add(kc, hn::LoadU(d, coarse + (first + j) * 16));
        std::size_t x = 0;  // pixels from the first
        for (std::size_t i = first; i < static_cast<std::size_t>(end); i += step, ++x) {
            if (i != first)
                kc = hn::Sub(hn::Add(kc, hn::LoadU(d, coarse + (i - step + span) * 16)),
                             hn::LoadU(d, coarse + (i - step) * 16));
            int below;
            const int b = search(kc, want, &below);
            const uint8_t *col = fine + 16 * b;
            const std::size_t moved = since[b] ? x + 1 - since[b] : static_cast<std::size_t>(n);
            V seg;
            if (2 * moved > static_cast<std::size_t>(n)) {
                seg = hn::LoadU(d, col + i * 256);
                for (std::size_t j = step; j < span; j += step) seg = hn::Add(seg, hn::LoadU(d, col + (i + j) * 256));
            } else {
                seg = hn::Load(d, kf + 16 * b);
                for (std::size_t p = i + step - moved * step; p <= i; p += step)
                    seg = hn::Sub(hn::Add(seg, hn::LoadU(d, col + (p - step + span) * 256)),
                                  hn::LoadU(d, col + (p - step) * 256));
            }
            hn::Store(seg, d, kf + 16 * b);
            since[b] = x + 1;
            int rest;
            const int f = search(seg, want - below, &rest);
            out[i] = static_cast<uint8_t>(16 * b + f);
        }
    }
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace rank
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
namespace rank {
HWY_EXPORT(MinMaxRowVec);
HWY_EXPORT(PickRowsVec);
HWY_EXPORT(RunNetVec);
HWY_EXPORT(MedianColumnsRowVec);
HWY_EXPORT(Median3RowVec);

std::size_t Median3Row(const uint8_t *const *in, int bpp, std::size_t count, uint8_t *out) {
    return HWY_DYNAMIC_DISPATCH(Median3RowVec)(in, bpp, count, out);
}

void MedianColumnsRow(const uint8_t *coarse, const uint8_t *fine, int n, int bpp, int begin, int end,
                      uint8_t *out) {
    HWY_DYNAMIC_DISPATCH(MedianColumnsRowVec)(coarse, fine, n, bpp, begin, end, out);
}

void MinMaxRow(bool is_max, const uint8_t *const *slots, int n, int bpp, int begin, int end, uint8_t *scratch,
               uint8_t *out, bool vertical_done) {
    HWY_DYNAMIC_DISPATCH(MinMaxRowVec)(is_max, slots, n, bpp, begin, end, scratch, out, vertical_done);
}

void PickRows(bool is_max, const uint8_t *a, const uint8_t *b, uint8_t *dst, std::size_t len) {
    HWY_DYNAMIC_DISPATCH(PickRowsVec)(is_max, a, b, dst, len);
}

void RunNet(const NetProgram &p, int kind, int n, const uint8_t *const *rows, int bpp, std::size_t count,
            uint8_t *const *outs) {
    const std::size_t done = HWY_DYNAMIC_DISPATCH(RunNetVec)(kind, n, rows, bpp, count, outs);
    RunNetPlain(p, rows, bpp, done, count, outs);
}

}  // namespace rank
}  // namespace imge
#endif
