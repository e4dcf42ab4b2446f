// PNG: grey files become grey bitmaps, palette files colour-mapped bitmaps
// (palette alpha from tRNS), grey+alpha, RGBA and files with a transparent
// colour RGBA bitmaps, the rest RGB. Writing uses libpng's simplified
// interface.
#include <png.h>

#include <cstdio>
#include <cstring>
#include <vector>

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


}  // namespace

namespace {

// Reading uses libpng's full interface, so that sample values arrive as
// stored (no colour management): 16-bit samples keep their high byte, 1-, 2-
// and 4-bit grey is scaled to 0..255, palette files keep their indices.
// libpng reports errors by longjmp into ReadPng; everything that needs
// releasing lives in PngReader and `out`, outside that frame.
struct PngReader {
    png_structp png = nullptr;
    png_infop info = nullptr;
    const Bytes *data = nullptr;
    size_t pos = 0;
    char message[200] = "";
    ~PngReader() { png_destroy_read_struct(&png, info ? &info : nullptr, nullptr); }
};

void OnPngError(png_structp png, png_const_charp msg) {
    auto *r = static_cast<PngReader *>(png_get_error_ptr(png));
    std::snprintf(r->message, sizeof r->message, "%s", msg);
    png_longjmp(png, 1);
}

void OnPngWarning(png_structp, png_const_charp) {}

void ReadBytes(png_structp png, png_bytep out, png_size_t n) {
    auto *r = static_cast<PngReader *>(png_get_io_ptr(png));
    if (n > r->data->size() - r->pos) png_error(png, "truncated file");
    std::memcpy(out, r->data->data() + r->pos, n);
    r->pos += n;
}

bool ReadPng(PngReader &r, Image &out, std::vector<png_bytep> &rows) {
    if (setjmp(png_jmpbuf(r.png))) return false;
    png_set_read_fn(r.png, &r, ReadBytes);
    png_read_info(r.png, r.info);
    png_uint_32 w, h;
    int depth, colour, interlace;
    png_get_IHDR(r.png, r.info, &w, &h, &depth, &colour, &interlace, nullptr, nullptr);
    if (w > 0x7FFFFFF || h > 0x7FFFFFF) png_error(r.png, "image too large");
    if (depth == 16) png_set_strip_16(r.png);
    if (colour == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(r.png);
    if (colour == PNG_COLOR_TYPE_PALETTE && depth < 8) png_set_packing(r.png);
    IMG_BITMAP_TYPE type = IMG_RGB;
    const bool trns = png_get_valid(r.png, r.info, PNG_INFO_tRNS) != 0;
    switch (colour) {
    case PNG_COLOR_TYPE_PALETTE: type = IMG_COLORS; break;
    case PNG_COLOR_TYPE_GRAY:
        type = trns ? IMG_RGBA : IMG_GREY;
        if (trns) {
            png_set_tRNS_to_alpha(r.png);
            png_set_gray_to_rgb(r.png);
        }
        break;
    case PNG_COLOR_TYPE_GRAY_ALPHA:
        type = IMG_RGBA;
        png_set_gray_to_rgb(r.png);
        break;
    case PNG_COLOR_TYPE_RGB:
        type = trns ? IMG_RGBA : IMG_RGB;
        if (trns) png_set_tRNS_to_alpha(r.png);
        break;
    default: type = IMG_RGBA; break;
    }
    png_set_interlace_handling(r.png);
    png_read_update_info(r.png, r.info);
    if (png_get_rowbytes(r.png, r.info) != static_cast<size_t>(w) * (type == IMG_RGBA ? 4 : type == IMG_RGB ? 3 : 1))
        png_error(r.png, "unexpected sample layout");
    // NewImage may throw: allowed, no libpng frame lies between here and the handler.
    out = NewImage(type, static_cast<int>(w), static_cast<int>(h));
    rows.resize(h);
    for (png_uint_32 y = 0; y < h; ++y) rows[y] = Row(*out, static_cast<int>(y));
    png_read_image(r.png, rows.data());
    png_read_end(r.png, nullptr);
    if (type == IMG_COLORS) {
        png_colorp palette = nullptr;
        int entries = 0;
        png_get_PLTE(r.png, r.info, &palette, &entries);
        png_bytep alpha = nullptr;
        int alphas = 0;
        if (trns) png_get_tRNS(r.png, r.info, &alpha, &alphas, nullptr);
        auto *cm = reinterpret_cast<IMF_COLORMAP *>(out->ColorMap);
        for (int k = 0; k < 256; ++k) cm->Alpha[k] = 255;
        for (int k = 0; k < entries && k < 256; ++k) {
            cm->Red[k] = palette[k].red;
            cm->Green[k] = palette[k].green;
            cm->Blue[k] = palette[k].blue;
        }
        for (int k = 0; k < alphas && k < 256; ++k) cm->Alpha[k] = alpha[k];
        cm->HasAlpha = alphas > 0 ? 1 : 0;
        out->ColorUsed = entries;
    }
    return true;
}

}  // namespace

Image DecodePng(const Bytes &data) {
    PngReader r;
    r.data = &data;
    r.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &r, OnPngError, OnPngWarning);
    if (!r.png) throw ToolError{"out of memory"};
    r.info = png_create_info_struct(r.png);
    if (!r.info) throw ToolError{"out of memory"};
    Image out;
    std::vector<png_bytep> rows;
    if (!ReadPng(r, out, rows)) throw ToolError{std::string("bad PNG file: ") + r.message};
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
