// The conversions between the public and the processing bitmap record.
#pragma once

#include "libimg.h"

namespace imge {

// Clears imf_bitmap, then copies the description and pointers of bitmap.
void imgCopyBitmapFromimgBitmap(IMF_BITMAP *imf_bitmap, const IMG_BITMAP *bitmap);
// Writes the description and pointers of imf_bitmap into bitmap
// (BitsPerComponent becomes 8; ComponentsPerPixel, Reserved, XOffset and
// YOffset keep their values).
void imgCopyBitmapFromimfBitmap(IMG_BITMAP *bitmap, const IMF_BITMAP *imf_bitmap);

}  // namespace imge
