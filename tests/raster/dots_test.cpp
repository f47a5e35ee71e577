// Dots fillers: truncated corners strictly inside the clip bounds, no depth
// test, no blending.
#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "core/clip.h"
#include "raster/pixel.h"
#include "raster/wire.h"
#include "support/line_model.h"

using namespace e3d;
using namespace e3dtest;

TEST(DotsFiller, CornersTruncatedAndStrictlyInsideTheBounds) {
    LineCanvas c(40, 24);
    c.Scissor(2, 30, 2, 20);
    struct Case {
        float x, y;
        bool drawn;
        Pixel at;
    } cases[] = {
        {3.99f, 5.5f, true, {3, 5}},   {2.9f, 5.0f, false, {}},  // truncates onto xMin: not strictly inside
        {29.5f, 19.9f, true, {29, 19}}, {30.2f, 8.0f, false, {}}, {12.0f, 20.0f, false, {}},
        {12.0f, 2.0f, false, {}},       {-0.5f, 6.0f, false, {}}, {12.7f, 2.01f, false, {}},
    };
    for (const Case &k : cases) {
        c.Clear();
        WirePolygon w(k.x, k.y, k.x, k.y, k.x, k.y, 0);
        w.p.color = 0x00FF0000;
        FlatDotsTriangle(&w.p, w.v);
        std::map<Pixel, uint16_t> expected;
        if (k.drawn) expected[k.at] = 0x7C00;
        EXPECT_EQ(c.Changed(), expected) << k.x << "," << k.y;
    }
}

TEST(DotsFiller, GouraudCornersTakeTheirOwnColourAndNothingBlends) {
    LineCanvas c(32, 32, false, 0x0421);
    WirePolygon w(4, 4, 20, 6, 10, 25, 0);
    w.CountWrites();  // additive material and flag 0x40: dots ignore both
    w.p.color = 0x00FF0000, w.p.color1 = 0x0000FF00, w.p.color2 = 0x000000FF;
    GouraudDotsTriangle(&w.p, w.v);
    EXPECT_EQ(c.At(4, 4), 0x7C00);
    EXPECT_EQ(c.At(20, 6), 0x03E0);
    EXPECT_EQ(c.At(10, 25), 0x001F);
    EXPECT_EQ(c.Changed(0x0421).size(), 3u);
    FlatDotsTriangle(&w.p, w.v);
    EXPECT_EQ(c.At(20, 6), 0x7C00);
    EXPECT_EQ(c.At(10, 25), 0x7C00);
}

TEST(DotsFiller, ClipAndDrawFormsSkipDepthCodedCornersAndZFormsKeepTheNearerDepth) {
    LineCanvas c(32, 32, true);
    WirePolygon w(4, 4, 20, 6, 10, 25, 0);
    w.v[1].clipCode = kOutNear;
    w.v[2].clipCode = kOutFar | kOutRight;
    ClipAndDrawFlatDotsTriangle(&w.p, w.v);
    EXPECT_EQ(c.Changed().size(), 1u);
    FlatDotsTriangle(&w.p, w.v);  // the exported form draws all three
    EXPECT_EQ(c.Changed().size(), 3u);

    c.Clear();
    for (int i = 0; i < 3; ++i) w.v[i].clipCode = 0;
    w.v[0].invDepth = 0.25f, w.v[1].invDepth = 0.25f;
    c.viewport->depthBuffer[4 * 32 + 4] = 0x7FFFFFFF;  // nearer than the dot
    c.viewport->depthBuffer[6 * 32 + 20] = 5;          // farther
    ClipAndDrawGouraudDotsTriangleZ(&w.p, w.v);
    EXPECT_EQ(c.At(4, 4), 0x7FFF);  // drawn without a depth test
    EXPECT_EQ(c.DepthAt(4, 4), 0x7FFFFFFF);
    EXPECT_EQ(c.DepthAt(6 * 0 + 20, 6), 0x10000000);
    // Without a depth buffer the Z forms draw nothing.
    LineCanvas flat(8, 8);
    WirePolygon d(2, 2, 3, 3, 4, 4, 0);
    ClipAndDrawFlatDotsTriangleZ(&d.p, d.v);
    EXPECT_TRUE(flat.Changed().empty());
}

TEST(DotsFiller, WildCoordinatesDrawNothingOutside) {
    LineCanvas c(16, 12);
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    const float wild[] = {nan, inf, -inf, 1e30f, -1e30f, 3e9f, -3e9f, 2147483648.0f, -1.0f, 5.5f, 15.9f, 11.0f};
    std::mt19937 rng(21);
    std::uniform_int_distribution<int> pick(0, int(std::size(wild)) - 1);
    for (int round = 0; round < 2000; ++round) {
        WirePolygon w(wild[pick(rng)], wild[pick(rng)], wild[pick(rng)], wild[pick(rng)], wild[pick(rng)],
                      wild[pick(rng)], 0);
        (round & 1 ? GouraudDotsTriangle : FlatDotsTriangle)(&w.p, w.v);
    }
    for (const auto &[p, n] : c.Changed()) ASSERT_TRUE(p.first >= 1 && p.first <= 15 && p.second >= 1 && p.second <= 11);
    EXPECT_FALSE(c.Changed().empty());
    EXPECT_TRUE(c.GuardsIntact());
}
