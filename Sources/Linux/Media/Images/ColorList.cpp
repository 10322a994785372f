#include "Linux/Media/Images/ColorList.h"

namespace lumicrate::media {

void ColorList::clear() {
    places_.assign(std::size_t{1} << placeBits, {});
    colors_.clear();
    pixels_.clear();
}

}  // namespace lumicrate::media
