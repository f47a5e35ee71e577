// Bounding boxes and spheres.
#include <gtest/gtest.h>

#include "engine3d.h"
#include "support/memory_check.h"

TEST(BoundingBox, CornersInVertexOrderAndWireState) {
    E3DMesh *m = CreateMesh(3, 1, 0);
    SetMeshVertex(m, 0, 1, -2, 3);
    SetMeshVertex(m, 1, -4, 5, -0.0f);
    SetMeshVertex(m, 2, 0, 0, 9);
    E3DMesh *box = CreateAABB(m);
    ASSERT_NE(box, nullptr);
    const float expected[8][3] = {{-4, 5, -0.0f}, {1, 5, -0.0f}, {1, -2, -0.0f}, {-4, -2, -0.0f},
                                  {-4, 5, 9},     {1, 5, 9},     {1, -2, 9},     {-4, -2, 9}};
    for (int i = 0; i < 8; ++i)
        for (int a = 0; a < 3; ++a) EXPECT_EQ(box->vertices[i].position[a], expected[i][a]) << i << "," << a;
    EXPECT_EQ(box->state, 0x00300021u);
    EXPECT_EQ(box->defaultMaterial.mode & 0x700007u, 0x300001u);
    EXPECT_EQ(box->defaultMaterial.color[0][3], 0.0f);
    EXPECT_EQ(box->polygons[2].flags >> 12 & 31u, 1u);
    EXPECT_EQ(box->polygons[10].vertex[0], 7);
    DeleteMesh(box);
    // All vertices at one point: eight equal corners.
    for (int i = 0; i < 3; ++i) SetMeshVertex(m, i, 2, 2, 2);
    box = CreateAABB(m);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(box->vertices[i].position[1], 2.0f);
    DeleteMesh(box);
    DeleteMesh(m);
}

TEST(BoundingSphere, FitAndMerges) {
    e3dtest::LeakCheck leaks;
    InitEngine3D();
    E3DBVSphere *s = CreateBVSphere();
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->radius, 0.0f);
    const float points[] = {0, 0, 0, 2, 0, 0};
    ComputeBVSphere(s, points, 0);
    EXPECT_EQ(s->center[0], 0.0f);
    ComputeBVSphere(s, points, 2);
    EXPECT_EQ(s->center[0], 1.0f);
    EXPECT_NEAR(s->radius, 1.0f, 1e-3f);
    // Apart: centre moves halfway, radius covers both.
    s->center[0] = 0, s->radius = 1;
    const float far[3] = {4, 0, 0};
    MergeBVSphere(s, far, 1);
    EXPECT_NEAR(s->center[0], 2.0f, 1e-3f);
    EXPECT_NEAR(s->radius, 3.0f, 1e-3f);
    // The second encloses the first: left as it is, deliberately.
    const float origin[3] = {0, 0, 0};
    s->center[0] = 0, s->radius = 1;
    MergeBVSphere(s, origin, 10);
    EXPECT_EQ(s->radius, 1.0f);
    // The second inside the first: nothing changes either.
    s->radius = 5;
    const float near[3] = {1, 0, 0};
    MergeBVSphere(s, near, 1);
    EXPECT_EQ(s->radius, 5.0f);
    EXPECT_EQ(s->center[0], 0.0f);
    MergeBVSpheres();
    DeleteBVSphere(s);
    DeleteBVSphere(nullptr);
    ReleaseEngine3D();
    leaks.Check();
}
