// Facts about the bitmap type flags, shared by both libraries.
#pragma once

#include "libimg.h"

namespace imge {
namespace records {

// Bytes per pixel of a type flag (binary counts 1), or 0 for an unknown type.
inline int BytesPerPixelOf(unsigned type) {
    switch (type) {
        case IMF_BINARY: case IMF_GREY: case IMF_COLORS: return 1;
        case IMF_RGB: case IMF_BGR: return 3;
        case IMF_RGBA: case IMF_ABGR: case IMF_BGRA: case IMF_ARGB: case IMF_CMYK: return 4;
        default: return 0;
    }
}

// Byte positions of red, green, blue (and alpha, -1 if none) within a pixel of
// a true-colour type; false for other types (CMYK included).
struct RgbOrder { int r, g, b, a; };
inline bool RgbOrderOf(unsigned type, RgbOrder *o) {
    switch (type) {
        case IMF_RGB:  *o = {0, 1, 2, -1}; return true;
        case IMF_BGR:  *o = {2, 1, 0, -1}; return true;
        case IMF_RGBA: *o = {0, 1, 2, 3}; return true;
        case IMF_BGRA: *o = {2, 1, 0, 3}; return true;
        case IMF_ARGB: *o = {1, 2, 3, 0}; return true;
        case IMF_ABGR: *o = {3, 2, 1, 0}; return true;
        default: return false;
    }
}

// Bytes of one row of `width` pixels before padding; -1 on overflow.
inline long long RowBytes(unsigned type, long long width) {
    if (type == IMF_BINARY) return (width + 7) / 8;
    return width * BytesPerPixelOf(type);
}

// True when a metadata chain links back to itself (two walkers, one twice as
// fast: they meet only on a loop).
inline bool ChainLoops(const IMF_METADATAENTRY *slow) {
    for (const IMF_METADATAENTRY *fast = slow; fast && fast->Next;) {
        slow = slow->Next;
        fast = fast->Next->Next;
        if (slow == fast) return true;
    }
    return false;
}

// True when a record can be walked safely: a known type whose BytesPerPixel
// matches, non-negative sizes, rows at least as long as their pixels, a total
// size within 31 bits, a pixel buffer whenever there are pixels and a
// metadata chain that ends.
inline bool RecordIsValid(const IMF_BITMAP *b) {
    if (!b || b->Width < 0 || b->Height < 0 || b->BytesPerLine < 0) return false;
    const int bpp = BytesPerPixelOf(b->Type);
    if (bpp == 0) return false;
    if (b->Type != IMF_BINARY && b->BytesPerPixel != bpp) return false;
    if (b->Height > 0 && b->BytesPerLine < RowBytes(b->Type, b->Width)) return false;
    if (b->BytesPerLine != 0 && b->Height > 0x7FFFFFFF / b->BytesPerLine) return false;
    if (b->Width > 0 && b->Height > 0 && !b->Data) return false;
    return !ChainLoops(b->Metadata);
}

}  // namespace records
}  // namespace imge
