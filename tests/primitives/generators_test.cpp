// Primitive generators: refusals, layouts, names and the closed-solid rules.
#include <gtest/gtest.h>

#include <cmath>
#include <algorithm>
#include <functional>
#include <map>
#include <vector>
#include <utility>

#include "core/engine_state.h"
#include "engine3d.h"
#include "support/memory_check.h"
#include "support/stage.h"

namespace {

class Generators : public ::testing::Test {
protected:
    void SetUp() override {
        InitEngine3D();
        for (int32_t &c : e3d::g_engine.nameCounters) c = 0;
    }
    void TearDown() override { ReleaseEngine3D(); }
};

void ExpectVertex(const E3DMesh *m, int i, float x, float y, float z, float tolerance = 1e-5f) {
    const float *p = m->vertices[i].position;
    EXPECT_NEAR(p[0], x, tolerance) << "vertex " << i;
    EXPECT_NEAR(p[1], y, tolerance) << "vertex " << i;
    EXPECT_NEAR(p[2], z, tolerance) << "vertex " << i;
}

// Closed solid: every normal points inside (seen from outside, the front is
// drawn), no triangle is degenerate, every edge belongs to two triangles.
// `tubeRadius` > 0: the inside is the tube around the circle of that radius
// in the plane y = 0 (a torus), else the mesh's centre.
void ExpectClosedSolid(const E3DMesh *m, double tubeRadius = 0.0, bool aboutY = false) {
    double c[3] = {0, 0, 0};
    for (int i = 0; i < m->vertexCount; ++i)
        for (int a = 0; a < 3; ++a) c[a] += m->vertices[i].position[a] / m->vertexCount;
    std::map<std::pair<int, int>, int> edges;
    for (int i = 0; i < m->polygonCount; ++i) {
        const E3DPolygon &p = m->polygons[i];
        double centroid[3] = {0, 0, 0};
        for (int j = 0; j < 3; ++j) {
            for (int a = 0; a < 3; ++a) centroid[a] += m->vertices[p.vertex[j]].position[a] / 3.0;
            const int u = p.vertex[j], v = p.vertex[(j + 1) % 3];
            ++edges[{std::min(u, v), std::max(u, v)}];
        }
        const float *p0 = m->vertices[p.vertex[0]].position, *p1 = m->vertices[p.vertex[1]].position,
                    *p2 = m->vertices[p.vertex[2]].position;
        const double e1[3] = {p1[0] - p0[0], p1[1] - p0[1], p1[2] - p0[2]};
        const double e2[3] = {p2[0] - p0[0], p2[1] - p0[1], p2[2] - p0[2]};
        const double cross[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2], e1[0] * e2[1] - e1[1] * e2[0]};
        EXPECT_GT(std::sqrt(cross[0] * cross[0] + cross[1] * cross[1] + cross[2] * cross[2]), 1e-6) << "degenerate " << i;
        double inside[3] = {c[0], c[1], c[2]};
        if (tubeRadius > 0.0) {
            const double ring = std::hypot(centroid[0], centroid[2]);
            inside[0] = centroid[0] / ring * tubeRadius, inside[1] = aboutY ? centroid[1] * 0.5 : 0.0;
            inside[2] = centroid[2] / ring * tubeRadius;
        }
        const double inward = p.normal[0] * (centroid[0] - inside[0]) + p.normal[1] * (centroid[1] - inside[1]) +
                              p.normal[2] * (centroid[2] - inside[2]);
        EXPECT_LT(inward, 0.0) << "polygon " << i << " of " << m->name;
    }
    for (auto &[edge, count] : edges) EXPECT_EQ(count, 2) << edge.first << "-" << edge.second;
}

}  // namespace

