// Bounding boxes and spheres, and textures made by the engine.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <tuple>
#include <vector>

#include "engine3d.h"
#include "support/memory_check.h"

using std::tuple;

TEST(BoundingBox, CornersInVertexOrderAndWireState) {
    E3DMesh *m = CreateMesh(3, 1, 0);
    SetMeshVertex(m, 0, 1, -2, 3);
    SetMeshVertex(m, 1, -4, 5, -0.0f);
    SetMeshVertex(m, 2, 0, 0, 9);
    E3DMesh *box = CreateAABB(m);
    const float expected[8][3] = {{-4, 5, -0.0f}, {1, 5, -0.0f}, {1, -2, -0.0f}, {-4, -2, -0.0f},
                                  {-4, 5, 9},     {1, 5, 9},     {1, -2, 9},     {-4, -2, 9}};
    for (int i = 0; i < 24; ++i) EXPECT_EQ(box->vertices[i / 3].position[i % 3], expected[i / 3][i % 3]) << i;
    EXPECT_EQ(tuple(box->state, box->defaultMaterial.mode & 0x700007u), tuple(0x00300021u, 0x300001u));
    const float *c = box->defaultMaterial.color[0];
    EXPECT_EQ(tuple(c[0], c[1], c[2], c[3]), tuple(255.0f, 255.0f, 255.0f, 0.0f));
    // The cube's faces in order, face f in group f; polygon 9 is the second
    // triangle of face 4 5 1 0 (stored reversed).
    for (int f = 0; f < 6; ++f) EXPECT_EQ(box->polygons[2 * f + 1].flags >> 12 & 31u, uint32_t(f));
    EXPECT_EQ(tuple(box->polygons[9].vertex[0], box->polygons[9].vertex[1], box->polygons[9].vertex[2]), tuple(0, 1, 5));
    DeleteMesh(box);
    DeleteMesh(m);
}

TEST(BoundingSphere, FitMatchesAMeanAndFarthestPointModel) {
    InitEngine3D();
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> coord(-50.0f, 50.0f);
    E3DBVSphere *s = CreateBVSphere();
    EXPECT_EQ(s->radius, 0.0f);
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
    // One point: radius 0 (the square root is not taken); no point: nothing changes.
    const float one[3] = {3, 4, 5};
    ComputeBVSphere(s, one, 1);
    EXPECT_TRUE(s->radius == 0.0f && s->center[2] == 5.0f);
    ComputeBVSphere(s, one + 1, 0);
    EXPECT_EQ(s->center[0], 3.0f);
    DeleteBVSphere(s);
    ReleaseEngine3D();
}

TEST(BoundingSphere, MergeEnclosesBothOrLeavesTheFirst) {
    InitEngine3D();
    struct Case {
        float c1, r1, c2[3], r2, x, z, radius;
    } cases[] = {
        {0, 1, {4, 0, 0}, 1, 2, 0, 3},       // apart: the centre moves halfway
        {0, 1, {10, 0, 0}, 3, 6, 0, 7},      // unequal: -1 .. 13
        {3, 1, {3, 0, 4}, 2, 3, 2.5f, 3.5f}, // apart along z: -1 .. 6
        {0, 1, {0, 0, 0}, 10, 0, 0, 1},      // the second encloses the first: left as it is, deliberately
        {0, 5, {1, 0, 0}, 1, 0, 0, 5},       // the second inside the first
        {0, 2, {0, 1, 0}, 1, 0, 0, 2},       // touching from inside counts as inside
    };
    for (const Case &k : cases) {
        E3DBVSphere s{};
        s.center[0] = k.c1, s.radius = k.r1;
        MergeBVSphere(&s, k.c2, k.r2);
        EXPECT_NEAR(s.center[0], k.x, 1e-2f) << k.c2[0] << " " << k.r2;
        EXPECT_EQ(s.center[1], 0.0f);
        EXPECT_NEAR(s.center[2], k.z, 1e-2f);
        EXPECT_NEAR(s.radius, k.radius, 1e-2f);
    }
    MergeBVSpheres();
    ReleaseEngine3D();
}

// The checker pattern as described: start each row with b, flip at every
// multiple of the cell width; the start flips at every multiple of the cell height.
TEST(Texture, CheckerMatchesThePatternOnRandomSizes) {
    e3dtest::LeakCheck leaks;
    std::mt19937 rng(4);
    for (int i = 0; i < 300; ++i) {
        const int w = 1 + int(rng() % 40), h = 1 + int(rng() % 40), squares = 1 + int(rng() % 12);
        const uint16_t a = uint16_t(rng()), b = uint16_t(rng());
        E3DTexture *t = CreateCheckerTexture(w, h, squares, a, b);
        ASSERT_NE(t, nullptr);
        EXPECT_TRUE(t->pitch == 2 * w && t->width == w && t->width2 == w && t->height == h && t->height2 == h);
        EXPECT_EQ(t->reserved0[0] | t->reserved1[0] | t->reserved2[4] | t->reserved3[3], 0u);
        // More squares than pixels: cells of one pixel.
        const int cellW = std::max(w / squares, 1), cellH = std::max(h / squares, 1);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                ASSERT_EQ(t->pixels[y * w + x], ((x / cellW + y / cellH) & 1) ? a : b)
                    << w << "x" << h << " squares " << squares << " at " << x << "," << y;
        DeleteTexture(t);
    }
    EXPECT_EQ(CreateCheckerTexture(4, 4, 0, 1, 2), nullptr);
    EXPECT_EQ(CreateCheckerTexture(0, 4, 2, 1, 2), nullptr);
    EXPECT_EQ(CreateCheckerTexture(4, -4, 2, 1, 2), nullptr);
    EXPECT_EQ(CreateCheckerTexture(0x10000, 0x10000, 2, 1, 2), nullptr) << "8 GB of pixels";
    DeleteTexture(nullptr);
    leaks.Check();
}

TEST(Texture, CopiedFromPixelsRowsArePacked) {
    e3dtest::LeakCheck leaks;
    std::vector<uint16_t> host(7 * 3);
    for (size_t i = 0; i < host.size(); ++i) host[i] = uint16_t(i);
    E3DTexture *t = CreateTextureFromPixels(host.data(), 5, 3, 14);
    ASSERT_NE(t, nullptr);
    EXPECT_TRUE(t->pitch == 10 && t->width == 5 && t->width2 == 5 && t->height == 3 && t->height2 == 3);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x) EXPECT_EQ(t->pixels[y * 5 + x], host[size_t(y * 7 + x)]) << x << "," << y;
    const int64_t bytes = e3dtest::MemoryStats().liveBytes;
    DeleteTexture(t);
    EXPECT_EQ(bytes - e3dtest::MemoryStats().liveBytes, int64_t(sizeof(E3DTexture)) + 2 * 5 * 3);
    const int refused[][3] = {{0, 3, 14}, {5, 0, 14}, {32769, 1, 65538}, {1, 32769, 2}, {5, 3, 9}};
    for (const auto &k : refused) EXPECT_EQ(CreateTextureFromPixels(host.data(), k[0], k[1], k[2]), nullptr) << k[0];
    leaks.Check();
}
