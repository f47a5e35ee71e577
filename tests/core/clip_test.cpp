// Clipping against the scissor edges and the near/far planes.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "core/clip.h"

using namespace e3d;

namespace {

ClipFrame Frame() {
    ClipFrame f{};
    f.xMin = 0.0f;
    f.xMax = 320.0f;
    f.yMin = 0.0f;
    f.yMax = 200.0f;
    f.centerX = 160.0f;
    f.centerY = 100.0f;
    f.yScale = -1.0f;
    f.focal = 200.0f;
    f.nearZ = 1.0f;
    f.farZ = 100.0f;
    return f;
}

ClipVertex Screen(float x, float y, const ClipFrame &f, float w = 0.5f) {
    ClipVertex v{};
    v.screenX = x;
    v.screenY = y;
    v.invDepth = w;
    v.outCode = ScreenCodeX(x, f) | ScreenCodeY(y, f);
    return v;
}

// Projects a view-space point the way the clamping projector does.
ClipVertex View(float x, float y, float z, const ClipFrame &f) {
    ClipVertex v{};
    v.viewX = x;
    v.viewY = y;
    v.viewZ = z;
    if (z - f.nearZ <= 0.0f) {
        v.outCode = kOutNear;
        v.invDepth = 1.0f / f.nearZ;
    } else if (z - f.farZ > 0.0f) {
        v.outCode = kOutFar;
        v.invDepth = 1.0f / f.farZ;
    } else {
        v.invDepth = 1.0f / z;
        const float k = v.invDepth * f.focal;
        v.screenX = x * k + f.centerX;
        v.screenY = y * k * f.yScale + f.centerY;
        v.outCode = ScreenCodeX(v.screenX, f) | ScreenCodeY(v.screenY, f);
    }
    return v;
}

double SignedArea(const ClipPolygon &p) {
    double a = 0;
    for (int i = 0; i < p.count; ++i) {
        const ClipVertex &u = p.corners[i], &w = p.corners[(i + 1) % p.count];
        a += double(u.screenX) * w.screenY - double(w.screenX) * u.screenY;
    }
    return a / 2;
}

}  // namespace

TEST(Clip, SignTestTreatsNegativeZeroAsInside) {
    EXPECT_FALSE(IsNegative(0.0f));
    EXPECT_FALSE(IsNegative(-0.0f));
    EXPECT_TRUE(IsNegative(-1e-30f));
    const ClipFrame f = Frame();
    EXPECT_EQ(ScreenCodeX(0.0f, f), 0u);
    EXPECT_EQ(ScreenCodeX(320.0f, f), 0u);
    EXPECT_EQ(ScreenCodeX(320.001f, f), kOutRight);
    EXPECT_EQ(ScreenCodeY(-0.001f, f), kOutAbove);
}

TEST(Clip, InsideTriangleRunsNoStage) {
    const ClipFrame f = Frame();
    ClipPolygon a{}, b{};
    a.count = 3;
    a.corners[0] = Screen(10, 10, f);
    a.corners[1] = Screen(100, 20, f);
    a.corners[2] = Screen(50, 150, f);
    b.count = 77;
    const ClipPolygon *r = ClipToScreen<kAttrPlain>(a, b, f);
    EXPECT_EQ(r, &a);
    EXPECT_EQ(b.count, 77);
}

TEST(Clip, CornerLeftOfTheScreenBecomesTwo) {
    const ClipFrame f = Frame();
    ClipPolygon a{}, b{};
    a.count = 3;
    a.corners[0] = Screen(-10, 100, f, 1.0f);
    a.corners[1] = Screen(30, 60, f, 0.5f);
    a.corners[2] = Screen(30, 140, f, 0.5f);
    a.corners[0].u = 0.0f;
    a.corners[1].u = 8.0f;
    a.corners[2].u = 8.0f;
    const ClipPolygon *r = ClipToScreen<kAttrTextured>(a, b, f);
    ASSERT_EQ(r->count, 4);
    // Edge 0->1 enters: intersection first; then 1, 2; edge 2->0 leaves.
    EXPECT_FLOAT_EQ(r->corners[0].screenX, 0.0f);
    EXPECT_FLOAT_EQ(r->corners[0].screenY, 90.0f);
    EXPECT_FLOAT_EQ(r->corners[0].invDepth, 0.875f);
    EXPECT_FLOAT_EQ(r->corners[0].u, 2.0f);
    EXPECT_EQ(r->corners[0].outCode, 0u);
    EXPECT_FLOAT_EQ(r->corners[1].screenX, 30.0f);
    EXPECT_FLOAT_EQ(r->corners[3].screenX, 0.0f);
    EXPECT_FLOAT_EQ(r->corners[3].screenY, 110.0f);
}

TEST(Clip, IntersectionOnTheInsideCornerIsDropped) {
    // Corner 0 lies exactly on the left edge (inside); corner 1 is outside,
    // so the edge 0->1 meets the line at corner 0 itself.
    const ClipFrame f = Frame();
    ClipPolygon a{}, b{};
    a.count = 3;
    a.corners[0] = Screen(0, 50, f);
    a.corners[1] = Screen(-20, 100, f);
    a.corners[2] = Screen(40, 120, f);
    ClipAgainst<kAttrPlain, ClipEdge::Vertical>(a, b, f.xMin, kOutLeft, f);
    ASSERT_EQ(b.count, 3);
    EXPECT_FLOAT_EQ(b.corners[0].screenX, 0.0f);
    EXPECT_FLOAT_EQ(b.corners[0].screenY, 50.0f);
    EXPECT_FLOAT_EQ(b.corners[1].screenX, 0.0f);
    EXPECT_GT(b.corners[1].screenY, 100.0f);
}

