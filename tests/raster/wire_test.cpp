// Line stepping and the wire fillers against the reference stepper.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

#include "pipeline/dispatch.h"
#include "raster/line.h"
#include "raster/pixel.h"
#include "raster/wire.h"
#include "support/line_model.h"

using namespace e3d;
using namespace e3dtest;

namespace {

// Expected write counts of a line under the current clip bounds.
std::map<Pixel, uint16_t> ModelInside(const std::vector<Pixel> &line, int x0, int x1, int y0, int y1) {
    std::map<Pixel, uint16_t> m;
    for (const Pixel &p : line)
        if (p.first >= x0 && p.first <= x1 && p.second >= y0 && p.second <= y1) m[p] += 1;
    return m;
}

// One visible edge, corner 0 to corner 1, drawn through the counting blend.
std::map<Pixel, uint16_t> DrawCounted(LineCanvas &c, float x0, float y0, float x1, float y1,
                                      void (*filler)(E3DPolygon *, E3DVertex *) = FlatWireTriangle) {
    c.Clear();
    WirePolygon w(x0, y0, x1, y1, 0, 0, 0x200u);
    w.CountWrites();
    filler(&w.p, w.v);
    return c.Changed();
}

}  // namespace

TEST(LineTables, ReciprocalsGiveExactColourSteps) {
    LineCanvas c(4, 4);  // starts the engine, which builds the tables
    for (int32_t n = 1; n < 1500; ++n)
        for (int32_t delta = -255; delta <= 255; ++delta)
            ASSERT_EQ(LineColourStep(delta, n), delta * 65536 / n) << delta << " / " << n;
    // The octant table steps one pixel along the major axis, the minor one
    // in the line's direction.
    for (int o = 0; o < 8; ++o) {
        const LineOctant &s = g_lineOctants[o];
        const int sx = (o & 1) ? -1 : 1, sy = (o & 2) ? -1 : 1;
        EXPECT_EQ(std::abs(s.majorX) + std::abs(s.majorY), 1);
        EXPECT_EQ(s.majorX + s.minorX, sx);
        EXPECT_EQ(s.majorY + s.minorY, sy);
        EXPECT_EQ(s.majorY != 0, (o & 4) != 0);
    }
}

TEST(LineStepping, RandomLinesMatchTheReferenceStepper) {
    LineCanvas c(64, 48);
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> x(-30.0f, 94.0f), y(-30.0f, 78.0f), edge(0.0f, 1.0f);
    int drawn = 0;
    for (int round = 0; round < 4000; ++round) {
        // Every tenth round under a random scissor; a few lines on whole
        // pixels, where rounding ties are most common.
        float sx0 = 0, sx1 = 64, sy0 = 0, sy1 = 48;
        if (round % 10 == 0) {
            sx0 = std::floor(edge(rng) * 30), sx1 = 34 + std::floor(edge(rng) * 30);
            sy0 = std::floor(edge(rng) * 20), sy1 = 26 + std::floor(edge(rng) * 22);
        }
        c.Scissor(sx0, sx1, sy0, sy1);
        float a = x(rng), b = y(rng), d = x(rng), e = y(rng);
        if (round % 7 == 0) a = std::round(a) + 0.5f, d = std::round(d) + 0.5f;  // rounding ties
        const auto expected = ModelInside(ModelLine(a, b, d, e), int(sx0), int(sx1) - 1, int(sy0), int(sy1) - 1);
        const auto got = DrawCounted(c, a, b, d, e);
        ASSERT_EQ(got, expected) << "round " << round << ": (" << a << "," << b << ") -> (" << d << "," << e << ")";
        drawn += !expected.empty();
    }
    EXPECT_GT(drawn, 2500);
    EXPECT_TRUE(c.GuardsIntact());
}

TEST(LineStepping, ClippedLinesKeepTheUnclippedPixels) {
    LineCanvas c(80, 60);
    std::mt19937 rng(12);
    std::uniform_real_distribution<float> x(-200.0f, 280.0f), y(-200.0f, 260.0f), in(0.0f, 1.0f);
    for (int round = 0; round < 2000; ++round) {
        const float a = x(rng), b = y(rng), d = x(rng), e = y(rng);
        c.Scissor(0, 80, 0, 60);
        const auto whole = DrawCounted(c, a, b, d, e);
        const float x0 = std::floor(in(rng) * 39), x1 = 41 + std::floor(in(rng) * 39);
        const float y0 = std::floor(in(rng) * 29), y1 = 31 + std::floor(in(rng) * 29);
        c.Scissor(x0, x1, y0, y1);
        const auto clipped = DrawCounted(c, a, b, d, e);
        std::map<Pixel, uint16_t> expected;
        for (const auto &[p, n] : whole)
            if (p.first >= x0 && p.first < x1 && p.second >= y0 && p.second < y1) expected[p] = n;
        ASSERT_EQ(clipped, expected) << "round " << round;
    }
}