TEST_F(Generators, Refusals) {
    const uint32_t c = 0x808080;
    EXPECT_EQ(CubeCreate(0.0f, nullptr, c), nullptr);
    EXPECT_EQ(CubeCreate(-1.0f, nullptr, c), nullptr);
    EXPECT_EQ(GridCreate(5.0f, nullptr, 0, 3, c), nullptr);
    EXPECT_EQ(GridCreate(5.0f, nullptr, 3, 0, c), nullptr);
    EXPECT_EQ(SphereCreate(1.0f, nullptr, 3, 8, c), nullptr);
    EXPECT_EQ(SphereCreate(1.0f, nullptr, 8, 3, c), nullptr);
    EXPECT_EQ(SphereCreate(-1.0f, nullptr, 8, 8, c), nullptr);
    EXPECT_EQ(TorusCreate(2.0f, 0.0f, nullptr, 8, 8, c), nullptr);
    EXPECT_EQ(TorusCreate(2.0f, 0.5f, nullptr, 3, 8, c), nullptr);
    EXPECT_EQ(DiskCreate(1.0f, nullptr, 3, c), nullptr);
    EXPECT_EQ(RingCreate(1.0f, 1.0f, nullptr, 8, c), nullptr);
    EXPECT_EQ(RingCreate(0.5f, 1.0f, nullptr, 8, c), nullptr);
    E3DMesh *nanCube = CubeCreate(std::nanf(""), nullptr, c);
    EXPECT_NE(nanCube, nullptr) << "a size that is not a number is let through";
    DeleteMesh(nanCube);
    EXPECT_EQ(e3d::g_engine.nameCounters[e3d::kCounterSphere], 0) << "refusals name nothing";
}

TEST_F(Generators, CubeCornersScaleAndNames) {
    E3DMesh *a = CubeCreate(2.0f, nullptr, 0xFF0000);
    ExpectVertex(a, 0, -1, 1, -1);
    ExpectVertex(a, 6, 1, -1, 1);
    const float scale[3] = {1, 2, 3};
    E3DMesh *b = CubeCreate(2.0f, scale, 0x00FF00);
    ExpectVertex(b, 5, 1, 2, 3);
    EXPECT_STREQ(a->name, "Cube00");
    EXPECT_STREQ(b->name, "Cube01");
    EXPECT_EQ(a->meshKind, 1);
    EXPECT_NE(a->boundingBox, nullptr);
    EXPECT_EQ(a->normalCount, 24) << "hard edges: a group per face";
    E3DMesh *s = SphereCreate(1.0f, nullptr, 4, 4, 0);
    EXPECT_STREQ(s->name, "Sphere00") << "each base name counts for itself";
    EXPECT_EQ(a->polygons[0].coords[0][0], 0.0f);  // corner d of (0,0),(1,0),(1,1),(0,1)
    EXPECT_EQ(a->polygons[0].coords[0][1], 1.0f);
    for (E3DMesh *m : {a, b, s}) DeleteMesh(m);
}

TEST_F(Generators, OneCellGridShowsItsFourSides) {
    E3DMesh *g = GridCreate(10.0f, nullptr, 1, 1, 0);
    ASSERT_NE(g, nullptr);
    ExpectVertex(g, 0, -5, 5, 0);
    ExpectVertex(g, 1, 5, 5, 0);
    ExpectVertex(g, 2, -5, -5, 0);
    ExpectVertex(g, 3, 5, -5, 0);
    // Count each visible edge once by its two vertices.
    std::map<std::pair<int, int>, int> shown;
    for (int i = 0; i < 2; ++i) {
        const E3DPolygon &p = g->polygons[i];
        for (int e = 0; e < 3; ++e) {
            if (!(p.flags & (0x200u << e))) continue;
            const int u = p.vertex[e], v = p.vertex[(e + 1) % 3];
            ++shown[{std::min(u, v), std::max(u, v)}];
        }
    }
    const std::map<std::pair<int, int>, int> sides = {{{0, 1}, 1}, {{1, 3}, 1}, {{2, 3}, 1}, {{0, 2}, 1}};
    EXPECT_EQ(shown, sides);
    EXPECT_STREQ(g->name, "Grid00");
    DeleteMesh(g);
}

