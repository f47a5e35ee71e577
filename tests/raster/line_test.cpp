// Line tables, the wire and dots forms the family models leave out, and wild
// input against every filler.
#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "core/clip.h"
#include "raster/line.h"
#include "raster/wire.h"
#include "support/line_model.h"

using namespace e3d;
using namespace e3dtest;

TEST(LineTables, ReciprocalsGiveExactColourSteps) {
    Canvas c(4, 4);  // starts the engine, which builds the tables
    for (int32_t n = 1; n < 1500; ++n)
        for (int32_t delta = -255; delta <= 255; ++delta)
            ASSERT_EQ(LineColourStep(delta, n), delta * 65536 / n) << delta << " / " << n;
}

TEST(WireFiller, ClipAndDrawFormsCutEdgesAtTheNearAndFarPlanes) {
    Canvas c(64, 48, true);
    const ClipFrame saved = g_clipFrame;
    g_clipFrame.nearZ = 1.0f, g_clipFrame.farZ = 100.0f, g_clipFrame.focal = 32.0f;
    g_clipFrame.centerX = 32.0f, g_clipFrame.centerY = 24.0f, g_clipFrame.yScale = -1.0f;
    for (auto *fill : {ClipAndDrawFlatWireTriangle, ClipAndDrawGouraudWireTriangle, ClipAndDrawFlatWireTriangleZ}) {
        c.Clear();
        Triangle w(1e9f, -1e9f, 32, 24, 0, 0, 0x200u);  // corner 0's screen position is stale and unused
        w.v[0].clipCode = kOutNear;  // behind the eye
        w.v[0].viewX = -1.0f, w.v[0].viewY = 0.0f, w.v[0].depth = -4.0f;
        w.v[1].viewX = 0.0f, w.v[1].viewY = 0.0f, w.v[1].depth = 4.0f, w.v[1].invDepth = 0.25f;
        fill(&w.p, w.v);  // at z = 1 the edge is at x = -0.375, on screen 32 - 12 = 20
        std::map<Pixel, uint16_t> expected;
        for (int x = 20; x < 32; ++x) expected[{x, 24}] = 0x7FFF;
        EXPECT_EQ(c.Changed(), expected);
        c.Clear();
        w.v[0].clipCode = w.v[1].clipCode = kOutFar;  // both beyond the far plane
        fill(&w.p, w.v);
        EXPECT_TRUE(c.Changed().empty());
    }
    g_clipFrame = saved;
    Canvas flat(16, 4);  // without a depth buffer the Z forms draw nothing
    Triangle t(0, 3, 15, 3, 0, 0, 0xE00u);
    for (auto *fill : {ClipAndDrawFlatWireTriangleZ, ClipAndDrawGouraudWireTriangleZ, ClipAndDrawFlatDotsTriangleZ, ClipAndDrawGouraudDotsTriangleZ})
        fill(&t.p, t.v);
    EXPECT_TRUE(flat.Changed().empty());
}

TEST(DotsFiller, ClipAndDrawFormsSkipDepthCodedCornersAndKeepTheNearerDepth) {
    Canvas c(32, 32, true);
    Triangle w(4, 4, 20, 6, 10, 25, 0);
    w.v[1].clipCode = kOutNear, w.v[2].clipCode = kOutFar | kOutRight;
    ClipAndDrawGouraudDotsTriangle(&w.p, w.v);
    EXPECT_EQ(c.Changed().size(), 1u);
    FlatDotsTriangle(&w.p, w.v);  // the exported form draws all three
    EXPECT_EQ(c.Changed().size(), 3u);
    c.Depth()[4 * 32 + 4] = 0x7FFFFFFF;  // nearer than the dot: kept, the dot still drawn
    c.Clear();
    ClipAndDrawFlatDotsTriangleZ(&w.p, w.v);
    EXPECT_TRUE(c.At(4, 4) == 0x7FFF && c.DepthAt(4, 4) == 0x7FFFFFFF);
}

