// Geometry: resize, crop, rotate and flip, and convert (no pixel change).
// Like the lossless jpeg-* operations they act on the picture as a viewer
// shows it: a picture whose EXIF orientation is not 1 is first turned
// upright, and the result is stored upright with orientation 1. The EXIF
// thumbnail, which would show the old picture, is removed; saving rewrites
// the EXIF pixel dimensions. Every bitmap type the tool loads keeps its type
// (palette and black-and-white pictures are resized through RGB, as their
// indices and bits cannot be averaged).
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "libtools.h"
#include "op_table.h"

namespace imge {
namespace tool {

namespace {

constexpr long kMaxSide = 65535;

IMF_METADATAENTRY *ExifOf(const IMG_BITMAP &b) {
    for (auto *e = static_cast<IMF_METADATAENTRY *>(b.MetaData); e; e = e->Next)
        if (e->Marker == IMF_EXIF_METADATA && e->Data) return e;
    return nullptr;
}

int OrientationOf(const IMG_BITMAP &b) {
    int o = 1;
    const IMF_METADATAENTRY *e = ExifOf(b);
    return e && EXIFGetOrientation(e, &o) && o >= 1 && o <= 8 ? o : 1;
}

// Unlinks the thumbnail's directory (IFD1) from IFD0 of an EXIF block
// ("Exif\0\0" and TIFF, or TIFF alone): viewers then find no thumbnail.
void DropThumbnail(IMF_METADATAENTRY &e) {
    auto *t = static_cast<std::uint8_t *>(e.Data);
    size_t n = e.Length > 0 ? static_cast<size_t>(e.Length) : 0;
    if (n >= 6 && std::memcmp(t, "Exif\0\0", 6) == 0) t += 6, n -= 6;
    if (n < 8 || (std::memcmp(t, "II*\0", 4) != 0 && std::memcmp(t, "MM\0*", 4) != 0)) return;
    const bool big = t[0] == 'M';
    auto u16 = [&](size_t at) { return big ? size_t(t[at]) << 8 | t[at + 1] : size_t(t[at + 1]) << 8 | t[at]; };
    const size_t ifd0 = big ? u16(4) << 16 | u16(6) : u16(6) << 16 | u16(4);
    if (ifd0 > n - 2) return;
    const size_t link = ifd0 + 2 + 12 * u16(ifd0);
    if (link <= n - 4) std::memset(t + link, 0, 4);
}

// The result of a geometry change: upright, no thumbnail.
Image Settled(Image b) {
    if (IMF_METADATAENTRY *e = ExifOf(*b)) {
        int o = 0;
        if (EXIFGetOrientation(e, &o) && o != 1) EXIFSetOrientation(e, 1);
        DropThumbnail(*e);
    }
    return b;
}

Image Adopt(IMF_ERROR rc, IMF_BITMAP &rec, const std::string &op) {
    if (rc != IMF_NOERROR) {
        imfFree(&rec);
        throw ToolError{op + ": " + ImfErrorText(rc)};
    }
    return AdoptImf(rec);
}

// The pixels turned as EXIF orientation `o` (1..8) says to show them
// upright: 6 turns 90 degrees clockwise, 3 by 180, 8 by 270, 2 mirrors left
// and right, 4 top and bottom. Type, palette and descriptive data are kept
// (the resolution follows a quarter turn).
Image Turned(const IMG_BITMAP &src, int o) {
    const IMF_BITMAP view = ImfView(src);
    const bool swap = o >= 5;
    const long w = src.Width, h = src.Height;
    IMF_BITMAP out;
    if (!imfAllock(&out, view.Type, 1, swap ? h : w, swap ? w : h)) throw ToolError{"out of memory"};
    if (view.ColorMap && out.ColorMap) std::memcpy(out.ColorMap, view.ColorMap, sizeof(IMF_COLORMAP));
    out.ColorUsed = view.ColorUsed;
    out.TransparentIndex = view.TransparentIndex;
    if (imfCopyExtendedData(&out, &view) != IMF_NOERROR) {
        imfFree(&out);
        throw ToolError{"out of memory"};
    }
    if (swap) std::swap(out.Xdpi, out.Ydpi);
    const bool bits = view.Type == IMF_BINARY;
    const size_t bpp = view.BytesPerPixel;
    for (long y = 0; y < out.Height; ++y) {
        TUbyte *d = out.Data + static_cast<size_t>(y) * out.BytesPerLine;
        for (long x = 0; x < out.Width; ++x) {
            long sx = x, sy = y;
            switch (o) {
            case 2: sx = w - 1 - x; break;
            case 3: sx = w - 1 - x, sy = h - 1 - y; break;
            case 4: sy = h - 1 - y; break;
            case 5: sx = y, sy = x; break;
            case 6: sx = y, sy = h - 1 - x; break;
            case 7: sx = w - 1 - y, sy = h - 1 - x; break;
            case 8: sx = w - 1 - y, sy = x; break;
            default: break;
            }
            const TUbyte *s = Row(src, static_cast<int>(sy));
            if (bits) imfCleanAndSetBitAtBuffer(d, x, imfGetBitAtBuffer(s, sx));
            else std::memcpy(d + bpp * x, s + bpp * sx, bpp);
        }
    }
    return AdoptImf(out);
}

// The picture as shown: `src` itself, or when its EXIF orientation is not 1
// a copy turned upright (orientation 1) that `keep` holds.
const IMG_BITMAP &Shown(const IMG_BITMAP &src, Image &keep) {
    const int o = OrientationOf(src);
    if (o == 1) return src;
    keep = Turned(src, o);
    EXIFSetOrientation(ExifOf(*keep), 1);
    return *keep;
}

IMG_ERROR Give(Image result, IMG_BITMAP **dst) {
    *dst = Settled(std::move(result)).release();
    return IMG_NO_ERROR;
}

// ---- resize --------------------------------------------------------------------

// "WxH" with both sides 1..65535; false otherwise.
bool ParseBox(const std::string &s, long *w, long *h) {
    int used = 0;
    return std::sscanf(s.c_str(), "%ldx%ld%n", w, h, &used) == 2 && used == static_cast<int>(s.size()) &&
           *w >= 1 && *h >= 1 && *w <= kMaxSide && *h <= kMaxSide;
}

void CheckResize(const Args &a) {
    long w, h;
    const bool side = a.Int("width") || a.Int("height"), scale = a.Real("scale") > 0, fit = a.Text("fit") != "none";
    if (side + scale + fit != 1)
        throw ToolError{"resize: give --width and/or --height, or --scale, or --fit (one of them)"};
    if (fit && !ParseBox(a.Text("fit"), &w, &h))
        throw ToolError{"resize: --fit '" + a.Text("fit") + "': expected WIDTHxHEIGHT, e.g. 800x600"};
}

long Side(double v) { return std::max(1L, std::lround(v)); }

// The new size of a w x h picture.
void Target(const Args &a, long w, long h, long *tw, long *th) {
    long bw, bh;
    if (ParseBox(a.Text("fit"), &bw, &bh)) {
        const double s = std::min(static_cast<double>(bw) / w, static_cast<double>(bh) / h);
        *tw = std::min(bw, Side(w * s));
        *th = std::min(bh, Side(h * s));
    } else if (a.Real("scale") > 0) {
        *tw = Side(w * a.Real("scale") / 100);
        *th = Side(h * a.Real("scale") / 100);
    } else {
        *tw = a.Int("width"), *th = a.Int("height");
        if (!*th) *th = Side(static_cast<double>(h) * *tw / w);
        if (!*tw) *tw = Side(static_cast<double>(w) * *th / h);
    }
    if (*tw > kMaxSide || *th > kMaxSide)
        throw ToolError{"resize: the result would be " + std::to_string(*tw) + " x " + std::to_string(*th) +
                        " (at most " + std::to_string(kMaxSide) + " a side)"};
}

IMG_ERROR Resize(const Args &a, IMG_BITMAP *src, IMG_BITMAP **dst) {
    Image keep;
    const IMG_BITMAP *up = &Shown(*src, keep);
    long tw, th;
    Target(a, up->Width, up->Height, &tw, &th);
    if (up->Type == IMG_COLORS || up->Type == IMG_BINARY) {
        keep = GreyIfNeutral(ToRgb(*up));
        up = keep.get();
    }
    IMF_BITMAP view = ImfView(*up), out;
    std::memset(&out, 0, sizeof out);
    return Give(Adopt(imfResize(&view, &out, tw, th, 0), out, "resize"), dst);
}

// ---- crop ----------------------------------------------------------------------

IMG_ERROR Crop(const Args &a, IMG_BITMAP *src, IMG_BITMAP **dst) {
    Image keep;
    const IMG_BITMAP *up = &Shown(*src, keep);
    const long x = a.Int("x"), y = a.Int("y");
    if (x >= up->Width || y >= up->Height)
        throw ToolError{"crop: the corner " + std::to_string(x) + "," + std::to_string(y) + " lies outside the " +
                        std::to_string(up->Width) + " x " + std::to_string(up->Height) + " picture"};
    // A rectangle reaching beyond the picture is cut at its edges.
    const IMF_RECT area{static_cast<TLong>(x), static_cast<TLong>(y),
                        static_cast<TLong>(std::min<long>(a.Int("width"), up->Width - x)),
                        static_cast<TLong>(std::min<long>(a.Int("height"), up->Height - y))};
    IMF_BITMAP view = ImfView(*up), out;
    std::memset(&out, 0, sizeof out);
    return Give(Adopt(imfCopy(&view, &out, &area), out, "crop"), dst);
}

}  // namespace

std::vector<Op> GeometryOps() {
    return {
        WithCheck(Public("resize",
                         "Resizes the picture as shown: area averaging when reducing, Catmull-Rom when enlarging",
                         {IntP("width", 0, 0, kMaxSide, "new width; alone, the height keeps the aspect ratio"),
                          IntP("height", 0, 0, kMaxSide, "new height; alone, the width keeps the aspect ratio"),
                          RealP("scale", 0, 0, 10000, "both sides in percent of the original"),
                          Param{"fit", Kind::Text, "none", 0, 0,
                                "WxH: the largest size inside this box, aspect ratio kept", ""}},
                         Resize, "--width 160"),
                  CheckResize),
        Public("crop", "Cuts a rectangle out of the picture as shown (cut at the picture's edges)",
               {IntP("x", 0, 0, kMaxSide, "left edge"), IntP("y", 0, 0, kMaxSide, "top edge"),
                Required(IntP("width", 1, 1, kMaxSide, "width in pixels")),
                Required(IntP("height", 1, 1, kMaxSide, "height in pixels"))},
               Crop, "--x 60 --y 40 --width 200 --height 150"),
        Public("rotate", "Turns the picture as shown clockwise",
               {ChoiceP("by", "90", "90=6|180=3|270=8", "degrees clockwise")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   Image keep;
                   return Give(Turned(Shown(*s, keep), static_cast<int>(a.Int("by"))), d);
               },
               "--by 90"),
        Public("flip", "Mirrors the picture as shown",
               {ChoiceP("direction", "horizontal", "horizontal=2|vertical=4",
                        "horizontal: left-right, vertical: top-bottom")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   Image keep;
                   return Give(Turned(Shown(*s, keep), static_cast<int>(a.Int("direction"))), d);
               },
               "--direction horizontal"),
        Public("convert",
               "Writes the picture unchanged in the output's format (pixels, orientation and metadata kept)", {},
               [](const Args &, IMG_BITMAP *s, IMG_BITMAP **d) {
                   *d = CloneImage(*s).release();
                   return IMG_NO_ERROR;
               }),
    };
}

}  // namespace tool
}  // namespace imge
