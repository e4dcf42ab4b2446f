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

void GaussRowPlain(const GaussWeights &w, const uint8_t *const *slots, int bpp, int begin, int end, float *scratch,
                    uint8_t *out) {
    const int n = w.n;
    const std::size_t count = static_cast<std::size_t>(end - begin);
    const std::size_t len = count + static_cast<std::size_t>(n - 1) * bpp;
    for (std::size_t t = 0; t < len; ++t) {
        float acc = w.v[0] * static_cast<float>(slots[0][begin + t]);
        for (int k = 1; k < n; ++k) acc = acc + w.v[k] * static_cast<float>(slots[k][begin + t]);
        scratch[t] = acc;
    }
    for (std::size_t i = 0; i < count; ++i) {
        float acc = w.h[0] * scratch[i];
        for (int j = 1; j < n; ++j) acc = acc + w.h[j] * scratch[i + static_cast<std::size_t>(j) * bpp];
        const int q = static_cast<int>(acc);
        out[begin + i] = static_cast<uint8_t>(q > 255 ? 255 : q < 0 ? 0 : q);
    }
}

}  // namespace blur
}  // namespace imge
