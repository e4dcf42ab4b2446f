/*
 * libformat.h - the processing layer: pixel operations on IMF_BITMAP records
 * and the lossless JPEG functions.
 *
 * Pixel operations take (src, dst, area, ...):
 *   - dst null: src is changed in place (for operations that compute into a
 *     new bitmap, src's buffers are released and src receives the new ones);
 *   - dst non-null: an uninitialised record that receives a new bitmap;
 *   - area null: the whole bitmap; otherwise the rectangle to process (pixels
 *     outside it keep their source values).
 * They return IMF_NOERROR, IMF_ERRMEMORY, IMF_ERRBADPARAMS or IMF_ERRBADBITMAP
 * and change nothing when they refuse.
 *
 * Plain C99; usable from C and C++.
 */
#ifndef LIBFORMAT_H
#define LIBFORMAT_H

#include "libimg.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Look-up tables and negation ------------------------------------------- */
/* Replaces every component v (bytes 0..2 of 4-byte pixels) by table[v]; a
 * colour-mapped bitmap has its palette changed instead. Binary: IMF_ERRBADBITMAP. */
IMG_API IMF_ERROR imfApplyLut(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area,
                              const TUbyte table[256]);
/* Inverts every component, or every bit of a binary bitmap. */
IMG_API IMF_ERROR imfNegate(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);

