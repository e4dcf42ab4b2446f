// Row kernels of imgSepia and imgSepiaEx: a plain loop and a vector one
// (sepia_rows_hwy.cpp) giving the same bytes.
#pragma once

#include "colour/rgb_positions.h"
#include "libimg.h"

namespace imge {
namespace colour {

struct SepiaTone {
    enum Kind {
        kWarm,      // every channel: grey + offset, at most 255 (imgSepia)
        kGreyTint,  // every channel: grey - offset, at least 0 (imgSepiaEx at 100 %)
        kBlendTint  // channel * c1 + (r + g + b) * c2, truncated, low byte; then - offset, at least 0
    } kind;
    int red, green, blue;  // the offsets, 0..255
    double c1, c2;
};

// n pixels of bpp bytes at p, in place; red, green and blue at the byte
// positions `pos` (grey: (77 R + 150 G + 29 B) >> 8). Other bytes untouched.
void SepiaRow(IMG_UINT8 *p, IMG_INT32 n, int bpp, const RgbPositions &pos, const SepiaTone &t);
void SepiaRowPlain(IMG_UINT8 *p, IMG_INT32 n, int bpp, const RgbPositions &pos, const SepiaTone &t);

}  // namespace colour
}  // namespace imge
