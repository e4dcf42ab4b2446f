// The drop shadow: a white canvas larger than the image, a soft dark
// rectangle painted by look-up into a small blurred tile, the image on top.
// It works on the whole bitmap and always produces a bitmap of a new size, so
// it does not use the filter row frame.
#include <cstdint>
#include <cstring>

#include "core/bitmap_check.h"
#include "core/target.h"
#include "libformat.h"
#include "libtools.h"

namespace {

constexpr int kTile = 64;      // side of the tile
constexpr int kTileMid = 32;   // the tile quadrant sampled: columns and rows 0..32

// Draws the tile (a dark square inset by 2 * size, on white) and blurs it
// `size` times with the 7 x 7 Gaussian. Once a pass leaves the tile unchanged
// every further pass would too, so the loop stops there: the result is the
// same and the cost no longer grows with size.
IMF_ERROR MakeTile(TLong size, IMF_BITMAP *tile) {
    if (!imfAllock(tile, IMF_GREY, 4, kTile, kTile)) return IMF_ERRMEMORY;
    const long long b = 2LL * size;
    for (int y = 0; y < kTile; ++y) {
        TUbyte *row = tile->Data + static_cast<long long>(y) * tile->BytesPerLine;
        for (int x = 0; x < kTile; ++x)
            row[x] = (y < b || y > kTile - 1 - b || x < b || x > kTile - 1 - b) ? 255 : 0;
    }
    TUbyte before[kTile * kTile];
    for (TLong pass = 0; pass < size; ++pass) {
        for (int y = 0; y < kTile; ++y)
            std::memcpy(before + y * kTile, tile->Data + static_cast<long long>(y) * tile->BytesPerLine, kTile);
        const IMF_ERROR rc = imfBlurGaussian(tile, nullptr, nullptr, 7);
        if (rc != IMF_NOERROR) {
            imfFree(tile);
            return rc;
        }
        bool same = true;
        for (int y = 0; y < kTile && same; ++y)
            same = std::memcmp(before + y * kTile, tile->Data + static_cast<long long>(y) * tile->BytesPerLine, kTile) == 0;
        if (same) break;
    }
    return IMF_NOERROR;
}

// Fills `count` pixels of `bpp` bytes from p with value v in their first
// ncomp bytes.
inline void PaintRun(TUbyte *p, int count, int bpp, int ncomp, TUbyte v) {
    if (ncomp == bpp) {
        std::memset(p, v, static_cast<std::size_t>(count) * bpp);
        return;
    }
    for (int i = 0; i < count; ++i, p += bpp)
        for (int k = 0; k < ncomp; ++k) p[k] = v;
}

// Paints the shadow rectangle (Ws x Hs at x0, y0) from the tile quadrant:
// left and top edges read it directly, right and bottom edges mirror it,
// straight edges repeat tile column or row 32, the middle is left alone.
void PaintShadow(IMF_BITMAP *canvas, const IMF_BITMAP &tile, long long x0, long long y0, long long Ws,
                 long long Hs) {
    const int bpp = canvas->BytesPerPixel;
    const int ncomp = bpp < 3 ? bpp : 3;
    auto tile_index = [](long long v, long long extent) -> int {
        return static_cast<int>(v <= kTileMid ? v : v >= extent - kTileMid ? extent - v : kTileMid);
    };
    for (long long r = 0; r < Hs; ++r) {
        const TUbyte *trow = tile.Data + static_cast<long long>(tile_index(r, Hs)) * tile.BytesPerLine;
        TUbyte *row = canvas->Data + (y0 + r) * canvas->BytesPerLine + x0 * bpp;
        const bool middle_row = r > kTileMid && r < Hs - kTileMid;
        // Columns in the middle band: c in (32, Ws - 32); all of them repeat
        // tile column 32 (or are skipped on a middle row).
        const long long mid_lo = kTileMid + 1, mid_hi = Ws - kTileMid;  // [mid_lo, mid_hi)
        for (long long c = 0; c < Ws; ++c) {
            if (c >= mid_lo && c < mid_hi) {
                if (!middle_row) PaintRun(row + c * bpp, static_cast<int>(mid_hi - c), bpp, ncomp, trow[kTileMid]);
                c = mid_hi - 1;
                continue;
            }
            const TUbyte v = trow[tile_index(c, Ws)];
            TUbyte *p = row + c * bpp;
            for (int k = 0; k < ncomp; ++k) p[k] = v;
        }
    }
}

// White canvas bytes everywhere the image will not cover.
void FillAroundImage(IMF_BITMAP *canvas, long long offX, long long offY, long long w, long long h) {
    const std::size_t line = static_cast<std::size_t>(canvas->BytesPerLine);
    const long long bpp = canvas->BytesPerPixel;
    for (long long y = 0; y < canvas->Height; ++y) {
        TUbyte *row = canvas->Data + y * canvas->BytesPerLine;
        if (y < offY || y >= offY + h) {
            std::memset(row, 255, line);
            continue;
        }
        std::memset(row, 255, static_cast<std::size_t>(offX * bpp));
        const std::size_t right = static_cast<std::size_t>((offX + w) * bpp);
        std::memset(row + right, 255, line - right);
    }
}

}  // namespace

