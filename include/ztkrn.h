/*
 * ztkrn.h - the public interface of the ztkrn imaging kernel.
 *
 * Plain C (C99 or later, or C++), C linkage. Every exported function takes
 * the address of a BitmapHandle record owned by the caller; the storage,
 * palette, region and gray table it points at belong to the library until
 * Z_FreeBitmap.
 */
#ifndef ZTKRN_H
#define ZTKRN_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#include <windows.h>
#endif

/* One calling convention for every exported function and every callback. */
#if defined(_WIN32) && !defined(_WIN64)
#define ZAPI __stdcall
#else
#define ZAPI
#endif

#if defined(_WIN32)
#define ZTKRN_EXPORT
#elif defined(__GNUC__)
#define ZTKRN_EXPORT __attribute__((visibility("default")))
#else
#define ZTKRN_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ */
/* Basic types                                                         */
/* ------------------------------------------------------------------ */

/* An operating-system handle: a file, a mapping, a global block or a
 * logical palette. Pointer-sized on every platform. */
typedef void *ZHANDLE;
typedef ZHANDLE ZHPALETTE;

/* The invalid file handle returned by the open and create calls. */
#define Z_INVALID_HANDLE ((ZHANDLE)(intptr_t)-1)

#if defined(_WIN32)
/* RGBQUAD and RECT are the system's own (from windows.h). */
#else
typedef struct tagRGBQUAD {
    uint8_t rgbBlue;
    uint8_t rgbGreen;
    uint8_t rgbRed;
    uint8_t rgbReserved;
} RGBQUAD;

/* Right and bottom are exclusive. */
typedef struct tagRECT {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
} RECT;
#endif

/* A colour: red in the low byte, then green, blue, and a tag byte. */
typedef uint32_t ColorValue;

/* ------------------------------------------------------------------ */
/* Result codes                                                        */
/* ------------------------------------------------------------------ */

#define Z_OK 1
#define Z_ERR_NOMEM (-1)
#define Z_ERR_NOBITMAP (-2)
#define Z_ERR_SEEK (-4)
#define Z_ERR_WRITE (-5)
#define Z_ERR_READ (-7)
#define Z_ERR_EMPTY (-11)
#define Z_ERR_PARAM (-13)
#define Z_ERR_FORMAT (-16)
#define Z_ERR_BITSPERPIXEL (-27)
#define Z_ERR_NODISPATCH (-30)
#define Z_ERR_GATE (-143)
#define Z_ERR_HOTKEY_REMOVE (-312)
#define Z_ERR_HOTKEY_CREATE (-313)
#define Z_ERR_LOCKED (-314)

#define COLOR_INVALID ((ColorValue)0x80000000u)

/* ------------------------------------------------------------------ */
/* The bitmap record                                                   */
/* ------------------------------------------------------------------ */

#define BITMAP_ALLOCATED 0x0001u
#define BITMAP_INMEMORY 0x0002u
#define BITMAP_ONDISK 0x0004u
#define BITMAP_LOCKED 0x0010u
#define BITMAP_CLIENTBIT 0x0020u
#define BITMAP_PLAYBACK1 0x0040u
#define BITMAP_PLAYBACK2 0x0080u
#define BITMAP_COMPRESSED 0x0100u
#define BITMAP_NEGATIVE 0x0200u
#define BITMAP_MIRROR 0x0400u
#define BITMAP_GRAYLUT 0x0800u
#define BITMAP_GLOBALBLOCK 0x1000u

/* Storage requests for Z_AllocateBitmap. */
#define MEMORY_ANY 1
#define MEMORY_DISK 128
#define MEMORY_NODISK 256
#define MEMORY_COMPRESSED 512

struct DitherState;
struct ZarnRgn;

/* 34 words in a fixed order, shared with hosts and sibling modules. */
typedef struct BitmapHandle {
    ZHANDLE Storage;            /* global block, mapping or temporary file */
    void *Data;                 /* pixels, file name or compressed row table */
    int32_t Width;
    int32_t Height;
    int32_t BitsPerPixel;
    uint32_t BytesPerLine;
    uint32_t CurrentRowOffset;
    uint32_t CurrentRow;
    uint32_t Flags;
    int32_t ColorCount;
    ZHPALETTE Palette;
    int32_t ViewPerspective;
    int32_t Order;
    uint32_t Size;
    struct DitherState *DitherState;
    uint32_t DitheringMethod;
    struct ZarnRgn *Region;
    int32_t XResolution;
    int32_t YResolution;
    uint32_t PlaybackValue1;
    uint32_t PlaybackValue2;
    uint32_t PlaybackValue3;
    ColorValue PlaybackColor1;
    ColorValue PlaybackColor2;
    uint32_t PlaybackValue4;
    int32_t LowBit;
    int32_t HighBit;
    RGBQUAD *GrayLUT;
    uint32_t GrayLUTLength;
    uint32_t DataOffset;
    int32_t LowValue;
    int32_t HighValue;
    int32_t BaseLowBit;
    int32_t BaseHighBit;
} BitmapHandle;

/* The record is 34 words: in a 32-bit build exactly 136 bytes. Wider
 * builds widen the six pointer and handle fields and pad for alignment. */
