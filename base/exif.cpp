// EXIF orientation and thumbnail services on untrusted APP1 data.
//
// The orientation of the main image is tag 0x0112 of IFD0; the thumbnail is
// described by IFD1 (the IFD that IFD0 links to): JPEGInterchangeFormat /
// JPEGInterchangeFormatLength give its stream, ImageWidth / ImageLength its
// size when present (otherwise the stream's frame header does), and the
// directory may carry its own orientation.
// Blocks are accepted with or without the leading "Exif\0\0" identifier.
#include <cstring>

#include "libtools.h"
#include "tiff_reader.h"

namespace {

using imgbase::exif::Entry;
using imgbase::exif::TiffReader;

TiffReader ReaderOf(const IMF_METADATAENTRY *entry) {
    if (!entry || !entry->Data || entry->Length <= 0)
        return TiffReader(nullptr, 0);
    return TiffReader(static_cast<const uint8_t *>(entry->Data),
                      static_cast<size_t>(entry->Length));
}

// The orientation entry of IFD0: a SHORT with at least one value.
bool FindOrientation(const TiffReader &tiff, Entry *entry) {
    uint32_t ifd0 = 0;
    return tiff.FirstIfd(&ifd0) && tiff.Find(ifd0, imgbase::exif::kTagOrientation, entry) &&
           entry->type == imgbase::exif::kTypeShort && entry->count >= 1 &&
           entry->value_at + 2 <= tiff.Size();
}

// Width and height from the frame header (SOFn) of the JPEG stream p[0..n),
// walking the marker segments after the start-of-image; false when the
// stream ends or a scan starts first.
bool FrameSize(const uint8_t *p, size_t n, uint32_t *width, uint32_t *height) {
    size_t at = 2;
    while (at + 4 <= n) {
        if (p[at] != 0xFF) return false;
        const uint8_t m = p[at + 1];
        if (m == 0xFF) { ++at; continue; }  // fill byte
        if (m == 0xD8 || m == 0x01 || (m >= 0xD0 && m <= 0xD7)) { at += 2; continue; }
        if (m == 0xD9 || m == 0xDA) return false;
        const size_t len = size_t{p[at + 2]} << 8 | p[at + 3];
        if (len < 2 || at + 2 + len > n) return false;
        if (m >= 0xC0 && m <= 0xCF && m != 0xC4 && m != 0xC8 && m != 0xCC) {
            if (len < 7) return false;
            *height = uint32_t{p[at + 5]} << 8 | p[at + 6];
            *width = uint32_t{p[at + 7]} << 8 | p[at + 8];
            return true;
        }
        at += 2 + len;
    }
    return false;
}

}  // namespace

extern "C" {

int EXIFGetOrientation(const IMF_METADATAENTRY *entry, int *orientation) {
    if (!orientation) return 0;
    TiffReader tiff = ReaderOf(entry);
    Entry e{};
    uint32_t value = 0;
    if (!tiff.Valid() || !FindOrientation(tiff, &e) || !tiff.Number(e, &value)) return 0;
    // Reported as stored; 1 to 8 are the values EXIF defines.
    *orientation = static_cast<int>(value);
    return 1;
}

// Only the EXIF values 1 to 8 are written; anything else leaves the block
// untouched and gives 0.
int EXIFSetOrientation(IMF_METADATAENTRY *entry, int orientation) {
    if (orientation < 1 || orientation > 8) return 0;
    TiffReader tiff = ReaderOf(entry);
    Entry e{};
    if (!tiff.Valid() || !FindOrientation(tiff, &e)) return 0;
    TUbyte *p = static_cast<TUbyte *>(entry->Data) + tiff.TiffStart() + e.value_at;
    const TUbyte v = static_cast<TUbyte>(orientation);
    p[0] = tiff.BigEndian() ? 0 : v;
    p[1] = tiff.BigEndian() ? v : 0;
    return 1;
}

// A thumbnail counts only when its stream lies wholly inside the block, is
// not empty and starts with a JPEG start-of-image marker.
int EXIFThumbGet(const void *app1_data, TLong length, EXIFThumbInfo *info) {
    if (!app1_data || length <= 0 || !info) return 0;
    const uint8_t *block = static_cast<const uint8_t *>(app1_data);
    TiffReader tiff(block, static_cast<size_t>(length));
    uint32_t ifd0 = 0, ifd1 = 0;
    if (!tiff.Valid() || !tiff.FirstIfd(&ifd0) || !tiff.NextIfd(ifd0, &ifd1)) return 0;

    Entry e{};
    uint32_t offset = 0, size = 0;
    if (!tiff.Find(ifd1, imgbase::exif::kTagJpegOffset, &e) || !tiff.Number(e, &offset)) return 0;
    if (!tiff.Find(ifd1, imgbase::exif::kTagJpegLength, &e) || !tiff.Number(e, &size)) return 0;
    if (size < 2 || offset > tiff.Size() || tiff.Size() - offset < size) return 0;
    const size_t stream = tiff.TiffStart() + offset;
    if (block[stream] != 0xFF || block[stream + 1] != 0xD8) return 0;

    EXIFThumbInfo out;
    std::memset(&out, 0, sizeof out);
    out.Offset = static_cast<TUlong>(stream);
    out.Size = size;
    uint32_t v = 0;
    if (tiff.Find(ifd1, imgbase::exif::kTagImageWidth, &e) && tiff.Number(e, &v)) out.Width = v;
    if (tiff.Find(ifd1, imgbase::exif::kTagImageLength, &e) && tiff.Number(e, &v)) out.Height = v;
    uint32_t w = 0, h = 0;  // a directory without sizes: those of the stream itself
    if ((!out.Width || !out.Height) && FrameSize(block + stream, size, &w, &h)) {
        if (!out.Width) out.Width = w;
        if (!out.Height) out.Height = h;
    }
    if (tiff.Find(ifd1, imgbase::exif::kTagOrientation, &e) && e.type == imgbase::exif::kTypeShort &&
        e.count >= 1 && e.value_at + 2 <= tiff.Size()) {
        out.HasOrientation = 1;
        // The pipeline rewrites the value through this pointer, in the
        // caller's own (writable) copy of the block.
        out.OrientationPtr = const_cast<TUbyte *>(block + tiff.TiffStart() + e.value_at);
    }
    out.BigEndian = tiff.BigEndian() ? 1 : 0;
    *info = out;
    return 1;
}

}  // extern "C"
