// View perspective: every change between the four perspectives on every
// depth and store keeps the viewer's picture and moves each pixel where the
// point conversion says; point and rectangle conversions against each
// other and back; the record-first turn; the gate, the silenced callback
// and failure sweeps.
#include <gtest/gtest.h>

#include <algorithm>

#include "core/testhooks.h"
#include "tests/core/picture.h"

namespace ztk::testing {
namespace {

const int32_t kViews[] = {0, 2, 4, 8};

// A quarter turn clockwise: (x, y) of a W x H picture goes to (H - 1 - y, x).
Pixels Clockwise(const Pixels &s) {
    const size_t h = s.size(), w = s[0].size();
    Pixels t(w, std::vector<uint32_t>(h));
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x)
            t[x][h - 1 - y] = s[y][x];
    return t;
}

Pixels Clockwise(Pixels p, int32_t quarters) {
    for (int32_t i = 0; i < quarters; ++i)
        p = Clockwise(p);
    return p;
}

// The picture as the viewer sees it. Perspective 4 holds it turned a
// quarter counter-clockwise, 8 a quarter clockwise, 2 upside down.
Pixels Seen(BitmapHandle *b) {
    Pixels p = ReadPixels(b);
    switch (b->ViewPerspective) {
    case 2: std::reverse(p.begin(), p.end()); return p;
    case 4: return Clockwise(p, 1);
    case 8: return Clockwise(p, 3);
    default: return p;
    }
}

const Store kStores[] = {Store::Mapping, Store::GlobalBlock,
                         Store::TemporaryFile, Store::Compressed};

TEST(ChangeBitmapViewPerspective, EveryPairOnEveryDepthAndStoreAndBack) {
    for (Store store : kStores) {
        TierScope scope(TierOf(store));
        for (int32_t bits : kAllDepths) {
            if (store == Store::Compressed && bits != 1)
                continue;
            for (int32_t from : kViews)
                for (int32_t to : kViews) {
                    SCOPED_TRACE(::testing::Message() << StoreName(store) << ", "
                                 << bits << " bits, " << from << " to " << to);
                    Bitmap source, copy;
                    MakePicture(source, store, 7, 5, bits, uint32_t(bits + from), from);
                    const Pixels stored = ReadPixels(source.get());
                    ASSERT_EQ(Z_ChangeBitmapViewPerspective(copy.get(), source.get(), to),
                              Z_OK);
                    ASSERT_EQ(copy->ViewPerspective, to);
                    EXPECT_EQ(copy->Flags & BITMAP_COMPRESSED,
                              source->Flags & BITMAP_COMPRESSED);
                    ASSERT_EQ(Seen(copy.get()), Seen(source.get()));
                    const Pixels moved = ReadPixels(copy.get());
                    for (int32_t y = 0; y < 5; ++y)
                        for (int32_t x = 0; x < 7; ++x) {
                            int32_t px = x, py = y;
                            ASSERT_EQ(Z_PointFromBitmap(source.get(), to, &px, &py), Z_OK);
                            ASSERT_EQ(moved[py][px], stored[y][x]) << x << "," << y;
                        }
                    // Back in place: the stored pixels are the original ones.
                    ASSERT_EQ(Z_ChangeBitmapViewPerspective(nullptr, copy.get(), from), Z_OK);
                    EXPECT_EQ(copy->ViewPerspective, from);
                    EXPECT_EQ(ReadPixels(copy.get()), stored);
                    EXPECT_FALSE(copy->Flags & BITMAP_LOCKED);
                }
        }
    }
}

// The Part's worked cases, on a bitmap of height 100.
TEST(PointFromBitmap, BottomUpRowsCountFromTheOtherEnd) {
    Bitmap b(20, 100, 8);
    b->ViewPerspective = 2;
    int32_t x = 3, y = 0;
    ASSERT_EQ(Z_PointFromBitmap(b.get(), 0, &x, &y), Z_OK);
    EXPECT_EQ(x, 3);
    EXPECT_EQ(y, 99);
    RECT r{1, 0, 5, 10};
    ASSERT_EQ(Z_RectFromBitmap(b.get(), 0, &r), Z_OK);
    EXPECT_EQ(r.left, 1);
    EXPECT_EQ(r.top, 90);
    EXPECT_EQ(r.right, 5);
    EXPECT_EQ(r.bottom, 100);
}

// Stored 7 x 5 at perspective 4, the viewer's frame is 5 x 7: stored (0, 0)
// is seen at (H - 0 - 1, 0) = (4, 0), and going back uses the seen frame:
// 270 degrees on W = 5 gives (0, 5 - 4 - 1) = (0, 0).
TEST(PointToBitmap, UsesTheFrameOfTheGivenPerspective) {
    Bitmap b(7, 5, 8);
    b->ViewPerspective = 4;
    int32_t x = 0, y = 0;
    ASSERT_EQ(Z_PointFromBitmap(b.get(), 0, &x, &y), Z_OK);
    EXPECT_EQ(x, 4);
    EXPECT_EQ(y, 0);
    x = 4, y = 0;
    ASSERT_EQ(Z_PointToBitmap(b.get(), 0, &x, &y), Z_OK);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);
    // (6, 4), the last stored pixel, is seen at (5 - 4 - 1, 6) = (0, 6).
    x = 6, y = 4;
    ASSERT_EQ(Z_PointFromBitmap(b.get(), 0, &x, &y), Z_OK);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 6);
}

