/*
 * libimg.h - bitmap records, scalar types, type flags and result codes shared
 * by the base library (libimg) and the image-processing library (libimge).
 *
 * Plain C99; usable from C and C++.
 */
#ifndef LIBIMG_H
#define LIBIMG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Marks the functions that the shared libraries export. */
#if defined(__GNUC__) || defined(__clang__)
#define IMG_API __attribute__((visibility("default")))
#else
#define IMG_API
#endif

/* ---- Scalar types of the processing layer ------------------------------ */
typedef int8_t   TByte;
typedef uint8_t  TUbyte;
typedef int16_t  TWord;
typedef uint16_t TUword;
typedef int32_t  TLong;
typedef uint32_t TUlong;

/* ---- Scalar types of the public layer ---------------------------------- */
typedef uint8_t  IMG_UINT8;
typedef int16_t  IMG_INT16;
typedef uint16_t IMG_UINT16;
typedef int32_t  IMG_INT32;
typedef uint32_t IMG_UINT32;

typedef IMG_INT16  IMG_ERROR;
typedef IMG_UINT16 IMG_ORIGIN;
typedef IMG_UINT16 IMG_BITMAP_TYPE;
typedef TUword     IMF_ORIGIN;
typedef TUword     IMF_ERROR;

/* ---- Origins -------------------------------------------------------------
 * Bit IMG_BOTTOM set: row 0 of Data is the bottom row of the picture. */
#define IMG_TOP_LEFT     0x00
#define IMG_TOP_RIGHT    0x01
#define IMG_BOTTOM_LEFT  0x10
#define IMG_BOTTOM_RIGHT 0x11
#define IMG_BOTTOM       0x10

#define IMF_TOP_LEFT     0x00
#define IMF_TOP_RIGHT    0x01
#define IMF_BOTTOM_LEFT  0x10
#define IMF_BOTTOM_RIGHT 0x11
#define IMF_BOTTOM       0x10
#define IMF_INVERTED     0x80
#define IMF_LEFT_TOP     0x80
#define IMF_LEFT_BOTTOM  0x90
#define IMF_RIGHT_TOP    0x81
#define IMF_RIGHT_BOTTOM 0x91

/* ---- Bitmap type flags (the Type field holds exactly one) -------------- */
#define IMG_BINARY 0x0001 /* 1 bit per pixel, packed, most significant bit first */
#define IMG_GREY   0x0002 /* 1 byte grey level */
#define IMG_COLORS 0x0004 /* 1 byte palette index */
#define IMG_RGB    0x0010 /* R, G, B */
#define IMG_RGBA   0x0020 /* R, G, B, A */
#define IMG_BGR    0x0040 /* B, G, R */
#define IMG_ABGR   0x0080 /* A, B, G, R */
#define IMG_BGRA   0x0100 /* B, G, R, A */
#define IMG_ARGB   0x0200 /* A, R, G, B */
#define IMG_CMYK   0x0400 /* C, M, Y, K */

#define IMF_BINARY 0x0001
#define IMF_GREY   0x0002
#define IMF_COLORS 0x0004
#define IMF_RGB    0x0010
#define IMF_RGBA   0x0020
#define IMF_BGR    0x0040
#define IMF_ABGR   0x0080
#define IMF_BGRA   0x0100
#define IMF_ARGB   0x0200
#define IMF_CMYK   0x0400
#define IMF_RGB16   0x0800 /* defined for completeness; not handled by libimge */
#define IMF_RGBA16  0x1000
#define IMF_RGB32F  0x2000
#define IMF_RGBA32F 0x4000

#define IMF_8BITS      (IMF_BINARY | IMF_GREY | IMF_COLORS)
#define IMF_24BITS     (IMF_RGB | IMF_BGR)
#define IMF_32BITS     (IMF_RGBA | IMF_ABGR | IMF_BGRA | IMF_ARGB | IMF_CMYK)
#define IMF_TRUECOLORS (IMF_24BITS | IMF_32BITS)

#define IMG_8BITS      IMF_8BITS
#define IMG_24BITS     IMF_24BITS
#define IMG_32BITS     IMF_32BITS
#define IMG_TRUECOLORS IMF_TRUECOLORS

/* Luminance of an RGB triple in integer arithmetic. */
#define COLOR2GREY(r, g, b) ((77 * (int)(r) + 150 * (int)(g) + 29 * (int)(b)) >> 8)

/* ---- Public result codes (IMG_ERROR) ----------------------------------- */
#define IMG_NO_ERROR               0
#define IMG_ERROR_FILE_OPEN        1
#define IMG_ERROR_FILE_READ        2
#define IMG_ERROR_FILE_CREATE      3
#define IMG_ERROR_FILE_WRITE       4
#define IMG_ERROR_NO_MEMORY        5
#define IMG_ERROR_UNKNOWN_FORMAT   6
#define IMG_ERROR_BAD_BITMAP       7
#define IMG_ERROR_BAD_FORMAT_INDEX 10
#define IMG_ERROR_BAD_PARAMETERS   50
#define IMG_UNKNOWN_ERROR          255

