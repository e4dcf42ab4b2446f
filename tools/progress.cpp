#include "progress.h"

#include <cstdio>
#include <unistd.h>

namespace imge {
namespace tool {

Progress::Progress(size_t total, bool quiet)
    : total_(total), on_(!quiet && total > 1 && isatty(STDERR_FILENO)) {}

Progress::~Progress() { Clear(); }

void Progress::Step(size_t done, const std::string &current) {
    if (!on_) return;
    const int width = 30;
    const int filled = static_cast<int>(done * width / (total_ ? total_ : 1));
    std::string bar(static_cast<size_t>(filled), '#');
    bar += std::string(static_cast<size_t>(width - filled), '.');
    std::string name = current.size() > 40 ? "..." + current.substr(current.size() - 37) : current;
    std::fprintf(stderr, "\r\033[K[%s] %zu/%zu %s", bar.c_str(), done, total_, name.c_str());
    std::fflush(stderr);
    shown_ = true;
}

void Progress::Clear() {
    if (!shown_) return;
    std::fprintf(stderr, "\r\033[K");
    std::fflush(stderr);
    shown_ = false;
}

}  // namespace tool
}  // namespace imge
