// Shared pieces of the benchmarks: the test image, and the ratio table that
// is printed after the run ("ours / peer" for each registered pair).
#pragma once

#include <string>

#include "libimg.h"

namespace bench {

constexpr int kWidth = 4000;
constexpr int kHeight = 3000;

// A deterministic photo-like image (smooth gradients, texture, edges, noise)
// of the given type, allocated with imfAllock; release with imfFree.
IMF_BITMAP MakePhoto(int width, int height, unsigned type);

// After the run, prints time(ours) / time(peer) with the target ratio.
// Names are full benchmark names as registered.
void AddRatio(const std::string &ours, const std::string &peer, double target);

}  // namespace bench
