// Histograms of a bitmap, always over every row and column.
#pragma once

#include "libimg.h"

namespace imge {
namespace lut {

// Clears hist[4 * 256] and counts byte k of every pixel in array k, for
// k < BytesPerPixel and k < channels (the corrections never look at byte 3,
// so they pass 3 and skip counting it). The bitmap must be a valid byte
// bitmap (not binary).
void CreateHistogram(const IMF_BITMAP *b, TUlong *hist, int channels = 4);

// Clears hist[256] and counts the luminance (77 R + 150 G + 29 B) >> 8 of every
// pixel; the byte itself for one-byte pixels. The bitmap must be a valid byte
// bitmap (not binary).
void CountLuminance(const IMF_BITMAP *b, TUlong *hist);

}  // namespace lut
}  // namespace imge