TEST(LineStepping, ReversedLineDiffersOnlyInItsEndPixel) {
    LineCanvas c(64, 64);
    std::mt19937 rng(13);
    std::uniform_int_distribution<int> coord(2, 61);
    for (int round = 0; round < 1000; ++round) {
        const float a = float(coord(rng)), b = float(coord(rng)), d = float(coord(rng)), e = float(coord(rng));
        auto forward = DrawCounted(c, a, b, d, e);
        auto backward = DrawCounted(c, d, e, a, b);
        if (a == d && b == e) {
            EXPECT_TRUE(forward.empty() && backward.empty());
            continue;
        }
        forward[{int(d), int(e)}] += 1;  // add each line's missing end
        backward[{int(a), int(b)}] += 1;
        ASSERT_EQ(forward, backward) << a << "," << b << " " << d << "," << e;
    }
}

TEST(WireFiller, OutlinesWriteEveryPixelOnceAndOnlyVisibleEdges) {
    LineCanvas c(64, 64);
    std::mt19937 rng(14);
    std::uniform_real_distribution<float> coord(-10.0f, 74.0f);
    for (int round = 0; round < 1000; ++round) {
        const float xs[3] = {coord(rng), coord(rng), coord(rng)}, ys[3] = {coord(rng), coord(rng), coord(rng)};
        const uint32_t edges = (uint32_t(round) % 8) << 9;
        c.Clear();
        WirePolygon w(xs[0], ys[0], xs[1], ys[1], xs[2], ys[2], edges);
        w.CountWrites();
        w.p.flags |= (round & 8) ? 0x80u : 0u;  // either side
        FlatWireTriangle(&w.p, w.v);
        std::map<Pixel, uint16_t> expected;
        for (int i = 0; i < 3; ++i) {
            if (!(edges & (0x200u << i))) continue;
            const int j = (i + 1) % 3;
            for (const auto &[p, n] : ModelInside(ModelLine(xs[i], ys[i], xs[j], ys[j]), 0, 63, 0, 63))
                expected[p] += n;
        }
        ASSERT_EQ(c.Changed(), expected) << "round " << round;
    }
}

TEST(WireFiller, GridShowsEveryLineWithNothingDrawnTwiceBetweenCorners) {
    // A 6 x 5 grid laid on the screen 8 pixels a cell, side either way.
    for (bool back : {false, true}) {
        LineCanvas c(64, 56);
        const int rows = 5, columns = 6, step = 8, left = 4, top = 6;
        E3DMesh *grid = GridCreate(1.0f, nullptr, rows, columns, 0xFFFFFF);
        ASSERT_NE(grid, nullptr);
        E3DVertex *v = grid->vertices;
        for (int r = 0; r <= rows; ++r) {
            for (int k = 0; k <= columns; ++k) {
                v[r * (columns + 1) + k].screenX = float(left + k * step);
                v[r * (columns + 1) + k].screenY = float(top + r * step);
                v[r * (columns + 1) + k].clipCode = 0;
            }
        }
        E3DMaterial additive{};
        additive.alphaMode = 1;
        for (int i = 0; i < grid->polygonCount; ++i) {
            E3DPolygon p = grid->polygons[i];
            p.flags = (p.flags & ~0xC0u) | 0x40u | (back ? 0x80u : 0u);
            p.material = p.backMaterial = &additive;
            p.color = 0x000008;
            ClipAndDrawFlatWireTriangle(&p, v);
        }
        DeleteMesh(grid);
        auto onVertex = [&](int x, int y) { return (x - left) % step == 0 && (y - top) % step == 0; };
        int vertexTwice = 0;
        for (int y = 0; y < 56; ++y) {
            for (int x = 0; x < 64; ++x) {
                const bool inside = x >= left && x <= left + columns * step && y >= top && y <= top + rows * step;
                const bool onLine = inside && ((x - left) % step == 0 || (y - top) % step == 0);
                const uint16_t n = c.At(x, y);
                if (!onLine) {
                    ASSERT_EQ(n, 0) << x << "," << y;
                } else if (!onVertex(x, y)) {
                    ASSERT_EQ(n, 1) << x << "," << y;
                } else {
                    // Grid lines cross at vertices: a vertex pixel is written
                    // by each visible edge that starts there, at most two.
                    ASSERT_GE(n, 1) << x << "," << y;
                    ASSERT_LE(n, 2) << x << "," << y;
                    vertexTwice += n == 2;
                }
            }
        }
        // The four outer corners belong to one edge each.
        for (int cy : {top, top + rows * step})
            for (int cx : {left, left + columns * step}) EXPECT_EQ(c.At(cx, cy), 1) << cx << "," << cy;
        EXPECT_LT(vertexTwice, (rows + 1) * (columns + 1));
    }
}

