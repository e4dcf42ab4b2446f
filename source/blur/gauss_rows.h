// Row kernel of the Gaussian blur. slots[k] is the k-th of the n
// edge-extended rows around the output row (see core/row_frame.h).
#pragma once

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

// The plain loop (identical bytes).
void GaussRowPlain(const GaussWeights &w, const uint8_t *const *slots, int bpp, int begin, int end, float *scratch,
                   uint8_t *out);

}  // namespace blur
}  // namespace imge
