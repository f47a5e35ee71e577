// Object lists, mesh trees, default names, and face planes and corner
// normals against slow models.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/engine_state.h"
#include "core/fast_math.h"
#include "core/names.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"

// Lists grow by one slot with a reallocation each; the removal quirks
// (a duplicate pair loses one count, an absent element still drops the last
// entry) are relied on by callers.
TEST(ObjectList, GrowthRemovalQuirksAndFailedGrowth) {
    int objects[5];
    void *const A = &objects[0], *const B = &objects[1], *const C = &objects[2], *const D = &objects[3], *const E = &objects[4];
    using Items = std::vector<void *>;
    auto items = [](const E3DList &l) { return Items(l.items, l.items + l.count); };
    e3dtest::LeakCheck leaks;
    E3DList list{};
    EXPECT_EQ(GetListElementIndex(&list, A), -1);
    for (void *e : {A, B, A, C}) AddListElement(&list, e);
    EXPECT_TRUE(leaks.AllocationsSince() == 4 && list.capacity == 4);
    EXPECT_TRUE(GetListElementIndex(&list, A) == 0 && GetListElementIndex(&list, C) == 3 && GetListElementIndex(&list, D) == -1);
    RemoveListElement(&list, A), AddListElement(&list, D);  // the stale last slot stays; D goes in the free one
    EXPECT_TRUE(items(list) == (Items{B, C, A, D}) && leaks.AllocationsSince() == 4);
    RemoveListElement(&list, E);  // absent: the last entry goes
    EXPECT_EQ(items(list), (Items{B, C, A}));
    RemoveListElement(&list, A);
    EXPECT_TRUE(items(list) == (Items{B, C}) && list.capacity == 4);
    RemoveListElement(&list, B), RemoveListElement(&list, E);  // a single entry goes whatever is named
    EXPECT_TRUE(list.count == 0 && list.capacity == 0 && list.items == nullptr);
    AddListElement(&list, C);
    HostMemoryFailNth(1), AddListElement(&list, B), HostMemoryFailNth(0);  // cannot grow: unchanged
    EXPECT_TRUE(items(list) == Items{C} && list.capacity == 1);
    RemoveListElement(&list, C), list.count = 5, InitList(&list);
    EXPECT_TRUE(list.count == 0 && list.capacity == 0 && !list.items);
    leaks.Check();
}

// A tree's polygons sort through its root: a buffer of the tree's count in
// identity order there, none below. A camera moves no polygons; under a mesh
// of type code 2 a mesh is a tree of its own. A deleted root frees its mesh
// descendants and detaches the rest.
TEST(NodeTree, PolygonBookkeepingAndDeletes) {
    e3dtest::LeakCheck leaks;
    E3DMesh *root = e3dtest::MakeStrip(20), *mid = e3dtest::MakeStrip(10), *leaf = e3dtest::MakeStrip(5), *bound = e3dtest::MakeStrip(2);
    auto sorted = [](const E3DMesh *m, int n) {
        for (int i = 0; i < n; ++i) EXPECT_EQ(m->sortBuffer[i], uint32_t(i));
        return m->sortCapacity == n && m->treePolygonCount == n;
    };
    EXPECT_TRUE(AttachChildToNode(&mid->node, &leaf->node) && AttachChildToNode(&root->node, &mid->node));
    EXPECT_TRUE(sorted(root, 35) && !mid->sortBuffer && !leaf->sortBuffer && mid->treePolygonCount == 15);
    EXPECT_TRUE(DetachChildFromNode(&mid->node, &leaf->node) && !DetachChildFromNode(&mid->node, &leaf->node));
    EXPECT_TRUE(sorted(root, 30) && sorted(leaf, 5) && mid->treePolygonCount == 10 && !mid->node.children);
    E3DNode camera{};
    camera.type = E3D_NODE_CAMERA, AttachChildToNode(&leaf->node, &camera);
    leaf->node.type = E3D_NODE_MESH2, AttachChildToNode(&leaf->node, &bound->node);
    EXPECT_TRUE(sorted(bound, 2) && sorted(leaf, 5));
    DetachChildFromNode(&leaf->node, &bound->node), leaf->node.type = E3D_NODE_MESH;
    AttachChildToNode(&leaf->node, &bound->node), AttachChildToNode(&mid->node, &leaf->node);
    // Making a node its own ancestor is refused and changes nothing, so walks end.
    EXPECT_TRUE(!AttachChildToNode(&bound->node, &root->node) && !AttachChildToNode(&leaf->node, &leaf->node));
    EXPECT_TRUE(sorted(root, 37) && !bound->sortBuffer && !root->node.parent && leaf->node.parent == &mid->node);
    bound->hostObject = 1, DeleteMesh(root);
    EXPECT_TRUE(!camera.parent && !bound->node.parent && sorted(bound, 2));
    bound->hostObject = 0, DeleteMesh(bound);
    leaks.Check();
}

TEST(Names, DefaultNamesCountAndStayInTheirField) {
    const struct { int32_t counter; const char *base, *name; size_t field; } cases[] = {{11, "Camera", "Camera11", 32}, {0, "Omni", "Omni00", 32},    {9, "Omni", "Omni09", 32},  {10, "Omni", "Omni10", 32},
                 {100, "Omni", "Omni100", 32},   {-3, "Direct", "Direct0-3", 32}, {5, "Material", "Mater", 6}, {5, "Material", "Material05", 11}};
    for (const auto &c : cases) {
        std::string field(32, 'x');
        e3d::g_engine.nameCounters[e3d::kCounterGrid] = c.counter;
        e3d::WriteDefaultName(field.data(), c.field, c.base, e3d::kCounterGrid);
        EXPECT_TRUE(field.c_str() == std::string(c.name) && e3d::g_engine.nameCounters[e3d::kCounterGrid] == c.counter + 1) << c.name;
    }
    e3d::g_engine.nameCounters[e3d::kCounterGrid] = 0;
}

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
