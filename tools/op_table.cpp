#include "op_table.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <sstream>

#include "libtools.h"

namespace imge {
namespace tool {

namespace {

// The sixteen basic colours of CSS (green is CSS's dark green; lime is
// full green), grey in both spellings, and three more in common use.
const struct {
    const char *name;
    int r, g, b;
} kNamedColours[] = {
    {"black", 0, 0, 0},       {"silver", 192, 192, 192}, {"gray", 128, 128, 128},  {"grey", 128, 128, 128},
    {"white", 255, 255, 255}, {"maroon", 128, 0, 0},     {"red", 255, 0, 0},       {"purple", 128, 0, 128},
    {"fuchsia", 255, 0, 255}, {"green", 0, 128, 0},      {"lime", 0, 255, 0},      {"olive", 128, 128, 0},
    {"yellow", 255, 255, 0},  {"navy", 0, 0, 128},       {"blue", 0, 0, 255},      {"teal", 0, 128, 128},
    {"aqua", 0, 255, 255},    {"cyan", 0, 255, 255},     {"magenta", 255, 0, 255}, {"orange", 255, 128, 0},
};

}  // namespace

// ---- Rows ----------------------------------------------------------------------

Param IntP(const std::string &name, long def, long min, long max, const std::string &help) {
    return Param{name, Kind::Int, std::to_string(def), static_cast<double>(min), static_cast<double>(max), help, ""};
}

Param RealP(const std::string &name, double def, double min, double max, const std::string &help) {
    std::ostringstream s;
    s << def;
    return Param{name, Kind::Real, s.str(), min, max, help, ""};
}

Param ChoiceP(const std::string &name, const std::string &def, const std::string &choices,
              const std::string &help) {
    return Param{name, Kind::Choice, def, 0, 0, help, choices};
}

Param ColorP(const std::string &name, const std::string &def, const std::string &help) {
    return Param{name, Kind::Color, def, 0, 0, help, ""};
}

Param PointsP(const std::string &name, const std::string &def, int min_points, const std::string &help) {
    return Param{name, Kind::Points, def, static_cast<double>(min_points), 0, help, ""};
}

Param IntsP(const std::string &name, const std::string &def, long min, long max, const std::string &help) {
    return Param{name, Kind::Ints, def, static_cast<double>(min), static_cast<double>(max), help, ""};
}

Param FlagP(const std::string &name, const std::string &help) {
    return Param{name, Kind::Flag, "", 0, 0, help, ""};
}

Param Required(Param p) {
    p.def.clear();
    return p;
}

Op Public(const std::string &name, const std::string &summary, std::vector<Param> params, PublicCall call,
          const std::string &demo) {
    Op op;
    op.name = name;
    op.summary = summary;
    op.params = std::move(params);
    op.pub = std::move(call);
    op.demo = demo;
    return op;
}

Op Processing(const std::string &name, const std::string &summary, std::vector<Param> params,
              ProcessingCall call, const std::string &demo) {
    Op op;
    op.name = name;
    op.summary = summary;
    op.params = std::move(params);
    op.imf = std::move(call);
    op.demo = demo;
    return op;
}

Op Report(const std::string &name, const std::string &summary, std::vector<Param> params, ReportCall call,
          const std::string &demo) {
    Op op;
    op.name = name;
    op.summary = summary;
    op.params = std::move(params);
    op.report = std::move(call);
    op.demo = demo;
    return op;
}

Op FileOp(const std::string &name, const std::string &summary, std::vector<Param> params, FileCall call,
          const std::string &demo) {
    Op op;
    op.name = name;
    op.summary = summary;
    op.params = std::move(params);
    op.file = std::move(call);
    op.demo = demo;
    return op;
}

Op WithCheck(Op op, std::function<void(const Args &)> check) {
    op.check = std::move(check);
    return op;
}

Op TrueColour(Op op) {
    op.true_colour = true;
    return op;
}

Op OneAtATime(Op op) {
    op.one_at_a_time = true;
    return op;
}

namespace {

void AddFamily(std::vector<Op> &all, const char *family, std::vector<Op> rows) {
    for (Op &op : rows) {
        op.family = family;
        all.push_back(std::move(op));
    }
}

}  // namespace

const std::vector<Op> &AllOps() {
    static const std::vector<Op> all = [] {
        std::vector<Op> v;
        // One line per family file.
        AddFamily(v, "files", InfoOps());
        AddFamily(v, "tone", LutOps());
        AddFamily(v, "tone", ToneOps());
        AddFamily(v, "filters", FilterOps());
        AddFamily(v, "rank", RankOps());
        AddFamily(v, "colour", ColourOps());
        AddFamily(v, "draw", DrawOps());
        AddFamily(v, "geometry", GeometryOps());
        AddFamily(v, "jpeg", JpegOps());
        return v;
    }();
    return all;
}

const Op *FindOp(const std::string &name) {
    for (const Op &op : AllOps())
        if (op.name == name) return &op;
    return nullptr;
}

const Value &Args::Get(const std::string &name) const {
    auto it = values.find(name);
    if (it == values.end()) throw ToolError{"internal: no parameter --" + name};
    return it->second;
}

// ---- Values ----------------------------------------------------------------------

namespace {

std::string Format(double v) {
    std::ostringstream s;
    s << v;
    return s.str();
}

[[noreturn]] void Bad(const Param &p, const std::string &text, const std::string &why) {
    throw ToolError{"--" + p.name + " '" + text + "': " + why};
}

bool ParseLong(const std::string &s, long *out) {
    if (s.empty()) return false;
    errno = 0;
    char *end = nullptr;
    const long v = std::strtol(s.c_str(), &end, 10);
    if (errno || *end) return false;
    *out = v;
    return true;
}

std::vector<std::string> Split(const std::string &s, const char *separators) {
    std::vector<std::string> parts;
    std::string cur;
    for (char c : s) {
        if (std::strchr(separators, c)) {
            if (!cur.empty()) parts.push_back(cur);
            cur.clear();
        } else {
            cur += c;
        }
    }
    if (!cur.empty()) parts.push_back(cur);
    return parts;
}

long CheckedInt(const Param &p, const std::string &text, const std::string &item) {
    long v;
    if (!ParseLong(item, &v)) Bad(p, text, "'" + item + "' is not a whole number");
    if (v < p.min || v > p.max)
        Bad(p, text, item + " is out of range (" + Format(p.min) + " to " + Format(p.max) + ")");
    return v;
}

int Hex(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

IMG_COLOR ParseColor(const Param &p, const std::string &text) {
    IMG_COLOR c{0, 0, 0, 255};
    std::string lower = text;
    for (char &ch : lower)
        if (ch >= 'A' && ch <= 'Z') ch = static_cast<char>(ch - 'A' + 'a');
    for (const auto &n : kNamedColours)
        if (lower == n.name) {
            c.Red = static_cast<IMG_UINT16>(n.r);
            c.Green = static_cast<IMG_UINT16>(n.g);
            c.Blue = static_cast<IMG_UINT16>(n.b);
            return c;
        }
    int v[4] = {0, 0, 0, 255};
    if (!text.empty() && text[0] == '#') {
        const size_t n = text.size() - 1;
        if (n != 6 && n != 8) Bad(p, text, "expected #rrggbb or #rrggbbaa");
        for (size_t i = 0; i < n / 2; ++i) {
            const int hi = Hex(text[1 + 2 * i]), lo = Hex(text[2 + 2 * i]);
            if (hi < 0 || lo < 0) Bad(p, text, "expected hexadecimal digits after #");
            v[i] = hi * 16 + lo;
        }
    } else {
        const std::vector<std::string> parts = Split(text, ",");
        if (parts.size() != 3 && parts.size() != 4)
            Bad(p, text, "expected #rrggbb, r,g,b, r,g,b,a or a colour name");
        for (size_t i = 0; i < parts.size(); ++i) {
            long x;
            if (!ParseLong(parts[i], &x)) Bad(p, text, "'" + parts[i] + "' is not a whole number");
            if (x < 0 || x > 255) Bad(p, text, parts[i] + " is out of range (0 to 255)");
            v[i] = static_cast<int>(x);
        }
    }
    c.Red = static_cast<IMG_UINT16>(v[0]);
    c.Green = static_cast<IMG_UINT16>(v[1]);
    c.Blue = static_cast<IMG_UINT16>(v[2]);
    c.Alpha = static_cast<IMG_UINT16>(v[3]);
    return c;
}

Value ParseValue(const Param &p, const std::string &text) {
    Value v;
    v.text = text;
    switch (p.kind) {
    case Kind::Int: v.i = CheckedInt(p, text, text); break;
    case Kind::Real: {
        errno = 0;
        char *end = nullptr;
        v.d = std::strtod(text.c_str(), &end);
        if (text.empty() || errno || *end || !std::isfinite(v.d)) Bad(p, text, "not a number");
        if (v.d < p.min || v.d > p.max)
            Bad(p, text, "out of range (" + Format(p.min) + " to " + Format(p.max) + ")");
        break;
    }
    case Kind::Choice: {
        std::string words;
        for (const std::string &choice : Split(p.choices, "|")) {
            const size_t eq = choice.find('=');
            const std::string word = choice.substr(0, eq);
            if (word == text) {
                v.i = eq == std::string::npos ? 0 : std::strtol(choice.c_str() + eq + 1, nullptr, 10);
                return v;
            }
            words += (words.empty() ? "" : ", ") + word;
        }
        Bad(p, text, "expected one of " + words);
    }
    case Kind::Color:
        if (text == "none") v.none = true;
        else v.color = ParseColor(p, text);
        break;
    case Kind::Points: {
        for (const std::string &pt : Split(text, " ;")) {
            const std::vector<std::string> xy = Split(pt, ",");
            long x, y;
            if (xy.size() != 2 || !ParseLong(xy[0], &x) || !ParseLong(xy[1], &y))
                Bad(p, text, "'" + pt + "' is not a point x,y");
            if (std::labs(x) > 1000000 || std::labs(y) > 1000000)
                Bad(p, text, pt + " is out of range (coordinates within +-1000000)");
            v.points.push_back(IMG_POINT{static_cast<IMG_INT32>(x), static_cast<IMG_INT32>(y)});
        }
        if (v.points.size() < static_cast<size_t>(p.min))
            Bad(p, text, "needs at least " + Format(p.min) + " points");
        break;
    }
    case Kind::Ints:
        for (const std::string &item : Split(text, ", ")) v.ints.push_back(CheckedInt(p, text, item));
        if (v.ints.empty()) Bad(p, text, "needs at least one number");
        break;
    case Kind::Flag: v.i = text == "1"; break;
    case Kind::Text: break;
    }
    return v;
}

}  // namespace

Args ParseArgs(const Op &op, const std::map<std::string, std::string> &given) {
    Args args;
    for (const auto &g : given) {
        bool known = false;
        for (const Param &p : op.params) known = known || p.name == g.first;
        if (!known) throw ToolError{op.name + " has no option --" + g.first + " (see imge " + op.name + " --help)"};
    }
    for (const Param &p : op.params) {
        auto it = given.find(p.name);
        if (it != given.end()) {
            args.values[p.name] = ParseValue(p, it->second);
        } else if (p.kind == Kind::Flag) {
            args.values[p.name] = Value{};
        } else if (p.def.empty()) {
            throw ToolError{op.name + " needs --" + p.name + " (" + p.help + ")"};
        } else {
            args.values[p.name] = ParseValue(p, p.def);
        }
    }
    if (op.check) op.check(args);
    return args;
}

// ---- Running ---------------------------------------------------------------------

std::string ImfErrorText(IMF_ERROR code) {
    switch (code) {
    case IMF_NOERROR: return "no error";
    case IMF_ERRMEMORY: return "out of memory";
    case IMF_ERRBADPARAMS: return "refused: parameter or area not accepted";
    case IMF_ERRBADBITMAP: return "refused: the operation does not handle this bitmap type";
    default: return "failed with code " + std::to_string(code);
    }
}

std::string ImgErrorText(IMG_ERROR code) {
    switch (code) {
    case IMG_NO_ERROR: return "no error";
    case IMG_ERROR_NO_MEMORY: return "out of memory";
    case IMG_ERROR_BAD_PARAMETERS: return "refused: the operation does not handle this bitmap or these parameters";
    default: return "failed with code " + std::to_string(code);
    }
}

namespace {

Image RunOnce(const Op &op, const Args &args, IMG_BITMAP &src) {
    const std::string type = std::string(" (") + TypeName(src.Type) + " bitmap)";
    if (op.pub) {
        IMG_BITMAP *dst = nullptr;
        const IMG_ERROR rc = op.pub(args, &src, &dst);
        if (rc != IMG_NO_ERROR) {
            if (dst && dst != &src) imgFreeBitmap(dst);
            throw ToolError{op.name + ": " + ImgErrorText(rc) + type};
        }
        if (!dst || dst == &src) throw ToolError{op.name + ": no result"};
        return Image(dst);
    }
    if (op.imf) {
        IMF_BITMAP view = ImfView(src), out;
        std::memset(&out, 0, sizeof out);
        const IMF_ERROR rc = op.imf(args, &view, &out);
        if (rc != IMF_NOERROR) {
            imfFree(&out);
            throw ToolError{op.name + ": " + ImfErrorText(rc) + type};
        }
        return AdoptImf(out);
    }
    throw ToolError{op.name + " does not make an image"};
}

}  // namespace

Image RunImageOp(const Op &op, const Args &args, IMG_BITMAP &src) {
    static std::mutex one_at_a_time;
    std::unique_lock<std::mutex> lock(one_at_a_time, std::defer_lock);
    if (op.one_at_a_time) lock.lock();
    const bool few_colours = src.Type == IMG_GREY || src.Type == IMG_COLORS || src.Type == IMG_BINARY;
    if (!op.true_colour || !few_colours) return RunOnce(op, args, src);
    try {
        return RunOnce(op, args, src);
    } catch (const ToolError &) {
        // Refused: the picture as RGB; a grey picture that the operation
        // left grey is given back as grey.
        Image rgb = ToRgb(src);
        Image result = RunOnce(op, args, *rgb);
        return src.Type == IMG_GREY ? GreyIfNeutral(std::move(result)) : std::move(result);
    }
}

std::string ColourNames() {
    std::string s;
    for (const auto &n : kNamedColours) s += std::string(s.empty() ? "" : ", ") + n.name;
    return s;
}

}  // namespace tool
}  // namespace imge