TEST(WireFiller, GouraudColourRunsFromEndToEnd) {
    LineCanvas c(300, 8);
    WirePolygon w(2, 3, 257, 3, 0, 0, 0x200u);
    w.p.color = 0x00FF0000;   // red at corner 0
    w.p.color1 = 0x000000FF;  // blue at corner 1
    GouraudWireTriangle(&w.p, w.v);
    EXPECT_EQ(c.At(2, 3), ColorToPixel(0x00FF0000));
    for (int x = 2; x < 257; ++x) {
        const uint16_t px = c.At(x, 3);
        const double t = double(x - 2) / 255.0;
        EXPECT_NEAR((px >> 10) & 31, 255.0 * (1 - t) / 8.0, 1.0) << x;
        EXPECT_NEAR(px & 31, 255.0 * t / 8.0, 1.0) << x;
        EXPECT_EQ((px >> 5) & 31, 0) << x;
    }
    EXPECT_EQ(c.At(257, 3), 0);  // the end pixel belongs to the next edge
    // Flat wire ignores the corner colours.
    c.Clear();
    FlatWireTriangle(&w.p, w.v);
    for (int x = 2; x < 257; ++x) ASSERT_EQ(c.At(x, 3), 0x7C00) << x;
}

TEST(WireFiller, DepthFormsTestAndOnlyReplaceWritesDepth) {
    LineCanvas c(64, 8, true);
    auto run = [&](uint16_t alphaMode, bool blend) {
        c.Clear(0x0421);
        for (int x = 0; x < 64; ++x) c.viewport->depthBuffer[3 * 64 + x] = x < 32 ? 0 : 0x7FFFFFFF;
        WirePolygon w(0, 3, 60, 3, 0, 0, 0x200u);
        w.v[0].invDepth = w.v[1].invDepth = 0.25f;
        w.m.alphaMode = alphaMode;
        if (blend) w.p.flags |= 0x40u;
        ClipAndDrawFlatWireTriangleZ(&w.p, w.v);
    };
    run(1, false);  // without flag 0x40 the operator is replace
    for (int x = 0; x < 60; ++x) {
        ASSERT_EQ(c.At(x, 3), x < 32 ? 0x7FFF : 0x0421) << x;
        ASSERT_EQ(c.DepthAt(x, 3), x < 32 ? 0x10000000 : 0x7FFFFFFF) << x;
    }
    run(1, true);  // additive: tested, not written
    for (int x = 0; x < 60; ++x) {
        ASSERT_EQ(c.At(x, 3), x < 32 ? AddPixels(0x7FFF, 0x0421) : 0x0421) << x;
        ASSERT_EQ(c.DepthAt(x, 3), x < 32 ? 0 : 0x7FFFFFFF) << x;
    }
    // Depth interpolates along the line: a ramp against a flat buffer
    // passes on one side of the crossing only.
    c.Clear();
    for (int x = 0; x < 64; ++x) c.viewport->depthBuffer[3 * 64 + x] = 0x10000000;  // 0.25
    WirePolygon ramp(0, 3, 64, 3, 0, 0, 0x200u);
    ramp.v[0].invDepth = 0.125f;
    ramp.v[1].invDepth = 0.375f;
    ClipAndDrawFlatWireTriangleZ(&ramp.p, ramp.v);
    for (int x = 0; x < 64; ++x) ASSERT_EQ(c.At(x, 3) != 0, x > 32) << x;
    // Without a depth buffer the Z forms draw nothing.
    LineCanvas flat(16, 4);
    WirePolygon w(0, 1, 15, 1, 0, 0, 0x200u);
    ClipAndDrawFlatWireTriangleZ(&w.p, w.v);
    EXPECT_TRUE(flat.Changed().empty());
}

TEST(WireFiller, OpacityAndSubtractiveBlendByTheDrawnSide) {
    LineCanvas c(32, 4);
    WirePolygon w(0, 1, 20, 1, 0, 0, 0x200u | 0x40u | 0x80u);
    E3DMaterial front{};
    w.p.material = &front;  // the back side is drawn: w.m applies
    w.m.alphaMode = 2;
    w.m.alphaLevel = 128;
    FlatWireTriangle(&w.p, w.v);
    EXPECT_EQ(c.At(5, 1), 0x3DEF);  // 128 x 31 >> 8 = 15 per channel over black
    w.m.alphaLevel = 0;
    c.Clear();
    FlatWireTriangle(&w.p, w.v);
    EXPECT_TRUE(c.Changed().empty());
    w.m.alphaMode = 3;  // subtractive, painter's form: white minus black
    FlatWireTriangle(&w.p, w.v);
    EXPECT_EQ(c.At(5, 1), 0x7FFF);
}

