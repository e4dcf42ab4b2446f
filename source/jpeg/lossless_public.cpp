// The lossless JPEG entry points: to a destination file, in place, and the
// public layer's call.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "jpeg/pipeline.h"
#include "libimge.h"
#include "libtools.h"

namespace imge {
namespace jpeg {

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

// The work file reaches the disk before it replaces the file.
bool Settle(const char *work) {
    const int fd = open(work, O_RDONLY | O_NOFOLLOW);
    if (fd < 0) return false;
    const bool synced = fsync(fd) == 0;
    return close(fd) == 0 && synced;
}

// src transformed into target through target's work file, created fresh
// beside it and renamed over target only once complete: a failure leaves
// target as it was, and a work name already taken (another transform of the
// same file under way, or anything planted there) fails with nothing touched.
TWord RunThrough(const char *src, const char *target, Request rq) {
    char work[kNameBytes];
    if (!WorkName(target, work)) return 0;
    rq.exclusive = true;
    bool created = false;
    if (!Run(src, work, rq, &created) || !Settle(work)) {
        if (created) unlink(work);
        return 0;
    }
    // rename(2) replaces the file atomically: on failure the file stays as
    // it was (and so does the work file).
    return imfFileRename(work, target) == 0 ? 1 : 0;
}

bool SameFile(const char *a, const char *b) {
    struct stat sa, sb;
    return a && b && stat(a, &sa) == 0 && stat(b, &sb) == 0 && sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

}  // namespace

// A symbolic link is followed: the file it names is transformed (its work
// file beside it) and the link stays. A hard-linked file gets a new inode:
// its other names keep the old picture.
TWord RunInPlace(const char *filename, const Request &rq) {
    struct stat st;
    if (filename == nullptr || lstat(filename, &st) != 0) return 0;
    if (!S_ISLNK(st.st_mode)) return RunThrough(filename, filename, rq);
    char *real = realpath(filename, nullptr);
    const TWord r = real != nullptr ? RunThrough(real, real, rq) : 0;
    std::free(real);
    return r;
}

// A destination that is the source itself (same device and inode, whatever
// the spelling) is written as in place, so that a failure cannot truncate it.
TWord RunToFile(const char *src, const char *dst, const Request &rq) {
    return SameFile(src, dst) ? RunThrough(src, dst, rq) : Run(src, dst, rq);
}

}  // namespace jpeg
}  // namespace imge

using imge::jpeg::Request;

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
    return imge::jpeg::RunToFile(src, dst, rq);
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
    return imge::jpeg::RunInPlace(filename, rq);
}

IMG_API TWord imfJpegLosslessCrop(const char *filename, TLong x, TLong y, TLong w, TLong h, TUword trim) {
    Request rq;
    rq.x = static_cast<TUlong>(x);
    rq.y = static_cast<TUlong>(y);
    rq.w = static_cast<TUlong>(w);
    rq.h = static_cast<TUlong>(h);
    rq.flags = trim ? IMF_LOSSLESS_TRIM : 0;
    return imge::jpeg::RunInPlace(filename, rq);
}

IMG_API IMG_ERROR imgJpegLosslessTransform(const char *filename, IMG_LOSSLESS_TRANSFORM transform) {
    const TWord r = imfJpegLosslessTransform(filename, transform,
                                             IMF_LOSSLESS_TRIM | IMF_LOSSLESS_USE_EXIF_ORIENT |
                                                 IMF_LOSSLESS_CHANGE_EXIF_ORIENT);
    return (static_cast<TUword>(r) & 0xFFFF) != 0 ? IMG_NO_ERROR : IMG_UNKNOWN_ERROR;
}

}  // extern "C"
