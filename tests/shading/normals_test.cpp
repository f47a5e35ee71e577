// Face planes and smoothing-group corner normals.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "engine3d.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"

namespace {

float Length(const float *n) { return std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]); }

}  // namespace

TEST(Normals, CubeFacesPointInsideWithTheirPlanes) {
    E3DMesh *cube = e3dtest::MakeCube(2.0f, true);
    InitEngine3D();
    CalcMeshPolygonsNormal(cube);
    for (int i = 0; i < 12; ++i) {
        const E3DPolygon &p = cube->polygons[i];
        EXPECT_NEAR(Length(p.normal), 1.0f, 2e-3f);
        // Inward: the centroid plus the normal is closer to the centre.
        float c[3] = {0, 0, 0};
        for (int j = 0; j < 3; ++j)
            for (int a = 0; a < 3; ++a) c[a] += cube->vertices[p.vertex[j]].position[a] / 3.0f;
        EXPECT_LT(c[0] * p.normal[0] + c[1] * p.normal[1] + c[2] * p.normal[2], 0.0f);
        // The plane passes through the face: distance 2 from the centre.
        EXPECT_NEAR(p.planeD, 2.0f, 4e-3f);
    }
    ReleaseEngine3D();
    DeleteMesh(cube);
}

TEST(Normals, SixGroupsGiveTwentyFourFaceNormals) {
    e3dtest::LeakCheck leaks;
    InitEngine3D();
    E3DMesh *cube = ValidateMesh(e3dtest::MakeCube(1.0f, true));
    ASSERT_NE(cube, nullptr);
    EXPECT_EQ(cube->normalCount, 24);
    for (int i = 0; i < 12; ++i) {
        const E3DPolygon &p = cube->polygons[i];
        for (int j = 0; j < 3; ++j) {
            const float *n = cube->vertexNormals + 3 * p.normalIndex[j];
            for (int a = 0; a < 3; ++a) EXPECT_NEAR(n[a], p.normal[a], 2e-3f);
        }
    }
    // Twice gives the same and leaves no old array behind.
    const int before = int(e3dtest::MemoryStats().liveBlocks);
    CalcMeshVerticesNormal(cube);
    EXPECT_EQ(cube->normalCount, 24);
    EXPECT_EQ(int(e3dtest::MemoryStats().liveBlocks), before);
    UpdateMeshPolygonsNormal(cube);
    DeleteMesh(cube);
    ReleaseEngine3D();
    leaks.Check();
}

TEST(Normals, OneGroupSumsTheFacesAtEachCorner) {
    InitEngine3D();
    E3DMesh *cube = ValidateMesh(e3dtest::MakeCube(1.0f, false));
    ASSERT_NE(cube, nullptr);
    EXPECT_EQ(cube->normalCount, 8);
    // Each corner normal is the normalised sum of the unit normals of the
    // triangles using that vertex (a face counted twice where both of its
    // triangles do): recompute that sum independently here.
    for (int v = 0; v < 8; ++v) {
        double sum[3] = {0, 0, 0};
        int index = -1;
        for (int i = 0; i < 12; ++i) {
            const E3DPolygon &p = cube->polygons[i];
            for (int j = 0; j < 3; ++j) {
                if (p.vertex[j] != v) continue;
                for (int a = 0; a < 3; ++a) sum[a] += p.normal[a];
                if (index >= 0) {
                    EXPECT_EQ(p.normalIndex[j], index) << "one normal per vertex";
                }
                index = p.normalIndex[j];
            }
        }
        const double len = std::sqrt(sum[0] * sum[0] + sum[1] * sum[1] + sum[2] * sum[2]);
        const float *n = cube->vertexNormals + 3 * index;
        for (int a = 0; a < 3; ++a) EXPECT_NEAR(n[a], sum[a] / len, 3e-3) << "vertex " << v;
    }
    DeleteMesh(cube);
    ReleaseEngine3D();
}

TEST(Normals, LargeSmoothGroupMatchesAQuadraticReference) {
    // The stamped look-up must give the indices the linear map search gives:
    // normals numbered in order of first use within each group, groups in
    // ascending order.
    InitEngine3D();
    std::mt19937 rng(3);
    const int vertices = 60, polygons = 200;
    E3DMesh *m = CreateMesh(vertices, polygons, 0);
    for (int i = 0; i < vertices; ++i) SetMeshVertex(m, i, float(rng() % 100), float(rng() % 100), float(rng() % 100));
    for (int i = 0; i < polygons; ++i) {
        int a = int(rng() % vertices), b, c;
        do b = int(rng() % vertices); while (b == a);
        do c = int(rng() % vertices); while (c == a || c == b);
        SetMeshTriPolygon(m, i, a, b, c, 0, int(rng() % 3));
    }
    CalcMeshPolygonsNormal(m);
    CalcMeshVerticesNormal(m);
    int next = 0;
    for (int group = 0; group < 3; ++group) {
        std::vector<std::pair<int, int>> map;  // (vertex, normal)
        for (int i = 0; i < polygons; ++i) {
            const E3DPolygon &p = m->polygons[i];
            if (int((p.flags >> 12) & 31) != group) continue;
            for (int j = 0; j < 3; ++j) {
                int found = -1;
                for (auto &[v, n] : map)
                    if (v == p.vertex[j]) found = n;
                if (found < 0) {
                    found = next++;
                    map.push_back({p.vertex[j], found});
                }
                ASSERT_EQ(p.normalIndex[j], found) << "polygon " << i << " corner " << j;
            }
        }
    }
    EXPECT_EQ(m->normalCount, next);
    DeleteMesh(m);
    ReleaseEngine3D();
}
