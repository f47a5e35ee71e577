// Generators over a table of shapes: counts, names, closed inward-facing
// solids of the right volume, the scale, layouts, refusals, failed allocations.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>

#include "core/engine_state.h"
#include "support/memory_check.h"
#include "support/standard_scenes.h"

namespace {

class Generators : public ::testing::Test {
protected:
    void SetUp() override { InitEngine3D(), std::fill(std::begin(e3d::g_engine.nameCounters), std::end(e3d::g_engine.nameCounters), 0); }
    void TearDown() override { ReleaseEngine3D(); }
};

// The first mesh's default name, the generator, counts, the volume of a
// closed solid (0 for an open one) and the share a tessellation may lose,
// and a fingerprint of positions, corners, flags and texture coordinates
// recorded from this engine: any change to a layout must be deliberate.
struct Shape {
    const char *name;
    std::function<E3DMesh *(const float *scale)> make;
    int vertices, polygons;
    double volume, volumeSlack;
    uint64_t layout;
};

const double kPi = 3.14159265358979323846;
const Shape kShapes[] = {
    {"Cube00", [](const float *s) { return CubeCreate(2.0f, s, 0x102030); }, 8, 12, 8.0, 1e-9, 0xea12defb1f2eb729ull},
    {"Grid00", [](const float *s) { return GridCreate(4.0f, s, 2, 3, 0); }, 12, 12, 0, 0, 0x6b79003549c4b2b4ull},
    {"Sphere00", [](const float *s) { return SphereCreate(1.5f, s, 4, 6, 0); }, 20, 36, 4.5 * kPi, 0.5, 0xb7abc955bd5e3428ull},
    {"Sphere00", [](const float *s) { return SphereCreate(1.0f, s, 7, 5, 0); }, 32, 60, 4 * kPi / 3, 0.4, 0x67f5a76d9c96e291ull},
    {"Torus00", [](const float *s) { return TorusCreate(2.0f, 0.5f, s, 5, 6, 0); }, 30, 60, kPi * kPi, 0.5, 0x2a7ac9d5ea05f3fdull},
    {"Disk00", [](const float *s) { return DiskCreate(1.0f, s, 5, 0); }, 6, 5, 0, 0, 0x4f9aab4762a1ebbbull},
    {"Ring00", [](const float *s) { return RingCreate(2.0f, 1.0f, s, 5, 0); }, 10, 10, 0, 0, 0xe8477e1bc65c69dfull},
    {"Cube00", [](const float *s) { return ChCubeCreate(2.0f, 0.3f, s, 0); }, 24, 44, 8.0 - 12 * 0.045 * 1.4 - 8 * (0.027 - 0.0045), 1e-5, 0xc6fe56ec4913bd7dull},
    {"HSphere00", [](const float *s) { return HemisphereCreate(1.0f, s, 5, 6, 0, 0); }, 26, 48, 2 * kPi / 3, 0.4, 0x64497d00c933b450ull},
    {"HSphere00", [](const float *s) { return HemisphereCreate(1.0f, s, 5, 6, 0, 1); }, 25, 42, 0, 0, 0x925849a6fc193e8cull},
    {"GeoSphere00", [](const float *s) { return GeoSphereCreate(1.5f, s, 1, 0); }, 42, 80, 4.5 * kPi, 0.2, 0x5f371fddd2bab90dull},
    {"Cylinder00", [](const float *s) { return CylinderCreate(1.0f, 3.0f, s, 7, 2, 0); }, 23, 42, 3 * kPi, 0.25, 0x06c732084f26f63bull},
    {"Tube00", [](const float *s) { return TubeCreate(2.0f, 1.0f, 3.0f, s, 6, 2, 0); }, 36, 72, 9 * kPi, 0.3, 0xbf03f386bafca947ull},
    {"Billboard00", [](const float *s) { return BillboardCreate(2.0f, s, 0); }, 4, 2, 0, 0, 0x74c0c5a66314a365ull},
};

uint64_t Layout(const E3DMesh *m) {
    uint64_t h = e3dscenes::Fnv1a(nullptr, 0);
    for (int i = 0; i < m->vertexCount; ++i) h = e3dscenes::Fnv1a(m->vertices[i].position, 12, h);
    for (int i = 0; i < m->polygonCount; ++i) {
        const E3DPolygon &p = m->polygons[i];
        h = e3dscenes::Fnv1a(p.vertex, 12, e3dscenes::Fnv1a(&p.flags, 4, h));
        for (int j = 0; j < 3; ++j) h = e3dscenes::Fnv1a(p.coords[j], 8, h);
    }
    return h;
}

// Signed volume (negative when every normal points inward) after checking
// that every edge is met once each way and no triangle is degenerate.
double ClosedVolume(const E3DMesh *m, const char *what) {
    std::map<std::pair<int, int>, int> edges;
    double volume = 0.0;
    for (int i = 0; i < m->polygonCount; ++i) {
        const E3DPolygon &p = m->polygons[i];
        const float *a = m->vertices[p.vertex[0]].position, *b = m->vertices[p.vertex[1]].position,
                    *c = m->vertices[p.vertex[2]].position;
        const double n[3] = {double(b[1] - a[1]) * (c[2] - a[2]) - double(b[2] - a[2]) * (c[1] - a[1]),
                             double(b[2] - a[2]) * (c[0] - a[0]) - double(b[0] - a[0]) * (c[2] - a[2]),
                             double(b[0] - a[0]) * (c[1] - a[1]) - double(b[1] - a[1]) * (c[0] - a[0])};
        EXPECT_GT(std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]), 1e-6) << what << " polygon " << i;
        volume += (a[0] * n[0] + a[1] * n[1] + a[2] * n[2]) / 6.0;
        for (int j = 0; j < 3; ++j) ++edges[{p.vertex[j], p.vertex[(j + 1) % 3]}];
    }
    for (const auto &[e, count] : edges) {
        const auto back = edges.find({e.second, e.first});
        EXPECT_TRUE(count == 1 && back != edges.end() && back->second == 1) << what << " edge " << e.first << "-" << e.second;
    }
    return volume;
}

}  // namespace

