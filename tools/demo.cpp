// `imge demo`: every operation of the table on the sample picture, each
// result written as a file, and a contact sheet of them all.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sys/stat.h>

#include "cli.h"
#include "libtools.h"
#include "io/image_io.h"
#include "plot.h"
#include "sample.h"
#include "sheet.h"

namespace imge {
namespace tool {

namespace {

// Splits a row's demo arguments at spaces, keeping "quoted text" together.
std::vector<std::string> Tokenize(const std::string &s) {
    std::vector<std::string> out;
    std::string cur;
    bool quoted = false, any = false;
    for (char c : s) {
        if (c == '"') {
            quoted = !quoted;
            any = true;
        } else if (c == ' ' && !quoted) {
            if (any) out.push_back(cur);
            cur.clear();
            any = false;
        } else {
            cur += c;
            any = true;
        }
    }
    if (any) out.push_back(cur);
    return out;
}

std::string FirstLine(const std::string &text) { return text.substr(0, text.find('\n')); }

// The parameters an operation ran with, for the second line of its label.
std::string Settings(const Op &op, const Args &args) {
    std::string s;
    for (const Param &p : op.params) {
        const Value &v = args.values.at(p.name);
        if (p.kind == Kind::Flag && !v.i) continue;
        s += (s.empty() ? "" : " ") + p.name + (p.kind == Kind::Flag ? "" : "=" + v.text);
    }
    return s;
}

const char kDemoHelp[] =
    "Usage: imge demo [-o DIR]\n\n"
    "Runs every operation on a sample picture made by code (a landscape, 320 x 240)\n"
    "and on a JPEG of it with EXIF orientation 6 and a thumbnail, writes each result\n"
    "into DIR (default imge-demo) and a contact sheet of them all: DIR/contact-sheet.png.\n";

}  // namespace

int RunDemo(const std::vector<std::string> &argv) {
    std::string dir = "imge-demo";
    for (size_t i = 0; i < argv.size(); ++i) {
        if (argv[i] == "--help" || argv[i] == "-h") {
            std::cout << kDemoHelp;
            return kExitOk;
        }
        if (argv[i] == "-o" || argv[i] == "--output") {
            if (i + 1 >= argv.size()) {
                std::cerr << "imge: demo: missing value for " << argv[i] << "\n";
                return kExitUsage;
            }
            dir = argv[++i];
        } else {
            std::cerr << "imge: demo: unknown argument " << argv[i] << " (see imge demo --help)\n";
            return kExitUsage;
        }
    }
    while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
    struct stat st;
    if (stat(dir.c_str(), &st) == 0 ? !S_ISDIR(st.st_mode) : mkdir(dir.c_str(), 0777) != 0) {
        std::cerr << "imge: demo: cannot use " << dir << " as the output folder\n";
        return kExitFailed;
    }
    const std::string prefix = dir + "/";

    Image sample = MakeSamplePhoto(320, 240);
    SaveImage(*sample, prefix + "sample.png");
    // The JPEG for the lossless operations: orientation 6 and a thumbnail.
    {
        IMF_BITMAP view = ImfView(*sample), small;
        std::memset(&small, 0, sizeof small);
        if (imfResize(&view, &small, 160, 120, 0) != IMF_NOERROR) throw ToolError{"cannot make the thumbnail"};
        Image thumb = AdoptImf(small);
        SaveOptions opt;
        opt.exif = MakeExifBlock(6, EncodeJpeg(*thumb, SaveOptions{}), 160, 120);
        SaveImage(*sample, prefix + "sample-exif.jpg", opt);
    }
    std::cout << "sample pictures: " << prefix << "sample.png, " << prefix << "sample-exif.jpg\n";

    std::vector<SheetCell> cells;
    cells.push_back(SheetCell{"original", CloneImage(*sample), "320 x 240"});
    int failures = 0;
    for (const Op &op : AllOps()) {
        if (op.family == "files") continue;  // the tool's own, not the library's
        std::vector<std::string> tokens = Tokenize(op.demo);
        std::string written;
        try {
            tokens.push_back("sample");
            const Request r = ParseCommandLine(op, tokens);
            if (op.report) {
                const std::string text = op.report(r.args, *sample);
                written = prefix + op.name + ".txt";
                std::ofstream(written) << text;
                // The histograms are shown as their plot.
                Image plot = op.name == "histogram" ? HistogramPlot(*sample) : nullptr;
                const std::string note = plot ? "--plot " + op.name + ".png" : FirstLine(text);
                if (plot) SaveImage(*plot, prefix + op.name + ".png");
                cells.push_back(SheetCell{op.name, std::move(plot), note});
            } else if (op.file) {
                written = prefix + op.name + ".jpg";
                WriteFileAtomic(written, ReadFile(prefix + "sample-exif.jpg"));
                const std::string err = op.file(r.args, written);
                if (!err.empty()) throw ToolError{err};
                cells.push_back(SheetCell{op.name, LoadImage(written), Settings(op, r.args)});
            } else {
                Image src = CloneImage(*sample);
                Image result = RunImageOp(op, r.args, *src);
                written = prefix + op.name + ".png";
                SaveImage(*result, written);
                cells.push_back(SheetCell{op.name, std::move(result), Settings(op, r.args)});
            }
            std::printf("  %-24s %s\n", op.name.c_str(), written.c_str());
        } catch (const ToolError &e) {
            ++failures;
            std::cerr << "imge: demo: " << op.name << ": " << e.message << "\n";
            cells.push_back(SheetCell{op.name, nullptr, "failed"});
        }
    }
    Image sheet = MakeContactSheet(cells, "libimge " IMGE_VERSION " - every operation on one picture");
    SaveImage(*sheet, prefix + "contact-sheet.png");
    std::cout << "contact sheet: " << prefix << "contact-sheet.png (" << cells.size() - 1 << " operations)\n";
    return failures ? kExitFailed : kExitOk;
}

}  // namespace tool
}  // namespace imge
