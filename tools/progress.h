// A one-line progress bar on standard error, shown only when standard error
// is a terminal and there is more than one file.
#pragma once

#include <string>

namespace imge {
namespace tool {

class Progress {
  public:
    Progress(size_t total, bool quiet);
    ~Progress();
    void Step(size_t done, const std::string &current);
    // Clears the bar so that a message can be printed on its own line.
    void Clear();

  private:
    size_t total_;
    bool on_;
    bool shown_ = false;
};

}  // namespace tool
}  // namespace imge
