// Test support: random bitmaps of every type, owning wrappers, comparisons.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "libimg.h"

namespace testing_support {

// Every type the pixel code handles, binary first.
extern const unsigned kAllTypes[10];
// The nine byte-per-pixel types (all but binary).
extern const unsigned kByteTypes[9];

// An IMF_BITMAP that releases its buffers with imfFree.
struct OwnedImf {
    IMF_BITMAP b{};
    OwnedImf() = default;
    OwnedImf(const OwnedImf &) = delete;
    OwnedImf &operator=(const OwnedImf &) = delete;
    ~OwnedImf();
    IMF_BITMAP *operator->() { return &b; }
    IMF_BITMAP *get() { return &b; }
};

// Fills `out` with a bitmap of random pixels (and a random palette for
// colour-mapped bitmaps); `pack` pads the rows.
void MakeRandom(std::mt19937 &rng, unsigned type, int width, int height, int pack, OwnedImf *out);

// Deep copy (pixels, palette, extended data) for later comparison.
void Clone(const IMF_BITMAP &src, OwnedImf *out);

// Empty string when both bitmaps have the same geometry, type, palette
// (when both have one) and pixel bytes (only the row bytes, not the padding);
// otherwise a description of the first difference.
std::string Diff(const IMF_BITMAP &a, const IMF_BITMAP &b);

// A random area inside a width x height bitmap (possibly empty).
IMF_RECT RandomArea(std::mt19937 &rng, int width, int height);

std::string TypeName(unsigned type);

}  // namespace testing_support
