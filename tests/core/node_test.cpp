// Node tree: attach and detach with the polygon bookkeeping of mesh trees,
// the recursive detach, and default names.
#include <gtest/gtest.h>

#include <cstring>

#include "core/names.h"
#include "core/node.h"
#include "engine3d.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"
#include "support/stage.h"

using e3dtest::LeakCheck;
using e3dtest::MakeStrip;

namespace {

E3DNode *N(E3DMesh *m) { return &m->node; }

// A sort buffer must hold `n` entries reset to the identity order.
void ExpectSortBuffer(const E3DMesh *m, int n) {
    ASSERT_NE(m->sortBuffer, nullptr);
    EXPECT_EQ(m->sortCapacity, n);
    for (int i = 0; i < n; ++i) ASSERT_EQ(m->sortBuffer[i], uint32_t(i));
}

}  // namespace

TEST(NodeTree, ThreeLevelBookkeeping) {
    LeakCheck leaks;
    E3DMesh *root = MakeStrip(20), *mid = MakeStrip(10), *leaf = MakeStrip(5);
    EXPECT_EQ(AttachChildToNode(N(mid), N(leaf)), 1);
    EXPECT_EQ(mid->treePolygonCount, 15);
    EXPECT_EQ(leaf->sortBuffer, nullptr) << "a child sorts through its root";
    ExpectSortBuffer(mid, 15);
    AttachChildToNode(N(root), N(mid));
    EXPECT_EQ(root->treePolygonCount, 35);
    EXPECT_EQ(mid->treePolygonCount, 15);
    EXPECT_EQ(mid->sortBuffer, nullptr);
    ExpectSortBuffer(root, 35);
    EXPECT_EQ(root->node.childCount, 1);
    EXPECT_EQ(leaf->node.parent, N(mid));
    // Detaching the leaf updates every mesh up to the root.
    EXPECT_EQ(DetachChildFromNode(N(mid), N(leaf)), 1);
    EXPECT_EQ(mid->treePolygonCount, 10);
    EXPECT_EQ(root->treePolygonCount, 30);
    ExpectSortBuffer(root, 30);
    ExpectSortBuffer(leaf, 5);
    EXPECT_EQ(mid->node.children, nullptr);
    EXPECT_EQ(mid->node.childCount, 0);
    EXPECT_EQ(DetachChildFromNode(N(mid), N(leaf)), 0) << "no longer a child";
    EXPECT_EQ(DetachChildFromNode(N(root), N(leaf)), 0);
    // Attaching a child that has a parent moves it.
    AttachChildToNode(N(mid), N(leaf));
    AttachChildToNode(N(root), N(leaf));
    EXPECT_EQ(mid->treePolygonCount, 10);
    EXPECT_EQ(root->treePolygonCount, 35);
    EXPECT_EQ(root->node.childCount, 2);
    EXPECT_EQ(root->node.children[1], N(leaf));
    DeleteMesh(root);  // frees the whole tree
    leaks.Check();
}

TEST(NodeTree, NonMeshPairingsMoveNoPolygons) {
    LeakCheck leaks;
    E3DMesh *root = MakeStrip(4);
    E3DNode camera{};
    camera.type = E3D_NODE_CAMERA;
    AttachChildToNode(N(root), &camera);
    EXPECT_EQ(root->treePolygonCount, 4);
    EXPECT_EQ(camera.parent, N(root));
    // A mesh under a mesh of type code 2 is not bookkept on the parent side.
    E3DMesh *child = MakeStrip(3);
    root->node.type = E3D_NODE_MESH2;
    AttachChildToNode(N(root), N(child));
    EXPECT_EQ(root->treePolygonCount, 4);
    ExpectSortBuffer(child, 3);
    root->node.type = E3D_NODE_MESH;
    DetachChildFromNode(N(root), N(child));
    DeleteMesh(child);
    DeleteMesh(root);  // detaches the camera without freeing it
    EXPECT_EQ(camera.parent, nullptr);
    leaks.Check();
}

TEST(NodeTree, DeletingARootFreesMeshDescendantsOnly) {
    LeakCheck leaks;
    E3DMesh *root = MakeStrip(2), *a = MakeStrip(2), *b = MakeStrip(2), *bound = MakeStrip(2);
    E3DNode light{};
    light.type = E3D_NODE_LIGHT;
    AttachChildToNode(N(root), N(a));
    AttachChildToNode(N(a), N(b));
    AttachChildToNode(N(a), &light);
    AttachChildToNode(N(b), N(bound));
    bound->hostObject = 1;  // bound to a host object: detached, not freed
    DeleteMesh(root);
    EXPECT_EQ(light.parent, nullptr);
    EXPECT_EQ(bound->node.parent, nullptr);
    EXPECT_EQ(bound->treePolygonCount, 2);
    bound->hostObject = 0;
    DeleteMesh(bound);
    leaks.Check();
}

