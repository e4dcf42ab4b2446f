// File codecs of the base library: PNG (libpng), JPEG (libjpeg) and binary
// PNM, in memory, without exceptions. Decoders fill a processing record
// (imfAllock'd, metadata chain and resolution included); encoders take a
// record of grey, RGB, RGBA or colour-mapped pixels (see Canonical) and
// append to a growing byte buffer.
#pragma once

#include <cstddef>
#include <cstdint>

#include "libtools.h"

namespace imgbase {
namespace io {

// A malloc'd byte buffer that grows; Append reports allocation failure.
struct Buffer {
    uint8_t *data = nullptr;
    size_t size = 0;
    size_t capacity = 0;
    ~Buffer();
    bool Append(const void *bytes, size_t n);
};

// A reason for a failure, copied into the caller's buffer (may be null).
struct Message {
    char *text;
    size_t capacity;
    void Set(const char *fmt, ...) __attribute__((format(printf, 2, 3)));
};

IMG_ERROR DecodeJpeg(const uint8_t *data, size_t size, bool accept_damaged, IMF_BITMAP *out,
                     Message &msg);
IMG_ERROR DecodePng(const uint8_t *data, size_t size, IMF_BITMAP *out, Message &msg);
IMG_ERROR DecodePnm(const uint8_t *data, size_t size, IMF_BITMAP *out, Message &msg);

// `b` is IMF_GREY, IMF_RGB, IMF_RGBA or IMF_COLORS; `meta` the chain to write
// (already adjusted to the geometry).
IMG_ERROR EncodeJpeg(const IMF_BITMAP &b, const IMF_METADATAENTRY *meta,
                     const IMG_SAVE_OPTIONS &opt, Buffer *out, Message &msg);
IMG_ERROR EncodePng(const IMF_BITMAP &b, const IMF_METADATAENTRY *meta, Buffer *out, Message &msg);
IMG_ERROR EncodePnm(const IMF_BITMAP &b, Buffer *out, Message &msg);

// The chroma sampling of a JPEG stream (444, 422, 420, 440, 411, 0 otherwise).
IMG_ERROR JpegSubsampling(const uint8_t *data, size_t size, IMG_INT32 *subsampling);

// Appends a new metadata entry with a copy of the bytes to the chain whose
// last `Next` field is *tail; false when memory is short.
bool AppendMeta(IMF_METADATAENTRY ***tail, TUlong marker, const void *data, size_t n);
// Whether a picture of `pixel_bytes` decoded bytes is believable for a file
// of `file_size` bytes: at most 16 MiB plus 2048 bytes per byte of file.
// Lossless deflate stays under 1032 : 1 and JPEG near 1000 : 1 even for a
// flat colour, so honest files pass, while a few bytes that declare an
// enormous picture are refused before any memory is taken.
bool PixelsBelievable(size_t file_size, unsigned long long pixel_bytes);
// The most scans a progressive JPEG may have; real encoders write at most a
// few dozen, and each scan costs a pass over the whole picture.
constexpr int kMaxJpegScans = 500;
// The first entry of a kind, or null.
const IMF_METADATAENTRY *FindMeta(const IMF_METADATAENTRY *chain, TUlong marker);

// The EXIF identifier that starts an APP1 EXIF block (and our chain entries).
constexpr char kExifId[6] = {'E', 'x', 'i', 'f', 0, 0};
// XMP packets in JPEG start with this namespace and a zero byte.
constexpr char kXmpId[] = "http://ns.adobe.com/xap/1.0/";
constexpr char kPhotoshopId[] = "Photoshop 3.0";

}  // namespace io
}  // namespace imgbase
