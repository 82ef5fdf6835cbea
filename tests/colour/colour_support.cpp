#include "tests/colour/colour_support.h"

#include "core/os/os.h"

namespace ztk::testing {

bool Palette::DeletePalette(ZHPALETTE handle) {
    return ztk::os::ObjectDelete(handle);
}

} // namespace ztk::testing
