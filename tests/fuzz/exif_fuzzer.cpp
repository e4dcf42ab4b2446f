// Fuzzing of the EXIF services on arbitrary APP1 blocks: raw input bytes, or
// a well-formed block (either byte order, orientation, thumbnail) with a few
// bytes changed by the input. Each block sits in a buffer of exactly its
// length, so any read or write past it is caught.
//
// Checks: EXIFSetOrientation writes at most the two bytes of the value it
// reports rewriting (the length never changes), refuses values outside 1..8
// and blocks without an orientation untouched, and EXIFGetOrientation then
// reads back what was written; EXIFThumbGet reports only streams that lie
// inside the block and start with a JPEG SOI, points its orientation inside
// the block, leaves `info` alone when it finds nothing, and gives the same
// answers with and without the "Exif\0\0" identifier.
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz_support.h"
#include "support/exif_block.h"

namespace {

std::vector<uint8_t> MakeBlock(fuzz::Input &in) {
    if (in.Byte() % 3 == 0) {  // the rest of the input as it is
        std::vector<uint8_t> raw;
        while (in.Left()) raw.push_back(in.Byte());
        return raw;
    }
    testing_support::ExifRecipe recipe;
    recipe.big_endian = in.Coin();
    recipe.orientation = in.Range(0, 9);
    if (in.Coin()) recipe.thumbnail = testing_support::FakeJpeg(static_cast<size_t>(in.Range(2, 40)));
    recipe.thumb_orientation = in.Range(0, 9);
    recipe.thumb_width = in.Coin() ? in.U32() : 0;
    recipe.thumb_height = in.Coin() ? in.U32() : 0;
    recipe.pixel_width = in.Coin() ? in.Range(0, 5000) : 0;
    recipe.pixel_height = in.Coin() ? in.Range(0, 5000) : 0;
    recipe.filler_entries = in.Range(0, 4);
    std::vector<uint8_t> block = testing_support::MakeExifBlock(recipe);
    // A few changed bytes, and sometimes a cut.
    const int edits = in.Range(0, 6);
    for (int i = 0; i < edits && !block.empty(); ++i) block[in.Range(0, 0xFFFF) % block.size()] = in.Byte();
    if (in.Byte() % 4 == 0 && !block.empty()) block.resize(in.Range(0, 0xFFFF) % block.size());
    return block;
}

// The block in a heap buffer of exactly its size.
struct Exact {
    std::unique_ptr<uint8_t[]> p;
    size_t n;
    explicit Exact(const std::vector<uint8_t> &v) : p(new uint8_t[v.size() ? v.size() : 1]), n(v.size()) {
        if (n) std::memcpy(p.get(), v.data(), n);
    }
};

bool SameInfo(const EXIFThumbInfo &a, const EXIFThumbInfo &b) { return std::memcmp(&a, &b, sizeof a) == 0; }

void CheckThumb(const uint8_t *block, size_t n, EXIFThumbInfo *got, int *found) {
    EXIFThumbInfo info;
    std::memset(&info, 0xA5, sizeof info);
    const EXIFThumbInfo untouched = info;
    *found = EXIFThumbGet(block, static_cast<TLong>(n), &info);
    if (!*found) {
        FUZZ_CHECK(SameInfo(info, untouched), "EXIFThumbGet found nothing but wrote info");
        return;
    }
    FUZZ_CHECK(info.Size >= 2 && info.Offset <= n && n - info.Offset >= info.Size, "thumbnail %lu+%lu outside %zu",
               static_cast<unsigned long>(info.Offset), static_cast<unsigned long>(info.Size), n);
    FUZZ_CHECK(block[info.Offset] == 0xFF && block[info.Offset + 1] == 0xD8, "thumbnail without SOI");
    if (info.HasOrientation)
        FUZZ_CHECK(info.OrientationPtr >= block && info.OrientationPtr + 2 <= block + n,
                   "thumbnail orientation pointer outside the block");
    else
        FUZZ_CHECK(info.OrientationPtr == nullptr, "orientation pointer without an orientation");
    *got = info;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::Input in(data, size);
    const int wanted = in.Range(-1, 10);
    const bool prefix = in.Coin();
    std::vector<uint8_t> v = MakeBlock(in);
    static const uint8_t kExif[6] = {'E', 'x', 'i', 'f', 0, 0};
    const bool had_id = v.size() >= 6 && std::memcmp(v.data(), kExif, 6) == 0;
    if (!prefix && had_id) v.erase(v.begin(), v.begin() + 6);  // the bare TIFF structure
    Exact block(v);

    // Orientation: read, rewrite, read back.
    IMF_METADATAENTRY entry{IMF_EXIF_METADATA, static_cast<TLong>(block.n), block.p.get(), nullptr};
    int before_value = -12345;
    const int had = EXIFGetOrientation(&entry, &before_value);
    FUZZ_CHECK(had || before_value == -12345, "EXIFGetOrientation wrote a value it did not find");
    const std::vector<uint8_t> kept(block.p.get(), block.p.get() + block.n);
    const int set = EXIFSetOrientation(&entry, wanted);
    FUZZ_CHECK(entry.Length == static_cast<TLong>(block.n) && entry.Data == block.p.get(), "entry changed");
    int changed = 0;
    for (size_t i = 0; i < block.n; ++i) changed += block.p[i] != kept[i];
    if (!set) {
        FUZZ_CHECK(changed == 0, "EXIFSetOrientation refused but changed %d bytes", changed);
        FUZZ_CHECK(!(wanted >= 1 && wanted <= 8 && had), "EXIFSetOrientation refused a block with an orientation");
    } else {
        FUZZ_CHECK(wanted >= 1 && wanted <= 8, "EXIFSetOrientation wrote %d", wanted);
        FUZZ_CHECK(changed <= 2, "EXIFSetOrientation changed %d bytes", changed);
        int now = 0;
        FUZZ_CHECK(EXIFGetOrientation(&entry, &now) && now == wanted, "read back %d after writing %d", now, wanted);
    }

    // Damaged entries.
    int o = 0;
    IMF_METADATAENTRY bad = entry;
    bad.Length = -static_cast<TLong>(in.Range(0, 100));
    FUZZ_CHECK(!EXIFGetOrientation(&bad, &o) && !EXIFSetOrientation(&bad, 1));
    bad = entry;
    bad.Data = nullptr;
    FUZZ_CHECK(!EXIFGetOrientation(&bad, &o) && !EXIFSetOrientation(&bad, 1));
    FUZZ_CHECK(!EXIFGetOrientation(nullptr, &o) && !EXIFGetOrientation(&entry, nullptr));

    // Thumbnail, with and without the identifier.
    EXIFThumbInfo a{}, b{};
    int found_a = 0, found_b = 0;
    CheckThumb(block.p.get(), block.n, &a, &found_a);
    EXIFThumbInfo dummy;
    FUZZ_CHECK(!EXIFThumbGet(nullptr, 10, &dummy) && !EXIFThumbGet(block.p.get(), 0, &dummy));
    if (prefix && had_id) {
        Exact bare(std::vector<uint8_t>(block.p.get() + 6, block.p.get() + block.n));
        CheckThumb(bare.p.get(), bare.n, &b, &found_b);
        FUZZ_CHECK(found_a == found_b, "thumbnail found %d with the identifier, %d without", found_a, found_b);
        if (found_a)
            FUZZ_CHECK(a.Offset == b.Offset + 6 && a.Size == b.Size && a.Width == b.Width && a.Height == b.Height &&
                           a.HasOrientation == b.HasOrientation && a.BigEndian == b.BigEndian,
                       "thumbnail answers differ with the identifier");
        IMF_METADATAENTRY e2{IMF_EXIF_METADATA, static_cast<TLong>(bare.n), bare.p.get(), nullptr};
        int v1 = -1, v2 = -1;
        const int g1 = EXIFGetOrientation(&entry, &v1), g2 = EXIFGetOrientation(&e2, &v2);
        FUZZ_CHECK(g1 == g2 && v1 == v2, "orientation %d/%d with the identifier, %d/%d without", g1, v1, g2, v2);
    }
    return 0;
}