/* ---- Tone curves ----------------------------------------------------------- */
/* v -> v + brightness, limited to 0..255. */
IMG_API IMF_ERROR imfBrightness(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong brightness);
/* contrast -127..127 (others: IMF_ERRBADPARAMS); above 0 stretches, below 0 compresses. */
IMG_API IMF_ERROR imfContrast(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong contrast);
/* v -> 255 (v / 255)^(1 / gamma) rounded; gamma finite and above 0 (others: IMF_ERRBADPARAMS). */
IMG_API IMF_ERROR imfGamma(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, double gamma);
/* v -> 255 ln(v + 1) / ln(256). */
IMG_API IMF_ERROR imfLog(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
/* 0 up to low, 255 from high, linear in between. */
IMG_API IMF_ERROR imfLevels(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong low, TLong high);
/* levels 2..256 bands (others: IMF_ERRBADPARAMS). */
IMG_API IMF_ERROR imfPosterize(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong levels);
/* v up to threshold, 255 - v above. */
IMG_API IMF_ERROR imfSolarize(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong threshold);
/* Brightness, then contrast, then gamma (contrast and gamma as above). */
IMG_API IMF_ERROR imfAdjust(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong brightness, TLong contrast, double gamma);
/* The table of imfAdjust; the identity for a contrast or gamma imfAdjust refuses. */
IMG_API void imfGetAdjustLut(TUbyte table[256], TLong brightness, TLong contrast, double gamma);
/* Moves every component towards 255 (amount > 0) or 0 (amount < 0) by
 * |amount| / 255 of the distance; grey and true-colour bitmaps; new bitmap. */
IMG_API IMF_ERROR imfContraBrightness(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong amount);
/* Saturation gamma of true-colour pixels (gamma finite and above 0); new bitmap. */
IMG_API IMF_ERROR imfGammasat(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, double gamma);

/* ---- Histograms and automatic corrections ---------------------------------- */
/* Luminance (grey level or palette index for 1-byte pixels) of every pixel. */
IMG_API void imfCreateHistogramOnLuminance(const IMF_BITMAP *bitmap, TUlong hist[256]);
/* Luminance, red, green, blue: 4 x 256 counters (1-bit bitmaps: one count at entry 0 of each). */
IMG_API void imfCreateAllHistogram(const IMF_BITMAP *bitmap, TUlong hist[4 * 256]);
IMG_API IMF_ERROR imfNormalize(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
IMG_API IMF_ERROR imfEqualize(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
IMG_API IMF_ERROR imfEqualizeOnLuminance(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
IMG_API IMF_ERROR imfAutoContrast(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
IMG_API IMF_ERROR imfAutoLevels(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
IMG_API IMF_ERROR imfBalance(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, const TLong values[4]);

/* ---- Convolution, box mean, noise reduction, edge enhancer ----------------- */
/* Indices of the predefined 3 x 3 kernels of imfConvolveIndex. */
#define IMF_FilterEnhanceDetail    0
#define IMF_FilterEnhanceFocus     1
#define IMF_FilterFocusRestoration 2
#define IMF_FilterSharpen          3
#define IMF_FilterEdgeDetectLight  4
#define IMF_FilterEdgeDetectMedium 5
#define IMF_FilterEdgeDetectHeavy  6
#define IMF_FilterEmboss           7
#define IMF_FilterEmbossMore       8

/* Every byte of every pixel (alpha, K and palette indices included) is
 * filtered as its own 8-bit plane; edges repeat the first and last row and
 * column; the result is a new bitmap (in place: src's buffers are replaced).
 * Binary bitmaps: IMF_ERRBADBITMAP. A filter Size outside 1..7, a zero
 * Divisor, an index outside 0..8, a filter_size outside 2..15 or a
 * percentage above 100 (blur, soften, edge): IMF_ERRBADPARAMS. */
IMG_API IMF_ERROR imfConvolve(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, const IMG_FILTER *filter);
IMG_API IMF_ERROR imfConvolveIndex(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong index);
IMG_API IMF_ERROR imfEnhanceDetail(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
IMG_API IMF_ERROR imfEnhanceFocus(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
IMG_API IMF_ERROR imfFocusRestoration(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
IMG_API IMF_ERROR imfEdgeDetectLight(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
IMG_API IMF_ERROR imfEdgeDetectMedium(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
IMG_API IMF_ERROR imfEdgeDetectHeavy(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
IMG_API IMF_ERROR imfEmboss(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
IMG_API IMF_ERROR imfEmbossMore(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
IMG_API IMF_ERROR imfSharpen(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong percentage);
IMG_API IMF_ERROR imfBlur(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong percentage);
IMG_API IMF_ERROR imfSoften(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong percentage);
IMG_API IMF_ERROR imfAverage(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong filter_size);
IMG_API IMF_ERROR imfReduceNoise(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
IMG_API IMF_ERROR imfEdge(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong percentage);

/* ---- Rank filters, Gaussian blur, drop shadow ------------------------------ */
IMG_API IMF_ERROR imfMinimum(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong filter_size);
IMG_API IMF_ERROR imfMaximum(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong filter_size);
IMG_API IMF_ERROR imfMedianBox(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong filter_size);
IMG_API IMF_ERROR imfMedianCross(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong filter_size);
IMG_API IMF_ERROR imfBlurGaussian(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong filter_size);
IMG_API IMF_ERROR imfDropShadow(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong size, TLong depth, TLong keep_size);

/* ---- Channel operations, shadow/highlight, colour counting ----------------- */
/* Bytes 0..2 of each pixel of the area become (min + max) / 2 of them;
 * true-colour bitmaps only. */
IMG_API IMF_ERROR imfDesaturate(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
/* One component (0 red, 1 green, 2 blue, 3 alpha; others red) of the whole
 * bitmap as a new grey bitmap. */
IMG_API IMF_ERROR imfExtractChannel(IMF_BITMAP *src, IMF_BITMAP *dst, TLong channel);
#define IMF_SwapColors_RBG 0
#define IMF_SwapColors_BGR 1
#define IMF_SwapColors_BRG 2
#define IMF_SwapColors_GRB 3
#define IMF_SwapColors_GBR 4
/* Exchanges colour components (IMF_SwapColors_*); modes above 4 are refused. */
IMG_API IMF_ERROR imfSwapColors(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TUlong mode);
/* Stretches shadows (luminance up to 79) and highlights (from 177). */
IMG_API IMF_ERROR imfAdjustShadowHighlight(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area,
                                           TLong shadow, TLong highlight);
/* Distinct colours used; stops once more than `limit` (> 0) were seen.
 * 0xFFFFFFFF when memory runs out or the record is not a bitmap. */
IMG_API TUlong imfGetCountColors(const IMF_BITMAP *bitmap, TLong limit);

/* ---- Noise ---------------------------------------------------------------------- */
#define IMF_NoiseUniform   0
#define IMF_NoiseGaussian  1
#define IMF_NoiseLaplacian 2
#define IMF_NoisePoisson   3

/* Noise on every byte of the area's pixels (byte 3 of 4-byte pixels kept),
 * drawn from rand() reseeded with the time. Negative or non-finite amounts,
 * and 0 for Poisson noise, are refused. */
IMG_API IMF_ERROR imfNoise(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, double amount, TWord type);
IMG_API IMF_ERROR imfAddUniformNoise(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, double amount);
IMG_API IMF_ERROR imfAddGaussianNoise(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, double amount);
IMG_API IMF_ERROR imfAddLaplacianNoise(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, double amount);
IMG_API IMF_ERROR imfAddPoissonNoise(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, double amount);

/* ---- Lossless JPEG ---------------------------------------------------------------- */
/* Transform codes (16-bit). 6 takes the transform from the file's EXIF
 * orientation; any other value means no transform. */
#define IMF_LOSSLESS_TRANSFORM_NONE             0
#define IMF_LOSSLESS_TRANSFORM_ROTATE90         1
#define IMF_LOSSLESS_TRANSFORM_ROTATE180        2
#define IMF_LOSSLESS_TRANSFORM_ROTATE270        3
#define IMF_LOSSLESS_TRANSFORM_VERTICAL_FLIP    4
#define IMF_LOSSLESS_TRANSFORM_HORIZONTAL_FLIP  5
#define IMF_LOSSLESS_TRANSFORM_EXIF_ORIENTATION 6

/* Flags (32-bit). */
#define IMF_LOSSLESS_TRIM               0x1 /* drop partial iMCUs that cannot move */
#define IMF_LOSSLESS_USE_EXIF_ORIENT    0x2 /* rotations relative to the EXIF orientation
                                               (only with CHANGE_EXIF_ORIENT) */
#define IMF_LOSSLESS_CHANGE_EXIF_ORIENT 0x4 /* read the EXIF orientation and reset it to 1 */

/* Rotates, flips and crops a JPEG file without decoding it: reads `src`,
 * writes `dst` (opened only after the whole source was read). The crop
 * (x, y, w, h in pixels of the transformed picture) is made when w and h are
 * both non-zero; its corner moves up and left to the iMCU grid, and a crop
 * that does not lie wholly inside the picture is refused, except that
 * without a transform a side longer than the picture's extends it with
 * neutral grey (the offset, at most the difference, places the picture's
 * whole iMCUs inside; a partial edge iMCU turns grey). All APP markers and
 * comments are copied; the EXIF orientation and thumbnail follow the flags.
 * 1 on success, 0 on failure. */
IMG_API TWord imfJpegLosslessTransform2(const char *src, const char *dst, TLong x, TLong y, TLong w,
                                        TLong h, TUword transform, TUlong flags);
/* The pipeline without a crop. */
IMG_API TWord imfJpegLosslessTransformEx(const char *src, const char *dst, TUword transform, TUlong flags);
/* A crop without a transform; trim non-zero sets IMF_LOSSLESS_TRIM. */
IMG_API TWord imfJpegLosslessCropEx(const char *src, const char *dst, TLong x, TLong y, TLong w, TLong h,
                                    TUword trim);
/* In place, through a work file named like `filename` with its last
 * character replaced by '_' (photo.jpg: photo.jp_), which then replaces the
 * file. Names of 0 or more than 511 characters and names ending in '_' are
 * refused. On failure the file is unchanged. */
IMG_API TWord imfJpegLosslessTransform(const char *filename, TUword transform, TUlong flags);
IMG_API TWord imfJpegLosslessCrop(const char *filename, TLong x, TLong y, TLong w, TLong h, TUword trim);

#ifdef __cplusplus
}
#endif

#endif /* LIBFORMAT_H */