#if UINTPTR_MAX == 0xFFFFFFFFu
typedef char ztkrn_record_is_136_bytes[(sizeof(BitmapHandle) == 136) ? 1 : -1];
#endif

/* ------------------------------------------------------------------ */
/* Module settings and version                                         */
/* ------------------------------------------------------------------ */

typedef int32_t(ZAPI *ZSTATUSCALLBACK)(int32_t percent);

typedef struct ZarnVersionInfo {
    char Product[60];
    int32_t Level;
    int32_t Major;
    int32_t Minor;
    char Date[16];
    char Time[16];
} ZarnVersionInfo;

ZTKRN_EXPORT int32_t ZAPI Z_SetDefaultXResolution(int32_t value);
ZTKRN_EXPORT int32_t ZAPI Z_GetDefaultXResolution(void);
ZTKRN_EXPORT int32_t ZAPI Z_SetDefaultYResolution(int32_t value);
ZTKRN_EXPORT int32_t ZAPI Z_GetDefaultYResolution(void);
ZTKRN_EXPORT int32_t ZAPI Z_DefaultDithering(uint32_t method);
ZTKRN_EXPORT ZSTATUSCALLBACK ZAPI Z_SetStatusCallBack(ZSTATUSCALLBACK fn);
ZTKRN_EXPORT ZSTATUSCALLBACK ZAPI Z_GetStatusCallBack(void);
ZTKRN_EXPORT int32_t ZAPI Z_VersionInfo(ZarnVersionInfo *info);

/* ------------------------------------------------------------------ */
/* The system layer                                                    */
/* ------------------------------------------------------------------ */

typedef ZHANDLE(ZAPI *ZOPENPROC)(const char *name, int32_t openFlags,
                                 int32_t permission);
typedef int32_t(ZAPI *ZREADPROC)(ZHANDLE file, void *buffer, uint32_t count);
typedef int32_t(ZAPI *ZWRITEPROC)(ZHANDLE file, const void *buffer,
                                  uint32_t count);
typedef uint32_t(ZAPI *ZSEEKPROC)(ZHANDLE file, int32_t offset, int32_t origin);
typedef int32_t(ZAPI *ZCLOSEPROC)(ZHANDLE file);

ZTKRN_EXPORT void *ZAPI Z_OsAlloc(uint32_t size);
ZTKRN_EXPORT void *ZAPI Z_OsAllocInit(uint32_t size, int32_t zeroFill);
ZTKRN_EXPORT void *ZAPI Z_OsReAlloc(void *block, uint32_t size);
ZTKRN_EXPORT int32_t ZAPI Z_OsFree(void *block);
ZTKRN_EXPORT ZHANDLE ZAPI Z_OsCreat(const char *name, int32_t attributes);
ZTKRN_EXPORT int32_t ZAPI Z_OsGetTempName(char *name);
ZTKRN_EXPORT ZHANDLE ZAPI Z_OsOpen(const char *name, int32_t openFlags,
                                   int32_t permission);
ZTKRN_EXPORT int32_t ZAPI Z_OsRead(ZHANDLE file, void *buffer, uint32_t count);
ZTKRN_EXPORT int32_t ZAPI Z_OsWrite(ZHANDLE file, const void *buffer,
                                    uint32_t count);
ZTKRN_EXPORT uint32_t ZAPI Z_OsSeek(ZHANDLE file, int32_t offset,
                                    int32_t origin);
ZTKRN_EXPORT int32_t ZAPI Z_OsClose(ZHANDLE file);
ZTKRN_EXPORT int32_t ZAPI Z_OsDelete(const char *name);

/* Redirected I/O for the file-format modules, per thread. */
ZTKRN_EXPORT void ZAPI Z_RedirectIO(ZOPENPROC open, ZREADPROC read,
                                    ZWRITEPROC write, ZSEEKPROC seek,
                                    ZCLOSEPROC close);
ZTKRN_EXPORT void ZAPI Z_FilterIO(ZOPENPROC *open, ZREADPROC *read,
                                  ZWRITEPROC *write, ZSEEKPROC *seek,
                                  ZCLOSEPROC *close);
ZTKRN_EXPORT ZHANDLE ZAPI Z_RedirectedOpen(const char *name, int32_t openFlags,
                                           int32_t permission);
ZTKRN_EXPORT int32_t ZAPI Z_RedirectedRead(ZHANDLE file, void *buffer,
                                           uint32_t count);
ZTKRN_EXPORT int32_t ZAPI Z_RedirectedWrite(ZHANDLE file, const void *buffer,
                                            uint32_t count);
ZTKRN_EXPORT uint32_t ZAPI Z_RedirectedSeek(ZHANDLE file, int32_t offset,
                                            int32_t origin);
ZTKRN_EXPORT int32_t ZAPI Z_RedirectedClose(ZHANDLE file);

/* ------------------------------------------------------------------ */
/* Bitmap lifetime                                                     */
/* ------------------------------------------------------------------ */

ZTKRN_EXPORT int32_t ZAPI Z_InitBitmap(BitmapHandle *bitmap, int32_t width,
                                       int32_t height, int32_t bitsPerPixel);
