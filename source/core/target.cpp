#include "core/target.h"

#include <cstring>

#include "libtools.h"
#include "records/pixel_types.h"

namespace imge {

IMF_ERROR NewResult(const IMF_BITMAP *src, IMF_BITMAP *out, const ResultLike &like) {
    if (!imfAllockEx(out, like.type < 0 ? src->Type : like.type, src->Pack, like.width < 0 ? src->Width : like.width,
                     like.height < 0 ? src->Height : like.height, like.bits)) {
        std::memset(out, 0, sizeof *out);
        return IMF_ERRMEMORY;
    }
    if (like.pixels) CopyPixels(src, out);
    if (like.palette && src->ColorMap && out->ColorMap)
        std::memcpy(out->ColorMap, src->ColorMap, sizeof(IMF_COLORMAP));
    out->ColorUsed = src->ColorUsed;
    out->TransparentIndex = like.transparent ? src->TransparentIndex : -1;
    if (imfCopyExtendedData(out, src) != IMF_NOERROR) {
        imfFree(out);
        std::memset(out, 0, sizeof *out);
        return IMF_ERRMEMORY;
    }
    return IMF_NOERROR;
}

void CopyPixels(const IMF_BITMAP *src, IMF_BITMAP *dst) {
    long long row = imge::records::RowBytes(src->Type, src->Width);
    if (row <= 0) return;
    if (src->BytesPerLine == dst->BytesPerLine) {
        std::memcpy(dst->Data, src->Data, static_cast<std::size_t>(src->BytesPerLine) * src->Height);
        return;
    }
    for (TLong y = 0; y < src->Height; ++y)
        std::memcpy(dst->Data + static_cast<long long>(y) * dst->BytesPerLine,
                    src->Data + static_cast<long long>(y) * src->BytesPerLine, static_cast<std::size_t>(row));
}

IMF_ERROR PrepareTarget(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, bool copy_palette,
                        IMF_BITMAP **target, IMF_RECT *rect) {
    if (imfGetClippingRect(src, area, rect)) return IMF_ERRBADPARAMS;
    if (!dst || dst == src) {  // the source as its own destination: in place
        *target = src;
        return IMF_NOERROR;
    }
    ResultLike like;
    like.palette = copy_palette;
    like.pixels = like.transparent = true;
    IMF_ERROR rc = NewResult(src, dst, like);
    if (rc != IMF_NOERROR) return rc;
    *target = dst;
    return IMF_NOERROR;
}

void HandOver(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_BITMAP *fresh) {
    if (dst && dst != src) {
        *dst = *fresh;
        return;
    }
    imfFree(src);
    *src = *fresh;
}

}  // namespace imge