TEST_F(Generators, ShapesAreCountedClosedScaledAndLaidOutAsRecorded) {
    const float scale[3] = {1.5f, 2.0f, 0.5f};
    for (const Shape &shape : kShapes) {
        std::fill(std::begin(e3d::g_engine.nameCounters), std::end(e3d::g_engine.nameCounters), 0);
        E3DMesh *plain = shape.make(nullptr), *scaled = shape.make(scale), *again = shape.make(nullptr);
        ASSERT_TRUE(plain && scaled && again) << shape.name;
        SCOPED_TRACE(std::string(shape.name) + " of " + std::to_string(shape.polygons));
        EXPECT_TRUE(plain->name == std::string(shape.name) && plain->meshKind == (shape.name[0] == 'B' ? 3 : 1)) << plain->name;
        ASSERT_TRUE(plain->vertexCount == shape.vertices && plain->polygonCount == shape.polygons && plain->boundingBox);
        EXPECT_EQ(Layout(plain), shape.layout) << std::hex << "0x" << Layout(plain);
        // The scale multiplies each axis and nothing else, and is not kept.
        EXPECT_EQ(Layout(again), Layout(plain));
        for (int i = 0; i < shape.vertices; ++i)
            for (int a = 0; a < 3; ++a)
                EXPECT_NEAR(scaled->vertices[i].position[a], plain->vertices[i].position[a] * scale[a], 1e-5) << i;
        for (int i = 0; i < shape.polygons; ++i)
            EXPECT_EQ(std::memcmp(scaled->polygons[i].vertex, plain->polygons[i].vertex, 12), 0) << i;
        if (shape.volume > 0) {  // inscribed in the shape, so never larger
            const double v = -ClosedVolume(plain, shape.name);
            EXPECT_TRUE(v <= shape.volume * (1 + 1e-6) && v >= shape.volume * (1 - shape.volumeSlack)) << v;
            EXPECT_NEAR(-ClosedVolume(scaled, shape.name), v * 1.5, v * 1e-5);
        }
        for (E3DMesh *m : {plain, scaled, again}) DeleteMesh(m);
    }
}

TEST_F(Generators, RefusalsAndTheSmallestAcceptedShapes) {
    for (E3DMesh *m : {CubeCreate(0.0f, nullptr, 0), GridCreate(5.0f, nullptr, 0, 3, 0), GridCreate(5.0f, nullptr, 3, 0, 0),
                       GridCreate(0.0f, nullptr, 3, 3, 0), GridCreate(1.0f, nullptr, 40000, 40000, 0),
                       SphereCreate(1.0f, nullptr, 3, 8, 0), SphereCreate(1.0f, nullptr, 8, 3, 0), SphereCreate(0.0f, nullptr, 8, 8, 0),
                       TorusCreate(2.0f, 0.0f, nullptr, 8, 8, 0), TorusCreate(2.0f, 0.5f, nullptr, 3, 8, 0),
                       DiskCreate(1.0f, nullptr, 3, 0), RingCreate(1.0f, 1.0f, nullptr, 8, 0), ChCubeCreate(2.0f, 1.0f, nullptr, 0),
                       HemisphereCreate(1.0f, nullptr, 3, 8, 0, 0), GeoSphereCreate(1.0f, nullptr, 7, 0),
                       CylinderCreate(1.0f, 0.0f, nullptr, 8, 1, 0), CylinderCreate(1.0f, 2.0f, nullptr, 3, 1, 0),
                       TubeCreate(1.0f, 2.0f, 3.0f, nullptr, 12, 2, 0), BillboardCreate(0.0f, nullptr, 0)})
        EXPECT_EQ(m, nullptr);
    for (int32_t c : e3d::g_engine.nameCounters) EXPECT_EQ(c, 0) << "refusals name nothing";
    for (E3DMesh *m : {GridCreate(1.0f, nullptr, 1, 1, 0), SphereCreate(1e-3f, nullptr, 4, 4, 0),
                       TorusCreate(2.0f, 0.5f, nullptr, 4, 4, 0), DiskCreate(1.0f, nullptr, 4, 0),
                       CylinderCreate(1.0f, 2.0f, nullptr, 4, 1, 0), CubeCreate(std::nanf(""), nullptr, 0)})
        EXPECT_NE((DeleteMesh(m), m), nullptr) << "the smallest accepted, and a size that is not a number";
}

TEST_F(Generators, EveryFailedAllocationGivesNullLeavesNothingAndCountsNothing) {
    for (const Shape &shape : kShapes) {
        const int points = e3dtest::ForEachAllocationFailure<E3DMesh>(
            [&] {
                int32_t counters[e3d::kCounterKinds];
                std::memcpy(counters, e3d::g_engine.nameCounters, sizeof counters);
                E3DMesh *m = shape.make(nullptr);
                if (!m) EXPECT_EQ(std::memcmp(counters, e3d::g_engine.nameCounters, sizeof counters), 0) << shape.name;
                else EXPECT_TRUE(m->vertexNormals && m->boundingBox) << shape.name;
                return m;
            },
            // The sort's scratch array may fail without harm where the
            // polygons are in order already: then a whole mesh comes back.
            [](E3DMesh *m) { DeleteMesh(m); }, false);
        EXPECT_GE(points, 4) << shape.name;
    }
}
