// The first frame: traversal, stages, dispatch and clipping, end to end.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "engine3d.h"
#include "pipeline/dispatch.h"
#include "raster/pixel.h"
#include "raster/raster.h"
#include "shading/vertex_stages.h"
#include "support/memory_check.h"
#include "support/stage.h"

namespace {

using e3dtest::kBackground;
using e3dtest::kH;
using e3dtest::kW;
using Stage = e3dtest::Stage;

// A square of half-size h at depth z facing the camera (front toward -z),
// unlit, in one colour.
E3DMesh *Square(float h, float z, uint32_t colour, float x = 0.0f) {
    E3DMesh *m = CreateMesh(4, 2, colour);
    SetMeshVertex(m, 0, x - h, h, z);
    SetMeshVertex(m, 1, x + h, h, z);
    SetMeshVertex(m, 2, x + h, -h, z);
    SetMeshVertex(m, 3, x - h, -h, z);
    SetMeshQuadPolygon(m, 0, 0, 1, 2, 3, 0, 0);
    m = ValidateMesh(m);
    SetMeshShadeMode(&m->node, 1);
    return m;
}

}  // namespace

TEST(Frame, SquareCoversTheHandDerivedPixels) {
    // Corners at x, y = +-1, z = 10 project to 32 +- 5.5426 and 24 -+ 5.5426;
    // in 28.4 that is 423/16 .. 601/16 across (columns 27..37) and 295/16 ..
    // 473/16 down (rows 19..29): 11 x 11 pixels.
    for (bool depth : {true, false}) {
        Stage s(depth);
        E3DMesh *m = Square(1.0f, 10.0f, 0xFF0000);
        AssignMeshToScene(s.scene, m, 0);
        DrawScene(s.scene);
        EXPECT_EQ(s.Written(), 121);
        EXPECT_EQ(s.At(27, 19), 0x7C00);
        EXPECT_EQ(s.At(37, 29), 0x7C00);
        EXPECT_EQ(s.At(26, 19), kBackground);
        EXPECT_EQ(s.At(38, 29), kBackground);
        EXPECT_EQ(s.At(27, 30), kBackground);
        EXPECT_EQ(GetSceneNumberOfVisibleMeshes(s.scene), 1);
        EXPECT_EQ(s.scene->count, 2);
        EXPECT_TRUE(s.GuardsIntact());
    }
}

TEST(Frame, NothingWithoutTheEnableBit) {
    Stage s(true, false);
    AssignMeshToScene(s.scene, Square(1.0f, 10.0f, 0xFF0000), 0);
    DrawScene(s.scene);
    EXPECT_EQ(s.Written(), 0);
}

TEST(Frame, OpaqueDepthFrameSortsNothing) {
    Stage s(true);
    AssignMeshToScene(s.scene, Square(1.0f, 10.0f, 0x00FF00), 0);
    AssignMeshToScene(s.scene, Square(4.0f, 20.0f, 0x0000FF), 0);
    DrawScene(s.scene);
    EXPECT_EQ(e3d::g_lists.sortedCount, 0u);
    EXPECT_EQ(e3d::g_lists.opaqueCount, 4u);
    for (int i = 0; i < 4; ++i) {
        const E3DSortEntry &e = s.scene->sortEntries[s.scene->sortCapacity - 1 - i];
        EXPECT_EQ(e3d::DepthPassFillerIndex(e.mode) & 1u, 1u);
        EXPECT_EQ(e.mode & 7u, 1u);
    }
    // The nearer green square hides the middle of the farther blue one.
    EXPECT_EQ(s.At(32, 24), 0x03E0);
    EXPECT_EQ(s.At(27, 17), 0x001F);
}

