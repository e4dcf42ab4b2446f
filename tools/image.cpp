#include "image.h"

#include <cstring>
#include <utility>

#include "libtools.h"

namespace imge {
namespace tool {

void BitmapDeleter::operator()(IMG_BITMAP *b) const { imgFreeBitmap(b); }

Image NewImage(IMG_BITMAP_TYPE type, int width, int height) {
    Image img(imgCreateBitmap(type, width, height));
    if (!img) throw ToolError{"out of memory (" + std::to_string(width) + " x " +
                              std::to_string(height) + " bitmap)"};
    return img;
}

Image CloneImage(const IMG_BITMAP &b) {
    Image img(imgCloneBitmap(&b));
    if (!img) throw ToolError{"out of memory (copying a bitmap)"};
    return img;
}

IMF_BITMAP ImfView(const IMG_BITMAP &b) {
    IMF_BITMAP r;
    std::memset(&r, 0, sizeof r);
    r.Width = b.Width;
    r.Height = b.Height;
    r.BytesPerLine = static_cast<TLong>(b.BytesPerLine);
    r.Type = b.Type;
    r.BytesPerPixel = b.BytesPerPixel;
    r.BitsPerComponent = b.BitsPerComponent;
    r.ComponentsPerPixel = b.ComponentsPerPixel;
    r.Pack = b.LinePadding;
    r.Origin = b.Origin;
    r.Xdpi = b.Xdpi;
    r.Ydpi = b.Ydpi;
    r.ColorUsed = static_cast<TWord>(b.ColorUsed);
    r.TransparentIndex = b.TransparentIndex;
    r.ColorMap = reinterpret_cast<IMF_COLORMAP *>(b.ColorMap);
    r.Data = b.Data;
    r.Metadata = static_cast<IMF_METADATAENTRY *>(b.MetaData);
    r.Comment = b.Comment;
    r.Name = b.Name;
    return r;
}

Image AdoptImf(IMF_BITMAP &rec) {
    // The record goes into a zeroed public record from the base allocator, so
    // that imgFreeBitmap releases record and buffers together.
    auto *b = static_cast<IMG_BITMAP *>(imgMemoryAlloc(sizeof(IMG_BITMAP)));
    if (!b) {
        imfFree(&rec);
        throw ToolError{"out of memory"};
    }
    b->Type = rec.Type;
    b->Origin = rec.Origin;
    b->Width = rec.Width;
    b->Height = rec.Height;
    b->BytesPerLine = static_cast<IMG_UINT32>(rec.BytesPerLine);
    b->LinePadding = rec.Pack;
    b->BitsPerComponent = 8;
    b->ComponentsPerPixel = rec.ComponentsPerPixel;
    b->BytesPerPixel = rec.BytesPerPixel;
    b->Xdpi = static_cast<IMG_UINT16>(rec.Xdpi);
    b->Ydpi = static_cast<IMG_UINT16>(rec.Ydpi);
    b->TransparentIndex = rec.TransparentIndex;
    b->ColorUsed = rec.ColorUsed;
    b->ColorMap = reinterpret_cast<IMG_COLORMAP *>(rec.ColorMap);
    b->Data = rec.Data;
    b->Comment = rec.Comment;
    b->MetaData = rec.Metadata;
    b->Name = rec.Name;
    std::memset(&rec, 0, sizeof rec);
    return Image(b);
}

namespace {

// Byte positions of R, G, B, A (-1: none) in a true-colour pixel.
struct Order {
    int r, g, b, a;
};

bool OrderOf(IMG_BITMAP_TYPE t, Order *o) {
    switch (t) {
    case IMG_RGB: *o = {0, 1, 2, -1}; return true;
    case IMG_BGR: *o = {2, 1, 0, -1}; return true;
    case IMG_RGBA: *o = {0, 1, 2, 3}; return true;
    case IMG_BGRA: *o = {2, 1, 0, 3}; return true;
    case IMG_ARGB: *o = {1, 2, 3, 0}; return true;
    case IMG_ABGR: *o = {3, 2, 1, 0}; return true;
    default: return false;
    }
}

}  // namespace

Image ToCanonical(const IMG_BITMAP &b) {
    const int w = b.Width, h = b.Height;
    Order o;
    if (b.Type == IMG_GREY || b.Type == IMG_RGB || b.Type == IMG_RGBA) return CloneImage(b);
    if (b.Type == IMG_BINARY) {
        Image out = NewImage(IMG_GREY, w, h);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                Row(*out, y)[x] = (Row(b, y)[x >> 3] >> (7 - (x & 7))) & 1 ? 255 : 0;
        return out;
    }
    if (b.Type == IMG_COLORS) {
        const IMF_COLORMAP *map = reinterpret_cast<const IMF_COLORMAP *>(b.ColorMap);
        const bool alpha = map && map->HasAlpha;
        Image out = NewImage(alpha ? IMG_RGBA : IMG_RGB, w, h);
        const int bpp = alpha ? 4 : 3;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const int k = Row(b, y)[x];
                IMG_UINT8 *p = Row(*out, y) + bpp * x;
                p[0] = map ? map->Red[k] : k;
                p[1] = map ? map->Green[k] : k;
                p[2] = map ? map->Blue[k] : k;
                if (alpha) p[3] = map->Alpha[k];
            }
        return out;
    }
    if (b.Type == IMG_CMYK) {
        Image out = NewImage(IMG_RGB, w, h);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const IMG_UINT8 *s = Row(b, y) + 4 * x;
                IMG_UINT8 *d = Row(*out, y) + 3 * x;
                for (int c = 0; c < 3; ++c) {
                    const int v = 255 - s[c] - s[3];
                    d[c] = static_cast<IMG_UINT8>(v < 0 ? 0 : v);
                }
            }
        return out;
    }
    if (!OrderOf(b.Type, &o)) throw ToolError{"bitmap type not supported for saving"};
    const bool alpha = o.a >= 0;
    Image out = NewImage(alpha ? IMG_RGBA : IMG_RGB, w, h);
    const int sb = b.BytesPerPixel, db = alpha ? 4 : 3;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const IMG_UINT8 *s = Row(b, y) + sb * x;
            IMG_UINT8 *d = Row(*out, y) + db * x;
            d[0] = s[o.r];
            d[1] = s[o.g];
            d[2] = s[o.b];
            if (alpha) d[3] = s[o.a];
        }
    return out;
}