TEST(DrawLine2D, DrawsThroughTheScissorAndRestoresTheContext) {
    Canvas c(40, 30);
    Canvas other(8, 8);  // current after this
    SetViewportScissor(c.viewport, 5, 35, 4, 26);
    DrawLine2D(c.viewport, 0, 0, 40, 30, 0x00FF8000);
    EXPECT_EQ(CurrentViewport(), other.viewport);
    std::map<Pixel, uint16_t> expected;
    for (auto [x, y] : ModelLine(0, 0, 40, 30))
        if (x >= 5 && x < 35 && y >= 4 && y < 26) expected[{x, y}] = 0x7E00;
    EXPECT_EQ(c.Changed(), expected);
    EXPECT_EQ(g_clipBounds.xMaxInner, 34.0f);  // loaded from the scissor
    c.Clear();
    DrawLine2D(c.viewport, -1e30f, 10.0f, 1e30f, 10.0f, 0xFFFFFF);  // along its true course
    for (int x = 0; x < 40; ++x) EXPECT_EQ(c.At(x, 10) != 0, x >= 5 && x < 35) << x;
    DrawLine2D(nullptr, 0, 0, 5, 5, 0xFFFFFF);  // no viewport: nothing
    EXPECT_TRUE(other.Changed().empty());
}

TEST(Fillers, WildCornersStayInsideTheBuffersAndTheTexture) {
    // Not-a-number, infinite and huge corners and depths: lines and dots keep
    // to the clip bounds, every filler to the buffer, and the texture is read
    // only inside (it sits in a band of a colour it never uses).
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    const float wild[] = {nan, inf, -inf, 1e30f, -1e30f, 3e9f, -2e9f, 1048577.0f, -5.0f, 20.0f, 16.5f, 0.0f, 1e9f, 70.0f};
    constexpr uint16_t kBand = 0x7C1F;
    std::mt19937 rng(15);
    Canvas c(48, 32, true, 0, 53);
    c.Scissor(3, 41, 2, 29);
    std::vector<uint16_t> block(5 * 7 + 128, kBand);
    for (int i = 0; i < 35; ++i) block[64 + i] = uint16_t(rng() % 0x7C00);
    E3DTexture tex{};
    tex.pixels = block.data() + 64, tex.width = tex.width2 = 5, tex.height = tex.height2 = 7, tex.pitch = 10;
    const uint32_t modes[] = {1, 3, 7, 15, 23, 39};
    auto pick = [&](float normal) { return rng() % 3 ? normal : wild[rng() % 14]; };
    for (int round = 0; round < 12000; ++round) {
        Triangle t;
        for (int i = 0; i < 3; ++i) {
            t.Corner(i, pick(float(rng() % 60) - 5), pick(float(rng() % 40) - 4), pick(0.5f));
            for (int k = 0; k < 4; ++k) t.p.coords[i][k] = wild[rng() % 14];
        }
        t.p.flags = (rng() & 1 ? 0x80u : 0u) | 0xE00u;
        t.p.color1 = uint32_t(rng());
        for (uint32_t map = 0; map < 3; ++map) SetMaterialTexture(&t.Side(), map, &tex, 0);
        const uint32_t shade = round % 3 == 0 ? 1 : round % 3 == 1 ? 3 : 7, mode = modes[rng() % (round < 6000 ? 2 : 6)] << 20 | shade;
        FillerTable[shade][round & 8 ? DepthPassFillerIndex(mode) : SortedPassFillerIndex(mode)](&t.p, t.v);
        if (round == 5999) {  // lines and dots so far
            for (const auto &[p, n] : c.Changed())
                ASSERT_TRUE(p.first >= 3 && p.first <= 40 && p.second >= 2 && p.second <= 28) << p.first << "," << p.second;
            EXPECT_GT(c.Changed().size(), 100u);
        }
    }
    for (const auto &[p, n] : c.Changed()) ASSERT_NE(n, kBand) << "read outside the texture at " << p.first << "," << p.second;
    EXPECT_TRUE(c.GuardsIntact());
}
