// Differential fuzzing of the drawing functions: random shapes with
// coordinates near the bitmap, far outside it and at the ends of the 32-bit
// range, every pen width and style (the refused ones too), null colours,
// every type and origin, drawing in place or into a new bitmap.
//
// Where the plain drawing reference is valid for the coordinates (it holds
// its products in 32 or 64 bits) the pixels must equal it byte for byte;
// everywhere the call must not crash, leak or touch memory outside the
// bitmap, a refused call must change nothing (*bdst included) and drawing
// into a new bitmap must leave the source alone.
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_support.h"
#include "libimge.h"
#include "reference/draw_reference.h"

namespace {

using fuzz::OwnedImg;

// A coordinate: near the bitmap, moderately far, or anywhere in 32 bits.
int32_t Coord(fuzz::Input &in, int extent, int *reach) {
    switch (in.Byte() % 8) {
        case 0: {
            *reach = 3;
            return in.I32();
        }
        case 1: {
            static const int32_t kEdges[] = {INT32_MIN, INT32_MAX, INT32_MIN + 1, INT32_MAX - 1, 1 << 30, -(1 << 30),
                                             65536, -65536};
            *reach = 3;
            return in.Pick(kEdges);
        }
        case 2: {
            *reach = *reach < 1 ? 1 : *reach;
            return in.Range(-3000, 3000);
        }
        default: return in.Range(-extent - 2, 2 * extent + 2);
    }
}

struct Pen {
    IMG_COLOR line{}, fill{};
    IMG_UINT8 line_bytes[4]{}, fill_bytes[4]{};
    bool has_line = true, has_fill = true;
    IMG_UINT32 width = 1, style = 0;
};

Pen MakePen(fuzz::Input &in) {
    Pen p;
    auto comp = [&in]() { return static_cast<IMG_UINT16>(in.Byte() % 8 == 0 ? in.U32() & 0xFFFF : in.Byte()); };
    p.line = {comp(), comp(), comp(), comp()};
    p.fill = {comp(), comp(), comp(), comp()};
    p.has_line = in.Byte() % 5 != 0;
    p.has_fill = in.Byte() % 4 != 0;
    static const IMG_UINT32 kWidths[] = {0, 1, 1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 200, 0xFFFFFFFFu};
    p.width = in.Pick(kWidths);
    const int s = in.Byte();
    p.style = s < 230 ? static_cast<IMG_UINT32>(s % 5) : s < 250 ? 5u + s % 3 : in.U32();
    return p;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::Input in(data, size);
    static const unsigned kTypes[] = {IMG_GREY, IMG_COLORS, IMG_RGB,  IMG_BGR, IMG_RGBA,
                                      IMG_ABGR, IMG_BGRA,   IMG_ARGB, IMG_CMYK, IMG_BINARY};
    const unsigned type = in.Pick(kTypes);
    const int w = fuzz::Side(in, 40), h = fuzz::Side(in, 40);
    OwnedImg src;
    fuzz::MakeImg(in, type, w, h, &src);
    if (!src.b) return 0;
    if (in.Byte() % 16 == 0) src.b->BitsPerComponent = 16;
    IMG_BITMAP *b = src.b;

    Pen pen = MakePen(in);
    const bool deep = b->BitsPerComponent > 8;
    bool colours_ok = true;
    if (!deep && type != IMG_BINARY) {
        if (pen.has_line) colours_ok &= imgGetColorArray(b, &pen.line, pen.line_bytes) == IMG_NO_ERROR;
        if (pen.has_fill) colours_ok &= imgGetColorArray(b, &pen.fill, pen.fill_bytes) == IMG_NO_ERROR;
    }
    const IMG_COLOR *line = pen.has_line ? &pen.line : nullptr;
    const IMG_COLOR *fill = pen.has_fill ? &pen.fill : nullptr;
    const IMG_UINT8 *line_bytes = pen.has_line ? pen.line_bytes : nullptr;
    const IMG_UINT8 *fill_bytes = pen.has_fill ? pen.fill_bytes : nullptr;
    const IMG_UINT32 drawn_style = pen.width >= 2 ? 0 : pen.style;
    bool refuse = deep || type == IMG_BINARY || !colours_ok;

    // The reference, drawn first into a clone (null when it does not apply).
    OwnedImg expect;
    expect.b = imgCloneBitmap(b);
    if (!expect.b) fuzz::Fail("imgCloneBitmap failed");
    int reach = 0;  // 0 near, 1 within +-3000, 3 anywhere
    const fuzz::ImgSnapshot before(*b);
    IMG_BITMAP *dst = nullptr;
    IMG_BITMAP **bdst = in.Byte() % 3 == 0 ? &dst : nullptr;
    IMG_ERROR rc = IMG_NO_ERROR;
    bool compare = false;
    const int shape = fuzz::Pinned(in.Range(0, 5), fuzz::Steer().op);
    switch (shape) {
        case 0: {
            const int32_t x = Coord(in, w, &reach), y = Coord(in, h, &reach);
            refuse = deep || type == IMG_BINARY || (pen.has_line && !colours_ok);
            rc = imgDrawPointColor(b, x, y, pen.width, line, bdst);
            compare = reach < 3 && pen.width <= 200;
            if (compare && !refuse && line) reference::PlotBrushWithClip(expect.b, x, y, line_bytes, pen.width, 0, 0);
            break;
        }
        case 1: {
            const int32_t x0 = Coord(in, w, &reach), y0 = Coord(in, h, &reach);
            const int32_t x1 = Coord(in, w, &reach), y1 = Coord(in, h, &reach);
            refuse = deep || type == IMG_BINARY || pen.style >= 5 || (pen.has_line && !colours_ok);
            rc = imgDrawLineColor(b, x0, y0, x1, y1, pen.width, line, pen.style, bdst);
            compare = true;
            if (!refuse && line) reference::DrawLineColorWide(expect.b, x0, y0, x1, y1, pen.width, line_bytes, drawn_style);
            break;
        }
        case 2: case 5: {
            int n = in.Byte() % 8 == 0 ? in.Range(-2, 2) : in.Range(3, in.Byte() % 6 == 0 ? 120 : 10);
            std::vector<IMG_POINT> pts(n > 0 ? n : 1);
            const bool huge_ok = shape == 5;
            for (auto &p : pts) {
                p = {Coord(in, w, &reach), Coord(in, h, &reach)};
                if (huge_ok && reach == 3) {  // within the wide reference's +-2^30
                    p.x = static_cast<int32_t>(static_cast<int64_t>(p.x) / 2);
                    p.y = static_cast<int32_t>(static_cast<int64_t>(p.y) / 2);
                }
            }
            const IMG_POINT *points = in.Byte() % 16 == 0 ? nullptr : pts.data();
            const bool params = n >= 3 && points;
            if (shape == 2) {
                refuse = deep || type == IMG_BINARY || pen.style >= 5 || !params || (pen.has_line && !colours_ok);
                rc = imgDrawPolylineColor(b, points, n, pen.width, line, pen.style, bdst);
                compare = reach < 3;
                if (compare && !refuse && line)
                    reference::DrawPolylineColor(expect.b, points, n, pen.width, line_bytes, drawn_style);
            } else {
                refuse = deep || type == IMG_BINARY || pen.style >= 5 || !params || !colours_ok;
                rc = imgDrawPolygonColor(b, points, n, fill, pen.width, line, pen.style, bdst);
                compare = true;
                if (!refuse)
                    reference::DrawPolygonWide(expect.b, points, n, fill_bytes, pen.width, line_bytes, drawn_style);
            }
            break;
        }
        case 3: {
            const int32_t x = Coord(in, w, &reach), y = Coord(in, h, &reach);
            const int32_t rw = in.Byte() % 8 == 0 ? in.I32() : in.Range(-60, 60);
            const int32_t rh = in.Byte() % 8 == 0 ? in.I32() : in.Range(-60, 60);
            if (rw < -3000 || rw > 3000 || rh < -3000 || rh > 3000) reach = 3;
            refuse = deep || type == IMG_BINARY || pen.style >= 5 || !colours_ok;
            rc = imgDrawRectangleColor(b, x, y, rw, rh, fill, pen.width, line, pen.style, bdst);
            compare = reach < 3;
            if (compare && !refuse)
                reference::DrawRectangle(expect.b, x, y, rw, rh, fill_bytes, pen.width, line_bytes, drawn_style);
            break;
        }
        default: {
            int32_t x = Coord(in, w, &reach), y = Coord(in, h, &reach);
            const int k = in.Byte() % 8;
            // Radii up to 2^22 and the negative ones: a circle whose edge
            // crosses the bitmap walks its octant (about 0.7 r steps), which
            // for radii near 2^31 takes seconds (docs/draw.md, known limits).
            const int32_t r = k == 0 ? in.I32() % (1 << 22)
                              : k == 1 ? in.Range(0, 3000)
                              : k == 2 ? in.Range(10, in.Byte() % 16 ? 3000 : 1 << 20)
                                       : in.Range(-3, 60);
            if (k == 2) {
                // A corner of the bitmap near the rim on a diagonal: inside
                // the circle's square, possibly outside the disc.
                const int32_t d = static_cast<int32_t>(r * 0.70710678) + in.Range(-9, 9);
                x = in.Byte() % 2 ? -d : w - 1 + d;
                y = in.Byte() % 2 ? -d : h - 1 + d;
                reach = 0;
            }
            refuse = deep || type == IMG_BINARY || pen.style >= 5 || !colours_ok;
            rc = imgDrawCircleColor(b, x, y, r, fill, pen.width, line, pen.style, bdst);
            // The reference plots every step of the rim with the whole brush:
            // radii beyond 3000 are compared with the thinnest pens only.
            compare = reach < 3 && (r <= 3000 || (r <= (1 << 20) && pen.width <= 1));
            if (compare && !refuse)
                reference::DrawCircle(expect.b, x, y, r, fill_bytes, pen.width, line_bytes, drawn_style);
            break;
        }
    }

    if (rc != IMG_NO_ERROR) {
        FUZZ_CHECK(refuse, "shape %d refused (%d): type %u %dx%d width %u style %u", shape, rc, type, w, h, pen.width,
                   pen.style);
        FUZZ_CHECK(before.Same(*b), "shape %d refused but changed the bitmap", shape);
        // A colour refused after the clone was made leaves the clone in *bdst
        // for the caller to release (the drawing functions' contract); any
        // other refusal leaves *bdst alone.
        if (dst) {
            FUZZ_CHECK(!colours_ok && !deep && type != IMG_BINARY, "shape %d refused (%d) but left a bitmap in *bdst",
                       shape, rc);
            FUZZ_CHECK(before.SamePixels(*dst), "shape %d refused but drew into the clone", shape);
        }
        imgFreeBitmap(dst);
        return 0;
    }
    FUZZ_CHECK(!refuse, "shape %d accepted a call it must refuse: type %u bits %u style %u", shape, type,
               b->BitsPerComponent, pen.style);
    const IMG_BITMAP *out = b;
    if (bdst) {
        FUZZ_CHECK(dst && dst != b, "shape %d gave no new bitmap", shape);
        FUZZ_CHECK(before.Same(*b), "shape %d into a new bitmap changed the source", shape);
        out = dst;
    }
    if (compare) {
        const size_t n = static_cast<size_t>(out->BytesPerLine) * static_cast<size_t>(out->Height);
        FUZZ_CHECK(out->Height == expect.b->Height && out->BytesPerLine == expect.b->BytesPerLine &&
                       (n == 0 || std::memcmp(out->Data, expect.b->Data, n) == 0),
                   "shape %d differs from the reference: type %u %dx%d width %u style %u", shape, type, w, h,
                   pen.width, pen.style);
    }
    imgFreeBitmap(dst);
    return 0;
}
