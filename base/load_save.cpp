// imgLoadBitmap / imgSaveBitmap: files to bitmaps and back. The codecs work
// in memory (codec.h); this file reads and writes the files, tells the
// formats apart, brings bitmaps into a form each format holds, turns pictures
// upright by their EXIF orientation on request, and keeps the EXIF block
// consistent with the geometry that is saved.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <utility>
#include <sys/stat.h>
#include <unistd.h>

#include "codec.h"
#include "owned_data.h"
#include "pixel_types.h"
#include "record_convert.h"
#include "tiff_reader.h"

namespace imgbase {
namespace io {

Buffer::~Buffer() { std::free(data); }

bool Buffer::Append(const void *bytes, size_t n) {
    if (n > capacity - size) {
        size_t want = capacity ? capacity : 65536;
        while (want - size < n) {
            if (want > SIZE_MAX / 2) return false;
            want *= 2;
        }
        auto *p = static_cast<uint8_t *>(std::realloc(data, want));
        if (!p) return false;
        data = p;
        capacity = want;
    }
    if (n) std::memcpy(data + size, bytes, n);
    size += n;
    return true;
}

void Message::Set(const char *fmt, ...) {
    if (!text || capacity == 0) return;
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(text, capacity, fmt, ap);
    va_end(ap);
    // One line: libjpeg's and libpng's texts never hold a line break, but
    // an unexpected one must not split the caller's report.
    for (char *p = text; *p; ++p)
        if (*p == '\n' || *p == '\r') *p = ' ';
}

bool AppendMeta(IMF_METADATAENTRY ***tail, TUlong marker, const void *data, size_t n) {
    if (n > 0x7FFFFFFF) return true;  // cannot be described by Length; left out
    auto *e = static_cast<IMF_METADATAENTRY *>(std::calloc(1, sizeof(IMF_METADATAENTRY)));
    if (!e) return false;
    if (n) {
        e->Data = std::malloc(n);
        if (!e->Data) {
            std::free(e);
            return false;
        }
        std::memcpy(e->Data, data, n);
    }
    e->Marker = marker;
    e->Length = static_cast<TLong>(n);
    **tail = e;
    *tail = &e->Next;
    return true;
}

bool PixelsBelievable(size_t file_size, unsigned long long pixel_bytes) {
    const unsigned long long floor = 16ull << 20, per_byte = 2048;
    return pixel_bytes <= floor || (pixel_bytes - floor) / per_byte < file_size;
}

const IMF_METADATAENTRY *FindMeta(const IMF_METADATAENTRY *chain, TUlong marker) {
    for (int n = 0; chain && n < 65536; chain = chain->Next, ++n)
        if (chain->Marker == marker && chain->Data && chain->Length > 0) return chain;
    return nullptr;
}

}  // namespace io
}  // namespace imgbase

