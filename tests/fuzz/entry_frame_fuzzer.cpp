// Fuzzing of the public entry frame (the img* operations on IMG_BITMAP):
// in place (dst null or *dst == src), into a new bitmap, with a null source,
// with more than 8 bits per component, on every type and size, with the
// parameters of the processing layer's refused ranges.
//
// Each framed call is compared with the processing operation itself run on a
// clone (the frame must add nothing to the pixels): an accepted operation
// gives the same pixels in place and in the new bitmap; a refused one leaves
// the source as it was, in place still reporting success, and with a
// destination reports an error and leaves *dst null. HLS and sepia, which
// have no processing-layer twin, are compared with the same call on the
// plain loops (their stated values guard the formulas).
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

#include "records/record_convert.h"
#include "fuzz_support.h"
#include "libformat.h"
#include "libimge.h"

namespace {

using fuzz::OwnedImg;
using ImgCall = std::function<IMG_ERROR(IMG_BITMAP *, IMG_BITMAP **)>;
using ImfCall = std::function<IMF_ERROR(IMF_BITMAP *, IMF_BITMAP *)>;

struct Framed {
    std::string name;
    ImgCall img;
    ImfCall imf;  // null: no processing twin (frame checks only)
};

Framed PickFramed(fuzz::Input &in) {
    const int which = fuzz::Pinned(in.Range(0, 33), fuzz::Steer().op);
    auto simple = [](const char *name, IMG_ERROR (*img)(IMG_BITMAP *, IMG_BITMAP **),
                     IMF_ERROR (*imf)(IMF_BITMAP *, IMF_BITMAP *, const IMF_RECT *)) {
        return Framed{name, img, [imf](IMF_BITMAP *s, IMF_BITMAP *d) { return imf(s, d, nullptr); }};
    };
    auto with_int = [](const char *name, IMG_ERROR (*img)(IMG_BITMAP *, IMG_BITMAP **, IMG_INT32),
                       IMF_ERROR (*imf)(IMF_BITMAP *, IMF_BITMAP *, const IMF_RECT *, TLong), IMG_INT32 v) {
        return Framed{name, [img, v](IMG_BITMAP *s, IMG_BITMAP **d) { return img(s, d, v); },
                      [imf, v](IMF_BITMAP *s, IMF_BITMAP *d) { return imf(s, d, nullptr, v); }};
    };
    switch (which) {
        case 0: return simple("negative", imgNegative, imfNegate);
        case 1: return with_int("brightness", imgBrightness, imfBrightness, in.Param(-300, 300));
        case 2: return with_int("contrast", imgContrast, imfContrast, in.Param(-127, 127));
        case 3: {
            const double g = in.Real(0.05, 5.0);
            return Framed{"gamma", [g](IMG_BITMAP *s, IMG_BITMAP **d) { return imgGamma(s, d, g); },
                          [g](IMF_BITMAP *s, IMF_BITMAP *d) { return imfGamma(s, d, nullptr, g); }};
        }
        case 4: return simple("log", imgLogCorrection, imfLog);
        case 5: {
            const IMG_INT32 b = in.Param(-300, 300), c = in.Param(-127, 127);
            const double g = in.Real(0.05, 5.0);
            return Framed{"adjust", [=](IMG_BITMAP *s, IMG_BITMAP **d) { return imgAdjust(s, d, b, c, g); },
                          [=](IMF_BITMAP *s, IMF_BITMAP *d) { return imfAdjust(s, d, nullptr, b, c, g); }};
        }
        case 6: return simple("normalize", imgNormalize, imfNormalize);
        case 7: return simple("equalize", imgEqualize, imfEqualize);
        case 8: return simple("equalize on luminance", imgEqualizeOnLuminance, imfEqualizeOnLuminance);
        case 9: return simple("automatic contrast", imgAutomaticContrast, imfAutoContrast);
        case 10: return simple("automatic levels", imgAutomaticLevels, imfAutoLevels);
        case 11: {
            const IMG_COLOR c = {static_cast<IMG_UINT16>(in.U32()), static_cast<IMG_UINT16>(in.U32()),
                                 static_cast<IMG_UINT16>(in.U32()), static_cast<IMG_UINT16>(in.U32())};
            const bool none = in.Byte() % 8 == 0;
            return Framed{"balance", [c, none](IMG_BITMAP *s, IMG_BITMAP **d) { return imgBalance(s, d, none ? nullptr : &c); },
                          nullptr};
        }
        case 12: {
            IMG_FILTER f{};
            f.Size = static_cast<IMG_INT16>(in.Range(0, 8));
            for (auto &m : f.Matrix) m = static_cast<IMG_INT16>(in.Range(-9, 9));
            f.Divisor = static_cast<IMG_INT16>(in.Range(-5, 40));
            f.Bias = static_cast<IMG_INT16>(in.Range(-300, 300));
            const bool none = in.Byte() % 8 == 0;
            return Framed{"convolve",
                          [f, none](IMG_BITMAP *s, IMG_BITMAP **d) { return imgConvolve(s, d, none ? nullptr : &f); },
                          [f, none](IMF_BITMAP *s, IMF_BITMAP *d) { return imfConvolve(s, d, nullptr, none ? nullptr : &f); }};
        }
        case 13: return simple("enhance detail", imgEnhanceDetail, imfEnhanceDetail);
        case 14: return simple("enhance focus", imgEnhanceFocus, imfEnhanceFocus);
        case 15: return simple("focus restoration", imgFocusRestoration, imfFocusRestoration);
        case 16: return simple("edge light", imgEdgeDetectLight, imfEdgeDetectLight);
        case 17: return simple("edge medium", imgEdgeDetectMedium, imfEdgeDetectMedium);
        case 18: return simple("edge heavy", imgEdgeDetectHeavy, imfEdgeDetectHeavy);
        case 19: return simple("emboss", imgEmboss, imfEmboss);
        case 20: return simple("emboss more", imgEmbossMore, imfEmbossMore);
        case 21: return with_int("sharpen", imgSharpen, imfSharpen, in.Param(-300, 300));
        case 22: return with_int("blur", imgBlur, imfBlur, in.Param(-300, 100));
        case 23: return with_int("soften", imgSoften, imfSoften, in.Param(-300, 100));
        case 24: return with_int("average", imgAverage, imfAverage, in.Param(2, 15));
        case 25: return simple("reduce noise", imgReduceNoise, imfReduceNoise);
        case 26: return with_int("minimum", imgMinimum, imfMinimum, in.Param(2, 15));
        case 27: return with_int("maximum", imgMaximum, imfMaximum, in.Param(2, 15));
        case 28: return with_int("median box", imgMedianBox, imfMedianBox, in.Param(2, 15));
        case 29: return with_int("median cross", imgMedianCross, imfMedianCross, in.Param(2, 15));
        case 30: return with_int("gaussian blur", imgGaussianBlur, imfBlurGaussian, in.Param(2, 25));
        case 31: {
            const IMG_INT32 size = in.Param(0, 10), depth = in.Param(0, 10), keep = in.Range(-1, 2);
            return Framed{"drop shadow",
                          [=](IMG_BITMAP *s, IMG_BITMAP **d) { return imgDropShadow(s, d, size, depth, keep); },
                          [=](IMF_BITMAP *s, IMF_BITMAP *d) { return imfDropShadow(s, d, nullptr, size, depth, keep); }};
        }
        default: {
            const IMG_SWAPCOLORS_MODE mode = static_cast<IMG_SWAPCOLORS_MODE>(in.Byte() % 4 == 0 ? in.U32() : in.Range(0, 5));
            return Framed{"swap colors", [mode](IMG_BITMAP *s, IMG_BITMAP **d) { return imgSwapColors(s, d, mode); },
                          [mode](IMF_BITMAP *s, IMF_BITMAP *d) { return imfSwapColors(s, d, nullptr, mode); }};
        }
    }
}

bool SamePixels(const IMG_BITMAP &a, const IMG_BITMAP &b) {
    if (a.Type != b.Type || a.Width != b.Width || a.Height != b.Height || a.BytesPerLine != b.BytesPerLine) return false;
    const size_t n = static_cast<size_t>(a.BytesPerLine) * static_cast<size_t>(a.Height);
    if (n && std::memcmp(a.Data, b.Data, n) != 0) return false;
    if (a.ColorMap && b.ColorMap && std::memcmp(a.ColorMap, b.ColorMap, sizeof(IMG_COLORMAP)) != 0) return false;
    return true;
}

// The processing twin on a clone: its result as a public bitmap (owned), or
// null when it refused.
IMG_BITMAP *Twin(const ImfCall &imf, const IMG_BITMAP &src, bool separate, IMF_ERROR *rc) {
    IMG_BITMAP *clone = imgCloneBitmap(&src);
    if (!clone) fuzz::Fail("imgCloneBitmap failed");
    IMF_BITMAP s, d;
    std::memset(&d, 0, sizeof d);
    imge::records::ToImf(&s, clone);
    *rc = imf(&s, separate ? &d : nullptr);
    if (*rc != IMF_NOERROR) {
        imgFreeBitmap(clone);
        return nullptr;
    }
    if (separate) {
        auto *out = static_cast<IMG_BITMAP *>(imgMemoryAlloc(sizeof(IMG_BITMAP)));
        if (!out) fuzz::Fail("imgMemoryAlloc failed");
        imge::records::ToImg(out, &d);
        imgFreeBitmap(clone);
        return out;
    }
    imge::records::ToImg(clone, &s);
    return clone;
}

void CheckFramed(fuzz::Input &in, IMG_BITMAP *src) {
    Framed op = PickFramed(in);
    const char *name = op.name.c_str();
    const int mode = in.Range(0, 3);  // null dst, *dst == src, new bitmap, *dst preset to another bitmap
    const bool deep = src->BitsPerComponent > 8;

    // The twin runs with the frame's own choice: a separate destination only
    // when a new bitmap is asked for.
    const bool separate = mode >= 2;
    IMF_ERROR twin_rc = IMF_NOERROR;
    IMG_BITMAP *twin = nullptr;
    if (op.imf && !deep) twin = Twin(op.imf, *src, separate, &twin_rc);

    const fuzz::ImgSnapshot before(*src);
    IMG_BITMAP *dst = mode == 1 ? src : nullptr;
    IMG_BITMAP *other = nullptr;
    if (mode == 3) {
        other = imgCreateBitmap(IMG_RGB, 2, 2);
        dst = other;  // overwritten by the new bitmap, not released by the call
    }
    IMG_BITMAP **pdst = mode == 0 ? nullptr : &dst;
    const IMG_ERROR rc = op.img(src, pdst);

    if (deep) {
        FUZZ_CHECK(rc == IMG_ERROR_BAD_PARAMETERS, "%s accepted a 16-bit bitmap", name);
        FUZZ_CHECK(before.Same(*src), "%s changed a 16-bit bitmap", name);
        FUZZ_CHECK(!pdst || dst == (mode == 1 ? src : other), "%s changed *dst for a 16-bit bitmap", name);
    } else if (!separate) {
        FUZZ_CHECK(rc == IMG_NO_ERROR || (!op.imf && rc == IMG_ERROR_BAD_PARAMETERS), "%s in place returned %d", name, rc);
        if (mode == 1) FUZZ_CHECK(dst == src, "%s in place moved *dst", name);
        if (op.imf) {
            if (twin) FUZZ_CHECK(SamePixels(*src, *twin), "%s in place differs from the processing operation", name);
            else FUZZ_CHECK(before.SamePixels(*src), "%s refused in place but changed the pixels", name);
        }
    } else {
        FUZZ_CHECK(before.Same(*src), "%s with a destination changed the source", name);
        if (rc == IMG_NO_ERROR) {
            FUZZ_CHECK(dst && dst != src && dst != other, "%s gave no new bitmap", name);
            if (op.imf) {
                FUZZ_CHECK(twin != nullptr, "%s accepted what the processing operation refused (%u)", name, twin_rc);
                FUZZ_CHECK(SamePixels(*dst, *twin), "%s new bitmap differs from the processing operation", name);
            }
            imgFreeBitmap(dst);
        } else {
            // The frame leaves *dst null; refusals before it (a null colour)
            // leave it as it was.
            FUZZ_CHECK(dst == nullptr || (!op.imf && dst == other), "%s refused (%d) but left *dst set", name, rc);
            if (op.imf) {
                FUZZ_CHECK(twin == nullptr, "%s refused (%d) what the processing operation accepted", name, rc);
                FUZZ_CHECK(rc == (twin_rc == IMF_ERRMEMORY ? IMG_ERROR_NO_MEMORY : IMG_ERROR_BAD_PARAMETERS),
                           "%s returned %d for %u", name, rc, twin_rc);
            }
        }
    }
    imgFreeBitmap(twin);
    imgFreeBitmap(other);
}

// HLS, sepia and sepia with a colour: true-colour types only (CMYK included), percentages
// 0..100, colour components 0..255; compared with the plain loops.
void CheckTrueColour(fuzz::Input &in, IMG_BITMAP *src) {
    const int which = fuzz::Pinned(in.Range(0, 2), fuzz::Steer().op);
    const IMG_INT32 a = in.Param(-200, 200), b_inc = in.Param(-200, 200), c = in.Param(-200, 200);
    const IMG_INT32 percent = in.Param(0, 100);
    IMG_COLOR colour = {in.Byte(), in.Byte(), in.Byte(), in.Byte()};
    if (in.Byte() % 8 == 0) colour.Green = static_cast<IMG_UINT16>(256 + in.Byte());
    const bool no_colour = in.Byte() % 16 == 0;
    const unsigned t = src->Type;
    bool ok = src->BitsPerComponent <= 8 && (t & IMG_TRUECOLORS);  // CMYK as RGB positions
    if (which >= 1) ok = ok && percent >= 0 && percent <= 100;
    if (which == 2) ok = ok && !no_colour && colour.Red <= 255 && colour.Green <= 255 && colour.Blue <= 255;
    const bool with_dst = in.Coin();

    auto call = [&](IMG_BITMAP *b, IMG_BITMAP **d) {
        return which == 0   ? imgAdjustHLS(b, d, a, b_inc, c)
               : which == 1 ? imgSepia(b, d, percent)
                            : imgSepiaEx(b, d, percent, no_colour ? nullptr : &colour);
    };
    OwnedImg expect;  // the plain loops' result
    if (ok) {
        const fuzz::PlainPath plain;
        FUZZ_CHECK(call(src, &expect.b) == IMG_NO_ERROR, "colour op %d refused on the plain loops", which);
    }
    const fuzz::ImgSnapshot before(*src);
    IMG_BITMAP *dst = nullptr;
    IMG_BITMAP **pdst = with_dst ? &dst : nullptr;
    const IMG_ERROR rc = call(src, pdst);
    if (rc != IMG_NO_ERROR) {
        FUZZ_CHECK(!ok, "colour op %d refused type %u", which, t);
        FUZZ_CHECK(before.Same(*src), "colour op %d refused but changed the source", which);
        FUZZ_CHECK(dst == nullptr, "colour op %d refused but set *dst", which);
        return;
    }
    FUZZ_CHECK(ok, "colour op %d accepted type %u bits %u percent %d", which, t, src->BitsPerComponent, percent);
    const IMG_BITMAP *out = src;
    if (with_dst) {
        FUZZ_CHECK(dst && dst != src, "colour op %d gave no new bitmap", which);
        FUZZ_CHECK(before.Same(*src), "colour op %d with a destination changed the source", which);
        out = dst;
    }
    FUZZ_CHECK(SamePixels(*out, *expect.b), "colour op %d differs from the plain loops, type %u", which, t);
    imgFreeBitmap(dst);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const fuzz::PathChoice paths(data, size);
    fuzz::Input in(data, size);
    const unsigned type = testing_support::kAllTypes[in.Range(0, 9)];
    const int w = fuzz::Side(in, 100), h = fuzz::Side(in, 24);
    OwnedImg src;
    fuzz::MakeImg(in, type, w, h, &src);
    if (!src.b) return 0;
    if (in.Byte() % 12 == 0) src.b->BitsPerComponent = static_cast<IMG_UINT16>(in.Coin() ? 16 : 9);

    switch (fuzz::Pinned(in.Byte() % 8, fuzz::Steer().branch)) {  // 0: HLS and sepia, 2 and above: the others
        case 0: CheckTrueColour(in, src.b); break;
        case 1: {
            // Null sources are refused everywhere, colour counting included.
            IMG_BITMAP *dst = nullptr;
            FUZZ_CHECK(imgNegative(nullptr, &dst) == IMG_ERROR_BAD_PARAMETERS && dst == nullptr);
            FUZZ_CHECK(imgSepia(nullptr, &dst, 50) == IMG_ERROR_BAD_PARAMETERS && dst == nullptr);
            FUZZ_CHECK(imgGetNumberOfColorsUsed(nullptr) == 0xFFFFFFFFu);
            if (src.b->BitsPerComponent <= 8) {
                IMF_BITMAP view;
                imge::records::ToImf(&view, src.b);
                FUZZ_CHECK(imgGetNumberOfColorsUsed(src.b) == imfGetCountColors(&view, -1));
            }
            break;
        }
        default: CheckFramed(in, src.b); break;
    }
    return 0;
}
