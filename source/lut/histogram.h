// Histograms of a bitmap, always over every row and column.
#pragma once

#include "libimg.h"

namespace imge {

// Clears hist[4 * 256] and counts byte k of every pixel in array k, for
// k < channels (channels at most BytesPerPixel and at most 4). The bitmap
// must be a valid byte bitmap (not binary).
void CountBytes(const IMF_BITMAP *b, int channels, TUlong *hist);

// Clears hist[256] and counts the luminance (77 R + 150 G + 29 B) >> 8 of every
// pixel; the byte itself for one-byte pixels. The bitmap must be a valid byte
// bitmap (not binary).
void CountLuminance(const IMF_BITMAP *b, TUlong *hist);

}  // namespace imge
