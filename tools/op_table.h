// The operation table: one row per subcommand. A row names the operation,
// says what it does, lists its parameters (name, kind, default, range, help)
// and holds the call. Help, argument checking, the batch runner and the demo
// are all driven by the rows; each family of operations keeps its rows in
// its own file (ops_<family>.cpp). A parameter's value reaches the call
// through Args, already parsed and checked.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "image.h"
#include "libformat.h"
#include "libimge.h"

namespace imge {
namespace tool {

enum class Kind {
    Int,     // whole number in [min, max]
    Real,    // number in [min, max]
    Choice,  // one of the words in `choices` ("90=1|180=2|270=3": word=value)
    Color,   // "#rrggbb", "#rrggbbaa", "r,g,b[,a]", a name, or "none"
    Points,  // "x,y x,y ..." (at least `min` points)
    Ints,    // "a,b,c,..." whole numbers in [min, max]
    Flag,    // present or not
    Text,    // any text (file names)
};

struct Param {
    std::string name;     // without the leading "--"
    Kind kind;
    std::string def;      // default as it would be typed; empty: required
    double min = 0, max = 0;
    std::string help;
    std::string choices;  // Kind::Choice only
};

// Parsed values by parameter name.
struct Value {
    long i = 0;
    double d = 0;
    IMG_COLOR color{};
    std::vector<IMG_POINT> points;
    std::vector<long> ints;
    std::string text;
    bool none = false;  // Kind::Color: "none"
};

class Args {
  public:
    long Int(const std::string &name) const { return Get(name).i; }
    double Real(const std::string &name) const { return Get(name).d; }
    bool Flag(const std::string &name) const { return Get(name).i != 0; }
    const IMG_COLOR &Color(const std::string &name) const { return Get(name).color; }
    // Null when the colour was given as "none" (not drawn).
    const IMG_COLOR *ColorOrNull(const std::string &name) const {
        const Value &v = Get(name);
        return v.none ? nullptr : &v.color;
    }
    const std::vector<IMG_POINT> &Points(const std::string &name) const { return Get(name).points; }
    const std::vector<long> &Ints(const std::string &name) const { return Get(name).ints; }
    const std::string &Text(const std::string &name) const { return Get(name).text; }
    std::map<std::string, Value> values;

  private:
    const Value &Get(const std::string &name) const;
};

using PublicCall = std::function<IMG_ERROR(const Args &, IMG_BITMAP *src, IMG_BITMAP **dst)>;
using ProcessingCall = std::function<IMF_ERROR(const Args &, IMF_BITMAP *src, IMF_BITMAP *dst)>;
// Reports print what they find about a bitmap (a count, a histogram).
using ReportCall = std::function<std::string(const Args &, const IMG_BITMAP &src)>;
// File operations rewrite a file in place (lossless JPEG); return an error
// text, empty on success.
using FileCall = std::function<std::string(const Args &, const std::string &path)>;

struct Op {
    std::string name;
    std::string family;
    std::string summary;
    std::vector<Param> params;
    PublicCall pub;
    ProcessingCall imf;
    ReportCall report;
    FileCall file;
    std::string demo;  // extra arguments for `imge demo` ("--amount 40")
    // Checks that span parameters, run before any file is touched; throws
    // ToolError.
    std::function<void(const Args &)> check;
    // The library takes only true colour here: a grey, palette or
    // black-and-white picture that it refuses is converted to RGB first.
    bool true_colour = false;
    // The call uses process-wide state (the noise functions reseed the C
    // library's generator): RunImageOp runs such rows one at a time.
    bool one_at_a_time = false;
};

// ---- Row helpers: one line per parameter ------------------------------------
Param IntP(const std::string &name, long def, long min, long max, const std::string &help);
Param RealP(const std::string &name, double def, double min, double max, const std::string &help);
Param ChoiceP(const std::string &name, const std::string &def, const std::string &choices,
              const std::string &help);
Param ColorP(const std::string &name, const std::string &def, const std::string &help);
Param PointsP(const std::string &name, const std::string &def, int min_points, const std::string &help);
Param IntsP(const std::string &name, const std::string &def, long min, long max, const std::string &help);
Param FlagP(const std::string &name, const std::string &help);
// The parameter without a default: it must be given.
Param Required(Param p);

// ---- Row helpers: one line per operation ------------------------------------
Op Public(const std::string &name, const std::string &summary, std::vector<Param> params, PublicCall call,
          const std::string &demo = "");
Op Processing(const std::string &name, const std::string &summary, std::vector<Param> params,
              ProcessingCall call, const std::string &demo = "");
Op Report(const std::string &name, const std::string &summary, std::vector<Param> params, ReportCall call,
          const std::string &demo = "");
Op FileOp(const std::string &name, const std::string &summary, std::vector<Param> params, FileCall call,
          const std::string &demo = "");
// The row with a check across its parameters.
Op WithCheck(Op op, std::function<void(const Args &)> check);
// The colour names that colour parameters take, comma-separated.
std::string ColourNames();
// The row of an operation that the library accepts on true colour only.
Op TrueColour(Op op);
// The row of an operation that must not run on two threads at once.
Op OneAtATime(Op op);

// ---- The families (one file each) ---------------------------------------------
std::vector<Op> InfoOps();
std::vector<Op> LutOps();
std::vector<Op> ToneOps();
std::vector<Op> FilterOps();
std::vector<Op> RankOps();
std::vector<Op> ColourOps();
std::vector<Op> DrawOps();
std::vector<Op> GeometryOps();
std::vector<Op> JpegOps();

// Every row, in family order; Find returns null for an unknown name.
const std::vector<Op> &AllOps();
const Op *FindOp(const std::string &name);

// Parses the values given on the command line (name -> text) with the
// defaults of the row; ToolError on an unknown, malformed or out-of-range
// value or a missing required one.
Args ParseArgs(const Op &op, const std::map<std::string, std::string> &given);

// Runs an image operation on `src`: a new bitmap, or ToolError with the reason.
Image RunImageOp(const Op &op, const Args &args, IMG_BITMAP &src);

// The processing layer's and the public layer's result codes in words.
std::string ImfErrorText(IMF_ERROR code);
std::string ImgErrorText(IMG_ERROR code);

}  // namespace tool
}  // namespace imge
