// View perspective: how a bitmap's stored rows relate to the picture, the
// changes of it that move pixels (Z_ChangeBitmapViewPerspective and its
// worker) or only the record where they can (Z_RotateBitmapViewPerspective),
// and the conversion of points and rectangles between perspectives.
//
// A perspective is one of 0 (the picture as stored), 2 (rows bottom up),
// 4 (the picture turned a quarter counter-clockwise into storage) and 8
// (turned a quarter clockwise). Every change is written as a row flip
// followed by a clockwise turn, so that pixels and coordinates move by the
// same rule.
#include "core/guards.h"
#include "gate/gate.h"
#include "geometry/geometry.h"
#include "ztkrn.h"

namespace ztk {
namespace {

bool IsQuarterTurned(int32_t perspective) {
    return perspective == 4 || perspective == 8;
}

// The flip and clockwise angle that take the stored form of perspective
// `from` to that of `to`. Values other than the four named ones stand for
// no flip and no angle. The flip is set, never toggled: the two sides are
// never both 2.
struct Change {
    bool flip;
    int32_t angle;
};

template <int32_t FullTurn>
constexpr Change ChangeBetween(int32_t from, int32_t to) {
    constexpr int32_t quarter = FullTurn / 4;
    Change change{false, 0};
    if (from == 2)
        change.flip = true;
    else if (from == 4)
        change.angle = quarter;
    else if (from == 8)
        change.angle = 3 * quarter;
    if (to == 2) {
        change.flip = true;
        change.angle = FullTurn - change.angle;
    } else if (to == 4) {
        change.angle -= quarter;
    } else if (to == 8) {
        change.angle -= 3 * quarter;
    }
    // The sum lies within one turn either way of the range.
    if (change.angle < 0)
        change.angle += FullTurn;
    else if (change.angle >= FullTurn)
        change.angle -= FullTurn;
    return change;
}

// One frame of W x H stored pixels, in which points and rectangles move.
struct Frame {
    int32_t width, height;
};

// Coordinates are mirrored as written, wrapping rather than overflowing on
// values far outside the frame.
int32_t Less(int32_t a, int32_t b) { return int32_t(uint32_t(a) - uint32_t(b)); }
int32_t LessOne(int32_t a, int32_t b) { return Less(Less(a, b), 1); }

void MovePoint(const Change &change, Frame f, int32_t &x, int32_t &y) {
    if (change.flip)
        y = LessOne(f.height, y);
    const int32_t x0 = x, y0 = y;
    switch (change.angle) {
    case 90: x = LessOne(f.height, y0); y = x0; break;
    case 180: x = LessOne(f.width, x0); y = LessOne(f.height, y0); break;
    case 270: x = y0; y = LessOne(f.width, x0); break;
    default: break;
    }
}

// Right and bottom are exclusive, so they mirror without the extra one.
void MoveRect(const Change &change, Frame f, RECT &r) {
    if (change.flip) {
        const int32_t top = r.top;
        r.top = Less(f.height, r.bottom);
        r.bottom = Less(f.height, top);
    }
    const RECT o = r;
    switch (change.angle) {
    case 90:
        r = RECT{Less(f.height, o.bottom), o.left, Less(f.height, o.top), o.right};
        break;
    case 180:
        r = RECT{Less(f.width, o.right), Less(f.height, o.bottom),
                 Less(f.width, o.left), Less(f.height, o.top)};
        break;
    case 270:
        r = RECT{o.top, Less(f.width, o.right), o.bottom, Less(f.width, o.left)};
        break;
    default: break;
    }
}

Frame StoredFrame(const BitmapHandle *bitmap) {
    return Frame{bitmap->Width, bitmap->Height};
}

// The frame of the caller's perspective: the stored one turned whenever
// exactly one of the two is a quarter turn.
Frame GivenFrame(const BitmapHandle *bitmap, int32_t given) {
    if (IsQuarterTurned(given) != IsQuarterTurned(bitmap->ViewPerspective))
        return Frame{bitmap->Height, bitmap->Width};
    return StoredFrame(bitmap);
}

// A perspective change made on a new destination is undone with it.
int32_t Undone(BitmapHandle *destination, uint32_t options, int32_t result) {
    if (destination != nullptr)
        Z_FreeDuplicateBitmap(destination, options);
    return result;
}

int32_t HalfTurn(BitmapHandle *bitmap) {
    return Z_RotateBitmapFine(bitmap, 18000, 1, 0);
}

// The record-first change of Z_RotateBitmapViewPerspective for a right
// angle `degrees` (90, 180 or 270).
int32_t TurnView(BitmapHandle *bitmap, int32_t degrees) {
    const int32_t from = bitmap->ViewPerspective;
    if (from == 2) {
        const int32_t flipped = Z_FlipBitmap(bitmap);
        if (flipped != Z_OK)
            return flipped;
        bitmap->ViewPerspective = degrees == 90 ? 4 : degrees == 270 ? 8 : 0;
        return degrees == 180 ? HalfTurn(bitmap) : Z_OK;
    }
    if (from == 0) {
        if (degrees == 180)
            return HalfTurn(bitmap);
        bitmap->ViewPerspective = degrees == 90 ? 4 : 8;
        return Z_OK;
    }
    if (!IsQuarterTurned(from))
        return Z_ERR_PARAM;
    // From 4 a turn by 90 and from 8 one by 270 lands on the stored form
    // turned half round; the others only relabel it.
    const bool four = from == 4;
    switch (degrees) {
    case 90: bitmap->ViewPerspective = 0; return four ? HalfTurn(bitmap) : Z_OK;
    case 180: bitmap->ViewPerspective = four ? 8 : 4; return Z_OK;
    default: bitmap->ViewPerspective = 0; return four ? Z_OK : HalfTurn(bitmap);
    }
}

} // namespace
} // namespace ztk

