// What the tool itself offers beside the library's operations: a description
// of a file as the tool loads it (size and bitmap type, and for photographs
// the EXIF orientation, the metadata blocks and the ICC profile's name).
#include <cstring>

#include "libtools.h"
#include "op_table.h"

namespace imge {
namespace tool {

namespace {

uint32_t Be32(const uint8_t *p) { return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3]; }

// The description tag of an ICC profile ('desc' of version 2 profiles, a
// 'mluc' record in version 4), or "" when there is none.
std::string IccDescription(const uint8_t *p, size_t n) {
    if (n < 132) return "";
    const uint32_t tags = Be32(p + 128);
    for (uint32_t k = 0; k < tags && 132 + 12 * (k + 1) <= n; ++k) {
        const uint8_t *t = p + 132 + 12 * k;
        if (std::memcmp(t, "desc", 4) != 0) continue;
        const uint32_t at = Be32(t + 4), size = Be32(t + 8);
        if (at > n || size > n - at || size < 12) return "";
        const uint8_t *d = p + at;
        std::string s;
        if (std::memcmp(d, "desc", 4) == 0) {
            const uint32_t len = Be32(d + 8);
            for (uint32_t i = 0; i < len && 12 + i < size && d[12 + i]; ++i) s += static_cast<char>(d[12 + i]);
        } else if (std::memcmp(d, "mluc", 4) == 0 && size >= 28 && Be32(d + 8) > 0) {
            const uint32_t len = Be32(d + 20), off = Be32(d + 24);
            for (uint32_t i = 0; off <= size && i + 1 < len && i + 1 < size - off; i += 2)
                if (d[off + i] == 0 && d[off + i + 1]) s += static_cast<char>(d[off + i + 1]);
        }
        return s;
    }
    return "";
}

const char *OrientationName(int o) {
    static const char *names[] = {"", "upright", "mirrored", "upside down", "mirrored upside down",
                                  "mirrored, turned 90 left", "turned 90 right",
                                  "mirrored, turned 90 right", "turned 90 left"};
    return o >= 1 && o <= 8 ? names[o] : "not a valid value";
}

}  // namespace

std::vector<Op> InfoOps() {
    return {
        Report("info",
               "Prints the size and the bitmap type a file is loaded as; for photographs also "
               "the EXIF orientation (how the stored pixels must be turned to be seen upright), "
               "the resolution, the metadata blocks with their sizes, the EXIF thumbnail's size and the ICC profile's name",
               {},
               [](const Args &, const IMG_BITMAP &b) {
                   std::string s = std::to_string(b.Width) + " x " + std::to_string(b.Height) + " " + TypeName(b.Type);
                   if (b.Type == IMG_COLORS) {
                       const auto *map = reinterpret_cast<const IMF_COLORMAP *>(b.ColorMap);
                       s += " (" + std::to_string(b.ColorUsed) + " palette entries" +
                            (map && map->HasAlpha ? ", with alpha)" : ")");
                   }
                   s += "\n";
                   if (b.Xdpi && b.Ydpi)
                       s += "resolution: " + std::to_string(b.Xdpi) + " x " + std::to_string(b.Ydpi) + " dpi\n";
                   std::string blocks, icc;
                   int orientation = 0;
                   EXIFThumbInfo thumb{};
                   bool has_thumb = false;
                   static const char *kinds[] = {"?", "EXIF", "IPTC", "XMP", "ICC"};
                   for (const auto *e = static_cast<const IMF_METADATAENTRY *>(b.MetaData); e; e = e->Next) {
                       const char *kind = e->Marker <= 4 ? kinds[e->Marker] : "maker notes";
                       blocks += std::string(blocks.empty() ? "" : ", ") + kind + " " + std::to_string(e->Length) + " bytes";
                       if (e->Marker == IMF_EXIF_METADATA && !orientation) EXIFGetOrientation(e, &orientation);
                       if (e->Marker == IMF_EXIF_METADATA && e->Data && !has_thumb)
                           has_thumb = EXIFThumbGet(e->Data, e->Length, &thumb) != 0;
                       if (e->Marker == IMF_ICC_METADATA && e->Data)
                           icc = IccDescription(static_cast<const uint8_t *>(e->Data), static_cast<size_t>(e->Length));
                   }
                   if (orientation)
                       s += "orientation: " + std::to_string(orientation) + " (" + OrientationName(orientation) + ")\n";
                   if (!blocks.empty()) s += "metadata: " + blocks + "\n";
                   if (has_thumb)
                       s += "EXIF thumbnail: " + std::to_string(thumb.Width) + " x " + std::to_string(thumb.Height) + "\n";
                   if (!icc.empty()) s += "ICC profile: " + icc + "\n";
                   return s;
               }),
    };
}

}  // namespace tool
}  // namespace imge
