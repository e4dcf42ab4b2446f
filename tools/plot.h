// The histograms of a picture drawn as a picture (`imge histogram --plot`,
// the contact sheet of `imge demo`).
#pragma once

#include "image.h"

namespace imge {
namespace tool {

// Four panels, one under the other: luminance, red, green and blue, each
// bar's height the count of one value (0..255) relative to the panel's
// largest count, with axes and labels. Grey, palette and black-and-white
// pictures are counted as RGB (R = G = B for grey). An RGB bitmap.
Image HistogramPlot(const IMG_BITMAP &b);

}  // namespace tool
}  // namespace imge