using namespace ztk;

extern "C" {

int32_t ZAPI Z_ChangeBitmapViewPerspective(BitmapHandle *destination,
                                           BitmapHandle *source,
                                           int32_t perspective) {
    if (!IsAllocated(source))
        return Z_ERR_PARAM;
    if (IsQuarterTurned(perspective) &&
        !gate::Allows(SUPPORT_VIEW_PERSPECTIVE))
        return Z_ERR_GATE;
    if (destination == source)
        destination = nullptr;
    return Z_IntChangeBitmapViewPerspective(destination, source, perspective,
                                            destination != nullptr ? 7 : 0);
}

int32_t ZAPI Z_IntChangeBitmapViewPerspective(BitmapHandle *destination,
                                              BitmapHandle *source,
                                              int32_t perspective,
                                              uint32_t options) {
    if (source == nullptr)
        return Z_ERR_PARAM;
    BitmapHandle *bitmap = source;
    if (destination != nullptr) {
        const int32_t made =
            Z_DupBitmapNewDim(destination, source, source->Width,
                              source->Height, source->BitsPerPixel, options);
        if (made != Z_OK)
            return made;
        const int32_t copied = Z_CopyBitmapData(destination, source);
        if (copied != Z_OK)
            return Undone(destination, options, copied);
        bitmap = destination;
    }
    if (bitmap->ViewPerspective == perspective)
        return Z_OK;
    const Change change =
        ChangeBetween<36000>(bitmap->ViewPerspective, perspective);
    SilencedStatus silenced;
    if (change.flip) {
        // The flip is of stored rows whatever the view, as the coordinate
        // rule has it; the turn after it does the rest.
        const int32_t flipped = Z_IntFlipRows(bitmap);
        if (flipped != Z_OK)
            return Undone(destination, options, flipped);
        if (bitmap->ViewPerspective == 2)
            bitmap->ViewPerspective = 0;
    }
    if (change.angle != 0) {
        const int32_t turned = Z_RotateBitmapFine(bitmap, change.angle, 1, 0);
        if (turned != Z_OK)
            return Undone(destination, options, turned);
    }
    bitmap->ViewPerspective = perspective;
    return Z_OK;
}

int32_t ZAPI Z_RotateBitmapViewPerspective(BitmapHandle *bitmap,
                                           int32_t degrees) {
    if (!gate::Allows(SUPPORT_VIEW_PERSPECTIVE))
        return Z_ERR_GATE;
    degrees %= 360;
    if (degrees < 0)
        degrees += 360;
    if (degrees == 0)
        return Z_OK;
    if (degrees % 90 != 0 || !IsAllocated(bitmap))
        return Z_ERR_PARAM;
    return TurnView(bitmap, degrees);
}

int32_t ZAPI Z_PointFromBitmap(BitmapHandle *bitmap, int32_t perspective,
                               int32_t *x, int32_t *y) {
    if (bitmap == nullptr || x == nullptr || y == nullptr)
        return Z_ERR_PARAM;
    if (bitmap->ViewPerspective != perspective)
        MovePoint(ChangeBetween<360>(bitmap->ViewPerspective, perspective),
                  StoredFrame(bitmap), *x, *y);
    return Z_OK;
}

int32_t ZAPI Z_PointToBitmap(BitmapHandle *bitmap, int32_t perspective,
                             int32_t *x, int32_t *y) {
    if (bitmap == nullptr || x == nullptr || y == nullptr)
        return Z_ERR_PARAM;
    if (bitmap->ViewPerspective != perspective)
        MovePoint(ChangeBetween<360>(perspective, bitmap->ViewPerspective),
                  GivenFrame(bitmap, perspective), *x, *y);
    return Z_OK;
}

int32_t ZAPI Z_RectFromBitmap(BitmapHandle *bitmap, int32_t perspective,
                              RECT *rect) {
    if (bitmap == nullptr || rect == nullptr)
        return Z_ERR_PARAM;
    if (bitmap->ViewPerspective != perspective)
        MoveRect(ChangeBetween<360>(bitmap->ViewPerspective, perspective),
                 StoredFrame(bitmap), *rect);
    return Z_OK;
}

int32_t ZAPI Z_RectToBitmap(BitmapHandle *bitmap, int32_t perspective,
                            RECT *rect) {
    if (bitmap == nullptr || rect == nullptr)
        return Z_ERR_PARAM;
    if (bitmap->ViewPerspective != perspective)
        MoveRect(ChangeBetween<360>(perspective, bitmap->ViewPerspective),
                 GivenFrame(bitmap, perspective), *rect);
    return Z_OK;
}

} // extern "C"
