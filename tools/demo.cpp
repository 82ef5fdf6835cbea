// The ztkrn demo: builds bitmaps on each storage tier from built-in data,
// writes every row, reads it back, and prints what it saw.
#include <chrono>
#include <cstdio>
#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

#include "core/testhooks.h"
#include "geometry/geometry.h"
#include "ztkrn.h"

namespace {

struct Tier {
    const char *name;
    bool sixteenBitHost; // the global-block and file tiers live there
    int32_t memory;
};

// A 24-bit test card: red across, green down, blue in a checkerboard.
void CardRow(std::vector<uint8_t> &row, int32_t width, int32_t height, int32_t y) {
    for (int32_t x = 0; x < width; ++x) {
        row[size_t(x) * 3 + 0] = uint8_t(((x / 16 + y / 16) & 1) ? 255 : 0);
        row[size_t(x) * 3 + 1] = uint8_t(y * 255 / (height - 1));
        row[size_t(x) * 3 + 2] = uint8_t(x * 255 / (width - 1));
    }
}

const char *Describe(uint32_t flags) {
    if (flags & BITMAP_ONDISK)
        return "temporary file";
    return "memory";
}

bool RunTier(const Tier &tier, int32_t width, int32_t height) {
    ztk::test::SetSixteenBitHost(tier.sixteenBitHost);
    BitmapHandle bitmap;
    Z_InitBitmap(&bitmap, width, height, 24);
    int32_t result = Z_AllocateBitmap(&bitmap, tier.memory);
    if (result != Z_OK) {
        std::printf("  %-14s allocation failed: %d\n", tier.name, result);
        return false;
    }
    const uint32_t stride = bitmap.BytesPerLine;
    std::vector<uint8_t> row(stride), back(stride);
    uint64_t checksum = 0;
    bool same = true;
    auto start = std::chrono::steady_clock::now();
    int32_t lock = Z_LockBitmap(&bitmap);
    for (int32_t y = 0; y < height; ++y) {
        CardRow(row, width, height, y);
        Z_PutBitmapRow(&bitmap, row.data(), uint32_t(y), stride);
    }
    for (int32_t y = height; y-- > 0;) { // bottom-up is as cheap
        CardRow(row, width, height, y);
        Z_GetBitmapRow(&bitmap, back.data(), uint32_t(y), stride);
        same = same && std::memcmp(row.data(), back.data(), stride) == 0;
        for (uint8_t byte : back)
            checksum = checksum * 31 + byte;
    }
    Z_UnlockBitmap(&bitmap, lock);
    double ms = std::chrono::duration<double, std::milli>(
                    std::chrono::steady_clock::now() - start)
                    .count();
    std::printf("  %-14s %s, %u bytes, rows %s, checksum %016llx, %.1f ms\n",
                tier.name, Describe(bitmap.Flags), bitmap.Size,
                same ? "read back intact" : "DIFFER", (unsigned long long)checksum,
                ms);
    result = Z_ChangeBitmapHeight(&bitmap, height / 2);
    std::printf("  %-14s height to %d: %s\n", "", height / 2,
                result == Z_OK ? "done" : "kept (temporary files keep their height)");
    Z_FreeBitmap(&bitmap);
    ztk::test::SetSixteenBitHost(false);
    return same;
}

// The test card dithered to the fixed 256-colour set, then turned a
// quarter to the right. Both are stored top row first (view 0), so stored
// rows are the picture's rows.
bool DitherAndTurn(int32_t width, int32_t height) {
    BitmapHandle card, indexed;
    if (Z_CreateBitmap(&card, MEMORY_ANY, width, height, 24, 1, nullptr, 0) != Z_OK)
        return false;
    if (Z_CreateBitmap(&indexed, MEMORY_ANY, width, height, 8, 0, nullptr, 0) != Z_OK) {
        Z_FreeBitmap(&card);
        return false;
    }
    std::vector<uint8_t> row(card.BytesPerLine), out(indexed.BytesPerLine);
    bool used[256] = {};
    int32_t result = Z_StartDithering(&card, nullptr, 256);
    for (int32_t y = 0; result == Z_OK && y < height; ++y) {
        CardRow(row, width, height, y);
        Z_PutBitmapRow(&card, row.data(), uint32_t(y), card.BytesPerLine);
        result = Z_DitherLine(&card, row.data(), out.data());
        Z_PutBitmapRow(&indexed, out.data(), uint32_t(y), indexed.BytesPerLine);
        for (int32_t x = 0; x < width; ++x)
            used[out[size_t(x)]] = true;
    }
    Z_StopDithering(&card);
    int32_t colours = 0;
    for (bool u : used)
        colours += u ? 1 : 0;
    std::printf("\nDithered (method %u) to the fixed 256-colour set: %d colours used.\n",
                card.DitheringMethod, colours);

    uint8_t corner = 0, turned = 0;
    Z_GetBitmapRowCol(&indexed, &corner, uint32_t(height - 1), 0, 1);
    if (result == Z_OK)
        result = Z_IntRotateBitmap90(&indexed, 1, 0, 100);
    Z_GetBitmapRowCol(&indexed, &turned, 0, 0, 1);
    std::printf("Turned a quarter: now %dx%d, the bottom-left pixel at the top left: %s.\n",
                indexed.Width, indexed.Height, corner == turned ? "yes" : "no");
    Z_FreeBitmap(&indexed);
    Z_FreeBitmap(&card);
    return result == Z_OK && corner == turned;
}

// A letter-sized 1-bit page at 300 dots per inch, held as run-coded rows.
bool CompressedPage() {
    const int32_t width = 2480, height = 3508;
    BitmapHandle page;
    if (Z_CreateBitmap(&page, MEMORY_ANY | MEMORY_COMPRESSED, width, height, 1, 0,
                       nullptr, 2) != Z_OK)
        return false;
    std::vector<uint8_t> row(page.BytesPerLine);
    for (int32_t y = 0; y < height; ++y) {
        std::fill(row.begin(), row.end(), 0);
        if (y % 60 < 30 && y > 300 && y < height - 300) // lines of "text"
            for (int32_t x = 300; x < width - 300; ++x)
                if ((x / 7 + y / 5) % 5 == 0)
                    row[size_t(x) / 8] |= uint8_t(0x80 >> (x % 8));
        Z_PutBitmapRow(&page, row.data(), uint32_t(y), page.BytesPerLine);
    }
    const uint32_t plain = page.BytesPerLine * uint32_t(height);
    std::printf("\nA %dx%d 1-bit page in run-coded rows: %u bytes against %u plain (%.0f%%).\n",
                width, height, page.Size, plain, 100.0 * page.Size / plain);
    const bool compressed = (page.Flags & BITMAP_COMPRESSED) != 0;
    Z_FreeBitmap(&page);
    return compressed;
}

} // namespace

int main() {
    ZarnVersionInfo version;
    Z_VersionInfo(&version);
    std::printf("%s %d.%d, built %s %s\n\n", "ztkrn", version.Major,
                version.Minor, version.Date, version.Time);

    const int32_t width = 640, height = 480;
    std::printf("A %dx%d 24-bit test card on each storage tier:\n", width, height);
    const Tier tiers[] = {{"mapping", false, MEMORY_ANY},
                          {"global block", true, MEMORY_NODISK},
                          {"temp file", true, MEMORY_DISK}};
    bool ok = true;
    for (const Tier &tier : tiers)
        ok = RunTier(tier, width, height) && ok;

    ok = DitherAndTurn(width, height) && ok;
    ok = CompressedPage() && ok;

    Z_SetDefaultXResolution(300);
    int32_t other = 0;
    std::thread([&] { other = Z_GetDefaultXResolution(); }).join();
    std::printf("\nPer-thread settings: this thread's default resolution is %d,"
                " a new thread's is %d.\n",
                Z_GetDefaultXResolution(), other);
    return ok ? 0 : 1;
}
