// Python face of libimge: NumPy uint8 arrays wrapped as bitmaps without a copy.
#include <pybind11/eval.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

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

using U8 = py::array_t<uint8_t>;

// A bitmap record over the array's rows; TypeError for anything but uint8
// H x W, H x W x 3 or H x W x 4 with contiguous pixels.
IMG_BITMAP wrap(const py::array &a) {
    if (!py::isinstance<U8>(a) || a.dtype().kind() != 'u' || a.itemsize() != 1)
        throw py::type_error("imge: pictures are uint8 arrays");
    const int nd = static_cast<int>(a.ndim());
    const int comps = nd == 2 ? 1 : nd == 3 ? static_cast<int>(a.shape(2)) : 0;
    if (comps != 1 && comps != 3 && comps != 4)
        throw py::type_error("imge: pictures are H x W (grey), H x W x 3 (RGB) or H x W x 4 (RGBA) arrays");
    if ((nd == 3 && a.strides(2) != 1) || a.strides(1) != comps || a.strides(0) < a.shape(1) * comps)
        throw py::type_error("imge: the pixels of a row must be contiguous and rows must go forward");
    if (a.shape(0) < 1 || a.shape(1) < 1)
        throw py::type_error("imge: empty picture");
    IMG_BITMAP b;
    std::memset(&b, 0, sizeof b);
    b.Type = comps == 1 ? IMG_GREY : comps == 3 ? IMG_RGB : IMG_RGBA;
    b.Origin = IMG_TOP_LEFT;
    b.Width = static_cast<IMG_INT32>(a.shape(1));
    b.Height = static_cast<IMG_INT32>(a.shape(0));
    b.BytesPerLine = static_cast<IMG_UINT32>(a.strides(0));
    b.BitsPerComponent = 8;
    b.ComponentsPerPixel = static_cast<IMG_UINT16>(comps);
    b.BytesPerPixel = static_cast<IMG_UINT16>(comps);
    b.Xdpi = b.Ydpi = 72;
    b.TransparentIndex = -1;
    b.Data = static_cast<IMG_UINT8 *>(const_cast<void *>(a.data()));
    return b;
}

// Runs op on a bitmap over `a` into a new bitmap and copies that into a new
// array, or into `out` (which may be `a`) when it has the result's shape: a
// refused call leaves everything unchanged.
template <class F> py::array run(py::array a, py::object out, F op) {
    IMG_BITMAP b = wrap(a);
    IMG_BITMAP *d = nullptr;
    IMG_ERROR e;
    {
        py::gil_scoped_release nogil;
        e = op(&b, &d);
    }
    if (e != IMG_NO_ERROR || !d) {
        if (d) imgFreeBitmap(d);
        raise(e != IMG_NO_ERROR ? e : IMG_UNKNOWN_ERROR);
    }
    std::unique_ptr<IMG_BITMAP, void (*)(IMG_BITMAP *)> hold(d, imgFreeBitmap);
    const int c = d->BytesPerPixel;
    std::vector<py::ssize_t> shape{d->Height, d->Width};
    if (c != 1) shape.push_back(c);
    py::array target;
    if (out.is_none()) {
        target = py::array(py::dtype::of<uint8_t>(), shape);
    } else {
        target = out.cast<py::array>();
        wrap(target);
        if (!target.writeable() || target.ndim() != static_cast<py::ssize_t>(shape.size()) ||
            !std::equal(shape.begin(), shape.end(), target.shape()))
            throw py::type_error("imge: out must be a writeable array of the result's shape");
    }
    IMG_BITMAP t = wrap(target);
    {
        py::gil_scoped_release nogil;
        for (int y = 0; y < d->Height; ++y) {
            const int sy = (d->Origin & IMG_BOTTOM) ? d->Height - 1 - y : y;
            std::memcpy(t.Data + static_cast<size_t>(y) * t.BytesPerLine,
                        d->Data + static_cast<size_t>(sy) * d->BytesPerLine, static_cast<size_t>(d->Width) * c);
        }
    }
    return target;
}

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

}  // namespace

#define OPT py::arg("out") = py::none()
// Operation without parameters.
#define OP0(name, fn, doc) \
    m.def(name, [](py::array a, py::object out) { return run(a, out, [](IMG_BITMAP *b, IMG_BITMAP **d) { return fn(b, d); }); }, \
          doc, "a"_a, OPT)
