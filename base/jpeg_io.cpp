// JPEG through libjpeg. Grey files become grey bitmaps, CMYK (stored inverted
// as Adobe writes it) is converted to RGB, everything else RGB. A warning of
// the decoder (data cut short, corrupt entropy data) makes loading fail with
// libjpeg's own words unless damaged files are accepted.
//
// libjpeg reports fatal errors through a longjmp back into the function that
// set it up; everything that needs releasing lives in objects declared
// before the setjmp and not re-assigned after it.
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <jpeglib.h>
#include <jerror.h>

#include "codec.h"

namespace imgbase {
namespace io {

namespace {

struct ErrorManager {
    jpeg_error_mgr pub;
    std::jmp_buf jump;
    bool accept_damaged = false;
    char message[JMSG_LENGTH_MAX];
};

[[noreturn]] void OnError(j_common_ptr cinfo) {
    auto *err = reinterpret_cast<ErrorManager *>(cinfo->err);
    (*cinfo->err->format_message)(cinfo, err->message);
    std::longjmp(err->jump, 1);
}

// Warnings (level -1) that mean lost picture data end the decoding unless
// damaged files are accepted; trace messages are dropped.
void OnMessage(j_common_ptr cinfo, int level) {
    auto *err = reinterpret_cast<ErrorManager *>(cinfo->err);
    if (level != -1) return;
    const int code = cinfo->err->msg_code;
    if (code == JWRN_JFIF_MAJOR || code == JWRN_ADOBE_XFORM || code == JWRN_BOGUS_ICC) return;
    cinfo->err->num_warnings++;
    if (err->accept_damaged) return;
    (*cinfo->err->format_message)(cinfo, err->message);
    std::longjmp(err->jump, 1);
}

// Called between the scans of a multi-scan file while it is buffered.
void OnProgress(j_common_ptr cinfo) {
    auto *d = reinterpret_cast<j_decompress_ptr>(cinfo);
    if (d->input_scan_number <= kMaxJpegScans) return;
    auto *err = reinterpret_cast<ErrorManager *>(cinfo->err);
    std::snprintf(err->message, sizeof err->message, "more than %d scans", kMaxJpegScans);
    std::longjmp(err->jump, 1);
}

// The decoded bytes, plus the coefficients a multi-scan file keeps for the
// whole picture (64 two-byte values per block of every component).
unsigned long long DecodeBytes(const jpeg_decompress_struct &c, bool grey) {
    unsigned long long bytes = static_cast<unsigned long long>(c.image_width) * c.image_height * (grey ? 1 : 3);
    if (jpeg_has_multiple_scans(const_cast<j_decompress_ptr>(&c)))
        for (int i = 0; i < c.num_components; ++i)
            bytes += 128ull * c.comp_info[i].width_in_blocks * c.comp_info[i].height_in_blocks;
    return bytes;
}

void SetUp(ErrorManager &err) {
    jpeg_std_error(&err.pub);
    err.pub.error_exit = OnError;
    err.pub.emit_message = OnMessage;
    err.message[0] = '\0';
}

struct Decompressor {
    jpeg_decompress_struct cinfo;
    ErrorManager err;
    jpeg_progress_mgr progress{};
    bool created = false;
    IMF_BITMAP out{};
    IMF_METADATAENTRY *meta = nullptr;
    JOCTET *icc = nullptr;
    JSAMPLE *row = nullptr;
    ~Decompressor() {
        if (created) jpeg_destroy_decompress(&cinfo);
        imfFree(&out);
        // Entries not yet handed over.
        while (meta) {
            IMF_METADATAENTRY *next = meta->Next;
            std::free(meta->Data);
            std::free(meta);
            meta = next;
        }
        std::free(icc);
        std::free(row);
    }
};

bool StartsWith(const jpeg_saved_marker_ptr m, const char *id, size_t n) {
    return m->data_length >= n && std::memcmp(m->data, id, n) == 0;
}

// The saved APP markers as metadata entries, in file order.
bool CollectMarkers(Decompressor &d) {
    IMF_METADATAENTRY **tail = &d.meta;
    for (jpeg_saved_marker_ptr m = d.cinfo.marker_list; m; m = m->next) {
        if (m->marker == JPEG_APP0 + 1 && StartsWith(m, kExifId, 6)) {
            if (!AppendMeta(&tail, IMF_EXIF_METADATA, m->data, m->data_length)) return false;
        } else if (m->marker == JPEG_APP0 + 1 && StartsWith(m, kXmpId, sizeof kXmpId)) {
            if (!AppendMeta(&tail, IMF_XMP_METADATA, m->data + sizeof kXmpId,
                            m->data_length - sizeof kXmpId))
                return false;
        } else if (m->marker == JPEG_APP0 + 13 && StartsWith(m, kPhotoshopId, sizeof kPhotoshopId)) {
            if (!AppendMeta(&tail, IMF_IPTC_METADATA, m->data + sizeof kPhotoshopId,
                            m->data_length - sizeof kPhotoshopId))
                return false;
        }
    }
    unsigned int icc_size = 0;
    if (jpeg_read_icc_profile(&d.cinfo, &d.icc, &icc_size) && icc_size > 0)
        if (!AppendMeta(&tail, IMF_ICC_METADATA, d.icc, icc_size)) return false;
    return true;
}

enum class Fail { None, Codec, Memory };

Fail RunDecode(Decompressor &d, const uint8_t *data, size_t size) {
    if (setjmp(d.err.jump)) return Fail::Codec;
    jpeg_create_decompress(&d.cinfo);
    d.created = true;
    jpeg_mem_src(&d.cinfo, data, static_cast<unsigned long>(size));
    jpeg_save_markers(&d.cinfo, JPEG_APP0 + 1, 0xFFFF);
    jpeg_save_markers(&d.cinfo, JPEG_APP0 + 2, 0xFFFF);
    jpeg_save_markers(&d.cinfo, JPEG_APP0 + 13, 0xFFFF);
    jpeg_read_header(&d.cinfo, TRUE);
    const J_COLOR_SPACE in = d.cinfo.jpeg_color_space;
    const bool cmyk = in == JCS_CMYK || in == JCS_YCCK;
    const bool grey = in == JCS_GRAYSCALE;
    d.cinfo.out_color_space = grey ? JCS_GRAYSCALE : cmyk ? JCS_CMYK : JCS_RGB;
    if (!PixelsBelievable(size, DecodeBytes(d.cinfo, grey))) {
        std::snprintf(d.err.message, sizeof d.err.message, "picture too large for the file's length");
        return Fail::Codec;
    }
    d.progress.progress_monitor = OnProgress;
    d.cinfo.progress = &d.progress;
    jpeg_start_decompress(&d.cinfo);
    const TLong w = static_cast<TLong>(d.cinfo.output_width), h = static_cast<TLong>(d.cinfo.output_height);
    if (!imfAllock(&d.out, grey ? IMF_GREY : IMF_RGB, 1, w, h)) return Fail::Memory;
    if (cmyk && !(d.row = static_cast<JSAMPLE *>(std::malloc(static_cast<size_t>(w) * 4)))) return Fail::Memory;
    while (d.cinfo.output_scanline < d.cinfo.output_height) {
        const TLong y = static_cast<TLong>(d.cinfo.output_scanline);
        TUbyte *dst = d.out.Data + static_cast<size_t>(y) * d.out.BytesPerLine;
        JSAMPROW target = cmyk ? d.row : dst;
        jpeg_read_scanlines(&d.cinfo, &target, 1);
        if (cmyk)
            for (TLong x = 0; x < w; ++x) {
                const int k = d.row[4 * x + 3];
                for (int c = 0; c < 3; ++c) dst[3 * x + c] = static_cast<TUbyte>(d.row[4 * x + c] * k / 255);
            }
    }
    if (!CollectMarkers(d)) return Fail::Memory;
    if (d.cinfo.saw_JFIF_marker && d.cinfo.X_density > 0 && d.cinfo.Y_density > 0) {
        if (d.cinfo.density_unit == 1) {
            d.out.Xdpi = d.cinfo.X_density;
            d.out.Ydpi = d.cinfo.Y_density;
        } else if (d.cinfo.density_unit == 2) {  // dots per centimetre
            d.out.Xdpi = static_cast<TLong>(d.cinfo.X_density * 2.54 + 0.5);
            d.out.Ydpi = static_cast<TLong>(d.cinfo.Y_density * 2.54 + 0.5);
        }
    }
    jpeg_finish_decompress(&d.cinfo);
    return Fail::None;
}

struct Compressor {
    jpeg_compress_struct cinfo;
    ErrorManager err;
    jpeg_progress_mgr progress{};
    bool created = false;
    unsigned char *buffer = nullptr;
    unsigned long size = 0;
    JSAMPLE *row = nullptr;
    ~Compressor() {
        if (created) jpeg_destroy_compress(&cinfo);
        std::free(buffer);
        std::free(row);
    }
};

void WriteMarker(jpeg_compress_struct *c, int marker, const char *id, size_t id_size,
                 const IMF_METADATAENTRY &e) {
    const size_t n = id_size + static_cast<size_t>(e.Length);
    if (n > 65533) return;  // does not fit one marker; left out
    jpeg_write_m_header(c, marker, static_cast<unsigned>(n));
    for (size_t k = 0; k < id_size; ++k) jpeg_write_m_byte(c, static_cast<unsigned char>(id[k]));
    const auto *p = static_cast<const uint8_t *>(e.Data);
    for (TLong k = 0; k < e.Length; ++k) jpeg_write_m_byte(c, p[k]);
}

bool RunEncode(Compressor &c, const IMF_BITMAP &b, const IMF_METADATAENTRY *meta,
               const IMG_SAVE_OPTIONS &opt) {
    if (setjmp(c.err.jump)) return false;
    jpeg_create_compress(&c.cinfo);
    c.created = true;
    jpeg_mem_dest(&c.cinfo, &c.buffer, &c.size);
    c.cinfo.image_width = static_cast<JDIMENSION>(b.Width);
    c.cinfo.image_height = static_cast<JDIMENSION>(b.Height);
    const bool grey = b.Type == IMF_GREY;
    c.cinfo.input_components = grey ? 1 : 3;
    c.cinfo.in_color_space = grey ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&c.cinfo);
    jpeg_set_quality(&c.cinfo, opt.Quality > 0 ? opt.Quality : 90, TRUE);
    c.cinfo.optimize_coding = TRUE;
    if (!grey) {
        int h = 2, v = 2;
        if (opt.Subsampling == 444) h = v = 1;
        else if (opt.Subsampling == 422) v = 1;
        else if (opt.Subsampling == 440) h = 1;
        c.cinfo.comp_info[0].h_samp_factor = h;
        c.cinfo.comp_info[0].v_samp_factor = v;
    }
    if (opt.Progressive) jpeg_simple_progression(&c.cinfo);
    if (b.Xdpi > 0 && b.Ydpi > 0 && b.Xdpi <= 65535 && b.Ydpi <= 65535) {
        c.cinfo.density_unit = 1;
        c.cinfo.X_density = static_cast<UINT16>(b.Xdpi);
        c.cinfo.Y_density = static_cast<UINT16>(b.Ydpi);
    }
    jpeg_start_compress(&c.cinfo, TRUE);
    for (const IMF_METADATAENTRY *e = meta; e; e = e->Next) {
        if (!e->Data || e->Length <= 0) continue;
        if (e->Marker == IMF_EXIF_METADATA) {
            const bool has_id = e->Length >= 6 && std::memcmp(e->Data, kExifId, 6) == 0;
            WriteMarker(&c.cinfo, JPEG_APP0 + 1, kExifId, has_id ? 0 : 6, *e);
        } else if (e->Marker == IMF_XMP_METADATA) {
            WriteMarker(&c.cinfo, JPEG_APP0 + 1, kXmpId, sizeof kXmpId, *e);
        } else if (e->Marker == IMF_IPTC_METADATA) {
            WriteMarker(&c.cinfo, JPEG_APP0 + 13, kPhotoshopId, sizeof kPhotoshopId, *e);
        } else if (e->Marker == IMF_ICC_METADATA) {
            jpeg_write_icc_profile(&c.cinfo, static_cast<const JOCTET *>(e->Data),
                                   static_cast<unsigned>(e->Length));
        }
    }
    const TLong w = b.Width;
    while (c.cinfo.next_scanline < c.cinfo.image_height) {
        const TUbyte *src = b.Data + static_cast<size_t>(c.cinfo.next_scanline) * b.BytesPerLine;
        JSAMPROW row;
        if (b.Type == IMF_GREY || b.Type == IMF_RGB) {
            row = const_cast<JSAMPROW>(src);
        } else {  // RGBA without its alpha, or palette indices looked up
            row = c.row;
            for (TLong x = 0; x < w; ++x) {
                if (b.Type == IMF_RGBA) {
                    std::memcpy(row + 3 * x, src + 4 * x, 3);
                } else {
                    const int k = src[x];
                    row[3 * x] = b.ColorMap->Red[k];
                    row[3 * x + 1] = b.ColorMap->Green[k];
                    row[3 * x + 2] = b.ColorMap->Blue[k];
                }
            }
        }
        jpeg_write_scanlines(&c.cinfo, &row, 1);
    }
    jpeg_finish_compress(&c.cinfo);
    return true;
}

}  // namespace

IMG_ERROR DecodeJpeg(const uint8_t *data, size_t size, bool accept_damaged, IMF_BITMAP *out,
                     Message &msg) {
    Decompressor d;
    SetUp(d.err);
    d.err.accept_damaged = accept_damaged;
    d.cinfo.err = &d.err.pub;
    const Fail f = RunDecode(d, data, size);
    if (f == Fail::Memory) return IMG_ERROR_NO_MEMORY;
    if (f == Fail::Codec) {
        msg.Set("bad JPEG file: %s", d.err.message);
        return d.err.pub.msg_code == JERR_OUT_OF_MEMORY ? IMG_ERROR_NO_MEMORY : IMG_ERROR_FILE_READ;
    }
    *out = d.out;
    out->Metadata = d.meta;
    d.meta = nullptr;
    std::memset(&d.out, 0, sizeof d.out);
    return IMG_NO_ERROR;
}

IMG_ERROR EncodeJpeg(const IMF_BITMAP &b, const IMF_METADATAENTRY *meta,
                     const IMG_SAVE_OPTIONS &opt, Buffer *out, Message &msg) {
    if (b.Width < 1 || b.Height < 1 || b.Width > JPEG_MAX_DIMENSION || b.Height > JPEG_MAX_DIMENSION) {
        msg.Set("JPEG takes 1 to %d pixels a side", static_cast<int>(JPEG_MAX_DIMENSION));
        return IMG_ERROR_BAD_BITMAP;
    }
    if (opt.Quality < 0 || opt.Quality > 100 ||
        (opt.Subsampling != 0 && opt.Subsampling != 444 && opt.Subsampling != 422 &&
         opt.Subsampling != 420 && opt.Subsampling != 440)) {
        msg.Set("quality 1..100 and subsampling 444, 422, 420 or 440");
        return IMG_ERROR_BAD_PARAMETERS;
    }
    Compressor c;
    SetUp(c.err);
    c.cinfo.err = &c.err.pub;
    if (b.Type != IMF_GREY && b.Type != IMF_RGB &&
        !(c.row = static_cast<JSAMPLE *>(std::malloc(static_cast<size_t>(b.Width) * 3))))
        return IMG_ERROR_NO_MEMORY;
    if (!RunEncode(c, b, meta, opt)) {
        msg.Set("%s", c.err.message);
        return IMG_ERROR_NO_MEMORY;
    }
    return out->Append(c.buffer, c.size) ? IMG_NO_ERROR : IMG_ERROR_NO_MEMORY;
}

namespace {

bool RunHeader(Decompressor &d, const uint8_t *data, size_t size, IMG_INT32 *subsampling) {
    if (setjmp(d.err.jump)) return false;
    jpeg_create_decompress(&d.cinfo);
    d.created = true;
    jpeg_mem_src(&d.cinfo, data, static_cast<unsigned long>(size));
    jpeg_read_header(&d.cinfo, TRUE);
    *subsampling = 0;
    if (d.cinfo.num_components == 3) {
        const jpeg_component_info &y = d.cinfo.comp_info[0], &cb = d.cinfo.comp_info[1];
        const int h = cb.h_samp_factor ? y.h_samp_factor / cb.h_samp_factor : 0;
        const int v = cb.v_samp_factor ? y.v_samp_factor / cb.v_samp_factor : 0;
        if (h == 1 && v == 1) *subsampling = 444;
        else if (h == 2 && v == 1) *subsampling = 422;
        else if (h == 2 && v == 2) *subsampling = 420;
        else if (h == 1 && v == 2) *subsampling = 440;
        else if (h == 4 && v == 1) *subsampling = 411;
    }
    return true;
}

}  // namespace

IMG_ERROR JpegSubsampling(const uint8_t *data, size_t size, IMG_INT32 *subsampling) {
    Decompressor d;
    SetUp(d.err);
    d.cinfo.err = &d.err.pub;
    return RunHeader(d, data, size, subsampling) ? IMG_NO_ERROR : IMG_ERROR_FILE_READ;
}

}  // namespace io
}  // namespace imgbase
