#include "reference/tone_reference.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "libtools.h"
#include "lut/tone_tables.h"
#include "reference/lut_reference.h"

namespace reference {
namespace {

int clamp(double v) { return v > 255 ? 255 : v < 0 ? 0 : static_cast<int>(v); }

const TUbyte *PixelAt(const IMF_BITMAP &b, int x, int y) { return b.Data + y * b.BytesPerLine + x * b.BytesPerPixel; }

void RgbAt(unsigned type, int *r, int *g, int *b) {
    if (type == IMF_BGR || type == IMF_BGRA) { *r = 2; *g = 1; *b = 0; }
    else if (type == IMF_ABGR) { *r = 3; *g = 2; *b = 1; }
    else if (type == IMF_ARGB) { *r = 1; *g = 2; *b = 3; }
    else { *r = 0; *g = 1; *b = 2; }
}

int ChannelCount(const IMF_BITMAP &b) { return b.BytesPerPixel == 4 ? 3 : b.BytesPerPixel; }

// An empty bitmap has no statistics: the corrections leave it as it is.
bool NoPixels(const IMF_BITMAP &b) { return b.Width == 0 || b.Height == 0; }

void MarkLevels(IMF_BITMAP *target) {
    if (target->Type == IMF_BINARY || target->Type == IMF_GREY || target->Type == IMF_COLORS) target->ColorUsed = 256;
}

void EqualizeCurve(const TUlong *hist, TUbyte *table) {
    double c[256];
    double sum = 0;
    for (int i = 0; i < 256; ++i) { sum += hist[i]; c[i] = sum; }
    double range = c[255] - c[0];
    if (range <= 0) range = 1;
    for (int i = 0; i < 256; ++i) table[i] = static_cast<TUbyte>(std::trunc((c[i] - c[0]) * 255.0 / range));
}

void LevelsCurve(const TUlong *hist, long threshold, bool clip, TUbyte *table) {
    int low = -1, high = -1;
    if (clip) {
        for (int i = 0; i < 256 && low < 0; ++i) {
            long long s = 0;
            for (int j = 0; j <= i; ++j) s += hist[j];
            if (s > threshold) low = i;
        }
        for (int i = 255; i >= 0 && high < 0; --i) {
            long long s = 0;
            for (int j = i; j <= 255; ++j) s += hist[j];
            if (s > threshold) high = i;
        }
    }
    if (!clip || low == high) {
        for (int i = 255; i >= 0; --i) if (hist[i]) low = i;
        for (int i = 0; i < 256; ++i) if (hist[i]) high = i;
    }
    for (int i = 0; i < 256; ++i) {
        if (i < low) table[i] = 0;
        else if (i > high) table[i] = 255;
        else if (high == low) table[i] = static_cast<TUbyte>(i);
        else table[i] = static_cast<TUbyte>((255 * (i - low)) / (high - low));
    }
}

void PerChannel(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, bool equalize, bool clip) {
    TUlong hist[4 * 256];
    ComponentHistogram(src, hist);
    TUbyte tables[768];
    const long threshold = static_cast<long>(static_cast<long long>(src.Width) * src.Height / 1000);
    for (int k = 0; k < 3; ++k) {
        int from = k < ChannelCount(src) ? k : 0;  // one-channel bitmaps: table 0 everywhere
        if (equalize) EqualizeCurve(hist + 256 * from, tables + 256 * k);
        else LevelsCurve(hist + 256 * from, threshold, clip, tables + 256 * k);
    }
    ApplyLutMore(src, target, rect, tables);
    MarkLevels(target);
}

}  // namespace

void LuminanceHistogram(const IMF_BITMAP &b, TUlong hist[256]) {
    std::memset(hist, 0, 256 * sizeof(TUlong));
    int r, g, bl;
    RgbAt(b.Type, &r, &g, &bl);
    for (int y = 0; y < b.Height; ++y)
        for (int x = 0; x < b.Width; ++x) {
            if (b.Type == IMF_BINARY) {  // each bit counts as 0 or 255
                ++hist[imfGetBitAtBuffer(b.Data + static_cast<long long>(y) * b.BytesPerLine, x) ? 255 : 0];
                continue;
            }
            const TUbyte *p = PixelAt(b, x, y);
            if (b.BytesPerPixel == 1) ++hist[p[0]];
            else ++hist[(77 * p[r] + 150 * p[g] + 29 * p[bl]) >> 8];
        }
}

void AllHistogram(const IMF_BITMAP &b, TUlong hist[4 * 256]) {
    std::memset(hist, 0, 4 * 256 * sizeof(TUlong));
    if (b.BitsPerComponent == 1) {
        for (int k = 0; k < 4; ++k) hist[256 * k] = 1;
        return;
    }
    int r, g, bl;
    RgbAt(b.Type, &r, &g, &bl);
    for (int y = 0; y < b.Height; ++y)
        for (int x = 0; x < b.Width; ++x) {
            const TUbyte *p = PixelAt(b, x, y);
            if (b.BytesPerPixel == 1) { ++hist[p[0]]; continue; }
            ++hist[(77 * p[r] + 150 * p[g] + 29 * p[bl]) >> 8];
            if (b.BytesPerPixel > 2) {
                ++hist[256 + p[r]];
                ++hist[512 + p[g]];
                ++hist[768 + p[bl]];
            }
        }
}

void ComponentHistogram(const IMF_BITMAP &b, TUlong hist[4 * 256]) {
    std::memset(hist, 0, 4 * 256 * sizeof(TUlong));
    for (int y = 0; y < b.Height; ++y)
        for (int x = 0; x < b.Width; ++x)
            for (int k = 0; k < b.BytesPerPixel; ++k) ++hist[256 * k + PixelAt(b, x, y)[k]];
}

void Equalize(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect) {
    if (NoPixels(src)) return;
    PerChannel(src, target, rect, true, false);
}

void EqualizeOnLuminance(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect) {
    if (NoPixels(src)) return;
    TUlong hist[256];
    LuminanceHistogram(src, hist);
    TUbyte table[256];
    EqualizeCurve(hist, table);
    ApplyLut(src, target, rect, table);
    MarkLevels(target);
}

void AutoLevels(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect) {
    if (NoPixels(src)) return;
    PerChannel(src, target, rect, false, true);
}

void Normalize(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect) {
    if (NoPixels(src)) return;
    PerChannel(src, target, rect, false, false);
}

void AutoContrastParameters(const IMF_BITMAP &src, long *brightness, long *contrast) {
    TUlong hist[256];
    LuminanceHistogram(src, hist);
    const long long t = static_cast<long long>(src.Width) * src.Height / 1000;
    int lo = 255, hi = 0;
    long long s = 0;
    for (int i = 0; i < 256; ++i) { s += hist[i]; if (s > t) { lo = i; break; } }
    s = 0;
    for (int i = 255; i >= 0; --i) { s += hist[i]; if (s > t) { hi = i; break; } }
    if (lo == hi) {
        for (int i = 255; i >= 0; --i) if (hist[i]) lo = i;
        for (int i = 0; i < 256; ++i) if (hist[i]) hi = i;
    }
    *brightness = 128 - (hi + lo) / 2;
    *contrast = (255 - (hi - lo)) / 2;
}

void AutoContrast(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect) {
    if (NoPixels(src)) return;
    long b, c;
    AutoContrastParameters(src, &b, &c);
    TUbyte table[256];
    imge::lut::AdjustTable(table, b, c, 1.0);
    ApplyLut(src, target, rect, table);
}

void Balance(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, const long values[3]) {
    TUbyte tables[768];
    for (int k = 0; k < 3; ++k)
        for (int i = 0; i < 256; ++i) tables[256 * k + i] = static_cast<TUbyte>(clamp(static_cast<double>(i) + values[k]));
    ApplyLutMore(src, target, rect, tables);
    MarkLevels(target);
}

}  // namespace reference