// Operation with one integer parameter.
#define OP1(name, fn, p, doc) \
    m.def(name, [](py::array a, int v, py::object out) { return run(a, out, [v](IMG_BITMAP *b, IMG_BITMAP **d) { return fn(b, d, v); }); }, \
          doc, "a"_a, py::arg(p), OPT)

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
    OP1("brightness", imgBrightness, "brightness", "Brightness shift, brightness in -100..100 (percent).");
    OP1("contrast", imgContrast, "contrast", "Contrast change, contrast in -100..100 (percent).");
    m.def("gamma", [](py::array a, double g, py::object out) { return run(a, out, [g](IMG_BITMAP *b, IMG_BITMAP **d) { return imgGamma(b, d, g); }); },
          "Gamma correction, gamma in 0.01..10 (1 = unchanged).", "a"_a, "gamma"_a, OPT);
    OP0("log_correction", imgLogCorrection, "Logarithmic tone correction.");
    m.def("adjust", [](py::array a, int br, int co, double g, py::object out) {
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgAdjust(b, d, br, co, g); }); },
          "Brightness (-100..100), contrast (-100..100) and gamma (0.01..10) in one pass.",
          "a"_a, "brightness"_a, "contrast"_a, "gamma"_a, OPT);
    OP0("normalize", imgNormalize, "Stretches the range of the picture to 0..255.");
    OP0("equalize", imgEqualize, "Histogram equalisation of each channel.");
    OP0("equalize_on_luminance", imgEqualizeOnLuminance, "Histogram equalisation on the luminance.");
    OP0("automatic_contrast", imgAutomaticContrast, "Automatic contrast.");
    OP0("automatic_levels", imgAutomaticLevels, "Automatic levels.");
    m.def("balance", [](py::array a, std::vector<int> c, py::object out) {
              IMG_COLOR k = color(c);
              return run(a, out, [k](IMG_BITMAP *b, IMG_BITMAP **d) { return imgBalance(b, d, &k); }); },
          "Colour balance towards colour (r, g, b), components 0..255.", "a"_a, "color"_a, OPT);
    m.def("convolve", [](py::array a, std::vector<std::vector<int>> k, int divisor, int bias, py::object out) {
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
    OP1("average", imgAverage, "filter_size", "Box mean over filter_size x filter_size (2..31); edges repeat the border pixel.");
    OP0("reduce_noise", imgReduceNoise, "Noise reduction.");
    OP1("minimum", imgMinimum, "filter_size", "Minimum over filter_size x filter_size (2..31); edges repeat the border pixel.");
    OP1("maximum", imgMaximum, "filter_size", "Maximum over filter_size x filter_size (2..31); edges repeat the border pixel.");
    OP1("median_box", imgMedianBox, "filter_size", "Median over a filter_size square (2..31).");
    OP1("median_cross", imgMedianCross, "filter_size", "Median over a filter_size cross (2..31).");
    OP1("gaussian_blur", imgGaussianBlur, "filter_size", "Gaussian blur over filter_size x filter_size (2..31).");
    OP1("swap_colors", imgSwapColors, "mode", "Channel swap: 0 RBG, 1 BGR, 2 BRG, 3 GRB, 4 GBR.");
    m.def("get_number_of_colors_used", [](py::array a) {
              IMG_BITMAP b = wrap(a);
              IMG_UINT32 n;
              { py::gil_scoped_release nogil; n = imgGetNumberOfColorsUsed(&b); }
              if (n == 0xFFFFFFFFu) raise(IMG_ERROR_NO_MEMORY);
              return n; },
          "Number of distinct colours.", "a"_a);
    m.def("adjust_hls", [](py::array a, int h, int l, int s, py::object out) {
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgAdjustHLS(b, d, h, l, s); }); },
          "Hue shift h (100 = a full turn), lightness l and saturation s in percent (-100..100).",
          "a"_a, "h"_a, "l"_a, "s"_a, OPT);
    OP1("sepia", imgSepia, "percent", "Sepia, percent in 0..100.");
    m.def("sepia_ex", [](py::array a, int p, std::vector<int> c, py::object out) {
              IMG_COLOR k = color(c);
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgSepiaEx(b, d, p, &k); }); },
          "Blend towards grey by percent (0..100), tinted towards color (r, g, b).", "a"_a, "percent"_a, "color"_a, OPT);
    m.def("draw_point", [](py::array a, int x, int y, unsigned w, std::vector<int> c, py::object out) {
              IMG_COLOR k = color(c);
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgDrawPointColor(b, x, y, w, &k, d); }); },
          "Point at (x, y), pen width 1..13, colour (r, g, b[, a]).", "a"_a, "x"_a, "y"_a, "width"_a, "color"_a, OPT);
    m.def("draw_line", [](py::array a, int x0, int y0, int x1, int y1, unsigned w, std::vector<int> c, unsigned st, py::object out) {
              IMG_COLOR k = color(c);
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgDrawLineColor(b, x0, y0, x1, y1, w, &k, st, d); }); },
          "Line, pen width 1..13, style 0 solid .. 4 dash-dot-dot.",
          "a"_a, "x0"_a, "y0"_a, "x1"_a, "y1"_a, "width"_a, "color"_a, "style"_a = 0, OPT);
    m.def("draw_polyline", [](py::array a, std::vector<std::pair<int, int>> p, unsigned w, std::vector<int> c, unsigned st, py::object out) {
              IMG_COLOR k = color(c);
              auto v = points(p);
              return run(a, out, [&](IMG_BITMAP *b, IMG_BITMAP **d) { return imgDrawPolylineColor(b, v.data(), static_cast<int>(v.size()), w, &k, st, d); }); },
          "Polyline through [(x, y), ...].", "a"_a, "points"_a, "width"_a, "color"_a, "style"_a = 0, OPT);
    m.def("draw_rectangle", [](py::array a, int x, int y, int wd, int ht, py::object fill, unsigned w, py::object line, unsigned st, py::object out) {
              IMG_COLOR f{}, l{};
              bool hf = !fill.is_none(), hl = !line.is_none();
              if (hf) f = color(fill.cast<std::vector<int>>());
              if (hl) l = color(line.cast<std::vector<int>>());
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgDrawRectangleColor(b, x, y, wd, ht, hf ? &f : nullptr, w, hl ? &l : nullptr, st, d); }); },
          "Rectangle at (x, y) of width x height; fill/line colour or None.",
          "a"_a, "x"_a, "y"_a, "width"_a, "height"_a, "fill"_a = py::none(), "line_width"_a = 1,
          "line"_a = py::none(), "style"_a = 0, OPT);
    m.def("draw_circle", [](py::array a, int x, int y, int r, py::object fill, unsigned w, py::object line, unsigned st, py::object out) {
              IMG_COLOR f{}, l{};
              bool hf = !fill.is_none(), hl = !line.is_none();
              if (hf) f = color(fill.cast<std::vector<int>>());
              if (hl) l = color(line.cast<std::vector<int>>());
              return run(a, out, [=](IMG_BITMAP *b, IMG_BITMAP **d) { return imgDrawCircleColor(b, x, y, r, hf ? &f : nullptr, w, hl ? &l : nullptr, st, d); }); },
          "Circle at (x, y) of radius; fill/line colour or None.",
          "a"_a, "x"_a, "y"_a, "radius"_a, "fill"_a = py::none(), "line_width"_a = 1,
          "line"_a = py::none(), "style"_a = 0, OPT);
    m.def("draw_polygon", [](py::array a, std::vector<std::pair<int, int>> p, py::object fill, unsigned w, py::object line, unsigned st, py::object out) {
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
              std::unique_ptr<IMG_BITMAP, void (*)(IMG_BITMAP *)> hold(d, imgFreeBitmap);
              const int c = d->Type == IMG_GREY ? 1 : (d->Type & (IMG_RGB | IMG_BGR)) ? 3 : (d->Type & (IMG_RGBA | IMG_BGRA)) ? 4 : 0;
              if (!c || d->BitsPerComponent != 8) raise(IMG_ERROR_UNKNOWN_FORMAT);
              std::vector<py::ssize_t> shape{d->Height, d->Width};
              if (c != 1) shape.push_back(c);
              py::array_t<uint8_t> r(shape);
              uint8_t *o = r.mutable_data();
              const bool bgr = d->Type & (IMG_BGR | IMG_BGRA);
              for (int y = 0; y < d->Height; ++y) {
                  const int sy = (d->Origin & IMG_BOTTOM) ? d->Height - 1 - y : y;
                  const uint8_t *row = d->Data + static_cast<size_t>(sy) * d->BytesPerLine;
                  uint8_t *dst = o + static_cast<size_t>(y) * d->Width * c;
                  std::memcpy(dst, row, static_cast<size_t>(d->Width) * c);
                  if (bgr) for (int x = 0; x < d->Width; ++x) std::swap(dst[x * c], dst[x * c + 2]);
              }
              return r; },
          "Loads a picture file (JPEG, PNG, PNM, ...) as an H x W, H x W x 3 or H x W x 4 uint8 array.", "path"_a);
    m.def("save", [](const std::string &path, py::array a, int quality, int subsampling, bool progressive) {
              IMG_BITMAP b = wrap(a);
              IMG_SAVE_OPTIONS o;
              std::memset(&o, 0, sizeof o);
              o.Quality = quality;
              o.Subsampling = subsampling;
              o.Progressive = progressive;
              IMG_ERROR e;
              { py::gil_scoped_release nogil; e = imgSaveBitmap(path.c_str(), &b, &o); }
              if (e != IMG_NO_ERROR) raise(e); },
          "Saves the array to path in the format of its extension; JPEG quality 1..100 (0 = 90), "
          "subsampling 444, 422 or 420 (0 = 420), progressive.",
          "path"_a, "a"_a, "quality"_a = 0, "subsampling"_a = 0, "progressive"_a = false);
    m.def("jpeg_lossless_transform", [](const std::string &path, int transform) {
              IMG_ERROR e;
              { py::gil_scoped_release nogil; e = imgJpegLosslessTransform(path.c_str(), static_cast<IMG_LOSSLESS_TRANSFORM>(transform)); }
              if (e != IMG_NO_ERROR) raise(e); },
          "Lossless transform of a JPEG file in place: 0 none, 1 rotate 90, 2 rotate 180, 3 rotate 270, "
          "4 vertical flip, 5 horizontal flip, 6 by its EXIF orientation.", "path"_a, "transform"_a);
}
