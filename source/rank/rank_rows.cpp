// Plain (scalar) row kernels of the rank filters.
#include <cmath>
#include <cstring>

#include "rank/rank_rows.h"

namespace imge {
namespace rank {

void PickRowsPlain(bool is_max, const uint8_t *a, const uint8_t *b, uint8_t *dst, std::size_t len) {
    if (is_max)
        for (std::size_t t = 0; t < len; ++t) dst[t] = a[t] > b[t] ? a[t] : b[t];
    else
        for (std::size_t t = 0; t < len; ++t) dst[t] = a[t] < b[t] ? a[t] : b[t];
}

void MinMaxRowPlain(bool is_max, const uint8_t *const *slots, int n, int bpp, int begin, int end,
                     uint8_t *scratch, uint8_t *out, bool vertical_done) {
    const std::size_t count = static_cast<std::size_t>(end - begin);
    std::size_t len = count + static_cast<std::size_t>(n - 1) * bpp;
    auto pick = [is_max](uint8_t a, uint8_t b) -> uint8_t { return is_max ? (a > b ? a : b) : (a < b ? a : b); };
    if (!vertical_done) {
        std::memcpy(scratch, slots[0] + begin, len);
        for (int k = 1; k < n; ++k) {
            const uint8_t *s = slots[k] + begin;
            for (std::size_t t = 0; t < len; ++t) scratch[t] = pick(scratch[t], s[t]);
        }
    }
    if (n <= 4) {  // few columns: straight from the vertical extremes
        for (std::size_t i = 0; i < count; ++i) {
            uint8_t v = scratch[i];
            for (int j = 1; j < n; ++j) v = pick(v, scratch[i + static_cast<std::size_t>(j) * bpp]);
            out[begin + i] = v;
        }
        return;
    }
    // scratch[t] becomes the extreme of the window of p pixels starting at t,
    // up to the largest p with 2p <= n ...
    int p = 1;
    while (4 * p <= n) {
        const std::size_t shift = static_cast<std::size_t>(p) * bpp;
        len -= shift;
        for (std::size_t t = 0; t < len; ++t) scratch[t] = pick(scratch[t], scratch[t + shift]);
        p *= 2;
    }
    // ... and two overlapping windows of 2p cover the n columns, each made of
    // two windows of p.
    const std::size_t a = static_cast<std::size_t>(p) * bpp, b = static_cast<std::size_t>(n - 2 * p) * bpp;
    for (std::size_t i = 0; i < count; ++i)
        out[begin + i] = pick(pick(scratch[i], scratch[i + a]), pick(scratch[i + b], scratch[i + b + a]));
}

void Median3SelectPlain(const uint8_t *const *sorted, int bpp, std::size_t begin, std::size_t count, uint8_t *out) {
    auto lo = [](uint8_t a, uint8_t b) { return a < b ? a : b; };
    auto hi = [](uint8_t a, uint8_t b) { return a > b ? a : b; };
    auto med = [&](uint8_t a, uint8_t b, uint8_t c) { return hi(lo(a, b), lo(hi(a, b), c)); };
    const std::size_t s1 = static_cast<std::size_t>(bpp), s2 = 2 * s1;
    const uint8_t *a = sorted[0], *m = sorted[1], *z = sorted[2];
    for (std::size_t i = begin; i < count; ++i)
        out[i] = med(hi(hi(a[i], a[i + s1]), a[i + s2]), med(m[i], m[i + s1], m[i + s2]), lo(lo(z[i], z[i + s1]), z[i + s2]));
}

void ColumnHistogramsDown(const uint8_t *const *slots, int n, std::size_t begin, std::size_t end, uint8_t *coarse,
                          uint8_t *fine) {
    if (!slots[n]) {
        std::memset(coarse + begin * 16, 0, (end - begin) * 16);
        std::memset(fine + begin * 256, 0, (end - begin) * 256);
        for (int k = 0; k < n; ++k)
            for (std::size_t t = begin; t < end; ++t) {
                const uint8_t v = slots[k][t];
                ++coarse[t * 16 + (v >> 4)];
                ++fine[t * 256 + v];
            }
        return;
    }
    const uint8_t *gone = slots[n], *come = slots[n - 1];
    for (std::size_t t = begin; t < end; ++t) {
        const uint8_t g = gone[t], c = come[t];
        --coarse[t * 16 + (g >> 4)];
        ++coarse[t * 16 + (c >> 4)];
        --fine[t * 256 + g];
        ++fine[t * 256 + c];
    }
}

void MedianColumnsRowPlain(const uint8_t *coarse, const uint8_t *fine, int n, int bpp, int begin, int end,
                           uint8_t *out) {
    const int want = (n * n) >> 1;  // samples below the answer: at most want, with it: above want
    const std::size_t step = static_cast<std::size_t>(bpp);
    const std::size_t span = static_cast<std::size_t>(n) * step;
    for (int c = 0; c < bpp && begin + c < end; ++c) {
        const std::size_t first = static_cast<std::size_t>(begin + c);
        int kc[16] = {}, kf[256];
        std::size_t since[16];  // pixel + 1 at which the fine bins of each coarse bin were right, 0: never
        for (int b = 0; b < 16; ++b) since[b] = 0;
        for (std::size_t j = 0; j < span; j += step)
            for (int b = 0; b < 16; ++b) kc[b] += coarse[(first + j) * 16 + b];
        std::size_t x = 0;  // pixels from the first
        for (std::size_t i = first; i < static_cast<std::size_t>(end); i += step, ++x) {
            if (i != first)
                for (int b = 0; b < 16; ++b) kc[b] += coarse[(i - step + span) * 16 + b] - coarse[(i - step) * 16 + b];
            int b = 0, below = 0;
            while (below + kc[b] <= want) below += kc[b++];
            int *seg = kf + 16 * b;
            const std::size_t moved = since[b] ? x + 1 - since[b] : static_cast<std::size_t>(n);
            if (2 * moved > static_cast<std::size_t>(n)) {
                for (int f = 0; f < 16; ++f) seg[f] = 0;
                for (std::size_t j = 0; j < span; j += step)
                    for (int f = 0; f < 16; ++f) seg[f] += fine[(i + j) * 256 + 16 * b + f];
            } else {
                for (std::size_t p = i + step - moved * step; p <= i; p += step)
                    for (int f = 0; f < 16; ++f)
                        seg[f] += fine[(p - step + span) * 256 + 16 * b + f] - fine[(p - step) * 256 + 16 * b + f];
            }
            since[b] = x + 1;
            int f = 0;
            while (below + seg[f] <= want) below += seg[f++];
            out[i] = static_cast<uint8_t>(16 * b + f);
        }
    }
}

}  // namespace rank
}  // namespace imge
