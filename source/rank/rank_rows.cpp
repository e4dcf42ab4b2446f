// Plain (scalar) row kernels of the rank filters.
#include <cmath>
#include <cstring>

#include "rank/rank_rows.h"

namespace imge {

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

void MedianHistogramRow(const uint8_t *const *slots, int n, int bpp, int begin, int end, uint8_t *out) {
    const int want = (n * n) >> 1;  // elements below the answer: at most want, with it: above want
    const std::size_t step = static_cast<std::size_t>(bpp);
    const std::size_t span = static_cast<std::size_t>(n) * step;
    for (int c = 0; c < bpp && begin + c < end; ++c) {
        uint16_t hist[256];
        std::memset(hist, 0, sizeof hist);
        std::size_t i = static_cast<std::size_t>(begin + c);
        for (int k = 0; k < n; ++k)
            for (int j = 0; j < n; ++j) ++hist[slots[k][i + j * step]];
        int m = 0, below = 0;  // below = samples smaller than m
        while (below + hist[m] <= want) below += hist[m++];
        out[i] = static_cast<uint8_t>(m);
        for (i += step; i < static_cast<std::size_t>(end); i += step) {
            // The window moves one pixel right: column i - step leaves, column
            // i + (n - 1) * step enters.
            for (int k = 0; k < n; ++k) {
                const uint8_t gone = slots[k][i - step], come = slots[k][i - step + span];
                --hist[gone];
                ++hist[come];
                below += (come < m) - (gone < m);
            }
            while (below > want) below -= hist[--m];
            while (below + hist[m] <= want) below += hist[m++];
            out[i] = static_cast<uint8_t>(m);
        }
    }
}

}  // namespace imge
