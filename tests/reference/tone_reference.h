// Plain references of the histograms and the automatic corrections: the
// formulas as written, pixel by pixel (the tone curves are the library's own,
// guarded by their stated values).
#pragma once

#include "libimg.h"

namespace reference {

// Histograms over the whole bitmap.
void LuminanceHistogram(const IMF_BITMAP &b, TUlong hist[256]);
void AllHistogram(const IMF_BITMAP &b, TUlong hist[4 * 256]);
void ComponentHistogram(const IMF_BITMAP &b, TUlong hist[4 * 256]);

// The corrections: statistics of `src`, tables applied to `target` (a copy of
// src, or src) over the rectangle, ColorUsed set as the operations set it.
void Equalize(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect);
void EqualizeOnLuminance(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect);
void AutoLevels(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect);
void Normalize(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect);
void AutoContrast(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect);
void Balance(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, const long values[3]);

// The brightness and contrast that automatic contrast passes to the adjustment.
void AutoContrastParameters(const IMF_BITMAP &src, long *brightness, long *contrast);

}  // namespace reference
