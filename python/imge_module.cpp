// Python face of libimge: NumPy uint8 arrays wrapped as bitmaps without a copy.
#include <pybind11/eval.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "libformat.h"
#include "libimge.h"
#include "libtools.h"

namespace py = pybind11;
using namespace py::literals;

namespace {

py::object g_error;

[[noreturn]] void raise(IMG_ERROR e) {
    py::object exc = g_error(std::string(imgErrorString(e)) + " (code " + std::to_string(e) + ")", e);
    PyErr_SetObject(g_error.ptr(), exc.ptr());
    throw py::error_already_set();
}
// Processing-layer codes reported as the public layer reports them.
[[noreturn]] void raise_imf(IMF_ERROR e) {
    raise(e == IMF_ERRMEMORY ? IMG_ERROR_NO_MEMORY : e == IMF_ERRBADBITMAP ? IMG_ERROR_BAD_BITMAP
                                                                           : IMG_ERROR_BAD_PARAMETERS);
}

using U8 = py::array_t<uint8_t>;

py::array checked(py::handle h) {
    if (!py::isinstance<py::array>(h)) throw py::type_error("imge: pictures are uint8 NumPy arrays");
    py::array a = py::reinterpret_borrow<py::array>(h);
    if (a.dtype().kind() != 'u' || a.itemsize() != 1) throw py::type_error("imge: pictures are uint8 arrays");
    return a;
}

// A picture handed in: an array, or a pair (indices H x W, palette N x 3) for
// a colour-mapped picture, seen as a bitmap over the array's rows (no copy).
// TypeError for anything but uint8 H x W, H x W x 3 or H x W x 4 with
// contiguous pixels and rows going forward.
struct Pic {
    IMG_BITMAP img;
    IMF_COLORMAP map;
    py::array a;
    Pic(const Pic &) = delete;
    explicit Pic(py::handle obj) {
        std::memset(&img, 0, sizeof img);
        std::memset(&map, 0, sizeof map);
        py::array pal;
        bool mapped = false;
        if (py::isinstance<py::tuple>(obj) || py::isinstance<py::list>(obj)) {
            py::sequence s = py::reinterpret_borrow<py::sequence>(obj);
            if (s.size() != 2) throw py::type_error("imge: a colour-mapped picture is a pair (indices, palette)");
            a = checked(s[0]);
            pal = checked(s[1]);
            mapped = true;
            if (a.ndim() != 2) throw py::type_error("imge: colour-mapped indices are an H x W array");
            if (pal.ndim() != 2 || pal.shape(1) != 3 || pal.shape(0) < 1 || pal.shape(0) > 256)
                throw py::type_error("imge: a palette is an N x 3 uint8 array, N in 1..256");
        } else {
            a = checked(obj);
        }
        const int nd = static_cast<int>(a.ndim());
        const int comps = nd == 2 ? 1 : nd == 3 ? static_cast<int>(a.shape(2)) : 0;
        if (comps != 1 && comps != 3 && comps != 4)
            throw py::type_error("imge: pictures are H x W (grey), H x W x 3 (RGB) or H x W x 4 (RGBA) arrays");
        if ((nd == 3 && a.strides(2) != 1) || a.strides(1) != comps || a.strides(0) < a.shape(1) * comps)
            throw py::type_error("imge: the pixels of a row must be contiguous and rows must go forward");
        if (a.shape(0) < 1 || a.shape(1) < 1) throw py::type_error("imge: empty picture");
        if (a.shape(0) > INT32_MAX || a.shape(1) > INT32_MAX / 4 || a.strides(0) > INT32_MAX)
            throw py::type_error("imge: picture too large");
        img.Type = mapped ? IMG_COLORS : comps == 1 ? IMG_GREY : comps == 3 ? IMG_RGB : IMG_RGBA;
        img.Origin = IMG_TOP_LEFT;
        img.Width = static_cast<IMG_INT32>(a.shape(1));
        img.Height = static_cast<IMG_INT32>(a.shape(0));
        img.BytesPerLine = static_cast<IMG_UINT32>(a.strides(0));
        img.BitsPerComponent = 8;
        img.ComponentsPerPixel = static_cast<IMG_UINT16>(comps);
        img.BytesPerPixel = static_cast<IMG_UINT16>(comps);
        img.Xdpi = img.Ydpi = 72;
        img.TransparentIndex = -1;
        img.ColorUsed = comps == 1 ? 256 : 0;  // grey: all 256 levels
        img.Data = static_cast<IMG_UINT8 *>(const_cast<void *>(a.data()));
        if (mapped) {
            const py::ssize_t n = pal.shape(0);
            for (py::ssize_t i = 0; i < n; ++i) {
                const auto *p = static_cast<const uint8_t *>(pal.data(i, 0));
                map.Red[i] = p[0];
                map.Green[i] = p[pal.strides(1)];
                map.Blue[i] = p[2 * pal.strides(1)];
                map.Alpha[i] = 255;
            }
            img.ColorUsed = static_cast<IMG_INT32>(n);
            img.ColorMap = reinterpret_cast<IMG_COLORMAP *>(&map);
        }
    }
    // Palette entries of a result: the library marks all 256 used after some
    // corrections; the caller gets back as many as it gave.
    int used(int result) const {
        return img.Type == IMG_COLORS && img.ColorUsed < result ? img.ColorUsed : result;
    }
    // The same bitmap as a processing record.
    IMF_BITMAP imf() const {
        IMF_BITMAP f;
        std::memset(&f, 0, sizeof f);
        f.Width = img.Width;
        f.Height = img.Height;
        f.BytesPerLine = static_cast<TLong>(img.BytesPerLine);
        f.Type = img.Type;
        f.BytesPerPixel = img.BytesPerPixel;
        f.BitsPerComponent = 8;
        f.ComponentsPerPixel = img.ComponentsPerPixel;
        f.Pack = 1;
        f.Origin = img.Origin;
        f.Xdpi = f.Ydpi = 72;
        f.ColorUsed = static_cast<TWord>(img.ColorUsed);
        f.TransparentIndex = -1;
        f.ColorMap = reinterpret_cast<IMF_COLORMAP *>(img.ColorMap);
        f.Data = img.Data;
        return f;
    }
};

// A library result as a NumPy array over its own buffer (no copy; `owner`
// releases it with the array), or (indices, palette) for a colour-mapped one.
py::object view(unsigned type, int w, int h, long bpl, unsigned origin, uint8_t *data, const IMF_COLORMAP *cm,
                int used, py::capsule owner) {
    const int c = type == IMG_GREY || type == IMG_COLORS ? 1 : type == IMG_RGB ? 3 : type == IMG_RGBA ? 4 : 0;
    if (!c) raise(IMG_ERROR_UNKNOWN_FORMAT);
    std::vector<py::ssize_t> shape{h, w}, strides{bpl, c};
    if (c != 1) shape.push_back(c), strides.push_back(1);
    if (origin & IMG_BOTTOM) data += static_cast<size_t>(h - 1) * bpl, strides[0] = -bpl;
    py::array a(py::dtype::of<uint8_t>(), shape, strides, data, owner);
    if (type != IMG_COLORS) return std::move(a);
    const int n = cm ? std::max(1, std::min(used > 0 ? used : 256, 256)) : 0;
    U8 pal({n, 3});
    for (int i = 0; i < n; ++i) {
        pal.mutable_at(i, 0) = cm->Red[i];
        pal.mutable_at(i, 1) = cm->Green[i];
        pal.mutable_at(i, 2) = cm->Blue[i];
    }
    return py::make_tuple(a, pal);
}

// The result, or a copy of it in `out` (which may be the source) when given.
py::object deliver(py::object r, py::object out) {
    if (out.is_none()) return r;
    if (!py::isinstance<py::array>(r) || !py::isinstance<py::array>(out))
        throw py::type_error("imge: out= takes an array for a result that is one array");
    py::array t = out.cast<py::array>(), s = r.cast<py::array>();
    if (!t.writeable() || t.dtype().kind() != 'u' || t.itemsize() != 1 || t.ndim() != s.ndim() ||
        !std::equal(s.shape(), s.shape() + s.ndim(), t.shape()))
        throw py::type_error("imge: out must be a writeable uint8 array of the result's shape");
    py::module_::import("numpy").attr("copyto")(t, s);
    return std::move(t);
}

// Runs a public-layer operation into a separate new bitmap (the source is
// never changed) and hands that bitmap's buffer over as the result.
template <class F> py::object run(py::object a, py::object out, F op) {
    Pic p(a);
    IMG_BITMAP *d = nullptr;
    IMG_ERROR e;
    {
        py::gil_scoped_release nogil;
        e = op(&p.img, &d);
    }
    if (e != IMG_NO_ERROR || !d) {
        if (d) imgFreeBitmap(d);
        raise(e != IMG_NO_ERROR ? e : IMG_UNKNOWN_ERROR);
    }
    py::capsule owner(d, [](void *q) { imgFreeBitmap(static_cast<IMG_BITMAP *>(q)); });
    return deliver(view(d->Type, d->Width, d->Height, d->BytesPerLine, d->Origin, d->Data,
                        reinterpret_cast<const IMF_COLORMAP *>(d->ColorMap), p.used(d->ColorUsed), owner), out);
}

// The same for a processing-layer operation (op(src, dst) with dst a new record).
template <class F> py::object run_imf(py::object a, py::object out, F op) {
    Pic p(a);
    IMF_BITMAP s = p.imf();
    std::unique_ptr<IMF_BITMAP> d(new IMF_BITMAP);
    std::memset(d.get(), 0, sizeof *d);
    IMF_ERROR e;
    {
        py::gil_scoped_release nogil;
        e = op(&s, d.get());
    }
    if (e != IMF_NOERROR) raise_imf(e);
    IMF_BITMAP *r = d.release();
    py::capsule owner(r, [](void *q) {
        imfFree(static_cast<IMF_BITMAP *>(q));
        delete static_cast<IMF_BITMAP *>(q);
    });
    return deliver(view(r->Type, r->Width, r->Height, r->BytesPerLine, r->Origin, r->Data, r->ColorMap,
                        p.used(r->ColorUsed), owner), out);
}

// The processing area (left, top, width, height), or null for the whole picture.
struct Area {
    IMF_RECT r{};
    const IMF_RECT *p = nullptr;
    explicit Area(py::object o) {
        if (o.is_none()) return;
        auto v = o.cast<std::vector<long long>>();
        if (v.size() != 4) throw py::type_error("imge: area is (left, top, width, height)");
        for (auto x : v)
            if (x < INT32_MIN || x > INT32_MAX) throw py::type_error("imge: area out of range");
        r = IMF_RECT{static_cast<TLong>(v[0]), static_cast<TLong>(v[1]), static_cast<TLong>(v[2]),
                     static_cast<TLong>(v[3])};
        p = &r;
    }
};

IMG_COLOR color(const std::vector<int> &c) {
    if (c.size() < 3 || c.size() > 4) throw py::type_error("imge: a colour is (r, g, b) or (r, g, b, a)");
    IMG_COLOR k{static_cast<IMG_UINT16>(c[0]), static_cast<IMG_UINT16>(c[1]), static_cast<IMG_UINT16>(c[2]),
                static_cast<IMG_UINT16>(c.size() == 4 ? c[3] : 255)};
    return k;
}
std::vector<IMG_POINT> points(const std::vector<std::pair<int, int>> &p) {
    std::vector<IMG_POINT> v;
    for (auto &q : p) v.push_back(IMG_POINT{q.first, q.second});
    return v;
}

// A JPEG function's 1/0 as a result.
void jpeg_result(TWord ok) {
    if (ok != 1) raise(IMG_UNKNOWN_ERROR);
}

}  // namespace

