// The two record conversions: field copies, never pixels. Shared by the base
// library (imgCreateBitmap, imgCloneBitmap) and libimge's entry frame.
#pragma once

#include <cstring>

#include "libimg.h"

namespace imge {
namespace records {

// Public record -> processing record. The processing record is cleared first;
// BitsPerComponent, ComponentsPerPixel, Xoffset and Yoffset stay 0.
inline void ToImf(IMF_BITMAP *imf, const IMG_BITMAP *img) {
    std::memset(imf, 0, sizeof *imf);
    imf->Type = img->Type;
    imf->Origin = img->Origin;
    imf->Width = img->Width;
    imf->Height = img->Height;
    imf->BytesPerLine = static_cast<TLong>(img->BytesPerLine);
    imf->BytesPerPixel = img->BytesPerPixel;
    imf->Xdpi = static_cast<TLong>(img->Xdpi);  // widened without sign
    imf->Ydpi = static_cast<TLong>(img->Ydpi);
    imf->ColorUsed = static_cast<TWord>(static_cast<TUword>(img->ColorUsed & 0xFFFF));
    imf->TransparentIndex = img->TransparentIndex;
    imf->ColorMap = reinterpret_cast<IMF_COLORMAP *>(img->ColorMap);
    imf->Data = img->Data;
    imf->Pack = img->LinePadding;
    imf->Metadata = static_cast<IMF_METADATAENTRY *>(img->MetaData);
    imf->Comment = img->Comment;
    imf->Name = img->Name;
}

// Processing record -> public record. BitsPerComponent becomes 8;
// ComponentsPerPixel, Reserved, XOffset and YOffset keep what the target held.
inline void ToImg(IMG_BITMAP *img, const IMF_BITMAP *imf) {
    img->Type = imf->Type;
    img->Origin = imf->Origin;
    img->Width = imf->Width;
    img->Height = imf->Height;
    img->BytesPerLine = static_cast<IMG_UINT32>(imf->BytesPerLine);
    img->BitsPerComponent = 8;
    img->BytesPerPixel = imf->BytesPerPixel;
    img->Xdpi = static_cast<IMG_UINT16>(imf->Xdpi & 0xFFFF);
    img->Ydpi = static_cast<IMG_UINT16>(imf->Ydpi & 0xFFFF);
    img->ColorUsed = imf->ColorUsed;  // sign-extended
    img->TransparentIndex = imf->TransparentIndex;
    img->ColorMap = reinterpret_cast<IMG_COLORMAP *>(imf->ColorMap);
    img->Data = imf->Data;
    img->LinePadding = imf->Pack;
    img->MetaData = imf->Metadata;
    img->Comment = imf->Comment;
    img->Name = imf->Name;
}

}  // namespace records
}  // namespace imge
