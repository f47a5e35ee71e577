// Frames end to end: traversal, stages, dispatch, clipping, render modes, and
// the painter's records and direct fills against dispatching every entry.
#include <gtest/gtest.h>

#include <algorithm>

#include "pipeline/dispatch.h"
#include "pipeline/radix_sort.h"
#include "raster/pixel.h"
#include "shading/vertex_stages.h"
#include "support/mesh_builders.h"
#include "support/stage_kit.h"

using namespace e3dtest;

namespace {

struct Call { E3DPolygon polygon, *address; float invDepth[3]; };  // one filler call
std::vector<Call> g_calls;

void Recorder(E3DPolygon *p, E3DVertex *v) {
    g_calls.push_back({*p, p, {v[p->vertex[0]].invDepth, v[p->vertex[1]].invDepth, v[p->vertex[2]].invDepth}});
}

void Dispatch(E3DMesh *m, uint32_t mode, int polygon = 0) {
    g_calls.clear();
    E3DSortEntry entry{0, m, &m->polygons[polygon], mode};
    e3d::DispatchPolygon(&entry, Recorder);
}

// A grid of n x n cells facing the camera at depth 10, both sides drawn.
E3DMesh *FacingGrid(E3DScene *scene, uint32_t mode, float size = 4.0f, int n = 4) {
    E3DMesh *g = GridCreate(size, nullptr, n, n, 0xFFFFFF);
    ActivateMesh(g);
    SetMeshModelPosition(g, 0.0f, 0.0f, 10.0f);
    SetMeshRenderMode(&g->node, mode), SetMeshShadeMode(&g->node, 1), SetMeshCullMode(&g->node, 8);
    AssignMeshToScene(scene, g, 0);
    return g;
}

// n triangles from a fixed generator: sizes from a pixel to twice the
// screen, some wholly off it, some across the near plane, either winding;
// replace, additive, subtractive and opacity 0, 100, 255 on either side.
E3DMesh *MixedTriangles(E3DScene *scene, int n, bool opaqueOnly) {
    E3DMesh *m = CreateMesh(3 * n, n, 0x30A050);
    uint32_t seed = 99u;
    auto next = [&seed](uint32_t range) { return ((seed = seed * 1664525u + 1013904223u) >> 8) % range; };
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
        SetMaterialAlphaMode(materials[i], opaqueOnly ? 0 : modes[i]), SetMaterialAlphaLevel(materials[i], opaqueOnly ? 255 : levels[i]);
        AssignMaterialToScene(scene, materials[i]);
    }
    for (int t = 0; t < n; ++t) SetFaceMaterial(m, t, materials[t % 6], 0, 0), SetFaceMaterial(m, t, materials[(t / 6) % 6], 0, 1);
    SetMeshShadeMode(&m->node, 1), SetMeshCullMode(&m->node, 0x08);
    return m;
}

}  // namespace

TEST(Frame, SeeThroughIsDrawnBackToFrontAndNothingWithoutTheEnableBit) {
    // Half-opaque far, full-level additive near (no opaque surface): far mixed in first.
    for (bool depth : {true, false}) {
        Stage t(depth);
        SetCameraRoll(t.camera, 90.0f);  // the view's rows are not the axes: the box test must turn with them
        E3DMesh *near = Square(1.0f, 12.0f, 0xFF0000), *far = Square(3.0f, 30.0f, 0x0000FF);
        SetMaterialAlphaMode(GetMeshDefaultMaterial(far), 2), SetMaterialAlphaLevel(GetMeshDefaultMaterial(far), 128);
        SetMaterialAlphaMode(GetMeshDefaultMaterial(near), 1), SetMaterialAlphaLevel(GetMeshDefaultMaterial(near), 255);
        AssignMeshToScene(t.scene, near, 0), AssignMeshToScene(t.scene, far, 0);
        DrawScene(t.scene);
        const uint16_t afterFar = e3d::MixPixels(0, 0, 128 * 31, 127, kBackground);
        EXPECT_EQ(t.At(32, 24), e3d::AddPixels(0x7C00, afterFar)) << "depth " << depth;
        t.viewport->flags &= ~0x80000000u;
        EXPECT_EQ((Redraw(t), t.Written()), 0) << "without the enable bit";
    }
}

