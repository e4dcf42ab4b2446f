// The switch between vector and plain code paths.
//
// Setting the environment variable IMGE_FORCE_SCALAR to a non-empty value
// other than "0" makes every operation take its plain scalar path. Both paths
// give identical bytes; the switch exists so that the test suite can prove it.
#pragma once

namespace imge {

bool ScalarForced();

}  // namespace imge
