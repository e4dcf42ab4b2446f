#include "lut/tone_tables.h"

#include <cmath>

namespace imge {
namespace lut {
namespace {

// Upper bound first, then the lower one.
inline int Clamp(long long v) { return static_cast<int>(v > 255 ? 255 : v < 0 ? 0 : v); }

// Truncation toward zero of a value already known to lie far inside the
// range of long long (contrast results are bounded by 255 * 255 + 255).
inline long long Trunc(double x) { return static_cast<long long>(x); }

inline int GammaOf(int w, double g) {
    return static_cast<int>(Trunc(std::pow(w / 255.0, 1.0 / g) * 255.0 + 0.5));
}

}  // namespace

bool ContrastIsValid(TLong c) { return c > -128 && c < 128; }
bool GammaIsValid(double g) { return std::isfinite(g) && g > 0.0; }
bool PosterizeIsValid(TLong levels) { return levels >= 2 && levels <= 256; }

void BrightnessTable(TUbyte t[256], TLong b) {
    for (int v = 0; v < 256; ++v) t[v] = static_cast<TUbyte>(Clamp(static_cast<long long>(v) + b));
}

int ContrastOf(int v, TLong c) {
    if (c > 0) return Clamp(Trunc((v - c) * 255.0 / (255 - 2 * c)));
    return Clamp(Trunc(static_cast<double>(v * (255 + 2 * c)) / 255.0 - c));
}

void ContrastTable(TUbyte t[256], TLong c) {
    for (int v = 0; v < 256; ++v) t[v] = static_cast<TUbyte>(ContrastOf(v, c));
}

void GammaTable(TUbyte t[256], double g) {
    for (int v = 0; v < 256; ++v) t[v] = static_cast<TUbyte>(GammaOf(v, g));
}

void LogTable(TUbyte t[256]) {
    for (int v = 0; v < 256; ++v)
        t[v] = static_cast<TUbyte>(Trunc(std::log(v + 1.0) * 255.0 / std::log(256.0)));
}

void LevelsTable(TUbyte t[256], TLong low, TLong high) {
    for (int v = 0; v < 256; ++v) {
        if (v <= low) t[v] = 0;
        else if (v >= high) t[v] = 255;
        // Here low < v < high, so high - low >= 2; both differences in 64
        // bits (v - low alone passes the 32-bit range for low near INT32_MIN).
        else t[v] = static_cast<TUbyte>((255LL * (v - static_cast<long long>(low))) / (static_cast<long long>(high) - low));
    }
}

// The bands in closed form: band i starts at i * step and holds i * increment,
// except that a band starting where start + increment passes 255 (the last
// one) holds 255 up to the end of the table.
void PosterizeTable(TUbyte t[256], TLong levels) {
    const int step = 256 / levels, increment = 255 / (levels - 1);
    for (int v = 0; v < 256; ++v) {
        const int band = v / step, start = band * step;
        t[v] = static_cast<TUbyte>(start + increment > 255 ? 255 : band * increment);
    }
}

void SolarizeTable(TUbyte t[256], TLong threshold) {
    for (int v = 0; v < 256; ++v) t[v] = static_cast<TUbyte>(v <= threshold ? v : 255 - v);
}

void AdjustTable(TUbyte t[256], TLong b, TLong c, double g) {
    const bool gamma = g < 0.9999 || g > 1.0001;
    for (int v = 0; v < 256; ++v) {
        int w = Clamp(static_cast<long long>(v) + b);
        w = ContrastOf(w, c);
        if (gamma) w = GammaOf(w, g);
        t[v] = static_cast<TUbyte>(w);
    }
}

}  // namespace lut
}  // namespace imge
