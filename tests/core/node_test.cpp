// Node trees (the polygon bookkeeping of mesh trees, recursive deletes,
// refused cycles) and default names.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/engine_state.h"
#include "core/names.h"
#include "engine3d.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"
#include "support/stage.h"

using e3dtest::MakeStrip;

namespace {

E3DNode *N(E3DMesh *m) { return &m->node; }

// A tree's polygons are sorted through its root: a buffer of the tree's
// count in identity order there, none below.
void ExpectSortBuffer(const E3DMesh *m, int n) {
    ASSERT_NE(m->sortBuffer, nullptr);
    EXPECT_EQ(m->sortCapacity, n);
    for (int i = 0; i < n; ++i) ASSERT_EQ(m->sortBuffer[i], uint32_t(i));
}

}  // namespace

TEST(NodeTree, PolygonBookkeepingAcrossThreeLevels) {
    e3dtest::LeakCheck leaks;
    E3DMesh *root = MakeStrip(20), *mid = MakeStrip(10), *leaf = MakeStrip(5);
    EXPECT_EQ(AttachChildToNode(N(mid), N(leaf)), 1);
    EXPECT_EQ(leaf->sortBuffer, nullptr);
    AttachChildToNode(N(root), N(mid));
    EXPECT_EQ(root->treePolygonCount, 35);
    EXPECT_EQ(mid->treePolygonCount, 15);
    EXPECT_EQ(mid->sortBuffer, nullptr);
    ExpectSortBuffer(root, 35);
    EXPECT_EQ(DetachChildFromNode(N(mid), N(leaf)), 1);  // every mesh up to the root
    EXPECT_EQ(mid->treePolygonCount, 10);
    ExpectSortBuffer(root, 30);
    ExpectSortBuffer(leaf, 5);
    EXPECT_EQ(mid->node.children, nullptr);
    EXPECT_EQ(DetachChildFromNode(N(mid), N(leaf)), 0) << "no longer a child";
    AttachChildToNode(N(mid), N(leaf));
    AttachChildToNode(N(root), N(leaf));  // moves it
    EXPECT_EQ(mid->treePolygonCount, 10);
    EXPECT_EQ(root->treePolygonCount, 35);
    EXPECT_EQ(root->node.children[1], N(leaf));
    // A camera moves no polygons; a mesh under a mesh of type code 2 is a
    // tree of its own.
    E3DNode camera{};
    camera.type = E3D_NODE_CAMERA;
    AttachChildToNode(N(root), &camera);
    EXPECT_EQ(root->treePolygonCount, 35);
    E3DMesh *other = MakeStrip(3), *bound = MakeStrip(2);
    other->node.type = E3D_NODE_MESH2;
    AttachChildToNode(N(other), N(bound));
    EXPECT_EQ(other->treePolygonCount, 3);
    ExpectSortBuffer(bound, 2);
    DetachChildFromNode(N(other), N(bound));
    other->node.type = E3D_NODE_MESH;
    // Deleting a root frees its mesh descendants, but detaches other nodes
    // and meshes bound to a host object.
    AttachChildToNode(N(leaf), N(other));
    AttachChildToNode(N(other), N(bound));
    EXPECT_EQ(root->treePolygonCount, 40);
    bound->hostObject = 1;
    DeleteMesh(root);
    EXPECT_EQ(camera.parent, nullptr);
    EXPECT_EQ(bound->node.parent, nullptr);
    EXPECT_EQ(bound->treePolygonCount, 2);
    bound->hostObject = 0;
    DeleteMesh(bound);
    leaks.Check();
}

// An attach that would make a node its own ancestor is refused with 0 and
// changes nothing, so the next walk of the scene still ends.
TEST(NodeTree, CyclesAreRefused) {
    for (int depth = 1; depth <= 3; ++depth) {
        SCOPED_TRACE(depth);
        e3dtest::LeakCheck leaks;
        {
            e3dtest::Stage stage;
            E3DMesh *chain[3] = {};
            for (int i = 0; i < depth; ++i) {
                chain[i] = e3dtest::MakeQuadAt(float(2 * i), 0xFFFFFF);
                ASSERT_TRUE(i == 0 || AttachChildToNode(N(chain[i - 1]), N(chain[i])));
            }
            ASSERT_EQ(AssignMeshToScene(stage.scene, ActivateMesh(chain[0]), 0), chain[0]);
            EXPECT_EQ(AttachChildToNode(N(chain[depth - 1]), N(chain[0])), 0);
            for (int i = 0; i < depth; ++i) {
                EXPECT_EQ(chain[i]->node.parent, i ? N(chain[i - 1]) : nullptr) << i;
                EXPECT_EQ(chain[i]->node.childCount, i + 1 < depth ? 1 : 0) << i;
                EXPECT_EQ(chain[i]->treePolygonCount, 2 * (depth - i)) << i;
            }
            EXPECT_EQ(stage.scene->polygonTotal, 2 * depth);
            DrawScene(stage.scene);
            EXPECT_GT(stage.Written(), 0) << "the tree is still drawn";
        }
        leaks.Check();
    }
}

TEST(Names, DefaultNamesCountPerKindAndStayInTheirField) {
    const struct {
        e3d::NameCounter kind;
        int32_t counter;
        const char *base;
        size_t field;
        const char *name;
    } cases[] = {{e3d::kCounterCamera, 11, "Camera", 32, "Camera11"}, {e3d::kCounterOmni, 0, "Omni", 32, "Omni00"},
                 {e3d::kCounterOmni, 9, "Omni", 32, "Omni09"},        {e3d::kCounterOmni, 10, "Omni", 32, "Omni10"},
                 {e3d::kCounterOmni, 100, "Omni", 32, "Omni100"},     {e3d::kCounterDirect, -3, "Direct", 32, "Direct0-3"},
                 {e3d::kCounterMaterial, 5, "Material", 6, "Mater"}};
    for (const auto &c : cases) {
        char field[32];
        std::memset(field, 'x', sizeof field);
        e3d::g_engine.nameCounters[c.kind] = c.counter;
        e3d::WriteDefaultName(field, c.field, c.base, c.kind);
        EXPECT_EQ(std::string(field), c.name);
        EXPECT_EQ(e3d::g_engine.nameCounters[c.kind], c.counter + 1);
        e3d::g_engine.nameCounters[c.kind] = 0;
    }
    char field[8];
    EXPECT_EQ(e3d::CopyName(field, sizeof field, "1234567"), field + 7);
    EXPECT_STREQ(field, "1234567");
    EXPECT_EQ(e3d::CopyName(field, sizeof field, "abcdefghij"), field + 7);
    EXPECT_STREQ(field, "abcdefg");
    EXPECT_EQ(e3d::CopyName(field, 1, "abc"), field);
    EXPECT_EQ(field[0], '\0');
    EXPECT_EQ(e3d::CopyName(field, 0, "abc"), nullptr);
    EXPECT_EQ(e3d::CopyName(nullptr, 8, "abc"), nullptr);
    EXPECT_EQ(e3d::CopyName(field, sizeof field, nullptr), nullptr);
}
