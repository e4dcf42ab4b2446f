/*
 * libtools.h - services of the base library (libimg.so): memory, bitmap
 * records, clipping, 1-bit rows, files and EXIF.
 *
 * Plain C99; usable from C and C++.
 */
#ifndef LIBTOOLS_H
#define LIBTOOLS_H

#include "libimg.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Memory ---------------------------------------------------------------- */

/* A block of `size` bytes (cleared to zero), or null when memory is short. */
IMG_API void *imgMemoryAlloc(IMG_UINT32 size);
/* Releases a block of imgMemoryAlloc; null is ignored. */
IMG_API void imgMemoryFree(void *block);

/* ---- Public bitmaps -------------------------------------------------------- */

/* A new bitmap laid out as imfAllock lays it out (Pack 1, zeroed pixels),
 * or null on failure or bad arguments. Release with imgFreeBitmap. */
IMG_API IMG_BITMAP *imgCreateBitmap(IMG_BITMAP_TYPE type, IMG_INT32 width, IMG_INT32 height);
/* Releases a record made by imgCreateBitmap, imgCloneBitmap or a separate
 * destination of a libimge operation, and every buffer it points to. */
IMG_API void imgFreeBitmap(IMG_BITMAP *bitmap);
/* An independent deep copy (pixels, colour map, comment, name, metadata
 * chain), or null on failure. */
IMG_API IMG_BITMAP *imgCloneBitmap(const IMG_BITMAP *bitmap);
/* Fills `array` with the bytes of one pixel of `bitmap` showing `color`, in
 * the bitmap's byte order. 0 on success; binary bitmaps and bad arguments
 * give a non-zero code. */
IMG_API IMG_ERROR imgGetColorArray(const IMG_BITMAP *bitmap, const IMG_COLOR *color,
                                   IMG_UINT8 array[4]);

/* ---- Processing records ---------------------------------------------------- */

/* Fills every field of `bitmap` for a new zeroed bitmap; non-zero on success,
 * 0 on failure (bad arguments or no memory; the record is then all zero). */
IMG_API TUword imfAllock(IMF_BITMAP *bitmap, TLong type, TLong pack, TLong width, TLong height);
/* imfAllock with bits per component (0 or 8 give the same 8-bit bitmap; any
 * other value is refused). */
IMG_API TUword imfAllockEx(IMF_BITMAP *bitmap, TLong type, TLong pack, TLong width, TLong height,
                           TLong bits_per_component);
/* Releases the buffers the record owns and clears their pointers (not the
 * record itself). */
IMG_API void imfFree(IMF_BITMAP *bitmap);
/* Gives `dst` its own copies of the descriptive data of `src`: origin,
 * resolution, offsets, comment, name and metadata chain. On failure (no
 * memory) returns IMF_ERRMEMORY and leaves those pointers of dst null. */
IMG_API IMF_ERROR imfCopyExtendedData(IMF_BITMAP *dst, const IMF_BITMAP *src);
/* Makes `dst` (an uninitialised record) a new bitmap holding the area of
 * `src` (null: all of it). */
IMG_API IMF_ERROR imfCopy(const IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area);
/* Makes `dst` (an uninitialised record) `src` resampled to width x height:
 * area averaging where a side shrinks, bilinear where it grows. Mode is
 * ignored. */
IMG_API IMF_ERROR imfResize(const IMF_BITMAP *src, IMF_BITMAP *dst, TLong width, TLong height,
                            TLong mode);
/* Resolves the processing area (null: the whole bitmap) into `rect`. 0 on
 * success, non-zero for an area outside the bitmap. */
IMG_API TUword imfGetClippingRect(const IMF_BITMAP *bitmap, const IMF_RECT *area, IMF_RECT *rect);

/* ---- 1-bit rows (bit 7 of byte 0 is pixel 0) -------------------------------- */
IMG_API int imfGetBitAtBuffer(const TUbyte *row, TLong x);
IMG_API void imfCleanAndSetBitAtBuffer(TUbyte *row, TLong x, int value);

/* ---- Files -------------------------------------------------------------------- */

/* Writes into `buffer` (capacity bytes) the path of a free scratch file name.
 * Non-zero on success. */
IMG_API int imfGetTemporaryFilenameA(char *buffer, TLong capacity);
/* Makes the file `old_name` take the place of `new_name`, replacing it.
 * 0 on success, non-zero on failure. */
IMG_API int imfFileRename(const char *old_name, const char *new_name);

/* ---- EXIF ----------------------------------------------------------------------- */

/* What EXIFThumbGet finds out about the JPEG thumbnail of an EXIF block. */
typedef struct {
    TUlong  Offset;         /* of the thumbnail's JPEG stream within the APP1 data */
    TUlong  Size;           /* its length in bytes */
    TUlong  Reserved1;
    TUlong  Width;          /* thumbnail width in pixels, 0 when not given */
    TUlong  Reserved2;
    TUlong  Height;         /* thumbnail height in pixels, 0 when not given */
    TUlong  Reserved3;
    TUlong  HasOrientation; /* non-zero when the thumbnail directory has an orientation */
    TUbyte *OrientationPtr; /* address of that entry's 16-bit value in the APP1 data */
    TUlong  BigEndian;      /* non-zero for a big-endian ("MM") block */
} EXIFThumbInfo;

