// Bounding boxes and spheres, and textures made by the engine.
#include "support/scene_fixture.h"

using std::tuple;

// Corners in vertex order, face f in group f, a wire state; no vertices: corners at 0.
TEST(BoundingBox, CornersFacesAndWireState) {
    E3DMesh *m = CreateMesh(3, 1, 0), *empty = CreateMesh(0, 0, 0);
    const float at[3][3] = {{1, -2, 3}, {-4, 5, -0.0f}, {0, 0, 9}};
    for (int i = 0; i < 3; ++i) SetMeshVertex(m, i, at[i][0], at[i][1], at[i][2]);
    E3DMesh *box = CreateAABB(m), *none = CreateAABB(empty);
    const float expected[8][3] = {{-4, 5, -0.0f}, {1, 5, -0.0f}, {1, -2, -0.0f}, {-4, -2, -0.0f},
                                  {-4, 5, 9},     {1, 5, 9},     {1, -2, 9},     {-4, -2, 9}};
    for (int i = 0; i < 24; ++i) EXPECT_EQ(box->vertices[i / 3].position[i % 3], expected[i / 3][i % 3]) << i;
    for (int i = 0; i < 24; ++i) EXPECT_EQ(none->vertices[i / 3].position[i % 3], 0.0f) << i;
    const int faces[6][4] = {{0, 1, 2, 3}, {1, 5, 6, 2}, {5, 4, 7, 6}, {4, 0, 3, 7}, {4, 5, 1, 0}, {3, 2, 6, 7}};
    for (int f = 0; f < 6; ++f) {
        const int *p = box->polygons[2 * f].vertex, *q = box->polygons[2 * f + 1].vertex, *v = faces[f];
        EXPECT_EQ(tuple(p[0], p[1], p[2], q[1], q[2], box->polygons[2 * f + 1].flags >> 12 & 31u),
                  tuple(v[3], v[1], v[0], v[2], v[1], uint32_t(f))) << f;
    }
    EXPECT_EQ(tuple(box->state, box->defaultMaterial.mode & 0x700007u), tuple(0x00300021u, 0x300001u));
    EXPECT_EQ(box->defaultMaterial.color[0][3], 0.0f);
    for (E3DMesh *x : {m, empty, box, none}) DeleteMesh(x);
}

// The mean and the farthest point (a table square root of about ten bits).
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
        for (int i = 0; i < 3 * n; ++i) c[i % 3] += p[size_t(i)] / n;
        for (int i = 0; i < n; ++i)
            far2 = std::max(far2, std::pow(p[3 * i] - c[0], 2) + std::pow(p[3 * i + 1] - c[1], 2) + std::pow(p[3 * i + 2] - c[2], 2));
        for (int a = 0; a < 3; ++a) ASSERT_NEAR(s->center[a], c[a], 1e-3);
        ASSERT_NEAR(s->radius, n == 1 ? 0.0 : std::sqrt(far2), std::sqrt(far2) * 2e-3 + 1e-3) << "round " << round;
    }
    const float x = s->center[0];
    ComputeBVSphere(s, s->center, 0);  // no points: nothing changes
    EXPECT_EQ(s->center[0], x);
    DeleteBVSphere(s);
    ReleaseEngine3D();
}

// Rows start with b and flip every cell width; the start flips every cell height.
TEST(Texture, CheckerMatchesThePatternOnRandomSizes) {
    std::mt19937 rng(4);
    for (int i = 0; i < 300; ++i) {
        const int w = 1 + int(rng() % 40), h = 1 + int(rng() % 40), squares = 1 + int(rng() % 12);
        const uint16_t a = uint16_t(rng()), b = uint16_t(rng());
        E3DTexture *t = CreateCheckerTexture(w, h, squares, a, b);
        EXPECT_TRUE(t->pitch == 2 * w && t->width == w && t->width2 == w && t->height == h && t->height2 == h);
        const int cellW = std::max(w / squares, 1), cellH = std::max(h / squares, 1);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                ASSERT_EQ(t->pixels[y * w + x], ((x / cellW + y / cellH) & 1) ? a : b)
                    << w << "x" << h << " squares " << squares << " at " << x << "," << y;
        DeleteTexture(t);
    }
    EXPECT_EQ(CreateCheckerTexture(4, 4, 0, 1, 2), nullptr);
    EXPECT_EQ(CreateCheckerTexture(0x10000, 0x10000, 2, 1, 2), nullptr) << "8 GB of pixels";
}
