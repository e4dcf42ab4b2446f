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

// Output bytes per band of a row: a band's vertical sums stay in the
// first-level cache while the horizontal pass reads them n times.
constexpr std::size_t kGaussBand = 4096;
// Floats of the block the vector path may transpose a band's sums into
// (kept apart from the sums; see gauss_rows_hwy.cpp), for side n and bpp
// bytes per pixel, with room to align it to 64 bytes.
constexpr std::size_t GaussBlockFloats(int n, int bpp) {
    return 2 * kGaussBand + (static_cast<std::size_t>(n - 1 + 16) * static_cast<std::size_t>(bpp) + 32) * 16 + 16;
}
// scratch holds at least (end - begin) + (n - 1) * bpp + 16 floats, all of
// them set; block null or GaussBlockFloats(n, bpp) floats.
void GaussRow(const GaussWeights &w, const uint8_t *const *slots, int bpp, int begin, int end, float *scratch,
              float *block, uint8_t *out);

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
