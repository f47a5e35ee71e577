// The painter's pass draws most flat triangles from small records made
// before its draw loop, and the depth pass hands opaque flat and Gouraud
// triangles that need no clipping straight to their fill routines. Whatever
// either draws must be what dispatching every entry through its filler
// draws: a scene of mixed blends, sides, clipped, off-screen and Gouraud
// polygons is drawn, then replayed entry by entry through the dispatcher
// into a cleared surface, and both frames must agree to the bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "engine3d.h"
#include "pipeline/dispatch.h"
#include "pipeline/radix_sort.h"
#include "raster/raster.h"
#include "support/mesh_builders.h"
#include "support/stage.h"

namespace {

using e3dtest::kBackground;
using e3dtest::kH;
using e3dtest::kW;

// n triangles from a fixed generator: sizes from a pixel to twice the
// screen, some wholly off it, some across the near plane, either winding.
E3DMesh *MakeMixedTriangles(E3DScene *scene, int n, bool opaqueOnly = false) {
    E3DMesh *m = CreateMesh(3 * n, n, 0x30A050);
    uint32_t seed = 99u;
    auto next = [&seed](uint32_t range) {
        seed = seed * 1664525u + 1013904223u;
        return (seed >> 8) % range;
    };
    for (int t = 0; t < n; ++t) {
        const float z = 2.0f + float(next(400)) * 0.1f;
        const float size = float(1 + next(t % 10 == 0 ? 200 : 12)) * 0.02f * z;
        const float x = (float(next(200)) - 100.0f) * 0.007f * z, y = (float(next(160)) - 80.0f) * 0.007f * z;
        const float flip = next(2) ? 1.0f : -1.0f;
        const float zb = t % 37 == 0 ? -3.0f : z;  // one corner behind the eye
        SetMeshVertex(m, 3 * t, x, y, z);
        SetMeshVertex(m, 3 * t + 1, x + size * flip, y + 0.3f * size, zb);
        SetMeshVertex(m, 3 * t + 2, x + 0.2f * size, y - size, z + 0.5f);
        SetMeshTriPolygon(m, t, 3 * t, 3 * t + 1, 3 * t + 2, 0, 0);
    }
    m = ValidateMesh(m);
    // Replace, additive, subtractive, and opacity at levels 0, 100 and 255,
    // on either side.
    const uint32_t modes[6] = {0, 1, 3, 2, 2, 2};
    const int32_t levels[6] = {255, 255, 255, 0, 100, 255};
    E3DMaterial *materials[6];
    for (int i = 0; i < 6; ++i) {
        materials[i] = CreateMaterial(GetMeshDefaultMaterial(m));
        SetMaterialColor(materials[i], 1, float(40 * i + 10), float(230 - 35 * i), float((70 + 90 * i) % 256));
        SetMaterialAlphaMode(materials[i], opaqueOnly ? 0 : modes[i]);
        SetMaterialAlphaLevel(materials[i], opaqueOnly ? 255 : levels[i]);
        AssignMaterialToScene(scene, materials[i]);
    }
    for (int t = 0; t < n; ++t) {
        SetFaceMaterial(m, t, materials[t % 6], 0, 0);
        SetFaceMaterial(m, t, materials[(t / 6) % 6], 0, 1);
    }
    SetMeshShadeMode(&m->node, 1);
    SetMeshCullMode(&m->node, 0x08);
    return m;
}

// A smooth cube and an omni light, so that the cube is drawn by the Gouraud
// filler; false when the cube could not be made.
bool AddLitCube(E3DScene *scene) {
    E3DMesh *cube = ValidateMesh(e3dtest::MakeCube(1.5f, false, 0xC06030));
    if (!cube) return false;
    SetMeshShadeMode(&cube->node, 7);
    SetMeshModelPosition(cube, 0.5f, 0.2f, 12.0f);
    AssignMeshToScene(scene, cube, 0);
    const float at[3] = {-4, 3, 2}, white[4] = {1, 1, 1, 0};
    E3DLight *light = CreateOmniLight(at, white, 0.8f, 2, 60, 0);
    SetLightStatus(light, 1, 1);
    AssignLightToScene(scene, light, 1);
    return true;
}

}  // namespace

