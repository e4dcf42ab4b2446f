// Plain row kernel of the Gaussian blur and its weights.
#include "blur/gauss_rows.h"

#include <cmath>
#include <cstddef>

namespace imge {
namespace blur {

void MakeGaussWeights(int n, GaussWeights *w) {
    // The two-dimensional weight exp(-(r^2 + c^2) / 2 sigma^2) is the product
    // of one-dimensional weights, and the weight sum the square of theirs.
    const int half = n >> 1;
    const double L = std::log(1.0 / 255);
    const double sigma2 = -static_cast<double>(n) * n / (2 * L);
    const double sigma = std::sqrt(sigma2);
    const double D = sigma * (sigma + sigma);
    double g[25], sum = 0;
    for (int k = 0; k < n; ++k) {
        const double d = k - half;
        g[k] = std::exp((d * -d) / D);
        sum += g[k];
    }
    w->n = n;
    for (int k = 0; k < n; ++k) {
        w->v[k] = static_cast<float>(g[k]);
        w->h[k] = static_cast<float>(g[k] / (sum * sum));
    }
}

// The weights are symmetric about the centre: samples the same distance
// either side are added first (exactly: bytes as integers, floats rounded
// once) and multiplied once. For even n the first row and column have no
// partner and come last.
float GaussColumn(const GaussWeights &w, const uint8_t *const *slots, std::size_t t) {
    const int half = w.n >> 1;
    float acc = w.v[half] * static_cast<float>(slots[half][t]);
    for (int p = 1; half + p < w.n; ++p)
        acc = acc + w.v[half - p] * static_cast<float>(slots[half - p][t] + slots[half + p][t]);
    if (!(w.n & 1)) acc = acc + w.v[0] * static_cast<float>(slots[0][t]);
    return acc;
}

uint8_t GaussByte(const GaussWeights &w, const float *s, std::size_t bpp) {
    const int half = w.n >> 1;
    float acc = w.h[half] * s[half * bpp];
    for (int p = 1; half + p < w.n; ++p) acc = acc + w.h[half - p] * (s[(half - p) * bpp] + s[(half + p) * bpp]);
    if (!(w.n & 1)) acc = acc + w.h[0] * s[0];
    const int q = static_cast<int>(acc);
    return static_cast<uint8_t>(q > 255 ? 255 : q < 0 ? 0 : q);
}

void GaussRowPlain(const GaussWeights &w, const uint8_t *const *slots, int bpp, int begin, int end, float *scratch,
                   uint8_t *out) {
    const std::size_t count = static_cast<std::size_t>(end - begin);
    const std::size_t len = count + static_cast<std::size_t>(w.n - 1) * bpp;
    for (std::size_t t = 0; t < len; ++t) scratch[t] = GaussColumn(w, slots, begin + t);
    for (std::size_t i = 0; i < count; ++i) out[begin + i] = GaussByte(w, scratch + i, static_cast<std::size_t>(bpp));
}

}  // namespace blur
}  // namespace imge
