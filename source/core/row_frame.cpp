#include "core/row_frame.h"

#include <cstdint>
#include <cstring>

#include "core/bitmap_check.h"
#include "core/scratch.h"
#include "core/target.h"
#include "libtools.h"

namespace imge {

void PrepareRow(uint8_t *buffer, const IMF_BITMAP *bitmap, TLong y, TLong filter_size) {
    const TLong r = y < 0 ? 0 : (y >= bitmap->Height ? bitmap->Height - 1 : y);
    const std::size_t bpp = bitmap->BytesPerPixel;
    const std::size_t half = static_cast<std::size_t>(filter_size >> 1);
    const std::size_t row = static_cast<std::size_t>(bitmap->Width) * bpp;
    if (row == 0) return;
    const uint8_t *from = bitmap->Data + static_cast<std::size_t>(r) * static_cast<std::size_t>(bitmap->BytesPerLine);
    uint8_t *body = buffer + half * bpp;
    std::memcpy(body, from, row);
    const uint8_t *last = body + row - bpp;
    for (std::size_t k = 0; k < half; ++k) {
        std::memcpy(buffer + k * bpp, body, bpp);
        std::memcpy(body + row + k * bpp, last, bpp);
    }
}

namespace {

// The frame's loop for kernels whose rows may come straight from the source
// (see RowKernelRef): interior columns read the bitmap's rows, the `side`
// columns at either edge (at least half, and at least the kernel's edge
// bytes, 64 unless it asks otherwise, so that vector kernels run there too)
// read strips of side + 2 * half pixels cut from the edge-extended row
// (left: half copies of the first pixel, then side + half pixels; right: the
// last side + half pixels, then half copies of the last). Each source row's
// pair of strips is cut once, into a ring of n pairs keyed by row number: the
// rows of one neighbourhood are n consecutive numbers (after clamping, fewer),
// so they never share a place.
int EdgeSide(int half, int bpp, int edge_bytes) {
    const int wide = (edge_bytes + bpp - 1) / bpp;
    return half > wide ? half : wide;
}

void RowsInPlace(const IMF_BITMAP *src, IMF_BITMAP *work, const IMF_RECT &rect, int n, uint8_t *strips,
                 std::size_t strip, const RowKernelRef &kernel) {
    const int half = n >> 1;
    const int bpp = src->BytesPerPixel;
    const int side = EdgeSide(half, bpp, kernel.edge_bytes);
    const std::size_t cut_bytes = static_cast<std::size_t>(side + half) * static_cast<std::size_t>(bpp);
    const int edge = side * bpp, far = (src->Width - side) * bpp, pad = half * bpp;
    const int begin = rect.left * bpp, end = (rect.left + rect.width) * bpp;
    const int inner_begin = begin > edge ? begin : edge, inner_end = end < far ? end : far;
    const std::size_t tail = static_cast<std::size_t>(src->Width) * bpp - cut_bytes;
    const bool need_left = begin < edge, need_right = end > far;
    const uint8_t *rows[kMaxRowFrameSide + 1];
    uint8_t *left[kMaxRowFrameSide + 1], *right[kMaxRowFrameSide + 1];
    TLong cut[kMaxRowFrameSide];  // source row held by each place of the ring
    for (int k = 0; k < n; ++k) cut[k] = -1;
    rows[n] = left[n] = right[n] = nullptr;
    for (TLong y = rect.top; y < rect.top + rect.height; ++y) {
        for (int k = 0; k < n; ++k) {
            TLong r = y - half + k;
            r = r < 0 ? 0 : (r >= src->Height ? src->Height - 1 : r);
            const uint8_t *row = src->Data + static_cast<std::size_t>(r) * static_cast<std::size_t>(src->BytesPerLine);
            rows[k] = row;
            const int place = static_cast<int>(r % n);
            uint8_t *l = strips + static_cast<std::size_t>(place) * 2 * strip;
            uint8_t *rt = l + strip;
            left[k] = l;
            right[k] = rt;
            if (cut[place] == r || !(need_left || need_right)) continue;
            cut[place] = r;
            for (int i = 0; i < pad; ++i) l[i] = row[i % bpp];
            std::memcpy(l + pad, row, cut_bytes);
            std::memcpy(rt, row + tail, cut_bytes);
            const uint8_t *last = row + tail + cut_bytes - bpp;
            for (int i = 0; i < pad; ++i) rt[cut_bytes + i] = last[i % bpp];
        }
        uint8_t *out = work->Data + static_cast<std::size_t>(y) * static_cast<std::size_t>(work->BytesPerLine);
        if (inner_begin < inner_end) kernel.row(kernel.context, rows, inner_begin - pad, inner_end - pad, out + pad);
        if (need_left) kernel.row(kernel.context, left, begin, end < edge ? end : edge, out);
        if (need_right) kernel.row(kernel.context, right, (begin > far ? begin : far) - far, end - far, out + far);
    }
}

}  // namespace

IMF_ERROR RunRowFrame(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, int n, bool params_ok,
                      const RowKernelRef &kernel) {
    if (!BitmapIsValid(src) || src->Type == IMF_BINARY) return IMF_ERRBADBITMAP;
    if (!params_ok || n < 1 || n > kMaxRowFrameSide) return IMF_ERRBADPARAMS;
    IMF_RECT rect;
    if (imfGetClippingRect(src, area, &rect)) return IMF_ERRBADPARAMS;

    // Every byte is an 8-bit sample here whatever BitsPerComponent says, so
    // the work bitmap is always asked for with 8 bits (0 and 8 give the same
    // bitmap; other values would only make the allocation fail).
    // A colour map on a type that has none is not carried over.
    IMF_BITMAP work;
    // Without an area the kernel writes every byte of every row: the pixels
    // are not cleared first.
    ResultLike like;
    like.bits = 8;
    like.pixels = area != nullptr;
    like.uncleared = area == nullptr;
    like.palette = true;
    if (NewResult(src, &work, like) != IMF_NOERROR) return IMF_ERRMEMORY;

    // n slots plus one: the row that left the neighbourhood stays readable
    // for one more output row while its successor is fetched.
    const int bpp = src->BytesPerPixel;
    const int half = n >> 1;
    const std::size_t row_bytes = (static_cast<std::size_t>(src->Width) + 2 * static_cast<std::size_t>(half)) *
                                  static_cast<std::size_t>(bpp);
    // Rows in place need two strips per slot instead.
    const int side = EdgeSide(half, bpp, kernel.edge_bytes);
    const bool in_place = kernel.rows_in_place && half > 0 && src->Width > 2 * side;
    const std::size_t strip = static_cast<std::size_t>(side + 2 * half) * static_cast<std::size_t>(bpp);
    Scratch<uint8_t> ring;
    // Kernels address ring rows with int byte positions.
    if (row_bytes > static_cast<std::size_t>(INT32_MAX) ||
        row_bytes > static_cast<std::size_t>(-1) / static_cast<std::size_t>(n + 1) ||
        !ring.Allocate(in_place ? 2 * strip * static_cast<std::size_t>(n) : row_bytes * static_cast<std::size_t>(n + 1),
                       true) ||
        !kernel.prepare(kernel.context, src->Width, bpp)) {
        imfFree(&work);
        return IMF_ERRMEMORY;
    }

    if (rect.width > 0 && rect.height > 0 && in_place) {
        RowsInPlace(src, &work, rect, n, ring.get(), strip, kernel);
    } else if (rect.width > 0 && rect.height > 0) {
        uint8_t *slot[kMaxRowFrameSide + 1];
        for (int k = 0; k < n; ++k) slot[k] = ring.get() + static_cast<std::size_t>(k) * row_bytes;
        slot[n] = nullptr;
        uint8_t *spare = ring.get() + static_cast<std::size_t>(n) * row_bytes;
        // Slot k holds row y - half + k: rows top - half .. top - half + n - 2
        // first, then the bottom row of each output row's neighbourhood.
        for (int k = 0; k + 1 < n; ++k) PrepareRow(slot[k], src, rect.top - half + k, n);
        const int begin = rect.left * bpp;
        const int end = (rect.left + rect.width) * bpp;
        for (TLong y = rect.top; y < rect.top + rect.height; ++y) {
            PrepareRow(slot[n - 1], src, y - half + n - 1, n);
            uint8_t *out = work.Data + static_cast<std::size_t>(y) * static_cast<std::size_t>(work.BytesPerLine);
            kernel.row(kernel.context, slot, begin, end, out);
            uint8_t *leaving = slot[0];
            uint8_t *reuse = slot[n] ? slot[n] : spare;
            for (int k = 0; k + 1 < n; ++k) slot[k] = slot[k + 1];
            slot[n - 1] = reuse;
            slot[n] = leaving;
        }
    }

    HandOver(src, dst, &work);
    return IMF_NOERROR;
}

}  // namespace imge
