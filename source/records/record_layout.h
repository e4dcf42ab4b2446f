// Compile-time checks that the records keep their documented layout on both
// the 32-bit x86 and the x86-64 ABI: the fields in their order, naturally
// aligned, nothing else. Included by one source file of each library.
#pragma once

#include <cstddef>

#include "libimg.h"

namespace imge {
namespace records {

constexpr std::size_t P = sizeof(void *);
constexpr bool k64 = P == 8;

static_assert(sizeof(IMG_COLORMAP) == 1024, "IMG_COLORMAP");
static_assert(sizeof(IMF_COLORMAP) == 1028, "IMF_COLORMAP");
static_assert(offsetof(IMF_COLORMAP, HasAlpha) == 1024, "IMF_COLORMAP.HasAlpha");
static_assert(sizeof(IMG_COLOR) == 8 && sizeof(IMG_POINT) == 8, "IMG_COLOR / IMG_POINT");
static_assert(sizeof(IMG_FILTER) == 104 && offsetof(IMG_FILTER, Divisor) == 100 &&
                  offsetof(IMG_FILTER, Bias) == 102,
              "IMG_FILTER");
static_assert(sizeof(IMF_RECT) == 16, "IMF_RECT");

static_assert(offsetof(IMF_METADATAENTRY, Marker) == 0 && offsetof(IMF_METADATAENTRY, Length) == 4 &&
                  offsetof(IMF_METADATAENTRY, Data) == 8 &&
                  offsetof(IMF_METADATAENTRY, Next) == (k64 ? 16u : 12u) &&
                  sizeof(IMF_METADATAENTRY) == (k64 ? 24u : 16u),
              "IMF_METADATAENTRY");

static_assert(offsetof(IMG_BITMAP, Type) == 0 && offsetof(IMG_BITMAP, Origin) == 2 &&
                  offsetof(IMG_BITMAP, Width) == 4 && offsetof(IMG_BITMAP, Height) == 8 &&
                  offsetof(IMG_BITMAP, BytesPerLine) == 12 && offsetof(IMG_BITMAP, LinePadding) == 16 &&
                  offsetof(IMG_BITMAP, BitsPerComponent) == 18 &&
                  offsetof(IMG_BITMAP, ComponentsPerPixel) == 20 &&
                  offsetof(IMG_BITMAP, BytesPerPixel) == 22 && offsetof(IMG_BITMAP, Xdpi) == 24 &&
                  offsetof(IMG_BITMAP, Ydpi) == 26 && offsetof(IMG_BITMAP, TransparentIndex) == 28 &&
                  offsetof(IMG_BITMAP, Reserved) == 30 && offsetof(IMG_BITMAP, ColorUsed) == 32,
              "IMG_BITMAP head");
static_assert(offsetof(IMG_BITMAP, ColorMap) == (k64 ? 40u : 36u) &&
                  offsetof(IMG_BITMAP, Data) == (k64 ? 48u : 40u) &&
                  offsetof(IMG_BITMAP, Comment) == (k64 ? 56u : 44u) &&
                  offsetof(IMG_BITMAP, MetaData) == (k64 ? 64u : 48u) &&
                  offsetof(IMG_BITMAP, XOffset) == (k64 ? 72u : 52u) &&
                  offsetof(IMG_BITMAP, YOffset) == (k64 ? 76u : 56u) &&
                  offsetof(IMG_BITMAP, Name) == (k64 ? 80u : 60u) &&
                  sizeof(IMG_BITMAP) == (k64 ? 88u : 64u),
              "IMG_BITMAP tail");

static_assert(offsetof(IMF_BITMAP, Width) == 0 && offsetof(IMF_BITMAP, Height) == 4 &&
                  offsetof(IMF_BITMAP, BytesPerLine) == 8 && offsetof(IMF_BITMAP, Type) == 12 &&
                  offsetof(IMF_BITMAP, BytesPerPixel) == 14 &&
                  offsetof(IMF_BITMAP, BitsPerComponent) == 16 &&
                  offsetof(IMF_BITMAP, ComponentsPerPixel) == 18 && offsetof(IMF_BITMAP, Pack) == 20 &&
                  offsetof(IMF_BITMAP, Origin) == 22 && offsetof(IMF_BITMAP, Xdpi) == 24 &&
                  offsetof(IMF_BITMAP, Ydpi) == 28 && offsetof(IMF_BITMAP, ColorUsed) == 32 &&
                  offsetof(IMF_BITMAP, TransparentIndex) == 34,
              "IMF_BITMAP head");
static_assert(offsetof(IMF_BITMAP, ColorMap) == (k64 ? 40u : 36u) &&
                  offsetof(IMF_BITMAP, Data) == (k64 ? 48u : 40u) &&
                  offsetof(IMF_BITMAP, Metadata) == (k64 ? 56u : 44u) &&
                  offsetof(IMF_BITMAP, Comment) == (k64 ? 64u : 48u) &&
                  offsetof(IMF_BITMAP, Xoffset) == (k64 ? 72u : 52u) &&
                  offsetof(IMF_BITMAP, Yoffset) == (k64 ? 76u : 56u) &&
                  offsetof(IMF_BITMAP, Name) == (k64 ? 80u : 60u) &&
                  sizeof(IMF_BITMAP) == (k64 ? 88u : 64u),
              "IMF_BITMAP tail");

}  // namespace records
}  // namespace imge
