// PNG through libpng's simplified interface (no setjmp in our code): grey
// files become grey bitmaps, palette files colour-mapped bitmaps (palette
// alpha from tRNS), grey+alpha and RGBA files RGBA bitmaps, the rest RGB.
// 16-bit samples are reduced to 8 bits by libpng.
#include <png.h>

#include <cstring>

#include "image_io.h"

namespace tool {

namespace {

struct PngImage {
    png_image img;
    PngImage() {
        std::memset(&img, 0, sizeof img);
        img.version = PNG_IMAGE_VERSION;
    }
    ~PngImage() { png_image_free(&img); }
};

std::string Reason(const png_image &img) {
    return std::string("bad PNG file: ") + (img.message[0] ? img.message : "unknown error");
}

}  // namespace

Image DecodePng(const Bytes &data) {
    PngImage p;
    if (!png_image_begin_read_from_memory(&p.img, data.data(), data.size())) throw ToolError{Reason(p.img)};
    const int w = static_cast<int>(p.img.width), h = static_cast<int>(p.img.height);
    if (w <= 0 || h <= 0 || p.img.width > 0x7FFFFFF || p.img.height > 0x7FFFFFF)
        throw ToolError{"bad PNG file: image too large"};
    if (p.img.format & PNG_FORMAT_FLAG_COLORMAP) {
        Image out = NewImage(IMG_COLORS, w, h);
        png_byte map[256 * 4];
        std::memset(map, 0, sizeof map);
        p.img.format = PNG_FORMAT_RGBA_COLORMAP;
        if (!png_image_finish_read(&p.img, nullptr, out->Data, static_cast<png_int_32>(out->BytesPerLine), map))
            throw ToolError{Reason(p.img)};
        auto *cm = reinterpret_cast<IMF_COLORMAP *>(out->ColorMap);
        const int n = static_cast<int>(p.img.colormap_entries);
        bool alpha = false;
        for (int k = 0; k < n && k < 256; ++k) {
            cm->Red[k] = map[4 * k];
            cm->Green[k] = map[4 * k + 1];
            cm->Blue[k] = map[4 * k + 2];
            cm->Alpha[k] = map[4 * k + 3];
            alpha = alpha || map[4 * k + 3] != 255;
        }
        cm->HasAlpha = alpha ? 1 : 0;
        out->ColorUsed = n;
        return out;
    }
    IMG_BITMAP_TYPE type;
    if (p.img.format & PNG_FORMAT_FLAG_ALPHA) {
        type = IMG_RGBA;
        p.img.format = PNG_FORMAT_RGBA;
    } else if (p.img.format & PNG_FORMAT_FLAG_COLOR) {
        type = IMG_RGB;
        p.img.format = PNG_FORMAT_RGB;
    } else {
        type = IMG_GREY;
        p.img.format = PNG_FORMAT_GRAY;
    }
    Image out = NewImage(type, w, h);
    if (!png_image_finish_read(&p.img, nullptr, out->Data, static_cast<png_int_32>(out->BytesPerLine), nullptr))
        throw ToolError{Reason(p.img)};
    return out;
}

Bytes EncodePng(const IMG_BITMAP &src) {
    PngImage p;
    p.img.width = static_cast<png_uint_32>(src.Width);
    p.img.height = static_cast<png_uint_32>(src.Height);
    Image canon;
    const IMG_BITMAP *b = &src;
    png_byte map[256 * 4];
    const void *colormap = nullptr;
    if (src.Type == IMG_COLORS && src.ColorMap && src.ColorUsed >= 1 && src.ColorUsed <= 256) {
        const auto *cm = reinterpret_cast<const IMF_COLORMAP *>(src.ColorMap);
        const int n = src.ColorUsed;
        for (int k = 0; k < n; ++k) {
            map[4 * k] = cm->Red[k];
            map[4 * k + 1] = cm->Green[k];
            map[4 * k + 2] = cm->Blue[k];
            map[4 * k + 3] = cm->HasAlpha ? cm->Alpha[k] : 255;
        }
        // Indices beyond the palette would make libpng refuse the file.
        bool inside = true;
        for (int y = 0; y < src.Height && inside; ++y)
            for (int x = 0; x < src.Width; ++x)
                if (Row(src, y)[x] >= n) {
                    inside = false;
                    break;
                }
        if (inside) {
            p.img.format = cm->HasAlpha ? PNG_FORMAT_RGBA_COLORMAP : PNG_FORMAT_RGB_COLORMAP;
            if (!cm->HasAlpha)
                for (int k = 0; k < n; ++k) {  // packed RGB entries
                    map[3 * k] = cm->Red[k];
                    map[3 * k + 1] = cm->Green[k];
                    map[3 * k + 2] = cm->Blue[k];
                }
            p.img.colormap_entries = static_cast<png_uint_32>(n);
            colormap = map;
        }
    }
    if (!colormap) {
        if (src.Type != IMG_GREY && src.Type != IMG_RGB && src.Type != IMG_RGBA) {
            canon = ToCanonical(src);
            b = canon.get();
        }
        p.img.format = b->Type == IMG_GREY ? PNG_FORMAT_GRAY
                       : b->Type == IMG_RGB ? PNG_FORMAT_RGB
                                            : PNG_FORMAT_RGBA;
    }
    png_alloc_size_t size = 0;
    const png_int_32 stride = static_cast<png_int_32>(b->BytesPerLine);
    if (!png_image_write_to_memory(&p.img, nullptr, &size, 0, b->Data, stride, colormap))
        throw ToolError{std::string("cannot encode PNG: ") + p.img.message};
    Bytes out(size);
    if (!png_image_write_to_memory(&p.img, out.data(), &size, 0, b->Data, stride, colormap))
        throw ToolError{std::string("cannot encode PNG: ") + p.img.message};
    out.resize(size);
    return out;
}

}  // namespace tool
