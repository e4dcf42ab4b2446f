// The public entry frame: every framed img function is one call of Framed()
// with the processing operation to run.
//
//   IMG_ERROR imgBrightness(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 b) {
//       return imge::Framed(src, dst, [&](IMF_BITMAP *s, IMF_BITMAP *d) {
//           return imfBrightness(s, d, nullptr, b); });
//   }
//
// - src null, or BitsPerComponent above 8: IMG_ERROR_BAD_PARAMETERS, nothing
//   looked at or changed (*dst included).
// - dst null or *dst == src: in place; the processing record goes back into
//   src whatever the operation returned, and the result is IMG_NO_ERROR.
// - otherwise a new public record is made for *dst. When the operation fails
//   the new record is released, *dst is left null and the result is
//   IMG_ERROR_NO_MEMORY for IMF_ERRMEMORY, IMG_ERROR_BAD_PARAMETERS otherwise.
#pragma once

#include "records/record_convert.h"
#include <cstring>

#include "libtools.h"

namespace imge {

template <typename Op>
IMG_ERROR Framed(IMG_BITMAP *src, IMG_BITMAP **dst, Op op) {
    if (!src || src->BitsPerComponent > 8) return IMG_ERROR_BAD_PARAMETERS;
    IMF_BITMAP s, d;
    std::memset(&d, 0, sizeof d);
    if (dst && *dst != src) {
        *dst = static_cast<IMG_BITMAP *>(imgMemoryAlloc(sizeof(IMG_BITMAP)));
        if (!*dst) return IMG_ERROR_NO_MEMORY;
        imge::records::ToImf(&s, src);
        IMF_ERROR rc = op(&s, &d);
        if (rc != IMF_NOERROR) {
            imgMemoryFree(*dst);
            *dst = nullptr;
            return rc == IMF_ERRMEMORY ? IMG_ERROR_NO_MEMORY : IMG_ERROR_BAD_PARAMETERS;
        }
        imge::records::ToImg(*dst, &d);
        return IMG_NO_ERROR;
    }
    imge::records::ToImf(&s, src);
    op(&s, static_cast<IMF_BITMAP *>(nullptr));
    imge::records::ToImg(src, &s);
    return IMG_NO_ERROR;
}

}  // namespace imge
