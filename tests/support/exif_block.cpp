#include "support/exif_block.h"

#include <algorithm>

namespace testing_support {

namespace {

struct Writer {
    std::vector<uint8_t> &out;
    size_t base;  // TIFF header offset
    bool big;
    void U16At(size_t at, uint32_t v) {
        if (big) { out[at] = uint8_t(v >> 8); out[at + 1] = uint8_t(v); }
        else { out[at] = uint8_t(v); out[at + 1] = uint8_t(v >> 8); }
    }
    void U32At(size_t at, uint32_t v) {
        for (int i = 0; i < 4; ++i)
            out[at + i] = uint8_t(big ? v >> (24 - 8 * i) : v >> (8 * i));
    }
    size_t Grow(size_t n) { size_t at = out.size(); out.resize(at + n, 0); return at; }
    // Appends an IFD with `entries` slots; returns its offset in the block.
    size_t Ifd(size_t entries) {
        size_t at = Grow(2 + 12 * entries + 4);
        U16At(at, uint32_t(entries));
        return at;
    }
    void Entry(size_t ifd, size_t index, uint16_t tag, uint16_t type, uint32_t value) {
        size_t at = ifd + 2 + 12 * index;
        U16At(at, tag);
        U16At(at + 2, type);
        U32At(at + 4, 1);
        if (type == 3) U16At(at + 8, value); else U32At(at + 8, value);
    }
};

}  // namespace

std::vector<uint8_t> MakeExifBlock(const ExifRecipe &s, ExifLayout *layout) {
    std::vector<uint8_t> out = {'E', 'x', 'i', 'f', 0, 0};
    Writer w{out, 6, s.big_endian};
    size_t h = w.Grow(8);
    out[h] = out[h + 1] = s.big_endian ? 'M' : 'I';
    w.U16At(h + 2, 42);
    w.U32At(h + 4, 8);
    ExifLayout l;
    const bool sub = s.pixel_width || s.pixel_height;
    size_t n0 = size_t(s.filler_entries) + (s.orientation ? 1 : 0) + (sub ? 1 : 0);
    size_t ifd0 = w.Ifd(n0);
    size_t i = 0;
    for (int f = 0; f < s.filler_entries; ++f) w.Entry(ifd0, i++, uint16_t(0x010F), 3, 7);
    if (s.orientation) {
        l.orientation_value = ifd0 + 2 + 12 * i + 8;
        w.Entry(ifd0, i++, 0x0112, 3, uint32_t(s.orientation));
    }
    size_t sub_slot = i;
    l.next_ifd_link = ifd0 + 2 + 12 * n0;
    if (sub) {
        size_t exif_ifd = w.Ifd(2);
        w.Entry(ifd0, sub_slot, 0x8769, 4, uint32_t(exif_ifd - 6));
        w.Entry(exif_ifd, 0, 0xA002, 4, s.pixel_width);
        w.Entry(exif_ifd, 1, 0xA003, 4, s.pixel_height);
    }
    if (!s.thumbnail.empty()) {
        size_t n1 = 3 + (s.thumb_orientation ? 1 : 0) + (s.thumb_width ? 2 : 0);
        size_t ifd1 = w.Ifd(n1);
        l.ifd1 = ifd1;
        w.U32At(l.next_ifd_link, uint32_t(ifd1 - 6));
        size_t j = 0;
        if (s.thumb_width) {
            w.Entry(ifd1, j++, 0x0100, 4, s.thumb_width);
            w.Entry(ifd1, j++, 0x0101, 3, s.thumb_height);
        }
        w.Entry(ifd1, j++, 0x0103, 3, 6);
        if (s.thumb_orientation) {
            l.thumb_orientation_value = ifd1 + 2 + 12 * j + 8;
            w.Entry(ifd1, j++, 0x0112, 3, uint32_t(s.thumb_orientation));
        }
        size_t offset_slot = j++;
        size_t length_slot = j++;
        (void)length_slot;
        size_t stream = w.Grow(s.thumbnail.size());
        std::copy(s.thumbnail.begin(), s.thumbnail.end(), out.begin() + long(stream));
        l.thumb_offset = stream;
        w.Entry(ifd1, offset_slot, 0x0201, 4, uint32_t(stream - 6));
        w.Entry(ifd1, offset_slot + 1, 0x0202, 4, uint32_t(s.thumbnail.size()));
    }
    if (layout) *layout = l;
    return out;
}

std::vector<uint8_t> FakeJpeg(size_t size) {
    std::vector<uint8_t> j(size < 4 ? 4 : size, 0x5A);
    j[0] = 0xFF; j[1] = 0xD8;
    j[j.size() - 2] = 0xFF; j[j.size() - 1] = 0xD9;
    return j;
}

}  // namespace testing_support
