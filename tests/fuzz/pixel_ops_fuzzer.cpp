// Differential fuzzing of every exported pixel operation of the processing
// layer (imf*): the input chooses the operation, the bitmap (type, size,
// padding, origin, ColorUsed, palette), the processing area, the parameters
// (extremes and refused ranges included), in place, with a destination or
// with the source as its own destination, and sometimes a damaged record.
//
// Accepted calls are compared byte for byte with independent plain references
// (within 1 for the Gaussian blur and the drop shadow), or, where a reference
// would only retype the formula of the plain loops, with the same call on the
// plain loops (tone curves are the library's own, applied by the reference);
// refused calls must leave the source record, its pixels, padding and palette
// and the destination record exactly as they were. Whether a call must be
// accepted is decided here independently of the library: type, area inside
// the bitmap, parameter ranges.
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "libformat.h"
#include "reference/colour_reference.h"
#include "reference/filters_reference.h"
#include "reference/lut_reference.h"
#include "reference/rank_reference.h"
#include "reference/tone_reference.h"
#include "lut/tone_tables.h"

using testing_support::OwnedImf;

namespace {

constexpr unsigned kByte = IMF_GREY | IMF_COLORS | IMF_TRUECOLORS;
constexpr unsigned kAll = IMF_BINARY | kByte;
constexpr unsigned kTrue = IMF_TRUECOLORS;
constexpr unsigned kNotMapped = IMF_GREY | IMF_TRUECOLORS;

using Fast = std::function<IMF_ERROR(IMF_BITMAP *, IMF_BITMAP *, const IMF_RECT *)>;
// Writes the expected bytes of `rect` into `target` (a copy of src).
using Ref = std::function<void(const IMF_BITMAP &, IMF_BITMAP *, const IMF_RECT &)>;
// Makes the whole expected bitmap in *out (operations that resize or blur).
using WholeRef = std::function<IMF_ERROR(const IMF_BITMAP &, const IMF_RECT *, IMF_BITMAP *)>;

struct Op {
    std::string name;
    unsigned types = kByte;  // accepted types
    bool params_ok = true;   // parameters in the accepted range
    bool decided = true;     // false: acceptance depends on more than the above
    Fast fast;
    Ref ref;                 // null: no byte comparison
    WholeRef whole;
    int tolerance = 0;
};

Op Make(std::string name, unsigned types, bool params_ok, Fast fast, Ref ref = nullptr) {
    Op op;
    op.name = std::move(name);
    op.types = types;
    op.params_ok = params_ok;
    op.fast = std::move(fast);
    op.ref = std::move(ref);
    return op;
}

// A table operation: the expected bytes are the table applied by the reference.
Op LutOp(const char *name, bool params_ok, Fast fast, std::function<void(TUbyte *)> table) {
    return Make(name, kByte, params_ok, std::move(fast), [table](const IMF_BITMAP &s, IMF_BITMAP *t, const IMF_RECT &r) {
        TUbyte lut[256];
        table(lut);
        reference::ApplyLut(s, t, r, lut);
    });
}

Op Table(const char *name, IMF_ERROR (*fn)(IMF_BITMAP *, IMF_BITMAP *, const IMF_RECT *, TLong), TLong v,
         void (*table)(TUbyte *, TLong), bool params_ok = true) {
    return LutOp(name, params_ok, [fn, v](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return fn(s, d, a, v); },
                 [table, v](TUbyte *t) { table(t, v); });
}

// The expected result is the same call on the plain loops, into a new bitmap
// (with a destination the source is only read).
Op PlainTwin(Op op) {
    op.whole = [fast = op.fast](const IMF_BITMAP &s, const IMF_RECT *a, IMF_BITMAP *out) {
        const fuzz::PlainPath plain;
        IMF_BITMAP source = s;
        return fast(&source, out, a);
    };
    return op;
}

bool GammaOk(double g) { return std::isfinite(g) && g > 0.0; }

Op PickOp(fuzz::Input &in) {
    const int which = fuzz::Pinned(in.Range(0, 45), fuzz::Steer().op);
    switch (which) {
        case 0: return Table("brightness", imfBrightness, in.Param(-300, 300), imge::lut::BrightnessTable);
        case 1: {
            const TLong c = in.Param(-127, 127);
            return Table("contrast", imfContrast, c, imge::lut::ContrastTable, c > -128 && c < 128);
        }
        case 2: {
            const double g = in.Real(0.01, 8.0);
            return LutOp("gamma", GammaOk(g), [g](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfGamma(s, d, a, g); },
                         [g](TUbyte *t) { imge::lut::GammaTable(t, g); });
        }
        case 3:
            return LutOp("log", true, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfLog(s, d, a); },
                         [](TUbyte *t) { imge::lut::LogTable(t); });
        case 4: {
            const TLong lo = in.Param(0, 255), hi = in.Param(0, 255);
            return LutOp("levels", true,
                         [lo, hi](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfLevels(s, d, a, lo, hi); },
                         [lo, hi](TUbyte *t) { imge::lut::LevelsTable(t, lo, hi); });
        }
        case 5: {
            const TLong n = in.Param(2, 256);
            return Table("posterize", imfPosterize, n, imge::lut::PosterizeTable, n >= 2 && n <= 256);
        }
        case 6: return Table("solarize", imfSolarize, in.Param(-1, 256), imge::lut::SolarizeTable);
        case 7: {
            const TLong b = in.Param(-300, 300), c = in.Param(-127, 127);
            const double g = in.Real(0.05, 5.0);
            return LutOp("adjust", c > -128 && c < 128 && GammaOk(g),
                         [b, c, g](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfAdjust(s, d, a, b, c, g); },
                         [b, c, g](TUbyte *t) { imge::lut::AdjustTable(t, b, c, g); });
        }
        case 8:
            return Make("negate", kAll, true, imfNegate, [](const IMF_BITMAP &s, IMF_BITMAP *t, const IMF_RECT &r) {
                if (s.Type == IMF_BINARY) return reference::NegateBits(t, r);
                TUbyte lut[256];
                for (int i = 0; i < 256; ++i) lut[i] = static_cast<TUbyte>(255 - i);
                reference::ApplyLut(s, t, r, lut);
            });
        case 9: {
            std::vector<TUbyte> table(256);
            for (auto &v : table) v = in.Byte();
            return LutOp("apply lut", true,
                         [table](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfApplyLut(s, d, a, table.data()); },
                         [table](TUbyte *t) { std::memcpy(t, table.data(), 256); });
        }
        case 10: {
            const TLong amount = in.Param(-300, 300);
            return PlainTwin(Make("contrabrightness", kNotMapped, true, [amount](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) {
                return imfContraBrightness(s, d, a, amount);
            }));
        }
        case 11: {
            const double g = in.Real(0.05, 5.0);
            return PlainTwin(Make("gammasat", kTrue, GammaOk(g), [g](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) {
                return imfGammasat(s, d, a, g);
            }));
        }
        case 12: case 13: case 14: case 15: case 16: {
            static const struct {
                const char *name;
                IMF_ERROR (*fast)(IMF_BITMAP *, IMF_BITMAP *, const IMF_RECT *);
                void (*ref)(const IMF_BITMAP &, IMF_BITMAP *, const IMF_RECT &);
            } kCorrections[] = {{"equalize", imfEqualize, reference::Equalize},
                                {"equalize on luminance", imfEqualizeOnLuminance, reference::EqualizeOnLuminance},
                                {"auto levels", imfAutoLevels, reference::AutoLevels},
                                {"normalize", imfNormalize, reference::Normalize},
                                {"auto contrast", imfAutoContrast, reference::AutoContrast}};
            const auto &c = kCorrections[which - 12];
            return Make(c.name, kByte, true, c.fast, c.ref);
        }
        case 17: {
            TLong values[4];
            for (auto &v : values) v = in.Param(-300, 300);
            std::vector<TLong> keep(values, values + 4);
            return Make(
                "balance", kByte, true,
                [keep](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfBalance(s, d, a, keep.data()); },
                [keep](const IMF_BITMAP &s, IMF_BITMAP *t, const IMF_RECT &r) {
                    const long v[3] = {keep[0], keep[1], keep[2]};
                    reference::Balance(s, t, r, v);
                });
        }
        case 18: {
            IMG_FILTER f{};
            f.Size = static_cast<IMG_INT16>(in.Range(-1, 8));
            const bool big = in.Byte() % 5 == 0;
            for (auto &m : f.Matrix) m = static_cast<IMG_INT16>(big ? static_cast<int16_t>(in.U32()) : in.Range(-9, 9));
            f.Divisor = static_cast<IMG_INT16>(in.Byte() % 7 == 0 ? 0 : big ? static_cast<int16_t>(in.U32()) : in.Range(-40, 40));
            // Biases just below 32767 put results where narrowing 32-bit lanes
            // to bytes must saturate rather than wrap.
            const int bias_kind = in.Byte() % 4;
            f.Bias = static_cast<IMG_INT16>(bias_kind == 0 ? 32767 - in.Range(0, 255)
                                            : big          ? static_cast<int16_t>(in.U32())
                                                           : in.Range(-300, 300));
            Op op;
            op.name = "convolve";
            op.params_ok = f.Size >= 1 && f.Size <= 7 && f.Divisor != 0;
            op.fast = [f](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfConvolve(s, d, a, &f); };
            op.ref = [f](const IMF_BITMAP &s, IMF_BITMAP *t, const IMF_RECT &r) { reference::Convolve(s, t, r, f); };
            if (in.Byte() % 16 == 0) {  // no filter at all
                op.params_ok = false;
                op.fast = [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfConvolve(s, d, a, nullptr); };
            }
            return op;
        }
        case 19: {
            const TLong index = in.Param(0, 8);
            return Make(
                "convolve index", kByte, index >= 0 && index <= 8,
                [index](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfConvolveIndex(s, d, a, index); },
                [index](const IMF_BITMAP &s, IMF_BITMAP *t, const IMF_RECT &r) {
                    reference::ConvolveIndex(s, t, r, static_cast<int>(index));
                });
        }
        case 20: {
            static const struct {
                const char *name;
                IMF_ERROR (*fast)(IMF_BITMAP *, IMF_BITMAP *, const IMF_RECT *);
                int index;
            } kNamed[] = {{"enhance detail", imfEnhanceDetail, IMF_FilterEnhanceDetail},
                          {"enhance focus", imfEnhanceFocus, IMF_FilterEnhanceFocus},
                          {"focus restoration", imfFocusRestoration, IMF_FilterFocusRestoration},
                          {"edge light", imfEdgeDetectLight, IMF_FilterEdgeDetectLight},
                          {"edge medium", imfEdgeDetectMedium, IMF_FilterEdgeDetectMedium},
                          {"edge heavy", imfEdgeDetectHeavy, IMF_FilterEdgeDetectHeavy},
                          {"emboss", imfEmboss, IMF_FilterEmboss},
                          {"emboss more", imfEmbossMore, IMF_FilterEmbossMore}};
            const auto &n = in.Pick(kNamed);
            const int index = n.index;
            return Make(n.name, kByte, true, n.fast, [index](const IMF_BITMAP &s, IMF_BITMAP *t, const IMF_RECT &r) {
                reference::ConvolveIndex(s, t, r, index);
            });
        }
        case 21: {
            const TLong p = in.Param(-300, 300);
            Op op;
            op.name = "sharpen";
            op.fast = [p](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfSharpen(s, d, a, p); };
            if (p >= -100000 && p <= 100000)  // the reference's 32-bit sums
                op.ref = [p](const IMF_BITMAP &s, IMF_BITMAP *t, const IMF_RECT &r) { reference::Sharpen(s, t, r, p); };
            return op;
        }
        case 22: case 23: case 24: {
            const TLong p = in.Param(-6000, 100);
            Op op;
            op.name = which == 22 ? "blur" : which == 23 ? "soften" : "edge";
            op.params_ok = p <= 100;
            op.fast = [p, which](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) {
                return which == 22 ? imfBlur(s, d, a, p) : which == 23 ? imfSoften(s, d, a, p) : imfEdge(s, d, a, p);
            };
            if (p >= -100000)
                op.ref = [p, which](const IMF_BITMAP &s, IMF_BITMAP *t, const IMF_RECT &r) {
                    if (which == 22) reference::Blur(s, t, r, p);
                    else if (which == 23) reference::Soften(s, t, r, p);
                    else reference::Edge(s, t, r, p);
                };
            return op;
        }
        case 25: {
            const TLong n = in.Param(2, 15);
            return Make(
                "average", kByte, n >= 2 && n <= 15,
                [n](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfAverage(s, d, a, n); },
                [n](const IMF_BITMAP &s, IMF_BITMAP *t, const IMF_RECT &r) { reference::Average(s, t, r, static_cast<int>(n)); });
        }
        case 26: return Make("reduce noise", kByte, true, imfReduceNoise, reference::ReduceNoise);
        case 27: case 28: case 29: case 30: {
            static const struct {
                const char *name;
                IMF_ERROR (*fast)(IMF_BITMAP *, IMF_BITMAP *, const IMF_RECT *, TLong);
                reference::Rank kind;
            } kRank[] = {{"minimum", imfMinimum, reference::Rank::kMinimum},
                         {"maximum", imfMaximum, reference::Rank::kMaximum},
                         {"median box", imfMedianBox, reference::Rank::kMedianBox},
                         {"median cross", imfMedianCross, reference::Rank::kMedianCross}};
            const auto &r = kRank[which - 27];
            const TLong n = in.Param(2, 15);
            const auto fn = r.fast;
            const auto kind = r.kind;
            return Make(
                r.name, kByte, n >= 2 && n <= 15, [fn, n](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return fn(s, d, a, n); },
                [kind, n](const IMF_BITMAP &s, IMF_BITMAP *t, const IMF_RECT &rect) {
                    reference::RankFilter(kind, s, t, rect, static_cast<int>(n));
                });
        }
        case 31: {
            const TLong n = in.Param(2, 25);
            Op op;
            op.name = "gaussian blur";
            op.params_ok = n >= 2 && n <= 25;
            op.fast = [n](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfBlurGaussian(s, d, a, n); };
            op.whole = [n](const IMF_BITMAP &s, const IMF_RECT *a, IMF_BITMAP *out) {
                return reference::BlurGaussianOp(s, a, static_cast<int>(n), out);
            };
            op.tolerance = 1;
            return op;
        }
        case 32: {
            const TLong size = in.Param(0, 12), depth = in.Param(0, 12), keep = in.Range(-1, 2);
            Op op;
            op.name = "drop shadow";
            op.decided = false;  // the margins decide too; memory may run out for huge ones
            op.params_ok = size >= 0 && depth >= 0;
            op.fast = [size, depth, keep](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) {
                return imfDropShadow(s, d, a, size, depth, keep);
            };
            op.whole = [size, depth, keep](const IMF_BITMAP &s, const IMF_RECT *a, IMF_BITMAP *out) -> IMF_ERROR {
                if (a) return IMF_ERRINTERNAL;  // the reference takes whole bitmaps only
                return reference::DropShadowOp(s, static_cast<int>(size), static_cast<int>(depth),
                                               static_cast<int>(keep), out);
            };
            op.tolerance = 1;
            return op;
        }
        case 33: return PlainTwin(Make("desaturate", kTrue, true, imfDesaturate));
        case 34: {
            const TUlong mode = in.Byte() % 4 == 0 ? in.U32() : in.Range(0, 5);
            return Make(
                "swap colors", kByte, mode <= 4,
                [mode](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfSwapColors(s, d, a, mode); },
                [mode](const IMF_BITMAP &s, IMF_BITMAP *t, const IMF_RECT &r) { reference::SwapColors(s, t, r, mode); });
        }
        case 35: {
            const TLong sh = in.Param(-100, 100), hi = in.Param(-100, 100);
            return Make(
                "shadow highlight", kNotMapped, true,
                [sh, hi](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfAdjustShadowHighlight(s, d, a, sh, hi); },
                [sh, hi](const IMF_BITMAP &, IMF_BITMAP *t, const IMF_RECT &r) { reference::ShadowHighlight(t, r, sh, hi); });
        }
        default: {
            const int kind = in.Range(0, 5);
            const double amount = in.Real(0.0, 100.0);
            Op op;
            op.name = "noise";
            op.params_ok = std::isfinite(amount) && amount >= 0.0 && !(kind == IMF_NoisePoisson && amount == 0.0);
            op.fast = [kind, amount](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) {
                switch (kind) {
                    case 0: return imfAddUniformNoise(s, d, a, amount);
                    case 1: return imfAddGaussianNoise(s, d, a, amount);
                    case 2: return imfAddLaplacianNoise(s, d, a, amount);
                    case 3: return imfAddPoissonNoise(s, d, a, amount);
                    default: return imfNoise(s, d, a, amount, static_cast<TWord>(kind));
                }
            };
            return op;  // random draws: robustness only
        }
    }
}