TEST(Frame, SeeThroughPolygonsAreDrawnBackToFront) {
    // Two half-opaque squares: the far one (keys 3 x 30 = 90) must be mixed
    // in before the near one (keys 3 x 12 = 36).
    for (bool depth : {true, false}) {
        Stage s(depth);
        E3DMesh *near = Square(1.0f, 12.0f, 0xFF0000), *far = Square(3.0f, 30.0f, 0x0000FF);
        for (E3DMesh *m : {near, far}) {
            SetMaterialAlphaMode(GetMeshDefaultMaterial(m), 2);
            SetMaterialAlphaLevel(GetMeshDefaultMaterial(m), 128);
            AssignMeshToScene(s.scene, m, 0);
        }
        DrawScene(s.scene);
        const uint16_t afterFar = e3d::MixPixels(128 * 0, 128 * 0, 128 * 31, 127, kBackground);
        const uint16_t expected = e3d::MixPixels(128 * 31, 0, 0, 127, afterFar);
        EXPECT_EQ(s.At(32, 24), expected) << "depth " << depth;
    }
}

TEST(Frame, OffScreenBoxIsSkippedAndNearCrossingClamps) {
    Stage s(true);
    E3DMesh *left = Square(1.0f, 10.0f, 0xFF0000, -50.0f);
    E3DMesh *crossing = CreateMesh(3, 1, 0x00FF00);
    SetMeshVertex(crossing, 0, -1, -1, -5);  // behind the camera
    SetMeshVertex(crossing, 1, 0, 1, 10);
    SetMeshVertex(crossing, 2, 1, -1, 10);
    SetMeshTriPolygon(crossing, 0, 0, 1, 2, 0, 0);
    crossing = ValidateMesh(crossing);
    SetMeshShadeMode(&crossing->node, 1);
    SetMeshCullMode(&crossing->node, 0x08);
    AssignMeshToScene(s.scene, left, 0);
    AssignMeshToScene(s.scene, crossing, 0);
    DrawScene(s.scene);
    EXPECT_TRUE(left->state & 0x20000u);
    EXPECT_TRUE(crossing->state & 0x80000u);
    EXPECT_EQ(e3d::g_projection.project, e3d::ProjectVertexClamped);
    EXPECT_EQ(GetSceneNumberOfVisibleMeshes(s.scene), 1);
    EXPECT_GT(s.Written(), 0);
    EXPECT_EQ(crossing->vertices[0].clipCode, 0x10u);
    EXPECT_TRUE(s.GuardsIntact());
}

TEST(Frame, SharedVertexIsProjectedOnceAndKeysUseTheStoredDepth) {
    // Painter's path: vertex 0 is behind near and shared by both triangles.
    // The first key adds near (1) for it, the second its stored depth (-5).
    Stage s(false);
    E3DMesh *m = CreateMesh(4, 2, 0xFFFFFF);
    SetMeshVertex(m, 0, 0, 0, -5);
    SetMeshVertex(m, 1, -1, 1, 10);
    SetMeshVertex(m, 2, 1, 1, 10);
    SetMeshVertex(m, 3, 1, -1, 10);
    SetMeshTriPolygon(m, 0, 0, 1, 2, 0, 0);
    SetMeshTriPolygon(m, 1, 0, 2, 3, 0, 0);
    m = ValidateMesh(m);
    SetMeshShadeMode(&m->node, 1);
    SetMeshCullMode(&m->node, 0x08);
    AssignMeshToScene(s.scene, m, 0);
    DrawScene(s.scene);
    ASSERT_EQ(s.scene->count, 2);
    const float k0 = s.scene->sortEntries[0].key, k1 = s.scene->sortEntries[1].key;
    EXPECT_FLOAT_EQ(std::max(k0, k1), 1.0f + 10.0f + 10.0f);
    EXPECT_FLOAT_EQ(std::min(k0, k1), -5.0f + 10.0f + 10.0f);
}

TEST(Frame, HiddenParentStillDrawsItsChildren) {
    Stage s(true);
    E3DMesh *parent = Square(1.0f, 10.0f, 0xFF0000, -3.0f);
    E3DMesh *child = Square(1.0f, 10.0f, 0x00FF00, 3.0f);
    AttachChildToNode(&parent->node, &child->node);
    AssignMeshToScene(s.scene, parent, 0);
    HideMesh(&parent->node);
    ShowMesh(&child->node);
    DrawScene(s.scene);
    EXPECT_EQ(s.Written(), 121) << "only the child";
    EXPECT_EQ(GetSceneNumberOfVisibleMeshes(s.scene), 0) << "children are not counted";
}

