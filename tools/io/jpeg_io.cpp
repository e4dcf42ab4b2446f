// JPEG through libjpeg: grey files become grey bitmaps, everything else RGB
// (CMYK files, stored inverted as Adobe writes them, are converted to RGB).
// Writing: grey bitmaps as grey JPEG, everything else as RGB (alpha dropped),
// with an optional EXIF APP1 block.
//
// libjpeg reports fatal errors through a longjmp back into the function that
// set it up; everything that needs releasing lives in objects declared before
// the setjmp and is not re-assigned after it.
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <vector>
#include <cstring>

#include <jpeglib.h>

#include "image_io.h"

namespace tool {

namespace {

struct ErrorManager {
    jpeg_error_mgr pub;
    std::jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
};

void OnError(j_common_ptr cinfo) {
    auto *err = reinterpret_cast<ErrorManager *>(cinfo->err);
    (*cinfo->err->format_message)(cinfo, err->message);
    std::longjmp(err->jump, 1);
}

void OnMessage(j_common_ptr) {}  // warnings (a truncated file...) are not printed

void SetUp(ErrorManager &err) {
    jpeg_std_error(&err.pub);
    err.pub.error_exit = OnError;
    err.pub.output_message = OnMessage;
    err.message[0] = '\0';
}

// Both objects live outside the setjmp functions, so nothing there needs
// to be volatile.
struct Decompressor {
    jpeg_decompress_struct cinfo;
    ErrorManager err;
    bool created = false;
    ~Decompressor() {
        if (created) jpeg_destroy_decompress(&cinfo);
    }
};

struct Compressor {
    jpeg_compress_struct cinfo;
    ErrorManager err;
    unsigned char *buffer = nullptr;
    unsigned long size = 0;
    bool created = false;
    ~Compressor() {
        if (created) jpeg_destroy_compress(&cinfo);
        std::free(buffer);
    }
};

// Returns false (message in d.err) when libjpeg gave up. `out` is created
// after the header is read; `row` is scratch for CMYK.
bool RunDecode(Decompressor &d, const Bytes &data, Image &out, std::vector<JSAMPLE> &row) {
    if (setjmp(d.err.jump)) return false;
    jpeg_create_decompress(&d.cinfo);
    d.created = true;
    jpeg_mem_src(&d.cinfo, data.data(), static_cast<unsigned long>(data.size()));
    jpeg_read_header(&d.cinfo, TRUE);
    const J_COLOR_SPACE in = d.cinfo.jpeg_color_space;
    const bool cmyk = in == JCS_CMYK || in == JCS_YCCK;
    d.cinfo.out_color_space = in == JCS_GRAYSCALE ? JCS_GRAYSCALE : cmyk ? JCS_CMYK : JCS_RGB;
    jpeg_start_decompress(&d.cinfo);
    const int w = static_cast<int>(d.cinfo.output_width), h = static_cast<int>(d.cinfo.output_height);
    // NewImage may throw; that is allowed here because no libjpeg frame is
    // between this point and the handler.
    out = NewImage(in == JCS_GRAYSCALE ? IMG_GREY : IMG_RGB, w, h);
    if (cmyk) row.resize(static_cast<size_t>(w) * 4);
    while (d.cinfo.output_scanline < d.cinfo.output_height) {
        const int y = static_cast<int>(d.cinfo.output_scanline);
        JSAMPROW target = cmyk ? row.data() : Row(*out, y);
        jpeg_read_scanlines(&d.cinfo, &target, 1);
        if (cmyk) {
            IMG_UINT8 *p = Row(*out, y);
            for (int x = 0; x < w; ++x) {
                const int k = row[4 * x + 3];
                for (int c = 0; c < 3; ++c) p[3 * x + c] = static_cast<IMG_UINT8>(row[4 * x + c] * k / 255);
            }
        }
    }
    jpeg_finish_decompress(&d.cinfo);
    return true;
}

bool RunEncode(Compressor &c, const IMG_BITMAP &b, const SaveOptions &opt) {
    if (setjmp(c.err.jump)) return false;
    jpeg_create_compress(&c.cinfo);
    c.created = true;
    jpeg_mem_dest(&c.cinfo, &c.buffer, &c.size);
    c.cinfo.image_width = static_cast<JDIMENSION>(b.Width);
    c.cinfo.image_height = static_cast<JDIMENSION>(b.Height);
    const bool grey = b.Type == IMG_GREY;
    c.cinfo.input_components = grey ? 1 : 3;
    c.cinfo.in_color_space = grey ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&c.cinfo);
    jpeg_set_quality(&c.cinfo, opt.jpeg_quality, TRUE);
    jpeg_start_compress(&c.cinfo, TRUE);
    if (!opt.exif.empty())
        jpeg_write_marker(&c.cinfo, JPEG_APP0 + 1, opt.exif.data(), static_cast<unsigned>(opt.exif.size()));
    while (c.cinfo.next_scanline < c.cinfo.image_height) {
        JSAMPROW row = Row(b, static_cast<int>(c.cinfo.next_scanline));
        jpeg_write_scanlines(&c.cinfo, &row, 1);
    }
    jpeg_finish_compress(&c.cinfo);
    return true;
}

// A bitmap of 3-byte RGB pixels without alpha (or grey), as the encoder takes.
Image ToRgbOrGrey(const IMG_BITMAP &b) {
    Image canon = ToCanonical(b);
    if (canon->Type != IMG_RGBA) return canon;
    Image rgb = NewImage(IMG_RGB, canon->Width, canon->Height);
    for (int y = 0; y < canon->Height; ++y)
        for (int x = 0; x < canon->Width; ++x) std::memcpy(Row(*rgb, y) + 3 * x, Row(*canon, y) + 4 * x, 3);
    return rgb;
}

}  // namespace

Image DecodeJpeg(const Bytes &data) {
    Decompressor d;
    SetUp(d.err);
    d.cinfo.err = &d.err.pub;
    Image out;
    std::vector<JSAMPLE> row;
    if (!RunDecode(d, data, out, row)) throw ToolError{std::string("bad JPEG file: ") + d.err.message};
    return out;
}

Bytes EncodeJpeg(const IMG_BITMAP &src, const SaveOptions &opt) {
    if (src.Width > JPEG_MAX_DIMENSION || src.Height > JPEG_MAX_DIMENSION)
        throw ToolError{"too large for JPEG (at most 65500 pixels a side)"};
    Image conv;
    const IMG_BITMAP *b = &src;
    if (src.Type != IMG_GREY && src.Type != IMG_RGB) {
        conv = ToRgbOrGrey(src);
        b = conv.get();
    }
    Compressor c;
    SetUp(c.err);
    c.cinfo.err = &c.err.pub;
    if (!RunEncode(c, *b, opt)) throw ToolError{std::string("cannot encode JPEG: ") + c.err.message};
    return Bytes(c.buffer, c.buffer + c.size);
}

}  // namespace tool
