// Processing records: allocation, release, extended data, copies, clipping,
// 1-bit rows; and the public records built on them.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "large_blocks.h"
#include "libtools.h"
#include "owned_data.h"
#include "pixel_types.h"
#include "record_convert.h"
#include "record_layout.h"

using imgbase::CopyColorMap;
using imgbase::CopyMetadata;
using imgbase::CopyString;
using imgbase::FreeMetadata;
using imgbase::PixelBytes;

namespace {

int ComponentsOf(unsigned type) {
    return type == IMF_BINARY ? 1 : imge::records::BytesPerPixelOf(type);
}

void FreeExtended(IMF_BITMAP *b) {
    std::free(b->Comment);
    std::free(b->Name);
    FreeMetadata(b->Metadata);
    b->Comment = nullptr;
    b->Name = nullptr;
    b->Metadata = nullptr;
}

}  // namespace

extern "C" {

// Rows are padded to a multiple of `pack` bytes (values below 1 count as 1).
// Binary rows hold (width + 7) / 8 bytes, most significant bit first. The
// pixels are zero; colour-mapped bitmaps get a zeroed palette of their own.
TUword imfAllockEx(IMF_BITMAP *b, TLong type, TLong pack, TLong width, TLong height,
                   TLong bits_per_component) {
    if (!b) return 0;
    std::memset(b, 0, sizeof *b);
    int bpp = imge::records::BytesPerPixelOf(static_cast<unsigned>(type));
    if (bpp == 0 || width < 0 || height < 0) return 0;
    if (bits_per_component != 0 && bits_per_component != 8 &&
        !(bits_per_component == 1 && type == IMF_BINARY))
        return 0;
    if (pack < 1) pack = 1;
    if (pack > INT16_MAX) return 0;
    long long row = imge::records::RowBytes(static_cast<unsigned>(type), width);
    long long bpl = (row + pack - 1) / pack * pack;
    if (bpl > INT32_MAX) return 0;
    long long total = PixelBytes(height, bpl);
    if (total < 0) return 0;

    auto *data = static_cast<TUbyte *>(imge::records::AllocateBlock(static_cast<std::size_t>(total), true));
    if (!data) return 0;
    IMF_COLORMAP *map = nullptr;
    if (type == IMF_COLORS) {
        map = static_cast<IMF_COLORMAP *>(std::calloc(1, sizeof(IMF_COLORMAP)));
        if (!map) { std::free(data); return 0; }
    }
    b->Width = width;
    b->Height = height;
    b->BytesPerLine = static_cast<TLong>(bpl);
    b->Type = static_cast<TUword>(type);
    b->BytesPerPixel = static_cast<TUword>(bpp);
    b->BitsPerComponent = type == IMF_BINARY ? 1 : 8;
    b->ComponentsPerPixel = static_cast<TUword>(ComponentsOf(static_cast<unsigned>(type)));
    b->Pack = static_cast<TWord>(pack);
    b->Origin = IMF_TOP_LEFT;
    b->ColorUsed = (type == IMF_GREY || type == IMF_COLORS) ? 256 : (type == IMF_BINARY ? 2 : 0);
    b->TransparentIndex = -1;
    b->ColorMap = map;
    b->Data = data;
    return 1;
}

TUword imfAllock(IMF_BITMAP *b, TLong type, TLong pack, TLong width, TLong height) {
    return imfAllockEx(b, type, pack, width, height, 0);
}

void imfFree(IMF_BITMAP *b) {
    if (!b) return;
    std::free(b->Data);
    std::free(b->ColorMap);
    b->Data = nullptr;
    b->ColorMap = nullptr;
    FreeExtended(b);
}

// Copies, never shares: after imfCopyExtendedData(dst, src) and imfFree(src)
// everything dst points to is still valid.
IMF_ERROR imfCopyExtendedData(IMF_BITMAP *dst, const IMF_BITMAP *src) {
    if (!dst || !src) return IMF_ERRBADPARAMS;
    if (dst == src) return IMF_NOERROR;
    if (imge::records::ChainLoops(src->Metadata)) return IMF_ERRBADBITMAP;
    char *comment, *name;
    IMF_METADATAENTRY *meta;
    bool ok_c = CopyString(src->Comment, &comment);
    bool ok_n = CopyString(src->Name, &name);
    bool ok_m = CopyMetadata(src->Metadata, &meta);
    FreeExtended(dst);
    dst->Origin = src->Origin;
    dst->Xdpi = src->Xdpi;
    dst->Ydpi = src->Ydpi;
    dst->Xoffset = src->Xoffset;
    dst->Yoffset = src->Yoffset;
    if (!(ok_c && ok_n && ok_m)) {
        std::free(comment);
        std::free(name);
        FreeMetadata(meta);
        return IMF_ERRMEMORY;
    }
    dst->Comment = comment;
    dst->Name = name;
    dst->Metadata = meta;
    return IMF_NOERROR;
}

TUword imfGetClippingRect(const IMF_BITMAP *b, const IMF_RECT *area, IMF_RECT *rect) {
    if (!b || !rect || b->Width < 0 || b->Height < 0) return 1;
    if (!area) {
        *rect = IMF_RECT{0, 0, b->Width, b->Height};
        return 0;
    }
    if (area->left < 0 || area->top < 0 || area->width < 0 || area->height < 0) return 1;
    if (static_cast<long long>(area->left) + area->width > b->Width) return 1;
    if (static_cast<long long>(area->top) + area->height > b->Height) return 1;
    *rect = *area;
    return 0;
}

int imfGetBitAtBuffer(const TUbyte *row, TLong x) {
    return (row[x >> 3] >> (7 - (x & 7))) & 1;
}

void imfCleanAndSetBitAtBuffer(TUbyte *row, TLong x, int value) {
    TUbyte mask = static_cast<TUbyte>(0x80u >> (x & 7));
    row[x >> 3] = static_cast<TUbyte>(value ? (row[x >> 3] | mask) : (row[x >> 3] & ~mask));
}

// A new bitmap holding the area of src (null: all of it), with src's
// palette, ColorUsed, TransparentIndex and extended data.
IMF_ERROR imfCopy(const IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    if (!src || !dst || !src->Data || !imge::records::RecordIsValid(src)) return IMF_ERRBADPARAMS;
    IMF_RECT r;
    if (imfGetClippingRect(src, area, &r)) return IMF_ERRBADPARAMS;
    IMF_BITMAP out;
    if (!imfAllock(&out, src->Type, src->Pack, r.width, r.height)) return IMF_ERRMEMORY;
    if (src->ColorMap && out.ColorMap) std::memcpy(out.ColorMap, src->ColorMap, sizeof(IMF_COLORMAP));
    out.ColorUsed = src->ColorUsed;
    out.TransparentIndex = src->TransparentIndex;
    if (imfCopyExtendedData(&out, src) != IMF_NOERROR) {
        imfFree(&out);
        return IMF_ERRMEMORY;
    }
    for (TLong y = 0; y < r.height; ++y) {
        const TUbyte *s = src->Data + static_cast<long long>(r.top + y) * src->BytesPerLine;
        TUbyte *d = out.Data + static_cast<long long>(y) * out.BytesPerLine;
        if (src->Type == IMF_BINARY) {
            for (TLong x = 0; x < r.width; ++x) imfCleanAndSetBitAtBuffer(d, x, imfGetBitAtBuffer(s, r.left + x));
        } else {
            std::memcpy(d, s + static_cast<long long>(r.left) * src->BytesPerPixel,
                        static_cast<std::size_t>(r.width) * src->BytesPerPixel);
        }
    }
    *dst = out;
    return IMF_NOERROR;
}

// ---- Public records --------------------------------------------------------

IMG_BITMAP *imgCreateBitmap(IMG_BITMAP_TYPE type, IMG_INT32 width, IMG_INT32 height) {
    IMF_BITMAP b;
    if (!imfAllock(&b, type, 1, width, height)) return nullptr;
    auto *img = static_cast<IMG_BITMAP *>(imgMemoryAlloc(sizeof(IMG_BITMAP)));
    if (!img) {
        imfFree(&b);
        return nullptr;
    }
    imge::records::ToImg(img, &b);
    img->ComponentsPerPixel = b.ComponentsPerPixel;
    img->BitsPerComponent = b.BitsPerComponent;
    return img;
}

void imgFreeBitmap(IMG_BITMAP *img) {
    if (!img) return;
    std::free(img->Data);
    std::free(img->ColorMap);
    std::free(img->Comment);
    std::free(img->Name);
    FreeMetadata(static_cast<IMF_METADATAENTRY *>(img->MetaData));
    imgMemoryFree(img);
}

IMG_BITMAP *imgCloneBitmap(const IMG_BITMAP *src) {
    if (!src || src->Height < 0) return nullptr;
    long long total = PixelBytes(src->Height, src->BytesPerLine);
    if (total < 0 || (total > 0 && !src->Data)) return nullptr;
    if (imge::records::ChainLoops(static_cast<const IMF_METADATAENTRY *>(src->MetaData))) return nullptr;
    auto *img = static_cast<IMG_BITMAP *>(imgMemoryAlloc(sizeof(IMG_BITMAP)));
    if (!img) return nullptr;
    *img = *src;
    img->Data = nullptr;
    img->ColorMap = nullptr;
    img->Comment = nullptr;
    img->Name = nullptr;
    img->MetaData = nullptr;
    IMF_COLORMAP *map;
    IMF_METADATAENTRY *meta;
    bool ok = CopyColorMap(src->ColorMap, &map);
    img->ColorMap = reinterpret_cast<IMG_COLORMAP *>(map);
    ok = CopyString(src->Comment, &img->Comment) && ok;
    ok = CopyString(src->Name, &img->Name) && ok;
    ok = CopyMetadata(static_cast<const IMF_METADATAENTRY *>(src->MetaData), &meta) && ok;
    img->MetaData = meta;
    img->Data = static_cast<IMG_UINT8 *>(imge::records::AllocateBlock(static_cast<std::size_t>(total), false));
    if (!ok || !img->Data) {
        imgFreeBitmap(img);
        return nullptr;
    }
    if (total) std::memcpy(img->Data, src->Data, static_cast<std::size_t>(total));
    return img;
}

}  // extern "C"
