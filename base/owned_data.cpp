#include "owned_data.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace imgbase {

bool CopyString(const char *src, char **out) {
    *out = nullptr;
    if (!src) return true;
    std::size_t n = std::strlen(src) + 1;
    char *p = static_cast<char *>(std::malloc(n));
    if (!p) return false;
    std::memcpy(p, src, n);
    *out = p;
    return true;
}

void FreeMetadata(IMF_METADATAENTRY *chain) {
    while (chain) {
        IMF_METADATAENTRY *next = chain->Next;
        std::free(chain->Data);
        std::free(chain);
        chain = next;
    }
}

bool CopyMetadata(const IMF_METADATAENTRY *src, IMF_METADATAENTRY **out) {
    // A chain longer than this is taken to loop back on itself and refused.
    constexpr int kMaxEntries = 65536;
    *out = nullptr;
    IMF_METADATAENTRY **tail = out;
    for (int n = 0; src; src = src->Next, ++n) {
        auto *e = n < kMaxEntries
                      ? static_cast<IMF_METADATAENTRY *>(std::calloc(1, sizeof(IMF_METADATAENTRY)))
                      : nullptr;
        if (!e) goto fail;
        *tail = e;
        tail = &e->Next;
        e->Marker = src->Marker;
        if (src->Length > 0 && src->Data) {
            e->Data = std::malloc(static_cast<std::size_t>(src->Length));
            if (!e->Data) goto fail;
            std::memcpy(e->Data, src->Data, static_cast<std::size_t>(src->Length));
            e->Length = src->Length;
        }
    }
    return true;
fail:
    FreeMetadata(*out);
    *out = nullptr;
    return false;
}

bool CopyColorMap(const void *src, IMF_COLORMAP **out) {
    *out = nullptr;
    if (!src) return true;
    auto *p = static_cast<IMF_COLORMAP *>(std::malloc(sizeof(IMF_COLORMAP)));
    if (!p) return false;
    std::memcpy(p, src, sizeof(IMF_COLORMAP));
    *out = p;
    return true;
}

long long PixelBytes(long long height, long long bytes_per_line) {
    if (height < 0 || bytes_per_line < 0) return -1;
    if (bytes_per_line != 0 && height > INT32_MAX / bytes_per_line) return -1;
    return height * bytes_per_line;
}

}  // namespace imgbase
