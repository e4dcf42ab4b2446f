// Consistency of a processing record handed in by a caller.
#pragma once

#include "libimg.h"

namespace imge {

// True when the record describes a bitmap the pixel code can walk safely: a
// known type whose BytesPerPixel matches, non-negative sizes, rows at least as
// long as the pixels they hold, a total size that fits in 31 bits and a pixel
// buffer whenever there are pixels. Operations refuse anything else with
// IMF_ERRBADBITMAP before touching it.
bool BitmapIsValid(const IMF_BITMAP *b);

// Number of palette entries to use: ColorUsed limited to 0..256.
int PaletteEntries(const IMF_BITMAP *b);

}  // namespace imge
