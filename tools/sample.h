// Pictures the demo works on, made by code so that nothing needs a licence:
// a photo-like landscape and a JPEG of it carrying EXIF orientation 6 and a
// thumbnail.
#pragma once

#include "image.h"
#include "io/image_io.h"

namespace imge {
namespace tool {

// A deterministic landscape: sky gradient, sun, two mountain ridges, a
// textured meadow, a small house and flowers, with film-like grain.
Image MakeSamplePhoto(int width, int height);

// An APP1 payload ("Exif\0\0", little-endian TIFF) with orientation
// `orientation` in the main directory and `thumbnail` (a JPEG stream) in the
// second, the way cameras write it.
Bytes MakeExifBlock(int orientation, const Bytes &thumbnail, int thumb_w, int thumb_h);

}  // namespace tool
}  // namespace imge
