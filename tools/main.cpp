// imge: the command-line tool of libimge.
#include <iostream>
#include <string>
#include <vector>

#include "cli.h"
#include "man.h"

int main(int argc, char **argv) {
    using namespace tool;
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
    args.erase(args.begin());
    try {
        if (first == "demo") return RunDemo(args);
        const Op *op = FindOp(first);
        if (!op) {
            std::cerr << "imge: unknown operation '" << first << "' (imge --help lists them)\n";
            return kExitUsage;
        }
        for (const std::string &a : args)
            if (a == "--help" || a == "-h") {
                std::cout << OpHelp(*op);
                return kExitOk;
            }
        Request r;
        try {
            r = ParseCommandLine(*op, args);
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
