// Saving and copying of the APP and comment markers, and the EXIF pixel
// dimensions.
#include "jpeg/jxform.h"

#include <cstdint>

namespace imge {
namespace jpeg {

namespace {

constexpr unsigned int kMaxMarkerBytes = 0xFFFF;

bool StartsWith(const jpeg_saved_marker_ptr m, const char *tag, unsigned int n) {
    if (m->data_length < n) return false;
    for (unsigned int i = 0; i < n; ++i)
        if (m->data[i] != static_cast<JOCTET>(tag[i])) return false;
    return true;
}

// A TIFF structure read with bounds checks in its own byte order.
struct Tiff {
    JOCTET *data;
    size_t length;
    bool big;

    bool Has(size_t at, size_t n) const { return at <= length && n <= length - at; }
    uint32_t U16(size_t at) const {
        return big ? (uint32_t(data[at]) << 8) | data[at + 1] : (uint32_t(data[at + 1]) << 8) | data[at];
    }
    uint32_t U32(size_t at) const {
        return big ? (U16(at) << 16) | U16(at + 2) : (U16(at + 2) << 16) | U16(at);
    }
    void Put16(size_t at, uint32_t v) {
        data[at + (big ? 0 : 1)] = JOCTET(v >> 8);
        data[at + (big ? 1 : 0)] = JOCTET(v);
    }
    void Put32(size_t at, uint32_t v) {
        Put16(at + (big ? 0 : 2), v >> 16);
        Put16(at + (big ? 2 : 0), v & 0xFFFF);
    }
};

constexpr uint32_t kTypeLong = 4;

}  // namespace

void SaveMarkers(j_decompress_ptr src) {
    jpeg_save_markers(src, JPEG_COM, kMaxMarkerBytes);
    for (int m = 0; m < 16; ++m) jpeg_save_markers(src, JPEG_APP0 + m, kMaxMarkerBytes);
}

bool IsExifApp1(const jpeg_saved_marker_ptr marker) {
    static const char kExif[6] = {'E', 'x', 'i', 'f', 0, 0};
    return marker->marker == JPEG_APP0 + 1 && StartsWith(marker, kExif, 6);
}

void WriteMarkers(j_decompress_ptr src, j_compress_ptr dst) {
    for (jpeg_saved_marker_ptr m = src->marker_list; m != nullptr; m = m->next) {
        // The compressor already wrote these two itself.
        if (dst->write_JFIF_header && m->marker == JPEG_APP0 && StartsWith(m, "JFIF", 5)) continue;
        if (dst->write_Adobe_marker && m->marker == JPEG_APP0 + 14 && StartsWith(m, "Adobe", 5)) continue;
        jpeg_write_marker(dst, m->marker, m->data, m->data_length);
    }
}

void SetExifDimensions(JOCTET *data, size_t length, JDIMENSION width, JDIMENSION height) {
    if (length < 8) return;
    Tiff t{data, length, false};
    if (data[0] == 'I' && data[1] == 'I') t.big = false;
    else if (data[0] == 'M' && data[1] == 'M') t.big = true;
    else return;
    if (t.U16(2) != 42) return;
    // IFD0: find the link to the EXIF sub-directory (tag 0x8769).
    const size_t ifd0 = t.U32(4);
    if (!t.Has(ifd0, 2)) return;
    const uint32_t n0 = t.U16(ifd0);
    size_t sub = 0;
    bool found = false;
    for (uint32_t i = 0; i < n0 && !found; ++i) {
        const size_t e = ifd0 + 2 + 12 * size_t(i);
        if (!t.Has(e, 12)) return;
        if (t.U16(e) == 0x8769) {
            sub = t.U32(e + 8);
            found = true;
        }
    }
    if (!found || !t.Has(sub, 2)) return;
    const uint32_t n = t.U16(sub);
    for (uint32_t i = 0; i < n; ++i) {
        const size_t e = sub + 2 + 12 * size_t(i);
        if (!t.Has(e, 12)) return;
        const uint32_t tag = t.U16(e);
        if (tag != 0xA002 && tag != 0xA003) continue;
        t.Put16(e + 2, kTypeLong);
        t.Put32(e + 4, 1);
        t.Put32(e + 8, tag == 0xA002 ? width : height);
    }
}

}  // namespace jpeg
}  // namespace imge
