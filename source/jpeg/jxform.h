// Lossless rearrangement of JPEG DCT coefficients: the eight rotations and
// flips, trimming of edge iMCUs that cannot move, and cropping on the iMCU
// grid. Works on libjpeg's coefficient interface only (virtual block arrays
// read by jpeg_read_coefficients, written by jpeg_write_coefficients) and
// needs nothing else from this library.
//
// Order of use, the same as libjpeg's transcoding order:
//   SaveMarkers(src)                before jpeg_read_header
//   RequestWorkspace(src, &opt)     after jpeg_read_header
//   coefs = jpeg_read_coefficients(src)
//   jpeg_copy_critical_parameters(src, dst)
//   out = AdjustParameters(src, dst, coefs, &opt)
//   jpeg_write_coefficients(dst, out)
//   WriteMarkers(src, dst)
//   Execute(src, dst, coefs, &opt)
//   jpeg_finish_compress(dst)
//
// Errors (a crop outside the picture, virtual-array failures) go through
// the codec object's error manager (ERREXIT), like libjpeg's own. None of
// these functions holds an object with a destructor, so an error manager
// that longjmps out of them is safe.
#pragma once

#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

namespace imge {
namespace jpeg {

// Transform codes (the numbering jpegtran's module uses).
enum Transform {
    kNone = 0,
    kFlipH = 1,       // mirror left-right
    kFlipV = 2,       // mirror top-bottom
    kTranspose = 3,   // across the top-left to bottom-right diagonal
    kTransverse = 4,  // across the top-right to bottom-left diagonal
    kRot90 = 5,       // clockwise
    kRot180 = 6,
    kRot270 = 7,
};

// True for the transforms that swap width and height.
bool SwapsAxes(int transform);

struct Options {
    // Set by the caller.
    int transform = kNone;
    bool trim = false;          // drop partial edge iMCUs that cannot be moved
    bool crop = false;          // crop_* hold a rectangle of the transformed picture
    JDIMENSION crop_x = 0, crop_y = 0, crop_width = 0, crop_height = 0;

    // Filled by RequestWorkspace.
    JDIMENSION output_width = 0, output_height = 0;
    int imcu_width = 0, imcu_height = 0;      // iMCU size in output pixels
    JDIMENSION x_crop_imcus = 0, y_crop_imcus = 0;
    // Without a transform, a crop wider (taller) than the picture extends
    // it: the picture's whole iMCUs sit x_crop_imcus (y_crop_imcus) in from
    // the left (top), everything else is neutral grey (all coefficients 0).
    bool extend_x = false, extend_y = false;
    jvirt_barray_ptr *workspace = nullptr;    // null: the source arrays are written
};

// Saves every comment and APP0..APP15 marker (up to 65535 bytes each).
void SaveMarkers(j_decompress_ptr src);

// Computes the output size, crop position and trim; requests the
// destination arrays. A crop that does not lie wholly inside the
// (transformed) picture is an error (JERR_BAD_CROP_SPEC), except that
// without a transform a side longer than the picture's extends it, with
// the offset at most the difference of the two.
void RequestWorkspace(j_decompress_ptr src, Options *opt);

// After jpeg_copy_critical_parameters: sets the destination's size,
// sampling factors and quantisation tables for the transform; for every
// saved EXIF APP1 marker, switches the JFIF header off and rewrites the
// EXIF pixel dimensions when the size changed. Returns the arrays to hand
// to jpeg_write_coefficients.
jvirt_barray_ptr *AdjustParameters(j_decompress_ptr src, j_compress_ptr dst, jvirt_barray_ptr *src_coefs,
                                   Options *opt);

// After jpeg_write_coefficients: writes the saved markers in file order,
// except a JFIF APP0 when the compressor writes its own JFIF header and an
// Adobe APP14 when it writes its own Adobe marker.
void WriteMarkers(j_decompress_ptr src, j_compress_ptr dst);

// Moves the coefficients. Some transforms change the source arrays.
void Execute(j_decompress_ptr src, j_compress_ptr dst, jvirt_barray_ptr *src_coefs, const Options *opt);

// True for APP1 data that starts with "Exif\0\0".
bool IsExifApp1(const jpeg_saved_marker_ptr marker);

// Rewrites the ExifImageWidth / ExifImageHeight entries (tags 0xA002 and
// 0xA003 of the EXIF sub-directory) of the TIFF structure `tiff` (the APP1
// data after "Exif\0\0") as 32-bit values. Every read is bounds-checked; a
// block it cannot follow is left alone.
void SetExifDimensions(JOCTET *tiff, size_t length, JDIMENSION width, JDIMENSION height);

}  // namespace jpeg
}  // namespace imge
