// The pipeline: four recovery stages around libjpeg's transcoding calls.
//
// libjpeg reports fatal errors through error_exit, which here longjmps back
// to the recovery point of Run. Run itself holds no object with a
// destructor, and every variable that changes after setjmp and is read
// after the jump is volatile; the EXIF and thumbnail steps run in functions
// of their own that return before any libjpeg call on these codec objects
// can fail.
#include "jpeg/pipeline.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csetjmp>
#include <cstring>

#include <jerror.h>

#include "jpeg/jxform.h"

namespace imge {
namespace jpeg {

namespace {

struct ErrorManager {
    jpeg_error_mgr pub;  // first: libjpeg sees only this part
    std::jmp_buf recovery;
};

[[noreturn]] void ErrorExit(j_common_ptr cinfo) {
    std::longjmp(reinterpret_cast<ErrorManager *>(cinfo->err)->recovery, 1);
}

// libjpeg's warnings (data cut short, an odd progression) are not printed:
// the transform goes on as jpegtran's does.
void Silent(j_common_ptr) {}

// Bounds on what a file can make the pipeline spend. The coefficients of
// the whole picture are held at once, so a picture whose coefficients
// (128 bytes a block) exceed 16 MiB + 2048 bytes per byte of file is
// refused: honest files, a flat colour included, stay near 1000 : 1. Each
// scan of a progressive file is a pass over all the picture's blocks, so
// the scans may number at most 500 and together touch at most 32 times
// that allowance.
constexpr unsigned long long kFloorBytes = 16ull << 20, kBytesPerFileByte = 2048, kPassAllowance = 32;
constexpr int kMaxScans = 500;

struct ScanLimit {
    jpeg_progress_mgr pub;  // first: libjpeg sees only this part
    int max_scans;
};

void CheckScans(j_common_ptr cinfo) {
    auto *d = reinterpret_cast<j_decompress_ptr>(cinfo);
    if (d->input_scan_number > reinterpret_cast<ScanLimit *>(cinfo->progress)->max_scans)
        ERREXIT(cinfo, JERR_BAD_PROGRESSION);  // the code only ends the run; no text is shown
}

// After jpeg_read_header: whether the picture is believable for a file of
// `length` bytes (and no larger than the request allows); sets the scan
// limit.
bool WithinBounds(j_decompress_ptr src, unsigned long long length, const Request &rq, ScanLimit *limit) {
    if ((rq.max_width != 0 && src->image_width > rq.max_width) ||
        (rq.max_height != 0 && src->image_height > rq.max_height))
        return false;
    unsigned long long coefficients = 0;
    for (int ci = 0; ci < src->num_components; ++ci)
        coefficients += 128ull * src->comp_info[ci].width_in_blocks * src->comp_info[ci].height_in_blocks;
    const unsigned long long allowance = kFloorBytes + kBytesPerFileByte * length;
    if (coefficients > allowance) return false;
    const unsigned long long passes = kPassAllowance * allowance / (coefficients ? coefficients : 1);
    limit->max_scans = passes < kMaxScans ? static_cast<int>(passes) : kMaxScans;
    limit->pub.progress_monitor = CheckScans;
    src->progress = &limit->pub;
    return true;
}

// Closes the destination and reports whether everything reached the file.
bool CloseChecked(FILE *f) {
    const bool flushed = std::fflush(f) == 0 && !std::ferror(f);
    return std::fclose(f) == 0 && flushed;
}

// The source, opened only when it is a regular file: the check is made on
// the open descriptor, and the open itself does not wait (a FIFO would block
// until a writer came). *mode receives its permission bits.
FILE *OpenSource(const char *name, mode_t *mode) {
    const int fd = open(name, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return nullptr;
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || fcntl(fd, F_SETFL, O_RDONLY) != 0) {
        close(fd);
        return nullptr;
    }
    *mode = st.st_mode & 07777;
    FILE *f = fdopen(fd, "rb");
    if (f == nullptr) close(fd);
    return f;
}

// The destination. A work file is made only where nothing of that name
// exists (no link is followed) and gets the source's permission bits;
// *created tells whether this call made it.
FILE *OpenDestination(const char *name, bool exclusive, mode_t mode, bool *created) {
    if (!exclusive) return std::fopen(name, "wb");
    const int fd = open(name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) return nullptr;
    *created = true;
    FILE *f = fchmod(fd, mode) == 0 ? fdopen(fd, "wb") : nullptr;
    if (f == nullptr) close(fd);
    return f;
}

}  // namespace

int ModuleTransformForCode(TUword code) {
    switch (code) {
    case IMF_LOSSLESS_TRANSFORM_ROTATE90: return imge::jpeg::kRot90;
    case IMF_LOSSLESS_TRANSFORM_ROTATE180: return imge::jpeg::kRot180;
    case IMF_LOSSLESS_TRANSFORM_ROTATE270: return imge::jpeg::kRot270;
    case IMF_LOSSLESS_TRANSFORM_VERTICAL_FLIP: return imge::jpeg::kFlipV;
    case IMF_LOSSLESS_TRANSFORM_HORIZONTAL_FLIP: return imge::jpeg::kFlipH;
    default: return imge::jpeg::kNone;
    }
}

TWord Run(const char *src_name, const char *dst_name, const Request &rq, bool *created_out) {
    bool made = false;
    bool *const volatile created = created_out != nullptr ? created_out : &made;
    *created = false;
    if (src_name == nullptr || dst_name == nullptr) return 0;
    volatile mode_t mode = 0600;
    jpeg_decompress_struct src;
    jpeg_compress_struct dst;
    ErrorManager err;
    ScanLimit scans{};
    imge::jpeg::Options opt;
    // Zeroed objects may be destroyed whether or not they were created.
    std::memset(&src, 0, sizeof src);
    std::memset(&dst, 0, sizeof dst);
    FILE *volatile in = nullptr;
    FILE *volatile out = nullptr;

    // One recovery point serves the four stages: what a stage holds is what
    // is non-null or created here, and destroying a codec object that was
    // never created (or already destroyed) does nothing.
    if (setjmp(err.recovery)) {
        jpeg_destroy_compress(&dst);
        jpeg_destroy_decompress(&src);
        if (out != nullptr) std::fclose(out);
        if (in != nullptr) std::fclose(in);
        return 0;
    }
    // Stage 1: the decompressor. Stage 2: both codec objects.
    src.err = jpeg_std_error(&err.pub);
    err.pub.error_exit = ErrorExit;
    err.pub.output_message = Silent;
    jpeg_create_decompress(&src);
    dst.err = jpeg_std_error(&err.pub);
    err.pub.error_exit = ErrorExit;
    err.pub.output_message = Silent;
    jpeg_create_compress(&dst);

    opt.transform = rq.module_transform >= 0 ? rq.module_transform : ModuleTransformForCode(rq.code);
    opt.trim = (rq.flags & IMF_LOSSLESS_TRIM) != 0;
    opt.crop = rq.w != 0 && rq.h != 0;
    if (opt.crop) {
        opt.crop_x = rq.x;
        opt.crop_y = rq.y;
        opt.crop_width = rq.w;
        opt.crop_height = rq.h;
    }
    src.mem->max_memory_to_use = dst.mem->max_memory_to_use;

    // Stage 3: the source file is open. A work file claims its name first, so
    // that of two calls on the same file the second either finds the name
    // taken or reads the first one's finished result.
    if (rq.exclusive) {
        out = OpenDestination(dst_name, true, 0600, created);
        if (out == nullptr) {
            jpeg_destroy_compress(&dst);
            jpeg_destroy_decompress(&src);
            return 0;
        }
    }
    mode_t source_mode = 0600;
    in = OpenSource(src_name, &source_mode);
    mode = source_mode;
    if (in == nullptr || (out != nullptr && fchmod(fileno(out), source_mode) != 0)) {
        if (in != nullptr) std::fclose(in);
        if (out != nullptr) std::fclose(out);
        jpeg_destroy_compress(&dst);
        jpeg_destroy_decompress(&src);
        return 0;
    }
    jpeg_stdio_src(&src, in);
    imge::jpeg::SaveMarkers(&src);
    jpeg_read_header(&src, TRUE);
    struct stat source_stat;
    if (fstat(fileno(in), &source_stat) != 0 ||
        !WithinBounds(&src, static_cast<unsigned long long>(source_stat.st_size), rq, &scans))
        ERREXIT(&src, JERR_IMAGE_TOO_BIG);
    if (rq.module_transform < 0) {
        opt.transform = ApplyExifOrientation(&src, rq.code, rq.flags, opt.transform);
        if (opt.transform != imge::jpeg::kNone) TransformThumbnail(&src, opt.transform);
    }
    imge::jpeg::RequestWorkspace(&src, &opt);
    jvirt_barray_ptr *src_coefs = jpeg_read_coefficients(&src);
    jpeg_copy_critical_parameters(&src, &dst);
    jvirt_barray_ptr *dst_coefs = imge::jpeg::AdjustParameters(&src, &dst, src_coefs, &opt);
    dst.optimize_coding = TRUE;

    // Stage 4: any other destination is opened only once the source is read.
    if (out == nullptr) out = OpenDestination(dst_name, false, mode, created);
    if (out == nullptr) {
        jpeg_destroy_compress(&dst);
        jpeg_destroy_decompress(&src);
        std::fclose(in);
        return 0;
    }
    jpeg_stdio_dest(&dst, out);
    jpeg_write_coefficients(&dst, dst_coefs);
    imge::jpeg::WriteMarkers(&src, &dst);
    imge::jpeg::Execute(&src, &dst, src_coefs, &opt);
    jpeg_finish_compress(&dst);
    jpeg_destroy_compress(&dst);
    jpeg_finish_decompress(&src);
    jpeg_destroy_decompress(&src);
    FILE *const source_file = in;
    FILE *const destination = out;
    in = nullptr;
    out = nullptr;
    std::fclose(source_file);
    // A full disk may only show when the last buffer is written.
    return CloseChecked(destination) ? 1 : 0;
}

}  // namespace jpeg
}  // namespace imge
