// Quarter and half turns on every depth and store against pixel-by-pixel
// references; round trips; the bottom-up view; the run path for large
// compressed pages; plain buffers; hooks, callbacks and failure sweeps.
#include <gtest/gtest.h>

#include "core/dispatch.h"
#include "geometry/geometry.h"
#include "tests/core/picture.h"

namespace ztk::testing {
namespace {

// Direction 0: source (x, y) to (y, W - 1 - x); otherwise (H - 1 - y, x).
Pixels Quarter(const Pixels &s, int32_t direction) {
    const size_t h = s.size(), w = s[0].size();
    Pixels t(w, std::vector<uint32_t>(h));
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) {
            if (direction == 0)
                t[w - 1 - x][y] = s[y][x];
            else
                t[x][h - 1 - y] = s[y][x];
        }
    return t;
}

Pixels Half(Pixels p) {
    std::reverse(p.begin(), p.end());
    for (auto &row : p)
        std::reverse(row.begin(), row.end());
    return p;
}

Pixels UpsideDown(Pixels p) {
    std::reverse(p.begin(), p.end());
    return p;
}

// Bits of every stored row after the last pixel, up to the stride.
void ExpectNoStrayBits(BitmapHandle *b) {
    const uint32_t used = uint32_t(b->Width) * uint32_t(b->BitsPerPixel);
    for (int32_t y = 0; y < b->Height; ++y) {
        const auto row = ReadRow(b, y);
        if (b->BitsPerPixel == 12) {
            // A lone last pixel leaves the high half of its second byte.
            const uint32_t bytes = PackedBytes(12, uint32_t(b->Width));
            if (b->Width & 1) {
                ASSERT_EQ(row[bytes - 1] & 0xF0, 0) << "row " << y;
            }
            for (uint32_t i = bytes; i < b->BytesPerLine; ++i)
                ASSERT_EQ(row[i], 0) << "row " << y << " byte " << i;
            continue;
        }
        for (uint32_t bit = used; bit < b->BytesPerLine * 8; ++bit)
            ASSERT_EQ((row[bit >> 3] >> (7 - (bit & 7))) & 1, 0)
                << "row " << y << " bit " << bit;
    }
}

// The record as the caller sees it: the row cache moves with every read.
bool SameBitmap(BitmapHandle a, BitmapHandle b) {
    a.CurrentRow = b.CurrentRow = 0;
    a.CurrentRowOffset = b.CurrentRowOffset = 0;
    return SameRecord(a, b);
}

const Store kStores[] = {Store::Mapping, Store::GlobalBlock,
                         Store::TemporaryFile, Store::Compressed};

TEST(RotateBitmap90, EveryDepthAndStoreAgainstTheReference) {
    for (Store store : kStores) {
        TierScope scope(TierOf(store));
        for (int32_t bits : kAllDepths) {
            if (store == Store::Compressed && bits != 1)
                continue;
            for (auto [w, h] : {std::pair{13, 11}, std::pair{20, 17},
                                std::pair{1, 1}, std::pair{9, 1}}) {
                SCOPED_TRACE(::testing::Message() << StoreName(store) << ", "
                             << bits << " bits, " << w << "x" << h);
                for (int32_t direction : {0, 1}) {
                    Bitmap b;
                    MakePicture(b, store, w, h, bits, uint32_t(bits * 7 + w));
                    const Pixels start = ReadPixels(b.get());
                    ASSERT_EQ(Z_IntRotateBitmap90(b.get(), direction, 0, 100), Z_OK);
                    ASSERT_EQ(b->Width, h);
                    ASSERT_EQ(b->Height, w);
                    EXPECT_EQ(b->Flags & BITMAP_COMPRESSED,
                              store == Store::Compressed ? BITMAP_COMPRESSED : 0u);
                    ASSERT_EQ(ReadPixels(b.get()), Quarter(start, direction));
                    if (store == Store::Mapping || store == Store::Compressed)
                        ExpectNoStrayBits(b.get());
                    EXPECT_FALSE(b->Flags & BITMAP_LOCKED);
                }
            }
        }
    }
}

TEST(RotateBitmap90, FourQuarterAndTwoHalfTurnsGiveTheOriginal) {
    for (Store store : kStores) {
        TierScope scope(TierOf(store));
        for (int32_t bits : kAllDepths) {
            if (store == Store::Compressed && bits != 1)
                continue;
            SCOPED_TRACE(::testing::Message() << StoreName(store) << ", " << bits);
            Bitmap b;
            MakePicture(b, store, 19, 10, bits, uint32_t(bits));
            const Pixels start = ReadPixels(b.get());
            for (int32_t direction : {0, 1})
                for (int i = 0; i < 4; ++i)
                    ASSERT_EQ(Z_IntRotateBitmap90(b.get(), direction, 0, 100), Z_OK);
            ASSERT_EQ(ReadPixels(b.get()), start);
            ASSERT_EQ(Z_IntRotateBitmap180(b.get(), 0, 100), Z_OK);
            ASSERT_EQ(ReadPixels(b.get()), Half(start));
            ASSERT_EQ(Z_IntRotateBitmap180(b.get(), 0, 100), Z_OK);
            ASSERT_EQ(ReadPixels(b.get()), start);
            EXPECT_FALSE(b->Flags & BITMAP_LOCKED);
        }
    }
}

TEST(RotateBitmap180, OddAndTinySizes) {
    for (int32_t bits : kAllDepths)
        for (auto [w, h] : {std::pair{1, 1}, std::pair{7, 5}, std::pair{33, 2}}) {
            Bitmap b;
            MakePicture(b, Store::Mapping, w, h, bits, 3);
            const Pixels start = ReadPixels(b.get());
            ASSERT_EQ(Z_IntRotateBitmap180(b.get(), 0, 100), Z_OK);
            ASSERT_EQ(ReadPixels(b.get()), Half(start)) << bits;
            ExpectNoStrayBits(b.get());
        }
}

// Stored bottom row first, the viewer's picture is the stored one upside
// down; the turn must turn that picture as asked.
TEST(RotateBitmap90, BottomUpViewTurnsTheViewersPicture) {
    for (Store store : {Store::Mapping, Store::Compressed}) {
        for (bool runs : {false, true}) {
            if (runs && store != Store::Compressed)
                continue;
            ztk::test::SetRunTurnLimit(runs ? 1 : 0);
            for (int32_t bits : {1, 4, 8, 24}) {
                if (store == Store::Compressed && bits != 1)
                    continue;
                for (int32_t direction : {0, 1}) {
                    SCOPED_TRACE(::testing::Message() << StoreName(store) << " runs "
                                 << runs << ", " << bits << " dir " << direction);
                    Bitmap b;
                    MakePicture(b, store, 11, 6, bits, 5, 2);
                    const Pixels seen = UpsideDown(ReadPixels(b.get()));
                    ASSERT_EQ(Z_IntRotateBitmap90(b.get(), direction, 0, 100), Z_OK);
                    EXPECT_EQ(b->ViewPerspective, 2);
                    EXPECT_EQ(UpsideDown(ReadPixels(b.get())),
                              Quarter(seen, direction));
                }
            }
            ztk::test::SetRunTurnLimit(0);
        }
    }
}

TEST(RotateBitmap90, RunPathEqualsThePlainPath) {
    for (auto [w, h] : {std::pair{45, 23}, std::pair{8, 8}, std::pair{70, 3},
                        std::pair{1, 9}}) {
        for (int32_t direction : {0, 1}) {
            SCOPED_TRACE(::testing::Message() << w << "x" << h << " dir " << direction);
            Bitmap page, plain;
            MakePicture(page, Store::Compressed, w, h, 1, uint32_t(w * h));
            MakePicture(plain, Store::Mapping, w, h, 1, uint32_t(w * h));
            // A blank row is an unset row, read as one run of 0-bits.
            std::vector<uint8_t> zeros(page->BytesPerLine, 0);
            Z_PutBitmapRow(page.get(), zeros.data(), 1, page->BytesPerLine);
            Z_PutBitmapRow(plain.get(), zeros.data(), 1, plain->BytesPerLine);
            ASSERT_EQ(ReadPixels(page.get()), ReadPixels(plain.get()));
            ztk::test::SetRunTurnLimit(1);
            const int32_t turned = Z_IntRotateBitmap90(page.get(), direction, 0, 100);
            ztk::test::SetRunTurnLimit(0);
            ASSERT_EQ(turned, Z_OK);
            ASSERT_EQ(Z_IntRotateBitmap90(plain.get(), direction, 0, 100), Z_OK);
            EXPECT_TRUE(page->Flags & BITMAP_COMPRESSED);
            EXPECT_EQ(ReadPixels(page.get()), ReadPixels(plain.get()));
        }
    }
}

// 4 bytes a row times 5 rows is 20 bytes: expanded at a limit of 20, turned
// in runs at 19; the picture is the same either way.
TEST(RotateBitmap90, EitherSideOfTheLimit) {
    for (uint32_t limit : {20u, 19u}) {
        Bitmap page;
        MakePicture(page, Store::Compressed, 30, 5, 1, 8);
        const Pixels start = ReadPixels(page.get());
        ztk::test::SetRunTurnLimit(limit);
        const int32_t turned = Z_IntRotateBitmap90(page.get(), 1, 0, 100);
        ztk::test::SetRunTurnLimit(0);
        ASSERT_EQ(turned, Z_OK);
        EXPECT_TRUE(page->Flags & BITMAP_COMPRESSED);
        EXPECT_EQ(ReadPixels(page.get()), Quarter(start, 1));
    }
}

TEST(RotateBuffer90, EveryDepthWithPaddedRows) {
    for (int32_t bits : kAllDepths)
        for (auto [w, h] : {std::pair{13, 7}, std::pair{16, 9}, std::pair{5, 1}}) {
            for (int32_t reverse : {0, 1}) {
                SCOPED_TRACE(::testing::Message() << bits << " bits " << w << "x"
                             << h << " reverse " << reverse);
                const uint32_t ss = ((uint32_t(bits) * w + 31) >> 3) & ~3u;
                const uint32_t ts = ((uint32_t(bits) * h + 31) >> 3) & ~3u;
                const Pixels start = PatternPixels(w, h, bits, uint32_t(bits + w));
                std::vector<uint8_t> source(ss * h, 0), target(ts * w, 0xEE);
                for (int32_t y = 0; y < h; ++y)
                    for (int32_t x = 0; x < w; ++x)
                        PutPixelBits(&source[y * ss], x, bits, start[y][x]);
                ASSERT_EQ(Z_RotateBuffer90(source.data(), target.data(), reverse,
                                           w, h, bits),
                          1);
                const Pixels expected = Quarter(start, reverse);
                const uint32_t usedBytes = PackedBytes(bits, uint32_t(h));
                for (int32_t y = 0; y < w; ++y) {
                    for (int32_t x = 0; x < h; ++x)
                        ASSERT_EQ(GetPixelBits(&target[y * ts], x, bits),
                                  expected[y][x]);
                    // Whole-byte columns write their byte; others leave the
                    // bytes after the last pixel as they were.
                    for (uint32_t i = usedBytes; i < ts; ++i)
                        ASSERT_EQ(target[y * ts + i], 0xEE);
                }
            }
        }
    std::vector<uint8_t> none(4);
    EXPECT_EQ(Z_RotateBuffer90(none.data(), none.data(), 0, 5, 0, 1), 1);
}

TEST(PutBitmapColumn, CompressedRowsTakeOneByteEach) {
    for (int32_t upward : {0, 1}) {
        Bitmap page;
        MakePicture(page, Store::Compressed, 12, 4, 1, 1);
        const uint8_t column[4] = {0xA5, 0xFF, 0x00, 0x3C};
        ASSERT_EQ(Z_IntPutBitmapColumn(page.get(), column, 8, 4, upward), 1);
        for (int32_t y = 0; y < 4; ++y) {
            const auto row = ReadRow(page.get(), y);
            const uint8_t b = column[upward ? 3 - y : y];
            // Columns 8 to 11 take the byte's top four bits.
            EXPECT_EQ(row[1] & 0xF0, b & 0xF0) << y;
        }
    }
}

struct HookCall {
    int32_t width = 0, height = 0, angle = 0, calls = 0;
} g_hook;
int32_t g_hookResult = Z_OK;

int32_t ZAPI AfterRotate(BitmapHandle *, int32_t w, int32_t h, int32_t angle) {
    g_hook = {w, h, angle, g_hook.calls + 1};
    return g_hookResult;
}

TEST(RotateBitmap90, HookGetsTheTurnedSizeAndTheCallersAngle) {
    ZDISPATCHPROC table[DISPATCH_SLOTS] = {};
    table[SLOT_AFTERROTATE] = reinterpret_cast<ZDISPATCHPROC>(AfterRotate);
    Z_SetDisDispatch(table);
    Bitmap b;
    MakePicture(b, Store::Mapping, 10, 4, 8, 2, 2);
    g_hookResult = Z_OK;
    ASSERT_EQ(Z_IntRotateBitmap90(b.get(), 0, 0, 100), Z_OK);
    EXPECT_EQ(g_hook.width, 4);
    EXPECT_EQ(g_hook.height, 10);
    EXPECT_EQ(g_hook.angle, -9000); // the caller's sense, view 2 or not
    ASSERT_EQ(Z_IntRotateBitmap180(b.get(), 0, 100), Z_OK);
    EXPECT_EQ(g_hook.angle, 18000);
    // On the row path a failing hook drops the turn.
    g_hookResult = -77;
    const BitmapHandle before = b.h;
    const Pixels pixels = ReadPixels(b.get());
    EXPECT_EQ(Z_IntRotateBitmap90(b.get(), 1, 0, 100), -77);
    EXPECT_TRUE(SameBitmap(before, b.h));
    EXPECT_EQ(ReadPixels(b.get()), pixels);
    // On the run path it does not.
    Bitmap page;
    MakePicture(page, Store::Compressed, 10, 4, 1, 2);
    const Pixels start = ReadPixels(page.get());
    ztk::test::SetRunTurnLimit(1);
    EXPECT_EQ(Z_IntRotateBitmap90(page.get(), 1, 0, 100), -77);
    ztk::test::SetRunTurnLimit(0);
    EXPECT_EQ(g_hook.angle, 9000);
    EXPECT_EQ(ReadPixels(page.get()), Quarter(start, 1));
    g_hookResult = Z_OK;
    ClearDispatchTable();
}

int32_t g_reports = 0;
int32_t ZAPI StopAtThird(int32_t) { return ++g_reports == 3 ? 5 : Z_OK; }

TEST(RotateBitmap90, CallbackStopLeavesTheBitmap) {
    Bitmap b;
    MakePicture(b, Store::Mapping, 10, 6, 1, 2);
    const BitmapHandle before = b.h;
    const Pixels pixels = ReadPixels(b.get());
    const auto live = ztk::test::LiveUsage();
    g_reports = 0;
    Z_SetStatusCallBack(StopAtThird);
    EXPECT_EQ(Z_IntRotateBitmap90(b.get(), 0, 0, 100), 5);
    Z_SetStatusCallBack(nullptr);
    EXPECT_TRUE(SameBitmap(before, b.h));
    EXPECT_EQ(ReadPixels(b.get()), pixels);
    EXPECT_EQ(ztk::test::LiveUsage(), live);
}

// Fails each acquisition of a turn in turn: nothing left behind, and the
// bitmap as it was wherever the turn promises that.
void SweepTurn(Store store, int32_t bits, bool runs, bool half) {
    TierScope scope(TierOf(store));
    ztk::test::SetRunTurnLimit(runs ? 1 : 0);
    const int32_t failed = SweepFailures([&](uint32_t, auto armed) {
        const auto live = ztk::test::LiveUsage();
        {
            Bitmap b;
            MakePicture(b, store, 21, 9, bits, 4);
            const BitmapHandle before = b.h;
            const Pixels pixels = ReadPixels(b.get());
            const SweepRun run = armed([&] {
                return half ? Z_IntRotateBitmap180(b.get(), 0, 100)
                            : Z_IntRotateBitmap90(b.get(), 1, 0, 100);
            });
            EXPECT_FALSE(b->Flags & BITMAP_LOCKED);
            // A failure the allocator recovers from (another tier) still
            // turns the picture.
            if (run.result == Z_OK) {
                EXPECT_EQ(ReadPixels(b.get()),
                          half ? Half(pixels) : Quarter(pixels, 1));
            } else if (!half && !runs && store == Store::Compressed &&
                       b->Width == 9) {
                // The recompression failed: the turned plain image stays.
                EXPECT_EQ(run.result, Z_ERR_NOMEM);
                EXPECT_FALSE(b->Flags & BITMAP_COMPRESSED);
                EXPECT_EQ(ReadPixels(b.get()), Quarter(pixels, 1));
            } else if (!half || store != Store::Compressed) {
                EXPECT_EQ(run.result, Z_ERR_NOMEM);
                EXPECT_TRUE(SameBitmap(before, b.h));
                EXPECT_EQ(ReadPixels(b.get()), pixels);
            }
        }
        EXPECT_EQ(ztk::test::LiveUsage(), live);
    });
    ztk::test::SetRunTurnLimit(0);
    // A compressed half turn only asks for memory when a row grows.
    if (!half || store != Store::Compressed) {
        EXPECT_GT(failed, 0);
    }
}

TEST(RotateBitmap90, FailureSweeps) {
    for (int32_t bits : {1, 4, 12, 24}) {
        SCOPED_TRACE(bits);
        SweepTurn(Store::Mapping, bits, false, false);
        SweepTurn(Store::TemporaryFile, bits, false, false);
        SweepTurn(Store::Mapping, bits, false, true);
    }
    SweepTurn(Store::Compressed, 1, false, false);
    SweepTurn(Store::Compressed, 1, true, false);
    SweepTurn(Store::Compressed, 1, false, true);
}

} // namespace
} // namespace ztk::testing
