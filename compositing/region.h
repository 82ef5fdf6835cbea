// The region record behind BitmapHandle.Region. Regions are built by a
// companion module; the kernel only deletes them and asks about them.
#pragma once

#include "ztkrn.h"