#define OPT py::arg("out") = py::none()
// Operation without parameters.
#define OP0(name, fn, doc) \
    m.def(name, [](py::object a, py::object out) { return run(a, out, [](IMG_BITMAP *b, IMG_BITMAP **d) { return fn(b, d); }); }, \
          doc, "a"_a, OPT)
// Operation with one integer parameter.
#define OP1(name, fn, p, doc) \
    m.def(name, [](py::object a, int v, py::object out) { return run(a, out, [v](IMG_BITMAP *b, IMG_BITMAP **d) { return fn(b, d, v); }); }, \
          doc, "a"_a, py::arg(p), OPT)

#define AREA py::arg("area") = py::none(), OPT
#define AREA_DOC "\narea=(left, top, width, height) limits the change to that rectangle (default: all)."
// Processing-layer operation with the given parameters after (src, dst, area).
#define IMF_OP(name, fn, doc, ...) \
    m.def(name, [](py::object a, IMF_ARGS, py::object area, py::object out) { \
              Area r(area); \
              return run_imf(a, out, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return fn(s, d, r.p, __VA_ARGS__); }); }, \
          doc AREA_DOC, "a"_a, IMF_NAMES, AREA)

// Operations of the processing layer that have no public entry point.
void bind_processing(py::module_ &m) {
#define IMF_ARGS int low, int high
#define IMF_NAMES "low"_a, "high"_a
    IMF_OP("levels", imfLevels, "Levels: values up to low become 0, from high 255, linear in between (0 <= low < high <= 255).", low, high);
#undef IMF_ARGS
#undef IMF_NAMES
#define IMF_ARGS int v
#define IMF_NAMES "levels"_a
    IMF_OP("posterize", imfPosterize, "Posterize to levels bands, levels in 2..256.", v);
#undef IMF_NAMES
#define IMF_NAMES "threshold"_a
    IMF_OP("solarize", imfSolarize, "Solarize: values up to threshold (0..255) kept, values above become 255 - v.", v);
#undef IMF_NAMES
#define IMF_NAMES "amount"_a
    IMF_OP("contra_brightness", imfContraBrightness,
           "Moves every component towards 255 (amount > 0) or 0 (amount < 0) by |amount| / 255 of the distance;\n"
           "amount in -255..255 (beyond: all 255 or all 0). Grey and RGB(A) pictures.", v);
#undef IMF_NAMES
#define IMF_NAMES "index"_a
    IMF_OP("convolve_index", imfConvolveIndex,
           "Predefined 3x3 kernel by index: 0 enhance detail, 1 enhance focus, 2 focus restoration, 3 sharpen,\n"
           "4 edge detect light, 5 medium, 6 heavy, 7 emboss, 8 emboss more. Edges repeat the border pixel.", v);
#undef IMF_NAMES
#define IMF_NAMES "percentage"_a
    IMF_OP("edge", imfEdge, "3x3 edge enhancement, percentage 0 (weakest) .. 100 (Laplacian sharpening).", v);
#undef IMF_NAMES
#undef IMF_ARGS
#define IMF_ARGS int shadow, int highlight
#define IMF_NAMES "shadow"_a, "highlight"_a
    IMF_OP("adjust_shadow_highlight", imfAdjustShadowHighlight,
           "Stretches shadows (luminance 0..79) by shadow and highlights (177..255) by highlight, each in\n"
           "-100..100 (positive: away from the middle); mid-tones unchanged. Grey and RGB(A) pictures.", shadow, highlight);
#undef IMF_ARGS
#undef IMF_NAMES
#define IMF_ARGS double g
#define IMF_NAMES "gamma"_a
    IMF_OP("gammasat", imfGammasat, "Saturation gamma of RGB(A) pixels, gamma finite and above 0 (1 = unchanged).", g);
#undef IMF_NAMES
#define IMF_NAMES "amount"_a
    IMF_OP("add_uniform_noise", imfAddUniformNoise, "Uniform noise, each byte moved by up to amount / 2 (amount >= 0).", g);
    IMF_OP("add_gaussian_noise", imfAddGaussianNoise, "Gaussian noise, amount >= 0 scales the part that grows with the value.", g);
    IMF_OP("add_laplacian_noise", imfAddLaplacianNoise, "Laplacian noise of scale amount (>= 0).", g);
    IMF_OP("add_poisson_noise", imfAddPoissonNoise, "Poisson noise, amount > 0 (smaller: stronger noise).", g);
#undef IMF_ARGS
#undef IMF_NAMES
#define IMF_ARGS double g, int type
#define IMF_NAMES "amount"_a, "type"_a
    IMF_OP("noise", imfNoise,
           "Noise of type 0 uniform, 1 Gaussian, 2 Laplacian, 3 Poisson (others: uniform) with amount as in\n"
           "add_*_noise. Noise is drawn from the C library's rand(), seeded with the time: not reproducible.",
           g, static_cast<TWord>(type));
#undef IMF_ARGS
#undef IMF_NAMES
    m.def("desaturate", [](py::object a, py::object area, py::object out) {
              Area r(area);
              return run_imf(a, out, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfDesaturate(s, d, r.p); }); },
          "R, G and B of every pixel become (min + max) / 2 of them; RGB(A) pictures." AREA_DOC, "a"_a, AREA);
    m.def("extract_channel", [](py::object a, int c) {
              return run_imf(a, py::none(), [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfExtractChannel(s, d, c); }); },
          "One channel (0 red, 1 green, 2 blue, 3 alpha; others red) as a new H x W grey array.\n"
          "RGB(A) and colour-mapped pictures.", "a"_a, "channel"_a);
    m.def("apply_lut", [](py::object a, U8 table, py::object area, py::object out) {
              if (table.ndim() != 1 || table.shape(0) != 256) throw py::type_error("imge: table is 256 uint8 values");
              std::vector<TUbyte> t(table.data(), table.data() + 256);
              Area r(area);
              return run_imf(a, out, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfApplyLut(s, d, r.p, t.data()); }); },
          "Replaces every value v by table[v] (table: 256 uint8); alpha is kept; a colour-mapped picture\n"
          "has its palette changed." AREA_DOC, "a"_a, "table"_a, AREA);
    m.def("get_adjust_lut", [](int b, int c, double g) {
              U8 t(256);
              imfGetAdjustLut(t.mutable_data(), b, c, g);
              return t; },
          "The 256-entry table of adjust(brightness, contrast -127..127, gamma > 0); the identity for\n"
          "values adjust refuses.", "brightness"_a, "contrast"_a, "gamma"_a);
    m.def("create_histogram_on_luminance", [](py::object a) {
              Pic p(a);
              IMF_BITMAP s = p.imf();
              py::array_t<uint32_t> h(256);
              uint32_t *o = h.mutable_data();
              { py::gil_scoped_release nogil; imfCreateHistogramOnLuminance(&s, o); }
              return h; },
          "Counts of the luminance (77 R + 150 G + 29 B) >> 8 (grey level or palette index for H x W):\n"
          "256 uint32.", "a"_a);
    m.def("create_all_histogram", [](py::object a) {
              Pic p(a);
              IMF_BITMAP s = p.imf();
              py::array_t<uint32_t> h({4, 256});
              uint32_t *o = h.mutable_data();
              { py::gil_scoped_release nogil; imfCreateAllHistogram(&s, o); }
              return h; },
          "4 x 256 uint32 counts: row 0 luminance (or grey level / palette index), rows 1..3 red, green,\n"
          "blue (zero for H x W pictures).", "a"_a);
    m.def("get_count_colors", [](py::object a, int limit) {
              Pic p(a);
              IMF_BITMAP s = p.imf();
              TUlong n;
              { py::gil_scoped_release nogil; n = imfGetCountColors(&s, limit); }
              if (n == 0xFFFFFFFFu) raise(IMG_ERROR_NO_MEMORY);
              return n; },
          "Distinct colours (alpha not counted; equal palette entries merged). limit > 0 stops counting\n"
          "once more than limit colours were seen (the result then exceeds limit); limit <= 0: no limit.",
          "a"_a, "limit"_a = -1);
    m.def("drop_shadow", [](py::object a, int size, int depth, bool keep, py::object out) {
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgDropShadow(b, d, size, depth, keep); }); },
          "Soft black shadow behind the picture on a white canvas 5 size + 2 depth pixels larger:\n"
          "size (edge width, 1..) and depth (offset right and down, 0..) in pixels; keep_size gives\n"
          "the result the picture's size.", "a"_a, "size"_a, "depth"_a, "keep_size"_a = false, OPT);
    m.def("jpeg_lossless_transform", [](const std::string &src, py::object dst, int transform, unsigned flags, py::object crop) {
              TWord ok;
              if (!crop.is_none()) {
                  auto c = crop.cast<std::vector<int>>();
                  if (c.size() != 4) throw py::type_error("imge: crop is (x, y, width, height)");
                  std::string d = dst.is_none() ? src : dst.cast<std::string>();
                  py::gil_scoped_release nogil;
                  ok = imfJpegLosslessTransform2(src.c_str(), d.c_str(), c[0], c[1], c[2], c[3], static_cast<TUword>(transform), flags);
              } else if (dst.is_none()) {
                  py::gil_scoped_release nogil;
                  ok = imfJpegLosslessTransform(src.c_str(), static_cast<TUword>(transform), flags);
              } else {
                  std::string d = dst.cast<std::string>();
                  py::gil_scoped_release nogil;
                  ok = imfJpegLosslessTransformEx(src.c_str(), d.c_str(), static_cast<TUword>(transform), flags);
              }
              jpeg_result(ok); },
          "Rotates/flips a JPEG file without decoding it, writing dst (None: src in place, through a work\n"
          "file). transform: 0 none, 1 rotate 90, 2 rotate 180, 3 rotate 270, 4 vertical flip, 5 horizontal\n"
          "flip, 6 by the EXIF orientation. flags: 1 trim partial edge blocks, 2 rotate relative to the EXIF\n"
          "orientation (with 4), 4 read the EXIF orientation and reset it to 1. crop=(x, y, w, h) in pixels\n"
          "of the transformed picture also crops (its corner moves to the block grid). flags=7 in place is the\n"
          "public layer's transform (imgJpegLosslessTransform). Error when refused.",
          "src"_a, "dst"_a, "transform"_a, "flags"_a = 0, "crop"_a = py::none());
    m.def("jpeg_lossless_crop", [](const std::string &src, py::object dst, int x, int y, int w, int h, bool trim) {
              TWord ok;
              if (dst.is_none()) {
                  py::gil_scoped_release nogil;
                  ok = imfJpegLosslessCrop(src.c_str(), x, y, w, h, trim);
              } else {
                  std::string d = dst.cast<std::string>();
                  py::gil_scoped_release nogil;
                  ok = imfJpegLosslessCropEx(src.c_str(), d.c_str(), x, y, w, h, trim);
              }
              jpeg_result(ok); },
          "Crops a JPEG file without decoding it to (x, y, width, height) in pixels, writing dst (None: src\n"
          "in place); the corner moves up and left to the block grid; trim drops partial edge blocks.",
          "src"_a, "dst"_a, "x"_a, "y"_a, "width"_a, "height"_a, "trim"_a = false);
}