namespace {

using imgbase::io::Buffer;
using imgbase::io::Message;

enum class Format { Unknown, Png, Jpeg, Pnm, Pbm };

Format FormatOfName(const char *path) {
    const char *slash = std::strrchr(path, '/');
    const char *dot = std::strrchr(path, '.');
    if (!dot || (slash && dot < slash)) return Format::Unknown;
    char ext[8] = {0};
    for (int k = 0; k < 7 && dot[1 + k]; ++k) {
        const char c = dot[1 + k];
        ext[k] = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    if (dot[1] && std::strlen(dot + 1) > 7) return Format::Unknown;
    if (!std::strcmp(ext, "png")) return Format::Png;
    if (!std::strcmp(ext, "jpg") || !std::strcmp(ext, "jpeg")) return Format::Jpeg;
    if (!std::strcmp(ext, "pnm") || !std::strcmp(ext, "ppm") || !std::strcmp(ext, "pgm")) return Format::Pnm;
    if (!std::strcmp(ext, "pbm")) return Format::Pbm;
    return Format::Unknown;
}

// The whole file into `out`.
IMG_ERROR ReadWhole(const char *path, Buffer *out, Message &msg) {
    struct stat st;
    if (stat(path, &st) != 0) {
        msg.Set("%s", std::strerror(errno));
        return IMG_ERROR_FILE_OPEN;
    }
    if (S_ISDIR(st.st_mode)) {
        msg.Set("is a directory, not an image file");
        return IMG_ERROR_FILE_OPEN;
    }
    FILE *f = std::fopen(path, "rb");
    if (!f) {
        msg.Set("%s", std::strerror(errno));
        return IMG_ERROR_FILE_OPEN;
    }
    uint8_t chunk[65536];
    size_t n;
    bool memory = true;
    while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0)
        if (!(memory = out->Append(chunk, n))) break;
    const bool failed = std::ferror(f) != 0;
    std::fclose(f);
    if (!memory) return IMG_ERROR_NO_MEMORY;
    if (failed) {
        msg.Set("read error");
        return IMG_ERROR_FILE_READ;
    }
    if (out->size == 0) {
        msg.Set("empty file");
        return IMG_ERROR_FILE_READ;
    }
    return IMG_NO_ERROR;
}

// The process's file-creation mask, read without changing it: Linux shows it
// in /proc/self/status. Elsewhere it is set and put back, which another
// thread creating a file at that moment could see.
mode_t CurrentUmask() {
    if (FILE *f = std::fopen("/proc/self/status", "r")) {
        char line[256];
        while (std::fgets(line, sizeof line, f))
            if (std::strncmp(line, "Umask:", 6) == 0) {
                std::fclose(f);
                return static_cast<mode_t>(std::strtoul(line + 6, nullptr, 8) & 0777);
            }
        std::fclose(f);
    }
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

// Writes `data` to `path` through a scratch file in the same folder and a
// rename, so that a failure leaves no partial file.
IMG_ERROR WriteWhole(const char *path, const Buffer &data, Message &msg) {
    struct stat st;
    if (stat(path, &st) == 0 && S_ISDIR(st.st_mode)) {
        msg.Set("is a directory");
        return IMG_ERROR_FILE_CREATE;
    }
    const size_t len = std::strlen(path);
    char *tmp = static_cast<char *>(std::malloc(len + 16));
    if (!tmp) return IMG_ERROR_NO_MEMORY;
    const char *slash = std::strrchr(path, '/');
    const size_t dir = slash ? static_cast<size_t>(slash - path) + 1 : 0;
    std::memcpy(tmp, path, dir);
    std::snprintf(tmp + dir, len + 16 - dir, ".%s.XXXXXX", path + dir);
    const int fd = mkstemp(tmp);
    if (fd < 0) {
        msg.Set("cannot create a file there: %s", std::strerror(errno));
        std::free(tmp);
        return IMG_ERROR_FILE_CREATE;
    }
    size_t done = 0;
    IMG_ERROR rc = IMG_NO_ERROR;
    while (done < data.size) {
        const ssize_t w = write(fd, data.data + done, data.size - done);
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) {
            msg.Set("%s", std::strerror(errno));
            rc = IMG_ERROR_FILE_WRITE;
            break;
        }
        done += static_cast<size_t>(w);
    }
    // Scratch files are made 0600; give the result the usual permissions.
    if (fchmod(fd, 0666 & ~CurrentUmask()) != 0) {}
    if (close(fd) != 0 && rc == IMG_NO_ERROR) {
        msg.Set("%s", std::strerror(errno));
        rc = IMG_ERROR_FILE_WRITE;
    }
    if (rc == IMG_NO_ERROR && std::rename(tmp, path) != 0) {
        msg.Set("%s", std::strerror(errno));
        rc = IMG_ERROR_FILE_CREATE;
    }
    if (rc != IMG_NO_ERROR) unlink(tmp);
    std::free(tmp);
    return rc;
}

// ---- EXIF edits ---------------------------------------------------------------

constexpr uint16_t kTagExifIfd = 0x8769, kTagPixelX = 0xA002, kTagPixelY = 0xA003;

void Put16(uint8_t *p, uint32_t v, bool big) {
    p[big ? 1 : 0] = static_cast<uint8_t>(v);
    p[big ? 0 : 1] = static_cast<uint8_t>(v >> 8);
}

void Put32(uint8_t *p, uint32_t v, bool big) {
    for (int k = 0; k < 4; ++k) p[big ? 3 - k : k] = static_cast<uint8_t>(v >> (8 * k));
}

// Unlinks IFD1 (the thumbnail's directory) from IFD0: viewers then find no
// thumbnail. The bytes stay, unreferenced.
void DropThumbnail(IMF_METADATAENTRY *e) {
    auto *block = static_cast<uint8_t *>(e->Data);
    imgbase::exif::TiffReader tiff(block, static_cast<size_t>(e->Length));
    uint32_t ifd0 = 0;
    uint16_t count = 0;
    if (!tiff.Valid() || !tiff.FirstIfd(&ifd0) || !tiff.U16(ifd0, &count)) return;
    const size_t link = ifd0 + 2 + 12 * static_cast<size_t>(count);
    uint32_t next = 0;
    if (!tiff.U32(link, &next)) return;
    Put32(block + tiff.TiffStart() + link, 0, tiff.BigEndian());
}

// Rewrites the EXIF pixel dimensions when they differ from width x height;
// true when they did (the picture's geometry has changed).
bool FixDimensions(IMF_METADATAENTRY *e, TLong width, TLong height) {
    auto *block = static_cast<uint8_t *>(e->Data);
    imgbase::exif::TiffReader tiff(block, static_cast<size_t>(e->Length));
    uint32_t ifd0 = 0, sub = 0;
    imgbase::exif::Entry link{};
    if (!tiff.Valid() || !tiff.FirstIfd(&ifd0) || !tiff.Find(ifd0, kTagExifIfd, &link) ||
        !tiff.Number(link, &sub))
        return false;
    bool changed = false;
    const uint16_t tags[2] = {kTagPixelX, kTagPixelY};
    const uint32_t values[2] = {static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
    for (int k = 0; k < 2; ++k) {
        imgbase::exif::Entry en{};
        uint32_t old = 0;
        if (!tiff.Find(sub, tags[k], &en) || !tiff.Number(en, &old) || old == values[k]) continue;
        changed = true;
        uint8_t *value = block + tiff.TiffStart() + en.value_at;
        uint8_t *type = value - 6;  // tag, type, count, value
        if (en.type == imgbase::exif::kTypeShort && values[k] <= 0xFFFF) {
            Put16(value, values[k], tiff.BigEndian());
        } else {
            Put16(type, imgbase::exif::kTypeLong, tiff.BigEndian());
            Put32(value, values[k], tiff.BigEndian());
        }
    }
    return changed;
}

// ---- Pixels ------------------------------------------------------------------

TUbyte *RowOf(const IMF_BITMAP &b, TLong y) { return b.Data + static_cast<size_t>(y) * b.BytesPerLine; }

// The bitmap as grey, RGB or RGBA: binary to grey 0/255, a palette without
// colours to grey, other byte orders reordered, CMYK by 255 - C - K.
IMG_ERROR ToCanonical(const IMF_BITMAP &b, IMF_BITMAP *out) {
    imge::records::RgbOrder o{};
    const bool order = imge::records::RgbOrderOf(b.Type, &o);
    const TLong type = b.Type == IMF_BINARY || b.Type == IMF_COLORS ? IMF_GREY
                       : b.Type == IMF_CMYK ? IMF_RGB
                       : order && o.a >= 0 ? IMF_RGBA
                       : order ? IMF_RGB : 0;
    if (!type) return IMG_ERROR_BAD_BITMAP;
    if (!imfAllock(out, type, 1, b.Width, b.Height)) return IMG_ERROR_NO_MEMORY;
    for (TLong y = 0; y < b.Height; ++y) {
        const TUbyte *s = RowOf(b, y);
        TUbyte *d = RowOf(*out, y);
        for (TLong x = 0; x < b.Width; ++x) {
            if (b.Type == IMF_BINARY) {
                d[x] = imfGetBitAtBuffer(s, x) ? 255 : 0;
            } else if (b.Type == IMF_COLORS) {
                d[x] = s[x];
            } else if (b.Type == IMF_CMYK) {
                for (int c = 0; c < 3; ++c) {
                    const int v = 255 - s[4 * x + c] - s[4 * x + 3];
                    d[3 * x + c] = static_cast<TUbyte>(v < 0 ? 0 : v);
                }
            } else {
                const int sb = b.BytesPerPixel, db = out->BytesPerPixel;
                d[db * x] = s[sb * x + o.r];
                d[db * x + 1] = s[sb * x + o.g];
                d[db * x + 2] = s[sb * x + o.b];
                if (o.a >= 0) d[db * x + 3] = s[sb * x + o.a];
            }
        }
    }
    return IMG_NO_ERROR;
}

// Turns the pixels of a loaded bitmap (one or more whole bytes a pixel) so
// that orientation `o` (2..8) reads 1.
IMG_ERROR Orient(IMF_BITMAP *b, int o) {
    const bool swap = o >= 5;
    const TLong w = b->Width, h = b->Height;
    IMF_BITMAP out;
    if (!imfAllock(&out, b->Type, 1, swap ? h : w, swap ? w : h)) return IMG_ERROR_NO_MEMORY;
    const int bpp = b->BytesPerPixel;
    for (TLong y = 0; y < out.Height; ++y) {
        TUbyte *d = RowOf(out, y);
        for (TLong x = 0; x < out.Width; ++x) {
            TLong sx = x, sy = y;
            switch (o) {
            case 2: sx = w - 1 - x; break;
            case 3: sx = w - 1 - x; sy = h - 1 - y; break;
            case 4: sy = h - 1 - y; break;
            case 5: sx = y; sy = x; break;
            case 6: sx = y; sy = h - 1 - x; break;
            case 7: sx = w - 1 - y; sy = h - 1 - x; break;
            case 8: sx = w - 1 - y; sy = x; break;
            default: break;
            }
            std::memcpy(d + bpp * x, RowOf(*b, sy) + static_cast<size_t>(bpp) * sx, bpp);
        }
    }
    if (b->ColorMap) std::memcpy(out.ColorMap, b->ColorMap, sizeof(IMF_COLORMAP));
    std::swap(out.Metadata, b->Metadata);
    out.ColorUsed = b->ColorUsed;
    out.Xdpi = swap ? b->Ydpi : b->Xdpi;
    out.Ydpi = swap ? b->Xdpi : b->Ydpi;
    imfFree(b);
    *b = out;
    return IMG_NO_ERROR;
}

IMG_ERROR Load(const char *path, const IMG_LOAD_OPTIONS &opt, IMG_BITMAP **out, Message &msg) {
    Buffer file;
    IMG_ERROR rc = ReadWhole(path, &file, msg);
    if (rc != IMG_NO_ERROR) return rc;
    const uint8_t *d = file.data;
    const size_t n = file.size;
    IMF_BITMAP b;
    std::memset(&b, 0, sizeof b);
    if (n >= 8 && std::memcmp(d, "\x89PNG\r\n\x1a\n", 8) == 0) {
        rc = imgbase::io::DecodePng(d, n, &b, msg);
    } else if (n >= 3 && d[0] == 0xFF && d[1] == 0xD8 && d[2] == 0xFF) {
        rc = imgbase::io::DecodeJpeg(d, n, opt.AcceptDamaged != 0, &b, msg);
    } else if (n >= 2 && d[0] == 'P' && d[1] >= '1' && d[1] <= '7') {
        rc = imgbase::io::DecodePnm(d, n, &b, msg);
    } else {
        msg.Set("unsupported format (not a PNG, JPEG or PNM file)");
        return IMG_ERROR_UNKNOWN_FORMAT;
    }
    if (rc != IMG_NO_ERROR) {
        imfFree(&b);
        return rc;
    }
    auto *exif = const_cast<IMF_METADATAENTRY *>(imgbase::io::FindMeta(b.Metadata, IMF_EXIF_METADATA));
    int o = 1;
    if (opt.AutoOrient && exif && EXIFGetOrientation(exif, &o) && o >= 2 && o <= 8) {
        if ((rc = Orient(&b, o)) != IMG_NO_ERROR) {
            imfFree(&b);
            return rc;
        }
        EXIFSetOrientation(exif, 1);
        DropThumbnail(exif);  // it still shows the stored orientation
    }
    auto *img = static_cast<IMG_BITMAP *>(imgMemoryAlloc(sizeof(IMG_BITMAP)));
    if (!img) {
        imfFree(&b);
        return IMG_ERROR_NO_MEMORY;
    }
    imge::records::ToImg(img, &b);
    img->ComponentsPerPixel = b.ComponentsPerPixel;
    *out = img;
    return IMG_NO_ERROR;
}

// Whether a colour-mapped bitmap can be written as a palette PNG.
bool PaletteFits(const IMF_BITMAP &b) {
    if (!b.ColorMap || b.ColorUsed < 1 || b.ColorUsed > 256) return false;
    for (TLong y = 0; y < b.Height; ++y)
        for (TLong x = 0; x < b.Width; ++x)
            if (RowOf(b, y)[x] >= b.ColorUsed) return false;
    return true;
}

IMG_ERROR Save(const char *path, const IMG_BITMAP *img, const IMG_SAVE_OPTIONS &opt, Message &msg) {
    const Format f = FormatOfName(path);
    if (f == Format::Unknown) {
        msg.Set("cannot tell the format from the name (use .png, .jpg, .jpeg, .pnm, .ppm, .pgm or .pbm)");
        return IMG_ERROR_UNKNOWN_FORMAT;
    }
    IMF_BITMAP view;
    imge::records::ToImf(&view, img);
    if (!view.Data || view.Width < 1 || view.Height < 1 ||
        imge::records::BytesPerPixelOf(view.Type) == 0 ||
        view.BytesPerLine < imge::records::RowBytes(view.Type, view.Width)) {
        msg.Set("not a bitmap that can be saved");
        return IMG_ERROR_BAD_BITMAP;
    }
    IMF_BITMAP canon;
    std::memset(&canon, 0, sizeof canon);
    const IMF_BITMAP *b = &view;
    const bool palette = view.Type == IMF_COLORS && PaletteFits(view);
    const bool direct = view.Type == IMF_GREY || view.Type == IMF_RGB || view.Type == IMF_RGBA || palette;
    if (!direct || (f == Format::Pbm && view.Type != IMF_GREY)) {
        IMG_ERROR rc = ToCanonical(view, &canon);
        if (rc != IMG_NO_ERROR) return rc;
        canon.Xdpi = view.Xdpi;
        canon.Ydpi = view.Ydpi;
        b = &canon;
    }
    // The metadata chain to write: a copy, with the EXIF block made to
    // agree with the geometry.
    IMF_METADATAENTRY *meta = nullptr;
    if (!imgbase::CopyMetadata(view.Metadata, &meta)) {
        imfFree(&canon);
        return IMG_ERROR_NO_MEMORY;
    }
    auto *exif = const_cast<IMF_METADATAENTRY *>(imgbase::io::FindMeta(meta, IMF_EXIF_METADATA));
    if (exif && FixDimensions(exif, b->Width, b->Height)) DropThumbnail(exif);
    Buffer out;
    IMG_ERROR rc = IMG_NO_ERROR;
    switch (f) {
    case Format::Png: rc = imgbase::io::EncodePng(*b, meta, &out, msg); break;
    case Format::Jpeg: rc = imgbase::io::EncodeJpeg(*b, meta, opt, &out, msg); break;
    case Format::Pnm: rc = imgbase::io::EncodePnm(*b, &out, msg); break;
    case Format::Pbm: {
        char header[64];
        const int n = std::snprintf(header, sizeof header, "P4\n%d %d\n", static_cast<int>(b->Width),
                                    static_cast<int>(b->Height));
        const size_t row = (static_cast<size_t>(b->Width) + 7) / 8;
        uint8_t *bits = static_cast<uint8_t *>(std::calloc(row ? row : 1, 1));
        bool ok = bits && out.Append(header, static_cast<size_t>(n));
        for (TLong y = 0; ok && y < b->Height; ++y) {
            std::memset(bits, 0, row);
            for (TLong x = 0; x < b->Width; ++x)  // PBM: 1 is black
                if (RowOf(*b, y)[x] < 128) bits[x >> 3] |= static_cast<uint8_t>(0x80 >> (x & 7));
            ok = out.Append(bits, row);
        }
        std::free(bits);
        if (!ok) rc = IMG_ERROR_NO_MEMORY;
        break;
    }
    case Format::Unknown: break;
    }
    imgbase::FreeMetadata(meta);
    imfFree(&canon);
    if (rc != IMG_NO_ERROR) return rc;
    return WriteWhole(path, out, msg);
}

}  // namespace

extern "C" {

IMG_ERROR imgLoadBitmapMessage(const char *path, const IMG_LOAD_OPTIONS *opt, IMG_BITMAP **out,
                               char *message, IMG_INT32 capacity) {
    Message msg{message, capacity > 0 ? static_cast<size_t>(capacity) : 0};
    if (message && capacity > 0) message[0] = '\0';
    if (out) *out = nullptr;
    if (!path || !out) return IMG_ERROR_BAD_PARAMETERS;
    const IMG_LOAD_OPTIONS none{0, 0};
    return Load(path, opt ? *opt : none, out, msg);
}

IMG_ERROR imgLoadBitmapEx(const char *path, const IMG_LOAD_OPTIONS *opt, IMG_BITMAP **out) {
    return imgLoadBitmapMessage(path, opt, out, nullptr, 0);
}

IMG_ERROR imgLoadBitmap(const char *path, IMG_BITMAP **out) {
    return imgLoadBitmapMessage(path, nullptr, out, nullptr, 0);
}

IMG_ERROR imgSaveBitmapMessage(const char *path, const IMG_BITMAP *b, const IMG_SAVE_OPTIONS *opt,
                               char *message, IMG_INT32 capacity) {
    Message msg{message, capacity > 0 ? static_cast<size_t>(capacity) : 0};
    if (message && capacity > 0) message[0] = '\0';
    if (!path || !b) return IMG_ERROR_BAD_PARAMETERS;
    const IMG_SAVE_OPTIONS none{0, 0, 0};
    return Save(path, b, opt ? *opt : none, msg);
}

IMG_ERROR imgSaveBitmap(const char *path, const IMG_BITMAP *b, const IMG_SAVE_OPTIONS *opt) {
    return imgSaveBitmapMessage(path, b, opt, nullptr, 0);
}

IMG_ERROR imgGetJpegSubsampling(const char *path, IMG_INT32 *subsampling) {
    if (!path || !subsampling) return IMG_ERROR_BAD_PARAMETERS;
    *subsampling = 0;
    // Other files are told apart by their first bytes without reading them whole.
    unsigned char start[3] = {0, 0, 0};
    FILE *f = std::fopen(path, "rb");
    if (!f) return IMG_ERROR_FILE_OPEN;
    const size_t got = std::fread(start, 1, 3, f);
    std::fclose(f);
    if (got < 3 || start[0] != 0xFF || start[1] != 0xD8 || start[2] != 0xFF) return IMG_ERROR_UNKNOWN_FORMAT;
    Message msg{nullptr, 0};
    Buffer file;
    IMG_ERROR rc = ReadWhole(path, &file, msg);
    if (rc != IMG_NO_ERROR) return rc;
    if (file.size < 3 || file.data[0] != 0xFF || file.data[1] != 0xD8) return IMG_ERROR_UNKNOWN_FORMAT;
    return imgbase::io::JpegSubsampling(file.data, file.size, subsampling);
}

const char *imgErrorString(IMG_ERROR code) {
    switch (code) {
    case IMG_NO_ERROR: return "no error";
    case IMG_ERROR_FILE_OPEN: return "cannot open the file";
    case IMG_ERROR_FILE_READ: return "cannot read the file (damaged or cut short)";
    case IMG_ERROR_FILE_CREATE: return "cannot create the file";
    case IMG_ERROR_FILE_WRITE: return "cannot write the file";
    case IMG_ERROR_NO_MEMORY: return "out of memory";
    case IMG_ERROR_UNKNOWN_FORMAT: return "unknown file format";
    case IMG_ERROR_BAD_BITMAP: return "bitmap not supported";
    case IMG_ERROR_BAD_FORMAT_INDEX: return "bad format index";
    case IMG_ERROR_BAD_PARAMETERS: return "bad parameters";
    case IMG_UNKNOWN_ERROR: return "unknown error";
    default: return "unknown result code";
    }
}

}  // extern "C"
