#include "lut/lut_engine.h"

#include <cstring>

#include "core/bitmap_check.h"
#include "core/target.h"
#include "core/lut_rows.h"

namespace imge {
namespace lut {
namespace {

bool IsComplement(const TUbyte *t) {
    for (int v = 0; v < 256; ++v)
        if (t[v] != 255 - v) return false;
    return true;
}

bool IsIdentity(const TUbyte *t) {
    for (int v = 0; v < 256; ++v)
        if (t[v] != v) return false;
    return true;
}

// Palette of a colour-mapped target: src's whole map copied in, then entries
// 0..ColorUsed-1 of Red, Green, Blue through t0, t1, t2.
void MapPalette(const IMF_BITMAP *src, IMF_BITMAP *target, const TUbyte *t0, const TUbyte *t1,
                const TUbyte *t2) {
    IMF_COLORMAP *map = target->ColorMap;
    if (map != src->ColorMap) std::memcpy(map, src->ColorMap, sizeof(IMF_COLORMAP));
    const int n = PaletteEntries(src);
    for (int k = 0; k < n; ++k) {
        map->Red[k] = t0[map->Red[k]];
        map->Green[k] = t1[map->Green[k]];
        map->Blue[k] = t2[map->Blue[k]];
    }
}

// Pixels of the rectangle through the tables (one table: t0 == t1 == t2).
void MapPixels(IMF_BITMAP *b, const IMF_RECT &r, const TUbyte *t0, const TUbyte *t1, const TUbyte *t2) {
    if (r.width <= 0 || r.height <= 0) return;
    const int bpp = b->BytesPerPixel;
    const bool single = t0 == t1 && t1 == t2;
    const bool invert = single && IsComplement(t0);
    if (single && IsIdentity(t0)) return;
    for (TLong y = r.top; y < r.top + r.height; ++y) {
        uint8_t *row = b->Data + static_cast<long long>(y) * b->BytesPerLine +
                       static_cast<long long>(r.left) * bpp;
        const std::size_t n = static_cast<std::size_t>(r.width);
        if (bpp == 4) {
            if (invert) InvertQuads(row, n);
            else if (single) LutQuadsOne(row, n, t0);
            else LutQuadsThree(row, n, t0, t1, t2);
        } else if (single) {
            if (invert) InvertBytes(row, n * bpp);
            else LutBytesOne(row, n * bpp, t0);
        } else if (bpp == 3) {
            LutTriplesThree(row, n, t0, t1, t2);
        } else {
            LutBytes(row, n, t0);  // one-byte pixels use table 0
        }
    }
}

}  // namespace

void RescaleGreyTable(TUbyte table[256], int n) {
    TUbyte scaled[256] = {0};
    for (int i = 0; i < n; ++i) {
        int j = (i * 255) / (n - 1);
        scaled[i] = static_cast<TUbyte>((table[j] * (n - 1)) / 255);
    }
    std::memcpy(table, scaled, sizeof scaled);
}

// Grey bitmaps whose ColorUsed is below 2 or above 256 are taken to hold
// 256 levels: the table is used as it is.
IMF_ERROR ApplyLut(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TUbyte table[256]) {
    if (!BitmapIsValid(src) || src->Type == IMF_BINARY) return IMF_ERRBADBITMAP;
    if (src->Type == IMF_COLORS && !src->ColorMap) return IMF_ERRBADBITMAP;
    IMF_BITMAP *target;
    IMF_RECT rect;
    IMF_ERROR rc = PrepareTarget(src, dst, area, false, &target, &rect);
    if (rc != IMF_NOERROR) return rc;
    if (target->Type == IMF_GREY && target->ColorUsed != 256 && target->ColorUsed >= 2 &&
        target->ColorUsed < 256)
        RescaleGreyTable(table, target->ColorUsed);
    if (target->Type == IMF_COLORS)
        MapPalette(src, target, table, table, table);
    else
        MapPixels(target, rect, table, table, table);
    return IMF_NOERROR;
}

IMF_ERROR ApplyLutMore(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, const TUbyte tables[768]) {
    if (!BitmapIsValid(src) || src->Type == IMF_BINARY) return IMF_ERRBADBITMAP;
    if (src->Type == IMF_COLORS && !src->ColorMap) return IMF_ERRBADBITMAP;
    IMF_BITMAP *target;
    IMF_RECT rect;
    IMF_ERROR rc = PrepareTarget(src, dst, area, true, &target, &rect);
    if (rc != IMF_NOERROR) return rc;
    if (target->Type == IMF_COLORS)
        MapPalette(src, target, tables, tables + 256, tables + 512);
    else
        MapPixels(target, rect, tables, tables + 256, tables + 512);
    return IMF_NOERROR;
}

}  // namespace lut
}  // namespace imge
