#include "draw/draw_entry.h"

#include "core/bitmap_check.h"
#include "records/record_convert.h"
#include "draw/pen.h"
#include "libimge.h"
#include "libtools.h"

namespace imge {
namespace draw {

IMG_ERROR BeginDraw(IMG_BITMAP *src, IMG_BITMAP **bdst, IMG_UINT32 line_width, IMG_UINT32 line_style,
                    bool params_ok, DrawSetup *out) {
    if (!src || src->BitsPerComponent > 8 || src->Type == IMG_BINARY || !params_ok) return IMG_ERROR_BAD_PARAMETERS;
    // Styles outside the table are refused rather than read past its end,
    // whatever the width.
    if (line_style >= kStyleCount) return IMG_ERROR_BAD_PARAMETERS;
    IMF_BITMAP check;
    imge::records::ToImf(&check, src);
    if (!BitmapIsValid(&check)) return IMG_ERROR_BAD_PARAMETERS;

    out->style = line_width >= 2 ? IMG_UINT32{IMG_LINE_STYLE_SOLID} : line_style;
    if (bdst) {
        *bdst = imgCloneBitmap(src);
        if (!*bdst) return IMG_ERROR_NO_MEMORY;
        out->target = *bdst;
    } else {
        out->target = src;
    }
    return IMG_NO_ERROR;
}

IMG_ERROR ConvertColor(const IMG_BITMAP *target, const IMG_COLOR *color, IMG_UINT8 array[4]) {
    return imgGetColorArray(target, color, array) == IMG_NO_ERROR ? IMG_NO_ERROR : IMG_ERROR_BAD_PARAMETERS;
}

}  // namespace draw
}  // namespace imge
