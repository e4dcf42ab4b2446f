#include "core/bitmap_check.h"

#include <cstdint>

#include "records/pixel_types.h"
#include "records/record_layout.h"

namespace imge {

bool BitmapIsValid(const IMF_BITMAP *b) {
    if (!b || b->Width < 0 || b->Height < 0 || b->BytesPerLine < 0) return false;
    int bpp = imgrec::BytesPerPixelOf(b->Type);
    if (bpp == 0) return false;
    if (b->Type != IMF_BINARY && b->BytesPerPixel != bpp) return false;
    long long row = imgrec::RowBytes(b->Type, b->Width);
    if (b->Height > 0 && b->BytesPerLine < row) return false;
    if (b->BytesPerLine != 0 && b->Height > INT32_MAX / b->BytesPerLine) return false;
    if (b->Width > 0 && b->Height > 0 && !b->Data) return false;
    return true;
}

int PaletteEntries(const IMF_BITMAP *b) {
    int n = b->ColorUsed;
    return n < 0 ? 0 : n > 256 ? 256 : n;
}

}  // namespace imge
