#include "man.h"

#include <sstream>
#include <vector>

#include "cli.h"

namespace imge {
namespace tool {

namespace {

// Text for roff: backslashes doubled, hyphens as \- (so that options can be
// copied from the rendered page), a leading dot or quote protected.
std::string Roff(const std::string &s) {
    std::string out;
    for (char c : s) {
        if (c == '\\') out += "\\e";
        else if (c == '-') out += "\\-";
        else out += c;
    }
    if (!out.empty() && (out[0] == '.' || out[0] == '\'')) out = "\\&" + out;
    return out;
}

std::vector<std::string> Lines(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

std::string Trim(const std::string &s) {
    const size_t a = s.find_first_not_of(' ');
    return a == std::string::npos ? "" : s.substr(a, s.find_last_not_of(' ') - a + 1);
}

// The lines of `help` after the line `header` up to the next empty line.
std::vector<std::string> Block(const std::string &help, const std::string &header) {
    std::vector<std::string> block;
    bool in = false;
    for (const std::string &line : Lines(help)) {
        if (in && line.empty()) break;
        if (in) block.push_back(line);
        in = in || line == header;
    }
    return block;
}

// An option list as the help prints it ("  -o, --output PATH   text", with
// indented continuation lines) as tagged paragraphs.
std::string OptionList(const std::vector<std::string> &block) {
    std::string out;
    for (const std::string &line : block) {
        const size_t text = line.find("  ", 2);
        if (line.size() > 2 && line[2] == '-') {
            const std::string tag = Trim(line.substr(0, text));
            out += ".TP\n\\fB" + Roff(tag) + "\\fR\n";
            if (text != std::string::npos) out += Roff(Trim(line.substr(text))) + "\n";
        } else {
            out += Roff(Trim(line)) + "\n";
        }
    }
    return out;
}

const char *const kExamples[] = {
    "imge gaussian-blur --size 7 + sharpen --percentage 40 + resize --width 800 a.jpg b.jpg -o out/",
    "imge negative -j 2 *.png -o inverted/",
    "imge resize --width 800 *.jpg -o small/",
    "imge resize --fit 1920x1080 photo.jpg -o screen.jpg",
    "imge crop --x 100 --y 50 --width 640 --height 480 in.png -o out.png",
    "imge rotate --by 90 scan.png -o turned.png",
    "imge convert --format png *.jpg -o png/",
    "imge histogram --plot histogram.png photo.jpg",
    "imge info photo.jpg",
    "imge demo -o demo/",
};

}  // namespace

std::string ManPage() {
    const std::string main = MainHelp();
    std::ostringstream s;
    s << ".TH IMGE 1 \"\" \"imge " IMGE_VERSION "\" \"User Commands\"\n"
      << ".nh\n.SH NAME\nimge \\- the image operations of libimge from the command line\n"
      << ".SH SYNOPSIS\n.nf\n";
    for (const std::string &line : Lines(main))
        if (line.rfind("Usage: ", 0) == 0 || line.rfind("       imge", 0) == 0) s << Roff(Trim(line.substr(7))) << "\n";
    s << ".fi\n.SH DESCRIPTION\n"
      << "Each operation of the library is a subcommand with its own options; it reads every FILE, "
         "runs the operation and writes the result (or prints it, for reports).\n.PP\n";
    bool files = false;
    for (const std::string &line : Lines(main)) {
        files = files || line.rfind("Files:", 0) == 0;
        if (files && line.empty()) break;
        if (files) s << Roff(line) << "\n";
    }
    s << ".SH OPERATIONS\n";
    std::string family;
    for (const Op &op : AllOps()) {
        if (op.family != family) s << ".SS " << Roff(family = op.family) << "\n";
        const std::string help = OpHelp(op);
        s << ".TP\n.B " << Roff(op.name) << "\n";
        // The help's description: the lines between the usage and the options.
        std::string text;
        const std::vector<std::string> lines = Lines(help);
        for (size_t i = 2; i < lines.size() && lines[i] != "Options:" && lines[i] != "Common options:"; ++i)
            if (!lines[i].empty()) text += (text.empty() ? "" : " ") + lines[i];
        s << Roff(text) << "\n";
        if (op.params.empty()) continue;
        s << ".RS\n" << OptionList(Block(help, "Options:")) << ".RE\n";
    }
    s << ".SH COMMON OPTIONS\nEvery operation takes these besides its own.\n"
      << OptionList(Block(main, "Common options:"));
    s << ".SH EXAMPLES\n.nf\n";
    for (const char *e : kExamples) s << Roff(e) << "\n";
    s << ".fi\n.SH EXIT STATUS\n";
    for (const std::string &line : Lines(main))
        if (line.rfind("Exit status:", 0) == 0) s << Roff(Trim(line.substr(12))) << "\n";
    s << ".SH SEE ALSO\nThe library's documentation (docs/tool.md in its sources); "
      << "\\fBimge OPERATION \\-\\-help\\fR prints the same text for one operation.\n";
    return s.str();
}

}  // namespace tool
}  // namespace imge