TEST_F(Generators, SphereLayout) {
    E3DMesh *s = SphereCreate(1.0f, nullptr, 4, 4, 0);
    EXPECT_EQ(s->vertexCount, 14);
    EXPECT_EQ(s->polygonCount, 24);
    const float h = std::sqrt(0.5f);
    ExpectVertex(s, 1, h, h, 0);
    ExpectVertex(s, 0, 0, 1, 0);
    ExpectVertex(s, 13, 0, -1, 0);
    const float stretch[3] = {1, 2, 1};
    E3DMesh *t = SphereCreate(1.5f, stretch, 4, 4, 0);
    ExpectVertex(t, 0, 0, 3, 0);
    ExpectVertex(t, 13, 0, -3, 0);
    DeleteMesh(s);
    DeleteMesh(t);
}

TEST_F(Generators, TorusDiskAndRingLayouts) {
    E3DMesh *t = TorusCreate(2.0f, 0.5f, nullptr, 4, 4, 0);
    EXPECT_EQ(t->vertexCount, 16);
    EXPECT_EQ(t->polygonCount, 32);
    ExpectVertex(t, 0, 2.5f, 0, 0);
    ExpectVertex(t, 2, 1.5f, 0, 0);
    EXPECT_EQ(t->polygons[0].flags & 0xE00u, 0xA00u);
    EXPECT_EQ(t->polygons[1].flags & 0xE00u, 0x600u);
    E3DMesh *d = DiskCreate(1.0f, nullptr, 4, 0);
    EXPECT_EQ(d->polygonCount, 4);
    ExpectVertex(d, 0, 0, 0, 0);
    ExpectVertex(d, 1, 1, 0, 0);
    ExpectVertex(d, 2, 0, 1, 0);
    ExpectVertex(d, 3, -1, 0, 0);
    ExpectVertex(d, 4, 0, -1, 0);
    E3DMesh *r = RingCreate(2.0f, 1.0f, nullptr, 4, 0);
    EXPECT_EQ(r->vertexCount, 8);
    EXPECT_EQ(r->polygonCount, 8);
    ExpectVertex(r, 0, 1, 0, 0);
    ExpectVertex(r, 4, 2, 0, 0);
    for (E3DMesh *m : {t, d, r}) DeleteMesh(m);
}

TEST_F(Generators, ClosedSolidsFaceOutward) {
    for (float size : {0.5f, 2.0f, 7.0f}) {
        E3DMesh *cube = CubeCreate(size, nullptr, 0);
        ExpectClosedSolid(cube);
        DeleteMesh(cube);
        for (int rings : {4, 7, 12}) {
            E3DMesh *sphere = SphereCreate(size, nullptr, rings, rings + 3, 0);
            ExpectClosedSolid(sphere);
            DeleteMesh(sphere);
        }
        E3DMesh *torus = TorusCreate(size, size * 0.3f, nullptr, 6, 9, 0);
        ExpectClosedSolid(torus, size);
        DeleteMesh(torus);
    }
}

TEST_F(Generators, FailedAllocationsLeaveNothingAndNameNothing) {
    const int points = e3dtest::ForEachAllocationFailure<E3DMesh>(
        [] { return SphereCreate(1.0f, nullptr, 5, 6, 0); }, [](E3DMesh *m) { DeleteMesh(m); }, false);
    EXPECT_GT(points, 3);
    // A failed bounding box deletes the half-built mesh and keeps the counter.
    e3d::g_engine.nameCounters[e3d::kCounterDisk] = 0;
    for (int k = 1; k < 20; ++k) {
        HostMemoryFailNth(k);
        E3DMesh *d = DiskCreate(1.0f, nullptr, 6, 0);
        HostMemoryFailNth(0);
        if (d) {
            DeleteMesh(d);
            continue;
        }
    }
    EXPECT_GE(e3d::g_engine.nameCounters[e3d::kCounterDisk], 1);
}