ZTKRN_EXPORT int32_t ZAPI Z_AllocateBitmap(BitmapHandle *bitmap,
                                           int32_t memory);
ZTKRN_EXPORT void ZAPI Z_FreeBitmap(BitmapHandle *bitmap);
ZTKRN_EXPORT int32_t ZAPI Z_FreeImage(BitmapHandle *bitmap, int32_t alsoOwned);
ZTKRN_EXPORT void ZAPI Z_AccessBitmap(BitmapHandle *bitmap);
ZTKRN_EXPORT void ZAPI Z_ReleaseBitmap(BitmapHandle *bitmap);
ZTKRN_EXPORT int32_t ZAPI Z_LockBitmap(BitmapHandle *bitmap);
ZTKRN_EXPORT void ZAPI Z_UnlockBitmap(BitmapHandle *bitmap,
                                      int32_t previousState);
ZTKRN_EXPORT int32_t ZAPI Z_ChangeBitmapHeight(BitmapHandle *bitmap,
                                               int32_t height);
ZTKRN_EXPORT void ZAPI Z_CopyBitmapHandle(BitmapHandle *destination,
                                          const BitmapHandle *source);

/* ------------------------------------------------------------------ */
/* Rows                                                                */
/* ------------------------------------------------------------------ */

ZTKRN_EXPORT int32_t ZAPI Z_GetBitmapRow(BitmapHandle *bitmap, void *buffer,
                                         uint32_t row, uint32_t count);
ZTKRN_EXPORT int32_t ZAPI Z_GetBitmapRowCol(BitmapHandle *bitmap,
                                            void *buffer, uint32_t row,
                                            uint32_t column, uint32_t count);
ZTKRN_EXPORT int32_t ZAPI Z_PutBitmapRow(BitmapHandle *bitmap,
                                         const void *buffer, uint32_t row,
                                         uint32_t count);
ZTKRN_EXPORT int32_t ZAPI Z_PutBitmapRowCol(BitmapHandle *bitmap,
                                            const void *buffer, uint32_t row,
                                            uint32_t column, uint32_t count);

/* ------------------------------------------------------------------ */
/* Run-coded rows and compressed bitmaps                           */
/* ------------------------------------------------------------------ */

/* (declarations of this family follow as it is built) */

/* A run-coded row is a list of 16-bit run lengths, alternately 0-bits and
 * 1-bits, the first counting 0-bits. A compressed buffer holds rows back
 * to back, each a 32-bit count N followed by N codes. Callers size every
 * buffer: a row of W pixels needs at most W * 2 + 2 bytes of codes. */
ZTKRN_EXPORT int32_t ZAPI Z_CompressRow(void *row, void *source,
                                        uint32_t column, uint32_t pixels);
ZTKRN_EXPORT int32_t ZAPI Z_CompressRows(void *buffer, const void *source,
                                         uint32_t pixels, uint32_t rows);
ZTKRN_EXPORT int32_t ZAPI Z_ExpandRow(const void *row, void *destination,
                                      uint32_t column, uint32_t pixels);
ZTKRN_EXPORT int32_t ZAPI Z_ExpandRows(const void *buffer, void *destination,
                                       uint32_t pixels, uint32_t rows);
ZTKRN_EXPORT int32_t ZAPI Z_MirrorCompressedBuffer(const void *source,
                                                   void *destination,
                                                   int32_t rows);
ZTKRN_EXPORT int32_t ZAPI Z_FlipCompressedBuffer(const void *source,
                                                 void *destination,
                                                 int32_t rows);
ZTKRN_EXPORT int32_t ZAPI Z_TrimBitmapHeap(BitmapHandle *bitmap);
ZTKRN_EXPORT int32_t ZAPI Z_GrowBitmapHeap(BitmapHandle *bitmap,
                                           uint32_t bytes);
ZTKRN_EXPORT int32_t ZAPI Z_GetBitmapRowCompressed(BitmapHandle *bitmap,
                                                   void *work, void *buffer,
                                                   int32_t firstRow,
                                                   int32_t rows);
ZTKRN_EXPORT int32_t ZAPI Z_PutBitmapRowCompressed(BitmapHandle *bitmap,
                                                   void *work,
                                                   const void *buffer,
                                                   int32_t firstRow,
                                                   int32_t rows);
ZTKRN_EXPORT int32_t ZAPI Z_GetBitmapRowColCompressed(BitmapHandle *bitmap,
                                                      void *work, void *buffer,
                                                      uint32_t row,
                                                      uint32_t column,
                                                      uint32_t pixels);
ZTKRN_EXPORT int32_t ZAPI Z_PutBitmapRowColCompressed(BitmapHandle *bitmap,
                                                      void *work,
                                                      const void *source,
                                                      uint32_t row,
                                                      uint32_t column,
                                                      uint32_t pixels);

