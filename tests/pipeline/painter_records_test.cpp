// The painter's pass draws most flat triangles from small records made
// before its draw loop, and the depth pass hands opaque flat and Gouraud
// triangles that need no clipping straight to their fill routines. Whatever
// either draws must be what dispatching every entry through its filler
// draws: a scene of mixed blends, sides, clipped, off-screen and Gouraud
// polygons is drawn, then replayed entry by entry into a cleared surface.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "engine3d.h"
#include "pipeline/dispatch.h"
#include "pipeline/radix_sort.h"
#include "raster/raster.h"
#include "support/mesh_builders.h"
#include "support/stage_kit.h"

using namespace e3dtest;

namespace {

// n triangles from a fixed generator: sizes from a pixel to twice the
// screen, some wholly off it, some across the near plane, either winding;
// replace, additive, subtractive and opacity 0, 100, 255 on either side.
E3DMesh *MixedTriangles(E3DScene *scene, int n, bool opaqueOnly) {
    E3DMesh *m = CreateMesh(3 * n, n, 0x30A050);
    uint32_t seed = 99u;
    auto next = [&seed](uint32_t range) {
        seed = seed * 1664525u + 1013904223u;
        return (seed >> 8) % range;
    };
    for (int t = 0; t < n; ++t) {
        const float z = 2.0f + float(next(400)) * 0.1f, size = float(1 + next(t % 10 == 0 ? 200 : 12)) * 0.02f * z;
        const float x = (float(next(200)) - 100.0f) * 0.007f * z, y = (float(next(160)) - 80.0f) * 0.007f * z;
        const float flip = next(2) ? 1.0f : -1.0f;
        SetMeshVertex(m, 3 * t, x, y, z);
        SetMeshVertex(m, 3 * t + 1, x + size * flip, y + 0.3f * size, t % 37 == 0 ? -3.0f : z);
        SetMeshVertex(m, 3 * t + 2, x + 0.2f * size, y - size, z + 0.5f);
        SetMeshTriPolygon(m, t, 3 * t, 3 * t + 1, 3 * t + 2, 0, 0);
    }
    m = ValidateMesh(m);
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

}  // namespace

// The painter's pass (back to front through the sorted list), the depth pass
// with only opaque materials (every entry in the opaque part at the back of
// the list, scenes drawn upward from the lowest slot) and DrawMesh (a mesh
// outside any scene, through its own list, downward from the last slot).
TEST(PainterRecordsAndDirectFills, DrawLikeEveryEntryThroughItsFiller) {
    for (int pass = 0; pass < 3; ++pass) {
        SCOPED_TRACE(pass);
        const bool depthPass = pass > 0;
        Stage stage(depthPass);
        AssignMeshToScene(stage.scene, MixedTriangles(stage.scene, 800, depthPass), 0);
        E3DMesh *cube = ValidateMesh(MakeCube(1.5f, false, 0xC06030));  // smooth and lit: the Gouraud filler
        SetMeshShadeMode(&cube->node, 7);
        SetMeshModelPosition(cube, 0.5f, 0.2f, 12.0f);
        AssignMeshToScene(stage.scene, cube, 0);
        AddOmni(stage.scene, -4, 3, 2, 0.8f, 2, 60, true);
        E3DMesh *alone = MixedTriangles(stage.scene, 800, true);
        SetMeshViewport(alone, stage.viewport);
        SetViewportCamera(stage.viewport, stage.camera);
        const E3DSortEntry *list = pass == 2 ? alone->sortEntries : stage.scene->sortEntries;
        const int32_t count = pass == 2 ? DrawMesh(alone) : (DrawScene(stage.scene), stage.scene->count);
        const int32_t capacity = pass == 2 ? alone->sortCapacity : stage.scene->sortCapacity;
        ASSERT_TRUE(count > 500 && count <= capacity);
        const std::vector<uint16_t> drawn = stage.pixels;
        const int32_t *depth = stage.viewport->depthBuffer;
        const std::vector<int32_t> drawnDepth(depth, depth + (depthPass ? kW * kH : 0));
        std::vector<uint32_t> order(size_t(count), 0);
        if (!depthPass) e3d::SortPolygonList(uint32_t(count), list, order.data());
        std::fill(stage.pixels.begin(), stage.pixels.end(), kBackground);
        if (depthPass) ClearViewportDepthBuffer(stage.viewport, 0);
        e3d::SetRasterContext(stage.viewport, stage.camera);
        int direct = 0, others = 0;
        for (int32_t k = 0; k < count; ++k) {
            const E3DSortEntry &e = list[pass == 0 ? order[size_t(count - 1 - k)] : pass == 1 ? capacity - count + k : capacity - 1 - k];
            const uint32_t index = depthPass ? e3d::DepthPassFillerIndex(e.mode) : e3d::SortedPassFillerIndex(e.mode);
            const e3d::TriangleFiller filler = e3d::FillerTable[e.mode & 7u][index];
            const E3DVertex *v = e.mesh->vertices;
            const int32_t *c = e.polygon->vertex;
            const bool clipped = (v[c[0]].clipCode | v[c[1]].clipCode | v[c[2]].clipCode) != 0;
            const bool fast = depthPass ? filler == FlatSolidTriangleZ || filler == GouraudSolidTriangleZ : filler == FlatSolidTriangle;
            (fast && !clipped ? direct : others) += 1;
            e3d::DispatchPolygon(&e, filler);
        }
        EXPECT_TRUE(direct > 250 && others > 50) << direct << " direct, " << others << " clipped, off-screen or Gouraud";
        EXPECT_GT(std::count_if(drawn.begin(), drawn.begin() + kW * kH, [](uint16_t p) { return p != kBackground; }), kW * kH / 3);
        EXPECT_EQ(drawn, stage.pixels);
        EXPECT_TRUE(std::equal(drawnDepth.begin(), drawnDepth.end(), depth));
        DeleteMesh(alone);
    }
}
