// Plain references of the channel swaps and extraction, shadow/highlight,
// colour counting and noise: the formulas as written, pixel by pixel. (HLS,
// sepia and desaturation are checked against their own plain loops.)
#pragma once

#include <vector>

#include "libimg.h"

namespace reference {

// Written into `target` (a copy of the source) over the rectangle.
void SwapColors(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, unsigned mode);
void ShadowHighlight(IMF_BITMAP *target, const IMF_RECT &rect, long shadow, long highlight);

// The grey plane imfExtractChannel makes, row by row without padding.
std::vector<TUbyte> ExtractChannel(const IMF_BITMAP &src, long channel);

// The counting as written: occurrence table, or the growing hash set.
TUlong CountColors(const IMF_BITMAP &b, long limit);

// The noise loop as written, drawing from rand() (the caller seeds it),
// into `target` (a copy of the source) over the rectangle.
TUbyte GetNoise(TUbyte pixel, int type, double amount);
void Noise(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, double amount, int type);

}  // namespace reference