// Every pair, with 1 and 6 standing for values outside the list (no flip,
// no angle): each point and rectangle comes back, and a rectangle goes
// where its pixels go.
TEST(PointAndRectConversions, EveryPairRoundTripsAndRectsFollowTheirPixels) {
    const int32_t views[] = {0, 2, 4, 8, 1, 6};
    const RECT rects[] = {{0, 0, 7, 5}, {1, 2, 4, 3}, {6, 0, 7, 5}, {2, 1, 2, 4}};
    for (int32_t stored : views)
        for (int32_t given : views) {
            SCOPED_TRACE(::testing::Message() << stored << " and " << given);
            Bitmap b(7, 5, 8);
            b->ViewPerspective = stored;
            const bool turned = ((stored == 4 || stored == 8) !=
                                 (given == 4 || given == 8));
            const int32_t gw = turned ? 5 : 7, gh = turned ? 7 : 5;
            for (int32_t y = 0; y < 5; ++y)
                for (int32_t x = 0; x < 7; ++x) {
                    int32_t px = x, py = y;
                    ASSERT_EQ(Z_PointFromBitmap(b.get(), given, &px, &py), Z_OK);
                    ASSERT_TRUE(px >= 0 && px < gw && py >= 0 && py < gh);
                    ASSERT_EQ(Z_PointToBitmap(b.get(), given, &px, &py), Z_OK);
                    ASSERT_EQ(px, x);
                    ASSERT_EQ(py, y);
                }
            for (const RECT &rect : rects) {
                RECT r = rect;
                ASSERT_EQ(Z_RectFromBitmap(b.get(), given, &r), Z_OK);
                if (rect.right > rect.left) {
                    int32_t left = 1000, top = 1000, right = -1000, bottom = -1000;
                    for (int32_t y = rect.top; y < rect.bottom; ++y)
                        for (int32_t x = rect.left; x < rect.right; ++x) {
                            int32_t px = x, py = y;
                            Z_PointFromBitmap(b.get(), given, &px, &py);
                            left = std::min(left, px);
                            top = std::min(top, py);
                            right = std::max(right, px + 1);
                            bottom = std::max(bottom, py + 1);
                        }
                    EXPECT_TRUE(left == r.left && top == r.top &&
                                right == r.right && bottom == r.bottom);
                }
                ASSERT_EQ(Z_RectToBitmap(b.get(), given, &r), Z_OK);
                EXPECT_TRUE(r.left == rect.left && r.top == rect.top &&
                            r.right == rect.right && r.bottom == rect.bottom);
            }
        }
    int32_t x = 0;
    RECT r{};
    EXPECT_EQ(Z_PointFromBitmap(nullptr, 0, &x, &x), Z_ERR_PARAM);
    EXPECT_EQ(Z_PointToBitmap(nullptr, 0, &x, &x), Z_ERR_PARAM);
    EXPECT_EQ(Z_RectFromBitmap(nullptr, 0, &r), Z_ERR_PARAM);
    EXPECT_EQ(Z_RectToBitmap(nullptr, 0, &r), Z_ERR_PARAM);
}