extern "C" {

IMF_ERROR imfDropShadow(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong size, TLong depth,
                        TLong keep_size) {
    if (!src || !imge::BitmapIsValid(src)) return IMF_ERRBADBITMAP;
    if (src->Type == IMF_BINARY || src->BitsPerComponent > 8) return IMF_ERRBADBITMAP;
    if (size < 0 || depth < 0) return IMF_ERRBADPARAMS;
    if (src->Width < kTile || src->Height < kTile) {
        // Too small for a shadow: the result is a plain copy (of the area).
        IMF_BITMAP copy;
        const IMF_ERROR rc = imfCopy(src, &copy, area);
        if (rc != IMF_NOERROR) return rc;
        imge::HandOver(src, dst, &copy);
        return IMF_NOERROR;
    }
    const long long margin = 5LL * size + 2LL * depth;
    IMF_BITMAP reduced;
    const IMF_BITMAP *base = src;
    if (keep_size) {
        if (src->Width - margin < 1 || src->Height - margin < 1) return IMF_ERRBADPARAMS;
        if (imfResize(src, &reduced, static_cast<TLong>(src->Width - margin), static_cast<TLong>(src->Height - margin),
                      0) != IMF_NOERROR)
            return IMF_ERRMEMORY;
        base = &reduced;
    }
    auto drop_reduced = [&]() {
        if (base == &reduced) imfFree(&reduced);
    };
    const long long cw = base->Width + margin, ch = base->Height + margin;
    // The reduced copy keeps src's type, palette, transparent index and
    // extended data, so the canvas is made like src.
    IMF_BITMAP canvas;
    imge::ResultLike like;
    like.width = static_cast<TLong>(cw);
    like.height = static_cast<TLong>(ch);
    like.palette = like.transparent = true;
    if (cw > INT32_MAX || ch > INT32_MAX || imge::NewResult(src, &canvas, like) != IMF_NOERROR) {
        drop_reduced();
        return IMF_ERRMEMORY;
    }
    IMF_BITMAP tile;
    if (MakeTile(size, &tile) != IMF_NOERROR) {
        imfFree(&canvas);
        drop_reduced();
        return IMF_ERRMEMORY;
    }
    const long long offX = (canvas.Width - base->Width) / 2, offY = (canvas.Height - base->Height) / 2;
    FillAroundImage(&canvas, offX, offY, base->Width, base->Height);
    PaintShadow(&canvas, tile, offX + depth - 2LL * size, offY + depth - 2LL * size, base->Width + 4LL * size,
                base->Height + 4LL * size);
    // The image's pixel bytes only: a row's padding is not image and, copied
    // at offX, could reach past the canvas row.
    const std::size_t row_bytes = static_cast<std::size_t>(base->Width) * base->BytesPerPixel;
    for (TLong y = 0; y < base->Height; ++y)
        std::memcpy(canvas.Data + (offY + y) * canvas.BytesPerLine + offX * canvas.BytesPerPixel,
                    base->Data + static_cast<long long>(y) * base->BytesPerLine, row_bytes);
    imfFree(&tile);
    drop_reduced();
    imge::HandOver(src, dst, &canvas);
    return IMF_NOERROR;
}

}  // extern "C"
