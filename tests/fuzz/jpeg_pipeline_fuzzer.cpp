// Fuzzes the lossless JPEG pipeline. The first 8 bytes choose the call and
// its arguments, the rest is the source file. Whatever the call returns,
// the source file must keep its bytes; in place, a failed call must leave
// the file as it was and no work file behind.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "libformat.h"
#include "support/jpeg_files.h"

using testing_support::Bytes;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    // A mutated header may declare a picture of 65535 x 65535: the pipeline
    // holds all coefficients in memory, as an application would allow or
    // limit with libjpeg's JPEGMEM. Here the limit makes such files fail
    // (result 0, source unchanged) instead of taking gigabytes.
    setenv("JPEGMEM", "256M", 0);
    if (size < 8) return 0;
    const TUword code = data[0] % 8;  // 0..5, 6 (EXIF orientation), 7 (unknown)
    const TUlong flags = data[1] & 7;
    const int mode = data[2] % 5;
    // Crop rectangles from -1 up to a few iMCUs beyond small pictures.
    const TLong x = TLong(data[3]) - 1, y = TLong(data[4]) - 1;
    const TLong w = TLong(data[5]) - 1, h = TLong(data[6]) - 1;
    const TUword trim = data[7] & 1;
    const uint8_t *file = data + 8;
    const size_t file_size = size - 8;

    static const testing_support::TempDir dir;  // one per fuzzing process
    const std::string src = dir.File("photo.jpg"), dst = dir.File("out.jpg"), work = dir.File("photo.jp_");
    const Bytes before(file, file + file_size);
    testing_support::WriteFileBytes(src, before);
    TWord result = 0;
    switch (mode) {
    case 0: result = imfJpegLosslessTransformEx(src.c_str(), dst.c_str(), code, flags); break;
    case 1: result = imfJpegLosslessCropEx(src.c_str(), dst.c_str(), x, y, w, h, trim); break;
    case 2: result = imfJpegLosslessTransform2(src.c_str(), dst.c_str(), x, y, w, h, code, flags); break;
    case 3: result = imfJpegLosslessTransform(src.c_str(), code, flags); break;
    default: result = imfJpegLosslessCrop(src.c_str(), x, y, w, h, trim); break;
    }
    if (result != 0 && result != 1) std::abort();
    if (mode <= 2 || result == 0) {
        if (testing_support::ReadFileBytes(src) != before) std::abort();  // the source keeps its bytes
    }
    if (mode >= 3 && testing_support::FileExists(work)) std::abort();  // no work file is left
    std::remove(src.c_str());
    std::remove(dst.c_str());
    return 0;
}
