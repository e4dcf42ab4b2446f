// Row kernels of the rank filters.
//
// Every kernel computes the output bytes i = begin .. end - 1 of one row from
// the n edge-extended rows of its neighbourhood: slots[k] is the row of ring
// slot k, and the sample at column offset j (0 .. n - 1, i.e. j - n/2 from
// the centre) of output byte i is slots[k][i + j * bpp]. Output byte i goes
// to out[i]. The kernels read slots[k][begin .. end + (n - 1) * bpp - 1].
#pragma once

#include <cstddef>
#include <cstdint>

namespace imge {
namespace rank {

// ---- Minimum / maximum: separable running extremes ----------------------------
// Vertical extreme over the n rows, then the horizontal extreme of the n
// columns by doubling windows (1, 2, 4, ... then two overlapping windows).
// scratch holds at least (end - begin) + (n - 1) * bpp bytes. With
// vertical_done the scratch already holds the vertical extremes (of
// positions begin ..) and slots are not read.
void MinMaxRow(bool is_max, const uint8_t *const *slots, int n, int bpp, int begin, int end,
               uint8_t *scratch, uint8_t *out, bool vertical_done = false);
// dst[t] = min or max of a[t] and b[t] for t < len (dst may be a or b).
void PickRows(bool is_max, const uint8_t *a, const uint8_t *b, uint8_t *dst, std::size_t len);

// ---- Selection networks ---------------------------------------------------------
// A compare-exchange network (Batcher's odd-even merge sort, padded with
// 255s to a power of two), reduced to the operations that reach the wanted
// outputs and to the registers they need. Executed on vectors of bytes.
struct NetInput {
    int16_t row;     // index into the row pointer array
    int16_t column;  // sample offset in pixels (times bpp)
};
struct NetOp {
    uint8_t dst, a, b, is_max;
};
struct NetProgram {
    static constexpr int kMaxWires = 64;
    static constexpr int kMaxOps = 1100;
    int n_inputs = 0;
    NetInput input[kMaxWires] = {};
    uint8_t input_reg[kMaxWires] = {};  // register of each input, 255 when unused
    int n_outputs = 0;
    uint8_t output_reg[kMaxWires] = {};
    int n_ops = 0;
    NetOp op[kMaxOps] = {};
    int n_regs = 0;
};

// Sorts the n samples rows[0..n-1][t] ascending for every position t;
// output r is the (r+1)-th smallest.
void BuildColumnSort(int n, NetProgram *p);
// The ((n * n) >> 1)-th smallest (from 0) of an n x n square given n sorted
// columns: input (r, j) is rows[r][i + j * bpp], rows[r] the r-th smallest
// of each column.
void BuildBoxSelect(int n, NetProgram *p);
// The (n - 1)-th smallest of the 2n - 1 cross samples: the centre column of
// every slot but slot n/2, and every column of slot n/2.
void BuildCrossSelect(int n, NetProgram *p);

// Runs program p, built by the builder `kind` for size n, for positions
// 0 .. count - 1: input q reads rows[input.row][pos + input.column * bpp];
// output r is written to outs[r][pos]. Outputs must not alias inputs. The
// vector path runs the same network compiled for that kind and size.
enum NetKind { kNetColumnSort, kNetBoxSelect, kNetCrossSelect };
void RunNet(const NetProgram &p, int kind, int n, const uint8_t *const *rows, int bpp, std::size_t count,
            uint8_t *const *outs);

// ---- Median by column histograms (Perreault and Hebert) -------------------------
// Every byte position t of the edge-extended row keeps the histogram of its n
// samples down the neighbourhood: 16 coarse bins (high nibble) at
// coarse[t * 16] and 256 fine bins at fine[t * 256], one byte each (a column
// holds at most 15 samples, a square at most 225).
// Brings positions begin .. end - 1 to the rows of slots: from scratch when
// slots[n] is null, else by removing row slots[n] and adding row slots[n - 1].
void ColumnHistogramsDown(const uint8_t *const *slots, int n, std::size_t begin, std::size_t end, uint8_t *coarse,
                          uint8_t *fine);
// The ((n * n) >> 1)-th smallest (from 0) of each n x n neighbourhood: the
// square's coarse histogram slides along the row (one column in, one out);
// the fine bins of the coarse bin holding the answer are brought up to date
// from the columns that moved since they were last used, or summed anew.
void MedianColumnsRow(const uint8_t *coarse, const uint8_t *fine, int n, int bpp, int begin, int end, uint8_t *out);

// ---- Median of 3 x 3 -------------------------------------------------------------
// From the sorted columns (sorted[0..2] = smallest, middle, largest of each
// column, column j of output byte i at i + j * bpp): the median of the nine
// is the median of (largest of the smallest, median of the middles,
// smallest of the largest). out[i] for i = begin .. count - 1.
void Median3SelectPlain(const uint8_t *const *sorted, int bpp, std::size_t begin, std::size_t count, uint8_t *out);
// The whole 3 x 3 median of output positions 0 .. count - 1 from the three
// rows in[0..2] (read up to count + 2 * bpp - 1) in vectors; returns how
// many positions it did (0 or count: the plain path does the rest).
std::size_t Median3Row(const uint8_t *const *in, int bpp, std::size_t count, uint8_t *out);

// Scalar versions (the plain paths; identical bytes).
void MinMaxRowPlain(bool is_max, const uint8_t *const *slots, int n, int bpp, int begin, int end,
                     uint8_t *scratch, uint8_t *out, bool vertical_done);
void PickRowsPlain(bool is_max, const uint8_t *a, const uint8_t *b, uint8_t *dst, std::size_t len);
void RunNetPlain(const NetProgram &p, const uint8_t *const *rows, int bpp, std::size_t begin, std::size_t count,
                  uint8_t *const *outs);
void MedianColumnsRowPlain(const uint8_t *coarse, const uint8_t *fine, int n, int bpp, int begin, int end,
                           uint8_t *out);

}  // namespace rank
}  // namespace imge