TEST(Frame, OffScreenMeshesAreSkippedAndNearCrossingsClampedCutAndKeyed) {
    // Two triangles sharing vertex 0, behind the camera, one reaching past
    // far (20), and a square far off to the left.
    for (bool depth : {true, false}) {
        Stage s(depth);
        SetCameraFar(s.camera, 20.0f);
        E3DMesh *left = Square(1.0f, 10.0f, 0xFF0000, -50.0f), *m = CreateMesh(4, 2, 0x00FF00);
        const float at[4][3] = {{0, 0, -5}, {-1, 1, 10}, {1, 1, 10}, {1, -1, 30}};
        for (int i = 0; i < 4; ++i) SetMeshVertex(m, i, at[i][0], at[i][1], at[i][2]);
        SetMeshTriPolygon(m, 0, 0, 1, 2, 0, 0), SetMeshTriPolygon(m, 1, 0, 2, 3, 0, 0);
        m = ValidateMesh(m);
        SetMeshShadeMode(&m->node, 1), SetMeshCullMode(&m->node, 0x08);
        AssignMeshToScene(s.scene, left, 0), AssignMeshToScene(s.scene, m, 0);
        DrawScene(s.scene);
        EXPECT_TRUE((left->state & 0x20000u) && (m->state & 0x80000u) && s.Written() > 20 && s.GuardsIntact());
        EXPECT_TRUE(e3d::g_projection.project == e3d::ProjectVertexClamped && m->vertices[0].clipCode == 0x10u);
        EXPECT_EQ(GetSceneNumberOfVisibleMeshes(s.scene), 1);
        if (!depth) {  // projected once: the first key adds near (1) for it, the second its stored depth; past far counts as far
            ASSERT_EQ(s.scene->count, 2);
            const float k0 = s.scene->sortEntries[0].key, k1 = s.scene->sortEntries[1].key;
            EXPECT_TRUE(std::min(k0, k1) == 1.0f + 20.0f && std::max(k0, k1) == -5.0f + 10.0f + 20.0f) << k0 << " " << k1;
        }
        auto within = [](float lo) {  // every corner handed on lies between far (1 / 20) and near (1)
            bool ok = !g_calls.empty();
            for (const Call &c : g_calls) ok &= c.invDepth[0] >= lo && c.invDepth[1] >= lo && c.invDepth[2] >= lo &&
                                                std::max({c.invDepth[0], c.invDepth[1], c.invDepth[2]}) <= 1.0f;
            return ok;
        };
        EXPECT_TRUE((Dispatch(m, 0x700001), g_calls.size() == 2u && within(0.0f))) << "two fan triangles in front of near";
        EXPECT_TRUE((Dispatch(m, 0x700001, 1), within(0.05f * 0.999f))) << "cut at near and at far";
    }
}

TEST(Frame, HiddenParentsListsAndDispatchEdges) {
    {
        Stage s(true);  // a hidden parent still draws its children, uncounted
        E3DMesh *parent = Square(1.0f, 10.0f, 0xFF0000, -3.0f), *child = Square(1.0f, 10.0f, 0x00FF00, 3.0f);
        AttachChildToNode(&parent->node, &child->node), AssignMeshToScene(s.scene, parent, 0);
        HideMesh(&parent->node), ShowMesh(&child->node), DrawScene(s.scene);
        EXPECT_TRUE(s.Written() == 121 && GetSceneNumberOfVisibleMeshes(s.scene) == 0);
    }
    for (bool depth : {true, false}) {
        Stage s(depth);
        E3DMesh *near = Square(1.0f, 10.0f, 0xFF0000, -3.0f), *far = Square(1.0f, 10.0f, 0x00FF00, 3.0f);
        AssignMeshToScene(s.scene, near, 0), AssignMeshToScene(s.scene, far, 0);
        ASSERT_EQ(s.scene->sortCapacity, 4);
        s.scene->sortCapacity = 0;  // without a list the frame still walks the scene
        SetMeshModelPosition(near, 0.0f, 0.0f, 5.0f), SetMeshModelPosition(far, 1000.0f, 0.0f, 0.0f), DrawScene(s.scene);
        EXPECT_TRUE(near->worldMatrix[11] == 5.0f && far->worldMatrix[3] == 1000.0f) << "world matrices refreshed";
        EXPECT_TRUE((far->state & 0x20000u) && !(near->state & 0x20000u)) << "the box test ran";
        EXPECT_TRUE(GetSceneNumberOfVisibleMeshes(s.scene) == 1 && s.scene->count == 0 && s.Written() == 0);
        // A list too short for the second mesh: the first is drawn, nothing
        // is written past the list.
        SetMeshModelPosition(near, 0.0f, 0.0f, 0.0f), SetMeshModelPosition(far, 0.0f, 0.0f, 0.0f);
        s.scene->sortCapacity = 2;
        DrawScene(s.scene);
        EXPECT_TRUE(s.scene->count == 2 && s.At(32 - 17, 24) == 0x7C00 && s.At(32 + 17, 24) == kBackground);
        s.scene->sortCapacity = 4;
        DrawScene(s.scene);
        EXPECT_TRUE(s.scene->count == 4 && s.At(32 + 17, 24) == 0x03E0 && s.GuardsIntact());
    }
    // Texture coordinates clamp where the texture does not tile; a wire
    // polygon across the screen edge goes to its filler as it is.
    Stage s(true);
    E3DMesh *m = Square(1.0f, 10.0f, 0xFFFFFF);
    E3DTexture *odd = CreateCheckerTexture(48, 64, 2, 1, 2);
    SetMaterialTexture(GetMeshDefaultMaterial(m), 0, odd, 0), SetMeshQuadTexCoords(m, 0, 1.3f, 0.5f, 1.3f, 0.5f, 1.3f, 0.5f, 1.3f, 0.5f);
    AssignMeshToScene(s.scene, m, 0), DrawScene(s.scene), Dispatch(m, 0xF00003);
    ASSERT_EQ(g_calls.size(), 1u);
    const float w = m->vertices[m->polygons[0].vertex[0]].invDepth;  // u held to 1, v at 0.5, times the sides - 1
    EXPECT_TRUE(g_calls[0].polygon.coords[0][0] == 47.0f * w && g_calls[0].polygon.coords[0][1] == 0.5f * 63.0f * w);
    SetMeshModelPosition(m, 4.5f, 0, 0), DrawScene(s.scene), Dispatch(m, 0x300003);
    EXPECT_TRUE(g_calls.size() == 1u && g_calls[0].address == &m->polygons[0]);
    DeleteTexture(odd);
}