TEST_F(Generators, DesignedShapesStayClosedAtEverySize) {
    for (float size : {0.5f, 3.0f, 11.0f}) {
        E3DMesh *shapes[] = {ChCubeCreate(size, size * 0.2f, nullptr, 0), HemisphereCreate(size, nullptr, 6, 9, 0, 0),
                             GeoSphereCreate(size, nullptr, 1, 0), CylinderCreate(size, size * 2, nullptr, 7, 2, 0)};
        for (E3DMesh *m : shapes) {
            ASSERT_NE(m, nullptr);
            ExpectClosedSolid(m);
            DeleteMesh(m);
        }
        E3DMesh *tube = TubeCreate(size, size * 0.5f, size, nullptr, 9, 3, 0);
        ExpectClosedSolid(tube, size * 0.75, true);
        DeleteMesh(tube);
    }
    EXPECT_EQ(GeoSphereCreate(1.0f, nullptr, 7, 0), nullptr);
    EXPECT_EQ(GeoSphereCreate(-1.0f, nullptr, 1, 0), nullptr);
    EXPECT_EQ(CylinderCreate(1.0f, 0.0f, nullptr, 8, 1, 0), nullptr);
    EXPECT_EQ(CylinderCreate(1.0f, 2.0f, nullptr, 3, 1, 0), nullptr);
    EXPECT_EQ(BillboardCreate(0.0f, nullptr, 0), nullptr);
}

TEST_F(Generators, DesignedShapesAreClosedAndCounted) {
    E3DMesh *a = CubeCreate(1.0f, nullptr, 0), *b = CubeCreate(1.0f, nullptr, 0);
    E3DMesh *ch = ChCubeCreate(2.0f, 0.3f, nullptr, 0);
    ASSERT_NE(ch, nullptr);
    EXPECT_STREQ(ch->name, "Cube02") << "the chamfered cube shares the cube's counter";
    EXPECT_EQ(ch->polygonCount, 44);
    ExpectClosedSolid(ch);
    EXPECT_EQ(ChCubeCreate(2.0f, 1.0f, nullptr, 0), nullptr);
    for (int open : {0, 1}) {
        E3DMesh *h = HemisphereCreate(1.0f, nullptr, 5, 8, 0, open);
        ASSERT_NE(h, nullptr);
        EXPECT_EQ(h->vertexCount, 4 * 8 + (open ? 1 : 2));
        EXPECT_EQ(h->polygonCount, open ? (2 * 5 - 3) * 8 : 2 * 4 * 8);
        if (!open) ExpectClosedSolid(h);
        DeleteMesh(h);
    }
    EXPECT_EQ(HemisphereCreate(1.0f, nullptr, 3, 8, 0, 0), nullptr);
    EXPECT_EQ(HemisphereCreate(0.0f, nullptr, 5, 8, 0, 0), nullptr);
    for (int level : {0, 1, 2}) {
        E3DMesh *g = GeoSphereCreate(1.5f, nullptr, level, 0);
        ASSERT_NE(g, nullptr);
        EXPECT_EQ(g->polygonCount, 20 << (2 * level));
        for (int i = 0; i < g->vertexCount; ++i) {
            const float *p = g->vertices[i].position;
            EXPECT_NEAR(std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]), 1.5f, 1e-4f);
        }
        ExpectClosedSolid(g);
        DeleteMesh(g);
    }
    E3DMesh *cyl = CylinderCreate(1.0f, 3.0f, nullptr, 10, 3, 0);
    ASSERT_NE(cyl, nullptr);
    EXPECT_STREQ(cyl->name, "Cylinder00");
    ExpectClosedSolid(cyl);
    E3DMesh *tube = TubeCreate(2.0f, 1.0f, 3.0f, nullptr, 12, 2, 0);
    ASSERT_NE(tube, nullptr);
    ExpectClosedSolid(tube, 1.5, true);
    EXPECT_EQ(TubeCreate(1.0f, 2.0f, 3.0f, nullptr, 12, 2, 0), nullptr);
    for (E3DMesh *m : {a, b, ch, cyl, tube}) DeleteMesh(m);
}