/* Writes the stretches of a prepared row that a segment list names, and
 * nothing else, into row `row` of a bitmap of any depth and tier.
 * `source` holds a full row in the bitmap's own layout; `list` holds pairs
 * of unsigned values, the first pixel of a stretch and the pixel after its
 * last, ascending and not overlapping, `count` values in all (an odd count
 * takes the value after the list as the last end). The source is indexed
 * by the plain pixel numbers, the bitmap at `column` plus them; at depths
 * below 8 and at 12 bits `column` starts a byte. Sub-byte stretches merge
 * their first and last bytes under the edge masks (at 2 bits a stretch
 * starting on a byte's third pixel leaves the fourth alone). With `keep`
 * non-zero a 32-bit pixel keeps its fourth byte and a 16-bit colour pixel
 * its top bit; on the temporary-file tier such a write reads the stretch
 * but leaves the file as it was. On a compressed bitmap the row is rebuilt
 * once for the whole list and the first source byte of a stretch that
 * starts inside a byte is changed during the call and put back; Size is
 * brought up to date. Rows and pixels are not checked against the bitmap,
 * but for compressed rows.
 * Returns Z_OK, or Z_ERR_NOMEM (no work buffer, the row heap can't grow),
 * Z_ERR_SEEK, Z_ERR_READ or Z_ERR_WRITE on the file tier, Z_ERR_PARAM for
 * a compressed row outside the bitmap or whose codes don't add up,
 * Z_ERR_BITSPERPIXEL for a depth no bitmap has. A plain row may be left
 * partly written when a later stretch fails. */
ZTKRN_EXPORT int32_t ZAPI Z_PutBitmapRowSegments(BitmapHandle *bitmap,
                                                 void *source, uint32_t row,
                                                 uint32_t column,
                                                 const uint32_t *list,
                                                 uint32_t count, int32_t keep);

/* ------------------------------------------------------------------ */
/* Palettes                                                        */
/* ------------------------------------------------------------------ */

/* (declarations of this family follow as it is built) */

/* Palettes cross between RGBQUAD arrays and logical palettes with the
 * reserved byte kept in the platform's flags byte. No call accepts more
 * than 256 entries. A palette handle of 0 means no palette. */
ZTKRN_EXPORT ZHPALETTE ZAPI Z_CreatePalette(const RGBQUAD *entries,
                                           int32_t count);
/* Entries delivered; 0 leaves the array as it was. */
ZTKRN_EXPORT int32_t ZAPI Z_GetPaletteEntries(ZHPALETTE palette, int32_t first,
                                              int32_t count, RGBQUAD *entries);
ZTKRN_EXPORT int32_t ZAPI Z_SetPaletteEntries(ZHPALETTE palette, int32_t first,
                                              int32_t count,
                                              const RGBQUAD *entries);
ZTKRN_EXPORT int32_t ZAPI Z_GetPaletteSize(ZHPALETTE palette);
/* 0 when the screen has no palette. */
ZTKRN_EXPORT ZHPALETTE ZAPI Z_CreateSystemPalette(void);
ZTKRN_EXPORT ZHPALETTE ZAPI Z_DupPalette(ZHPALETTE palette);
/* A ramp of 2^bits truncated levels; 0 bits means 8. */
ZTKRN_EXPORT ZHPALETTE ZAPI Z_CreateGrayPalette(int32_t bitsPerPixel);
/* Copies the fixed set of a depth (256 entries for 0 and 8, else 2^depth);
 * depth 0 gives a 256-level gray ramp. Z_ERR_PARAM above 8 bits. */
ZTKRN_EXPORT int32_t ZAPI Z_GetFixedPalette(RGBQUAD *entries,
                                            int32_t bitsPerPixel);
/* The shared read-only set for depths 1 to 8; null otherwise. */
ZTKRN_EXPORT const RGBQUAD * ZAPI Z_IntGetFixedPalette(int32_t bitsPerPixel);
/* Depth 0 makes the 1-bit set; 0 above 8 bits. */
ZTKRN_EXPORT ZHPALETTE ZAPI Z_CreateFixedPalette(int32_t bitsPerPixel);
/* By ColorCount (2 to 256, a power of two): 1 with Palette set, else 0. */
ZTKRN_EXPORT int32_t ZAPI Z_CreateBitmapFixedPalette(BitmapHandle *bitmap);
/* 1 when red, green and blue of every entry delivered agree. */
ZTKRN_EXPORT int32_t ZAPI Z_CompareHandleToPalette(ZHPALETTE palette,
                                                   const RGBQUAD *entries,
                                                   int32_t count);

/* ------------------------------------------------------------------ */
/* Gray parameters                                                 */
/* ------------------------------------------------------------------ */

/* (declarations of this family follow as it is built) */

/* The gray window as count, mask and shift: a sample reads as
 * (sample >> shift) & mask. Only count may be null. */
ZTKRN_EXPORT void ZAPI Z_GetGrayParams(int32_t bitsPerPixel, int32_t limit,
                                       int32_t lowBit, int32_t highBit,
                                       uint32_t *count, uint32_t *mask,
                                       uint32_t *shift);
ZTKRN_EXPORT void ZAPI Z_InitGrayParams(BitmapHandle *bitmap);
ZTKRN_EXPORT int32_t ZAPI Z_CopyGrayParams(BitmapHandle *destination,
                                           const BitmapHandle *source);
/* 0 not gray, 1 rising from black, 2 falling from white, 3 gray but not
 * the regular ramp. */
ZTKRN_EXPORT int32_t ZAPI Z_IsGrayScaleBitmap(const BitmapHandle *bitmap);

