// Face planes against a double-precision cross product, and corner normals
// bit for bit against a slow model of the smoothing-group walk.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "core/fast_math.h"
#include "engine3d.h"
#include "support/memory_check.h"

TEST(Normals, PlanesAndCornerNormalsMatchTheModels) {
    e3dtest::LeakCheck leaks;
    InitEngine3D();
    for (unsigned seed = 1; seed <= 12; ++seed) {
        std::mt19937 rng(seed);
        const int vertices = 4 + int(rng() % 80), polygons = 1 + int(rng() % 400), groups = seed % 3 ? 1 + int(rng() % 32) : 1;
        E3DMesh *m = CreateMesh(vertices, polygons, 0);
        for (int i = 0; i < vertices; ++i) SetMeshVertex(m, i, float(rng() % 200) - 100, float(rng() % 200) - 100, float(rng() % 100));
        for (int i = 0; i < polygons; ++i) {
            int a = int(rng() % vertices), b, c;
            do b = int(rng() % vertices); while (b == a);
            do c = int(rng() % vertices); while (c == a || c == b);
            ASSERT_EQ(SetMeshTriPolygon(m, i, a, b, c, 0, int(rng() % groups)), 1);
        }
        CalcMeshPolygonsNormal(m);
        // The plane: (P1 - P0) x (P2 - P1) of the stored corners, through the centroid.
        for (int i = 0; i < polygons; ++i) {
            const E3DPolygon &p = m->polygons[i];
            double q[3][3], n[3], d = 0;
            for (int j = 0; j < 3; ++j)
                for (int a = 0; a < 3; ++a) q[j][a] = m->vertices[p.vertex[j]].position[a];
            for (int a = 0, b = 1, c = 2; a < 3; ++a, b = (b + 1) % 3, c = (c + 1) % 3)
                n[a] = (q[1][b] - q[0][b]) * (q[2][c] - q[1][c]) - (q[1][c] - q[0][c]) * (q[2][b] - q[1][b]);
            const double len = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
            if (len < 1.0) continue;  // nearly degenerate: not a fair comparison
            for (int a = 0; a < 3; ++a) d -= n[a] / len * (q[0][a] + q[1][a] + q[2][a]) / 3.0;
            for (int a = 0; a < 3; ++a) ASSERT_NEAR(p.normal[a], n[a] / len, 2e-3) << "polygon " << i;
            ASSERT_NEAR(p.planeD, d, 0.4) << "polygon " << i;  // |centroid| up to 173, a 10-bit normal
        }
        CalcMeshVerticesNormal(m);
        CalcMeshVerticesNormal(m);  // again: the old array goes
        // Groups ascending, a group's polygons in index order, corners 0, 1, 2,
        // one normal per vertex in a group, float sums in that order, then the
        // table normalisation.
        std::vector<float> normals;
        std::vector<int> index(size_t(3 * polygons));
        for (int group = 0; group < 32; ++group) {
            std::vector<int> slot(size_t(vertices), -1);
            for (int i = 0; i < polygons; ++i)
                for (int j = 0; j < 3 && int((m->polygons[i].flags >> 12) & 31) == group; ++j) {
                    const E3DPolygon &p = m->polygons[i];
                    int &s = slot[size_t(p.vertex[j])];
                    if (s < 0) s = int(normals.size() / 3), normals.insert(normals.end(), p.normal, p.normal + 3);
                    else for (int a = 0; a < 3; ++a) normals[size_t(3 * s + a)] += p.normal[a];
                    index[size_t(3 * i + j)] = s;
                }
        }
        for (size_t k = 0; k < normals.size(); k += 3) {
            const float f = e3d::FastRSqrt(normals[k] * normals[k] + normals[k + 1] * normals[k + 1] + normals[k + 2] * normals[k + 2]);
            normals[k] *= f, normals[k + 1] *= f, normals[k + 2] *= f;
        }
        ASSERT_EQ(m->normalCount, int(normals.size() / 3)) << "seed " << seed;
        for (int i = 0; i < 3 * polygons; ++i) ASSERT_EQ(m->polygons[i / 3].normalIndex[i % 3], index[size_t(i)]) << i;
        ASSERT_EQ(std::memcmp(m->vertexNormals, normals.data(), normals.size() * sizeof(float)), 0) << "seed " << seed;
        // Corners naming no vertex get no normal.
        const int32_t count = m->vertexCount;
        m->vertexCount = seed % 2 ? 0 : -1, CalcMeshVerticesNormal(m), m->vertexCount = count;
        EXPECT_EQ(m->normalCount, 0);
        // A polygon naming no vertex of the mesh is left as it is.
        m->polygons[0].vertex[seed % 3] = seed % 2 ? vertices : -1;
        const E3DPolygon before = m->polygons[0];
        CalcMeshPolygonsNormal(m);
        ASSERT_EQ(std::memcmp(&before, &m->polygons[0], sizeof before), 0);
        DeleteMesh(m);
    }
    ReleaseEngine3D();
    leaks.Check();
}
