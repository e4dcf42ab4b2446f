// The automatic corrections: each measures the whole source once (a
// histogram), derives its tables from the 256-entry counts, and applies them
// to the rectangle through the table engine.
#include <cstring>

#include "core/bitmap_check.h"
#include "libformat.h"
#include "lut/histogram.h"
#include "lut/lut_engine.h"

namespace {

// Refusals common to every correction, before anything is measured.
IMF_ERROR Check(const IMF_BITMAP *src) {
    if (!src) return IMF_ERRBADPARAMS;
    if (src->Type == IMF_BINARY || !imge::BitmapIsValid(src)) return IMF_ERRBADBITMAP;
    if (src->Type == IMF_COLORS && !src->ColorMap) return IMF_ERRBADBITMAP;
    return IMF_NOERROR;
}

// Byte 3 of 4-byte pixels is never corrected.
int Channels(const IMF_BITMAP *b) { return b->BytesPerPixel == 4 ? 3 : b->BytesPerPixel; }

bool IsEmpty(const IMF_BITMAP *b) { return b->Width == 0 || b->Height == 0; }

// An empty bitmap has no statistics: it comes back unchanged (with a
// destination, as a plain copy) and code 0, after the usual area check.
IMF_ERROR LeaveUnchanged(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    TUbyte identity[768];
    for (int k = 0; k < 3; ++k)
        for (int v = 0; v < 256; ++v) identity[256 * k + v] = static_cast<TUbyte>(v);
    return imge::lut::ApplyLutMore(src, dst, area, identity);
}

// A one-channel bitmap (grey, colour-mapped) sends the same table to the
// palette's Red, Green and Blue.
void CopyFirstTable(TUbyte tables[768], int channels) {
    if (channels != 1) return;
    std::memcpy(tables + 256, tables, 256);
    std::memcpy(tables + 512, tables, 256);
}

// Applies the tables; on success a grey, colour-mapped (or binary-flagged)
// target is declared to hold 256 levels.
IMF_ERROR ApplyAndMark(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, const TUbyte tables[768]) {
    IMF_ERROR rc = imge::lut::ApplyLutMore(src, dst, area, tables);
    if (rc != IMF_NOERROR) return rc;
    IMF_BITMAP *target = dst ? dst : src;
    if (target->Type & (IMF_BINARY | IMF_GREY | IMF_COLORS)) target->ColorUsed = 256;
    return IMF_NOERROR;
}

// Equalisation curve of one 256-counter histogram.
void EqualizeTable(const TUlong *hist, TUbyte *table) {
    long long cum[256];
    long long sum = 0;
    for (int i = 0; i < 256; ++i) cum[i] = sum += hist[i];
    long long range = cum[255] - cum[0];
    if (range <= 0) range = 1;
    for (int i = 0; i < 256; ++i)
        table[i] = static_cast<TUbyte>(static_cast<long long>((cum[i] - cum[0]) * 255.0 / range));
}

// 0 below low, 255 above high, linear in between (the identity when
// low == high).
void StretchTable(int low, int high, TUbyte *table) {
    for (int i = 0; i < 256; ++i) {
        if (i < low) table[i] = 0;
        else if (i > high) table[i] = 255;
        else table[i] = static_cast<TUbyte>(high == low ? i : (255 * (i - low)) / (high - low));
    }
}

// Smallest and largest values with a non-zero count (left as they are when
// every count is zero).
void OccupiedRange(const TUlong *hist, int *low, int *high) {
    for (int i = 0; i < 256; ++i)
        if (hist[i]) { *low = i; break; }
    for (int i = 255; i >= 0; --i)
        if (hist[i]) { *high = i; break; }
}

// low: the smallest i at which the count from 0 exceeds t; high: the largest
// i at which the count from 255 down exceeds t. Each keeps its value when no
// such i exists.
void ClippedRange(const TUlong *hist, long long t, int *low, int *high) {
    long long sum = 0;
    for (int i = 0; i < 256; ++i)
        if ((sum += hist[i]) > t) { *low = i; break; }
    sum = 0;
    for (int i = 255; i >= 0; --i)
        if ((sum += hist[i]) > t) { *high = i; break; }
}

long long PixelCount(const IMF_BITMAP *b) { return static_cast<long long>(b->Width) * b->Height; }

// Tables of automatic levels (clip = true) or normalisation (clip = false).
IMF_ERROR Stretch(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, bool clip) {
    if (IMF_ERROR rc = Check(src)) return rc;
    if (IsEmpty(src)) return LeaveUnchanged(src, dst, area);
    TUlong hist[4 * 256];
    const int channels = Channels(src);
    imge::lut::CreateHistogram(src, hist, channels);
    TUbyte tables[768];
    const long long t = PixelCount(src) / 1000;
    for (int k = 0; k < channels; ++k) {
        const TUlong *h = hist + 256 * k;
        int low = 0, high = 255;
        if (clip) ClippedRange(h, t, &low, &high);
        if (!clip || low == high) OccupiedRange(h, &low, &high);
        StretchTable(low, high, tables + 256 * k);
    }
    CopyFirstTable(tables, channels);
    return ApplyAndMark(src, dst, area, tables);
}

}  // namespace

