// Internal copies between storage forms, for code that must read pixels of
// a run-coded bitmap at once (turns, rotation, device contexts).
#pragma once

#include <cstdint>

#include "ztkrn.h"

namespace ztk {

// A plain bitmap from a compressed one, or a compressed one from a plain
// one: the copy takes the other storage form. Palette and region are shared
// with the source, not copied.
int32_t ExpandedBitmapCopy(BitmapHandle *destination, BitmapHandle *source);

// Turns a compressed bitmap into a plain one in place; the record keeps its
// palette and region.
int32_t ExpandBitmapInPlace(BitmapHandle *bitmap);

} // namespace ztk
