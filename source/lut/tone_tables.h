// Builders of the 256-entry tone curves. Each fills `t` for v = 0..255 from
// its parameters; the curve work (floating point included) is done here,
// once per table, never per pixel.
#pragma once

#include "libimg.h"

namespace imge {
namespace lut {

// Parameter ranges the curves are defined on. Operations refuse anything
// else with IMF_ERRBADPARAMS before touching the bitmap:
//   contrast c with -128 < c < 128 (255 - 2c must stay positive, and at
//   c <= -128 the curve falls instead of rising);
//   gamma g finite and above 0 (the exponent is 1 / g);
//   posterize levels 2..256.
bool ContrastIsValid(TLong c);
bool GammaIsValid(double g);
bool PosterizeIsValid(TLong levels);

// clamp(v + b).
void BrightnessTable(TUbyte t[256], TLong b);
// The contrast curve (c > 0 stretches around the centre, c < 0 compresses).
void ContrastTable(TUbyte t[256], TLong c);
// trunc(pow(v / 255, 1 / g) * 255 + 0.5).
void GammaTable(TUbyte t[256], double g);
// trunc(ln(v + 1) * 255 / ln(256)).
void LogTable(TUbyte t[256]);
// 0 up to low, 255 from high, linear in between.
void LevelsTable(TUbyte t[256], TLong low, TLong high);
// `levels` bands of equal width (levels 2..256).
void PosterizeTable(TUbyte t[256], TLong levels);
// v up to the threshold, 255 - v above it.
void SolarizeTable(TUbyte t[256], TLong threshold);
// Brightness, then contrast, then gamma (skipped for 0.9999 <= g <= 1.0001).
void AdjustTable(TUbyte t[256], TLong b, TLong c, double g);

// One contrast step on a value 0..255 (the curve of ContrastTable).
int ContrastOf(int v, TLong c);

}  // namespace lut
}  // namespace imge
