#include "core/dispatch.h"

#include <cstdlib>

namespace imge {

bool ScalarForced() {
    const char *v = std::getenv("IMGE_FORCE_SCALAR");
    return v && v[0] && !(v[0] == '0' && v[1] == 0);
}

}  // namespace imge
