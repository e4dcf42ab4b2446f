// Reading and writing image files through the base library (imgLoadBitmap,
// imgSaveBitmap: PNG, JPEG and binary PNM, metadata kept), plus the plain
// file helpers the tool needs for operations that work on files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "../image.h"

namespace imge {
namespace tool {

enum class Format { Png, Jpeg, Pnm };

using Bytes = std::vector<std::uint8_t>;

struct LoadOptions {
    bool accept_damaged = false;  // a damaged JPEG loads as far as it decodes
    bool auto_orient = false;     // pixels turned upright by the EXIF orientation
};

struct SaveOptions {
    int jpeg_quality = 90;  // 1..100
    int subsampling = 0;    // JPEG chroma sampling 444, 422, 420; 0: 4:2:0
    bool progressive = false;
    Bytes exif;             // an EXIF block ("Exif\0\0" + TIFF) to add to the bitmap's own
};

// The whole file; ToolError naming the reason (missing, a directory,
// unreadable, empty).
Bytes ReadFile(const std::string &path);
// Writes `data` to `path` through a scratch file and a rename.
void WriteFileAtomic(const std::string &path, const Bytes &data);

// A free name under /tmp with the given extension; the file is removed when
// this goes out of scope.
struct ScratchFile {
    std::string path;
    explicit ScratchFile(const char *ext);
    ~ScratchFile();
    ScratchFile(const ScratchFile &) = delete;
    ScratchFile &operator=(const ScratchFile &) = delete;
};

Image LoadImage(const std::string &path, const LoadOptions &opt = {});
void SaveImage(const IMG_BITMAP &b, const std::string &path, const SaveOptions &opt = {});

// The format for a file name's extension (.png, .jpg/.jpeg, .pnm/.ppm/.pgm);
// false for any other name.
bool FormatForName(const std::string &path, Format *format);
const char *FormatName(Format f);

// In-memory forms, through a scratch file (for the tests and the demo).
Image Decode(const Bytes &data);
Bytes Encode(const IMG_BITMAP &b, Format f, const SaveOptions &opt = {});
inline Bytes EncodePng(const IMG_BITMAP &b) { return Encode(b, Format::Png); }
inline Bytes EncodeJpeg(const IMG_BITMAP &b, const SaveOptions &opt) { return Encode(b, Format::Jpeg, opt); }
inline Bytes EncodePnm(const IMG_BITMAP &b) { return Encode(b, Format::Pnm); }

}  // namespace tool
}  // namespace imge
