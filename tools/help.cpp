// Help texts, generated from the operation table.
#include <sstream>

#include "cli.h"

namespace imge {
namespace tool {

namespace {

const char kCommonHelp[] =
    "Common options:\n"
    "  -o, --output PATH   output file (one input) or folder (several inputs, or an\n"
    "                      existing folder, or a name ending in /; made when\n"
    "                      missing); - writes the result to standard output.\n"
    "                      Without -o each result is written beside its input as\n"
    "                      NAME-OPERATION.EXT (NAME-OP1+OP2.EXT for a pipeline)\n"
    "  --in-place          let results replace their inputs; without -o each input\n"
    "                      is replaced by its result. Without it a run that would\n"
    "                      overwrite an input is refused before any work\n"
    "  -j, --jobs N        files worked on at once (default: one per core); the\n"
    "                      results are the same for every N\n"
    "  --format FORMAT     png, jpeg or pnm: format of results written into a\n"
    "                      folder, beside the input or to standard output\n"
    "                      (default: the input's)\n"
    "  --quality N         JPEG quality, 1 to 100 (default 90)\n"
    "  --subsampling S     JPEG chroma sampling 444, 422 or 420 (default: the\n"
    "                      source JPEG's own, else 420); Huffman tables are\n"
    "                      always optimised\n"
    "  --progressive       write progressive JPEG\n"
    "  --auto-orient       turn the pixels upright by the EXIF orientation on\n"
    "                      loading and write orientation 1 (default: pixels and\n"
    "                      orientation kept as they are)\n"
    "  --accept-damaged    load a JPEG with corrupt or missing data as far as it\n"
    "                      decodes (default: such a file fails with libjpeg's reason)\n"
    "  --fail-fast         start no further file after the first that fails\n"
    "  -q, --quiet         no progress bar\n"
    "  -h, --help          this help\n"
    "A FILE of - is standard input (the only input then; the result goes to\n"
    "standard output unless -o says otherwise).\n";

std::string Pad(const std::string &s, size_t width) {
    return s.size() >= width ? s + "  " : s + std::string(width - s.size(), ' ');
}

std::string Range(double v) {
    std::ostringstream s;
    s << v;
    return s.str();
}

}  // namespace

std::string ParamUsage(const Param &p) {
    switch (p.kind) {
    case Kind::Int: return "--" + p.name + " N";
    case Kind::Real: return "--" + p.name + " X";
    case Kind::Choice: return "--" + p.name + " WORD";
    case Kind::Color: return "--" + p.name + " COLOUR";
    case Kind::Points: return "--" + p.name + " \"X,Y X,Y ...\"";
    case Kind::Ints: return "--" + p.name + " \"A,B,...\"";
    case Kind::Flag: return "--" + p.name;
    case Kind::Text: return "--" + p.name + " TEXT";
    }
    return "--" + p.name;
}

std::string MainHelp() {
    std::ostringstream s;
    s << "imge " IMGE_VERSION " - the image operations of libimge from the command line\n\n"
      << "Usage: imge OPERATION [options] FILE... [-o OUTPUT]\n"
      << "       imge OPERATION [options] + OPERATION [options]... FILE... [-o OUTPUT]\n"
      << "       imge OPERATION --help     options of one operation\n"
      << "       imge demo [-o DIR]        every operation on a sample picture, and a contact sheet\n"
      << "       imge --version\n\n"
      << "A pipeline runs its operations in order on each decoded picture and encodes\n"
      << "the result once (the same bytes as the steps one by one through PNG files);\n"
      << "a report (colors, histogram, info) may end it. For example:\n"
      << "  imge gaussian-blur --size 7 + sharpen --percentage 40 photos/*.jpg -o out/\n\n"
      << "Files: PNG, JPEG and binary PNM (P5, P6), told apart by their content when read\n"
      << "and by the extension (.png .jpg .jpeg .pnm .ppm .pgm) when written.\n\n"
      << "Operations:\n";
    std::string family;
    for (const Op &op : AllOps()) {
        if (op.family != family) {
            family = op.family;
            s << "  " << family << ":\n";
        }
        s << "    " << Pad(op.name, 22) << op.summary << "\n";
    }
    s << "\n" << kCommonHelp << "\nExit status: 0 all done, 1 some file failed, 2 bad command line.\n";
    return s.str();
}

std::string OpHelp(const Op &op) {
    std::ostringstream s;
    const char *files = op.file ? "FILE... [-o OUTPUT | --in-place]" : "FILE... [-o OUTPUT]";
    s << "Usage: imge " << op.name << (op.params.empty() ? "" : " [options]") << " " << files << "\n\n"
      << op.summary << ".\n";
    if (op.report) s << "Prints its findings; writes no file.\n";
    if (op.file)
        s << "Changes the JPEG file losslessly: with --in-place the file itself, else a changed\n"
             "copy (at OUTPUT, or beside it as NAME-" << op.name << ".jpg). Cannot be part of a pipeline.\n";
    bool colours = false;
    for (const Param &p : op.params) colours = colours || p.kind == Kind::Color;
    if (colours) s << "\nColour names (any case): " << ColourNames() << ".\n";
    if (op.one_at_a_time)
        s << "Reseeds the C library's random generator: in a batch on several cores these steps\n"
             "run one at a time.\n";
    if (op.true_colour)
        s << "Works on true colour: a grey, palette or black-and-white picture that the library refuses\n"
             "is converted to RGB first (a grey picture that stays neutral is written as grey).\n";
    if (!op.params.empty()) {
        s << "\nOptions:\n";
        for (const Param &p : op.params) {
            std::string line = "  " + Pad(ParamUsage(p), 24) + p.help;
            std::string extra;
            if (p.kind == Kind::Int || p.kind == Kind::Real || p.kind == Kind::Ints)
                extra = Range(p.min) + " to " + Range(p.max);
            if (p.kind == Kind::Choice) {
                std::string words;
                std::string c = p.choices;
                size_t start = 0;
                while (start <= c.size()) {
                    size_t bar = c.find('|', start);
                    if (bar == std::string::npos) bar = c.size();
                    const std::string item = c.substr(start, bar - start);
                    words += (words.empty() ? "" : ", ") + item.substr(0, item.find('='));
                    start = bar + 1;
                }
                extra = words;
            }
            if (p.kind == Kind::Color) extra = "#rrggbb[aa], r,g,b[,a], a name or none";
            if (p.kind != Kind::Flag) {
                const std::string def = p.def.empty() ? "required" : "default " + p.def;
                extra = extra.empty() ? def : extra + "; " + def;
            }
            s << line << (extra.empty() ? "" : " (" + extra + ")") << "\n";
        }
    }
    s << "\n" << kCommonHelp;
    return s.str();
}

}  // namespace tool
}  // namespace imge
