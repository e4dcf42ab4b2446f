// Desaturation, extraction of one component and exchange of components.
#include <algorithm>
#include <cstring>

#include "colour/channel_rows.h"
#include "core/bitmap_check.h"
#include "core/entry_frame.h"
#include "core/separate_frame.h"
#include "core/target.h"
#include "libformat.h"
#include "libimge.h"
#include "libtools.h"
#include "records/pixel_types.h"

namespace {

// Byte position of the extracted component within a pixel: an alpha-less
// layout asked for alpha gives its byte 0, and any selector other than
// 0..3 acts as red.
int ChannelPosition(TUlong type, TLong channel) {
    imge::records::RgbOrder o;
    if (!imge::records::RgbOrderOf(static_cast<unsigned>(type), &o)) o = {0, 1, 2, -1};
    switch (channel) {
        case 1: return o.g;
        case 2: return o.b;
        case 3: return o.a < 0 ? 0 : o.a;
        default: return o.r;
    }
}

}  // namespace

extern "C" {

IMF_ERROR imfDesaturate(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    if (!imge::BitmapIsValid(src)) return IMF_ERRBADBITMAP;
    IMF_RECT rect;
    if (imfGetClippingRect(src, area, &rect)) return IMF_ERRBADPARAMS;
    if (!(src->Type & IMF_TRUECOLORS)) return IMF_ERRBADBITMAP;
    const int bpp = src->BytesPerPixel;
    IMF_BITMAP fresh;
    IMF_ERROR rc = imge::BeginSeparate(src, area, &fresh, true);
    if (rc != IMF_NOERROR) return rc;
    imge::ForEachSeparateRow(src, &fresh, rect, [bpp](const TUbyte *in, TUbyte *out, TLong n) {
        imge::colour::DesaturateRow(in, out, n, bpp);
    });
    imge::HandOver(src, dst, &fresh);
    return IMF_NOERROR;
}

IMF_ERROR imfExtractChannel(IMF_BITMAP *src, IMF_BITMAP *dst, TLong channel) {
    if (!imge::BitmapIsValid(src) || src->Type == IMF_BINARY || src->Type == IMF_GREY)
        return IMF_ERRBADBITMAP;
    if (src->Type == IMF_COLORS && !src->ColorMap) return IMF_ERRBADBITMAP;
    IMF_BITMAP grey;
    imge::ResultLike like;
    like.type = IMF_GREY;
    like.bits = src->BitsPerComponent;
    if (imge::NewResult(src, &grey, like) != IMF_NOERROR) return IMF_ERRMEMORY;
    grey.ColorUsed = 256;
    for (TLong y = 0; y < src->Height; ++y) {
        const TUbyte *in = src->Data + static_cast<long long>(y) * src->BytesPerLine;
        TUbyte *out = grey.Data + static_cast<long long>(y) * grey.BytesPerLine;
        if (src->Type == IMF_COLORS) {
            const TUbyte *plane = channel == 1 ? src->ColorMap->Green
                                  : channel == 2 ? src->ColorMap->Blue
                                                 : src->ColorMap->Red;
            for (TLong x = 0; x < src->Width; ++x) out[x] = plane[in[x]];
        } else {
            imge::colour::ExtractRow(in, out, src->Width, src->BytesPerPixel, ChannelPosition(src->Type, channel));
        }
    }
    imge::HandOver(src, dst, &grey);
    return IMF_NOERROR;
}

// Modes above 4 are refused before anything is allocated.
IMF_ERROR imfSwapColors(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TUlong mode) {
    if (!imge::BitmapIsValid(src) || src->Type == IMF_BINARY) return IMF_ERRBADBITMAP;
    IMF_RECT rect;
    if (imfGetClippingRect(src, area, &rect)) return IMF_ERRBADPARAMS;
    if (mode > 4) return IMF_ERRBADPARAMS;
    if (src->Type == IMF_COLORS && !src->ColorMap) return IMF_ERRBADBITMAP;
    // Blue-first layouts: modes 0 and 3 exchange, so that a mode names the
    // same colour exchange on every layout.
    if (src->Type == IMF_BGR || src->Type == IMF_ABGR || src->Type == IMF_BGRA) {
        if (mode == 0) mode = 3;
        else if (mode == 3) mode = 0;
    }
    IMF_BITMAP fresh;
    IMF_ERROR rc = imge::BeginSeparate(src, area, &fresh, true);
    if (rc != IMF_NOERROR) return rc;
    if (src->Type == IMF_COLORS) {
        // The pixels stay; the palette entries below ColorUsed are permuted.
        imge::CopyPixels(src, &fresh);
        std::memcpy(fresh.ColorMap, src->ColorMap, sizeof(IMF_COLORMAP));
        const int n = std::min<TLong>(src->ColorUsed, 256);
        const IMF_COLORMAP *m = src->ColorMap;
        for (int i = 0; i < n; ++i) {
            TUbyte in[3] = {m->Red[i], m->Green[i], m->Blue[i]}, out[3];
            imge::colour::SwapPixelBytes(in, out, mode);
            fresh.ColorMap->Red[i] = out[0];
            fresh.ColorMap->Green[i] = out[1];
            fresh.ColorMap->Blue[i] = out[2];
        }
    } else if (src->BytesPerPixel < 3) {
        imge::CopyPixels(src, &fresh);
    } else {
        const int bpp = src->BytesPerPixel;
        imge::ForEachSeparateRow(src, &fresh, rect, [bpp, mode](const TUbyte *in, TUbyte *out, TLong n) {
            imge::colour::SwapRow(in, out, n, bpp, static_cast<int>(mode));
        });
    }
    imge::HandOver(src, dst, &fresh);
    return IMF_NOERROR;
}

IMG_ERROR imgSwapColors(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_SWAPCOLORS_MODE mode) {
    return imge::Framed(src, dst, [mode](IMF_BITMAP *s, IMF_BITMAP *d) {
        return imfSwapColors(s, d, nullptr, mode);
    });
}

}  // extern "C"
