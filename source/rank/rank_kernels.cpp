#include "rank/rank_kernels.h"

#include <cstring>

namespace imge {
namespace rank {
namespace {

// Bytes of an edge-extended row of `width` pixels for side n.
std::size_t ExtendedBytes(int width, int bpp, int n) {
    return (static_cast<std::size_t>(width) + 2 * static_cast<std::size_t>(n >> 1)) * static_cast<std::size_t>(bpp);
}

}  // namespace

bool MinMaxKernel::Prepare(int width, int bpp) {
    bpp_ = bpp;
    stride_ = ExtendedBytes(width, bpp, n_);
    if (!scratch_.Allocate(stride_)) return false;
    return n_ < kBlockSide || blocks_.Allocate(stride_ * (static_cast<std::size_t>(n_) + 1));
}

void MinMaxKernel::Row(const uint8_t *const *slots, int begin, int end, uint8_t *out) {
    if (n_ < kBlockSide) return MinMaxRow(is_max_, slots, n_, bpp_, begin, end, scratch_.get(), out);
    const std::size_t len = static_cast<std::size_t>(end - begin) + static_cast<std::size_t>(n_ - 1) * bpp_;
    auto suffix = [this](int k) { return blocks_.get() + static_cast<std::size_t>(k) * stride_; };
    uint8_t *prefix = suffix(n_);
    // The frame passes no leaving row on the first row of the rectangle:
    // a new block starts there. Slot k holds row k of the neighbourhood.
    if (!slots[n_]) phase_ = 0;
    if (phase_ == 0) {
        // The ring holds exactly one block: suffix(k) = extreme of its rows k .. n - 1.
        std::memcpy(suffix(n_ - 1), slots[n_ - 1] + begin, len);
        for (int k = n_ - 2; k >= 1; --k) PickRows(is_max_, slots[k] + begin, suffix(k + 1), suffix(k), len);
        PickRows(is_max_, slots[0] + begin, suffix(1), scratch_.get(), len);
    } else {
        // Rows phase_ .. n - 1 of the stored block, rows 0 .. phase_ - 1 of
        // the next one (the newest row is the last slot).
        if (phase_ == 1)
            std::memcpy(prefix, slots[n_ - 1] + begin, len);
        else
            PickRows(is_max_, prefix, slots[n_ - 1] + begin, prefix, len);
        PickRows(is_max_, suffix(phase_), prefix, scratch_.get(), len);
    }
    phase_ = phase_ + 1 == n_ ? 0 : phase_ + 1;
    MinMaxRow(is_max_, slots, n_, bpp_, begin, end, scratch_.get(), out, true);
}

bool MedianBoxKernel::Prepare(int width, int bpp) {
    bpp_ = bpp;
    stride_ = ExtendedBytes(width, bpp, n_);
    if (n_ > kLargestNetwork) return coarse_.Allocate(stride_ * 16) && fine_.Allocate(stride_ * 256);
    if (!sorted_.Allocate(stride_ * static_cast<std::size_t>(n_)) || !nets_.Allocate(2)) return false;
    BuildColumnSort(n_, &nets_[0]);
    BuildBoxSelect(n_, &nets_[1]);
    return true;
}

void MedianBoxKernel::Row(const uint8_t *const *slots, int begin, int end, uint8_t *out) {
    if (n_ > kLargestNetwork) {
        // Move every column's histogram down to this row, then slide along it.
        const std::size_t reach = static_cast<std::size_t>(end) + static_cast<std::size_t>(n_ - 1) * bpp_;
        ColumnHistogramsDown(slots, n_, static_cast<std::size_t>(begin), reach, coarse_.get(), fine_.get());
        return MedianColumnsRow(coarse_.get(), fine_.get(), n_, bpp_, begin, end, out);
    }
    // Sort the column of n samples at every position the row's
    // neighbourhoods reach, then select from n neighbouring sorted columns.
    const uint8_t *in[kLargestNetwork];
    const uint8_t *sorted_in[kLargestNetwork];
    uint8_t *sorted_out[kLargestNetwork];
    for (int k = 0; k < n_; ++k) {
        in[k] = slots[k] + begin;
        sorted_out[k] = sorted_.get() + static_cast<std::size_t>(k) * stride_;
        sorted_in[k] = sorted_out[k];
    }
    const std::size_t count = static_cast<std::size_t>(end - begin);
    uint8_t *dst = out + begin;
    if (n_ == 3 && Median3Row(in, bpp_, count, dst) == count) return;
    RunNet(nets_[0], kNetColumnSort, n_, in, bpp_, count + static_cast<std::size_t>(n_ - 1) * bpp_, sorted_out);
    if (n_ == 3) return Median3SelectPlain(sorted_in, bpp_, 0, count, dst);
    RunNet(nets_[1], kNetBoxSelect, n_, sorted_in, bpp_, count, &dst);
}

bool MedianCrossKernel::Prepare(int, int bpp) {
    bpp_ = bpp;
    if (!net_.Allocate(1)) return false;
    BuildCrossSelect(n_, &net_[0]);
    return true;
}

void MedianCrossKernel::Row(const uint8_t *const *slots, int begin, int end, uint8_t *out) {
    const uint8_t *in[15];
    for (int k = 0; k < n_; ++k) in[k] = slots[k] + begin;
    uint8_t *dst = out + begin;
    RunNet(net_[0], kNetCrossSelect, n_, in, bpp_, static_cast<std::size_t>(end - begin), &dst);
}

}  // namespace rank
}  // namespace imge
