// Sepia toning (imgSepia) and grey blend with a tint (imgSepiaEx).
#include <cstdint>

#include "colour/rgb_positions.h"
#include "colour/sepia_rows.h"
#include "libimge.h"

namespace {

// A double offset truncated toward zero to 16 bits; its low byte is used.
inline int Offset(double v) { return static_cast<uint8_t>(static_cast<int16_t>(v)); }

void ToneRows(IMG_BITMAP *b, const imge::colour::RgbPositions &pos, const imge::colour::SepiaTone &tone) {
    for (IMG_INT32 y = 0; y < b->Height; ++y)
        imge::colour::SepiaRow(b->Data + static_cast<long long>(y) * b->BytesPerLine, b->Width, b->BytesPerPixel, pos,
                       tone);
}

}  // namespace

extern "C" {

// Percent outside 0..100 is refused (IMG_ERROR_BAD_PARAMETERS) before
// anything is cloned.
IMG_ERROR imgSepia(IMG_BITMAP *src, IMG_BITMAP **bdst, IMG_INT32 percent) {
    if (percent < 0 || percent > 100) return IMG_ERROR_BAD_PARAMETERS;
    IMG_BITMAP *work = nullptr;
    imge::colour::RgbPositions pos;
    IMG_ERROR rc = imge::colour::BeginPublicTrueColour(src, bdst, &work, &pos);
    if (rc != IMG_NO_ERROR) return rc;
    const double f = percent / 100.0;
    const imge::colour::SepiaTone tone{imge::colour::SepiaTone::kWarm, Offset(64.0 * f), Offset(32.0 * f), Offset(0.0 * f), 0.0, 0.0};
    ToneRows(work, pos, tone);
    return IMG_NO_ERROR;
}

// Also refuses colour components above 255.
IMG_ERROR imgSepiaEx(IMG_BITMAP *src, IMG_BITMAP **bdst, IMG_INT32 percent, const IMG_COLOR *color) {
    if (percent < 0 || percent > 100 || !color || color->Red > 255 || color->Green > 255 ||
        color->Blue > 255)
        return IMG_ERROR_BAD_PARAMETERS;
    IMG_BITMAP *work = nullptr;
    imge::colour::RgbPositions pos;
    IMG_ERROR rc = imge::colour::BeginPublicTrueColour(src, bdst, &work, &pos);
    if (rc != IMG_NO_ERROR) return rc;
    const double f = percent / 100.0;
    const imge::colour::SepiaTone tone{percent == 100 ? imge::colour::SepiaTone::kGreyTint : imge::colour::SepiaTone::kBlendTint,
                               Offset((255 - color->Red) * f), Offset((255 - color->Green) * f),
                               Offset((255 - color->Blue) * f), 1.0 - f, f / 3.0};
    ToneRows(work, pos, tone);
    return IMG_NO_ERROR;
}

}  // extern "C"
