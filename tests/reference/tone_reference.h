// Plain references of the tone curves, the histograms and the automatic
// corrections: the formulas as written, value by value and pixel by pixel.
#pragma once

#include "libimg.h"

namespace reference {

// The curves, one entry at a time.
void BrightnessTable(TUbyte t[256], long b);
void ContrastTable(TUbyte t[256], long c);
void GammaTable(TUbyte t[256], double g);
void LogTable(TUbyte t[256]);
void LevelsTable(TUbyte t[256], long low, long high);
void PosterizeTable(TUbyte t[256], long levels);  // the band loop
void SolarizeTable(TUbyte t[256], long threshold);
void AdjustTable(TUbyte t[256], long b, long c, double g);

// The per-pixel operations, written into `target` (a copy of the source of
// the same layout) over the rectangle.
int Conbright(int value, long amount, int max);
void ContraBrightness(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, long amount);
void Gammasat(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, double g);

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
