// Row kernel of the Gaussian blur. slots[k] is the k-th of the n
// edge-extended rows around the output row (see core/row_frame.h).
#pragma once

#include <cstddef>
#include <cstdint>

namespace imge {
namespace blur {

// Separable single-precision pass: vertical weights v[k], then horizontal
// weights h[j] (already divided by the weight sum); the result truncated.
struct GaussWeights {
    int n = 0;
    float v[25];
    float h[25];
};
void MakeGaussWeights(int n, GaussWeights *w);
// scratch holds at least (end - begin) + (n - 1) * bpp floats.
void GaussRow(const GaussWeights &w, const uint8_t *const *slots, int bpp, int begin, int end, float *scratch,
              uint8_t *out);

// One vertical sum (position t of the slots) and one output byte from the
// vertical sums s[0], s[bpp], ... s[(n - 1) * bpp]: the plain loop's
// arithmetic, also used for the vector path's ragged ends.
float GaussColumn(const GaussWeights &w, const uint8_t *const *slots, std::size_t t);
uint8_t GaussByte(const GaussWeights &w, const float *s, std::size_t bpp);

// The plain loop (the vector path gives the same bytes within one).
void GaussRowPlain(const GaussWeights &w, const uint8_t *const *slots, int bpp, int begin, int end, float *scratch,
                   uint8_t *out);

}  // namespace blur
}  // namespace imge
