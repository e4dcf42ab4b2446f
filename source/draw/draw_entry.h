// The steps every public drawing function takes before it draws.
#pragma once

#include "libimg.h"

namespace imge {
namespace draw {

struct DrawSetup {
    IMG_BITMAP *target = nullptr;  // src, or the clone stored in *bdst
    IMG_UINT32 style = 0;          // the style to draw with
};

// 1. refuses (IMG_ERROR_BAD_PARAMETERS) a null or inconsistent bitmap, more
//    than 8 bits per component, a binary bitmap, a line style above
//    IMG_LINE_STYLE_DASHDOTDOT, or shape parameters the caller found bad
//    (`params_ok` false);
// 2. widths of 2 and more draw solid;
// 3. with bdst, clones src into *bdst at once (IMG_ERROR_NO_MEMORY when the
//    clone cannot be made), else draws into src.
IMG_ERROR BeginDraw(IMG_BITMAP *src, IMG_BITMAP **bdst, IMG_UINT32 line_width, IMG_UINT32 line_style,
                    bool params_ok, DrawSetup *out);

// The pixel bytes of a colour for the target; IMG_ERROR_BAD_PARAMETERS when
// the base library refuses the colour.
IMG_ERROR ConvertColor(const IMG_BITMAP *target, const IMG_COLOR *color, IMG_UINT8 array[4]);

}  // namespace draw
}  // namespace imge