/* ------------------------------------------------------------------ */
/* Colour matching                                                 */
/* ------------------------------------------------------------------ */

/* (declarations of this family follow as it is built) */

/* The nearest entry by squared distance; -1 for an empty palette. */
ZTKRN_EXPORT int32_t ZAPI Z_FindPaletteIndex(const RGBQUAD *palette,
                                             int32_t count, int32_t red,
                                             int32_t green, int32_t blue);
/* 32768 entries, each a palette index plus 1, indexed by the 15-bit key
 * (red >> 3) << 10 | (green >> 3) << 5 | blue >> 3. */
ZTKRN_EXPORT uint32_t * ZAPI Z_CreateUserMatchTable(const RGBQUAD *palette,
                                                   int32_t count);
/* Makes the table the calling thread's; returns the one it replaces. */
ZTKRN_EXPORT uint32_t * ZAPI Z_SetUserMatchTable(uint32_t *table);
ZTKRN_EXPORT int32_t ZAPI Z_FreeUserMatchTable(uint32_t *table);
/* 256 bytes: the number of set bits in each byte value. */
ZTKRN_EXPORT const uint8_t * ZAPI Z_Get1BitOnTable(void);

/* ------------------------------------------------------------------ */
/* Buffer conversion                                               */
/* ------------------------------------------------------------------ */

/* (declarations of this family follow as it is built) */

/* Options of Z_ConvertBufferExt. The gray bits are also set from an order
 * of 2; only one side can have a window in one call. */
#define CONVERT_SRC_GRAY 0x0001u
#define CONVERT_DST_GRAY 0x0002u
#define CONVERT_SRC_WINDOW 0x0004u
#define CONVERT_DST_WINDOW 0x0008u

/* Converts `width` pixels in place, from any supported depth (0 meaning
 * 8-bit gray samples without palette, 1 to 8, 12, 16, 24, 32), order and
 * palette to any other. A null palette means the fixed set of its depth;
 * for a 12- or 16-bit gray source the source palette is its GrayLUT.
 * Z_OK, or Z_ERR_PARAM with the buffer untouched. */
ZTKRN_EXPORT int32_t ZAPI Z_ConvertBufferExt(void *buffer, int32_t width, int32_t sourceBits, int32_t destinationBits, int32_t sourceOrder, int32_t destinationOrder, const RGBQUAD *sourcePalette, const RGBQUAD *destinationPalette, uint32_t options, int32_t lowBit, int32_t highBit);
/* The same with the gray bits taken from the orders and no window. */
ZTKRN_EXPORT int32_t ZAPI Z_ConvertBuffer(void *buffer, int32_t width, int32_t sourceBits, int32_t destinationBits, int32_t sourceOrder, int32_t destinationOrder, const RGBQUAD *sourcePalette, const RGBQUAD *destinationPalette);
/* Bytes a buffer needs for a conversion that also changes width: the
 * largest of the strides involved, depth 0 counting as 8. */
ZTKRN_EXPORT uint32_t ZAPI Z_CalcConvertSize(int32_t sourceWidth, int32_t sourceBits, int32_t destinationWidth, int32_t destinationBits);

/* ------------------------------------------------------------------ */
/* Pixels and colours                                              */
/* ------------------------------------------------------------------ */

/* (declarations of this family follow as it is built) */

/* Tags in the high byte of a ColorValue; without one the value is a direct
 * colour, red in the low byte. */
#define COLOR_TAG_INDEX 0x01000000u  /* a palette index in the low bits */
#define COLOR_TAG_RAW16 0x02000000u  /* a raw 16-bit level */
#define COLOR_TAG_GRAY16 0x04000000u /* a 16-bit gray level, low 16 bits */

/* Row and column are stored coordinates, without view perspective.
 * COLOR_INVALID for a pixel outside the bitmap. */
ZTKRN_EXPORT ColorValue ZAPI Z_GetPixelColor(BitmapHandle *bitmap, int32_t row, int32_t column);
/* Z_OK, Z_ERR_NOBITMAP, or Z_ERR_EMPTY outside the bitmap (or outside the
 * region, when a companion module answers for it). */
ZTKRN_EXPORT int32_t ZAPI Z_PutPixelColor(BitmapHandle *bitmap, int32_t row, int32_t column, ColorValue color);
/* The value that stands for the same colour in the destination bitmap. */
ZTKRN_EXPORT ColorValue ZAPI Z_TranslateBitmapColor(const BitmapHandle *destination, const BitmapHandle *source, ColorValue color);
ZTKRN_EXPORT int32_t ZAPI Z_GetBitmapColors(const BitmapHandle *bitmap, int32_t first, int32_t count, RGBQUAD *entries);
/* Replaces a range of the palette; the bitmap gets a new palette handle. */
ZTKRN_EXPORT int32_t ZAPI Z_PutBitmapColors(BitmapHandle *bitmap, int32_t first, int32_t count, const RGBQUAD *entries);
ZTKRN_EXPORT int32_t ZAPI Z_CopyPlaybackParms(BitmapHandle *destination, const BitmapHandle *source);

/* ------------------------------------------------------------------ */
/* Bitmap creation and duplicates                                  */
/* ------------------------------------------------------------------ */

