// Face planes and smoothing-group corner normals against slow models.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <vector>
#include <random>

#include "core/fast_math.h"
#include "engine3d.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"

// The slow model: groups in ascending order, polygons of a group in index
// order, corners 0, 1, 2, a linear search of the group's (vertex, normal)
// map, sums in float in that order, then the table normalisation. The fast
// routine must give the same indices and the same normals, bit for bit.
TEST(Normals, CornerNormalsMatchTheLinearMapModelBitForBit) {
    e3dtest::LeakCheck leaks;
    InitEngine3D();
    for (unsigned seed = 1; seed <= 12; ++seed) {
        std::mt19937 rng(seed);
        const int vertices = 4 + int(rng() % 80), polygons = 1 + int(rng() % 400);
        const int groups = seed % 3 == 0 ? 1 : 1 + int(rng() % 32);
        E3DMesh *m = CreateMesh(vertices, polygons, 0);
        for (int i = 0; i < vertices; ++i)
            SetMeshVertex(m, i, float(rng() % 100), float(rng() % 100), float(rng() % 100));
        for (int i = 0; i < polygons; ++i) {
            int a = int(rng() % vertices), b, c;
            do b = int(rng() % vertices); while (b == a);
            do c = int(rng() % vertices); while (c == a || c == b);
            ASSERT_EQ(SetMeshTriPolygon(m, i, a, b, c, 0, int(rng() % groups)), 1);
        }
        CalcMeshPolygonsNormal(m);
        CalcMeshVerticesNormal(m);
        CalcMeshVerticesNormal(m);  // again: the old array goes
        std::vector<float> normals;
        std::vector<int> index(size_t(3 * polygons), -1);
        for (int group = 0; group < 32; ++group) {
            std::vector<std::pair<int, int>> map;  // (vertex, normal)
            for (int i = 0; i < polygons; ++i) {
                const E3DPolygon &p = m->polygons[i];
                if (int((p.flags >> 12) & 31) != group) continue;
                for (int j = 0; j < 3; ++j) {
                    int found = -1;
                    for (auto &[v, n] : map)
                        if (v == p.vertex[j]) found = n;
                    if (found < 0) {
                        found = int(normals.size() / 3);
                        map.push_back({p.vertex[j], found});
                        normals.insert(normals.end(), p.normal, p.normal + 3);
                    } else {
                        for (int a = 0; a < 3; ++a) normals[size_t(3 * found + a)] += p.normal[a];
                    }
                    index[size_t(3 * i + j)] = found;
                }
            }
        }
        for (size_t k = 0; k < normals.size(); k += 3) {
            float *n = &normals[k];
            const float f = e3d::FastRSqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
            n[0] *= f, n[1] *= f, n[2] *= f;
        }
        ASSERT_EQ(m->normalCount, int(normals.size() / 3)) << "seed " << seed;
        for (int i = 0; i < polygons; ++i)
            for (int j = 0; j < 3; ++j)
                ASSERT_EQ(m->polygons[i].normalIndex[j], index[size_t(3 * i + j)]) << "seed " << seed << " polygon " << i;
        for (size_t k = 0; k < normals.size(); ++k)
            ASSERT_EQ(std::bit_cast<uint32_t>(m->vertexNormals[k]), std::bit_cast<uint32_t>(normals[k]))
                << "seed " << seed << " component " << k;
        DeleteMesh(m);
    }
    ReleaseEngine3D();
    leaks.Check();
}

TEST(Normals, FacePlanesOfRandomTrianglesAreUnitAndThroughTheCentroid) {
    InitEngine3D();
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> coord(-100.0f, 100.0f);
    E3DMesh *m = CreateMesh(3, 1, 0);
    for (int round = 0; round < 500; ++round) {
        double p[3][3];
        for (int i = 0; i < 3; ++i) {
            for (double &x : p[i]) x = coord(rng);
            SetMeshVertex(m, i, float(p[i][0]), float(p[i][1]), float(p[i][2]));
        }
        ASSERT_EQ(SetMeshTriPolygon(m, 0, 0, 1, 2, 0, 0), 1);  // stored as 2, 1, 0
        const E3DPolygon &poly = m->polygons[0];
        CalcMeshPolygonNormal(m, &m->polygons[0]);
        // Reference in double: (P1 - P0) x (P2 - P1) over the stored order.
        const double *q0 = p[2], *q1 = p[1], *q2 = p[0];
        const double e1[3] = {q1[0] - q0[0], q1[1] - q0[1], q1[2] - q0[2]};
        const double e2[3] = {q2[0] - q1[0], q2[1] - q1[1], q2[2] - q1[2]};
        double n[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2], e1[0] * e2[1] - e1[1] * e2[0]};
        const double len = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        if (len < 1.0) continue;  // nearly degenerate: not a fair comparison
        double d = 0;
        for (int a = 0; a < 3; ++a) {
            n[a] /= len;
            d -= n[a] * (q0[a] + q1[a] + q2[a]) / 3.0;
        }
        for (int a = 0; a < 3; ++a) ASSERT_NEAR(poly.normal[a], n[a], 2e-3) << "round " << round;
        ASSERT_NEAR(poly.planeD, d, 0.4) << "round " << round;  // |centroid| up to 173, 10-bit normal
        // A polygon naming no vertex of the mesh is left as it is.
        m->polygons[0].vertex[round % 3] = 3 + round % 2 * -7;
        const E3DPolygon before = poly;
        CalcMeshPolygonsNormal(m);
        ASSERT_EQ(std::memcmp(&before, &poly, sizeof poly), 0);
    }
    DeleteMesh(m);
    ReleaseEngine3D();
}

// Each failed allocation leaves complete normals or none, and a failure
// after the old array went leaves none.
TEST(Normals, FailedAllocationsLeaveNoHalfBuiltArray) {
    InitEngine3D();
    E3DMesh *cube = e3dtest::MakeCube(1.0f, false);
    CalcMeshPolygonsNormal(cube);
    for (int k = 1, used = 1; used; ++k) {
        e3dtest::LeakCheck leaks;
        HostMemoryFailNth(k);
        CalcMeshVerticesNormal(cube);
        used = HostMemoryPendingFailure() == 0;
        HostMemoryFailNth(0);
        EXPECT_EQ(cube->normalCount, cube->vertexNormals ? 8 : 0);
        HostMemoryFailNth(1);
        CalcMeshVerticesNormal(cube);
        HostMemoryFailNth(0);
        EXPECT_EQ(cube->vertexNormals, nullptr);
        leaks.Check();
    }
    DeleteMesh(cube);
    ReleaseEngine3D();
}
