// The lossless JPEG entry points: to a destination file, in place, and the
// public layer's call.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "jpeg/pipeline.h"
#include "libimge.h"
#include "libtools.h"

namespace jpeg_lossless {

namespace {

constexpr size_t kNameBytes = 512;

// The work file: the name with its last character replaced by '_'. Names
// that do not fit the 512-byte buffer, and names already ending in '_'
// (whose work name would be the file itself), are refused.
bool WorkName(const char *filename, char (&work)[kNameBytes]) {
    if (filename == nullptr) return false;
    const size_t n = strnlen(filename, kNameBytes);
    if (n == 0 || n >= kNameBytes || filename[n - 1] == '_') return false;
    std::memcpy(work, filename, n + 1);
    work[n - 1] = '_';
    return true;
}

// The work file gets the file's permission bits and reaches the disk
// before it replaces the file.
bool Settle(const char *work, const char *filename) {
    struct stat st;
    if (stat(filename, &st) == 0 && chmod(work, st.st_mode & 07777) != 0) return false;
    const int fd = open(work, O_RDONLY);
    if (fd < 0) return false;
    const bool synced = fsync(fd) == 0;
    return close(fd) == 0 && synced;
}

}  // namespace

TWord RunInPlace(const char *filename, const Request &rq) {
    char work[kNameBytes];
    if (!WorkName(filename, work)) return 0;
    if (!Run(filename, work, rq) || !Settle(work, filename)) {
        unlink(work);
        return 0;
    }
    // rename(2) replaces the file atomically: on failure the file stays as
    // it was (and so does the work file).
    return imfFileRename(work, filename) == 0 ? 1 : 0;
}

}  // namespace jpeg_lossless

using jpeg_lossless::Request;

extern "C" {

IMG_API TWord imfJpegLosslessTransform2(const char *src, const char *dst, TLong x, TLong y, TLong w, TLong h,
                                        TUword transform, TUlong flags) {
    Request rq;
    rq.x = static_cast<TUlong>(x);
    rq.y = static_cast<TUlong>(y);
    rq.w = static_cast<TUlong>(w);
    rq.h = static_cast<TUlong>(h);
    rq.code = transform;
    rq.flags = flags;
    return jpeg_lossless::Run(src, dst, rq);
}

IMG_API TWord imfJpegLosslessTransformEx(const char *src, const char *dst, TUword transform, TUlong flags) {
    return imfJpegLosslessTransform2(src, dst, 0, 0, 0, 0, transform, flags);
}

IMG_API TWord imfJpegLosslessCropEx(const char *src, const char *dst, TLong x, TLong y, TLong w, TLong h,
                                    TUword trim) {
    return imfJpegLosslessTransform2(src, dst, x, y, w, h, IMF_LOSSLESS_TRANSFORM_NONE,
                                     trim ? IMF_LOSSLESS_TRIM : 0);
}

IMG_API TWord imfJpegLosslessTransform(const char *filename, TUword transform, TUlong flags) {
    Request rq;
    rq.code = transform;
    rq.flags = flags;
    return jpeg_lossless::RunInPlace(filename, rq);
}

IMG_API TWord imfJpegLosslessCrop(const char *filename, TLong x, TLong y, TLong w, TLong h, TUword trim) {
    Request rq;
    rq.x = static_cast<TUlong>(x);
    rq.y = static_cast<TUlong>(y);
    rq.w = static_cast<TUlong>(w);
    rq.h = static_cast<TUlong>(h);
    rq.flags = trim ? IMF_LOSSLESS_TRIM : 0;
    return jpeg_lossless::RunInPlace(filename, rq);
}

IMG_API IMG_ERROR imgJpegLosslessTransform(const char *filename, IMG_LOSSLESS_TRANSFORM transform) {
    const TWord r = imfJpegLosslessTransform(filename, transform,
                                             IMF_LOSSLESS_TRIM | IMF_LOSSLESS_USE_EXIF_ORIENT |
                                                 IMF_LOSSLESS_CHANGE_EXIF_ORIENT);
    return (static_cast<TUword>(r) & 0xFFFF) != 0 ? IMG_NO_ERROR : IMG_UNKNOWN_ERROR;
}

}  // extern "C"
