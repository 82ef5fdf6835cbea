// Flip and reverse on every depth and store, the view rule that swaps
// them, the hooks after each, and stopping by the status callback.
#include <gtest/gtest.h>

#include "core/dispatch.h"
#include "geometry/geometry.h"
#include "tests/core/picture.h"

namespace ztk::testing {
namespace {

Pixels Flipped(Pixels p) {
    std::reverse(p.begin(), p.end());
    return p;
}

Pixels Reversed(Pixels p) {
    for (auto &row : p)
        std::reverse(row.begin(), row.end());
    return p;
}

const Store kStores[] = {Store::Mapping, Store::GlobalBlock,
                         Store::TemporaryFile, Store::Compressed};

TEST(FlipBitmap, FlipAndReverseOnEveryDepthAndStore) {
    for (Store store : kStores) {
        TierScope scope(TierOf(store));
        for (int32_t bits : kAllDepths) {
            if (store == Store::Compressed && bits != 1)
                continue;
            for (int32_t height : {1, 6, 7}) {
                SCOPED_TRACE(::testing::Message() << StoreName(store) << ", "
                             << bits << " bits, height " << height);
                Bitmap b;
                MakePicture(b, store, 19, height, bits, uint32_t(bits + height));
                const Pixels start = ReadPixels(b.get());
                ASSERT_EQ(Z_FlipBitmap(b.get()), Z_OK);
                ASSERT_EQ(ReadPixels(b.get()), Flipped(start));
                ASSERT_EQ(Z_ReverseBitmap(b.get()), Z_OK);
                ASSERT_EQ(ReadPixels(b.get()), Reversed(Flipped(start)));
                EXPECT_FALSE(b->Flags & BITMAP_LOCKED);
            }
        }
    }
}

TEST(FlipBitmap, QuarterTurnedViewsExchangeTheTwo) {
    for (int32_t view : {4, 8}) {
        Bitmap b;
        MakePicture(b, Store::Mapping, 13, 5, 4, 3, view);
        const Pixels start = ReadPixels(b.get());
        ASSERT_EQ(Z_FlipBitmap(b.get()), Z_OK);
        EXPECT_EQ(ReadPixels(b.get()), Reversed(start));
        ASSERT_EQ(Z_ReverseBitmap(b.get()), Z_OK);
        EXPECT_EQ(ReadPixels(b.get()), Flipped(Reversed(start)));
    }
}

TEST(FlipBitmap, BadRecords) {
    Bitmap unallocated(4, 4, 8);
    EXPECT_EQ(Z_FlipBitmap(nullptr), Z_ERR_NOBITMAP);
    EXPECT_EQ(Z_ReverseBitmap(nullptr), Z_ERR_NOBITMAP);
    EXPECT_EQ(Z_FlipBitmap(unallocated.get()), Z_ERR_NOBITMAP);
    EXPECT_EQ(Z_ReverseBitmap(unallocated.get()), Z_ERR_NOBITMAP);
}

int32_t ZAPI AfterFlip(BitmapHandle *) { return 21; }
int32_t ZAPI AfterReverse(BitmapHandle *) { return 22; }

TEST(FlipBitmap, HooksFollowAndTheirResultIsReturned) {
    ZDISPATCHPROC table[DISPATCH_SLOTS] = {};
    table[SLOT_AFTERREVERSE] = reinterpret_cast<ZDISPATCHPROC>(AfterReverse);
    table[SLOT_AFTERFLIP] = reinterpret_cast<ZDISPATCHPROC>(AfterFlip);
    Z_SetDisDispatch(table);
    for (Store store : {Store::Mapping, Store::Compressed}) {
        Bitmap b;
        MakePicture(b, store, 9, 4, 1, 2);
        const Pixels start = ReadPixels(b.get());
        EXPECT_EQ(Z_FlipBitmap(b.get()), 21);
        EXPECT_EQ(ReadPixels(b.get()), Flipped(start));
        EXPECT_EQ(Z_ReverseBitmap(b.get()), 22);
        EXPECT_EQ(ReadPixels(b.get()), Reversed(Flipped(start)));
    }
    ClearDispatchTable();
}

int32_t g_calls = 0;
int32_t ZAPI StopAtSecond(int32_t) { return ++g_calls == 2 ? 9 : Z_OK; }
int32_t ZAPI Accept(int32_t) { ++g_calls; return Z_OK; }

TEST(FlipBitmap, CallbackStopsAndLeavesThePictureHalfDone) {
    Bitmap b;
    MakePicture(b, Store::Mapping, 8, 6, 8, 5);
    const Pixels start = ReadPixels(b.get());
    g_calls = 0;
    Z_SetStatusCallBack(StopAtSecond);
    EXPECT_EQ(Z_FlipBitmap(b.get()), 9);
    Pixels expected = start;
    std::swap(expected[0], expected[5]); // one exchange, then the stop
    EXPECT_EQ(ReadPixels(b.get()), expected);
    g_calls = 0;
    EXPECT_EQ(Z_ReverseBitmap(b.get()), 9);
    expected[0] = Reversed(expected)[0];
    EXPECT_EQ(ReadPixels(b.get()), expected);
    Z_SetStatusCallBack(nullptr);
    EXPECT_FALSE(b->Flags & BITMAP_LOCKED);
}

TEST(FlipBitmap, OneRowWithACallbackIsLeftAlone) {
    Bitmap b;
    MakePicture(b, Store::Mapping, 8, 1, 8, 5);
    const Pixels start = ReadPixels(b.get());
    g_calls = 0;
    Z_SetStatusCallBack(Accept);
    EXPECT_EQ(Z_IntFlipRows(b.get()), Z_OK);
    Z_SetStatusCallBack(nullptr);
    EXPECT_EQ(ReadPixels(b.get()), start);
}

TEST(FlipBitmap, FailureSweepOfTheRowBuffers) {
    const int32_t failed = SweepFailures([&](uint32_t, auto armed) {
        const auto live = ztk::test::LiveUsage();
        {
            Bitmap b;
            MakePicture(b, Store::Mapping, 15, 5, 12, 2);
            const Pixels start = ReadPixels(b.get());
            const SweepRun flip = armed([&] { return Z_FlipBitmap(b.get()); });
            if (flip.fired) {
                EXPECT_EQ(flip.result, Z_ERR_NOMEM);
                EXPECT_EQ(ReadPixels(b.get()), start);
            }
            EXPECT_FALSE(b->Flags & BITMAP_LOCKED);
        }
        EXPECT_EQ(ztk::test::LiveUsage(), live);
    });
    EXPECT_EQ(failed, 2);
}

} // namespace
} // namespace ztk::testing