namespace {

// Moves the descriptive data (resolution, metadata, comment, name) of `from`
// to `to`.
void MoveExtended(IMG_BITMAP &from, IMG_BITMAP &to) {
    to.Xdpi = from.Xdpi;
    to.Ydpi = from.Ydpi;
    std::swap(to.MetaData, from.MetaData);
    std::swap(to.Comment, from.Comment);
    std::swap(to.Name, from.Name);
}

}  // namespace

Image ToRgb(const IMG_BITMAP &b) {
    Image copy = CloneImage(b);  // the descriptive data, owned
    Image out = ToCanonical(b);
    if (out->Type == IMG_GREY) {
        Image rgb = NewImage(IMG_RGB, b.Width, b.Height);
        for (int y = 0; y < b.Height; ++y)
            for (int x = 0; x < b.Width; ++x) std::memset(Row(*rgb, y) + 3 * x, Row(*out, y)[x], 3);
        out = std::move(rgb);
    }
    MoveExtended(*copy, *out);
    return out;
}

Image GreyIfNeutral(Image b) {
    if (b->Type != IMG_RGB && b->Type != IMG_RGBA) return b;
    const int bpp = b->BytesPerPixel;
    for (int y = 0; y < b->Height; ++y)
        for (int x = 0; x < b->Width; ++x) {
            const IMG_UINT8 *p = Row(*b, y) + bpp * x;
            if (p[0] != p[1] || p[1] != p[2] || (bpp == 4 && p[3] != 255)) return b;
        }
    Image grey = NewImage(IMG_GREY, b->Width, b->Height);
    for (int y = 0; y < b->Height; ++y)
        for (int x = 0; x < b->Width; ++x) Row(*grey, y)[x] = Row(*b, y)[bpp * x];
    MoveExtended(*b, *grey);
    return grey;
}

const char *TypeName(IMG_BITMAP_TYPE type) {
    switch (type) {
    case IMG_BINARY: return "binary";
    case IMG_GREY: return "grey";
    case IMG_COLORS: return "colour-mapped";
    case IMG_RGB: return "RGB";
    case IMG_RGBA: return "RGBA";
    case IMG_BGR: return "BGR";
    case IMG_ABGR: return "ABGR";
    case IMG_BGRA: return "BGRA";
    case IMG_ARGB: return "ARGB";
    case IMG_CMYK: return "CMYK";
    default: return "unknown";
    }
}

}  // namespace tool
}  // namespace imge
