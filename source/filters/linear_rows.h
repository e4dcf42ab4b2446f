// Row kernels of the linear neighbourhood filters.
//
// All compute output bytes i = begin .. end - 1 of one row from the ring of
// edge-extended rows (see row_frame.h: the sample at slot k, column offset j
// of byte i is slots[k][i + j * bpp]) and store byte i at out[i].
#pragma once

#include <cstddef>
#include <cstdint>

namespace imge {
namespace filters {

// A weighted sum of samples, a truncating division, an offset and a clamp
// to 0..255:  v = (sum of w * s(k, j)) / divisor + bias.
// Weights are 64-bit so that extreme percentages stay exact.
struct LinearTap {
    int k, j;
    int64_t w;
};
struct LinearPlan {
    static constexpr int kMaxTaps = 49;
    int n_taps = 0;
    LinearTap tap[kMaxTaps];
    int64_t divisor = 1;  // never 0
    int64_t bias = 0;

    // Adds a tap (zero weights are dropped).
    void Add(int k, int j, int64_t w);
    // Chooses the vector form below; call after the last Add.
    void Finish();

    // ---- The vector form, chosen by Finish() ----------------------------------
    // kPlain: 64-bit scalar code only.
    // kFloat: the weighted sum in single precision, the quotient as a product
    //   with `recip`. Exact while 255 * sum|w| + |divisor| <= 2^22: every
    //   partial sum is an integer below 2^24, and with recip the smallest float
    //   not below 1/|divisor| the truncated product is the truncated quotient.
    // kShort: the sum of the `short` taps (weights w / scale) in 16-bit lanes
    //   (exact while 255 * sum|w / scale| <= 32767), times scale, plus the
    //   one tap left out (`lone`), then as kFloat.
    enum Mode { kPlain, kFloat, kShort };
    Mode mode = kPlain;
    int n_short = 0;
    int short_tap[kMaxTaps] = {};  // indices into tap[], +1 weights, then -1, then others
    int16_t short_w[kMaxTaps] = {};
    int n_plus = 0, n_minus = 0;
    int32_t scale = 1;
    int lone = -1;  // index into tap[], or -1
    float recip = 1.0f;
    // kShort with scale 1, no lone tap and |divisor| < 2^15: the quotient in
    // 16-bit lanes as sign * (|sum| / |divisor|), the division by div16.
    bool short_divide = false;
    struct Div16 {
        uint16_t magic = 0;  // 0: a plain shift
        int shift = 0;
    } div16;
};

// floor(x / d) for 0 <= x < 2^15 and 1 <= d < 2^15 as a 16-bit multiply-high
// and a shift (d a power of two: the shift alone). With 2^s < d <= 2^(s+1)
// and magic = ceil(2^(16+s) / d) < 2^16, the error term x * (magic * d -
// 2^(16+s)) stays below 2^(16+s), so the result is exact.
LinearPlan::Div16 MakeDiv16(uint32_t d);
inline uint32_t ApplyDiv16(const LinearPlan::Div16 &v, uint32_t x) {
    return v.magic ? ((x * v.magic) >> 16) >> v.shift : x >> v.shift;
}

// What the 16-bit vector path needs of a kShort plan's division.
struct ShortDivide {
    bool on = false;
    uint16_t magic = 0;
    int shift = 0;
    bool negative = false;  // divisor < 0
};

// The plan's formula for every byte, in 64-bit integers.
void LinearRowPlain(const LinearPlan &plan, const uint8_t *const *slots, int bpp, int begin, int end, uint8_t *out);
// The same, through vectors when the plan has a vector form and scalar code is not forced.
void LinearRow(const LinearPlan &plan, const uint8_t *const *slots, int bpp, int begin, int end, uint8_t *out);

// imfSharpen: v = (100 * C - (p * S8) / 8) / d, clamped (3 x 3, C = s(1, 1),
// S8 the eight neighbours).
void SharpenRowPlain(int64_t p, int64_t d, const uint8_t *const *slots, int bpp, int begin, int end, uint8_t *out);
void SharpenRow(int64_t p, int64_t d, const uint8_t *const *slots, int bpp, int begin, int end, uint8_t *out);
// Percentages whose arithmetic the vector path reproduces exactly
// (|p * S8| < 2^24, |100 * C - (p * S8) / 8| + |d| <= 2^22).
inline bool SharpenFitsFloat(int64_t p) { return p >= -8000 && p <= 8000; }
// Percentages computed in 16-bit lanes only: |p| * S8 / 8 < 2^15 and
// |100 * C - (p * S8) / 8| < 2^15.
inline bool SharpenFitsShort(int64_t p) { return p >= -28 && p <= 128; }
// The smallest float not below 1/|d|, with d's sign: for integers a with
// |a| + |d| <= 2^22, a * RecipOf(d) truncates to a / d (truncated).
float RecipOf(int64_t d);

// Box mean by running sums: col[i] += add[i] - sub[i] (16-bit column sums).
void ColumnUpdate(uint16_t *col, const uint8_t *add, const uint8_t *sub, std::size_t n);
void ColumnUpdatePlain(uint16_t *col, const uint8_t *add, const uint8_t *sub, std::size_t n);
// col[i] += add[i].
void ColumnAdd(uint16_t *col, const uint8_t *add, std::size_t n);

// Exact division of 0 .. 255 * d by d (d = 1 .. 65535) as a multiply and a
// shift: q = (v * magic) >> 32.
inline uint64_t DivisionMagic(uint32_t d) { return ((uint64_t{1} << 32) + d - 1) / d; }

// Box mean of side n from the column sums: out[i] = (sum of col[i + j * bpp],
// j = 0 .. n - 1) / (n * n), by a running sum along each byte position.
void BoxRow(const uint16_t *col, int n, int bpp, int begin, int end, uint64_t magic, uint8_t *out);

// floor(x / (n * n)) for every box sum 0 .. 255 * n * n (n = 2 .. 15): a
// shift by the power of two in n * n, then the odd part by MakeDiv16
// (exact below 2^15 by the bound above; the odd squares up to 225 are
// checked exhaustively over their whole range by the tests).
struct BoxDivision {
    int pre_shift = 0;
    LinearPlan::Div16 odd;
};
BoxDivision MakeBoxDivision(int n);
inline uint32_t ApplyBoxDivision(const BoxDivision &b, uint32_t x) { return ApplyDiv16(b.odd, x >> b.pre_shift); }

// BoxRow through vectors: running totals along each byte position and
// their differences. scratch holds kBoxScratchLead + (width + 2 * (n >> 1))
// * bpp values.
constexpr int kBoxScratchLead = 8;
void BoxRowFast(const uint16_t *col, int n, int bpp, int begin, int end, uint64_t magic, uint16_t *scratch,
                uint8_t *out);

}  // namespace filters
}  // namespace imge
