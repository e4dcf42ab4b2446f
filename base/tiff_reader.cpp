#include "tiff_reader.h"

#include <cstring>

namespace imgbase {
namespace exif {

namespace {
const uint8_t kExifId[6] = {'E', 'x', 'i', 'f', 0, 0};
constexpr size_t kHeader = 8;      // byte order, 42, IFD0 offset
constexpr size_t kEntrySize = 12;
}  // namespace

TiffReader::TiffReader(const uint8_t *block, size_t length) {
    if (!block) return;
    size_t start = 0;
    if (length >= sizeof kExifId && std::memcmp(block, kExifId, sizeof kExifId) == 0)
        start = sizeof kExifId;
    if (length < start + kHeader) return;
    const uint8_t *t = block + start;
    if (t[0] == 'I' && t[1] == 'I') big_endian_ = false;
    else if (t[0] == 'M' && t[1] == 'M') big_endian_ = true;
    else return;
    tiff_ = t;
    size_ = length - start;
    start_ = start;
    uint16_t magic = 0;
    if (!U16(2, &magic) || magic != 42) tiff_ = nullptr;
}

bool TiffReader::U16(size_t at, uint16_t *out) const {
    if (!tiff_ || at > size_ || size_ - at < 2) return false;
    const uint8_t *p = tiff_ + at;
    *out = big_endian_ ? static_cast<uint16_t>(p[0] << 8 | p[1])
                       : static_cast<uint16_t>(p[1] << 8 | p[0]);
    return true;
}

bool TiffReader::U32(size_t at, uint32_t *out) const {
    if (!tiff_ || at > size_ || size_ - at < 4) return false;
    const uint8_t *p = tiff_ + at;
    *out = big_endian_
               ? (uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3])
               : (uint32_t{p[3]} << 24 | uint32_t{p[2]} << 16 | uint32_t{p[1]} << 8 | p[0]);
    return true;
}

bool TiffReader::FirstIfd(uint32_t *ifd) const {
    uint32_t at = 0;
    uint16_t count = 0;
    if (!U32(4, &at) || at < kHeader || !U16(at, &count)) return false;
    *ifd = at;
    return true;
}

bool TiffReader::NextIfd(uint32_t ifd, uint32_t *next) const {
    uint16_t count = 0;
    if (!U16(ifd, &count)) return false;
    uint32_t at = 0;
    if (!U32(size_t{ifd} + 2 + size_t{count} * kEntrySize, &at)) return false;
    // 0 ends the chain; a directory that names itself as its successor is a
    // loop, not a second directory.
    if (at == 0 || at == ifd) return false;
    uint16_t next_count = 0;
    if (!U16(at, &next_count)) return false;
    *next = at;
    return true;
}

bool TiffReader::Find(uint32_t ifd, uint16_t tag, Entry *entry) const {
    uint16_t count = 0;
    if (!U16(ifd, &count)) return false;
    for (uint32_t i = 0; i < count; ++i) {
        const size_t at = size_t{ifd} + 2 + size_t{i} * kEntrySize;
        Entry e{};
        if (!U16(at, &e.tag) || !U16(at + 2, &e.type) || !U32(at + 4, &e.count) ||
            at + kEntrySize > size_)
            return false;  // the directory is cut short by the block's end
        if (e.tag != tag) continue;
        e.value_at = at + 8;
        *entry = e;
        return true;
    }
    return false;
}

bool TiffReader::Number(const Entry &entry, uint32_t *value) const {
    if (entry.count < 1) return false;
    if (entry.type == kTypeShort) {
        uint16_t v = 0;
        if (!U16(entry.value_at, &v)) return false;
        *value = v;
        return true;
    }
    if (entry.type == kTypeLong) return U32(entry.value_at, value);
    return false;
}

}  // namespace exif
}  // namespace imgbase
