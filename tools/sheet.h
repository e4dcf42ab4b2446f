// The contact sheet: a labelled grid of thumbnails.
#pragma once

#include <string>
#include <vector>

#include "image.h"

namespace imge {
namespace tool {

struct SheetCell {
    std::string label;
    Image picture;     // null: the cell shows `note` only
    std::string note;  // a second line under the label (a count, an error)
};

// Thumbnails of at most 200 x 150 in rows of four, label under each, title on top.
Image MakeContactSheet(const std::vector<SheetCell> &cells, const std::string &title);

}  // namespace tool
}  // namespace imge
