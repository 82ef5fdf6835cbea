/* The public header must stand alone in a C99 translation unit. */
#include "ztkrn.h"

int ztkrn_header_compiles_as_c99(void);
int ztkrn_header_compiles_as_c99(void) {
    BitmapHandle bitmap;
    bitmap.Width = 1;
    return (int)sizeof bitmap + bitmap.Width;
}
