/* A minimal C host: make a bitmap, write a row, read it back. */
#include <stdio.h>
#include <string.h>

#include <ztkrn.h>

int main(void) {
    BitmapHandle bitmap;
    unsigned char row[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    unsigned char back[12];
    int ok;
    if (Z_InitBitmap(&bitmap, 4, 2, 24) != Z_OK ||
        Z_AllocateBitmap(&bitmap, MEMORY_ANY) != Z_OK)
        return 1;
    Z_PutBitmapRow(&bitmap, row, 1, sizeof row);
    Z_GetBitmapRow(&bitmap, back, 1, sizeof back);
    ok = memcmp(row, back, sizeof row) == 0;
    Z_FreeBitmap(&bitmap);
    printf("consumer: %s\n", ok ? "rows read back" : "rows differ");
    return ok ? 0 : 1;
}