// Damages one field of a valid record so that it no longer describes a
// walkable bitmap; the operations must refuse it untouched.
void Damage(fuzz::Input &in, IMF_BITMAP *b) {
    switch (in.Range(0, 6)) {
        case 0: b->Width = -1 - in.Range(0, 3); break;
        case 1: b->Height = in.Coin() ? -1 : INT32_MIN; break;
        case 2: b->BytesPerPixel = static_cast<TUword>(b->BytesPerPixel + 1); break;
        case 3: b->Type = in.Coin() ? IMF_RGB16 : static_cast<TUword>(IMF_RGB | IMF_GREY); break;
        case 4: b->BytesPerLine = static_cast<TLong>(imge::records::RowBytes(b->Type, b->Width)) - 1; break;
        case 5: b->BitsPerComponent = 16; break;
        default:
            if (b->Width > 0 && b->Height > 0) b->Data = nullptr;
            else b->Width = -1;
            break;
    }
}

bool Damaged(const IMF_BITMAP &b, const IMF_BITMAP &orig) {
    // Only the damage that leaves no walkable bitmap counts; some damage
    // (an empty bitmap without pixels) is still a valid record.
    if (b.Width < 0 || b.Height < 0 || b.BytesPerLine < 0 || b.Type != orig.Type) return true;
    if (b.Type != IMF_BINARY && b.BytesPerPixel != orig.BytesPerPixel) return true;
    if (b.Height > 0 && b.BytesPerLine < imge::records::RowBytes(b.Type, b.Width)) return true;
    if (!b.Data && b.Width > 0 && b.Height > 0) return true;
    return false;
}

