#include "core/bitmap_check.h"

#include <cstdint>

#include "records/pixel_types.h"
#include "records/record_layout.h"

namespace imge {

bool BitmapIsValid(const IMF_BITMAP *b) { return imge::records::RecordIsValid(b); }

int PaletteEntries(const IMF_BITMAP *b) {
    int n = b->ColorUsed;
    return n < 0 ? 0 : n > 256 ? 256 : n;
}

}  // namespace imge