TEST(Frame, DrawMeshUsesItsOwnList) {
    Stage s(true);
    E3DMesh *m = Square(1.0f, 10.0f, 0xFF0000);
    SetViewportCamera(s.viewport, s.camera);
    SetMeshViewport(m, s.viewport);
    EXPECT_EQ(DrawMesh(m), 2);
    EXPECT_EQ(s.Written(), 121);
    DeleteMesh(m);
}

namespace {

struct Call {
    E3DPolygon polygon;
    E3DVertex vertices[3];
    E3DPolygon *address;
};
std::vector<Call> g_calls;

void Recorder(E3DPolygon *p, E3DVertex *v) {
    Call c{*p, {}, p};
    for (int j = 0; j < 3; ++j) c.vertices[j] = v[p->vertex[j]];
    g_calls.push_back(c);
}

}  // namespace

TEST(Dispatch, NearCrossingTriangleBecomesTwoFanTriangles) {
    Stage s(true);
    E3DMesh *m = CreateMesh(3, 1, 0xFFFFFF);
    SetMeshVertex(m, 0, 0, 0, -5);
    SetMeshVertex(m, 1, -1, 1, 10);
    SetMeshVertex(m, 2, 1, 1, 10);
    SetMeshTriPolygon(m, 0, 0, 1, 2, 0, 0);
    m = ValidateMesh(m);
    SetMeshCullMode(&m->node, 0x08);
    SetMeshShadeMode(&m->node, 1);
    AssignMeshToScene(s.scene, m, 0);
    DrawScene(s.scene);  // sets up the frame and projects the vertices
    g_calls.clear();
    E3DSortEntry entry{0, m, &m->polygons[0], 0x700001};
    e3d::DispatchPolygon(&entry, Recorder);
    ASSERT_EQ(g_calls.size(), 2u);
    for (const Call &c : g_calls) {
        for (const E3DVertex &v : c.vertices) {
            EXPECT_GE(v.invDepth, 0.0f);
            EXPECT_LE(v.invDepth, 1.0f);  // nothing nearer than near (1)
        }
    }
}

TEST(Dispatch, TextureCoordinatesClampWithoutTilingAndWireGoesUnclipped) {
    Stage s(true);
    E3DMesh *m = Square(1.0f, 10.0f, 0xFFFFFF);
    E3DTexture *odd = CreateCheckerTexture(48, 64, 2, 1, 2);  // not a power of two: no tiling
    SetMaterialTexture(GetMeshDefaultMaterial(m), 0, odd, 0);
    SetMeshQuadTexCoords(m, 0, 1.3f, 0.5f, 1.3f, 0.5f, 1.3f, 0.5f, 1.3f, 0.5f);
    AssignMeshToScene(s.scene, m, 0);
    DrawScene(s.scene);
    g_calls.clear();
    E3DSortEntry entry{0, m, &m->polygons[0], 0xF00003};
    e3d::DispatchPolygon(&entry, Recorder);
    ASSERT_EQ(g_calls.size(), 1u);
    const float w = m->vertices[m->polygons[0].vertex[0]].invDepth;
    EXPECT_FLOAT_EQ(g_calls[0].polygon.coords[0][0], 1.0f * 47.0f * w);
    EXPECT_FLOAT_EQ(g_calls[0].polygon.coords[0][1], 0.5f * 63.0f * w);
    // A wire polygon crossing the screen edge goes to its filler as it is.
    SetMeshModelPosition(m, 4.5f, 0, 0);
    DrawScene(s.scene);
    g_calls.clear();
    entry.mode = 0x300003;
    e3d::DispatchPolygon(&entry, Recorder);
    ASSERT_EQ(g_calls.size(), 1u);
    EXPECT_EQ(g_calls[0].address, &m->polygons[0]);
    DeleteTexture(odd);
}

