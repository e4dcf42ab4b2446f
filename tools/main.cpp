// imge: the command-line tool of libimge.
#include <iostream>
#include <string>
#include <vector>

#include "cli.h"
#include "man.h"

int main(int argc, char **argv) {
    using namespace imge::tool;
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty()) {
        std::cerr << MainHelp();
        return kExitUsage;
    }
    const std::string first = args[0];
    if (first == "--help" || first == "-h" || first == "help") {
        std::cout << MainHelp();
        return kExitOk;
    }
    if (first == "--man") {  // the manual page, roff
        std::cout << ManPage();
        return kExitOk;
    }
    if (first == "--version") {
        std::cout << "imge " IMGE_VERSION "\n";
        return kExitOk;
    }
    try {
        if (first == "demo") return RunDemo(std::vector<std::string>(args.begin() + 1, args.end()));
        // --help shows the options of the step it follows.
        const Op *step = nullptr;
        for (size_t i = 0; i < args.size() && args[i] != "--"; ++i) {
            if (i == 0 || args[i - 1] == "+") {
                step = FindOp(args[i]);
                if (!step) {
                    std::cerr << "imge: unknown operation '" << args[i] << "' (imge --help lists them)\n";
                    return kExitUsage;
                }
            }
            if (args[i] == "--help" || args[i] == "-h") {
                std::cout << OpHelp(*step);
                return kExitOk;
            }
        }
        Request r;
        try {
            r = ParsePipeline(args);
        } catch (const ToolError &e) {
            std::cerr << "imge: " << e.message << "\n";
            return kExitUsage;
        }
        return RunBatch(r);
    } catch (const ToolError &e) {
        std::cerr << "imge: " << e.message << "\n";
        return kExitFailed;
    } catch (const std::exception &e) {
        std::cerr << "imge: " << e.what() << "\n";
        return kExitFailed;
    }
}