/* (declarations of this family follow as it is built) */

/* Options of Z_DupBitmapNewDim and Z_FreeDuplicateBitmap: 7 makes a fully
 * independent bitmap, 0 a record borrowing palette and region. */
#define DUP_ALLOCATE 0x0001u /* storage for the new record */
#define DUP_PALETTE 0x0002u  /* a copy of the palette, else shared */
#define DUP_REGION 0x0004u   /* a copy of the region, else shared */

/* Init, allocate and palette in one call; depth 0 makes an 8-bit bitmap
 * with a gray palette. The order counts above 8 bits only. */
ZTKRN_EXPORT int32_t ZAPI Z_CreateBitmap(BitmapHandle *bitmap, int32_t memory, int32_t width, int32_t height, int32_t bitsPerPixel, int32_t order, const RGBQUAD *palette, int32_t viewPerspective);
/* A new record like the source with new dimensions and depth. */
ZTKRN_EXPORT int32_t ZAPI Z_DupBitmapNewDim(BitmapHandle *destination, const BitmapHandle *source, int32_t width, int32_t height, int32_t bitsPerPixel, uint32_t options);
/* Undoes Z_DupBitmapNewDim made with the same options. */
ZTKRN_EXPORT int32_t ZAPI Z_FreeDuplicateBitmap(BitmapHandle *bitmap, uint32_t options);

/* ------------------------------------------------------------------ */
/* Dithering                                                       */
/* ------------------------------------------------------------------ */

/* (declarations of this family follow as it is built) */

/* Values of BitmapHandle.DitheringMethod. */
#define DitherNone 0
#define DitherFloydSteinberg 1
#define DitherStucki 2
#define DitherBurkes 3
#define DitherSierra 4
#define DitherStevensonArce 5
#define DitherJarvisJudiceNinke 6
#define DitherOrdered 7
#define DitherClustered 8

/* The running dither of one bitmap, hung on BitmapHandle.DitherState from
 * a successful start until Z_StopDithering. */
typedef struct DitherState {
    uint32_t RowCounter;          /* rows done; threshold methods only */
    uint32_t TargetColors;        /* entries in TargetPalette */
    RGBQUAD SourcePalette[256];   /* the source's colours, up to 8 bits */
    RGBQUAD TargetPalette[256];   /* the output colours */
    uint32_t *MatchTable;         /* 15-bit key to position + 1, or null */
    int32_t SourceBits;
    int32_t Method;
    int32_t PaletteKind;          /* 0 to 10 */
    int32_t OutputBits;
    uint32_t ErrorRowCount;       /* error rows per channel, 0 to 3 */
    uint32_t ErrorRowLength;      /* slots in each error row */
    int32_t *RedRows[3];
    int32_t *GreenRows[3];
    int32_t *BlueRows[3];
    RGBQUAD MatchPalette[256];    /* choosable entries; reserved = index */
    uint32_t MatchCount;
    uint32_t GrayBits;
    uint32_t GrayMask;
    uint32_t GrayShift;
} DitherState;

/* Starts a dither of the bitmap's rows to `colors` entries (1 to 256) of
 * `palette`, or of the fixed set of that size when it is null. */
ZTKRN_EXPORT int32_t ZAPI Z_StartDithering(BitmapHandle *bitmap,
                                           const RGBQUAD *palette,
                                           int32_t colors);
/* The same with the output depth given and, optionally, a caller's match
 * table, which is used and filled but never freed. */
ZTKRN_EXPORT int32_t ZAPI Z_StartDitheringExt(BitmapHandle *bitmap,
                                              const RGBQUAD *palette,
                                              int32_t colors,
                                              int32_t bitsPerPixel,
                                              uint32_t *matchTable);
/* One row, top row first: Width source pixels to Width indices. */
ZTKRN_EXPORT int32_t ZAPI Z_DitherLine(BitmapHandle *bitmap,
                                       const void *source, void *destination);
ZTKRN_EXPORT int32_t ZAPI Z_StopDithering(BitmapHandle *bitmap);

/* ------------------------------------------------------------------ */
/* Bitmap copy                                                     */
/* ------------------------------------------------------------------ */

/* (declarations of this family follow as it is built) */
/* A full independent copy: storage, palette and region of its own. */
ZTKRN_EXPORT int32_t ZAPI Z_CopyBitmap(BitmapHandle *destination, BitmapHandle *source);
/* Rows of the source into an allocated destination; the source's row count. */
ZTKRN_EXPORT int32_t ZAPI Z_CopyBitmapData(BitmapHandle *destination, BitmapHandle *source);
/* A new bitmap of the rectangle's size; a null destination, or the source
 * itself, replaces the source. Parts outside the source are left as
 * allocated. */
ZTKRN_EXPORT int32_t ZAPI Z_CopyBitmapRect(BitmapHandle *destination, BitmapHandle *source, int32_t left, int32_t top, int32_t width, int32_t height);
/* Reduces a bitmap in place to the rectangle clipped to the image. */
ZTKRN_EXPORT int32_t ZAPI Z_TrimBitmap(BitmapHandle *bitmap, int32_t left, int32_t top, int32_t width, int32_t height);