TEST(PainterRecords, DrawLikeEveryEntryThroughItsFiller) {
    e3dtest::Stage stage(false);
    E3DMesh *flat = MakeMixedTriangles(stage.scene, 800);
    AssignMeshToScene(stage.scene, flat, 0);
    ASSERT_TRUE(AddLitCube(stage.scene));
    DrawScene(stage.scene);
    const std::vector<uint16_t> drawn = stage.pixels;

    // The replay: the same entries, sorted the same way, each dispatched.
    E3DScene *scene = stage.scene;
    const uint32_t count = uint32_t(scene->count);
    ASSERT_GT(count, 500u);
    std::vector<uint32_t> order(count);
    e3d::SortPolygonList(count, scene->sortEntries, order.data());
    std::fill(stage.pixels.begin(), stage.pixels.end(), kBackground);
    e3d::SetRasterContext(stage.viewport, stage.camera);
    int flatUnclipped = 0, others = 0, otherFillers = 0;
    for (int32_t i = int32_t(count) - 1; i >= 0; --i) {
        const E3DSortEntry &e = scene->sortEntries[order[i]];
        const e3d::TriangleFiller filler = e3d::FillerTable[e.mode & 7u][e3d::SortedPassFillerIndex(e.mode)];
        const E3DVertex *v = e.mesh->vertices;
        const uint32_t any = v[e.polygon->vertex[0]].clipCode | v[e.polygon->vertex[1]].clipCode |
                             v[e.polygon->vertex[2]].clipCode;
        if (filler == FlatSolidTriangle && any == 0) ++flatUnclipped;
        else ++others;
        otherFillers += filler != FlatSolidTriangle;
        e3d::DispatchPolygon(&e, filler);
    }
    EXPECT_GT(flatUnclipped, 250);
    EXPECT_GT(others, 200);  // clipped, off-screen and Gouraud entries
    EXPECT_GE(otherFillers, 2);  // the cube's face toward the eye
    int written = 0;
    for (int i = 0; i < kW * kH; ++i) written += drawn[size_t(i)] != kBackground;
    EXPECT_GT(written, kW * kH / 2);
    ASSERT_EQ(drawn, stage.pixels);
}

// The depth pass with only opaque materials: every entry sits in the opaque
// part at the back of the list, drawn in list order, scenes upward from the
// lowest slot and single meshes downward from the last.
TEST(DepthPassDirectFills, DrawLikeEveryEntryThroughItsFiller) {
    e3dtest::Stage stage(true);
    E3DMesh *flat = MakeMixedTriangles(stage.scene, 800, true);
    AssignMeshToScene(stage.scene, flat, 0);
    ASSERT_TRUE(AddLitCube(stage.scene));
    // DrawMesh draws a mesh outside any scene, through its own list.
    E3DMesh *alone = MakeMixedTriangles(stage.scene, 800, true);
    SetMeshViewport(alone, stage.viewport);
    SetViewportCamera(stage.viewport, stage.camera);
    const int32_t *depth = stage.viewport->depthBuffer;
    const size_t depthCount = size_t(kW) * kH;

    // Replays the last frame's entries [first, end) of a list, in the order given.
    auto replay = [&](const E3DSortEntry *entries, int32_t first, int32_t end, bool downward, int &direct,
                      int &others) {
        std::fill(stage.pixels.begin(), stage.pixels.end(), kBackground);
        ClearViewportDepthBuffer(stage.viewport, 0);
        e3d::SetRasterContext(stage.viewport, stage.camera);
        for (int32_t k = 0; k < end - first; ++k) {
            const E3DSortEntry &e = entries[downward ? end - 1 - k : first + k];
            const e3d::TriangleFiller filler = e3d::FillerTable[e.mode & 7u][e3d::DepthPassFillerIndex(e.mode)];
            const E3DVertex *v = e.mesh->vertices;
            const uint32_t any = v[e.polygon->vertex[0]].clipCode | v[e.polygon->vertex[1]].clipCode |
                                 v[e.polygon->vertex[2]].clipCode;
            if ((filler == FlatSolidTriangleZ || filler == GouraudSolidTriangleZ) && any == 0) ++direct;
            else ++others;
            e3d::DispatchPolygon(&e, filler);
        }
    };

    for (int pass = 0; pass < 2; ++pass) {
        SCOPED_TRACE(pass == 0 ? "DrawScene" : "DrawMesh");
        std::fill(stage.pixels.begin(), stage.pixels.end(), kBackground);
        ClearViewportDepthBuffer(stage.viewport, 0);
        const E3DSortEntry *entries;
        int32_t capacity, count;
        if (pass == 0) {
            DrawScene(stage.scene);
            entries = stage.scene->sortEntries;
            capacity = stage.scene->sortCapacity;
            count = stage.scene->count;
        } else {
            count = DrawMesh(alone);
            entries = alone->sortEntries;
            capacity = alone->sortCapacity;
        }
        const std::vector<uint16_t> drawn = stage.pixels;
        const std::vector<int32_t> drawnDepth(depth, depth + depthCount);
        ASSERT_GT(count, 500);
        ASSERT_LE(count, capacity);
        int direct = 0, others = 0;
        replay(entries, capacity - count, capacity, pass == 1, direct, others);
        EXPECT_GT(direct, 250);
        EXPECT_GT(others, 50);  // clipped and off-screen entries
        int written = 0;
        for (int i = 0; i < kW * kH; ++i) written += drawn[size_t(i)] != kBackground;
        EXPECT_GT(written, kW * kH / 3);
        EXPECT_EQ(drawn, stage.pixels);
        EXPECT_TRUE(std::equal(drawnDepth.begin(), drawnDepth.end(), depth));
    }
    DeleteMesh(alone);
}
