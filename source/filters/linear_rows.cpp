#include "filters/linear_rows.h"

namespace imge {
namespace {

inline uint8_t Clamp255(int64_t v) { return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

template <int kBpp>
void BoxRowT(const uint16_t *col, int n, int bpp_runtime, int begin, int end, uint64_t magic, uint8_t *out) {
    const int bpp = kBpp ? kBpp : bpp_runtime;
    uint32_t w[4] = {0, 0, 0, 0};
    for (int c = 0; c < bpp; ++c)
        for (int j = 0; j < n; ++j) w[c] += col[begin + c + j * bpp];
    const int span = n * bpp;
    int i = begin;
    for (; i + bpp < end; i += bpp) {
        for (int c = 0; c < bpp; ++c) {
            out[i + c] = static_cast<uint8_t>((w[c] * magic) >> 32);
            w[c] += static_cast<uint32_t>(col[i + c + span]) - col[i + c];
        }
    }
    for (int c = 0; c < bpp; ++c) out[i + c] = static_cast<uint8_t>((w[c] * magic) >> 32);
}

}  // namespace

void LinearPlan::Add(int k, int j, int64_t w) {
    if (w == 0) return;
    tap[n_taps++] = LinearTap{k, j, w};
}

void LinearPlan::Finish() {
    int64_t total = 0;
    bool big = false;
    for (int t = 0; t < n_taps; ++t) {
        const int64_t a = tap[t].w < 0 ? -tap[t].w : tap[t].w;
        if (a >= (int64_t{1} << 24)) big = true;
        else total += a;
    }
    const int64_t d = divisor < 0 ? -divisor : divisor;
    const int64_t b = bias < 0 ? -bias : bias;
    fits_float = !big && total * 255 < (int64_t{1} << 24) && d < (int64_t{1} << 24) && b < (int64_t{1} << 24);
}

void LinearRowPlain(const LinearPlan &plan, const uint8_t *const *slots, int bpp, int begin, int end, uint8_t *out) {
    const uint8_t *base[LinearPlan::kMaxTaps];
    for (int t = 0; t < plan.n_taps; ++t) base[t] = slots[plan.tap[t].k] + plan.tap[t].j * bpp;
    for (int i = begin; i < end; ++i) {
        int64_t sum = 0;
        for (int t = 0; t < plan.n_taps; ++t) sum += plan.tap[t].w * base[t][i];
        out[i] = Clamp255(sum / plan.divisor + plan.bias);
    }
}

void SharpenRowPlain(int64_t p, int64_t d, const uint8_t *const *slots, int bpp, int begin, int end, uint8_t *out) {
    const uint8_t *r0 = slots[0], *r1 = slots[1], *r2 = slots[2];
    for (int i = begin; i < end; ++i) {
        const int a = i, b = i + bpp, c = i + 2 * bpp;
        const int64_t s8 = r0[a] + r0[b] + r0[c] + r1[a] + r1[c] + r2[a] + r2[b] + r2[c];
        out[i] = Clamp255((100 * int64_t{r1[b]} - (p * s8) / 8) / d);
    }
}

void ColumnUpdatePlain(uint16_t *col, const uint8_t *add, const uint8_t *sub, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) col[i] = static_cast<uint16_t>(col[i] + add[i] - sub[i]);
}

void ColumnAdd(uint16_t *col, const uint8_t *add, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) col[i] = static_cast<uint16_t>(col[i] + add[i]);
}

void BoxRow(const uint16_t *col, int n, int bpp, int begin, int end, uint64_t magic, uint8_t *out) {
    if (begin >= end) return;
    switch (bpp) {
        case 1: return BoxRowT<1>(col, n, bpp, begin, end, magic, out);
        case 3: return BoxRowT<3>(col, n, bpp, begin, end, magic, out);
        case 4: return BoxRowT<4>(col, n, bpp, begin, end, magic, out);
        default: return BoxRowT<0>(col, n, bpp, begin, end, magic, out);
    }
}

}  // namespace imge