TEST_F(Generators, BillboardTurnsToTheCamera) {
    e3dtest::Stage stage(true, true, -10.0f);
    E3DScene *scene = stage.scene;
    E3DViewport *v = stage.viewport;
    E3DMesh *board = BillboardCreate(2.0f, nullptr, 0xFFFFFF);
    ASSERT_NE(board, nullptr);
    EXPECT_EQ(board->meshKind, 3);
    EXPECT_STREQ(board->name, "Billboard00");
    ActivateMesh(board);
    SetMeshShadeMode(&board->node, 1);
    SetMeshModelOrientation(board, 0, 90, 0);  // edge-on to the camera
    AssignMeshToScene(scene, board, 0);
    auto written = [&] { return stage.Written(); };
    DrawScene(scene);
    EXPECT_LT(written(), 20) << "edge-on, almost nothing";
    for (uint32_t mode : {1u, 2u}) {
        std::fill(stage.pixels.begin(), stage.pixels.end(), e3dtest::kBackground);
        ClearViewportDepthBuffer(v, 0);
        SetMeshBillboardMode(board, mode);
        DrawScene(scene);
        // Facing the eye it covers 2 x 2 units at distance 10: 11 x 11 pixels.
        EXPECT_EQ(written(), 121) << "mode " << mode;
    }
}

TEST_F(Generators, StepsAreRoundedOnceAndAccumulatedInFloat) {
    // The grid's steps: (1 / n) x size worked out exactly, rounded to float
    // once, then added up in float along the row.
    int offByAnUlp = 0;  // how many of the counts a float-first step would miss
    for (float size : {60.0f, 180.0f, 360.0f}) {
        for (int32_t n = 4; n <= 256; ++n) {
            E3DMesh *g = GridCreate(size, nullptr, 1, n, 0);
            ASSERT_NE(g, nullptr);
            const float step = float((1.0 / double(n)) * double(size));
            offByAnUlp += step != (1.0f / float(n)) * size;
            float x = -size * 0.5f;
            for (int32_t c = 0; c <= n; ++c, x += step) {
                ASSERT_EQ(g->vertices[c].position[0], x) << n << " columns of " << size << ", column " << c;
            }
            DeleteMesh(g);
        }
    }
    EXPECT_GT(offByAnUlp, 0) << "the sizes chosen must tell the two roundings apart";
    // 360 / 30 and 360 / 15 are whole: every second meridian of a 30-segment
    // sphere is a meridian of a 15-segment one, to the bit.
    E3DMesh *fine = SphereCreate(1.0f, nullptr, 4, 30, 0), *coarse = SphereCreate(1.0f, nullptr, 4, 15, 0);
    ASSERT_NE(fine, nullptr);
    ASSERT_NE(coarse, nullptr);
    for (int32_t ring = 0; ring < 3; ++ring)
        for (int32_t j = 0; j < 15; ++j)
            for (int a = 0; a < 3; ++a)
                EXPECT_EQ(fine->vertices[1 + ring * 30 + 2 * j].position[a], coarse->vertices[1 + ring * 15 + j].position[a])
                    << "ring " << ring << " meridian " << j;
    DeleteMesh(fine);
    DeleteMesh(coarse);
}

