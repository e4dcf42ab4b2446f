// Hints to the operating system about large buffers.
#pragma once

#include <cstddef>

namespace imge {

// Tells the system that the freshly allocated, not yet touched buffer p of
// `bytes` bytes may be backed by large pages. Filling a new 36 MB result
// then costs a few dozen page faults instead of thousands (on Linux with
// transparent huge pages set to "madvise" this halves the time to fill a
// new bitmap). Does nothing for small buffers or where the hint is unknown;
// never changes the contents or fails.
void AdviseLargeBuffer(void *p, std::size_t bytes);

}  // namespace imge
