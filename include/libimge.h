/*
 * libimge.h - the public layer of libimge: operations on IMG_BITMAP records.
 *
 * Framed operations take `src` and `dst`:
 *   - dst null, or *dst == src: src is changed in place;
 *   - otherwise a new bitmap is made and stored in *dst (whatever *dst held is
 *     overwritten, not released); src is unchanged. Release it with
 *     imgFreeBitmap.
 * They refuse bitmaps with more than 8 bits per component
 * (IMG_ERROR_BAD_PARAMETERS, nothing changed).
 *
 * Plain C99; usable from C and C++.
 */
#ifndef LIBIMGE_H
#define LIBIMGE_H

#include "libimg.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Channel swap modes ---------------------------------------------------- */
typedef IMG_UINT16 IMG_SWAPCOLORS_MODE;
#define IMG_SWAPCOLORS_RBG 0
#define IMG_SWAPCOLORS_BGR 1
#define IMG_SWAPCOLORS_BRG 2
#define IMG_SWAPCOLORS_GRB 3
#define IMG_SWAPCOLORS_GBR 4

/* ---- Lossless JPEG transforms ---------------------------------------------- */
typedef IMG_UINT16 IMG_LOSSLESS_TRANSFORM;
#define IMG_LOSSLESS_TRANSFORM_NONE            0
#define IMG_LOSSLESS_TRANSFORM_ROTATE90        1
#define IMG_LOSSLESS_TRANSFORM_ROTATE180       2
#define IMG_LOSSLESS_TRANSFORM_ROTATE270       3
#define IMG_LOSSLESS_TRANSFORM_VERTICAL_FLIP   4
#define IMG_LOSSLESS_TRANSFORM_HORIZONTAL_FLIP 5

/* ---- Line styles ------------------------------------------------------------- */
#define IMG_LINE_STYLE_SOLID      0
#define IMG_LINE_STYLE_DASH       1
#define IMG_LINE_STYLE_DOT        2
#define IMG_LINE_STYLE_DASHDOT    3
#define IMG_LINE_STYLE_DASHDOTDOT 4

