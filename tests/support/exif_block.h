// Builds EXIF APP1 blocks ("Exif\0\0" + TIFF structure) for tests, in either
// byte order, with an IFD0 orientation and an optional IFD1 thumbnail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace testing_support {

struct ExifRecipe {
    bool big_endian = false;
    int orientation = 0;            // 0: no orientation entry in IFD0
    std::vector<uint8_t> thumbnail; // empty: no IFD1
    int thumb_orientation = 0;      // 0: none in IFD1
    uint32_t thumb_width = 0, thumb_height = 0;  // 0: entries left out
    uint32_t pixel_width = 0, pixel_height = 0;  // 0: no EXIF sub-IFD
    int filler_entries = 0;         // extra unrelated IFD0 entries before orientation
};

// Where things landed inside the block, for checks.
struct ExifLayout {
    size_t orientation_value = 0;   // offset of IFD0's orientation value
    size_t ifd1 = 0;                // offset (from block start) of IFD1, 0 if none
    size_t thumb_offset = 0;        // offset of the thumbnail stream in the block
    size_t thumb_orientation_value = 0;
    size_t next_ifd_link = 0;       // offset of IFD0's next-IFD link
};

std::vector<uint8_t> MakeExifBlock(const ExifRecipe &recipe, ExifLayout *layout = nullptr);

// A stand-in JPEG stream: SOI, a few filler bytes, EOI.
std::vector<uint8_t> FakeJpeg(size_t size);

}  // namespace testing_support