// The record-first turn: the perspective each start and angle leads to, and
// whether any pixel moves; the picture always turns clockwise as asked.
TEST(RotateBitmapViewPerspective, TableOfStartsAndAngles) {
    struct Case {
        int32_t from, degrees, to;
        bool pixelsMove;
    };
    const Case cases[] = {
        {0, 90, 4, false},  {0, 180, 0, true},  {0, 270, 8, false},
        {2, 90, 4, true},   {2, 180, 0, true},  {2, 270, 8, true},
        {4, 90, 0, true},   {4, 180, 8, false}, {4, 270, 0, false},
        {8, 90, 0, false},  {8, 180, 4, false}, {8, 270, 0, true},
        {0, -90, 8, false}, {0, 450, 4, false}, {4, -630, 0, true},
        {2, 720, 2, false}, {8, -360, 8, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.from << " by " << c.degrees);
        Bitmap b;
        MakePicture(b, Store::Mapping, 6, 3, 4, 9, c.from);
        const Pixels stored = ReadPixels(b.get());
        const Pixels seen = Seen(b.get());
        ASSERT_EQ(Z_RotateBitmapViewPerspective(b.get(), c.degrees), Z_OK);
        EXPECT_EQ(b->ViewPerspective, c.to);
        EXPECT_EQ(ReadPixels(b.get()) != stored, c.pixelsMove);
        const int32_t quarters = ((c.degrees % 360 + 360) % 360) / 90;
        EXPECT_EQ(Seen(b.get()), Clockwise(seen, quarters));
    }
    Bitmap b;
    MakePicture(b, Store::Mapping, 6, 3, 4, 9, 6);
    EXPECT_EQ(Z_RotateBitmapViewPerspective(b.get(), 45), Z_ERR_PARAM);
    EXPECT_EQ(Z_RotateBitmapViewPerspective(b.get(), 90), Z_ERR_PARAM);
    EXPECT_EQ(Z_RotateBitmapViewPerspective(nullptr, 90), Z_ERR_PARAM);
}

// A failed flip comes back before the perspective changes; a failed half
// turn after it.
TEST(RotateBitmapViewPerspective, FailuresAroundThePerspectiveChange) {
    Bitmap flipped, turned;
    MakePicture(flipped, Store::Mapping, 6, 3, 8, 1, 2);
    MakePicture(turned, Store::Mapping, 6, 3, 8, 1, 4);
    const Pixels flippedPixels = ReadPixels(flipped.get());
    const Pixels turnedPixels = ReadPixels(turned.get());
    {
        FailureScope fail(1);
        EXPECT_EQ(Z_RotateBitmapViewPerspective(flipped.get(), 90), Z_ERR_NOMEM);
    }
    EXPECT_EQ(flipped->ViewPerspective, 2);
    EXPECT_EQ(ReadPixels(flipped.get()), flippedPixels);
    {
        FailureScope fail(1);
        EXPECT_EQ(Z_RotateBitmapViewPerspective(turned.get(), 90), Z_ERR_NOMEM);
    }
    EXPECT_EQ(turned->ViewPerspective, 0);
    EXPECT_EQ(ReadPixels(turned.get()), turnedPixels);
}

TEST(ChangeBitmapViewPerspective, GateArgumentsAndTheSameRecord) {
    Bitmap b;
    MakePicture(b, Store::Mapping, 5, 4, 8, 3, 0);
    ztk::test::LockFeature(SUPPORT_VIEW_PERSPECTIVE, true);
    EXPECT_EQ(Z_ChangeBitmapViewPerspective(nullptr, b.get(), 4), Z_ERR_GATE);
    EXPECT_EQ(Z_ChangeBitmapViewPerspective(nullptr, b.get(), 8), Z_ERR_GATE);
    EXPECT_EQ(Z_RotateBitmapViewPerspective(b.get(), 0), Z_ERR_GATE);
    EXPECT_EQ(Z_ChangeBitmapViewPerspective(nullptr, b.get(), 2), Z_OK);
    // The worker has no gate.
    EXPECT_EQ(Z_IntChangeBitmapViewPerspective(nullptr, b.get(), 4, 0), Z_OK);
    ztk::test::LockFeature(SUPPORT_VIEW_PERSPECTIVE, false);
    EXPECT_EQ(b->ViewPerspective, 4);
    Bitmap unallocated(5, 4, 8);
    EXPECT_EQ(Z_ChangeBitmapViewPerspective(nullptr, nullptr, 2), Z_ERR_PARAM);
    EXPECT_EQ(Z_ChangeBitmapViewPerspective(nullptr, unallocated.get(), 2),
              Z_ERR_PARAM);
    EXPECT_EQ(Z_IntChangeBitmapViewPerspective(nullptr, nullptr, 2, 0),
              Z_ERR_PARAM);
    // The source as its own destination is changed in place, no copy made.
    const auto live = ztk::test::LiveUsage();
    const Pixels seen = Seen(b.get());
    ASSERT_EQ(Z_ChangeBitmapViewPerspective(b.get(), b.get(), 0), Z_OK);
    EXPECT_EQ(b->ViewPerspective, 0);
    EXPECT_EQ(Seen(b.get()), seen);
    EXPECT_EQ(ztk::test::LiveUsage(), live);
}

