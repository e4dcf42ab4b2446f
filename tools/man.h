// The manual page imge.1 (roff), generated from the operation table and the
// help texts: `imge --man`, run by the build and installed to share/man/man1.
#pragma once

#include <string>

namespace imge {
namespace tool {

std::string ManPage();

}  // namespace tool
}  // namespace imge