TEST(Frame, RandomScenesNeverWriteOutsideTheBuffers) {
    std::mt19937 rng(2024);
    const float specials[] = {NAN, INFINITY, -INFINITY, 1e30f, -1e30f, 1e8f, 0.0f};
    for (int round = 0; round < 60; ++round) {
        Stage s(round % 2 == 0);
        std::uniform_real_distribution<float> coord(-30.0f, 30.0f);
        E3DMesh *m = CreateMesh(30, 20, uint32_t(rng()) & 0xFFFFFF);
        for (int i = 0; i < 30; ++i) {
            float p[3] = {coord(rng), coord(rng), coord(rng)};
            if (rng() % 10 == 0) p[rng() % 3] = specials[rng() % 7];
            SetMeshVertex(m, i, p[0], p[1], p[2]);
        }
        for (int t = 0; t < 20; ++t) {
            int a = int(rng() % 30), b, c;
            do b = int(rng() % 30); while (b == a);
            do c = int(rng() % 30); while (c == a || c == b);
            SetMeshTriPolygon(m, t, a, b, c, 0, int(rng() % 4));
        }
        m = ValidateMesh(m);
        ASSERT_NE(m, nullptr);
        SetMeshShadeMode(&m->node, rng() % 2 ? 1 : 3);
        SetMeshCullMode(&m->node, 0x08);
        SetMaterialAlphaMode(GetMeshDefaultMaterial(m), uint32_t(rng() % 4));
        SetMaterialAlphaLevel(GetMeshDefaultMaterial(m), int32_t(rng() % 256));
        AssignMeshToScene(s.scene, m, 0);
        const float eye[3] = {coord(rng), coord(rng), coord(rng)};
        const float target[3] = {coord(rng), coord(rng), coord(rng)};
        SetCameraPosition(s.camera, eye, 0);
        SetCameraPosition(s.camera, target, 1);
        SetCameraRoll(s.camera, coord(rng));
        DrawScene(s.scene);
        ASSERT_TRUE(s.GuardsIntact()) << "round " << round;
    }
}

TEST(Frame, WalkRunsWithoutAPolygonListAndNoStageOutgrowsTheList) {
    for (bool depth : {true, false}) {
        Stage s(depth);
        E3DMesh *near = Square(1.0f, 10.0f, 0xFF0000, -3.0f);
        E3DMesh *far = Square(1.0f, 10.0f, 0x00FF00, 3.0f);
        AssignMeshToScene(s.scene, near, 0);
        AssignMeshToScene(s.scene, far, 0);
        ASSERT_EQ(s.scene->sortCapacity, 4);
        // A list that could not be had: the frame still walks the scene.
        const int32_t capacity = s.scene->sortCapacity;
        s.scene->sortCapacity = 0;
        SetMeshModelPosition(near, 0.0f, 0.0f, 5.0f);
        SetMeshModelPosition(far, 1000.0f, 0.0f, 0.0f);  // off to the side
        DrawScene(s.scene);
        EXPECT_EQ(near->worldMatrix[11], 5.0f) << "world matrices are refreshed";
        EXPECT_EQ(far->worldMatrix[3], 1000.0f);
        EXPECT_NE(far->state & 0x20000u, 0u) << "the box test marks the mesh outside the view";
        EXPECT_EQ(near->state & 0x20000u, 0u);
        EXPECT_EQ(GetSceneNumberOfVisibleMeshes(s.scene), 1);
        EXPECT_EQ(s.scene->count, 0);
        EXPECT_EQ(s.Written(), 0);
        // A list too short for the second mesh: the first is drawn, nothing
        // is written past the list.
        SetMeshModelPosition(near, 0.0f, 0.0f, 0.0f);
        SetMeshModelPosition(far, 0.0f, 0.0f, 0.0f);
        s.scene->sortCapacity = 2;
        DrawScene(s.scene);
        EXPECT_EQ(s.scene->count, 2);
        EXPECT_EQ(s.At(32 - 17, 24), 0x7C00);
        EXPECT_EQ(s.At(32 + 17, 24), kBackground);
        s.scene->sortCapacity = capacity;
        DrawScene(s.scene);
        EXPECT_EQ(s.scene->count, 4);
        EXPECT_EQ(s.At(32 + 17, 24), 0x03E0);
        EXPECT_TRUE(s.GuardsIntact());
    }
}