/* ---- Tone curves and negative ---------------------------------------------- */
IMG_API IMG_ERROR imgNegative(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgBrightness(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 brightness);
IMG_API IMG_ERROR imgContrast(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 contrast);
IMG_API IMG_ERROR imgGamma(IMG_BITMAP *src, IMG_BITMAP **dst, double gamma);
IMG_API IMG_ERROR imgLogCorrection(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgAdjust(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 brightness, IMG_INT32 contrast, double gamma);

/* ---- Histogram-based corrections ------------------------------------------- */
IMG_API IMG_ERROR imgNormalize(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgEqualize(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgEqualizeOnLuminance(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgAutomaticContrast(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgAutomaticLevels(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgBalance(IMG_BITMAP *src, IMG_BITMAP **dst, const IMG_COLOR *color);

/* ---- Convolution, box mean, noise reduction -------------------------------- */
IMG_API IMG_ERROR imgConvolve(IMG_BITMAP *src, IMG_BITMAP **dst, const IMG_FILTER *filter);
IMG_API IMG_ERROR imgEnhanceDetail(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgEnhanceFocus(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgFocusRestoration(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgEdgeDetectLight(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgEdgeDetectMedium(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgEdgeDetectHeavy(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgEmboss(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgEmbossMore(IMG_BITMAP *src, IMG_BITMAP **dst);
IMG_API IMG_ERROR imgSharpen(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 percentage);
IMG_API IMG_ERROR imgBlur(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 percentage);
IMG_API IMG_ERROR imgSoften(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 percentage);
IMG_API IMG_ERROR imgAverage(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 filter_size);
IMG_API IMG_ERROR imgReduceNoise(IMG_BITMAP *src, IMG_BITMAP **dst);

/* ---- Rank filters, Gaussian blur, drop shadow ------------------------------ */
IMG_API IMG_ERROR imgMinimum(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 filter_size);
IMG_API IMG_ERROR imgMaximum(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 filter_size);
IMG_API IMG_ERROR imgMedianBox(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 filter_size);
IMG_API IMG_ERROR imgMedianCross(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 filter_size);
IMG_API IMG_ERROR imgGaussianBlur(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 filter_size);
IMG_API IMG_ERROR imgDropShadow(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 size, IMG_INT32 depth, IMG_INT32 keep_size);

/* ---- Channel operations, colour counting, HLS, sepia ----------------------- */
IMG_API IMG_ERROR imgSwapColors(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_SWAPCOLORS_MODE mode);
/* Distinct colours of the bitmap (0xFFFFFFFF when memory runs out). */
IMG_API IMG_UINT32 imgGetNumberOfColorsUsed(const IMG_BITMAP *bitmap);
/* Shifts hue (100 = a full turn), lightness and saturation (percent) of a
 * true-colour bitmap: in place when bdst is null, else on a clone in *bdst. */
IMG_API IMG_ERROR imgAdjustHLS(IMG_BITMAP *src, IMG_BITMAP **bdst, IMG_INT32 h_increment,
                               IMG_INT32 l_increment, IMG_INT32 s_increment);
/* Grey with a warm tint scaled by percent (0..100). */
IMG_API IMG_ERROR imgSepia(IMG_BITMAP *src, IMG_BITMAP **bdst, IMG_INT32 percent);
/* Blend towards grey by percent (0..100), tinted towards `color`. */
IMG_API IMG_ERROR imgSepiaEx(IMG_BITMAP *src, IMG_BITMAP **bdst, IMG_INT32 percent, const IMG_COLOR *color);

/* ---- Drawing ----------------------------------------------------------------- */
/* Line styles (IMG_LINE_STYLE_*) apply to one-pixel pens; widths of 2 and more
 * are drawn solid with a round brush (widths above 13 draw one-pixel lines).
 * Styles above IMG_LINE_STYLE_DASHDOTDOT are refused. With bdst, the drawing
 * goes into a clone of src stored in *bdst (src is unchanged); otherwise into
 * src. A null colour draws nothing of that part. Coordinates are picture
 * coordinates (row 0 at the top whatever the Origin). */
typedef IMG_UINT32 IMG_LINE_STYLE;
IMG_API IMG_ERROR imgDrawPointColor(IMG_BITMAP *src, IMG_INT32 x, IMG_INT32 y, IMG_UINT32 line_width,
                                    const IMG_COLOR *line_color, IMG_BITMAP **bdst);
IMG_API IMG_ERROR imgDrawLineColor(IMG_BITMAP *src, IMG_INT32 x0, IMG_INT32 y0, IMG_INT32 x1, IMG_INT32 y1,
                                   IMG_UINT32 line_width, const IMG_COLOR *line_color, IMG_LINE_STYLE line_style,
                                   IMG_BITMAP **bdst);
IMG_API IMG_ERROR imgDrawPolylineColor(IMG_BITMAP *src, const IMG_POINT *points, IMG_INT32 num_points,
                                       IMG_UINT32 line_width, const IMG_COLOR *line_color,
                                       IMG_LINE_STYLE line_style, IMG_BITMAP **bdst);
IMG_API IMG_ERROR imgDrawRectangleColor(IMG_BITMAP *src, IMG_INT32 x0, IMG_INT32 y0, IMG_INT32 width,
                                        IMG_INT32 height, const IMG_COLOR *fill_color, IMG_UINT32 line_width,
                                        const IMG_COLOR *line_color, IMG_LINE_STYLE line_style,
                                        IMG_BITMAP **bdst);
IMG_API IMG_ERROR imgDrawCircleColor(IMG_BITMAP *src, IMG_INT32 x, IMG_INT32 y, IMG_INT32 radius,
                                     const IMG_COLOR *fill_color, IMG_UINT32 line_width,
                                     const IMG_COLOR *line_color, IMG_LINE_STYLE line_style, IMG_BITMAP **bdst);
IMG_API IMG_ERROR imgDrawPolygonColor(IMG_BITMAP *src, const IMG_POINT *points, IMG_INT32 num_points,
                                      const IMG_COLOR *fill_color, IMG_UINT32 line_width,
                                      const IMG_COLOR *line_color, IMG_LINE_STYLE line_style,
                                      IMG_BITMAP **bdst);

/* ---- Lossless JPEG ------------------------------------------------------------- */
/* Transforms the JPEG file in place (IMG_LOSSLESS_TRANSFORM_*, or 6 for the
 * EXIF orientation), relative to its EXIF orientation, which becomes 1, with
 * partial edge iMCUs trimmed. IMG_NO_ERROR, or IMG_UNKNOWN_ERROR for any
 * failure (the file is then unchanged). */
IMG_API IMG_ERROR imgJpegLosslessTransform(const char *filename, IMG_LOSSLESS_TRANSFORM transform);

#ifdef __cplusplus
}
#endif

#endif /* LIBIMGE_H */
