// The pixel bytes that show a colour on a given bitmap.
#include <climits>

#include "libtools.h"
#include "pixel_types.h"

extern "C" {

// Grey: the luminance (77 R + 150 G + 29 B) >> 8 of the colour's low bytes.
// Colour-mapped: the nearest of the first ColorUsed palette entries (squared
// RGB distance, the lowest index on ties). True colour: the low bytes in the
// type's order, alpha from Alpha; CMYK as 255 - R, 255 - G, 255 - B, K 0.
// Binary bitmaps have no byte per pixel and are refused.
IMG_ERROR imgGetColorArray(const IMG_BITMAP *bitmap, const IMG_COLOR *color, IMG_UINT8 array[4]) {
    if (!bitmap || !color || !array) return IMG_ERROR_BAD_PARAMETERS;
    const int r = color->Red & 0xFF, g = color->Green & 0xFF, b = color->Blue & 0xFF;
    const int a = color->Alpha & 0xFF;
    array[0] = array[1] = array[2] = array[3] = 0;
    switch (bitmap->Type) {
        case IMG_GREY:
            array[0] = static_cast<IMG_UINT8>(COLOR2GREY(r, g, b));
            return IMG_NO_ERROR;
        case IMG_COLORS: {
            const IMG_COLORMAP *map = bitmap->ColorMap;
            int n = bitmap->ColorUsed > 256 ? 256 : bitmap->ColorUsed;
            if (!map || n <= 0) return IMG_ERROR_BAD_BITMAP;
            int best = 0;
            long best_d = LONG_MAX;
            for (int i = 0; i < n; ++i) {
                long dr = map->Red[i] - r, dg = map->Green[i] - g, db = map->Blue[i] - b;
                long d = dr * dr + dg * dg + db * db;
                if (d < best_d) { best_d = d; best = i; }
            }
            array[0] = static_cast<IMG_UINT8>(best);
            return IMG_NO_ERROR;
        }
        case IMG_CMYK:
            array[0] = static_cast<IMG_UINT8>(255 - r);
            array[1] = static_cast<IMG_UINT8>(255 - g);
            array[2] = static_cast<IMG_UINT8>(255 - b);
            array[3] = 0;
            return IMG_NO_ERROR;
        default: {
            imge::records::RgbOrder o;
            if (!imge::records::RgbOrderOf(bitmap->Type, &o)) return IMG_ERROR_BAD_BITMAP;
            array[o.r] = static_cast<IMG_UINT8>(r);
            array[o.g] = static_cast<IMG_UINT8>(g);
            array[o.b] = static_cast<IMG_UINT8>(b);
            if (o.a >= 0) array[o.a] = static_cast<IMG_UINT8>(a);
            return IMG_NO_ERROR;
        }
    }
}

}  // extern "C"
