// Number of distinct colours a bitmap uses.
//
// One-byte pixels: a 256-entry occurrence table, with duplicate palette
// entries of colour-mapped bitmaps merged. Wider pixels: one bit per 24-bit
// colour (2 MiB, pages only touched where colours fall), scanned row by row
// from the top and stopping once more than `limit` colours were seen. It
// counts exactly what an open-addressing set of colours counts, in the same
// order, and needs no growth steps.
#include <cstdint>
#include <cstring>

#include "core/bitmap_check.h"
#include "records/record_convert.h"
#include "core/scratch.h"
#include "libformat.h"
#include "libimge.h"

namespace {

constexpr TUlong kNoMemory = 0xFFFFFFFFu;

TUlong CountBytes(const IMF_BITMAP *b) {
    imge::Scratch<TUlong> counts(256, true);
    if (!counts.ok()) return kNoMemory;
    for (TLong y = 0; y < b->Height; ++y) {
        const TUbyte *p = b->Data + static_cast<long long>(y) * b->BytesPerLine;
        for (TLong x = 0; x < b->Width; ++x) ++counts[p[x]];
    }
    if (b->Type == IMF_COLORS && b->ColorMap && b->ColorUsed > 0) {
        // Palette entries with the same red, green and blue are one colour.
        const int n = b->ColorUsed > 256 ? 256 : static_cast<int>(b->ColorUsed);
        const IMF_COLORMAP *m = b->ColorMap;
        for (int i = 0; i + 1 < n; ++i)
            for (int j = i + 1; j < n; ++j)
                if (counts[j] && m->Red[j] == m->Red[i] && m->Green[j] == m->Green[i] &&
                    m->Blue[j] == m->Blue[i]) {
                    counts[i] += counts[j];
                    counts[j] = 0;
                }
    }
    TUlong distinct = 0;
    for (int v = 0; v < 256; ++v) distinct += counts[v] != 0;
    return distinct;
}

// Bytes 0, 1, 2 of the pixel as one number (byte 0 lowest), read as one
// unaligned 4-byte word with its top byte dropped: any one-to-one numbering
// of the colours serves the count. Reads one byte past the colour, so a
// 3-byte pixel at the end of a row is read byte by byte.
inline uint32_t ColourWord(const TUbyte *p) {
    uint32_t v;
    std::memcpy(&v, p, sizeof v);
    return v & 0xFFFFFFu;  // little-endian: bytes 0, 1, 2
}
inline uint32_t ColourBytes(const TUbyte *p) { return uint32_t{p[2]} << 16 | uint32_t{p[1]} << 8 | p[0]; }

// Marks the colour (counted afterwards, all at once).
inline void Set(uint64_t *seen, uint32_t c) { seen[c >> 6] |= uint64_t{1} << (c & 63); }

// Marks the colour and returns 1 when it was new.
inline TUlong Mark(uint64_t *seen, uint32_t c) {
    uint64_t &word = seen[c >> 6];
    const uint64_t bit = uint64_t{1} << (c & 63);
    const TUlong fresh = (word & bit) == 0;
    word |= bit;
    return fresh;
}

// Set bits of n words; with the machine's population-count instruction
// where it has one (chosen when the library is loaded).
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__)) && defined(__linux__)
__attribute__((target_clones("popcnt", "default")))
#endif
TUlong CountBits(const uint64_t *words, std::size_t n) {
    TUlong total = 0;
    for (std::size_t i = 0; i < n; ++i) total += static_cast<TUlong>(__builtin_popcountll(words[i]));
    return total;
}

TUlong CountColours(const IMF_BITMAP *b, TLong limit) {
    imge::Scratch<uint64_t> seen(std::size_t{1} << 18, true);  // 2^24 bits
    if (!seen.ok()) return kNoMemory;
    const int bpp = b->BytesPerPixel;
    // Pixels read as words: all of a row when a pixel holds four bytes.
    const TLong words = bpp >= 4 ? b->Width : b->Width - 1;
    TUlong count = 0;
    for (TLong y = 0; y < b->Height; ++y) {
        const TUbyte *p = b->Data + static_cast<long long>(y) * b->BytesPerLine;
        if (limit <= 0) {
            // No early stop: bits are only set (no test, no count per pixel:
            // 10.4 instead of 15.1 ms on the 4000 x 3000 photo) and counted
            // once at the end (0.1 ms with the population-count instruction,
            // 0.9 ms without).
            TLong x = 0;
            for (; x < words; ++x, p += bpp) Set(seen.get(), ColourWord(p));
            for (; x < b->Width; ++x, p += bpp) Set(seen.get(), ColourBytes(p));
            continue;
        }
        for (TLong x = 0; x < b->Width; ++x, p += bpp) {
            count += Mark(seen.get(), x < words ? ColourWord(p) : ColourBytes(p));
            if (count > static_cast<TUlong>(limit)) return count;
        }
    }
    if (limit <= 0) count = CountBits(seen.get(), seen.size());
    return count;
}

}  // namespace

extern "C" {

// Binary bitmaps count 2 without a look at their pixels. A record that is
// not a consistent bitmap cannot be counted and gives 0xFFFFFFFF, the same
// answer as a failed allocation.
TUlong imfGetCountColors(const IMF_BITMAP *bitmap, TLong limit) {
    if (!imge::BitmapIsValid(bitmap)) return kNoMemory;
    if (bitmap->Type == IMF_BINARY) return 2;
    if (bitmap->BytesPerPixel == 1) return CountBytes(bitmap);
    if (bitmap->BytesPerPixel < 3) return kNoMemory;
    return CountColours(bitmap, limit);
}

TUlong imgGetNumberOfColorsUsed(const IMG_BITMAP *bitmap) {
    if (!bitmap) return kNoMemory;
    IMF_BITMAP local;
    imge::records::ToImf(&local, bitmap);
    return imfGetCountColors(&local, -1);
}

}  // extern "C"
