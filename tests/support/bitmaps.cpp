#include "support/bitmaps.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "libtools.h"
#include "pixel_types.h"

namespace testing_support {

const unsigned kAllTypes[10] = {IMF_BINARY, IMF_GREY, IMF_COLORS, IMF_RGB, IMF_BGR,
                                IMF_RGBA, IMF_ABGR, IMF_BGRA, IMF_ARGB, IMF_CMYK};
const unsigned kByteTypes[9] = {IMF_GREY, IMF_COLORS, IMF_RGB, IMF_BGR, IMF_RGBA,
                                IMF_ABGR, IMF_BGRA, IMF_ARGB, IMF_CMYK};

OwnedImf::~OwnedImf() { imfFree(&b); }

void MakeRandom(std::mt19937 &rng, unsigned type, int width, int height, int pack, OwnedImf *out) {
    imfFree(&out->b);
    if (!imfAllock(&out->b, static_cast<TLong>(type), pack, width, height)) std::abort();
    IMF_BITMAP &b = out->b;
    std::uniform_int_distribution<int> byte(0, 255);
    const std::size_t n = static_cast<std::size_t>(b.BytesPerLine) * b.Height;
    for (std::size_t i = 0; i < n; ++i) b.Data[i] = static_cast<TUbyte>(byte(rng));
    if (b.ColorMap) {
        auto *m = reinterpret_cast<TUbyte *>(b.ColorMap);
        for (std::size_t i = 0; i < 1024; ++i) m[i] = static_cast<TUbyte>(byte(rng));
        b.ColorMap->HasAlpha = 1;
    }
}

void Clone(const IMF_BITMAP &src, OwnedImf *out) {
    imfFree(&out->b);
    if (imfCopy(&src, &out->b, nullptr) != IMF_NOERROR) std::abort();
}

std::string Diff(const IMF_BITMAP &a, const IMF_BITMAP &b) {
    char buf[256];
    if (a.Type != b.Type || a.Width != b.Width || a.Height != b.Height) {
        std::snprintf(buf, sizeof buf, "geometry differs: type %u/%u, %dx%d vs %dx%d", a.Type, b.Type,
                      a.Width, a.Height, b.Width, b.Height);
        return buf;
    }
    if (a.ColorMap && b.ColorMap && std::memcmp(a.ColorMap, b.ColorMap, 1025) != 0) {
        for (int i = 0; i < 1025; ++i) {
            int va = reinterpret_cast<const TUbyte *>(a.ColorMap)[i];
            int vb = reinterpret_cast<const TUbyte *>(b.ColorMap)[i];
            if (va != vb) {
                std::snprintf(buf, sizeof buf, "palette byte %d: %d vs %d", i, va, vb);
                return buf;
            }
        }
    }
    long long row = imge::records::RowBytes(a.Type, a.Width);
    for (int y = 0; y < a.Height; ++y) {
        const TUbyte *pa = a.Data + static_cast<long long>(y) * a.BytesPerLine;
        const TUbyte *pb = b.Data + static_cast<long long>(y) * b.BytesPerLine;
        for (long long i = 0; i < row; ++i) {
            TUbyte va = pa[i], vb = pb[i];
            if (a.Type == IMF_BINARY && i == row - 1 && (a.Width & 7)) {
                TUbyte keep = static_cast<TUbyte>(0xFF << (8 - (a.Width & 7)));
                va &= keep;
                vb &= keep;
            }
            if (va != vb) {
                std::snprintf(buf, sizeof buf, "row %d byte %lld: %d vs %d", y, i, va, vb);
                return buf;
            }
        }
    }
    return "";
}

IMF_RECT RandomArea(std::mt19937 &rng, int width, int height) {
    std::uniform_int_distribution<int> xs(0, width), ys(0, height);
    int l = xs(rng), t = ys(rng);
    std::uniform_int_distribution<int> ws(0, width - l), hs(0, height - t);
    return IMF_RECT{l, t, ws(rng), hs(rng)};
}

std::string TypeName(unsigned type) {
    switch (type) {
        case IMF_BINARY: return "binary";
        case IMF_GREY: return "grey";
        case IMF_COLORS: return "colors";
        case IMF_RGB: return "rgb";
        case IMF_BGR: return "bgr";
        case IMF_RGBA: return "rgba";
        case IMF_ABGR: return "abgr";
        case IMF_BGRA: return "bgra";
        case IMF_ARGB: return "argb";
        case IMF_CMYK: return "cmyk";
        default: return "type" + std::to_string(type);
    }
}

}  // namespace testing_support