/* ------------------------------------------------------------------ */
/* Flip, mirror and right-angle turns                              */
/* ------------------------------------------------------------------ */

/* (declarations of this family follow as it is built) */
/* Upside down as the viewer sees it, in place. */
ZTKRN_EXPORT int32_t ZAPI Z_FlipBitmap(BitmapHandle *bitmap);
/* Left for right as the viewer sees it, in place. */
ZTKRN_EXPORT int32_t ZAPI Z_ReverseBitmap(BitmapHandle *bitmap);
/* Reverses `width` pixels of one packed row in place. At 12 bits the
 * buffer needs one byte of room after the row's last byte. */
ZTKRN_EXPORT int32_t ZAPI Z_MirrorLine(void *row, int32_t width, int32_t bitsPerPixel);
/* A quarter turn of a pixel buffer with rows padded to 4 bytes; reverse 0
 * turns counter-clockwise. */
ZTKRN_EXPORT int32_t ZAPI Z_RotateBuffer90(const void *source, void *target, int32_t reverse, int32_t width, int32_t height, int32_t bitsPerPixel);

/* ------------------------------------------------------------------ */
/* View perspective and coordinates                                    */
/* ------------------------------------------------------------------ */

/* BitmapHandle.ViewPerspective says how the stored rows hold the picture:
 * 0 as seen, 2 rows bottom up (the default of Z_InitBitmap), 4 the picture
 * turned a quarter counter-clockwise into storage, 8 a quarter clockwise.
 * At 4 and 8 Width and Height are those of the stored form. Conversions
 * treat any other value as 0. */

/* Stores the bitmap in a new perspective, moving its pixels.
 * destination: null (or the source itself) to change the source in place;
 *   otherwise a record that receives an independent copy (own storage,
 *   palette and region) in the new perspective, the source left alone.
 * source: an allocated bitmap. perspective: 0, 2, 4 or 8.
 * Returns Z_OK; Z_ERR_PARAM for a null or unallocated source; Z_ERR_GATE
 * when 4 or 8 is asked for and the licence gate withholds
 * SUPPORT_VIEW_PERSPECTIVE; Z_ERR_NOMEM or the code of a failed copy, flip
 * or turn. A failed destination is left freed; a failed in-place change
 * leaves the bitmap as the failing step left it. Progress is not
 * reported. */
ZTKRN_EXPORT int32_t ZAPI Z_ChangeBitmapViewPerspective(BitmapHandle *destination, BitmapHandle *source, int32_t perspective);
/* The worker of Z_ChangeBitmapViewPerspective, without the licence gate,
 * for sibling modules. options: the DUP_* options with which a destination
 * is made (and undone on failure); ignored without a destination. Returns
 * as Z_ChangeBitmapViewPerspective, Z_ERR_PARAM only for a null source. */
ZTKRN_EXPORT int32_t ZAPI Z_IntChangeBitmapViewPerspective(BitmapHandle *destination, BitmapHandle *source, int32_t perspective, uint32_t options);
/* Turns the picture clockwise by `degrees` (any multiple of 90, negative
 * or beyond 360 included), by changing only ViewPerspective where that is
 * enough and otherwise flipping or half-turning the pixels as well.
 * Returns Z_OK (at once for a whole number of turns); Z_ERR_GATE when the
 * licence gate withholds SUPPORT_VIEW_PERSPECTIVE; Z_ERR_PARAM for any
 * other angle, a null or unallocated bitmap, or a ViewPerspective other
 * than 0, 2, 4 and 8; the code of a failed flip (perspective unchanged) or
 * half turn (perspective already changed). */
ZTKRN_EXPORT int32_t ZAPI Z_RotateBitmapViewPerspective(BitmapHandle *bitmap, int32_t degrees);
/* Converts the point (*x, *y) from the bitmap's stored coordinates to
 * those of `perspective`. Returns Z_OK, or Z_ERR_PARAM for a null
 * argument. */
ZTKRN_EXPORT int32_t ZAPI Z_PointFromBitmap(BitmapHandle *bitmap, int32_t perspective, int32_t *x, int32_t *y);
/* Converts the point (*x, *y) given in the coordinates of `perspective`
 * to the bitmap's stored ones. Returns Z_OK, or Z_ERR_PARAM for a null
 * argument. */
ZTKRN_EXPORT int32_t ZAPI Z_PointToBitmap(BitmapHandle *bitmap, int32_t perspective, int32_t *x, int32_t *y);
/* Converts a rectangle (right and bottom exclusive) from the bitmap's
 * stored coordinates to those of `perspective`, in place. Returns Z_OK, or
 * Z_ERR_PARAM for a null argument. */
ZTKRN_EXPORT int32_t ZAPI Z_RectFromBitmap(BitmapHandle *bitmap, int32_t perspective, RECT *rect);
/* Converts a rectangle given in the coordinates of `perspective` to the
 * bitmap's stored ones, in place. Returns Z_OK, or Z_ERR_PARAM for a null
 * argument. */
ZTKRN_EXPORT int32_t ZAPI Z_RectToBitmap(BitmapHandle *bitmap, int32_t perspective, RECT *rect);