TEST_F(Generators, EveryFailedAllocationGivesNullLeavesNothingAndCountsNothing) {
    using Make = std::function<E3DMesh *()>;
    const std::vector<std::pair<const char *, Make>> makers = {
        {"cube", [] { return CubeCreate(2.0f, nullptr, 0); }},
        {"grid", [] { return GridCreate(2.0f, nullptr, 3, 4, 0); }},
        {"sphere", [] { return SphereCreate(1.0f, nullptr, 5, 6, 0); }},
        {"torus", [] { return TorusCreate(2.0f, 0.5f, nullptr, 5, 6, 0); }},
        {"disk", [] { return DiskCreate(1.0f, nullptr, 6, 0); }},
        {"ring", [] { return RingCreate(2.0f, 1.0f, nullptr, 6, 0); }},
        {"chamfered cube", [] { return ChCubeCreate(2.0f, 0.3f, nullptr, 0); }},
        {"hemisphere", [] { return HemisphereCreate(1.0f, nullptr, 5, 6, 0, 0); }},
        {"geosphere", [] { return GeoSphereCreate(1.0f, nullptr, 2, 0); }},
        {"cylinder", [] { return CylinderCreate(1.0f, 2.0f, nullptr, 6, 2, 0); }},
        {"tube", [] { return TubeCreate(2.0f, 1.0f, 2.0f, nullptr, 6, 2, 0); }},
        {"billboard", [] { return BillboardCreate(1.0f, nullptr, 0); }},
    };
    for (const auto &[what, make] : makers) {
        const int points = e3dtest::ForEachAllocationFailure<E3DMesh>(
            [&] {
                int32_t counters[e3d::kCounterKinds];
                std::copy(std::begin(e3d::g_engine.nameCounters), std::end(e3d::g_engine.nameCounters), counters);
                E3DMesh *m = make();
                if (!m) {
                    EXPECT_TRUE(std::equal(std::begin(counters), std::end(counters),
                                           std::begin(e3d::g_engine.nameCounters)))
                        << what << ": a failed generator advanced a name counter";
                } else {
                    EXPECT_NE(m->vertexNormals, nullptr) << what;
                    EXPECT_NE(m->boundingBox, nullptr) << what;
                }
                return m;
            },
            // The sort's scratch array may fail without harm where the
            // polygons are in order already: then a whole mesh comes back.
            [](E3DMesh *m) { DeleteMesh(m); }, false);
        EXPECT_GE(points, 4) << what;
    }
}

TEST_F(Generators, ValidationFailsWholeWhenAnAllocationFails) {
    for (bool grown : {true, false}) {
        for (int k = 1;; ++k) {
            e3dtest::LeakCheck leaks;
            E3DMesh *m = grown ? CreateMesh(0, 0, 0x808080) : CreateMesh(5, 3, 0x808080);
            for (int i = 0; i < 5; ++i) {
                if (grown) AddMeshVertex(m, float(i), float(i & 1), 0.0f);
                else SetMeshVertex(m, i, float(i), float(i & 1), 0.0f);
            }
            for (int i = 0; i < 3; ++i) {
                if (grown) AddMeshTriPolygon(m, i, i + 1, i + 2, 0, 0);
                else SetMeshTriPolygon(m, i, i, i + 1, i + 2, 0, 0);
            }
            HostMemoryFailNth(k);
            E3DMesh *v = ValidateMesh(m);
            const bool failureUsed = HostMemoryPendingFailure() == 0;
            HostMemoryFailNth(0);
            if (!failureUsed) {
                ASSERT_NE(v, nullptr);
                DeleteMesh(v);
                leaks.Check();
                EXPECT_GT(k, 3) << "validation allocates the new record, normals and box";
                break;
            }
            // Null, or (the sort's harmless scratch failure) a whole mesh.
            if (v) {
                EXPECT_NE(v->vertexNormals, nullptr) << (grown ? "grown" : "one-block") << ", allocation " << k;
                EXPECT_NE(v->boundingBox, nullptr) << (grown ? "grown" : "one-block") << ", allocation " << k;
                DeleteMesh(v);
            }
            leaks.Check();
            if (HasFailure()) return;
        }
    }
}
