// Memory blocks handed between the libraries and their callers.
#include <cstdlib>

#include "libtools.h"

extern "C" {

// Blocks are cleared: a record allocated here starts with every field zero.
void *imgMemoryAlloc(IMG_UINT32 size) {
    return std::calloc(1, size ? size : 1);
}

void imgMemoryFree(void *block) {
    std::free(block);
}

}  // extern "C"
