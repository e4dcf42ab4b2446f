// Fuzzing of loading and saving files through the base library: raw bytes,
// or a small valid PNG, JPEG or PNM (with EXIF, XMP, IPTC and ICC blocks)
// with a few bytes changed and sometimes cut. Whatever loads must describe
// itself consistently and save again as PNG and JPEG; whatever fails must
// leave no bitmap behind. The sanitizers catch any read past the data.
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "fuzz_support.h"
#include "libtools.h"
#include "support/exif_block.h"
#include "support/jpeg_files.h"

namespace {

std::vector<uint8_t> Valid(const std::string &dir, int kind, fuzz::Input &in) {
    static const char *names[] = {"seed.png", "seed.jpg", "seed.ppm"};
    IMG_BITMAP *b = imgCreateBitmap(kind == 0 && in.Coin() ? IMG_COLORS : IMG_RGB, in.Range(1, 40), in.Range(1, 40));
    if (b->Type == IMG_COLORS) b->ColorUsed = 256;
    for (size_t i = 0; i < size_t(b->Height) * b->BytesPerLine; ++i) b->Data[i] = in.Byte();
    testing_support::ExifRecipe r;
    r.orientation = in.Range(0, 8);
    r.pixel_width = in.Coin() ? 99 : 0;
    r.pixel_height = 7;
    if (in.Coin()) r.thumbnail = testing_support::FakeJpeg(30);
    const std::vector<uint8_t> exif = testing_support::MakeExifBlock(r), text(in.Range(0, 300), 'x');
    IMF_METADATAENTRY e[3] = {{IMF_EXIF_METADATA, TLong(exif.size()), const_cast<uint8_t *>(exif.data()), &e[1]},
                              {IMF_XMP_METADATA, TLong(text.size()), const_cast<uint8_t *>(text.data()), &e[2]},
                              {IMF_IPTC_METADATA, TLong(text.size()), const_cast<uint8_t *>(text.data()), nullptr}};
    b->MetaData = e;
    const std::string path = dir + "/" + names[kind];
    IMG_SAVE_OPTIONS opt{in.Range(0, 100), in.Coin() ? 444 : 420, in.Coin()};
    const IMG_ERROR rc = imgSaveBitmap(path.c_str(), b, &opt);
    b->MetaData = nullptr;
    imgFreeBitmap(b);
    FUZZ_CHECK(rc == IMG_NO_ERROR, "saving the seed %s: %d", names[kind], rc);
    return testing_support::ReadFileBytes(path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::Input in(data, size);
    testing_support::TempDir dir;
    const int kind = in.Range(0, 3);
    std::vector<uint8_t> file;
    if (kind == 3) {
        while (in.Left()) file.push_back(in.Byte());
    } else {
        file = Valid(dir.path(), kind, in);
        const int edits = in.Range(0, 4);
        for (int i = 0; i < edits; ++i) file[in.Range(0, 0xFFFF) % file.size()] = in.Byte();
        if (in.Byte() % 4 == 0) file.resize(in.Range(0, 0xFFFF) % file.size());
    }
    const std::string path = dir.File("in.bin");
    testing_support::WriteFileBytes(path, file);
    // Damaged files are refused: accepted, a few bytes that declare a huge
    // picture would have all its rows written (the tool's test covers
    // AcceptDamaged on a cut file).
    IMG_LOAD_OPTIONS opt{0, in.Coin()};
    IMG_BITMAP *b = reinterpret_cast<IMG_BITMAP *>(&opt);  // must be cleared on failure
    char message[64];
    const IMG_ERROR rc = imgLoadBitmapMessage(path.c_str(), &opt, &b, message, sizeof message);
    if (rc != IMG_NO_ERROR) {
        FUZZ_CHECK(b == nullptr, "failed load left a bitmap");
        FUZZ_CHECK(std::strlen(message) < sizeof message, "message not terminated");
        return 0;
    }
    FUZZ_CHECK(b && b->Data && b->Width > 0 && b->Height > 0 && b->BytesPerLine >= IMG_UINT32(b->Width),
               "loaded bitmap %dx%d", b ? int(b->Width) : -1, b ? int(b->Height) : -1);
    for (const char *out : {"out.png", "out.jpg"}) {
        const IMG_ERROR s = imgSaveBitmap(dir.File(out).c_str(), b, nullptr);
        FUZZ_CHECK(s == IMG_NO_ERROR || s == IMG_ERROR_BAD_BITMAP, "saving %s: %d", out, s);
    }
    imgFreeBitmap(b);
    return 0;
}
