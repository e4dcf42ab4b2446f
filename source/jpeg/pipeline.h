// The lossless transform pipeline behind the imfJpegLossless* functions:
// one source file in, one destination file out, the EXIF orientation and
// thumbnail kept consistent with the new geometry.
#pragma once

#include <cstdio>

#include <jpeglib.h>

#include "libformat.h"

namespace imge {
namespace jpeg {

struct Request {
    TUlong x = 0, y = 0, w = 0, h = 0;  // crop when w and h are both non-zero
    TUword code = IMF_LOSSLESS_TRANSFORM_NONE;
    TUlong flags = 0;
    // >= 0: this module transform (imge::jpeg::Transform) instead of `code`, with no
    // EXIF or thumbnail step. Used for thumbnails, which may need the two
    // diagonal transforms that the codes do not name.
    int module_transform = -1;
    // The destination is a work file that must not exist yet.
    bool exclusive = false;
    // Non-zero: pictures wider or taller than this are refused (a
    // thumbnail may not be larger than its picture).
    JDIMENSION max_width = 0, max_height = 0;
};

// Reads `src`, writes `dst`. 1 on success, 0 on failure.
// *created (when given): whether the call made the destination file.
TWord Run(const char *src, const char *dst, const Request &request, bool *created = nullptr);

// The module transform that a transform code selects (0 for unknown codes
// and for 6, whose transform comes from the file).
int ModuleTransformForCode(TUword code);

// EXIF orientation step: returns the module transform to make, given the
// one the code selected; may set the EXIF orientation to 1 in the saved
// markers.
int ApplyExifOrientation(j_decompress_ptr src, TUword code, TUlong flags, int transform);

// Thumbnail step: transforms the EXIF thumbnail of the first APP1 marker in
// the saved markers, in place, when the result is not larger.
void TransformThumbnail(j_decompress_ptr src, int transform);

// In place through the work file (name with its last character replaced
// by '_'), which then replaces the file by rename(2).
TWord RunInPlace(const char *filename, const Request &request);
TWord RunToFile(const char *src, const char *dst, const Request &request);

}  // namespace jpeg
}  // namespace imge
