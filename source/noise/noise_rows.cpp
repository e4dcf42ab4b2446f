// The plain loops of the noise rows (noise_rows.h).
#include "noise/noise_rows.h"

#include <cmath>

namespace imge {
namespace noise {

void OffsetRowPlain(const uint8_t *in, const uint32_t *draws, const int32_t *off, std::size_t n, uint8_t *out) {
    for (std::size_t i = 0; i < n; ++i) {
        const int32_t v = in[i] + off[draws[i]];
        out[i] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
    }
}

void GaussianRowPlain(const uint8_t *in, const uint32_t *draws, const double *s, const double *cs, double amount,
                      std::size_t n, uint8_t *out) {
    for (std::size_t i = 0; i < n; ++i) {
        const double p = in[i];
        const double r = s[draws[2 * i]];
        const double *c = cs + 2 * draws[2 * i + 1];
        const double v = p + std::sqrt(p) * amount * (r * c[0]) + 20.0 * (r * c[1]);
        out[i] = static_cast<uint8_t>(v < 0.0 ? 0.0 : v > 255.0 ? 255.0 : v);
    }
}

void FeedbackRoundsPlain(uint32_t *round, uint32_t *draws, std::size_t rounds, uint32_t mask) {
    uint32_t y[62];
    for (int i = 0; i < 31; ++i) y[i] = round[i];
    for (std::size_t r = 0; r < rounds; ++r, draws += 31) {
        for (int i = 31; i < 62; ++i) y[i] = y[i - 31] + y[i - 3];
        for (int i = 0; i < 31; ++i) {
            draws[i] = (y[31 + i] >> 1) & mask;
            y[i] = y[31 + i];
        }
    }
    for (int i = 0; i < 31; ++i) round[i] = y[i];
}

}  // namespace noise
}  // namespace imge