TEST(WireFiller, ClipAndDrawFormsCutEdgesAtTheNearPlane) {
    LineCanvas c(64, 48);
    const ClipFrame saved = g_clipFrame;
    g_clipFrame.nearZ = 1.0f, g_clipFrame.farZ = 100.0f, g_clipFrame.focal = 32.0f;
    g_clipFrame.centerX = 32.0f, g_clipFrame.centerY = 24.0f, g_clipFrame.yScale = -1.0f;
    WirePolygon w(0, 0, 32, 24, 0, 0, 0x200u);
    // Corner 0 is behind the eye: its screen position is stale and unused.
    w.v[0].clipCode = kOutNear;
    w.v[0].viewX = -1.0f, w.v[0].viewY = 0.0f, w.v[0].depth = -4.0f;
    w.v[0].screenX = 1e9f, w.v[0].screenY = -1e9f;
    w.v[1].viewX = 0.0f, w.v[1].viewY = 0.0f, w.v[1].depth = 4.0f;
    w.v[1].invDepth = 0.25f;
    // At z = 1 the edge is at x = -0.375, on screen 32 - 12 = 20.
    ClipAndDrawFlatWireTriangle(&w.p, w.v);
    std::map<Pixel, uint16_t> expected;
    for (int x = 20; x < 32; ++x) expected[{x, 24}] = 0x7FFF;
    EXPECT_EQ(c.Changed(), expected);
    // Both ends beyond the far plane: nothing.
    c.Clear();
    w.v[0].clipCode = w.v[1].clipCode = kOutFar;
    ClipAndDrawFlatWireTriangle(&w.p, w.v);
    EXPECT_TRUE(c.Changed().empty());
    g_clipFrame = saved;
}

TEST(WireFiller, WildCoordinatesStayInsideAndEnd) {
    LineCanvas c(48, 32);
    c.Scissor(3, 41, 2, 29);
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    const float wild[] = {nan, inf, -inf, 1e30f, -1e30f, 3e9f, -2e9f, 1048577.0f, -5.0f, 20.0f, 16.5f, 0.0f};
    std::mt19937 rng(15);
    std::uniform_int_distribution<int> pick(0, int(std::size(wild)) - 1);
    for (int round = 0; round < 3000; ++round) {
        WirePolygon w(wild[pick(rng)], wild[pick(rng)], wild[pick(rng)], wild[pick(rng)], wild[pick(rng)],
                      wild[pick(rng)], 0xE00u);
        w.v[round % 3].invDepth = wild[pick(rng)];
        w.p.color1 = 0x123456;
        (round & 1 ? GouraudWireTriangle : FlatWireTriangle)(&w.p, w.v);
    }
    for (const auto &[p, n] : c.Changed()) {
        ASSERT_TRUE(p.first >= 3 && p.first <= 40 && p.second >= 2 && p.second <= 28) << p.first << "," << p.second;
    }
    EXPECT_FALSE(c.Changed().empty());
    EXPECT_TRUE(c.GuardsIntact());
    // A line from far outside crosses the viewport along its true course.
    c.Clear();
    DrawLine2D(c.viewport, -1e30f, 10.0f, 1e30f, 10.0f, 0xFFFFFF);
    for (int x = 0; x < 48; ++x) EXPECT_EQ(c.At(x, 10) != 0, x >= 3 && x <= 40) << x;
}

TEST(DrawLine2D, DrawsThroughTheScissorAndRestoresTheContext) {
    LineCanvas c(40, 30);
    LineCanvas other(8, 8);  // current after this
    SetViewportScissor(c.viewport, 5, 35, 4, 26);
    DrawLine2D(c.viewport, 0, 0, 40, 30, 0x00FF8000);
    EXPECT_EQ(CurrentViewport(), other.viewport);
    const auto expected = ModelInside(ModelLine(0, 0, 40, 30), 5, 34, 4, 25);
    std::map<Pixel, uint16_t> got;
    for (const auto &[p, value] : c.Changed()) {
        EXPECT_EQ(value, 0x7E00);
        got[p] = 1;
    }
    EXPECT_EQ(got, expected);
    EXPECT_EQ(g_clipBounds.xMaxInner, 34.0f);  // loaded from the scissor
    DrawLine2D(nullptr, 0, 0, 5, 5, 0xFFFFFF);  // no viewport: nothing
    EXPECT_TRUE(other.Changed().empty());
}