// An attach that would make a node its own ancestor is refused with 0 and
// changes nothing, so the next walk of the scene still ends.
TEST(NodeTree, CyclesAreRefused) {
    struct Case {
        const char *name;
        int depth;  // meshes in a chain under the scene's root, root included
        int parent; // index in the chain of the node the root is hung under
    } cases[] = {{"itself", 1, 0}, {"its child", 2, 1}, {"its grandchild", 3, 2}};
    for (const Case &k : cases) {
        SCOPED_TRACE(k.name);
        LeakCheck leaks;
        {
            e3dtest::Stage stage;
            E3DMesh *chain[3] = {};
            for (int i = 0; i < k.depth; ++i) {
                chain[i] = e3dtest::MakeQuadAt(float(2 * i), 0xFFFFFF);
                if (i > 0) {
                    ASSERT_EQ(AttachChildToNode(N(chain[i - 1]), N(chain[i])), 1);
                }
            }
            ASSERT_EQ(AssignMeshToScene(stage.scene, ActivateMesh(chain[0]), 0), chain[0]);
            EXPECT_EQ(AttachChildToNode(N(chain[k.parent]), N(chain[0])), 0);
            for (int i = 0; i < k.depth; ++i) {
                EXPECT_EQ(chain[i]->node.parent, i ? N(chain[i - 1]) : nullptr) << i;
                EXPECT_EQ(chain[i]->node.childCount, i + 1 < k.depth ? 1 : 0) << i;
                EXPECT_EQ(chain[i]->treePolygonCount, 2 * (k.depth - i)) << i;
            }
            EXPECT_EQ(stage.scene->polygonTotal, 2 * k.depth);
            DrawScene(stage.scene);
            EXPECT_GT(stage.Written(), 0) << "the tree is still drawn";
        }
        leaks.Check();
    }
}

TEST(Names, DefaultNamesCountPerKind) {
    char name[32];
    e3d::g_engine.nameCounters[e3d::kCounterCamera] = 11;
    e3d::WriteDefaultName(name, sizeof name, "Camera", e3d::kCounterCamera);
    EXPECT_STREQ(name, "Camera11");
    e3d::g_engine.nameCounters[e3d::kCounterOmni] = 0;
    e3d::WriteDefaultName(name, sizeof name, "Omni", e3d::kCounterOmni);
    EXPECT_STREQ(name, "Omni00");
    e3d::g_engine.nameCounters[e3d::kCounterOmni] = 9;
    e3d::WriteDefaultName(name, sizeof name, "Omni", e3d::kCounterOmni);
    EXPECT_STREQ(name, "Omni09");
    e3d::WriteDefaultName(name, sizeof name, "Omni", e3d::kCounterOmni);
    EXPECT_STREQ(name, "Omni10");
    e3d::g_engine.nameCounters[e3d::kCounterOmni] = 100;
    e3d::WriteDefaultName(name, sizeof name, "Omni", e3d::kCounterOmni);
    EXPECT_STREQ(name, "Omni100");
    EXPECT_EQ(e3d::g_engine.nameCounters[e3d::kCounterOmni], 101);
    // Bounded: a small field still ends in a terminator inside it.
    char small[6];
    std::memset(small, 'x', sizeof small);
    e3d::WriteDefaultName(small, sizeof small, "Material", e3d::kCounterMaterial);
    EXPECT_STREQ(small, "Mater");
}

TEST(Names, CopyIsBoundedToTheField) {
    char field[8];
    std::memset(field, 'x', sizeof field);
    EXPECT_EQ(e3d::CopyName(field, sizeof field, "1234567"), field + 7) << "exactly fits";
    EXPECT_STREQ(field, "1234567");
    EXPECT_EQ(e3d::CopyName(field, sizeof field, "12345678"), field + 7) << "one too long: cut";
    EXPECT_STREQ(field, "1234567");
    EXPECT_EQ(e3d::CopyName(field, sizeof field, ""), field);
    EXPECT_EQ(field[0], '\0');
    EXPECT_EQ(e3d::CopyName(field, 1, "abc"), field);
    EXPECT_EQ(e3d::CopyName(nullptr, 8, "abc"), nullptr);
    EXPECT_EQ(e3d::CopyName(field, sizeof field, nullptr), nullptr);
    // A counter that never goes negative would still put the "0" first.
    char name[32];
    const int32_t saved = e3d::g_engine.nameCounters[e3d::kCounterDirect];
    e3d::g_engine.nameCounters[e3d::kCounterDirect] = -3;
    e3d::WriteDefaultName(name, sizeof name, "Direct", e3d::kCounterDirect);
    EXPECT_STREQ(name, "Direct0-3");
    EXPECT_EQ(e3d::g_engine.nameCounters[e3d::kCounterDirect], -2);
    e3d::g_engine.nameCounters[e3d::kCounterDirect] = saved;
}
