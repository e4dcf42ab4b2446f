// The table operations of the tone curves: each refuses a binary source,
// then parameters outside the curve's range, builds its table and hands it
// to ApplyLut.
#include "libformat.h"
#include "lut/lut_engine.h"
#include "lut/tone_tables.h"

namespace {

// The common head: no source or a binary one is refused before anything else.
inline IMF_ERROR Refuse(const IMF_BITMAP *src) {
    if (!src) return IMF_ERRBADPARAMS;
    return src->Type == IMF_BINARY ? IMF_ERRBADBITMAP : IMF_NOERROR;
}

}  // namespace

extern "C" {

IMF_ERROR imfBrightness(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong brightness) {
    if (IMF_ERROR rc = Refuse(src)) return rc;
    TUbyte t[256];
    imge::lut::BrightnessTable(t, brightness);
    return imge::lut::ApplyLut(src, dst, area, t);
}

IMF_ERROR imfContrast(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong contrast) {
    if (IMF_ERROR rc = Refuse(src)) return rc;
    if (!imge::lut::ContrastIsValid(contrast)) return IMF_ERRBADPARAMS;
    TUbyte t[256];
    imge::lut::ContrastTable(t, contrast);
    return imge::lut::ApplyLut(src, dst, area, t);
}

IMF_ERROR imfGamma(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, double gamma) {
    if (IMF_ERROR rc = Refuse(src)) return rc;
    if (!imge::lut::GammaIsValid(gamma)) return IMF_ERRBADPARAMS;
    TUbyte t[256];
    imge::lut::GammaTable(t, gamma);
    return imge::lut::ApplyLut(src, dst, area, t);
}

IMF_ERROR imfLog(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    if (IMF_ERROR rc = Refuse(src)) return rc;
    TUbyte t[256];
    imge::lut::LogTable(t);
    return imge::lut::ApplyLut(src, dst, area, t);
}

IMF_ERROR imfLevels(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong low, TLong high) {
    if (IMF_ERROR rc = Refuse(src)) return rc;
    TUbyte t[256];
    imge::lut::LevelsTable(t, low, high);
    return imge::lut::ApplyLut(src, dst, area, t);
}

IMF_ERROR imfPosterize(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong levels) {
    if (IMF_ERROR rc = Refuse(src)) return rc;
    if (!imge::lut::PosterizeIsValid(levels)) return IMF_ERRBADPARAMS;
    TUbyte t[256];
    imge::lut::PosterizeTable(t, levels);
    return imge::lut::ApplyLut(src, dst, area, t);
}

IMF_ERROR imfSolarize(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong threshold) {
    if (IMF_ERROR rc = Refuse(src)) return rc;
    TUbyte t[256];
    imge::lut::SolarizeTable(t, threshold);
    return imge::lut::ApplyLut(src, dst, area, t);
}

IMF_ERROR imfAdjust(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong brightness, TLong contrast,
                    double gamma) {
    if (IMF_ERROR rc = Refuse(src)) return rc;
    if (!imge::lut::ContrastIsValid(contrast) || !imge::lut::GammaIsValid(gamma)) return IMF_ERRBADPARAMS;
    TUbyte t[256];
    imge::lut::AdjustTable(t, brightness, contrast, gamma);
    return imge::lut::ApplyLut(src, dst, area, t);
}

// With a contrast or gamma that imfAdjust refuses, the table is the identity
// (the function has no way to report the refusal).
void imfGetAdjustLut(TUbyte table[256], TLong brightness, TLong contrast, double gamma) {
    if (!table) return;
    if (!imge::lut::ContrastIsValid(contrast) || !imge::lut::GammaIsValid(gamma)) {
        for (int v = 0; v < 256; ++v) table[v] = static_cast<TUbyte>(v);
        return;
    }
    imge::lut::AdjustTable(table, brightness, contrast, gamma);
}

}  // extern "C"
