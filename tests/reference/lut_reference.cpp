#include "reference/lut_reference.h"

#include <cstring>

#include "libtools.h"

namespace reference {

void ApplyLut(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, const TUbyte table_in[256]) {
    TUbyte table[256];
    std::memcpy(table, table_in, 256);
    int n = target->ColorUsed;  // signed 16-bit
    if (target->Type == IMF_GREY && n != 256 && n >= 2 && n <= 256) {
        TUbyte t2[256] = {0};
        for (int i = 0; i <= n - 1; ++i) {
            int j = (i * 255) / (n - 1);
            t2[i] = static_cast<TUbyte>((table[j] * (n - 1)) / 255);
        }
        std::memcpy(table, t2, 256);
    }
    TUbyte tables[768];
    for (int k = 0; k < 3; ++k) std::memcpy(tables + 256 * k, table, 256);
    ApplyLutMore(src, target, rect, tables);
}

void ApplyLutMore(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, const TUbyte tables[768]) {
    if (target->Type == IMF_COLORS) {
        if (target->ColorMap != src.ColorMap) std::memcpy(target->ColorMap, src.ColorMap, sizeof(IMF_COLORMAP));
        int used = src.ColorUsed < 0 ? 0 : src.ColorUsed > 256 ? 256 : src.ColorUsed;
        for (int k = 0; k < used; ++k) {
            target->ColorMap->Red[k] = tables[target->ColorMap->Red[k]];
            target->ColorMap->Green[k] = tables[256 + target->ColorMap->Green[k]];
            target->ColorMap->Blue[k] = tables[512 + target->ColorMap->Blue[k]];
        }
        return;
    }
    for (int y = rect.top; y < rect.top + rect.height; ++y)
        for (int x = rect.left; x < rect.left + rect.width; ++x) {
            TUbyte *p = target->Data + y * target->BytesPerLine + x * target->BytesPerPixel;
            int count = target->BytesPerPixel == 4 ? 3 : target->BytesPerPixel;
            for (int c = 0; c < count; ++c) p[c] = tables[256 * c + p[c]];
        }
}

void NegateBits(IMF_BITMAP *target, const IMF_RECT &rect) {
    for (int y = rect.top; y < rect.top + rect.height; ++y) {
        TUbyte *row = target->Data + y * target->BytesPerLine;
        for (int x = rect.left; x < rect.left + rect.width; ++x)
            imfCleanAndSetBitAtBuffer(row, x, imfGetBitAtBuffer(row, x) ? 0 : 1);
    }
}

}  // namespace reference
