// Shared pieces of the fuzz harnesses: reading choices from the input bytes,
// making processing bitmaps from them, snapshots for "a refused call changed
// nothing", and the failure report (a message, then abort for libFuzzer).
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <hwy/targets.h>

#include "libimg.h"
#include "libtools.h"
#include "pixel_types.h"
#include "support/bitmaps.h"

namespace fuzz {

// Where a finding goes when the harnesses run inside the unit tests (which
// install a handler that throws); null under libFuzzer.
using FailureHandler = void (*)(const std::string &message);
inline FailureHandler &Handler() {
    static FailureHandler handler = nullptr;
    return handler;
}

// Choices the unit tests pin to walk every operation of a harness with
// random inputs (each harness says which of its choices these are); -1
// leaves the choice to the input. Never set under libFuzzer.
struct Steering {
    int branch = -1;
    int op = -1;
};
inline Steering &Steer() {
    static Steering steering;
    return steering;
}
inline int Pinned(int chosen, int pinned) { return pinned >= 0 ? pinned : chosen; }

// Stops the run with a message; libFuzzer saves the input that led here.
[[noreturn]] inline void Fail(const char *what, const char *detail = "") {
    const std::string message = std::string(what) + " " + detail;
    if (Handler()) Handler()(message);
    std::fprintf(stderr, "FUZZ FINDING: %s\n", message.c_str());
    std::abort();
}

#define FUZZ_CHECK(cond, ...)                                      \
    do {                                                           \
        if (!(cond)) ::fuzz::Fail(#cond, ::fuzz::Format(__VA_ARGS__).c_str()); \
    } while (0)

inline std::string Format() { return ""; }
inline std::string Format(const char *message) { return message; }
template <typename Arg, typename... Args>
std::string Format(const char *fmt, Arg arg, Args... args) {
    char buf[512];
    std::snprintf(buf, sizeof buf, fmt, arg, args...);
    return buf;
}

// Reads the input front to back; past its end every read gives zero, so any
// input is a complete case.
class Input {
public:
    Input(const uint8_t *data, size_t size) : p_(data), end_(data + size) {}
    uint8_t Byte() { return p_ < end_ ? *p_++ : 0; }
    uint32_t U32() {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i) v = (v << 8) | Byte();
        return v;
    }
    int32_t I32() { return static_cast<int32_t>(U32()); }
    // A value in lo..hi (inclusive).
    int Range(int lo, int hi) {
        const uint32_t span = static_cast<uint32_t>(hi - lo) + 1u;
        const uint32_t raw = span <= 256 ? Byte() : (static_cast<uint32_t>(Byte()) << 8) | Byte();
        return lo + static_cast<int>(raw % span);
    }
    bool Coin() { return Byte() & 1; }
    template <typename T, size_t N>
    const T &Pick(const T (&items)[N]) { return items[Byte() % N]; }
    // An integer parameter: mostly in lo..hi, sometimes an extreme or any
    // 32-bit value (the refused ranges included).
    int32_t Param(int lo, int hi) {
        switch (Byte() % 8) {
            case 0: return I32();
            case 1: {
                static const int32_t kEdges[] = {0, -1, 1, INT32_MIN, INT32_MAX, INT32_MIN + 1, INT32_MAX - 1};
                return Pick(kEdges);
            }
            case 2: return Byte() & 1 ? lo - 1 - Range(0, 3) : hi + 1 + Range(0, 3);
            default: return Range(lo, hi);
        }
    }
    // A double: mostly in lo..hi, sometimes zero, negative, huge, infinite or NaN.
    double Real(double lo, double hi) {
        switch (Byte() % 8) {
            case 0: {
                static const double kEdges[] = {0.0, -0.0, -1.0, 1e-300, 1e300, -1e300,
                                                std::numeric_limits<double>::infinity(),
                                                -std::numeric_limits<double>::infinity(),
                                                std::numeric_limits<double>::quiet_NaN(),
                                                std::numeric_limits<double>::denorm_min()};
                return Pick(kEdges);
            }
            default: return lo + (hi - lo) * (static_cast<double>(U32() >> 8) / double(1u << 24));
        }
    }
    size_t Left() const { return static_cast<size_t>(end_ - p_); }

private:
    const uint8_t *p_, *end_;
};

// While it lives (and `on`), only Highway's one-lane target runs: the plain
// loops. The targets in force before come back afterwards.
class PlainPath {
public:
    explicit PlainPath(bool on = true) : saved_(hwy::SupportedTargets()), on_(on) {
        if (on_) hwy::SetSupportedTargetsForTest(HWY_SCALAR);
    }
    ~PlainPath() {
        if (!on_) return;
        hwy::SetSupportedTargetsForTest(saved_);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }
    PlainPath(const PlainPath &) = delete;
    PlainPath &operator=(const PlainPath &) = delete;

private:
    int64_t saved_;
    bool on_;
};

// The top bit of the input's last byte runs the whole input on the plain
// loops, so that they too meet the independent references; the byte is
// still read as usual. Operations whose reference would only retype the
// plain loops' formula are compared with the plain loops themselves.
struct PathChoice : PlainPath {
    PathChoice(const uint8_t *data, size_t size) : PlainPath(size && (data[size - 1] & 0x80)) {}
};

// The ten types the pixel code handles, and a few it must refuse.
inline unsigned AnyType(Input &in) {
    static const unsigned kOdd[] = {IMF_RGB16, IMF_RGBA32F, 0, IMF_RGB | IMF_GREY, 0x8000};
    const int k = in.Range(0, 40);
    return k < 40 ? testing_support::kAllTypes[k % 10] : in.Pick(kOdd);
}

// Sizes with 0 and 1 in either direction and odd widths common.
inline int Side(Input &in, int most) {
    switch (in.Byte() % 6) {
        case 0: return in.Range(0, 2);
        case 1: return in.Range(1, 9) * 2 + 1;
        default: return in.Range(0, most);
    }
}

// A processing bitmap of `type` (one of the ten) filled from a generator
// seeded by the input; palette, ColorUsed, origin and transparency random.
inline void MakeBitmap(Input &in, unsigned type, int w, int h, testing_support::OwnedImf *out) {
    static const int kPacks[] = {1, 2, 4, 8, 1, 3, 16};
    const int pack = in.Pick(kPacks);
    imfFree(out->get());
    std::memset(out->get(), 0, sizeof(IMF_BITMAP));
    if (!imfAllock(out->get(), static_cast<TLong>(type), pack, w, h)) Fail("imfAllock refused a plain bitmap");
    IMF_BITMAP &b = out->b;
    std::mt19937 rng(in.U32());
    const size_t n = static_cast<size_t>(b.BytesPerLine) * static_cast<size_t>(b.Height);
    const int flavour = in.Byte() % 4;  // random, few values, constant, two levels
    const TUbyte base = static_cast<TUbyte>(rng()), span = static_cast<TUbyte>(1 + rng() % 6);
    for (size_t i = 0; i < n; ++i) {
        const TUbyte r = static_cast<TUbyte>(rng());
        b.Data[i] = flavour == 0   ? r
                    : flavour == 1 ? static_cast<TUbyte>(base + r % span)
                    : flavour == 2 ? base
                                   : (r & 1 ? 255 : 0);
    }
    if (b.ColorMap) {
        auto *m = reinterpret_cast<TUbyte *>(b.ColorMap);
        for (size_t i = 0; i < 1024; ++i) m[i] = static_cast<TUbyte>(rng());
        b.ColorMap->HasAlpha = static_cast<TByte>(in.Byte() & 1);
    }
    static const TWord kUsed[] = {0, 1, 2, 16, 255, 256, -1, 300, 32767, -32768};
    if (in.Byte() % 3 == 0) b.ColorUsed = in.Pick(kUsed);
    static const IMF_ORIGIN kOrigins[] = {IMF_TOP_LEFT, IMF_BOTTOM_LEFT, IMF_TOP_RIGHT, IMF_BOTTOM_RIGHT,
                                          IMF_LEFT_TOP, 0xFFFF};
    b.Origin = in.Pick(kOrigins);
    b.TransparentIndex = static_cast<TWord>(in.Range(-2, 5));
}

// A processing area: none, inside the bitmap (possibly empty), or one the
// operation has to refuse (outside, negative, overflowing).
struct Area {
    bool given = false;
    IMF_RECT rect{};
    const IMF_RECT *get() const { return given ? &rect : nullptr; }
};

inline Area MakeArea(Input &in, int w, int h) {
    Area a;
    const int kind = in.Byte() % 8;
    if (kind < 3) return a;  // null: the whole bitmap
    a.given = true;
    if (kind < 6) {
        const int l = in.Range(0, w), t = in.Range(0, h);
        a.rect = IMF_RECT{l, t, in.Range(0, w - l), in.Range(0, h - t)};
        return a;
    }
    static const TLong kWild[] = {-1, 0, 1, INT32_MAX, INT32_MIN, INT32_MAX - 1, 0x40000000, -0x40000000};
    a.rect = IMF_RECT{in.Coin() ? in.Pick(kWild) : in.Range(-2, w + 2), in.Coin() ? in.Pick(kWild) : in.Range(-2, h + 2),
                      in.Coin() ? in.Pick(kWild) : in.Range(-2, w + 2), in.Coin() ? in.Pick(kWild) : in.Range(-2, h + 2)};
    return a;
}

// Whether an area lies inside a w x h bitmap (null does).
inline bool AreaInside(const Area &a, int w, int h) {
    if (!a.given) return true;
    const IMF_RECT &r = a.rect;
    return r.left >= 0 && r.top >= 0 && r.width >= 0 && r.height >= 0 &&
           static_cast<int64_t>(r.left) + r.width <= w && static_cast<int64_t>(r.top) + r.height <= h;
}

// Everything a call could change in a record (processing or public) and its
// buffers.
template <class Record>
class RecordSnapshot {
public:
    explicit RecordSnapshot(const Record &b) : record_(b) {
        if (b.Data && b.BytesPerLine > 0 && b.Height > 0)
            data_.assign(b.Data, b.Data + static_cast<size_t>(b.BytesPerLine) * static_cast<size_t>(b.Height));
        if (b.ColorMap) {
            const auto *m = reinterpret_cast<const TUbyte *>(b.ColorMap);
            map_.assign(m, m + sizeof(IMF_COLORMAP));
        }
    }
    bool Same(const Record &b) const {
        if (std::memcmp(&record_, &b, sizeof b) != 0) return false;
        if (!map_.empty() && std::memcmp(b.ColorMap, map_.data(), map_.size()) != 0) return false;
        return SamePixels(b);
    }
    // Same pixels, whatever the record says besides.
    bool SamePixels(const Record &b) const {
        if (b.Height != record_.Height || b.BytesPerLine != record_.BytesPerLine) return false;
        return data_.empty() || std::memcmp(b.Data, data_.data(), data_.size()) == 0;
    }

private:
    Record record_;
    std::vector<TUbyte> data_, map_;
};
using Snapshot = RecordSnapshot<IMF_BITMAP>;
using ImgSnapshot = RecordSnapshot<IMG_BITMAP>;

// A public bitmap (imgCreateBitmap) of `type` with random pixels, palette,
// ColorUsed and origin; null when the library declines the size.
struct OwnedImg {
    IMG_BITMAP *b = nullptr;
    OwnedImg() = default;
    OwnedImg(const OwnedImg &) = delete;
    OwnedImg &operator=(const OwnedImg &) = delete;
    ~OwnedImg() { imgFreeBitmap(b); }
};

inline void MakeImg(Input &in, unsigned type, int w, int h, OwnedImg *out) {
    imgFreeBitmap(out->b);
    out->b = imgCreateBitmap(static_cast<IMG_BITMAP_TYPE>(type), w, h);
    if (!out->b) return;
    IMG_BITMAP &b = *out->b;
    std::mt19937 rng(in.U32());
    const size_t n = static_cast<size_t>(b.BytesPerLine) * static_cast<size_t>(b.Height);
    const bool levels = in.Byte() % 3 == 0;
    for (size_t i = 0; i < n; ++i) b.Data[i] = levels ? static_cast<TUbyte>(rng() % 4 * 85) : static_cast<TUbyte>(rng());
    if (b.ColorMap) {
        auto *m = reinterpret_cast<TUbyte *>(b.ColorMap);
        for (size_t i = 0; i < 1024; ++i) m[i] = static_cast<TUbyte>(rng());
    }
    static const IMG_INT32 kUsed[] = {0, 1, 2, 16, 255, 256, -1, 300, INT32_MAX, INT32_MIN};
    if (in.Byte() % 3 == 0) b.ColorUsed = in.Pick(kUsed);
    static const IMG_ORIGIN kOrigins[] = {IMG_TOP_LEFT, IMG_BOTTOM_LEFT, IMG_TOP_RIGHT, IMG_BOTTOM_RIGHT};
    b.Origin = in.Pick(kOrigins);
    b.TransparentIndex = static_cast<IMG_INT16>(in.Range(-2, 5));
}

inline bool AllZero(const void *p, size_t n) {
    const auto *b = static_cast<const unsigned char *>(p);
    for (size_t i = 0; i < n; ++i)
        if (b[i]) return false;
    return true;
}

// The largest difference between the pixel bytes of two bitmaps of the same
// geometry (row bytes only), or 256 when the geometry differs.
inline int MaxByteDifference(const IMF_BITMAP &a, const IMF_BITMAP &b) {
    if (a.Type != b.Type || a.Width != b.Width || a.Height != b.Height) return 256;
    const long long row = imge::records::RowBytes(a.Type, a.Width);
    int worst = 0;
    for (int y = 0; y < a.Height; ++y)
        for (long long i = 0; i < row; ++i) {
            const int d = std::abs(int(a.Data[static_cast<long long>(y) * a.BytesPerLine + i]) -
                                   int(b.Data[static_cast<long long>(y) * b.BytesPerLine + i]));
            if (d > worst) worst = d;
        }
    return worst;
}

}  // namespace fuzz