TEST(Clip, NearPlaneMakesAQuadWithCornersOnThePlane) {
    const ClipFrame f = Frame();
    ClipPolygon a{}, b{};
    a.count = 3;
    a.corners[0] = View(0, 0, -1, f);  // behind the camera
    a.corners[1] = View(-2, 1, 5, f);
    a.corners[2] = View(2, 1, 5, f);
    a.corners[0].r = 0;
    a.corners[1].r = 200;
    a.corners[2].r = 200;
    ClipAgainst<kAttrGouraud, ClipEdge::Depth>(a, b, f.nearZ, kOutNear, f);
    ASSERT_EQ(b.count, 4);
    // Entering on edge 0->1 at t = 1/3, then 1 and 2, leaving on edge 2->0.
    const ClipVertex &n = b.corners[0];
    EXPECT_FLOAT_EQ(n.viewZ, 1.0f);
    EXPECT_FLOAT_EQ(n.invDepth, 1.0f);
    EXPECT_FLOAT_EQ(n.viewX, -2.0f / 3.0f);
    EXPECT_FLOAT_EQ(n.screenX, -2.0f / 3.0f * 200.0f + 160.0f);
    EXPECT_FLOAT_EQ(n.screenY, -(1.0f / 3.0f) * 200.0f + 100.0f);
    EXPECT_NEAR(n.r, 200.0f / 3.0f, 1e-3);
    EXPECT_EQ(n.outCode & (kOutNear | kOutFar), 0u);
    EXPECT_FLOAT_EQ(b.corners[3].viewX, 2.0f / 3.0f);
}

TEST(Clip, RandomTrianglesStayInsideAndWithinNineCorners) {
    const ClipFrame f = Frame();
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> pos(-30.0f, 30.0f);
    std::uniform_real_distribution<float> depth(-20.0f, 150.0f);
    int clippedBoth = 0;
    for (int round = 0; round < 20000; ++round) {
        ClipPolygon a{}, b{};
        a.count = 3;
        for (int j = 0; j < 3; ++j) a.corners[j] = View(pos(rng), pos(rng), depth(rng), f);
        uint32_t any = 0, all = ~0u;
        for (int j = 0; j < 3; ++j) any |= a.corners[j].outCode, all &= a.corners[j].outCode;
        if (all) continue;
        ClipPolygon *in = &a, *out = &b;
        if (any & kOutNear) {
            ClipAgainst<kAttrPlain, ClipEdge::Depth>(*in, *out, f.nearZ, kOutNear, f);
            std::swap(in, out);
        }
        if ((any & kOutFar) && in->count >= 3) {
            ClipAgainst<kAttrPlain, ClipEdge::Depth>(*in, *out, f.farZ, kOutFar, f);
            std::swap(in, out);
        }
        if (in->count < 3) continue;
        if ((any & (kOutNear | kOutFar)) == (kOutNear | kOutFar)) ++clippedBoth;
        for (int j = 0; j < in->count; ++j) {
            ASSERT_GE(in->corners[j].viewZ, f.nearZ - 1e-4f);
            ASSERT_LE(in->corners[j].viewZ, f.farZ + 1e-3f);
        }
        ClipPolygon &other = (in == &a) ? b : a;
        const ClipPolygon *r = ClipToScreen<kAttrPlain>(*in, other, f);
        ASSERT_LE(r->count, 9);
        for (int j = 0; j < r->count; ++j) {
            ASSERT_GE(r->corners[j].screenX, f.xMin - 1e-2f);
            ASSERT_LE(r->corners[j].screenX, f.xMax + 1e-2f);
            ASSERT_GE(r->corners[j].screenY, f.yMin - 1e-2f);
            ASSERT_LE(r->corners[j].screenY, f.yMax + 1e-2f);
        }
        if (r->count >= 3) {
            ASSERT_LE(std::fabs(SignedArea(*r)), 320.0 * 200.0 * 1.0001);
        }
    }
    EXPECT_GT(clippedBoth, 10);
}

TEST(Clip, NonFiniteCornersNeverOverflowTheArrays) {
    const ClipFrame f = Frame();
    std::mt19937 rng(9);
    const float specials[] = {NAN, INFINITY, -INFINITY, 1e30f, -1e30f, 0.0f, 160.0f};
    for (int round = 0; round < 5000; ++round) {
        ClipPolygon a{}, b{};
        a.count = 3 + int(rng() % 6);
        for (int j = 0; j < a.count; ++j) {
            a.corners[j] = Screen(specials[rng() % 7], specials[rng() % 7], f);
            a.corners[j].outCode = rng() & 0x3C0u;
        }
        const ClipPolygon *r = ClipToScreen<kAttrTexturedGouraud>(a, b, f);
        ASSERT_LE(r->count, kClipCapacity);
    }
}
