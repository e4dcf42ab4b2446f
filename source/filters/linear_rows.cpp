#include "filters/linear_rows.h"

#include <cmath>
#include <initializer_list>

namespace imge {
namespace filters {
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

float RecipOf(int64_t d) {
    const int64_t a = d < 0 ? -d : d;
    // volatile: the comparison must see the value rounded to float, also
    // where the compiler would keep more precision (x87).
    volatile float c = static_cast<float>(1.0 / static_cast<double>(a));
    while (static_cast<double>(c) * static_cast<double>(a) < 1.0) c = std::nextafter(static_cast<float>(c), 2.0f);
    const float r = c;
    return d < 0 ? -r : r;
}

LinearPlan::Div16 MakeDiv16(uint32_t d) {
    LinearPlan::Div16 v;
    int s = 0;
    while ((uint32_t{1} << (s + 1)) < d) ++s;  // 2^s < d <= 2^(s+1), or d <= 2
    if ((d & (d - 1)) == 0) {
        while ((uint32_t{1} << v.shift) < d) ++v.shift;
        return v;
    }
    v.magic = static_cast<uint16_t>(((uint64_t{1} << (16 + s)) + d - 1) / d);
    v.shift = s;
    return v;
}

BoxDivision MakeBoxDivision(int n) {
    BoxDivision b;
    uint32_t d = static_cast<uint32_t>(n * n);
    while ((d & 1) == 0) {
        d >>= 1;
        ++b.pre_shift;
    }
    b.odd = MakeDiv16(d);
    return b;
}

namespace {

int64_t Gcd(int64_t a, int64_t b) {
    while (b) {
        const int64_t t = a % b;
        a = b;
        b = t;
    }
    return a;
}

int64_t Abs(int64_t v) { return v < 0 ? -v : v; }

}  // namespace

void LinearPlan::Finish() {
    mode = kPlain;
    constexpr int64_t kLimit = int64_t{1} << 22;
    int64_t total = 0;
    for (int t = 0; t < n_taps; ++t) {
        total += Abs(tap[t].w);
        if (total > kLimit) return;
    }
    if (255 * total + Abs(divisor) > kLimit || Abs(bias) >= kLimit) return;
    recip = RecipOf(divisor);
    mode = kFloat;

    // The 16-bit form: all taps over their common divisor, or all but the
    // largest over theirs.
    int largest = -1;
    for (int t = 0; t < n_taps; ++t)
        if (largest < 0 || Abs(tap[t].w) > Abs(tap[largest].w)) largest = t;
    for (int leave : {-1, largest}) {
        if (leave >= 0 && n_taps < 2) break;
        int64_t g = 0, sum = 0;
        for (int t = 0; t < n_taps; ++t)
            if (t != leave) g = Gcd(g, Abs(tap[t].w));
        if (g == 0) g = 1;
        for (int t = 0; t < n_taps; ++t)
            if (t != leave) sum += Abs(tap[t].w) / g;
        if (255 * sum > 32767) continue;
        mode = kShort;
        scale = static_cast<int32_t>(g);
        lone = leave;
        n_short = n_plus = n_minus = 0;
        for (int pass = 0; pass < 3; ++pass)
            for (int t = 0; t < n_taps; ++t) {
                if (t == leave) continue;
                const int64_t w = tap[t].w / g;
                if ((pass == 0 && w == 1) || (pass == 1 && w == -1) || (pass == 2 && w != 1 && w != -1)) {
                    short_tap[n_short] = t;
                    short_w[n_short++] = static_cast<int16_t>(w);
                    n_plus += pass == 0;
                    n_minus += pass == 1;
                }
            }
        short_divide = divisor != 1 && scale == 1 && lone < 0 && Abs(divisor) < 32768 && Abs(bias) < 32768;
        if (short_divide) div16 = MakeDiv16(static_cast<uint32_t>(Abs(divisor)));
        return;
    }
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

}  // namespace filters
}  // namespace imge
