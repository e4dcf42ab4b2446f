// Lossless JPEG operations: rotate, flip, turn upright and crop a JPEG file
// in place without decoding it. Rotations and flips go through the public
// call, which works relative to the EXIF orientation, resets it to 1 and
// trims edge iMCUs that cannot move.
#include <string>

#include "op_table.h"

namespace tool {

namespace {

std::string PublicResult(IMG_ERROR rc) {
    if (rc == IMG_NO_ERROR) return "";
    return "not transformed (not a JPEG file, damaged, or the file could not be replaced)";
}

}  // namespace

std::vector<Op> JpegOps() {
    return {
        FileOp("jpeg-rotate", "Rotates a JPEG file clockwise without loss (relative to its EXIF orientation)",
               {ChoiceP("by", "90", "90=1|180=2|270=3", "degrees clockwise")},
               [](const Args &a, const std::string &path) {
                   return PublicResult(imgJpegLosslessTransform(
                                                          path.c_str(), static_cast<IMG_LOSSLESS_TRANSFORM>(a.Int("by"))));
               },
               "--by 90"),
        FileOp("jpeg-flip", "Mirrors a JPEG file without loss",
               {ChoiceP("direction", "horizontal", "horizontal=5|vertical=4", "horizontal: left-right, vertical: top-bottom")},
               [](const Args &a, const std::string &path) {
                   return PublicResult(imgJpegLosslessTransform(
                                                        path.c_str(), static_cast<IMG_LOSSLESS_TRANSFORM>(a.Int("direction"))));
               },
               "--direction horizontal"),
        FileOp("jpeg-auto-orient", "Turns a JPEG file upright as its EXIF orientation says, without loss", {},
               [](const Args &, const std::string &path) {
                   return PublicResult(imgJpegLosslessTransform(path.c_str(), IMF_LOSSLESS_TRANSFORM_EXIF_ORIENTATION));
               }),
        FileOp("jpeg-crop", "Crops a JPEG file without loss (the corner moves up and left to the 8 or 16 pixel grid)",
               {IntP("x", 0, 0, 65535, "left edge"), IntP("y", 0, 0, 65535, "top edge"),
                Required(IntP("width", 1, 1, 65535, "width in pixels")),
                Required(IntP("height", 1, 1, 65535, "height in pixels")),
                FlagP("trim", "drop a partial iMCU at the right and bottom edges")},
               [](const Args &a, const std::string &path) -> std::string {
                   const TWord ok = imfJpegLosslessCrop(path.c_str(), a.Int("x"), a.Int("y"), a.Int("width"),
                                                        a.Int("height"), a.Flag("trim") ? 1 : 0);
                   if (ok) return "";
                   return "not cropped (not a JPEG file, the rectangle is not inside the picture, or "
                          "the file could not be replaced)";
               },
               "--x 40 --y 30 --width 200 --height 150"),
    };
}

}  // namespace tool
