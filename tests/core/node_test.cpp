// Object lists, mesh trees (polygon bookkeeping, refused cycles, recursive
// deletes) and default names.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/engine_state.h"
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
    const struct {
        int32_t counter;
        const char *base, *name;
        size_t field;
    } cases[] = {{11, "Camera", "Camera11", 32}, {0, "Omni", "Omni00", 32},    {9, "Omni", "Omni09", 32},  {10, "Omni", "Omni10", 32},
                 {100, "Omni", "Omni100", 32},   {-3, "Direct", "Direct0-3", 32}, {5, "Material", "Mater", 6}, {5, "Material", "Material05", 11}};
    for (const auto &c : cases) {
        std::string field(32, 'x');
        e3d::g_engine.nameCounters[e3d::kCounterGrid] = c.counter;
        e3d::WriteDefaultName(field.data(), c.field, c.base, e3d::kCounterGrid);
        EXPECT_TRUE(field.c_str() == std::string(c.name) && e3d::g_engine.nameCounters[e3d::kCounterGrid] == c.counter + 1) << c.name;
    }
    e3d::g_engine.nameCounters[e3d::kCounterGrid] = 0;
}
