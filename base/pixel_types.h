// libimge owns this header-only part (source/records/); the base library
// uses it too.
#pragma once

#include "../source/records/pixel_types.h"
