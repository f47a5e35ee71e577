// Dots and wire render modes through DrawScene, on both passes.
#include <gtest/gtest.h>

#include <random>

#include "engine3d.h"
#include "support/stage.h"

namespace {

using e3dtest::kBackground;
using e3dtest::kH;
using e3dtest::kW;
using Stage = e3dtest::Stage;

// A grid of 4 x 4 cells facing the camera at depth z.
E3DMesh *FacingGrid(float size, float z, uint32_t mode, uint32_t shade) {
    E3DMesh *g = GridCreate(size, nullptr, 4, 4, 0xFFFFFF);
    ActivateMesh(g);
    SetMeshModelPosition(g, 0.0f, 0.0f, z);
    SetMeshRenderMode(&g->node, mode);
    SetMeshShadeMode(&g->node, shade);
    SetMeshCullMode(&g->node, 8);  // both sides
    return g;
}

int CountColour(const Stage &s, uint16_t colour) {
    int n = 0;
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) n += s.At(x, y) == colour;
    return n;
}

}  // namespace

TEST(RenderModes, WireGridShowsOnlyGridLinesAndDotsOnlyCorners) {
    for (bool depth : {true, false}) {
        Stage solid(depth), wire(depth), dots(depth);
        AssignMeshToScene(solid.scene, FacingGrid(4.0f, 10.0f, 0x700000, 1), 0);
        AssignMeshToScene(wire.scene, FacingGrid(4.0f, 10.0f, 0x300000, 1), 0);
        AssignMeshToScene(dots.scene, FacingGrid(4.0f, 10.0f, 0x100000, 1), 0);
        DrawScene(solid.scene);
        DrawScene(wire.scene);
        DrawScene(dots.scene);
        // The grid spans about 22 pixels: five lines each way of ~22 pixels.
        const int wirePixels = wire.Written(), solidPixels = solid.Written();
        EXPECT_GT(wirePixels, 5 * 2 * 20);
        EXPECT_LT(wirePixels, 5 * 2 * 24);
        EXPECT_GT(solidPixels, 2 * wirePixels);
        // Wire and dots only land on or beside the solid twin: the fill rule
        // leaves out its right and bottom edge, and dots truncate corners.
        auto solidNear = [&](int x, int y) {
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) {
                    const int u = x + dx, v = y + dy;
                    if (u >= 0 && u < kW && v >= 0 && v < kH && solid.At(u, v) != kBackground) return true;
                }
            return false;
        };
        for (int y = 0; y < kH; ++y) {
            for (int x = 0; x < kW; ++x) {
                if (wire.At(x, y) != kBackground || dots.At(x, y) != kBackground) {
                    EXPECT_TRUE(solidNear(x, y)) << x << "," << y;
                }
            }
        }
        EXPECT_EQ(CountColour(wire, 0x7FFF), wirePixels);
        EXPECT_EQ(dots.Written(), 25);  // 5 x 5 grid vertices
        EXPECT_TRUE(wire.GuardsIntact() && dots.GuardsIntact());
    }
}

TEST(RenderModes, WireCrossingTheNearPlaneIsCutNotDropped) {
    // A large floor-like grid running from behind the eye into the distance.
    for (bool depth : {true, false}) {
        Stage s(depth);
        E3DMesh *g = GridCreate(40.0f, nullptr, 8, 8, 0xFFFFFF);
        ActivateMesh(g);
        SetMeshModelOrientation(g, 90.0f, 0.0f, 0.0f);
        SetMeshModelPosition(g, 0.0f, -2.0f, 0.0f);
        SetMeshRenderMode(&g->node, 0x300000);
        SetMeshShadeMode(&g->node, 1);
        SetMeshCullMode(&g->node, 8);
        AssignMeshToScene(s.scene, g, 0);
        DrawScene(s.scene);
        // Lines reach the bottom rows, which only the cut parts near the eye
        // can cover.
        int bottom = 0;
        for (int x = 0; x < kW; ++x) bottom += s.At(x, kH - 1) != kBackground;
        EXPECT_GT(bottom, 0);
        EXPECT_GT(s.Written(), 100);
        EXPECT_TRUE(s.GuardsIntact());
    }
}

TEST(RenderModes, RandomWireAndDotScenesStayInsideTheBuffers) {
    std::mt19937 rng(41);
    std::uniform_real_distribution<float> pos(-30.0f, 30.0f), angle(0.0f, 360.0f);
    const uint32_t modes[] = {0x100000, 0x300000, 0x300040};
    int written = 0;
    for (int round = 0; round < 30; ++round) {
        Stage s(round % 2 == 0);
        for (int k = 0; k < 4; ++k) {
            E3DMesh *m = SphereCreate(3.0f + pos(rng) * 0.1f, nullptr, 6, 8, 0x808080 + uint32_t(k) * 0x101010);
            ActivateMesh(m);
            SetMeshModelPosition(m, pos(rng) * 0.5f, pos(rng) * 0.5f, pos(rng) + 32.0f);  // some cross the near plane
            SetMeshModelOrientation(m, angle(rng), angle(rng), angle(rng));
            SetMeshRenderMode(&m->node, modes[(round + k) % 3]);
            SetMeshShadeMode(&m->node, k % 2 ? 7 : 3);
            SetMaterialAlphaMode(GetMeshDefaultMaterial(m), uint32_t(round % 4));  // blends with flag 0x40
            AssignMeshToScene(s.scene, m, 0);
        }
        DrawScene(s.scene);
        ASSERT_TRUE(s.GuardsIntact()) << round;
        written += s.Written();
    }
    EXPECT_GT(written, 1000);
}