void CheckHistogramsAndCount(fuzz::Input &in, const IMF_BITMAP &b) {
    TUlong fast[4 * 256], plain[4 * 256];
    imfCreateHistogramOnLuminance(&b, fast);
    reference::LuminanceHistogram(b, plain);
    FUZZ_CHECK(std::memcmp(fast, plain, 256 * sizeof(TUlong)) == 0, "luminance histogram type %u", b.Type);
    imfCreateAllHistogram(&b, fast);
    reference::AllHistogram(b, plain);
    FUZZ_CHECK(std::memcmp(fast, plain, sizeof fast) == 0, "all histogram type %u", b.Type);
    const TLong limit = in.Param(0, 300);
    FUZZ_CHECK(imfGetCountColors(&b, limit) == reference::CountColors(b, limit), "count colours limit %d", limit);
}

void CheckExtract(fuzz::Input &in, OwnedImf *src) {
    const TLong channel = in.Param(-1, 5);
    const unsigned type = src->b.Type;
    const bool ok = (type & (IMF_COLORS | IMF_TRUECOLORS)) != 0 && !(type == IMF_COLORS && !src->b.ColorMap);
    const fuzz::Snapshot before(src->b);
    std::vector<TUbyte> want;
    if (ok) want = reference::ExtractChannel(src->b, channel);
    OwnedImf dst;
    std::memset(dst.get(), 0, sizeof(IMF_BITMAP));
    const bool in_place = in.Coin();
    const IMF_ERROR rc = imfExtractChannel(src->get(), in_place ? nullptr : dst.get(), channel);
    if (!ok) {
        FUZZ_CHECK(rc != IMF_NOERROR, "extract channel accepted type %u", type);
        FUZZ_CHECK(before.Same(src->b), "refused extract changed the source");
        FUZZ_CHECK(fuzz::AllZero(dst.get(), sizeof(IMF_BITMAP)), "refused extract wrote the destination");
        return;
    }
    FUZZ_CHECK(rc == IMF_NOERROR, "extract channel refused type %u", type);
    const IMF_BITMAP &g = in_place ? src->b : dst.b;
    FUZZ_CHECK(g.Type == IMF_GREY, "extract gave type %u", g.Type);
    if (!in_place) FUZZ_CHECK(before.Same(src->b), "extract with a destination changed the source");
    size_t k = 0;
    for (int y = 0; y < g.Height; ++y)
        for (int x = 0; x < g.Width; ++x, ++k)
            FUZZ_CHECK(k < want.size() && g.Data[static_cast<size_t>(y) * g.BytesPerLine + x] == want[k],
                       "extract channel %d pixel %d,%d", channel, x, y);
}

