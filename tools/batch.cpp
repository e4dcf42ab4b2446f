// Command-line parsing (one operation or a pipeline of them), the checks
// that run before any file is touched, and the batch runner.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <climits>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <sched.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "cli.h"
#include "libtools.h"
#include "io/image_io.h"
#include "progress.h"

namespace imge {
namespace tool {

namespace {

bool IsDir(const std::string &path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool Exists(const std::string &path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
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

// One spelling per file that may not exist yet: the real path of its folder
// when that exists, else the absolute path with "." and ".." resolved.
std::string Normal(const std::string &path) {
    const std::string dir = DirName(path).empty() ? "." : DirName(path);
    char *real = realpath(dir.c_str(), nullptr);
    if (real) {
        std::string r = std::string(real) + "/" + BaseName(path);
        std::free(real);
        return r;
    }
    std::string abs = path;
    if (abs.empty() || abs[0] != '/') {
        char cwd[PATH_MAX];
        abs = std::string(getcwd(cwd, sizeof cwd) ? cwd : ".") + "/" + path;
    }
    std::vector<std::string> parts;
    size_t start = 0;
    while (start <= abs.size()) {
        size_t slash = abs.find('/', start);
        if (slash == std::string::npos) slash = abs.size();
        const std::string part = abs.substr(start, slash - start);
        if (part == "..") {
            if (!parts.empty()) parts.pop_back();
        } else if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
        start = slash + 1;
    }
    std::string r;
    for (const std::string &p : parts) r += "/" + p;
    return r;
}

bool StdStream(const std::string &name) { return name == "-"; }

std::string Shown(const std::string &input) { return StdStream(input) ? "standard input" : input; }

// The format of a picture's first bytes (PNG, JPEG, PNM); PNG when unknown.
Format SniffFormat(const Bytes &head) {
    if (head.size() >= 2 && head[0] == 0xFF && head[1] == 0xD8) return Format::Jpeg;
    if (head.size() >= 2 && head[0] == 'P' && head[1] >= '1' && head[1] <= '7') return Format::Pnm;
    return Format::Png;
}

const char *Extension(Format f, const IMG_BITMAP *result) {
    if (f == Format::Png) return "png";
    if (f == Format::Jpeg) return "jpg";
    return result && result->Type == IMG_GREY ? "pgm" : "ppm";
}

// ---- Parsing ---------------------------------------------------------------------

bool CommonFlag(const std::string &name) {
    return name == "fail-fast" || name == "quiet" || name == "progressive" || name == "accept-damaged" ||
           name == "auto-orient" || name == "in-place";
}

bool CommonValue(const std::string &name) {
    return name == "output" || name == "format" || name == "quality" || name == "subsampling" || name == "jobs";
}

long WholeNumber(const std::string &who, const std::string &option, const std::string &value, long lo, long hi) {
    char *end = nullptr;
    errno = 0;
    const long v = std::strtol(value.c_str(), &end, 10);
    if (value.empty() || *end || errno) throw ToolError{who + ": " + option + " '" + value + "': not a whole number"};
    if (v < lo || v > hi)
        throw ToolError{who + ": " + option + " '" + value + "': out of range (" + std::to_string(lo) + " to " +
                        std::to_string(hi) + ")"};
    return v;
}

void SetCommon(const std::string &who, const std::string &name, std::string value, Common &c) {
    if (name == "output") {
        if (value.empty()) throw ToolError{who + ": missing value for --output"};
        c.output = value;
    } else if (name == "format") {
        if (value == "jpg") value = "jpeg";
        if (value != "png" && value != "jpeg" && value != "pnm")
            throw ToolError{who + ": --format '" + value + "': expected png, jpeg or pnm"};
        c.format = value;
    } else if (name == "quality") {
        c.quality = static_cast<int>(WholeNumber(who, "--quality", value, 1, 100));
    } else if (name == "jobs") {
        c.jobs = static_cast<int>(WholeNumber(who, "-j", value, 1, 256));
    } else if (name == "subsampling") {
        if (value != "444" && value != "422" && value != "420")
            throw ToolError{who + ": --subsampling '" + value + "': expected 444, 422 or 420"};
        c.subsampling = std::atoi(value.c_str());
    } else if (name == "progressive") {
        c.progressive = true;
    } else if (name == "accept-damaged") {
        c.accept_damaged = true;
    } else if (name == "auto-orient") {
        c.auto_orient = true;
    } else if (name == "fail-fast") {
        c.fail_fast = true;
    } else if (name == "quiet") {
        c.quiet = true;
    } else if (name == "in-place") {
        c.in_place = true;
    }
}

// Parses the options of one step (argv[from, to)); files are taken only in
// the last step. `options_done` carries "--" over.
Step ParseStep(const Op &op, const std::vector<std::string> &argv, size_t from, size_t to, bool last,
               Request &r, bool &options_done) {
    Step step;
    step.op = &op;
    std::map<std::string, std::string> given;
    for (size_t i = from; i < to; ++i) {
        const std::string &a = argv[i];
        if (options_done || a.empty() || a[0] != '-' || a == "-") {
            if (!last)
                throw ToolError{op.name + ": '" + a + "' before '+': the files come after the last step"};
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
        } else if (a.rfind("-j", 0) == 0 && a.size() >= 2 && a[1] == 'j') {
            name = "jobs";
            if (a.size() > 2) {
                value = a.substr(2);
                has_value = true;
            }
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
        const bool is_flag = (!param && CommonFlag(name)) || (param && param->kind == Kind::Flag);
        if (!param && !CommonFlag(name) && !CommonValue(name))
            throw ToolError{op.name + ": unknown option --" + name + " (see imge " + op.name + " --help)"};
        if (is_flag) {
            if (has_value) throw ToolError{op.name + ": --" + name + " takes no value"};
            value = "1";
        } else if (!has_value) {
            if (i + 1 >= to) throw ToolError{op.name + ": missing value for --" + name};
            value = argv[++i];
        }
        if (param) {
            if (given.count(name)) throw ToolError{op.name + ": --" + name + " given twice"};
            given[name] = value;
        } else {
            SetCommon(op.name, name, value, r.common);
        }
    }
    try {
        step.args = ParseArgs(op, given);
    } catch (const ToolError &e) {
        throw ToolError{e.message.rfind(op.name, 0) == 0 ? e.message : op.name + ": " + e.message};
    }
    return step;
}

// What the steps and the options must agree on; `who` names the run.
void CheckRequest(const Request &r, const std::string &who) {
    const Op &last = *r.steps.back().op;
    for (size_t k = 0; k < r.steps.size(); ++k) {
        const Op &op = *r.steps[k].op;
        if (op.file && r.steps.size() > 1)
            throw ToolError{op.name + " changes a JPEG file losslessly and cannot be part of a pipeline"};
        if (op.report && k + 1 < r.steps.size())
            throw ToolError{op.name + " prints a report: it can only end a pipeline"};
    }
    const Common &c = r.common;
    if (r.inputs.empty()) throw ToolError{who + ": no input file (see imge " + r.steps[0].op->name + " --help)"};
    const size_t from_stdin = static_cast<size_t>(std::count(r.inputs.begin(), r.inputs.end(), "-"));
    if (from_stdin && r.inputs.size() > 1)
        throw ToolError{who + ": '-' (standard input) must be the only input"};
    if (last.report) {
        if (!c.output.empty()) throw ToolError{who + ": prints its result; -o is not used"};
        return;
    }
    if (c.in_place && c.output.empty() && !c.format.empty())
        throw ToolError{who + ": --in-place writes each result over its input, in the input's format; "
                              "--format needs -o"};
    if (c.in_place && from_stdin) throw ToolError{who + ": --in-place needs files, not standard input"};
    if (c.output.empty() && from_stdin && isatty(STDOUT_FILENO))
        throw ToolError{who + ": the result of standard input goes to standard output, which is a terminal; "
                              "redirect it or give -o"};
    if (c.output.empty()) return;
    if (StdStream(c.output)) {
        if (r.inputs.size() > 1) throw ToolError{who + ": -o - (standard output) takes one input"};
        if (isatty(STDOUT_FILENO)) throw ToolError{who + ": standard output is a terminal; redirect it to a file"};
        return;
    }
    const bool folder_named = IsDir(c.output) || c.output.back() == '/';
    Format f;
    if (r.inputs.size() > 1 && !folder_named) {
        if (Exists(c.output))
            throw ToolError{who + ": " + c.output + " is a file; several inputs need a folder for -o"};
        if (FormatForName(c.output, &f))
            throw ToolError{who + ": -o " + c.output + " names a file, but there are " +
                            std::to_string(r.inputs.size()) + " inputs: give a folder (" + c.output +
                            "/ makes a folder of that name)"};
    }
    const bool folder = folder_named || r.inputs.size() > 1;
    if (!folder && !last.file && !FormatForName(c.output, &f))
        throw ToolError{who + ": cannot tell the output format from " + c.output +
                        " (use .png, .jpg, .jpeg, .pnm, .ppm or .pgm)"};
    if (!folder && last.file && !FormatForName(c.output, &f))
        throw ToolError{who + ": the output " + c.output + " should be a .jpg file or a folder"};
}

std::string RunName(const Request &r) {
    std::string name;
    for (const Step &s : r.steps) name += (name.empty() ? "" : "+") + s.op->name;
    return name;
}

}  // namespace

Request ParseCommandLine(const Op &op, const std::vector<std::string> &argv) {
    Request r;
    bool options_done = false;
    r.steps.push_back(ParseStep(op, argv, 0, argv.size(), true, r, options_done));
    r.op = r.steps[0].op;
    r.args = r.steps[0].args;
    CheckRequest(r, op.name);
    return r;
}

Request ParsePipeline(const std::vector<std::string> &argv) {
    Request r;
    bool options_done = false;
    size_t start = 0;
    while (start < argv.size()) {
        const Op *op = FindOp(argv[start]);
        if (!op) throw ToolError{"unknown operation '" + argv[start] + "' (imge --help lists them)"};
        size_t end = start + 1;
        bool done = options_done;
        while (end < argv.size() && (done || argv[end] != "+")) {
            if (argv[end] == "--") done = true;
            ++end;
        }
        const bool last = end >= argv.size();
        r.steps.push_back(ParseStep(*op, argv, start + 1, end, last, r, options_done));
        if (!last && end + 1 >= argv.size()) throw ToolError{"'+' at the end: an operation must follow it"};
        start = end + 1;
    }
    if (r.steps.empty()) throw ToolError{"no operation"};
    r.op = r.steps[0].op;
    r.args = r.steps[0].args;
    CheckRequest(r, RunName(r));
    return r;
}

namespace {

// ---- The plan: every input with its output, checked before any work --------

struct Job {
    std::string input;      // as given ("-": standard input)
    std::string read_path;  // the file read (a scratch copy of standard input)
    std::string output;     // fixed output file, "-" for standard output, or empty: base + extension
    std::string base;       // output without extension
    Format format = Format::Png;
};

// The files a job may write (a PNM result is .pgm or .ppm by its type).
std::vector<std::string> Candidates(const Job &j) {
    if (!j.output.empty()) return {j.output};
    if (j.format == Format::Pnm) return {j.base + ".pgm", j.base + ".ppm"};
    return {j.base + "." + Extension(j.format, nullptr)};
}

// The key under which two jobs' outputs collide.
std::string CollisionKey(const Job &j) {
    if (!j.output.empty()) return Normal(j.output);
    return Normal(j.base) + (j.format == Format::Pnm ? ".p?m" : std::string(".") + Extension(j.format, nullptr));
}

Format FormatFor(const Common &c, const std::string &input, const Bytes *head) {
    if (c.format == "jpeg") return Format::Jpeg;
    if (c.format == "pnm") return Format::Pnm;
    if (c.format == "png") return Format::Png;
    Format f = Format::Png;
    if (head) return SniffFormat(*head);
    return FormatForName(input, &f) ? f : Format::Png;
}

std::vector<Job> Plan(const Request &r, const Bytes *stdin_head) {
    const Common &c = r.common;
    const Op &last = *r.steps.back().op;
    const bool report = last.report != nullptr;
    const bool to_stdout = StdStream(c.output) || (c.output.empty() && !r.inputs.empty() && StdStream(r.inputs[0]));
    const bool folder = !report && !to_stdout && !c.output.empty() &&
                        (r.inputs.size() > 1 || IsDir(c.output) || c.output.back() == '/');
    std::string dir = c.output;
    while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
    std::vector<Job> jobs;
    for (const std::string &input : r.inputs) {
        Job j;
        j.input = input;
        j.read_path = input;
        j.format = FormatFor(c, input, StdStream(input) ? stdin_head : nullptr);
        if (report) {
        } else if (to_stdout) {
            j.output = "-";
        } else if (last.file) {
            if (folder) j.output = dir + "/" + BaseName(input);
            else if (!c.output.empty()) j.output = c.output;
            else if (c.in_place) j.output = input;
            else {
                const std::string base = BaseName(input);
                const size_t dot = base.find_last_of('.');
                const std::string ext = dot == std::string::npos || dot == 0 ? "" : base.substr(dot);
                j.output = DirName(input) + Stem(input) + "-" + last.name + ext;
            }
        } else if (folder) {
            j.base = dir + "/" + Stem(input);
        } else if (!c.output.empty()) {
            j.output = c.output;
        } else if (c.in_place) {
            j.output = input;
        } else {
            j.base = DirName(input) + Stem(input) + "-" + RunName(r);
        }
        jobs.push_back(j);
    }
    return jobs;
}

// Refuses a plan in which a result would replace an input (its own only
// with --in-place) or two results would go to one file.
void CheckPlan(const Request &r, const std::vector<Job> &jobs, const std::string &who) {
    std::map<std::string, size_t> inputs;  // normal spelling -> job
    for (size_t i = 0; i < jobs.size(); ++i)
        if (!StdStream(jobs[i].input)) inputs.emplace(Normal(jobs[i].input), i);
    std::map<std::string, size_t> outputs;
    for (size_t i = 0; i < jobs.size(); ++i) {
        const Job &j = jobs[i];
        if (j.output.empty() && j.base.empty()) continue;  // a report
        if (StdStream(j.output)) continue;
        for (const std::string &out : Candidates(j)) {
            for (size_t k = 0; k < jobs.size(); ++k) {
                const std::string &in = jobs[k].input;
                if (StdStream(in)) continue;
                const bool same = inputs.count(Normal(out)) && inputs[Normal(out)] == k;
                if (!same && !SameFile(out, in)) continue;
                if (k != i)
                    throw ToolError{who + ": the result for " + j.input + " would overwrite the input " + in +
                                    "; nothing was done"};
                if (!r.common.in_place)
                    throw ToolError{who + ": the result for " + j.input + " would replace the input itself (" +
                                    out + "); give --in-place to allow that, or another -o"};
            }
        }
        const std::string key = CollisionKey(j);
        auto seen = outputs.find(key);
        if (seen != outputs.end())
            throw ToolError{who + ": " + jobs[seen->second].input + " and " + j.input + " would both be written to " +
                            Candidates(j)[0] + "; nothing was done"};
        outputs.emplace(key, i);
    }
}

// ---- Running one file ------------------------------------------------------------

void WriteStdout(const Bytes &data) {
    if (std::fwrite(data.data(), 1, data.size(), stdout) != data.size() || std::fflush(stdout) != 0)
        throw ToolError{std::string("cannot write to standard output: ") + std::strerror(errno)};
}

// Moves the descriptive data (resolution, metadata, comment, name) of
// `from` to `to`.
void SwapExtended(IMG_BITMAP &from, IMG_BITMAP &to) {
    std::swap(to.Xdpi, from.Xdpi);
    std::swap(to.Ydpi, from.Ydpi);
    std::swap(to.MetaData, from.MetaData);
    std::swap(to.Comment, from.Comment);
    std::swap(to.Name, from.Name);
}

// The bitmap as the next step would read it back from a PNG file, so that a
// pipeline equals its steps run one by one through PNG files. Grey, RGB and
// RGBA pixels come back as they are; other types take a real PNG round trip.
// The descriptive data is what a PNG of a blank picture of the same size
// gives back (saving rewrites the EXIF pixel size and then drops the EXIF
// thumbnail; PNG keeps one block of each kind and no comment). That trip
// needs doing again only when the size has changed since the last one.
Image AsReadFromPng(Image b, int *trip_w, int *trip_h) {
    if (b->Type != IMG_GREY && b->Type != IMG_RGB && b->Type != IMG_RGBA) {
        *trip_w = b->Width;
        *trip_h = b->Height;
        return Decode(EncodePng(*b));
    }
    const bool described = b->MetaData || b->Comment || b->Name || b->Xdpi || b->Ydpi;
    if (!described || (b->Width == *trip_w && b->Height == *trip_h)) return b;
    Image blank = NewImage(IMG_GREY, b->Width, b->Height);
    SwapExtended(*b, *blank);
    Image back = Decode(EncodePng(*blank));
    SwapExtended(*back, *b);
    *trip_w = b->Width;
    *trip_h = b->Height;
    return b;
}

std::string StepName(const Request &r, size_t k) {
    if (r.steps.size() == 1) return "";
    return "step " + std::to_string(k + 1) + " of " + std::to_string(r.steps.size()) + ", ";
}

void RunFileJob(const Request &r, const Job &j) {
    const Step &s = r.steps[0];
    if (StdStream(j.output)) {
        ScratchFile work(".jpg");
        WriteFileAtomic(work.path, ReadFile(j.read_path));
        const std::string err = s.op->file(s.args, work.path);
        if (!err.empty()) throw ToolError{err};
        WriteStdout(ReadFile(work.path));
        return;
    }
    const bool in_place = j.output == j.read_path || SameFile(j.output, j.read_path);
    if (!in_place) WriteFileAtomic(j.output, ReadFile(j.read_path));
    const std::string err = s.op->file(s.args, j.output);
    if (!err.empty()) {
        if (!in_place) std::remove(j.output.c_str());
        throw ToolError{err};
    }
}

// Runs the steps on one file; the report's text, if the last step is one.
std::string RunJob(const Request &r, const Job &j) {
    if (r.steps[0].op->file) {
        RunFileJob(r, j);
        return "";
    }
    Image img = LoadImage(j.read_path, LoadOptions{r.common.accept_damaged, r.common.auto_orient});
    int trip_w = -1, trip_h = -1;
    for (size_t k = 0; k < r.steps.size(); ++k) {
        const Step &s = r.steps[k];
        if (k > 0) img = AsReadFromPng(std::move(img), &trip_w, &trip_h);
        if (s.op->report) return s.op->report(s.args, *img);
        try {
            img = RunImageOp(*s.op, s.args, *img);
        } catch (const ToolError &e) {
            throw ToolError{StepName(r, k) + e.message};
        }
    }
    SaveOptions opt;
    opt.jpeg_quality = r.common.quality;
    opt.progressive = r.common.progressive;
    opt.subsampling = r.common.subsampling;
    IMG_INT32 source_sampling = 0;
    // Re-encoding a JPEG keeps its own chroma sampling unless told otherwise.
    if (!opt.subsampling && imgGetJpegSubsampling(j.read_path.c_str(), &source_sampling) == IMG_NO_ERROR)
        opt.subsampling = source_sampling == 444 || source_sampling == 422 || source_sampling == 440
                              ? source_sampling : 0;
    if (StdStream(j.output)) {
        WriteStdout(Encode(*img, j.format, opt));
    } else {
        SaveImage(*img, j.output.empty() ? j.base + "." + Extension(j.format, img.get()) : j.output, opt);
    }
    return "";
}

// The cores this process may run on.
int Cores() {
    cpu_set_t set;
    if (sched_getaffinity(0, sizeof set, &set) == 0 && CPU_COUNT(&set) > 0) return CPU_COUNT(&set);
    const unsigned n = std::thread::hardware_concurrency();
    return n ? static_cast<int>(n) : 1;
}

}  // namespace

int RunBatch(Request r) {
    if (r.steps.empty()) {  // a request made by hand from op and args
        r.steps.push_back(Step{r.op, r.args});
    }
    const std::string who = RunName(r);
    // Standard input is read whole into a scratch file first.
    std::unique_ptr<ScratchFile> stdin_copy;
    Bytes head;
    if (!r.inputs.empty() && StdStream(r.inputs[0])) {
        Bytes data;
        std::uint8_t chunk[65536];
        size_t n;
        while ((n = std::fread(chunk, 1, sizeof chunk, stdin)) > 0) data.insert(data.end(), chunk, chunk + n);
        if (data.empty()) {
            std::cerr << "imge: standard input: empty\n";
            return kExitFailed;
        }
        head.assign(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(data.size(), 16)));
        stdin_copy.reset(new ScratchFile(""));
        try {
            WriteFileAtomic(stdin_copy->path, data);
        } catch (const ToolError &e) {
            std::cerr << "imge: " << e.message << "\n";
            return kExitFailed;
        }
    }
    std::vector<Job> jobs = Plan(r, stdin_copy ? &head : nullptr);
    if (stdin_copy) jobs[0].read_path = stdin_copy->path;
    try {
        CheckPlan(r, jobs, who);
    } catch (const ToolError &e) {
        std::cerr << "imge: " << e.message << "\n";
        return kExitUsage;
    }
    const bool folder = !r.steps.back().op->report && !r.common.output.empty() && !StdStream(r.common.output) &&
                        (r.inputs.size() > 1 || IsDir(r.common.output) || r.common.output.back() == '/');
    if (folder) {
        try {
            MakeDirs(r.common.output);
        } catch (const ToolError &e) {
            std::cerr << "imge: " << e.message << "\n";
            return kExitFailed;
        }
    }

    // Workers take the files in order; messages, the progress bar and the
    // reports (printed in input order) go through one lock.
    struct Outcome {
        std::string text;
        bool done = false;
    };
    std::vector<Outcome> outcomes(jobs.size());
    std::mutex lock;
    Progress progress(jobs.size(), r.common.quiet);
    size_t next = 0, finished = 0, failed = 0, printed = 0;
    bool stop = false;
    // Prints the reports of the files done, in input order; at the end
    // (`all`) past files that --fail-fast left undone.
    auto print_reports = [&](bool all) {
        for (; printed < jobs.size() && (all || outcomes[printed].done); ++printed) {
            const std::string &text = outcomes[printed].text;
            if (text.empty()) continue;
            if (jobs.size() > 1) {
                const bool one_line = text.find('\n') == text.size() - 1;
                std::cout << Shown(jobs[printed].input) << (one_line ? ": " : ":\n");
            }
            std::cout << text;
        }
        std::cout.flush();
    };
    auto worker = [&]() {
        for (;;) {
            size_t i;
            {
                std::lock_guard<std::mutex> hold(lock);
                if (stop || next >= jobs.size()) return;
                i = next++;
            }
            std::string text, error;
            try {
                text = RunJob(r, jobs[i]);
            } catch (const ToolError &e) {
                error = e.message;
            } catch (const std::bad_alloc &) {
                error = "out of memory";
            } catch (const std::exception &e) {
                error = e.what();
            }
            std::lock_guard<std::mutex> hold(lock);
            ++finished;
            outcomes[i].text = text;
            outcomes[i].done = true;
            if (!error.empty()) {
                progress.Clear();
                std::cerr << "imge: " << Shown(jobs[i].input) << ": " << error << "\n";
                ++failed;
                if (r.common.fail_fast) stop = true;
            }
            print_reports(false);
            progress.Step(finished, Shown(jobs[i].input));
        }
    };
    const size_t threads = std::min(jobs.size(), static_cast<size_t>(r.common.jobs ? r.common.jobs : Cores()));
    std::vector<std::thread> pool;
    for (size_t t = 1; t < threads; ++t) pool.emplace_back(worker);
    worker();
    for (std::thread &t : pool) t.join();
    print_reports(true);
    progress.Clear();
    if (failed && jobs.size() > 1)
        std::cerr << "imge: " << failed << " of " << jobs.size() << " files failed"
                  << (r.common.fail_fast && finished < jobs.size() ? " (stopped at the first)" : "") << "\n";
    return failed ? kExitFailed : kExitOk;
}

}  // namespace tool
}  // namespace imge