/* ------------------------------------------------------------------ */
/* Regions                                                             */
/* ------------------------------------------------------------------ */

/* The record behind BitmapHandle.Region. A companion module allocates it
 * as one block from Z_OsAlloc and may keep further fields of its own after
 * these. */
typedef struct ZarnRgn {
    ZHANDLE RegionHandle;
    ZHANDLE SecondHandle;
    RECT Bounds;
    uint32_t FirstListCount;
    uint32_t *FirstList;
    uint32_t SecondListCount;
    uint32_t *SecondList;
} ZarnRgn;

/* Deletes a region record in the order its fields are known: the bounds
 * cleared, both lists freed, the second and then the first handle deleted,
 * the record freed. Returns Z_OK, or Z_ERR_PARAM for null. */
ZTKRN_EXPORT int32_t ZAPI Z_DeleteZarnRgn(ZarnRgn *region);

/* Sets every pixel of the bitmap's region (the whole bitmap without a
 * companion module) to `color`, resolved once to the bitmap's layout:
 * a palette entry at 1 to 8 bits, a gray sample under the gray window, or
 * the colour's channels. Pad bits and bytes are left alone. The bitmap is
 * not checked: it must be allocated. The status callback hears 0, then on
 * the temporary-file tier the rows of the region's bounds, elsewhere 100.
 * Returns Z_OK, Z_ERR_NOMEM, whatever the region's bounds question returns
 * other than Z_OK, or the callback's answer when it stops the fill (rows
 * written stay written). A row that fails to write is passed over. */
ZTKRN_EXPORT int32_t ZAPI Z_FillBitmap(BitmapHandle *bitmap, ColorValue color);
/* The same with raw pixel value 0 (index 0, black, gray 0), no colour
 * resolution. */
ZTKRN_EXPORT int32_t ZAPI Z_ClearBitmap(BitmapHandle *bitmap);

/* ------------------------------------------------------------------ */
/* Extension dispatch                                                  */
/* ------------------------------------------------------------------ */

/* A companion module's function; each slot is called with the arguments
 * its caller defines and cast to that signature. */
typedef void(ZAPI *ZDISPATCHPROC)(void);

#define DISPATCH_SLOTS 23
#define SLOT_AFTERREVERSE 0    /* (bitmap) after a horizontal reversal */
#define SLOT_REGIONCOPY 1      /* (dest, source, dx, dy) copy the region */
#define SLOT_REGIONMAXVALUES 3 /* (bitmap, &count) size of a segment list */
#define SLOT_REGIONSEGMENTS 4  /* (bitmap, row, list, &count) */
#define SLOT_AFTERSIZE 5       /* (bitmap, width, height) */
#define SLOT_REGIONREPLACE 6   /* (bitmap, 0, region, flag) */
#define SLOT_REGIONBOUNDS 7    /* (bitmap, 0, rect) */
#define SLOT_REGIONDUP 8       /* (&region, region) */
#define SLOT_REGIONMOVE 9      /* (region, dx, dy) */
#define SLOT_REGIONFLIP 10     /* (region, height) */
#define SLOT_REGIONSHEAR 11    /* (bitmap, amount) */
#define SLOT_AFTERROTATE 12    /* (bitmap, width, height, angle) */
#define SLOT_PIXELINREGION 16  /* (bitmap, row, column) */
#define SLOT_AFTERFLIP 18      /* (bitmap) after a row flip */
#define SLOT_REGIONCLIP 19     /* (bitmap, six words, &object) */
#define SLOT_LISTOPEN 20
#define SLOT_LISTFETCH 21
#define SLOT_LISTRETURN 22

/* Copies the table out; Z_ERR_NODISPATCH while slot 0 is empty. */
ZTKRN_EXPORT int32_t ZAPI Z_GetDisDispatch(ZDISPATCHPROC *table);
/* Copies all 23 slots in. */
ZTKRN_EXPORT int32_t ZAPI Z_SetDisDispatch(const ZDISPATCHPROC *table);

/* ------------------------------------------------------------------ */
/* Licence gate                                                        */
/* ------------------------------------------------------------------ */

/* Features that the gate can withhold. */
#define SUPPORT_GRAY_ORDER 0x0001u       /* allocating Order 2 bitmaps */
#define SUPPORT_COMPRESSED 0x0002u       /* run-coded 1-bit storage */
#define SUPPORT_VIEW_PERSPECTIVE 0x0004u /* bottom-up and turned views */
#define SUPPORT_COLOR_RES 0x0008u        /* colour resolution */
#define SUPPORT_GRAYSCALE 0x0010u        /* conversion to gray */
#define SUPPORT_INK_VOTE 0x0020u         /* ink-preserving 1-bit resize */
#define SUPPORT_ALL 0x003Fu

/* 1 when the feature is withheld, 0 when it may be used. */
ZTKRN_EXPORT int32_t ZAPI Z_IsSupportLocked(uint32_t feature);
/* Enables the features named; Z_OK, or Z_ERR_PARAM for an unknown one. */
ZTKRN_EXPORT int32_t ZAPI Z_UnlockSupport(uint32_t features, const char *key);

#ifdef __cplusplus
}
#endif

#endif /* ZTKRN_H */
