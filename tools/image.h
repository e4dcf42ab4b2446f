// The tool's bitmap handle: an owned IMG_BITMAP released through the base
// library, plus the bridge that runs processing-layer (imf) operations on it.
#pragma once

#include <memory>
#include <string>

#include "libimg.h"

namespace imge {
namespace tool {

struct BitmapDeleter {
    void operator()(IMG_BITMAP *b) const;
};
using Image = std::unique_ptr<IMG_BITMAP, BitmapDeleter>;

// A new zeroed bitmap; throws ToolError("out of memory") on failure.
Image NewImage(IMG_BITMAP_TYPE type, int width, int height);
// An independent deep copy.
Image CloneImage(const IMG_BITMAP &b);

// Row y of the picture (Data is always top-down in the tool's bitmaps).
inline IMG_UINT8 *Row(const IMG_BITMAP &b, int y) {
    return b.Data + static_cast<size_t>(y) * b.BytesPerLine;
}

// Views an IMG_BITMAP as a processing record (fields copied, pointers shared).
IMF_BITMAP ImfView(const IMG_BITMAP &b);
// Takes over the buffers of a processing record that an operation filled and
// makes a public bitmap of it (the record's buffers then belong to the result).
Image AdoptImf(IMF_BITMAP &rec);

// Every failure the tool reports: one line, without the file name (the
// caller adds that).
struct ToolError {
    std::string message;
};

// Converts any bitmap to 8-bit grey, RGB or RGBA (what the file writers
// take): colour-mapped to RGB (RGBA when the palette has alpha), BGR/ARGB/...
// reordered, CMYK by 255 - component, binary to grey 0/255.
Image ToCanonical(const IMG_BITMAP &b);

// Any bitmap as RGB (RGBA for a palette with alpha), resolution and
// metadata kept.
Image ToRgb(const IMG_BITMAP &b);
// An RGB(A) bitmap whose pixels are all neutral (R = G = B) as grey,
// resolution and metadata kept; any other bitmap as it is.
Image GreyIfNeutral(Image b);

const char *TypeName(IMG_BITMAP_TYPE type);

}  // namespace tool
}  // namespace imge
