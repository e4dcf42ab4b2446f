// The EXIF orientation step and the thumbnail step of the pipeline. Both
// change the saved APP1 data in place, so the destination receives the
// changes when the markers are written.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "jpeg/jxform.h"
#include "jpeg/pipeline.h"
#include "libtools.h"

namespace imge {
namespace jpeg {

namespace {

constexpr int kNameBytes = 512;

IMF_METADATAENTRY EntryFor(jpeg_saved_marker_ptr m) {
    IMF_METADATAENTRY e;
    e.Marker = IMF_EXIF_METADATA;
    e.Length = static_cast<TLong>(m->data_length);
    e.Data = m->data;
    e.Next = nullptr;
    return e;
}

bool IsApp1(jpeg_saved_marker_ptr m) { return m->marker == JPEG_APP0 + 1; }

// The transform that puts a picture of this EXIF orientation upright.
int TransformForOrientation(int orientation) {
    switch (orientation) {
    case 2: return imge::jpeg::kFlipH;
    case 3: return imge::jpeg::kRot180;
    case 4: return imge::jpeg::kFlipV;
    case 5: return imge::jpeg::kTranspose;
    case 6: return imge::jpeg::kRot90;
    case 7: return imge::jpeg::kTransverse;
    case 8: return imge::jpeg::kRot270;
    default: return imge::jpeg::kNone;  // 1, 0 and values above 8
    }
}

// Clockwise quarter turns that an orientation stands for; mirrored
// orientations count none.
int QuarterTurns(int orientation) {
    switch (orientation) {
    case 6: return 1;
    case 3: return 2;
    case 8: return 3;
    default: return 0;
    }
}

// Reads the file into `out` when it holds at most `capacity` bytes; false
// when it is larger, unreadable, or the buffer cannot be had.
bool ReadSmallFile(const char *name, size_t capacity, unsigned char **out, size_t *size) {
    *out = nullptr;
    FILE *f = std::fopen(name, "rb");
    if (f == nullptr) return false;
    auto *bytes = static_cast<unsigned char *>(std::malloc(capacity + 1));
    const size_t got = bytes != nullptr ? std::fread(bytes, 1, capacity + 1, f) : 0;
    const bool ok = bytes != nullptr && !std::ferror(f) && got <= capacity;
    std::fclose(f);
    if (!ok) {
        std::free(bytes);
        return false;
    }
    *out = bytes;
    *size = got;
    return true;
}

bool WriteWholeFile(const char *name, const unsigned char *data, size_t size) {
    FILE *f = std::fopen(name, "wb");
    if (f == nullptr) return false;
    const bool written = std::fwrite(data, 1, size, f) == size;
    return (std::fclose(f) == 0) && written;
}

}  // namespace

int ApplyExifOrientation(j_decompress_ptr src, TUword code, TUlong flags, int transform) {
    if (code == IMF_LOSSLESS_TRANSFORM_EXIF_ORIENTATION) {
        // Only the first APP1 marker counts.
        jpeg_saved_marker_ptr m = src->marker_list;
        while (m != nullptr && !IsApp1(m)) m = m->next;
        if (m == nullptr) return transform;
        IMF_METADATAENTRY e = EntryFor(m);
        int orientation = 0;
        if (!EXIFGetOrientation(&e, &orientation)) return transform;
        EXIFSetOrientation(&e, 1);
        return TransformForOrientation(orientation);
    }
    if ((flags & IMF_LOSSLESS_CHANGE_EXIF_ORIENT) == 0) return transform;
    for (jpeg_saved_marker_ptr m = src->marker_list; m != nullptr; m = m->next) {
        if (!IsApp1(m)) continue;
        IMF_METADATAENTRY e = EntryFor(m);
        int orientation = 0;
        if (!EXIFGetOrientation(&e, &orientation)) continue;
        if ((flags & IMF_LOSSLESS_USE_EXIF_ORIENT) != 0 && code >= IMF_LOSSLESS_TRANSFORM_ROTATE90 &&
            code <= IMF_LOSSLESS_TRANSFORM_ROTATE270) {
            static const int kRotations[4] = {imge::jpeg::kNone, imge::jpeg::kRot90, imge::jpeg::kRot180, imge::jpeg::kRot270};
            transform = kRotations[(QuarterTurns(orientation) + code) % 4];
        }
        EXIFSetOrientation(&e, 1);
        break;
    }
    return transform;
}

// The thumbnail goes through two scratch files (its stream, then the
// transformed stream) so that no work-file name is derived from a scratch
// name; both are removed on every path.
void TransformThumbnail(j_decompress_ptr src, int transform) {
    jpeg_saved_marker_ptr m = src->marker_list;
    while (m != nullptr && !IsApp1(m)) m = m->next;
    if (m == nullptr) return;
    EXIFThumbInfo info;
    if (!EXIFThumbGet(m->data, static_cast<TLong>(m->data_length), &info)) return;
    if (info.Offset > m->data_length || info.Size > m->data_length - info.Offset) return;

    char stream_name[kNameBytes] = {0};
    char result_name[kNameBytes] = {0};
    imfGetTemporaryFilenameA(stream_name, kNameBytes);
    if (stream_name[0] == 0) return;
    if (!WriteWholeFile(stream_name, m->data + info.Offset, info.Size)) {
        unlink(stream_name);
        return;
    }
    imfGetTemporaryFilenameA(result_name, kNameBytes);
    if (result_name[0] == 0) {
        unlink(stream_name);
        return;
    }
    Request rq;
    rq.flags = IMF_LOSSLESS_TRIM;
    rq.module_transform = transform;
    rq.max_width = src->image_width;
    rq.max_height = src->image_height;
    const bool transformed = Run(stream_name, result_name, rq) != 0;
    unlink(stream_name);
    // A thumbnail that grew stays as it was: the block keeps its length.
    unsigned char *result = nullptr;
    size_t size = 0;
    const bool read = transformed && ReadSmallFile(result_name, info.Size, &result, &size);
    unlink(result_name);
    if (!read) return;
    std::memcpy(m->data + info.Offset, result, size);
    std::free(result);
    JOCTET *const begin = m->data, *const end = m->data + m->data_length;
    if (info.HasOrientation && info.OrientationPtr != nullptr && info.OrientationPtr >= begin &&
        info.OrientationPtr + 2 <= end) {
        info.OrientationPtr[0] = info.BigEndian ? 0x00 : 0x01;
        info.OrientationPtr[1] = info.BigEndian ? 0x01 : 0x00;
    }
}

}  // namespace jpeg
}  // namespace imge
