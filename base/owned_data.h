// Deep copies and releases of the data a bitmap record points to: pixel
// buffer, colour map, comment, name and metadata chain. Everything is plain
// malloc'd memory so that imfFree and imgFreeBitmap can release it.
#pragma once

#include "libimg.h"

namespace imgbase {

// Copies; null input gives null output with success. false when short of memory.
bool CopyString(const char *src, char **out);
bool CopyMetadata(const IMF_METADATAENTRY *src, IMF_METADATAENTRY **out);
bool CopyColorMap(const void *src, IMF_COLORMAP **out);

void FreeMetadata(IMF_METADATAENTRY *chain);

// Total pixel bytes of a bitmap (Height x BytesPerLine) or -1 when the
// geometry is negative or too large.
long long PixelBytes(long long height, long long bytes_per_line);

}  // namespace imgbase
