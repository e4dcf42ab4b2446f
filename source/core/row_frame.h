// The row frame shared by every neighbourhood filter.
//
// A filter supplies a kernel that turns the ring of edge-extended rows around
// one output row into that row's bytes; the frame does everything else:
//
//   1. refuses an inconsistent record or a binary bitmap (IMF_ERRBADBITMAP);
//   2. refuses a parameter the filter found out of range (IMF_ERRBADPARAMS);
//   3. resolves the area into the clipping rectangle (IMF_ERRBADPARAMS);
//   4. allocates the work bitmap of src's type, pack and size; with an area
//      the work bitmap starts as a copy of src's pixels; TransparentIndex -1,
//      src's ColorUsed and extended data (IMF_ERRMEMORY);
//   5. allocates the ring and lets the kernel prepare its scratch
//      (IMF_ERRMEMORY, the work bitmap released);
//   6. streams src's rows through the ring and lets the kernel compute every
//      byte of the rectangle into the work bitmap;
//   7. copies src's colour map (when both have one) and hands the work bitmap
//      over: into *dst, or in place of src (src's old buffers released).
// On every failure nothing is changed and *dst is not written.
//
// The kernel (any class; the frame is a template over it):
//
//   bool Prepare(int width, int bpp);
//       Called once per call, before the first row, with the bitmap's width
//       in pixels and its bytes per pixel. Allocates the call's scratch
//       (imge::Scratch); false when memory is short.
//
//   void Row(const uint8_t *const *slots, int begin, int end, uint8_t *out);
//       Computes output bytes i = begin .. end - 1 of one row and stores
//       byte i at out[i] (out is the start of the work bitmap's row; begin
//       and end are byte positions, left * bpp and (left + width) * bpp).
//       slots[k], k = 0 .. n - 1, is the edge-extended row of ring slot k:
//       (width + 2 * (n >> 1)) * bpp bytes, starting with n >> 1 copies of
//       the row's first pixel. The sample at column offset j (0 .. n - 1,
//       that is j - (n >> 1) pixels from the centre) of output byte i is
//       slots[k][i + j * bpp]; byte i only ever meets the same byte position
//       of its neighbours.
//       Slot k holds source row y - (n >> 1) + k (rows above and below the
//       bitmap repeat its first and last row), for odd and even n alike.
//       slots[n] is the row that left the neighbourhood since the previous
//       call (row y - (n >> 1) - 1), for kernels that keep running sums down
//       the columns; it is null on the first row of the rectangle. Rows are
//       visited from top to bottom of the rectangle, one call per row.
//       The slots are read only and never alias `out`.
#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>

#include "libimg.h"

namespace imge {

// Largest neighbourhood side the frame handles.
constexpr int kMaxRowFrameSide = 25;

// Writes the edge-extended row y of `bitmap` for side filter_size into
// buffer ((Width + 2 * (filter_size >> 1)) * BytesPerPixel bytes): rows
// above and below the bitmap read its first and last row, then the first
// and last pixel are repeated filter_size >> 1 times on either side.
void PrepareRow(uint8_t *buffer, const IMF_BITMAP *bitmap, TLong y, TLong filter_size);

// The frame without the kernel's type: `row` is called as the kernel's Row
// with `context`. Use RunRowFilter below.
struct RowKernelRef {
    void *context;
    bool (*prepare)(void *context, int width, int bpp);
    void (*row)(void *context, const uint8_t *const *slots, int begin, int end, uint8_t *out);
    bool rows_in_place;
    int edge_bytes;  // narrowest edge strip with rows in place
};

// A kernel may declare `bool RowsInPlace() const`: true when each Row call
// depends on nothing but its slots and range (no state from row to row, no
// slots[n]). The frame then hands it the source rows where they are for the
// columns away from the edges (slots[k] is then the source row itself, begin
// and end and out shifted to match), and short edge-extended strips for the
// columns near either edge (at least n >> 1 of them and at least 64 bytes,
// so that vector loops run there too), in separate calls; slots[n] is null
// throughout. The bytes are the same, without the copy of every row into the
// ring. Rows too narrow for two strips go through the ring as before.
// Such a kernel may also declare `int EdgeBytes() const`, the narrowest strip
// it wants in bytes, when its edge columns run faster in another width
// (0: strips of n >> 1 pixels).
constexpr int kDefaultEdgeBytes = 64;
template <typename Kernel, typename = void>
struct DeclaresRowsInPlace : std::false_type {};
template <typename Kernel>
struct DeclaresRowsInPlace<Kernel, std::void_t<decltype(std::declval<const Kernel &>().RowsInPlace())>>
    : std::true_type {};
template <typename Kernel, typename = void>
struct DeclaresEdgeBytes : std::false_type {};
template <typename Kernel>
struct DeclaresEdgeBytes<Kernel, std::void_t<decltype(std::declval<const Kernel &>().EdgeBytes())>>
    : std::true_type {};
IMF_ERROR RunRowFrame(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, int n, bool params_ok,
                      const RowKernelRef &kernel);

// Runs the whole frame for a filter of side n (1 .. kMaxRowFrameSide) with
// `kernel`. params_ok is the filter's parameter test (false: IMF_ERRBADPARAMS
// after the type test); n is only used when params_ok is true.
template <typename Kernel>
IMF_ERROR RunRowFilter(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, int n, bool params_ok,
                       Kernel &kernel) {
    RowKernelRef ref;
    ref.context = &kernel;
    ref.prepare = [](void *c, int width, int bpp) { return static_cast<Kernel *>(c)->Prepare(width, bpp); };
    ref.row = [](void *c, const uint8_t *const *slots, int begin, int end, uint8_t *out) {
        static_cast<Kernel *>(c)->Row(slots, begin, end, out);
    };
    if constexpr (DeclaresRowsInPlace<Kernel>::value)
        ref.rows_in_place = kernel.RowsInPlace();
    else
        ref.rows_in_place = false;
    if constexpr (DeclaresEdgeBytes<Kernel>::value)
        ref.edge_bytes = kernel.EdgeBytes();
    else
        ref.edge_bytes = kDefaultEdgeBytes;
    return RunRowFrame(src, dst, area, n, params_ok, ref);
}

}  // namespace imge
