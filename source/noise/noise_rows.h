// Rows of noisy bytes from draws already made (each draw its low 15 bits).
// Vectors where the machine has them; the plain loops give the same bytes,
// the double operations being the same ones in the same order.
#pragma once

#include <cstddef>
#include <cstdint>

namespace imge {
namespace noise {

// out[i] = in[i] + off[draws[i]], held to 0..255 (uniform and Laplacian
// noise with the offsets made integers beforehand).
void OffsetRow(const uint8_t *in, const uint32_t *draws, const int32_t *off, std::size_t n, uint8_t *out);
void OffsetRowPlain(const uint8_t *in, const uint32_t *draws, const int32_t *off, std::size_t n, uint8_t *out);

// Gaussian noise: with p = in[i], a = draws[2i] and b = draws[2i + 1],
// out[i] = p + (sqrt(p) * amount) * (s[a] * cs[2b]) + 20 * (s[a] * cs[2b + 1])
// held to 0..255 and truncated; s holds the radii, cs cosines and sines.
void GaussianRow(const uint8_t *in, const uint32_t *draws, const double *s, const double *cs, double amount,
                 std::size_t n, uint8_t *out);
void GaussianRowPlain(const uint8_t *in, const uint32_t *draws, const double *s, const double *cs, double amount,
                      std::size_t n, uint8_t *out);

// The generator of draws.h, `rounds` rounds of 31 values on: round[0..30]
// holds y[n - 31..n - 1] on entry and the last 31 values on return; the draws
// (y >> 1) & mask go to draws[0..31 rounds - 1] (draws[31 rounds] is written
// over).
void FeedbackRounds(uint32_t *round, uint32_t *draws, std::size_t rounds, uint32_t mask);
void FeedbackRoundsPlain(uint32_t *round, uint32_t *draws, std::size_t rounds, uint32_t mask);

}  // namespace noise
}  // namespace imge
