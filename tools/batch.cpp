// Command-line parsing for one operation and the batch runner.
#include <cerrno>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <sys/stat.h>

#include "cli.h"
#include "libtools.h"
#include "io/image_io.h"
#include "progress.h"

namespace tool {

namespace {

bool IsDir(const std::string &path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

void MakeDirs(const std::string &path) {
    std::string cur;
    for (size_t i = 0; i <= path.size(); ++i) {
        if (i == path.size() || path[i] == '/') {
            if (!cur.empty() && !IsDir(cur) && mkdir(cur.c_str(), 0777) != 0 && errno != EEXIST)
                throw ToolError{"cannot make folder " + cur + ": " + std::strerror(errno)};
        }
        if (i < path.size()) cur += path[i];
    }
}

// Whether two names reach the same file (device and inode), whatever their
// spelling; false when either does not exist.
bool SameFile(const std::string &a, const std::string &b) {
    struct stat sa, sb;
    return stat(a.c_str(), &sa) == 0 && stat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev &&
           sa.st_ino == sb.st_ino;
}

std::string BaseName(const std::string &path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string DirName(const std::string &path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

std::string Stem(const std::string &path) {
    const std::string base = BaseName(path);
    const size_t dot = base.find_last_of('.');
    return dot == std::string::npos || dot == 0 ? base : base.substr(0, dot);
}

std::string ExtensionFor(const Common &c, const std::string &input, const IMG_BITMAP *result) {
    Format f = Format::Png;
    if (c.format == "jpeg") f = Format::Jpeg;
    else if (c.format == "pnm") f = Format::Pnm;
    else if (c.format.empty() && !FormatForName(input, &f)) f = Format::Png;
    if (f == Format::Png) return "png";
    if (f == Format::Jpeg) return "jpg";
    return result && result->Type == IMG_GREY ? "pgm" : "ppm";
}

// Where the result for `input` goes.
std::string OutputFor(const Request &r, const std::string &input, const IMG_BITMAP *result, bool folder) {
    const Common &c = r.common;
    if (r.op->file) {
        if (c.output.empty()) return input;
        return folder ? c.output + "/" + BaseName(input) : c.output;
    }
    if (c.output.empty()) return DirName(input) + Stem(input) + "-" + r.op->name + "." + ExtensionFor(c, input, result);
    if (folder) return c.output + "/" + Stem(input) + "." + ExtensionFor(c, input, result);
    return c.output;
}

void RunOne(const Request &r, const std::string &input, bool folder) {
    if (r.op->file) {
        const std::string out = OutputFor(r, input, nullptr, folder);
        Bytes original = ReadFile(input);
        const bool in_place = out == input || SameFile(out, input);
        if (!in_place) WriteFileAtomic(out, original);
        const std::string err = r.op->file(r.args, out);
        if (!err.empty()) {
            if (!in_place) std::remove(out.c_str());
            throw ToolError{err};
        }
        return;
    }
    Image src = LoadImage(input, LoadOptions{r.common.accept_damaged, r.common.auto_orient});
    if (r.op->report) {
        const std::string text = r.op->report(r.args, *src);
        if (r.inputs.size() > 1) {
            const bool one_line = text.find('\n') == text.size() - 1;
            std::cout << input << (one_line ? ": " : ":\n") << text;
        } else {
            std::cout << text;
        }
        std::cout.flush();
        return;
    }
    Image result = RunImageOp(*r.op, r.args, *src);
    SaveOptions opt;
    opt.jpeg_quality = r.common.quality;
    opt.progressive = r.common.progressive;
    opt.subsampling = r.common.subsampling;
    IMG_INT32 source_sampling = 0;
    // Re-encoding a JPEG keeps its own chroma sampling unless told otherwise.
    if (!opt.subsampling && imgGetJpegSubsampling(input.c_str(), &source_sampling) == IMG_NO_ERROR)
        opt.subsampling = source_sampling == 444 || source_sampling == 422 || source_sampling == 440
                              ? source_sampling : 0;
    SaveImage(*result, OutputFor(r, input, result.get(), folder), opt);
}

}  // namespace

Request ParseCommandLine(const Op &op, const std::vector<std::string> &argv) {
    Request r;
    r.op = &op;
    std::map<std::string, std::string> given;
    bool options_done = false;
    for (size_t i = 0; i < argv.size(); ++i) {
        const std::string &a = argv[i];
        if (options_done || a.empty() || a[0] != '-' || a == "-") {
            r.inputs.push_back(a);
            continue;
        }
        if (a == "--") {
            options_done = true;
            continue;
        }
        std::string name, value;
        bool has_value = false;
        if (a == "-o") {
            name = "output";
        } else if (a == "-q") {
            name = "quiet";
        } else if (a.size() > 2 && a[1] == '-') {
            name = a.substr(2);
            const size_t eq = name.find('=');
            if (eq != std::string::npos) {
                value = name.substr(eq + 1);
                name = name.substr(0, eq);
                has_value = true;
            }
        } else {
            throw ToolError{op.name + ": unknown option " + a + " (see imge " + op.name + " --help)"};
        }
        const Param *param = nullptr;
        for (const Param &p : op.params)
            if (p.name == name) param = &p;
        const bool common_flag = name == "fail-fast" || name == "quiet" || name == "progressive" ||
                                 name == "accept-damaged" || name == "auto-orient";
        const bool is_flag = common_flag || (param && param->kind == Kind::Flag);
        const bool is_common = name == "output" || name == "format" || name == "quality" ||
                               name == "subsampling" || common_flag;
        if (!param && !is_common)
            throw ToolError{op.name + ": unknown option --" + name + " (see imge " + op.name + " --help)"};
        if (is_flag) {
            if (has_value) throw ToolError{op.name + ": --" + name + " takes no value"};
            value = "1";
        } else if (!has_value) {
            if (i + 1 >= argv.size()) throw ToolError{op.name + ": missing value for --" + name};
            value = argv[++i];
        }
        if (name == "output") {
            if (value.empty()) throw ToolError{op.name + ": missing value for --output"};
            r.common.output = value;
        } else if (name == "format") {
            if (value == "jpg") value = "jpeg";
            if (value != "png" && value != "jpeg" && value != "pnm")
                throw ToolError{op.name + ": --format '" + value + "': expected png, jpeg or pnm"};
            r.common.format = value;
        } else if (name == "quality") {
            char *end = nullptr;
            errno = 0;
            const long q = std::strtol(value.c_str(), &end, 10);
            if (value.empty() || *end || errno) throw ToolError{op.name + ": --quality '" + value + "': not a whole number"};
            if (q < 1 || q > 100) throw ToolError{op.name + ": --quality '" + value + "': out of range (1 to 100)"};
            r.common.quality = static_cast<int>(q);
        } else if (name == "subsampling") {
            if (value != "444" && value != "422" && value != "420")
                throw ToolError{op.name + ": --subsampling '" + value + "': expected 444, 422 or 420"};
            r.common.subsampling = std::atoi(value.c_str());
        } else if (name == "progressive") {
            r.common.progressive = true;
        } else if (name == "accept-damaged") {
            r.common.accept_damaged = true;
        } else if (name == "auto-orient") {
            r.common.auto_orient = true;
        } else if (name == "fail-fast") {
            r.common.fail_fast = true;
        } else if (name == "quiet") {
            r.common.quiet = true;
        } else {
            if (given.count(name)) throw ToolError{op.name + ": --" + name + " given twice"};
            given[name] = value;
        }
    }
    try {
        r.args = ParseArgs(op, given);
    } catch (const ToolError &e) {
        throw ToolError{e.message.rfind(op.name, 0) == 0 ? e.message : op.name + ": " + e.message};
    }
    if (r.inputs.empty()) throw ToolError{op.name + ": no input file (see imge " + op.name + " --help)"};
    if (op.report && !r.common.output.empty()) throw ToolError{op.name + ": prints its result; -o is not used"};
    if (!r.common.output.empty() && !op.report) {
        const bool folder = r.inputs.size() > 1 || IsDir(r.common.output) || r.common.output.back() == '/';
        Format f;
        if (!folder && !op.file && !FormatForName(r.common.output, &f))
            throw ToolError{op.name + ": cannot tell the output format from " + r.common.output +
                            " (use .png, .jpg, .jpeg, .pnm, .ppm or .pgm)"};
        if (!folder && op.file && !FormatForName(r.common.output, &f))
            throw ToolError{op.name + ": the output " + r.common.output + " should be a .jpg file or a folder"};
        struct stat st;
        if (folder && stat(r.common.output.c_str(), &st) == 0 && !S_ISDIR(st.st_mode))
            throw ToolError{op.name + ": " + r.common.output + " is a file; several inputs need a folder for -o"};
    }
    return r;
}

int RunBatch(Request r) {
    bool folder = false;
    if (!r.common.output.empty() && !r.op->report) {
        folder = r.inputs.size() > 1 || IsDir(r.common.output) || r.common.output.back() == '/';
        if (folder) {
            while (r.common.output.size() > 1 && r.common.output.back() == '/') r.common.output.pop_back();
            try {
                MakeDirs(r.common.output);
            } catch (const ToolError &e) {
                std::cerr << "imge: " << e.message << "\n";
                return kExitFailed;
            }
        }
    }
    Progress progress(r.inputs.size(), r.common.quiet);
    size_t failed = 0, done = 0;
    for (const std::string &input : r.inputs) {
        progress.Step(done, input);
        try {
            RunOne(r, input, folder);
        } catch (const ToolError &e) {
            progress.Clear();
            std::cerr << "imge: " << input << ": " << e.message << "\n";
            ++failed;
        } catch (const std::bad_alloc &) {
            progress.Clear();
            std::cerr << "imge: " << input << ": out of memory\n";
            ++failed;
        }
        ++done;
        if (failed && r.common.fail_fast) break;
    }
    progress.Step(done, "");
    progress.Clear();
    if (failed && r.inputs.size() > 1)
        std::cerr << "imge: " << failed << " of " << r.inputs.size() << " files failed"
                  << (r.common.fail_fast && done < r.inputs.size() ? " (stopped at the first)" : "") << "\n";
    return failed ? kExitFailed : kExitOk;
}

}  // namespace tool