PYBIND11_MODULE(_imge, m) {
    m.doc() = "libimge on NumPy uint8 arrays. Results are new arrays; out=a works in place.";
    m.attr("__version__") = IMGE_VERSION;
    py::object builtins = py::module_::import("builtins");
    py::dict ns;
    py::exec(R"(
class Error(ValueError):
    """A refused libimge call: .code is the library's result code, .text its meaning."""
    def __init__(self, text, code):
        super().__init__(text)
        self.code = code
        self.text = text
)", py::globals(), ns);
    g_error = ns["Error"];
    g_error.attr("__module__") = "imge";
    m.attr("Error") = g_error;

    OP0("negative", imgNegative, "Negative of every colour component.");
    OP1("brightness", imgBrightness, "brightness", "Adds brightness to every component (any integer; results limited to 0..255).");
    OP1("contrast", imgContrast, "contrast", "Contrast change, contrast in -127..127: above 0 stretches, below 0 compresses.");
    m.def("gamma", [](py::object a, double g, py::object out) { return run(a, out, [g](IMG_BITMAP *b, IMG_BITMAP **d) { return imgGamma(b, d, g); }); },
          "Gamma correction v -> 255 (v / 255)^(1 / gamma), gamma finite and above 0 (1 = unchanged).", "a"_a, "gamma"_a, OPT);
    OP0("log_correction", imgLogCorrection, "Logarithmic tone correction.");
    m.def("adjust", [](py::object a, int br, int co, double g, py::object out) {
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgAdjust(b, d, br, co, g); }); },
          "Brightness (added, any integer), contrast (-127..127) and gamma (above 0, 1 = unchanged) in one pass.",
          "a"_a, "brightness"_a, "contrast"_a, "gamma"_a, OPT);
    OP0("normalize", imgNormalize, "Stretches the range of the picture to 0..255.");
    OP0("equalize", imgEqualize, "Histogram equalisation of each channel.");
    OP0("equalize_on_luminance", imgEqualizeOnLuminance, "Histogram equalisation on the luminance.");
    OP0("automatic_contrast", imgAutomaticContrast, "Automatic contrast.");
    OP0("automatic_levels", imgAutomaticLevels, "Automatic levels.");
    m.def("balance", [](py::object a, std::vector<int> c, py::object out) {
              IMG_COLOR k = color(c);
              return run(a, out, [k](IMG_BITMAP *b, IMG_BITMAP **d) { return imgBalance(b, d, &k); }); },
          "Colour balance: adds the offsets (r, g, b), each -128..127, to red, green and blue (limited to 0..255).", "a"_a, "color"_a, OPT);
    m.def("convolve", [](py::object a, std::vector<std::vector<int>> k, int divisor, int bias, py::object out) {
              IMG_FILTER f;
              std::memset(&f, 0, sizeof f);
              f.Size = static_cast<IMG_INT16>(k.size());
              if (k.empty() || k.size() > 7) throw py::type_error("imge: kernel is 1x1 .. 7x7");
              for (size_t i = 0; i < k.size(); ++i) {
                  if (k[i].size() != k.size()) throw py::type_error("imge: kernel must be square");
                  for (size_t j = 0; j < k.size(); ++j) f.Matrix[i * k.size() + j] = static_cast<IMG_INT16>(k[i][j]);
              }
              f.Divisor = static_cast<IMG_INT16>(divisor);
              f.Bias = static_cast<IMG_INT16>(bias);
              return run(a, out, [f](IMG_BITMAP *b, IMG_BITMAP **d) { return imgConvolve(b, d, &f); }); },
          "Convolution with a square kernel (1..7 rows of integers), divided by divisor, plus bias.",
          "a"_a, "kernel"_a, "divisor"_a = 1, "bias"_a = 0, OPT);
    OP0("enhance_detail", imgEnhanceDetail, "3x3 detail enhancement.");
    OP0("enhance_focus", imgEnhanceFocus, "3x3 focus enhancement.");
    OP0("focus_restoration", imgFocusRestoration, "3x3 focus restoration.");
    OP0("edge_detect_light", imgEdgeDetectLight, "3x3 light edge detection.");
    OP0("edge_detect_medium", imgEdgeDetectMedium, "3x3 medium edge detection.");
    OP0("edge_detect_heavy", imgEdgeDetectHeavy, "3x3 heavy edge detection.");
    OP0("emboss", imgEmboss, "3x3 emboss.");
    OP0("emboss_more", imgEmbossMore, "3x3 stronger emboss.");
    OP1("sharpen", imgSharpen, "percentage", "Sharpen, percentage in 0..100.");
    OP1("blur", imgBlur, "percentage", "Blur, percentage in 0..100.");
    OP1("soften", imgSoften, "percentage", "Soften, percentage in 0..100.");
    OP1("average", imgAverage, "filter_size", "Box mean over filter_size x filter_size (2..15); edges repeat the border pixel.");
    OP0("reduce_noise", imgReduceNoise, "Noise reduction.");
    OP1("minimum", imgMinimum, "filter_size", "Minimum over filter_size x filter_size (2..15); edges repeat the border pixel.");
    OP1("maximum", imgMaximum, "filter_size", "Maximum over filter_size x filter_size (2..15); edges repeat the border pixel.");
    OP1("median_box", imgMedianBox, "filter_size", "Median over a filter_size x filter_size square (2..15); edges repeat the border pixel.");
    OP1("median_cross", imgMedianCross, "filter_size", "Median over a cross filter_size wide and high (2..15); edges repeat the border pixel.");
    OP1("gaussian_blur", imgGaussianBlur, "filter_size", "Gaussian blur over filter_size x filter_size (2..25); edges repeat the border pixel.");
    OP1("swap_colors", imgSwapColors, "mode", "Channel swap: 0 RBG, 1 BGR, 2 BRG, 3 GRB, 4 GBR.");
    m.def("get_number_of_colors_used", [](py::object a) {
              Pic p(a);
              IMG_UINT32 n;
              { py::gil_scoped_release nogil; n = imgGetNumberOfColorsUsed(&p.img); }
              if (n == 0xFFFFFFFFu) raise(IMG_ERROR_NO_MEMORY);
              return n; },
          "Number of distinct colours.", "a"_a);
    m.def("adjust_hls", [](py::object a, int h, int l, int s, py::object out) {
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgAdjustHLS(b, d, h, l, s); }); },
          "Hue shift h (100 = a full turn), lightness l and saturation s in percent (-100..100).",
          "a"_a, "h"_a, "l"_a, "s"_a, OPT);
    OP1("sepia", imgSepia, "percent", "Sepia, percent in 0..100.");
    m.def("sepia_ex", [](py::object a, int p, std::vector<int> c, py::object out) {
              IMG_COLOR k = color(c);
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgSepiaEx(b, d, p, &k); }); },
          "Blend towards grey by percent (0..100), tinted towards color (r, g, b).", "a"_a, "percent"_a, "color"_a, OPT);
    m.def("draw_point", [](py::object a, int x, int y, unsigned w, std::vector<int> c, py::object out) {
              IMG_COLOR k = color(c);
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgDrawPointColor(b, x, y, w, &k, d); }); },
          "Point at (x, y), pen width 1..13, colour (r, g, b[, a]).", "a"_a, "x"_a, "y"_a, "width"_a, "color"_a, OPT);
    m.def("draw_line", [](py::object a, int x0, int y0, int x1, int y1, unsigned w, std::vector<int> c, unsigned st, py::object out) {
              IMG_COLOR k = color(c);
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgDrawLineColor(b, x0, y0, x1, y1, w, &k, st, d); }); },
          "Line, pen width 1..13, style 0 solid .. 4 dash-dot-dot.",
          "a"_a, "x0"_a, "y0"_a, "x1"_a, "y1"_a, "width"_a, "color"_a, "style"_a = 0, OPT);
    m.def("draw_polyline", [](py::object a, std::vector<std::pair<int, int>> p, unsigned w, std::vector<int> c, unsigned st, py::object out) {
              IMG_COLOR k = color(c);
              auto v = points(p);
              return run(a, out, [&](IMG_BITMAP *b, IMG_BITMAP **d) { return imgDrawPolylineColor(b, v.data(), static_cast<int>(v.size()), w, &k, st, d); }); },
          "Polyline through [(x, y), ...].", "a"_a, "points"_a, "width"_a, "color"_a, "style"_a = 0, OPT);
    m.def("draw_rectangle", [](py::object a, int x, int y, int wd, int ht, py::object fill, unsigned w, py::object line, unsigned st, py::object out) {
              IMG_COLOR f{}, l{};
              bool hf = !fill.is_none(), hl = !line.is_none();
              if (hf) f = color(fill.cast<std::vector<int>>());
              if (hl) l = color(line.cast<std::vector<int>>());
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgDrawRectangleColor(b, x, y, wd, ht, hf ? &f : nullptr, w, hl ? &l : nullptr, st, d); }); },
          "Rectangle at (x, y) of width x height; fill/line colour or None.",
          "a"_a, "x"_a, "y"_a, "width"_a, "height"_a, "fill"_a = py::none(), "line_width"_a = 1,
          "line"_a = py::none(), "style"_a = 0, OPT);
    m.def("draw_circle", [](py::object a, int x, int y, int r, py::object fill, unsigned w, py::object line, unsigned st, py::object out) {
              IMG_COLOR f{}, l{};
              bool hf = !fill.is_none(), hl = !line.is_none();
              if (hf) f = color(fill.cast<std::vector<int>>());
              if (hl) l = color(line.cast<std::vector<int>>());
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgDrawCircleColor(b, x, y, r, hf ? &f : nullptr, w, hl ? &l : nullptr, st, d); }); },
          "Circle at (x, y) of radius; fill/line colour or None.",
          "a"_a, "x"_a, "y"_a, "radius"_a, "fill"_a = py::none(), "line_width"_a = 1,
          "line"_a = py::none(), "style"_a = 0, OPT);
    m.def("draw_polygon", [](py::object a, std::vector<std::pair<int, int>> p, py::object fill, unsigned w, py::object line, unsigned st, py::object out) {
              IMG_COLOR f{}, l{};
              bool hf = !fill.is_none(), hl = !line.is_none();
              if (hf) f = color(fill.cast<std::vector<int>>());
              if (hl) l = color(line.cast<std::vector<int>>());
              auto v = points(p);
              return run(a, out, [&](IMG_BITMAP *b, IMG_BITMAP **d) { return imgDrawPolygonColor(b, v.data(), static_cast<int>(v.size()), hf ? &f : nullptr, w, hl ? &l : nullptr, st, d); }); },
          "Polygon through [(x, y), ...]; fill/line colour or None.",
          "a"_a, "points"_a, "fill"_a = py::none(), "line_width"_a = 1, "line"_a = py::none(), "style"_a = 0, OPT);
    m.def("load", [](const std::string &path) {
              IMG_BITMAP *d = nullptr;
              IMG_ERROR e;
              { py::gil_scoped_release nogil; e = imgLoadBitmap(path.c_str(), &d); }
              if (e != IMG_NO_ERROR || !d) { if (d) imgFreeBitmap(d); raise(e ? e : IMG_UNKNOWN_ERROR); }
              py::capsule owner(d, [](void *q) { imgFreeBitmap(static_cast<IMG_BITMAP *>(q)); });
              if (d->BitsPerComponent != 8) raise(IMG_ERROR_UNKNOWN_FORMAT);
              if (d->Type == IMG_BGR || d->Type == IMG_BGRA) {  // to R, G, B order in its own buffer
                  const int c = d->BytesPerPixel;
                  for (int y = 0; y < d->Height; ++y)
                      for (uint8_t *q = d->Data + static_cast<size_t>(y) * d->BytesPerLine, *e2 = q + d->Width * c; q < e2; q += c)
                          std::swap(q[0], q[2]);
                  d->Type = d->Type == IMG_BGR ? IMG_RGB : IMG_RGBA;
              }
              return view(d->Type, d->Width, d->Height, d->BytesPerLine, d->Origin, d->Data,
                          reinterpret_cast<const IMF_COLORMAP *>(d->ColorMap), d->ColorUsed, owner); },
          "Loads a picture file (JPEG, PNG, PNM, ...) as an H x W, H x W x 3 or H x W x 4 uint8 array\n"
          "(R, G, B order), or a palette file as a pair (indices H x W, palette N x 3).", "path"_a);
    m.def("save", [](const std::string &path, py::object a, int quality, int subsampling, bool progressive) {
              Pic p(a);
              IMG_SAVE_OPTIONS o;
              std::memset(&o, 0, sizeof o);
              o.Quality = quality;
              o.Subsampling = subsampling;
              o.Progressive = progressive;
              IMG_ERROR e;
              { py::gil_scoped_release nogil; e = imgSaveBitmap(path.c_str(), &p.img, &o); }
              if (e != IMG_NO_ERROR) raise(e); },
          "Saves the array to path in the format of its extension; JPEG quality 1..100 (0 = 90), "
          "subsampling 444, 422 or 420 (0 = 420), progressive.",
          "path"_a, "a"_a, "quality"_a = 0, "subsampling"_a = 0, "progressive"_a = false);
    bind_processing(m);
}