/* Orientation (tag 0x0112 of the main image directory) of the EXIF block in
 * entry->Data; non-zero and *orientation set when found, else 0. */
IMG_API int EXIFGetOrientation(const IMF_METADATAENTRY *entry, int *orientation);
/* Rewrites that orientation value in place, in the block's byte order.
 * Non-zero when a value was rewritten. */
IMG_API int EXIFSetOrientation(IMF_METADATAENTRY *entry, int orientation);
/* Fills `info` when the APP1 data holds a JPEG thumbnail; non-zero then. */
IMG_API int EXIFThumbGet(const void *app1_data, TLong length, EXIFThumbInfo *info);

/* ---- Loading and saving image files ------------------------------------------- */

/* Options of imgLoadBitmapEx; a null pointer means all zero. */
typedef struct {
    IMG_INT32 AcceptDamaged; /* non-zero: a JPEG with corrupt or missing data loads
                                as far as it decodes instead of failing */
    IMG_INT32 AutoOrient;    /* non-zero: pixels turned upright by the EXIF
                                orientation, which then reads 1 */
} IMG_LOAD_OPTIONS;

/* Options of imgSaveBitmap; a null pointer means all zero. */
typedef struct {
    IMG_INT32 Quality;     /* JPEG quality 1..100, 0 = 90 */
    IMG_INT32 Subsampling; /* JPEG chroma sampling 444, 422 or 420; 0 = 420 */
    IMG_INT32 Progressive; /* non-zero: progressive JPEG */
} IMG_SAVE_OPTIONS;

/* Loads a PNG, JPEG or binary PNM file (told apart by its first bytes) into a
 * new bitmap for *out (release with imgFreeBitmap): grey files as IMG_GREY,
 * palette PNGs as IMG_COLORS, files with alpha as IMG_RGBA, the rest IMG_RGB.
 * EXIF, XMP, IPTC and ICC blocks go into the MetaData chain, the resolution
 * into Xdpi/Ydpi. On failure *out is null and the result says why
 * (IMG_ERROR_FILE_OPEN, IMG_ERROR_FILE_READ for damaged or cut data,
 * IMG_ERROR_UNKNOWN_FORMAT, IMG_ERROR_NO_MEMORY, IMG_ERROR_BAD_PARAMETERS). */
IMG_API IMG_ERROR imgLoadBitmap(const char *path, IMG_BITMAP **out);
IMG_API IMG_ERROR imgLoadBitmapEx(const char *path, const IMG_LOAD_OPTIONS *opt, IMG_BITMAP **out);
/* imgLoadBitmapEx that also writes a one-line reason for a failure (the
 * decoder's own words, such as libjpeg's "Premature end of JPEG file") into
 * `message` (capacity bytes, always terminated; empty on success). */
IMG_API IMG_ERROR imgLoadBitmapMessage(const char *path, const IMG_LOAD_OPTIONS *opt,
                                       IMG_BITMAP **out, char *message, IMG_INT32 capacity);

/* Saves `b` in the format of the name's extension: .png, .jpg/.jpeg,
 * .pnm/.ppm/.pgm/.pbm (binary P5 or P6). Every bitmap type is accepted
 * (converted to what the format holds). The metadata chain and the
 * resolution are written in the format's own containers (PNG: eXIf, iTXt
 * XMP, iCCP, pHYs; JPEG: APP1, APP2, APP13, JFIF); EXIF pixel dimensions that
 * differ from the bitmap's are rewritten and the EXIF thumbnail then dropped.
 * The file is written under a scratch name and renamed into place, so a
 * failure never leaves a partial file. */
IMG_API IMG_ERROR imgSaveBitmap(const char *path, const IMG_BITMAP *b, const IMG_SAVE_OPTIONS *opt);
/* imgSaveBitmap with a one-line reason for a failure, as imgLoadBitmapMessage. */
IMG_API IMG_ERROR imgSaveBitmapMessage(const char *path, const IMG_BITMAP *b,
                                       const IMG_SAVE_OPTIONS *opt, char *message,
                                       IMG_INT32 capacity);
/* The chroma sampling of a JPEG file (444, 422, 420, 440, 411 or 0 for grey
 * and anything else) in *subsampling. */
IMG_API IMG_ERROR imgGetJpegSubsampling(const char *path, IMG_INT32 *subsampling);
/* A one-line English text for a result code (never null). */
IMG_API const char *imgErrorString(IMG_ERROR code);

#ifdef __cplusplus
}
#endif

#endif /* LIBTOOLS_H */
