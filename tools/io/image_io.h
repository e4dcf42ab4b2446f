// Reading and writing image files: PNG (libpng), JPEG (libjpeg) and binary
// PNM (P5 grey, P6 RGB). Files are told apart by their first bytes when
// read, and by the name's extension when written. Writing goes through a
// scratch file in the target's folder that is renamed into place, so a failed
// write never leaves a partial file behind.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "../image.h"

namespace tool {

enum class Format { Png, Jpeg, Pnm };

using Bytes = std::vector<std::uint8_t>;

struct SaveOptions {
    int jpeg_quality = 90;  // 1..100
    Bytes exif;             // JPEG only: an APP1 payload ("Exif\0\0" + TIFF) to write
};

// The whole file; ToolError naming the reason (missing, a directory,
// unreadable, empty).
Bytes ReadFile(const std::string &path);
// Writes `data` to `path` through a scratch file and a rename.
void WriteFileAtomic(const std::string &path, const Bytes &data);

// Decodes a file's bytes (format from the first bytes).
Image Decode(const Bytes &data);
Image LoadImage(const std::string &path);

// The format for a file name's extension (.png, .jpg/.jpeg, .pnm/.ppm/.pgm);
// false for any other name.
bool FormatForName(const std::string &path, Format *format);
const char *FormatName(Format f);

Bytes Encode(const IMG_BITMAP &b, Format f, const SaveOptions &opt);
void SaveImage(const IMG_BITMAP &b, const std::string &path, const SaveOptions &opt = {});

// The codecs (bitmaps of any type; converted with ToCanonical when needed).
Image DecodePng(const Bytes &data);
Image DecodeJpeg(const Bytes &data);
Image DecodePnm(const Bytes &data);
Bytes EncodePng(const IMG_BITMAP &b);
Bytes EncodeJpeg(const IMG_BITMAP &b, const SaveOptions &opt);
Bytes EncodePnm(const IMG_BITMAP &b);

}  // namespace tool