// The base library's copy, resampling and clipping on the same bitmaps: a
// copied area holds the source's pixels, a resampled bitmap has the size
// asked for, refusals make nothing.
void CheckBaseServices(fuzz::Input &in, const OwnedImf &src, int w, int h) {
    const fuzz::Area area = fuzz::MakeArea(in, w, h);
    IMF_RECT rect{};
    const TUword clip = imfGetClippingRect(&src.b, area.get(), &rect);
    FUZZ_CHECK((clip == 0) == fuzz::AreaInside(area, w, h), "imfGetClippingRect gave %u", clip);
    const fuzz::Snapshot before(src.b);
    OwnedImf copy;
    std::memset(copy.get(), 0, sizeof(IMF_BITMAP));
    const IMF_ERROR rc = imfCopy(&src.b, copy.get(), area.get());
    FUZZ_CHECK(before.Same(src.b), "imfCopy changed its source");
    if (rc != IMF_NOERROR) {
        FUZZ_CHECK(clip != 0 || !src.b.Data, "imfCopy refused (%u) a good area", rc);
        FUZZ_CHECK(fuzz::AllZero(copy.get(), sizeof(IMF_BITMAP)), "refused imfCopy wrote its destination");
    } else {
        FUZZ_CHECK(clip == 0 && copy.b.Width == rect.width && copy.b.Height == rect.height, "imfCopy geometry");
        for (int y = 0; y < rect.height; ++y)
            for (int x = 0; x < rect.width; ++x) {
                const TUbyte *s = src.b.Data + static_cast<long long>(y + rect.top) * src.b.BytesPerLine;
                const TUbyte *d = copy.b.Data + static_cast<long long>(y) * copy.b.BytesPerLine;
                if (src.b.Type == IMF_BINARY) {
                    FUZZ_CHECK(imfGetBitAtBuffer(s, x + rect.left) == imfGetBitAtBuffer(d, x), "imfCopy bit %d,%d", x, y);
                } else {
                    const int bpp = src.b.BytesPerPixel;
                    FUZZ_CHECK(std::memcmp(s + (x + rect.left) * bpp, d + x * bpp, bpp) == 0, "imfCopy pixel %d,%d", x, y);
                }
            }
    }
    static const TLong kOdd[] = {-1, 0, INT32_MIN, 1};
    const TLong nw = in.Byte() % 8 == 0 ? in.Pick(kOdd) : in.Range(0, 80);
    const TLong nh = in.Byte() % 8 == 0 ? in.Pick(kOdd) : in.Range(0, 80);
    OwnedImf sized;
    std::memset(sized.get(), 0, sizeof(IMF_BITMAP));
    const IMF_ERROR rs = imfResize(&src.b, sized.get(), nw, nh, in.I32());
    FUZZ_CHECK(before.Same(src.b), "imfResize changed its source");
    if (rs == IMF_NOERROR)
        FUZZ_CHECK(sized.b.Width == nw && sized.b.Height == nh && sized.b.Type == src.b.Type, "imfResize geometry");
    else
        FUZZ_CHECK(fuzz::AllZero(sized.get(), sizeof(IMF_BITMAP)), "refused imfResize wrote its destination");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const fuzz::PathChoice paths(data, size);
    fuzz::Input in(data, size);
    const unsigned type = testing_support::kAllTypes[in.Range(0, 9)];
    const int w = fuzz::Side(in, 100), h = fuzz::Side(in, 24);
    OwnedImf src;
    fuzz::MakeBitmap(in, type, w, h, &src);

    const int mode = fuzz::Pinned(in.Byte() % 16, fuzz::Steer().branch);  // 3 and above: an operation
    if (mode == 0) return CheckHistogramsAndCount(in, src.b), 0;
    if (mode == 1) return CheckExtract(in, &src), 0;
    if (mode == 2) return CheckBaseServices(in, src, w, h), 0;

    Op op = PickOp(in);
    const fuzz::Area area = fuzz::MakeArea(in, w, h);
    const int dst_mode = in.Range(0, 2);  // 0 in place, 1 separate destination, 2 the source itself
    const IMF_BITMAP orig = src.b;
    const bool damage = in.Byte() % 12 == 0;
    if (damage) Damage(in, &src.b);
    const bool damaged = damage && Damaged(src.b, orig);

    // More than 8 bits per component on an 8-bit type: the frames that make
    // a new bitmap refuse it, the row filters read every byte as an 8-bit
    // sample whatever the field says; either is fine, a change on refusal is not.
    const bool deep = src.b.BitsPerComponent > 8;
    const bool must_accept = !deep && !damaged && (op.types & type) && op.params_ok && fuzz::AreaInside(area, w, h);
    const bool must_refuse =
        damaged || !(op.types & type) || !op.params_ok || !fuzz::AreaInside(area, w, h);

    // The expected result, computed before the call (the call may replace the source).
    OwnedImf expect;
    bool have_expect = false;
    if ((must_accept || (deep && !must_refuse)) && (op.ref || op.whole)) {
        if (op.ref) {
            testing_support::Clone(src.b, &expect);
            const IMF_RECT rect = area.given ? area.rect : IMF_RECT{0, 0, w, h};
            op.ref(src.b, expect.get(), rect);
            have_expect = true;
        } else {
            have_expect = op.whole(src.b, area.get(), expect.get()) == IMF_NOERROR;
        }
    }

    const fuzz::Snapshot before(src.b);
    const IMF_BITMAP before_record = src.b;
    OwnedImf dst;
    std::memset(dst.get(), 0, sizeof(IMF_BITMAP));  // padding included, for the byte comparison
    IMF_BITMAP *d = dst_mode == 0 ? nullptr : dst_mode == 1 ? dst.get() : src.get();
    const IMF_ERROR rc = op.fast(src.get(), d, area.get());
    const char *name = op.name.c_str();

    if (rc != IMF_NOERROR) {
        FUZZ_CHECK(!must_accept || !op.decided, "%s refused (%u) type %u %dx%d damage %d area %d dst mode %d", name,
                   rc, type, w, h, damage, area.given, dst_mode);
        FUZZ_CHECK(before.Same(src.b), "%s refused (%u) but changed the source", name, rc);
        FUZZ_CHECK(fuzz::AllZero(dst.get(), sizeof(IMF_BITMAP)),
                   "%s refused (%u) but wrote the destination: type %u %dx%d area %d %d,%d,%d,%d dst mode %d", name,
                   rc, type, w, h, area.given, area.rect.left, area.rect.top, area.rect.width, area.rect.height,
                   dst_mode);
    } else {
        FUZZ_CHECK(!must_refuse,
                   "%s accepted a call it must refuse: type %u %dx%d area %d,%d,%d,%d; damaged %d: type %u %dx%d "
                   "bpp %u bits %u bpl %d data %d",
                   name, type, w, h, area.rect.left, area.rect.top, area.rect.width, area.rect.height, damaged,
                   before_record.Type, before_record.Width, before_record.Height, before_record.BytesPerPixel,
                   before_record.BitsPerComponent, before_record.BytesPerLine, before_record.Data != nullptr);
        const IMF_BITMAP &out = dst_mode == 1 ? dst.b : src.b;
        if (dst_mode == 1) FUZZ_CHECK(before.Same(src.b), "%s with a destination changed the source", name);
        if (have_expect) {
            if (op.tolerance == 0) {
                const std::string diff = testing_support::Diff(out, expect.b);
                FUZZ_CHECK(diff.empty(), "%s type %u %dx%d pack %d ColorUsed %d area %d dst mode %d: %s", name, type, w,
                           h, orig.Pack, orig.ColorUsed, area.given, dst_mode, diff.c_str());
                FUZZ_CHECK(out.ColorUsed == expect.b.ColorUsed, "%s ColorUsed %d, reference %d", name, out.ColorUsed,
                           expect.b.ColorUsed);
            } else {
                const int worst = fuzz::MaxByteDifference(out, expect.b);
                FUZZ_CHECK(worst <= op.tolerance, "%s type %u %dx%d: differs by %d", name, type, w, h, worst);
            }
        }
    }
    // The damaged record's own fields go back before release.
    if (damage && rc != IMF_NOERROR) src.b = orig;
    return 0;
}
