// Per-call state of each rank filter: what the row
// frame needs to compute one output row from its ring of edge-extended rows.
//
// Prepare() allocates the call's scratch for rows of `width` pixels (false
// when memory is short); Row() computes output bytes begin .. end - 1 of one
// row (see rank_rows.h for the addressing of slots).
#pragma once

#include <cstdint>

#include "core/scratch.h"
#include "rank/rank_rows.h"

namespace imge {
namespace rank {

// From kBlockSide rows on, the vertical extreme runs down the columns in
// blocks of n rows (van Herk / Gil-Werman): when a block fills the ring its
// suffix extremes are stored, the rows of the next block are gathered into a
// running prefix, and each output row combines one suffix with the prefix:
// about three passes per row instead of n - 1.
class MinMaxKernel {
public:
    static constexpr int kBlockSide = 6;
    MinMaxKernel(bool is_max, int n) : is_max_(is_max), n_(n) {}
    bool Prepare(int width, int bpp);
    void Row(const uint8_t *const *slots, int begin, int end, uint8_t *out);
    // 3 x 3 keeps nothing from row to row: its rows are read where they are.
    bool RowsInPlace() const { return n_ == 3; }
    // Its edge columns are cheaper one pixel wide than in whole vectors.
    int EdgeBytes() const { return 0; }

private:
    bool is_max_;
    int n_, bpp_ = 0;
    int phase_ = 0;            // output row within the current block
    std::size_t stride_ = 0;   // bytes per stored row
    Scratch<uint8_t> scratch_;  // vertical extremes of the current row
    Scratch<uint8_t> blocks_;   // n suffix rows, then the prefix row
};

// Box median: sorted columns and a selection network up to 8, column
// histograms carried down the rows above.
class MedianBoxKernel {
public:
    static constexpr int kLargestNetwork = 8;
    explicit MedianBoxKernel(int n) : n_(n) {}
    bool Prepare(int width, int bpp);
    void Row(const uint8_t *const *slots, int begin, int end, uint8_t *out);
    bool RowsInPlace() const { return n_ == 3; }

private:
    int n_, bpp_ = 0;
    std::size_t stride_ = 0;   // bytes per sorted row
    Scratch<uint8_t> sorted_;  // n rows of sorted column values
    Scratch<NetProgram> nets_;  // column sort, then selection
    Scratch<uint8_t> coarse_;   // column histograms: 16 coarse bins per byte position
    Scratch<uint8_t> fine_;     // and 256 fine bins
};

class MedianCrossKernel {
public:
    explicit MedianCrossKernel(int n) : n_(n) {}
    bool Prepare(int width, int bpp);
    void Row(const uint8_t *const *slots, int begin, int end, uint8_t *out);

private:
    int n_, bpp_ = 0;
    Scratch<NetProgram> net_;
};

}  // namespace rank
}  // namespace imge
