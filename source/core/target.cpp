#include "core/target.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "libtools.h"
#include "records/large_blocks.h"
#include "records/pixel_types.h"

namespace imge {

namespace {

// imfAllockEx for a bitmap whose every pixel the caller writes before
// anything reads it: the same record, but the pixel block is not cleared
// first (only the padding after each row's pixels is), which saves a pass
// over memory that an application's allocator hands back already used.
// 1 on success, 0 (and nothing owned) when refused or memory is short.
TUword AllocateUncleared(IMF_BITMAP *b, TLong type, TLong pack, TLong width, TLong height, TLong bits) {
    // The record of a bitmap without rows, then rows of uncleared memory.
    if (height < 0 || !imfAllockEx(b, type, pack, width, 0, bits)) return 0;
    const long long bpl = b->BytesPerLine;
    if (bpl != 0 && height > INT32_MAX / bpl) {
        imfFree(b);
        return 0;
    }
    const std::size_t total = static_cast<std::size_t>(bpl) * static_cast<std::size_t>(height);
    auto *data = static_cast<TUbyte *>(imge::records::AllocateBlock(total, false));
    if (!data) {
        imfFree(b);
        return 0;
    }
    std::free(b->Data);
    b->Data = data;
    b->Height = height;
    const long long row = imge::records::RowBytes(static_cast<unsigned>(type), width);
    if (row < bpl)
        for (TLong y = 0; y < height; ++y)
            std::memset(data + static_cast<std::size_t>(y) * static_cast<std::size_t>(bpl) + row, 0,
                        static_cast<std::size_t>(bpl - row));
    return 1;
}

}  // namespace

IMF_ERROR NewResult(const IMF_BITMAP *src, IMF_BITMAP *out, const ResultLike &like) {
    const TLong type = like.type < 0 ? src->Type : like.type;
    const TLong width = like.width < 0 ? src->Width : like.width;
    const TLong height = like.height < 0 ? src->Height : like.height;
    if (!(like.uncleared ? AllocateUncleared(out, type, src->Pack, width, height, like.bits)
                         : imfAllockEx(out, type, src->Pack, width, height, like.bits))) {
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
