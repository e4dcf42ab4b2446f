// Bounds-checked reading of the TIFF structure inside an EXIF block.
//
// An EXIF APP1 block is the identifier "Exif\0\0" followed by a TIFF file:
// a byte-order mark ("II" little-endian, "MM" big-endian), the number 42,
// and the offset of the first image file directory (IFD). Every offset in it
// counts from the start of the TIFF header. An IFD is a 16-bit entry count,
// that many 12-byte entries (tag, type, count, value or value offset) and
// the 32-bit offset of the next IFD (0 at the end of the chain).
//
// The bytes are untrusted: every read below checks the block's length first
// and reports failure instead of reading past it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace imgbase {
namespace exif {

enum : uint16_t {
    kTagImageWidth = 0x0100,
    kTagImageLength = 0x0101,
    kTagOrientation = 0x0112,
    kTagJpegOffset = 0x0201,  // JPEGInterchangeFormat
    kTagJpegLength = 0x0202,  // JPEGInterchangeFormatLength
};

enum : uint16_t { kTypeShort = 3, kTypeLong = 4 };

// One directory entry as found in the block.
struct Entry {
    uint16_t tag;
    uint16_t type;
    uint32_t count;
    size_t value_at;  // offset (from the TIFF header) of the 4-byte value field
};

class TiffReader {
public:
    // `block` is the APP1 data: either starting with "Exif\0\0" or directly
    // with the TIFF header. Valid() is false when no TIFF header fits.
    TiffReader(const uint8_t *block, size_t length);

    bool Valid() const { return tiff_ != nullptr; }
    bool BigEndian() const { return big_endian_; }
    // Offset of the TIFF header within the block (6 after the identifier).
    size_t TiffStart() const { return start_; }
    size_t Size() const { return size_; }

    bool U16(size_t at, uint16_t *out) const;
    bool U32(size_t at, uint32_t *out) const;

    // Offset of IFD0, or false when it lies outside the block.
    bool FirstIfd(uint32_t *ifd) const;
    // Offset of the IFD that follows `ifd`; false at the end of the chain,
    // for a directory cut short, or for a link back to `ifd` itself (a loop).
    // Callers follow at most one link (IFD0 to IFD1), so that is the only
    // loop they can meet.
    bool NextIfd(uint32_t ifd, uint32_t *next) const;
    // The entry with `tag` in the IFD at `ifd`; false when absent or when the
    // directory does not fit the block.
    bool Find(uint32_t ifd, uint16_t tag, Entry *entry) const;
    // A SHORT or LONG single value of an entry.
    bool Number(const Entry &entry, uint32_t *value) const;

private:
    const uint8_t *tiff_ = nullptr;
    size_t size_ = 0;   // bytes from the TIFF header to the block's end
    size_t start_ = 0;
    bool big_endian_ = false;
};

}  // namespace exif
}  // namespace imgbase