int32_t g_reports = 0;
int32_t ZAPI CountReports(int32_t) { return ++g_reports, Z_OK; }

// Each failure: the code, nothing held, the callback back in place, and the
// picture as it was, or in place as the failing step left it.
void SweepChange(Store store, int32_t from, int32_t to, bool copy) {
    TierScope scope(TierOf(store));
    Z_SetStatusCallBack(CountReports);
    g_reports = 0;
    const int32_t failed = SweepFailures([&](uint32_t, auto armed) {
        const auto live = ztk::test::LiveUsage();
        {
            Bitmap b, destination;
            MakePicture(b, store, 9, 6, store == Store::Compressed ? 1 : 12, 7,
                        from);
            const BitmapHandle before = b.h;
            const Pixels stored = ReadPixels(b.get());
            const Pixels seen = Seen(b.get());
            const SweepRun run = armed([&] {
                return Z_ChangeBitmapViewPerspective(
                    copy ? destination.get() : nullptr, b.get(), to);
            });
            EXPECT_EQ(Z_GetStatusCallBack(), CountReports);
            EXPECT_FALSE(b->Flags & BITMAP_LOCKED);
            BitmapHandle *result = copy ? destination.get() : b.get();
            if (run.result == Z_OK) {
                EXPECT_EQ(result->ViewPerspective, to);
                EXPECT_EQ(Seen(result), seen);
            } else {
                EXPECT_EQ(run.result, Z_ERR_NOMEM);
                if (copy) {
                    EXPECT_EQ(b->Flags, before.Flags);
                    EXPECT_EQ(ReadPixels(b.get()), stored);
                } else if (store != Store::Compressed) {
                    // Towards 2 the rows are flipped first and stay so,
                    // under the old perspective, when the turn fails.
                    Pixels upsideDown = stored;
                    std::reverse(upsideDown.begin(), upsideDown.end());
                    if (to == 2 && from != 2 && ReadPixels(b.get()) != stored) {
                        EXPECT_EQ(b->ViewPerspective, from);
                        EXPECT_EQ(ReadPixels(b.get()), upsideDown);
                    } else {
                        EXPECT_EQ(Seen(b.get()), seen);
                    }
                }
            }
            if (copy) {
                EXPECT_EQ(ReadPixels(b.get()), stored);
            }
        }
        EXPECT_EQ(ztk::test::LiveUsage(), live);
    });
    // A run-coded half turn in place only asks for memory when a row grows.
    const bool halfTurn = from + to == 12;
    if (copy || store != Store::Compressed || !halfTurn) {
        EXPECT_GT(failed, 0);
    }
    EXPECT_EQ(g_reports, 0);
    Z_SetStatusCallBack(nullptr);
}

TEST(ChangeBitmapViewPerspective, FailureSweeps) {
    for (auto [from, to] : {std::pair{2, 4}, std::pair{4, 8}, std::pair{0, 8},
                            std::pair{8, 2}}) {
        for (bool copy : {false, true}) {
            SCOPED_TRACE(::testing::Message() << from << " to " << to
                         << (copy ? " copied" : " in place"));
            SweepChange(Store::Mapping, from, to, copy);
            SweepChange(Store::Compressed, from, to, copy);
        }
    }
    SweepChange(Store::TemporaryFile, 2, 8, false);
}

} // namespace
} // namespace ztk::testing
