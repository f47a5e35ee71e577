// Mesh display state down the node tree.
#include <gtest/gtest.h>

#include "engine3d.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"

namespace {

E3DNode *N(E3DMesh *m) { return &m->node; }

}  // namespace

TEST(DisplayState, RenderModeCases) {
    E3DMesh *m = CreateMesh(3, 1, 0);
    SetMeshRenderMode(N(m), 0x300040);
    EXPECT_EQ(GetMeshRenderMode(m), 0x300000u);
    EXPECT_TRUE(m->state & 0x40u);
    // The default material keeps its own bit 6 (mode 0x00700063).
    EXPECT_EQ(GetMaterialRenderMode(GetMeshDefaultMaterial(m)), 0x300040u);
    SetMeshRenderMode(N(m), 0x2000000);
    EXPECT_EQ(GetMeshRenderMode(m), 0x7F00000u);
    EXPECT_FALSE(m->state & 0x40u);
    SetMeshRenderMode(N(m), 0x100000);
    SetMeshRenderMode(N(m), 0x40);
    EXPECT_EQ(GetMeshRenderMode(m), 0x100000u) << "no render bits: unchanged";
    EXPECT_TRUE(m->state & 0x40u);
    SetMeshRenderMode(N(m), 0);
    EXPECT_EQ(GetMeshRenderMode(m), 0x100000u);
    EXPECT_FALSE(m->state & 0x40u);
    SetMeshRenderMode(N(m), 0x700000);
    EXPECT_EQ(m->state & 0x7F00000u, 0x700000u);
    DeleteMesh(m);
}

TEST(DisplayState, ModesWalkThroughNonMeshNodes) {
    e3dtest::LeakCheck leaks;
    E3DMesh *root = e3dtest::MakeStrip(1), *grand = e3dtest::MakeStrip(1);
    E3DNode camera{};
    camera.type = E3D_NODE_CAMERA;
    AttachChildToNode(N(root), &camera);
    AttachChildToNode(&camera, N(grand));
    SetMeshRenderMode(N(root), 0x300000);
    EXPECT_EQ(GetMeshRenderMode(grand), 0x300000u) << "passed on through the camera";
    SetMeshShadeMode(N(root), 0xFB);
    EXPECT_EQ(GetMeshShadeMode(root), 3u);
    EXPECT_EQ(GetMeshShadeMode(grand), 3u);
    EXPECT_EQ(GetMaterialShadeMode(GetMeshDefaultMaterial(grand)), 3u);
    SetMeshCullMode(N(root), 0x10);
    EXPECT_EQ(GetMeshCullMode(grand), 0x10u);
    HideMesh(N(root));
    EXPECT_TRUE(IsHiddenMesh(grand));
    ShowMesh(N(root));
    EXPECT_FALSE(IsHiddenMesh(grand));
    DetachChildFromNode(&camera, N(grand));
    DetachChildFromNode(N(root), &camera);
    DeleteMesh(grand);
    DeleteMesh(root);
    leaks.Check();
}

TEST(DisplayState, CullModeSkipsUnvalidatedMeshesButReachesChildren) {
    E3DMesh *parent = CreateMesh(3, 1, 0);  // kind 0
    E3DMesh *child = e3dtest::MakeStrip(1);
    AttachChildToNode(N(parent), N(child));
    SetMeshCullMode(N(parent), 0x18);
    EXPECT_EQ(GetMeshCullMode(parent), 0x20u);
    EXPECT_EQ(GetMeshCullMode(child), 0x18u);
    DeleteMesh(parent);
}

TEST(DisplayState, HideAndShowAreNotSymmetric) {
    E3DMesh *m = CreateMesh(3, 1, 0);
    m->node.type = E3D_NODE_MESH2;
    HideMesh(N(m));
    EXPECT_TRUE(IsHiddenMesh(m));
    ShowMesh(N(m));
    EXPECT_TRUE(IsHiddenMesh(m)) << "type 2 is not shown again";
    m->node.type = E3D_NODE_MESH;
    ShowMesh(N(m));
    EXPECT_FALSE(IsHiddenMesh(m));
    DeleteMesh(m);
}

TEST(DisplayState, Accessors) {
    E3DMesh *m = CreateMesh(4, 2, 0);
    EXPECT_EQ(ActivateMesh(m), m);
    EXPECT_TRUE(m->state & 0x8000u);
    SetMeshFaceSmoothG(m, 1, 9);
    EXPECT_EQ(GetMeshFaceSmoothG(m, 1), 9);
    SetMeshFaceSmoothG(m, 1, 32);
    SetMeshFaceSmoothG(m, 2, 3);
    EXPECT_EQ(GetMeshFaceSmoothG(m, 1), 9);
    EXPECT_EQ(GetMeshFaceSmoothG(m, -1), 0);
    m->billboardMode = 0xFFFFFF00u;
    SetMeshBillboardMode(m, 0x25);
    EXPECT_EQ(m->billboardMode, 0xFFFFFF05u);
    EXPECT_EQ(GetMeshLightList(m), nullptr);
    SetMeshModelPosition(m, 1, 2, 3);
    SetMeshModelOrientation(m, 0, 90, 0);
    const float *p = GetMeshModelPosition(m);
    EXPECT_EQ(p[0], 1.0f);
    EXPECT_EQ(p[2], 3.0f);
    // 90 degrees about y takes x to -z.
    EXPECT_NEAR(m->modelMatrix[8], -1.0f, 1e-6f);
    EXPECT_NEAR(m->modelMatrix[0], 0.0f, 1e-6f);
    EXPECT_EQ(*GetMeshPivot(SetMeshPivot(m, 4, 5, 6)), 4.0f);
    EXPECT_EQ(SetMeshTvObject(m, 77), 77u);
    EXPECT_EQ(GetMeshTvObject(m), 77u);
    SetMeshTvObject(m, 0);
    E3DViewport *v = reinterpret_cast<E3DViewport *>(m);
    EXPECT_EQ(SetMeshViewport(m, v), v);
    EXPECT_EQ(GetMeshViewport(m), v);
    DeleteMesh(m);
}