extern "C" {

IMF_ERROR imfEqualize(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    if (IMF_ERROR rc = Check(src)) return rc;
    if (IsEmpty(src)) return LeaveUnchanged(src, dst, area);
    TUlong hist[4 * 256];
    const int channels = Channels(src);
    imge::lut::CreateHistogram(src, hist, channels);
    TUbyte tables[768];
    for (int k = 0; k < channels; ++k) EqualizeTable(hist + 256 * k, tables + 256 * k);
    CopyFirstTable(tables, channels);
    return ApplyAndMark(src, dst, area, tables);
}

IMF_ERROR imfEqualizeOnLuminance(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    if (IMF_ERROR rc = Check(src)) return rc;
    if (IsEmpty(src)) return LeaveUnchanged(src, dst, area);
    TUlong hist[256];
    imge::lut::CountLuminance(src, hist);
    TUbyte table[256];
    EqualizeTable(hist, table);
    IMF_ERROR rc = imge::lut::ApplyLut(src, dst, area, table);
    if (rc != IMF_NOERROR) return rc;
    IMF_BITMAP *target = dst ? dst : src;
    if (target->Type & (IMF_BINARY | IMF_GREY | IMF_COLORS)) target->ColorUsed = 256;
    return IMF_NOERROR;
}

IMF_ERROR imfAutoLevels(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    return Stretch(src, dst, area, true);
}

IMF_ERROR imfNormalize(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    return Stretch(src, dst, area, false);
}

IMF_ERROR imfAutoContrast(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    if (IMF_ERROR rc = Check(src)) return rc;
    if (IsEmpty(src)) return LeaveUnchanged(src, dst, area);
    TUlong hist[256];
    imge::lut::CountLuminance(src, hist);
    int lo = 255, hi = 0;
    ClippedRange(hist, PixelCount(src) / 1000, &lo, &hi);
    if (lo == hi) OccupiedRange(hist, &lo, &hi);
    const TLong brightness = 128 - (hi + lo) / 2;
    const TLong contrast = (255 - (hi - lo)) / 2;
    return imfAdjust(src, dst, area, brightness, contrast, 1.0);
}

IMF_ERROR imfBalance(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, const TLong values[4]) {
    if (IMF_ERROR rc = Check(src)) return rc;
    if (!values) return IMF_ERRBADPARAMS;
    TUbyte tables[768];
    for (int k = 0; k < 3; ++k)
        for (int i = 0; i < 256; ++i) {
            const long long v = i + static_cast<long long>(values[k]);
            tables[256 * k + i] = static_cast<TUbyte>(v > 255 ? 255 : v < 0 ? 0 : v);
        }
    return ApplyAndMark(src, dst, area, tables);
}

}  // extern "C"
