// What the tool itself offers beside the library's operations: a description
// of a file as the tool loads it (size and bitmap type).
#include "op_table.h"

namespace tool {

std::vector<Op> InfoOps() {
    return {
        Report("info", "Prints the size and the bitmap type a file is loaded as", {},
               [](const Args &, const IMG_BITMAP &b) {
                   std::string s = std::to_string(b.Width) + " x " + std::to_string(b.Height) + " " + TypeName(b.Type);
                   if (b.Type == IMG_COLORS) {
                       const auto *map = reinterpret_cast<const IMF_COLORMAP *>(b.ColorMap);
                       s += " (" + std::to_string(b.ColorUsed) + " palette entries" +
                            (map && map->HasAlpha ? ", with alpha)" : ")");
                   }
                   return s + "\n";
               }),
    };
}

}  // namespace tool