/* ---- Processing-layer result codes (unsigned, 0 is success) ------------ */
#define IMF_NOERROR       0
#define IMF_ERRMEMORY     1
#define IMF_ERRBADFORMAT  2
#define IMF_ERRFILEOPEN   3
#define IMF_ERRFILEREAD   4
#define IMF_ERRFILECREATE 5
#define IMF_ERRFILEWRITE  6
#define IMF_ERRBADPICTURE 7
#define IMF_ERRBADLOADER  8
#define IMF_ERRBADTYPE    9
#define IMF_ERRCORRUPT    10
#define IMF_ERRINTERNAL   11
#define IMF_ERRBREAK      15
#define IMF_ERRBADPARAMS  16
#define IMF_ERRBADBITMAP  17
#define IMF_ERRNOLOAD     128

/* ---- Metadata kinds ------------------------------------------------------ */
#define IMF_EXIF_METADATA       1
#define IMF_IPTC_METADATA       2
#define IMF_XMP_METADATA        3
#define IMF_ICC_METADATA        4
#define IMF_MAKERNOTES_METADATA 0xff

/* ---- Records --------------------------------------------------------------- */

/* Palette of the public layer. */
typedef struct {
    IMG_UINT8 Red[256];
    IMG_UINT8 Green[256];
    IMG_UINT8 Blue[256];
    IMG_UINT8 Alpha[256];
} IMG_COLORMAP;

/* Palette of the processing layer (1028 bytes). A colour map reachable from
 * an IMG_BITMAP must have this size and layout. */
typedef struct {
    TUbyte Red[256];
    TUbyte Green[256];
    TUbyte Blue[256];
    TUbyte Alpha[256];
    TByte  HasAlpha; /* non-zero when Alpha is meaningful */
    TByte  Reserved[3];
} IMF_COLORMAP;

/* One block of a metadata chain. */
typedef struct IMF_METADATAENTRY {
    TUlong Marker;                   /* IMF_EXIF_METADATA, ... */
    TLong  Length;                   /* bytes at Data */
    void  *Data;
    struct IMF_METADATAENTRY *Next;  /* null at the end */
} IMF_METADATAENTRY;

/* The public bitmap record. */
typedef struct {
    IMG_BITMAP_TYPE Type;
    IMG_ORIGIN      Origin;
    IMG_INT32       Width;
    IMG_INT32       Height;
    IMG_UINT32      BytesPerLine;
    IMG_INT16       LinePadding;
    IMG_UINT16      BitsPerComponent;
    IMG_UINT16      ComponentsPerPixel;
    IMG_UINT16      BytesPerPixel;
    IMG_UINT16      Xdpi;
    IMG_UINT16      Ydpi;
    IMG_INT16       TransparentIndex;
    IMG_INT16       Reserved;
    IMG_INT32       ColorUsed;
    IMG_COLORMAP   *ColorMap;
    IMG_UINT8      *Data;
    char           *Comment;
    void           *MetaData; /* IMF_METADATAENTRY chain */
    IMG_INT32       XOffset;
    IMG_INT32       YOffset;
    char           *Name;
} IMG_BITMAP;

/* The processing-layer bitmap record. */
typedef struct {
    TLong              Width;
    TLong              Height;
    TLong              BytesPerLine;
    TUword             Type;
    TUword             BytesPerPixel;
    TUword             BitsPerComponent;
    TUword             ComponentsPerPixel;
    TWord              Pack;
    IMF_ORIGIN         Origin;
    TLong              Xdpi;
    TLong              Ydpi;
    TWord              ColorUsed;
    TWord              TransparentIndex;
    IMF_COLORMAP      *ColorMap;
    TUbyte            *Data;
    IMF_METADATAENTRY *Metadata;
    char              *Comment;
    TLong              Xoffset;
    TLong              Yoffset;
    char              *Name;
} IMF_BITMAP;

/* A colour; drawing converts it to pixel bytes with imgGetColorArray. */
typedef struct {
    IMG_UINT16 Red;
    IMG_UINT16 Green;
    IMG_UINT16 Blue;
    IMG_UINT16 Alpha;
} IMG_COLOR;

typedef struct {
    IMG_INT32 x;
    IMG_INT32 y;
} IMG_POINT;

/* A convolution kernel of Size x Size (1..7), row by row. */
typedef struct {
    IMG_INT16 Size;
    IMG_INT16 Matrix[49];
    IMG_INT16 Divisor;
    IMG_INT16 Bias;
} IMG_FILTER;

/* Processing area and clipping rectangle: columns left..left+width-1,
 * rows top..top+height-1. */
typedef struct {
    TLong left;
    TLong top;
    TLong width;
    TLong height;
} IMF_RECT;

#ifdef __cplusplus
}
#endif

#endif /* LIBIMG_H */
