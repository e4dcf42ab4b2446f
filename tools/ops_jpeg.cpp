// Lossless JPEG operations: rotate, flip, turn upright and crop a JPEG file
// in place without decoding it. By default they act on the picture as a
// viewer shows it, that is after the EXIF orientation: the orientation and
// the request are combined into one lossless transform, and the result is
// stored upright with orientation 1. --stored makes the plain library call
// on the stored pixels instead (rotations then still count from the EXIF
// orientation, flips do not; see the library's documentation).
#include <cstdio>
#include <cstring>
#include <string>

#include "io/image_io.h"
#include "libtools.h"
#include "op_table.h"

namespace imge {
namespace tool {

namespace {

std::string PublicResult(IMG_ERROR rc) {
    if (rc == IMG_NO_ERROR) return "";
    return "not transformed (not a JPEG file, damaged, or the file could not be replaced)";
}

// A transform of the picture's coordinates (centred, y down) as a 2 x 2
// matrix of -1, 0, 1; the EXIF orientations 1..8 in order, each as the turn
// that shows the stored pixels upright.
struct Mat {
    int a, b, c, d;
};
constexpr Mat kOrient[9] = {{1, 0, 0, 1},  {1, 0, 0, 1},   {-1, 0, 0, 1}, {-1, 0, 0, -1}, {1, 0, 0, -1},
                            {0, 1, 1, 0},  {0, -1, 1, 0},  {0, -1, -1, 0}, {0, 1, -1, 0}};

Mat Times(Mat p, Mat q) {
    return {p.a * q.a + p.b * q.c, p.a * q.b + p.b * q.d, p.c * q.a + p.d * q.c, p.c * q.b + p.d * q.d};
}

// The matrix of a library transform code (1..5).
Mat OfCode(int code) {
    switch (code) {
    case IMF_LOSSLESS_TRANSFORM_ROTATE90: return kOrient[6];
    case IMF_LOSSLESS_TRANSFORM_ROTATE180: return kOrient[3];
    case IMF_LOSSLESS_TRANSFORM_ROTATE270: return kOrient[8];
    case IMF_LOSSLESS_TRANSFORM_VERTICAL_FLIP: return kOrient[4];
    case IMF_LOSSLESS_TRANSFORM_HORIZONTAL_FLIP: return kOrient[2];
    default: return kOrient[1];
    }
}

int OrientationOf(Mat m) {
    for (int o = 1; o <= 8; ++o)
        if (std::memcmp(&kOrient[o], &m, sizeof m) == 0) return o;
    return 1;
}

// What the tool needs of a JPEG file's header: the EXIF APP1 block (an
// entry pointing into `file`, so that orientation changes go to the bytes;
// Data null when there is none) and the picture's size.
struct Header {
    IMF_METADATAENTRY exif{IMF_EXIF_METADATA, 0, nullptr, nullptr};
    long width = 0, height = 0;
};

Header ReadHeader(Bytes &file) {
    Header h;
    size_t pos = 2;
    while (pos + 4 <= file.size() && file[pos] == 0xFF) {
        const int marker = file[pos + 1];
        if (marker == 0xDA || marker == 0xD9) break;  // image data follows
        const size_t len = size_t(file[pos + 2]) << 8 | file[pos + 3];
        if (len < 2 || pos + 2 + len > file.size()) break;
        if (marker == 0xE1 && !h.exif.Data && len >= 8 && std::memcmp(&file[pos + 4], "Exif\0\0", 6) == 0) {
            h.exif.Length = static_cast<TLong>(len - 2);
            h.exif.Data = &file[pos + 4];
        }
        if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC && len >= 7) {
            h.height = long(file[pos + 5]) << 8 | file[pos + 6];
            h.width = long(file[pos + 7]) << 8 | file[pos + 8];
        }
        pos += 2 + len;
    }
    return h;
}

int OrientationIn(Header &h) {
    int o = 0;
    return h.exif.Data && EXIFGetOrientation(&h.exif, &o) && o >= 1 && o <= 8 ? o : 0;
}

// Runs `pipeline` from `src` to a scratch file beside `path` and renames it
// over `path`.
template <class F>
std::string Replace(const std::string &path, F pipeline, const char *failure) {
    const std::string tmp = path + ".imge-new";
    if (!pipeline(tmp)) {
        std::remove(tmp.c_str());
        return failure;
    }
    if (std::rename(tmp.c_str(), path.c_str()) != 0) {
        std::remove(tmp.c_str());
        return "the file could not be replaced";
    }
    return "";
}

const char kNotTransformed[] = "not transformed (not a JPEG file or damaged)";

// Turns or flips the displayed picture: the EXIF orientation is set to the
// combination of itself and the request (in a work copy), which the
// library's EXIF transform then carries out in one lossless step.
std::string DisplayedTransform(const std::string &path, int code) {
    Bytes file = ReadFile(path);
    Header h = ReadHeader(file);
    const int o = OrientationIn(h);
    if (!o)
        return Replace(path, [&](const std::string &tmp) {
            return imfJpegLosslessTransformEx(path.c_str(), tmp.c_str(), static_cast<TUword>(code),
                                              IMF_LOSSLESS_TRIM) != 0;
        }, kNotTransformed);
    EXIFSetOrientation(&h.exif, OrientationOf(Times(OfCode(code), kOrient[o])));
    const std::string work = path + ".imge-work";
    WriteFileAtomic(work, file);
    const std::string err = Replace(path, [&](const std::string &tmp) {
        return imfJpegLosslessTransformEx(work.c_str(), tmp.c_str(), IMF_LOSSLESS_TRANSFORM_EXIF_ORIENTATION,
                                          IMF_LOSSLESS_TRIM) != 0;
    }, kNotTransformed);
    std::remove(work.c_str());
    return err;
}

// Crops the picture as shown: one lossless step that turns the picture
// upright by its EXIF orientation and cuts the rectangle. That step drops the
// partial edge blocks that have to move; where they come to lie left of or
// above the picture, the coordinates are moved by their width or height.
std::string DisplayedCrop(const std::string &path, long x, long y, long w, long hgt, bool trim) {
    const char *failure = "not cropped (not a JPEG file, or the rectangle is not inside the picture)";
    Bytes file = ReadFile(path);
    Header h = ReadHeader(file);
    const int o = OrientationIn(h);
    TUword code = IMF_LOSSLESS_TRANSFORM_NONE;
    TUlong flags = trim ? IMF_LOSSLESS_TRIM : 0;
    if (o > 1) {
        IMG_INT32 sampling = 0;
        imgGetJpegSubsampling(path.c_str(), &sampling);
        const long mw = sampling == 420 || sampling == 422 ? 16 : sampling == 411 ? 32 : 8;
        const long mh = sampling == 420 || sampling == 440 ? 16 : 8;
        const long right = h.width % mw, bottom = h.height % mh;
        const long left_cut = o == 2 || o == 3 ? right : o == 6 || o == 7 ? bottom : 0;
        const long top_cut = o == 3 || o == 4 ? bottom : o == 7 || o == 8 ? right : 0;
        x -= left_cut;
        y -= top_cut;
        if (x < 0) w += x, x = 0;
        if (y < 0) hgt += y, y = 0;
        if (w < 1 || hgt < 1) return "not cropped (the rectangle lies in partial edge blocks that cannot be turned)";
        code = IMF_LOSSLESS_TRANSFORM_EXIF_ORIENTATION;
        flags |= IMF_LOSSLESS_TRIM;
    }
    return Replace(path, [&](const std::string &tmp) {
        return imfJpegLosslessTransform2(path.c_str(), tmp.c_str(), x, y, w, hgt, code, flags) != 0;
    }, failure);
}

// A function, not a global: the table may be built before this file's
// globals are.
Param Stored() {
    return FlagP("stored", "act on the stored pixels (the plain library call), not on the picture as shown");
}

}  // namespace

std::vector<Op> JpegOps() {
    return {
        FileOp("jpeg-rotate",
               "Turns the picture as shown clockwise without loss (EXIF orientation taken into account; "
               "the result is stored upright with orientation 1, partial edge blocks trimmed)",
               {ChoiceP("by", "90", "90=1|180=2|270=3", "degrees clockwise"), Stored()},
               [](const Args &a, const std::string &path) {
                   if (a.Flag("stored"))
                       return PublicResult(imgJpegLosslessTransform(
                           path.c_str(), static_cast<IMG_LOSSLESS_TRANSFORM>(a.Int("by"))));
                   return DisplayedTransform(path, a.Int("by"));
               },
               "--by 90"),
        FileOp("jpeg-flip",
               "Mirrors the picture as shown without loss (EXIF orientation taken into account; stored "
               "upright with orientation 1)",
               {ChoiceP("direction", "horizontal", "horizontal=5|vertical=4", "horizontal: left-right, vertical: top-bottom"),
                Stored()},
               [](const Args &a, const std::string &path) {
                   if (a.Flag("stored"))
                       return PublicResult(imgJpegLosslessTransform(
                           path.c_str(), static_cast<IMG_LOSSLESS_TRANSFORM>(a.Int("direction"))));
                   return DisplayedTransform(path, a.Int("direction"));
               },
               "--direction horizontal"),
        FileOp("jpeg-auto-orient", "Turns a JPEG file upright as its EXIF orientation says, without loss", {},
               [](const Args &, const std::string &path) {
                   return PublicResult(imgJpegLosslessTransform(path.c_str(), IMF_LOSSLESS_TRANSFORM_EXIF_ORIENTATION));
               }),
        FileOp("jpeg-crop",
               "Crops the picture as shown without loss, in the coordinates a viewer shows (the corner "
               "moves up and left to the 8 or 16 pixel grid; a turned picture is stored upright afterwards)",
               {IntP("x", 0, 0, 65535, "left edge"), IntP("y", 0, 0, 65535, "top edge"),
                Required(IntP("width", 1, 1, 65535, "width in pixels")),
                Required(IntP("height", 1, 1, 65535, "height in pixels")),
                FlagP("trim", "drop a partial iMCU at the right and bottom edges"),
                FlagP("stored", "coordinates of the stored pixels; the orientation stays as it is")},
               [](const Args &a, const std::string &path) -> std::string {
                   if (!a.Flag("stored"))
                       return DisplayedCrop(path, a.Int("x"), a.Int("y"), a.Int("width"), a.Int("height"), a.Flag("trim"));
                   const TWord ok = imfJpegLosslessCrop(path.c_str(), a.Int("x"), a.Int("y"), a.Int("width"),
                                                        a.Int("height"), a.Flag("trim") ? 1 : 0);
                   if (ok) return std::string();
                   return std::string("not cropped (not a JPEG file, the rectangle is not inside the picture, or "
                                      "the file could not be replaced)");
               },
               "--x 40 --y 30 --width 200 --height 150"),
    };
}

}  // namespace tool
}  // namespace imge
