#include "core/convert.h"

#include "record_convert.h"
#include "record_layout.h"

namespace imge {

void imgCopyBitmapFromimgBitmap(IMF_BITMAP *imf_bitmap, const IMG_BITMAP *bitmap) {
    imgrec::ToImf(imf_bitmap, bitmap);
}

void imgCopyBitmapFromimfBitmap(IMG_BITMAP *bitmap, const IMF_BITMAP *imf_bitmap) {
    imgrec::ToImg(bitmap, imf_bitmap);
}

}  // namespace imge
