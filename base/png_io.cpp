// PNG through libpng's full interface, so that samples arrive as stored (no
// colour management): 16-bit samples keep their high byte, 1-, 2- and 4-bit
// grey is scaled to 0..255, palette files keep their indices (alpha from
// tRNS); grey+alpha, RGBA and files with a transparent colour become RGBA.
// Metadata: eXIf (EXIF), iTXt "XML:com.adobe.xmp" (XMP), iCCP (ICC),
// zTXt "Raw profile type 8bim" (IPTC as Photoshop resources), pHYs.
//
// libpng reports errors by longjmp into the function that armed it;
// everything that needs releasing lives in the reader or writer object.
#include <png.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "codec.h"

namespace imgbase {
namespace io {

namespace {

constexpr char kIptcKey[] = "Raw profile type 8bim";
constexpr char kXmpKey[] = "XML:com.adobe.xmp";

struct PngReader {
    png_structp png = nullptr;
    png_infop info = nullptr;
    const uint8_t *data = nullptr;
    size_t size = 0, pos = 0;
    IMF_BITMAP out{};
    IMF_METADATAENTRY *meta = nullptr;
    png_bytep *rows = nullptr;
    uint8_t *scratch = nullptr;
    bool no_memory = false;
    char message[200] = "";
    ~PngReader() {
        png_destroy_read_struct(&png, info ? &info : nullptr, nullptr);
        imfFree(&out);
        while (meta) {
            IMF_METADATAENTRY *next = meta->Next;
            std::free(meta->Data);
            std::free(meta);
            meta = next;
        }
        std::free(rows);
        std::free(scratch);
    }
};

void OnPngError(png_structp png, png_const_charp msg) {
    auto *m = static_cast<char *>(png_get_error_ptr(png));
    std::snprintf(m, 200, "%s", msg);
    png_longjmp(png, 1);
}

void OnPngWarning(png_structp, png_const_charp) {}

void ReadBytes(png_structp png, png_bytep out, png_size_t n) {
    auto *r = static_cast<PngReader *>(png_get_io_ptr(png));
    if (n > r->size - r->pos) png_error(png, "file cut short");
    std::memcpy(out, r->data + r->pos, n);
    r->pos += n;
}

int Hex(int c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// "\n8bim\n    1234\n<hex digits with line breaks>": the raw profile layout
// that ImageMagick and exiftool use. Malformed text is ignored.
bool AppendRawProfile(IMF_METADATAENTRY ***tail, const char *text, size_t n) {
    size_t k = 0;
    int newlines = 0;
    while (k < n && newlines < 2) newlines += text[k++] == '\n';
    unsigned long length = std::strtoul(text + k, nullptr, 10);
    while (k < n && text[k] != '\n') ++k;
    if (length == 0 || length > n / 2) return true;
    uint8_t *bytes = static_cast<uint8_t *>(std::malloc(length));
    if (!bytes) return false;
    size_t got = 0;
    for (int hi = -1; k < n && got < length; ++k) {
        const int v = Hex(text[k]);
        if (v < 0) continue;
        if (hi < 0) {
            hi = v;
        } else {
            bytes[got++] = static_cast<uint8_t>(hi << 4 | v);
            hi = -1;
        }
    }
    const bool ok = got != length || AppendMeta(tail, IMF_IPTC_METADATA, bytes, length);
    std::free(bytes);
    return ok;
}

bool CollectChunks(PngReader &r) {
    IMF_METADATAENTRY **tail = &r.meta;
    png_uint_32 exif_size = 0;
    png_bytep exif = nullptr;
    if (png_get_eXIf_1(r.png, r.info, &exif_size, &exif) && exif_size > 0) {
        // Kept with the identifier that JPEG's APP1 block has, as every
        // EXIF entry of the chain is.
        r.scratch = static_cast<uint8_t *>(std::malloc(exif_size + 6));
        if (!r.scratch) return false;
        std::memcpy(r.scratch, kExifId, 6);
        std::memcpy(r.scratch + 6, exif, exif_size);
        if (!AppendMeta(&tail, IMF_EXIF_METADATA, r.scratch, exif_size + 6)) return false;
    }
    png_textp text = nullptr;
    int count = 0;
    png_get_text(r.png, r.info, &text, &count);
    for (int k = 0; k < count; ++k) {
        const size_t n = std::strlen(text[k].text);  // XMP and raw profiles are text
        if (std::strcmp(text[k].key, kXmpKey) == 0) {
            if (!AppendMeta(&tail, IMF_XMP_METADATA, text[k].text, n)) return false;
        } else if (std::strcmp(text[k].key, kIptcKey) == 0) {
            if (!AppendRawProfile(&tail, text[k].text, n)) return false;
        }
    }
    png_charp name = nullptr;
    int compression = 0;
    png_bytep profile = nullptr;
    png_uint_32 profile_size = 0;
    if (png_get_iCCP(r.png, r.info, &name, &compression, &profile, &profile_size) && profile_size > 0)
        if (!AppendMeta(&tail, IMF_ICC_METADATA, profile, profile_size)) return false;
    png_uint_32 xres = 0, yres = 0;
    int unit = 0;
    if (png_get_pHYs(r.png, r.info, &xres, &yres, &unit) && unit == PNG_RESOLUTION_METER) {
        r.out.Xdpi = static_cast<TLong>(xres * 0.0254 + 0.5);
        r.out.Ydpi = static_cast<TLong>(yres * 0.0254 + 0.5);
    }
    return true;
}

bool ReadPng(PngReader &r) {
    if (setjmp(png_jmpbuf(r.png))) return false;
    png_set_read_fn(r.png, &r, ReadBytes);
    png_set_benign_errors(r.png, 1);
    // No ancillary chunk (a profile, a text) may claim more memory than the
    // file could hold, decompressed or not; larger ones are skipped.
    png_set_chunk_malloc_max(r.png, (16u << 20) + 4 * r.size);
    png_read_info(r.png, r.info);
    png_uint_32 w, h;
    int depth, colour, interlace;
    png_get_IHDR(r.png, r.info, &w, &h, &depth, &colour, &interlace, nullptr, nullptr);
    if (w > 0x7FFFFFF || h > 0x7FFFFFF) png_error(r.png, "image too large");
    if (depth == 16) png_set_strip_16(r.png);
    if (colour == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(r.png);
    if (colour == PNG_COLOR_TYPE_PALETTE && depth < 8) png_set_packing(r.png);
    TLong type = IMF_RGB;
    const bool trns = png_get_valid(r.png, r.info, PNG_INFO_tRNS) != 0;
    switch (colour) {
    case PNG_COLOR_TYPE_PALETTE: type = IMF_COLORS; break;
    case PNG_COLOR_TYPE_GRAY:
        type = trns ? IMF_RGBA : IMF_GREY;
        if (trns) {
            png_set_tRNS_to_alpha(r.png);
            png_set_gray_to_rgb(r.png);
        }
        break;
    case PNG_COLOR_TYPE_GRAY_ALPHA:
        type = IMF_RGBA;
        png_set_gray_to_rgb(r.png);
        break;
    case PNG_COLOR_TYPE_RGB:
        type = trns ? IMF_RGBA : IMF_RGB;
        if (trns) png_set_tRNS_to_alpha(r.png);
        break;
    default: type = IMF_RGBA; break;
    }
    // Checked before libpng sets up its row buffers.
    const int bytes_per_pixel = type == IMF_RGBA ? 4 : type == IMF_RGB ? 3 : 1;
    if (!PixelsBelievable(r.size, static_cast<unsigned long long>(w) * h * bytes_per_pixel))
        png_error(r.png, "picture too large for the file's length");
    png_set_interlace_handling(r.png);
    png_read_update_info(r.png, r.info);
    if (png_get_rowbytes(r.png, r.info) != static_cast<size_t>(w) * (type == IMF_RGBA ? 4 : type == IMF_RGB ? 3 : 1))
        png_error(r.png, "unexpected sample layout");

    r.rows = static_cast<png_bytep *>(std::malloc(sizeof(png_bytep) * (h ? h : 1)));
    if (!r.rows || !imfAllock(&r.out, type, 1, static_cast<TLong>(w), static_cast<TLong>(h))) {
        r.no_memory = true;
        return false;
    }
    for (png_uint_32 y = 0; y < h; ++y) r.rows[y] = r.out.Data + static_cast<size_t>(y) * r.out.BytesPerLine;
    png_read_image(r.png, r.rows);
    png_read_end(r.png, r.info);
    if (type == IMF_COLORS) {
        png_colorp palette = nullptr;
        int entries = 0;
        png_get_PLTE(r.png, r.info, &palette, &entries);
        png_bytep alpha = nullptr;
        int alphas = 0;
        if (trns) png_get_tRNS(r.png, r.info, &alpha, &alphas, nullptr);
        IMF_COLORMAP *cm = r.out.ColorMap;
        for (int k = 0; k < 256; ++k) cm->Alpha[k] = 255;
        for (int k = 0; k < entries && k < 256; ++k) {
            cm->Red[k] = palette[k].red;
            cm->Green[k] = palette[k].green;
            cm->Blue[k] = palette[k].blue;
        }
        for (int k = 0; k < alphas && k < 256; ++k) cm->Alpha[k] = alpha[k];
        cm->HasAlpha = alphas > 0 ? 1 : 0;
        r.out.ColorUsed = static_cast<TWord>(entries);
    }
    if (!CollectChunks(r)) {
        r.no_memory = true;
        return false;
    }
    return true;
}

struct PngWriter {
    png_structp png = nullptr;
    png_infop info = nullptr;
    Buffer *out = nullptr;
    bool no_memory = false;
    char *hex = nullptr;
    char *xmp = nullptr;
    char message[200] = "";
    ~PngWriter() {
        png_destroy_write_struct(&png, info ? &info : nullptr);
        std::free(xmp);
        std::free(hex);
    }
};

void WriteBytes(png_structp png, png_bytep data, png_size_t n) {
    auto *w = static_cast<PngWriter *>(png_get_io_ptr(png));
    if (!w->out->Append(data, n)) {
        w->no_memory = true;
        png_error(png, "out of memory");
    }
}

void Flush(png_structp) {}

// The raw-profile text of an IPTC entry (see AppendRawProfile); null when
// memory is short.
char *RawProfile(const IMF_METADATAENTRY &e) {
    const size_t n = static_cast<size_t>(e.Length);
    char *t = static_cast<char *>(std::malloc(32 + n * 2 + n / 36 + 2));
    if (!t) return nullptr;
    int k = std::snprintf(t, 32, "\n8bim\n%8lu\n", static_cast<unsigned long>(n));
    static const char digits[] = "0123456789abcdef";
    const auto *p = static_cast<const uint8_t *>(e.Data);
    for (size_t i = 0; i < n; ++i) {
        t[k++] = digits[p[i] >> 4];
        t[k++] = digits[p[i] & 15];
        if (i % 36 == 35) t[k++] = '\n';
    }
    t[k++] = '\n';
    t[k] = '\0';
    return t;
}

bool WritePng(PngWriter &w, const IMF_BITMAP &b, const IMF_METADATAENTRY *meta) {
    if (setjmp(png_jmpbuf(w.png))) return false;
    png_set_write_fn(w.png, &w, WriteBytes, Flush);
    // A profile or text that libpng finds questionable is left out rather
    // than failing the whole file.
    png_set_benign_errors(w.png, 1);
    const int colour = b.Type == IMF_GREY ? PNG_COLOR_TYPE_GRAY
                       : b.Type == IMF_RGB ? PNG_COLOR_TYPE_RGB
                       : b.Type == IMF_RGBA ? PNG_COLOR_TYPE_RGB_ALPHA
                                            : PNG_COLOR_TYPE_PALETTE;
    png_set_IHDR(w.png, w.info, static_cast<png_uint_32>(b.Width), static_cast<png_uint_32>(b.Height), 8,
                 colour, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (colour == PNG_COLOR_TYPE_PALETTE) {
        png_color pal[256];
        png_byte alpha[256];
        const int n = b.ColorUsed;
        for (int k = 0; k < n; ++k) {
            pal[k].red = b.ColorMap->Red[k];
            pal[k].green = b.ColorMap->Green[k];
            pal[k].blue = b.ColorMap->Blue[k];
            alpha[k] = b.ColorMap->HasAlpha ? b.ColorMap->Alpha[k] : 255;
        }
        png_set_PLTE(w.png, w.info, pal, n);
        if (b.ColorMap->HasAlpha) png_set_tRNS(w.png, w.info, alpha, n, nullptr);
    }
    if (b.Xdpi > 0 && b.Ydpi > 0)
        png_set_pHYs(w.png, w.info, static_cast<png_uint_32>(b.Xdpi / 0.0254 + 0.5),
                     static_cast<png_uint_32>(b.Ydpi / 0.0254 + 0.5), PNG_RESOLUTION_METER);
    png_text texts[2];
    int ntext = 0;
    bool xmp_set = false;
    std::memset(texts, 0, sizeof texts);
    for (const IMF_METADATAENTRY *e = meta; e; e = e->Next) {
        if (!e->Data || e->Length <= 0) continue;
        auto *data = static_cast<png_bytep>(e->Data);
        if (e->Marker == IMF_EXIF_METADATA) {
            const bool has_id = e->Length > 6 && std::memcmp(data, kExifId, 6) == 0;
            png_set_eXIf_1(w.png, w.info, static_cast<png_uint_32>(e->Length - (has_id ? 6 : 0)),
                           data + (has_id ? 6 : 0));
        } else if (e->Marker == IMF_ICC_METADATA) {
            png_set_iCCP(w.png, w.info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, data,
                         static_cast<png_uint_32>(e->Length));
        } else if (e->Marker == IMF_XMP_METADATA && !xmp_set) {
            xmp_set = true;
            // libpng takes text up to its terminating zero.
            if (!(w.xmp = static_cast<char *>(std::malloc(static_cast<size_t>(e->Length) + 1)))) {
                w.no_memory = true;
                return false;
            }
            std::memcpy(w.xmp, data, static_cast<size_t>(e->Length));
            w.xmp[e->Length] = '\0';
            png_text &t = texts[ntext++];
            t.compression = PNG_ITXT_COMPRESSION_NONE;
            t.key = const_cast<char *>(kXmpKey);
            t.text = w.xmp;
            t.itxt_length = std::strlen(w.xmp);
        } else if (e->Marker == IMF_IPTC_METADATA && !w.hex) {
            if (!(w.hex = RawProfile(*e))) {
                w.no_memory = true;
                return false;
            }
            png_text &t = texts[ntext++];
            t.compression = PNG_TEXT_COMPRESSION_zTXt;
            t.key = const_cast<char *>(kIptcKey);
            t.text = w.hex;
            t.text_length = std::strlen(w.hex);
        }
    }
    if (ntext) png_set_text(w.png, w.info, texts, ntext);
    png_write_info(w.png, w.info);
    for (TLong y = 0; y < b.Height; ++y)
        png_write_row(w.png, b.Data + static_cast<size_t>(y) * b.BytesPerLine);
    png_write_end(w.png, w.info);
    return true;
}

}  // namespace

IMG_ERROR DecodePng(const uint8_t *data, size_t size, IMF_BITMAP *out, Message &msg) {
    // libpng takes a chunk's memory before it reads the chunk: a length
    // beyond the end of the file is refused before it is believed.
    for (size_t at = 8; at + 8 <= size;) {
        const uint32_t length = uint32_t(data[at]) << 24 | data[at + 1] << 16 | data[at + 2] << 8 | data[at + 3];
        if (size - at < 12 || length > size - at - 12) {
            msg.Set("bad PNG file: file cut short");
            return IMG_ERROR_FILE_READ;
        }
        if (std::memcmp(data + at + 4, "IEND", 4) == 0) break;
        at += 12 + size_t(length);
    }
    PngReader r;
    r.data = data;
    r.size = size;
    r.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, r.message, OnPngError, OnPngWarning);
    if (!r.png || !(r.info = png_create_info_struct(r.png))) return IMG_ERROR_NO_MEMORY;
    if (!ReadPng(r)) {
        if (r.no_memory) return IMG_ERROR_NO_MEMORY;
        msg.Set("bad PNG file: %s", r.message);
        return IMG_ERROR_FILE_READ;
    }
    *out = r.out;
    out->Metadata = r.meta;
    r.meta = nullptr;
    std::memset(&r.out, 0, sizeof r.out);
    return IMG_NO_ERROR;
}

IMG_ERROR EncodePng(const IMF_BITMAP &b, const IMF_METADATAENTRY *meta, Buffer *out, Message &msg) {
    if (b.Width < 1 || b.Height < 1) {
        msg.Set("PNG needs at least one pixel");
        return IMG_ERROR_BAD_BITMAP;
    }
    PngWriter w;
    w.out = out;
    w.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, w.message, OnPngError, OnPngWarning);
    if (!w.png || !(w.info = png_create_info_struct(w.png))) return IMG_ERROR_NO_MEMORY;
    if (!WritePng(w, b, meta)) {
        if (w.no_memory) return IMG_ERROR_NO_MEMORY;
        msg.Set("%s", w.message);
        return IMG_ERROR_BAD_BITMAP;
    }
    return IMG_NO_ERROR;
}

}  // namespace io
}  // namespace imgbase
