// Scenes: membership, totals and polygon lists, trees, cameras, search and deletion.
#include "support/scene_fixture.h"

using e3dtest::MakeCamera;
using e3dtest::MakeStrip;
using std::tuple;

TEST(Scene, TotalsPolygonListsAndSearch) {
    E3DScene *s = CreateScene();
    E3DMesh *a = MakeStrip(12), *b = MakeStrip(30), *inactive = CreateMesh(3, 1, 0);
    EXPECT_EQ(AssignMeshToScene(s, a, 0), a);
    EXPECT_EQ(AssignMeshToScene(s, b, 0), b);
    EXPECT_EQ(tuple(s->polygonTotal, s->sortCapacity, s->vertexTotal, s->sortBuffer[41], s->flags),
              tuple(42, 42, 46, 41u, 1u));
    EXPECT_EQ(tuple(a->sortBuffer, AssignMeshToScene(s, a, 0), AssignMeshToScene(s, inactive, 0)),
              tuple(nullptr, nullptr, nullptr)) << "a mesh in a scene sorts through the scene";
    SetMeshName(b, "floor");
    EXPECT_EQ(tuple(SearchMeshByIndex(s, 1), SearchMeshByIndex(s, 2), SearchLightByIndex(s, -1)), tuple(b, nullptr, nullptr));
    EXPECT_EQ(tuple(SearchMeshByName(s, "floor"), SearchMeshByName(s, "")), tuple(b, nullptr));
    EXPECT_EQ(IsMeshAssigned(a), 1);
    EXPECT_EQ(RemoveMeshFromScene(s, a, 0), 1);
    EXPECT_EQ(tuple(s->polygonTotal, s->vertexTotal, s->flags, a->sortCapacity), tuple(30, 32, 1u, 12));
    EXPECT_EQ(tuple(RemoveMeshFromScene(s, a, 0), IsMeshAssigned(a)), tuple(0, 0));
    e3dtest::DeleteAll(inactive, a, s);
}

TEST(Scene, TreesEnterThroughTheirRootAndTrackAttachments) {
    e3dtest::LeakCheck leaks;
    E3DScene *s = CreateScene(), *t = CreateScene();
    E3DMesh *root = MakeStrip(20), *child = MakeStrip(10), *other = MakeStrip(4);
    AttachChildToNode(&root->node, &other->node);
    EXPECT_EQ(AssignMeshToScene(s, other, 0), root) << "a child brings its root";
    // A 10-polygon mesh held by two scenes goes under the root only the first holds.
    AssignMeshToScene(s, child, 0);
    AssignMeshToScene(t, child, 0);
    AttachChildToNode(&root->node, &child->node);
    EXPECT_EQ(tuple(root->treePolygonCount, GetSceneNumberOfMeshes(s)), tuple(34, 1));
    EXPECT_EQ(tuple(s->polygonTotal, s->sortCapacity, s->vertexTotal, s->flags), tuple(34, 34, 22, 1u));
    EXPECT_EQ(tuple(GetSceneNumberOfMeshes(t), t->polygonTotal, t->sortCapacity, t->flags), tuple(0, 0, 0, 1u));
    DetachChildFromNode(&root->node, &child->node);
    EXPECT_EQ(tuple(s->polygonTotal, s->flags, child->sortCapacity), tuple(24, 1u, 10));
    EXPECT_EQ(DetachChildFromNode(&root->node, &other->node), 1) << "the only child";
    EXPECT_EQ(tuple(root->node.childCount, other->node.parent, s->polygonTotal), tuple(0, nullptr, 20));
    // Outside every scene the root's own list grows by what it takes in: the
    // two lists it replaces held as many entries; the root gains a child array.
    RemoveMeshFromScene(s, root, 0);
    ReleaseRadixSort();
    const int64_t bytes = e3dtest::MemoryStats().liveBytes;
    AttachChildToNode(&root->node, &child->node);
    ReleaseRadixSort();
    EXPECT_EQ(e3dtest::MemoryStats().liveBytes, bytes + int64_t(sizeof(E3DNode *)));
    EXPECT_EQ(root->sortCapacity, 30);
    e3dtest::DeleteAll(other, root, s, t);
    leaks.Check();
}

// A removed active camera hands over to the first; a viewport's joins only with none active.
TEST(Scene, ActiveCameraRules) {
    E3DScene *s = CreateScene();
    E3DCamera *c0 = MakeCamera(), *c1 = MakeCamera(), *c2 = MakeCamera(), *outsider = MakeCamera();
    for (E3DCamera *c : {c0, c1, c2}) AssignCameraToScene(s, c);
    SetActiveSceneCamera(s, c2);
    SetActiveSceneCamera(s, outsider);
    EXPECT_EQ(RemoveCameraFromScene(s, c0), 1);  // index 2 is gone
    EXPECT_EQ(GetActiveSceneCamera(s), c1);
    SetActiveSceneCamera(s, c2);
    RemoveCameraFromScene(nullptr, c2);
    EXPECT_EQ(GetActiveSceneCamera(s), c1);
    E3DViewport *v = CreateViewport(nullptr, 8, 8, 0, 1);
    SetViewportCamera(v, outsider);
    SetSceneViewport(s, v);
    EXPECT_EQ(tuple(GetSceneViewport(s), GetSceneNumberOfCameras(s)), tuple(v, 1));
    SetActiveSceneCamera(s, nullptr);
    SetSceneViewport(s, v);
    EXPECT_EQ(tuple(GetActiveSceneCamera(s), GetSceneNumberOfCameras(s)), tuple(outsider, 2));
    DeleteViewport(v);
    e3dtest::DeleteAll(c0, c2, s);  // deletes c1 and outsider
}

TEST(Scene, DeleteSparesBoundObjectsAndTheChainHolds) {
    e3dtest::LeakCheck leaks;
    E3DScene *s = CreateScene(), *w = CreateScene(), *x = CreateScene();
    E3DMesh *bound = MakeStrip(3), *free = MakeStrip(3);
    AssignMeshToScene(s, bound, 0);
    AssignMeshToScene(s, free, 0);
    SetMeshTvObject(bound, 1);
    AssignCameraToScene(s, MakeCamera());
    // Listed twice: the first deletion drops both entries.
    E3DMaterial *twice = CreateMaterial(GetMeshDefaultMaterial(bound));
    AssignMaterialToScene(s, twice);
    AddListElement(&s->materials, twice);
    DeleteScene(w);
    EXPECT_EQ(tuple(s->next, x->prev), tuple(x, s));
    DeleteScene(s);
    EXPECT_EQ(x->prev, nullptr);
    EXPECT_EQ(tuple(IsMeshAssigned(bound), bound->polygonCount), tuple(0, 3)) << "a bound mesh survives";
    SetMeshTvObject(bound, 0);
    e3dtest::DeleteAll(bound, x);
    leaks.Check();
}
