// Bounding boxes and spheres.
#include <gtest/gtest.h>

#include <cmath>
#include <algorithm>
#include <random>
#include <vector>

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

TEST(BoundingSphere, FitMatchesAMeanAndFarthestPointModel) {
    InitEngine3D();
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> coord(-50.0f, 50.0f);
    E3DBVSphere *s = CreateBVSphere();
    for (int round = 0; round < 200; ++round) {
        const int n = 1 + int(rng() % 40);
        std::vector<float> p(size_t(3 * n));
        for (float &x : p) x = coord(rng);
        ComputeBVSphere(s, p.data(), n);
        double c[3] = {0, 0, 0}, far2 = 0;
        for (int i = 0; i < n; ++i)
            for (int a = 0; a < 3; ++a) c[a] += p[size_t(3 * i + a)] / n;
        for (int i = 0; i < n; ++i) {
            double d2 = 0;
            for (int a = 0; a < 3; ++a) d2 += (p[size_t(3 * i + a)] - c[a]) * (p[size_t(3 * i + a)] - c[a]);
            far2 = std::max(far2, d2);
        }
        for (int a = 0; a < 3; ++a) ASSERT_NEAR(s->center[a], c[a], 1e-3);
        // The table square root keeps about ten bits.
        ASSERT_NEAR(s->radius, std::sqrt(far2), std::sqrt(far2) * 2e-3 + 1e-3) << "round " << round;
    }
    // One point: radius stays 0 (the square root is not taken).
    const float one[3] = {3, 4, 5};
    ComputeBVSphere(s, one, 1);
    EXPECT_EQ(s->radius, 0.0f);
    EXPECT_EQ(s->center[2], 5.0f);
    DeleteBVSphere(s);
    ReleaseEngine3D();
}

TEST(BoundingSphere, MergeOfUnequalApartSpheresEnclosesBoth) {
    // Radius 1 at 0 and radius 3 at 10 on the x axis span -1 .. 13: the
    // enclosing sphere has centre 6 and radius 7.
    InitEngine3D();
    E3DBVSphere s{};
    s.radius = 1;
    const float c2[3] = {10, 0, 0};
    MergeBVSphere(&s, c2, 3);
    EXPECT_NEAR(s.center[0], 6.0f, 1e-2f);
    EXPECT_EQ(s.center[1], 0.0f);
    EXPECT_NEAR(s.radius, 7.0f, 1e-2f);
    // Touching from inside counts as inside: nothing changes.
    s = E3DBVSphere{};
    s.radius = 2;
    const float inside[3] = {0, 1, 0};
    MergeBVSphere(&s, inside, 1);
    EXPECT_EQ(s.radius, 2.0f);
    EXPECT_EQ(s.center[1], 0.0f);
    ReleaseEngine3D();
}

TEST(BoundingVolumes, EveryFailedAllocationLeavesNothing) {
    InitEngine3D();
    E3DMesh *m = CreateMesh(3, 1, 0);
    EXPECT_EQ(e3dtest::ForEachAllocationFailure<E3DMesh>([m] { return CreateAABB(m); },
                                                          [](E3DMesh *box) { DeleteMesh(box); }, false),
              3);
    for (int k = 1; k <= 2; ++k) {
        HostMemoryFailNth(k);
        EXPECT_EQ(CreateAABB(m), nullptr);
        HostMemoryFailNth(0);
    }
    EXPECT_EQ(e3dtest::ForEachAllocationFailure<E3DBVSphere>([] { return CreateBVSphere(); },
                                                             [](E3DBVSphere *s) { DeleteBVSphere(s); }),
              1);
    DeleteMesh(m);
    ReleaseEngine3D();
}