TEST(RenderModes, WireShowsOnlyGridLinesAndDotsOnlyCorners) {
    for (bool depth : {true, false}) {
        Stage solid(depth), wire(depth), dots(depth);
        FacingGrid(solid.scene, 0x700000), FacingGrid(wire.scene, 0x300000), FacingGrid(dots.scene, 0x100000);
        for (Stage *s : {&solid, &wire, &dots}) DrawScene(s->scene);
        // The grid spans about 22 pixels: five lines each way, 25 corners.
        EXPECT_TRUE(wire.Written() > 5 * 2 * 20 && wire.Written() < 5 * 2 * 24 && solid.Written() > 2 * wire.Written() && dots.Written() == 25);
        // Wire and dots land only on or beside the solid twin.
        for (int i = 0; i < kW * kH; ++i) {
            const int x = i % kW, y = i / kW;
            if (wire.At(x, y) == kBackground && dots.At(x, y) == kBackground) continue;
            bool near = false;
            for (int d = 0; d < 9; ++d) near |= solid.At(std::clamp(x + d % 3 - 1, 0, kW - 1), std::clamp(y + d / 3 - 1, 0, kH - 1)) != kBackground;
            EXPECT_TRUE(near && (wire.At(x, y) == kBackground || wire.At(x, y) == 0x7FFF)) << x << "," << y;
        }
        // A floor of lines from behind the eye into the distance is cut at
        // near, not dropped: lines reach the bottom rows.
        Stage floor(depth);
        E3DMesh *g = FacingGrid(floor.scene, 0x300000, 40.0f, 8);
        SetMeshModelOrientation(g, 90.0f, 0.0f, 0.0f), SetMeshModelPosition(g, 0.0f, -2.0f, 0.0f);
        DrawScene(floor.scene);
        EXPECT_TRUE(std::any_of(&floor.pixels[(kH - 1) * kW], &floor.pixels[kH * kW], [](uint16_t p) { return p != kBackground; }));
        EXPECT_TRUE(floor.GuardsIntact());
    }
}


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
        SetMeshShadeMode(&cube->node, 7), SetMeshModelPosition(cube, 0.5f, 0.2f, 12.0f);
        AssignMeshToScene(stage.scene, cube, 0);
        AddOmni(stage.scene, -4, 3, 2, 0.8f, 2, 60, true);
        E3DMesh *alone = MixedTriangles(stage.scene, 800, true);
        SetMeshViewport(alone, stage.viewport), SetViewportCamera(stage.viewport, stage.camera);
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
        ClearViewportDepthBuffer(stage.viewport, 0), e3d::SetRasterContext(stage.viewport, stage.camera);
        int direct = 0, others = 0;
        for (int32_t k = 0; k < count; ++k) {
            const E3DSortEntry &e = list[pass == 0 ? order[size_t(count - 1 - k)] : pass == 1 ? capacity - count + k : capacity - 1 - k];
            const e3d::TriangleFiller filler =
                e3d::FillerTable[e.mode & 7u][depthPass ? e3d::DepthPassFillerIndex(e.mode) : e3d::SortedPassFillerIndex(e.mode)];
            const E3DVertex *v = e.mesh->vertices;
            const bool clipped = (v[e.polygon->vertex[0]].clipCode | v[e.polygon->vertex[1]].clipCode | v[e.polygon->vertex[2]].clipCode) != 0;
            const bool fast = depthPass ? filler == FlatSolidTriangleZ || filler == GouraudSolidTriangleZ : filler == FlatSolidTriangle;
            (fast && !clipped ? direct : others) += 1;
            e3d::DispatchPolygon(&e, filler);
        }
        EXPECT_TRUE(direct > 250 && others > 50) << direct << " direct, " << others << " clipped, off-screen or Gouraud";
        EXPECT_GT(std::count_if(drawn.begin(), drawn.begin() + kW * kH, [](uint16_t p) { return p != kBackground; }), kW * kH / 3);
        EXPECT_TRUE(drawn == stage.pixels && std::equal(drawnDepth.begin(), drawnDepth.end(), depth));
        DeleteMesh(alone);
    }
}
