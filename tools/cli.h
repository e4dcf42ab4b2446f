// The command line: global commands, the per-operation runner and its
// options, help generated from the operation table.
#pragma once

#include <string>
#include <vector>

#include "op_table.h"

namespace imge {
namespace tool {

// Exit codes.
constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;  // at least one file failed
constexpr int kExitUsage = 2;   // bad command line; nothing was done

// Options every operation takes besides its own.
struct Common {
    std::string output;  // -o: a file (one input) or a folder
    bool fail_fast = false;
    bool quiet = false;
    std::string format;  // png, jpeg, pnm: output format in folder mode
    int quality = 90;
    int subsampling = 0;  // 444, 422, 420; 0: the source JPEG's, else 4:2:0
    bool progressive = false;
    bool accept_damaged = false;
    bool auto_orient = false;
    bool in_place = false;  // results may replace their inputs; without -o they do
    int jobs = 0;           // -j: files at once; 0: one per core
};

// One operation of a pipeline with its checked values.
struct Step {
    const Op *op = nullptr;
    Args args;
};

struct Request {
    std::vector<Step> steps;  // in order; one for a single operation
    const Op *op = nullptr;   // the first step's row and values
    Args args;
    Common common;
    std::vector<std::string> inputs;  // "-": standard input
};

// Parses argv[first..] for `op`; ToolError on a bad command line.
Request ParseCommandLine(const Op &op, const std::vector<std::string> &argv);
// Parses `OP [options] [+ OP [options]]... FILE... [-o OUTPUT]` (argv[0] is
// the first operation's name); ToolError naming the step on a bad one.
Request ParsePipeline(const std::vector<std::string> &argv);

// Runs the request over every input; the exit code.
int RunBatch(Request r);

std::string MainHelp();
std::string OpHelp(const Op &op);
std::string ParamUsage(const Param &p);

// `imge demo [-o DIR]`.
int RunDemo(const std::vector<std::string> &argv);

}  // namespace tool
}  // namespace imge
