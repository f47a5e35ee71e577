// Scenes: membership, totals and polygon lists, active camera, the viewport
// binding, search, and both deletion orders.
#include <gtest/gtest.h>

#include "engine3d.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"

using e3dtest::LeakCheck;
using e3dtest::MakeStrip;

using e3dtest::MakeCamera;
using e3dtest::MakeOmni;

TEST(Scene, TotalsAndPolygonList) {
    LeakCheck leaks;
    E3DScene *s = CreateScene();
    E3DMesh *a = MakeStrip(12), *b = MakeStrip(30);
    EXPECT_EQ(AssignMeshToScene(s, a, 0), a);
    EXPECT_EQ(AssignMeshToScene(s, b, 0), b);
    EXPECT_EQ(s->polygonTotal, 42);
    EXPECT_EQ(s->sortCapacity, 42);
    EXPECT_EQ(s->vertexTotal, 14 + 32);
    EXPECT_EQ(s->sortBuffer[41], 41u);
    EXPECT_EQ(a->sortBuffer, nullptr) << "a mesh in a scene sorts through the scene";
    EXPECT_EQ(AssignMeshToScene(s, a, 0), nullptr);
    EXPECT_EQ(IsMeshAssigned(a), 1);
    EXPECT_EQ(RemoveMeshFromScene(s, a, 0), 1);
    EXPECT_EQ(s->polygonTotal, 30);
    EXPECT_EQ(a->sortCapacity, 12) << "back to a list of its own";
    EXPECT_EQ(RemoveMeshFromScene(s, a, 0), 0);
    EXPECT_EQ(IsMeshAssigned(a), 0);
    E3DMesh *inactive = CreateMesh(3, 1, 0);
    EXPECT_EQ(AssignMeshToScene(s, inactive, 0), nullptr);
    DeleteMesh(inactive);
    DeleteMesh(a);
    DeleteScene(s);  // deletes b
    leaks.Check();
}

TEST(Scene, TreesEnterThroughTheirRootAndTrackAttachments) {
    LeakCheck leaks;
    E3DScene *s = CreateScene();
    E3DMesh *root = MakeStrip(20), *child = MakeStrip(10), *other = MakeStrip(4);
    AttachChildToNode(&root->node, &other->node);
    EXPECT_EQ(AssignMeshToScene(s, other, 0), root) << "a child brings its root";
    EXPECT_EQ(AssignMeshToScene(s, root, 0), nullptr) << "the tree is in already";
    EXPECT_EQ(s->polygonTotal, 24);
    // A 10-polygon mesh under the scene-held 20-polygon root.
    AssignMeshToScene(s, child, 0);
    EXPECT_EQ(s->polygonTotal, 34);
    AttachChildToNode(&root->node, &child->node);
    EXPECT_EQ(root->treePolygonCount, 34);
    EXPECT_EQ(GetSceneNumberOfMeshes(s), 1) << "the child left the scene's list";
    EXPECT_EQ(s->polygonTotal, 34);
    EXPECT_EQ(s->sortCapacity, 34);
    DetachChildFromNode(&root->node, &child->node);
    EXPECT_EQ(s->polygonTotal, 24);
    EXPECT_EQ(child->sortCapacity, 10);
    DeleteMesh(child);
    DeleteScene(s);
    leaks.Check();
}

TEST(Scene, ActiveCameraRules) {
    LeakCheck leaks;
    E3DScene *s = CreateScene();
    E3DCamera *c0 = MakeCamera(), *c1 = MakeCamera(), *c2 = MakeCamera();
    EXPECT_EQ(GetActiveSceneCamera(s), nullptr);
    EXPECT_EQ(GetActiveSceneCamera(nullptr), nullptr);
    AssignCameraToScene(s, c0);
    AssignCameraToScene(s, c1);
    EXPECT_EQ(AssignCameraToScene(s, c1), 0);
    AssignCameraToScene(s, c2);
    SetActiveSceneCamera(s, c2);
    EXPECT_EQ(GetActiveSceneCamera(s), c2);
    E3DCamera *outsider = MakeCamera();
    SetActiveSceneCamera(s, outsider);
    EXPECT_EQ(GetActiveSceneCamera(s), c2);
    EXPECT_EQ(RemoveCameraFromScene(s, c0), 1);  // index 2 no longer exists
    EXPECT_EQ(GetActiveSceneCamera(s), c1);
    SetActiveSceneCamera(s, c2);
    RemoveCameraFromScene(s, c2);
    EXPECT_EQ(GetActiveSceneCamera(s), c1) << "the removed active camera hands over to the first";
    RemoveCameraFromScene(nullptr, c1);
    EXPECT_EQ(s->activeCamera, -1);
    // The viewport's camera joins only when no camera is active.
    E3DViewport *v = CreateViewport(nullptr, 8, 8, 0, 1);
    SetViewportCamera(v, outsider);
    AssignCameraToScene(s, c0);
    SetActiveSceneCamera(s, c0);
    SetSceneViewport(s, v);
    EXPECT_EQ(GetSceneNumberOfCameras(s), 1);
    SetActiveSceneCamera(s, nullptr);
    SetSceneViewport(s, v);
    EXPECT_EQ(GetActiveSceneCamera(s), outsider);
    EXPECT_EQ(GetSceneViewport(s), v);
    SetSceneViewport(s, nullptr);
    EXPECT_EQ(GetSceneViewport(s), nullptr);
    DeleteViewport(v);
    DeleteCamera(c1);
    DeleteCamera(c2);
    DeleteScene(s);  // deletes c0 and outsider
    leaks.Check();
}

TEST(Scene, SearchByIndexAndName) {
    E3DScene *s = CreateScene();
    E3DMesh *m = MakeStrip(1);
    AssignMeshToScene(s, m, 0);
    E3DLight *l = MakeOmni();
    AssignLightToScene(s, l, 0);
    EXPECT_EQ(SearchMeshByIndex(s, 0), m);
    EXPECT_EQ(SearchMeshByIndex(s, 1), nullptr);
    EXPECT_EQ(SearchLightByIndex(s, -1), nullptr);
    EXPECT_EQ(SearchMeshByName(s, ""), nullptr) << "empty names never match";
    SetMeshName(m, "floor");
    EXPECT_EQ(SearchMeshByName(s, "floor"), m);
    EXPECT_EQ(SearchLightByName(s, l->name), l);
    EXPECT_EQ(SearchLightByName(s, nullptr), nullptr);
    EXPECT_EQ(GetSceneNumberOfLights(s), 1);
    DeleteScene(s);
}

TEST(Scene, DeleteSparesBoundObjectsAndWholeDeleteDoesNot) {
    LeakCheck leaks;
    E3DScene *s = CreateScene();
    E3DMesh *bound = MakeStrip(3), *free = MakeStrip(3);
    AssignMeshToScene(s, bound, 0);
    AssignMeshToScene(s, free, 0);
    SetMeshTvObject(bound, 1);
    E3DCamera *cam = MakeCamera();
    AssignCameraToScene(s, cam);
    DeleteScene(s);
    EXPECT_EQ(IsMeshAssigned(bound), 0);
    EXPECT_EQ(bound->polygonCount, 3) << "a bound mesh survives";
    SetMeshTvObject(bound, 0);
    // A populated scene deleted whole leaves nothing behind.
    E3DScene *w = CreateScene();
    AssignMeshToScene(w, bound, 1);
    E3DLight *l = MakeOmni();
    l->hostObject = 9;
    AssignLightToScene(w, l, 1);
    AssignCameraToScene(w, MakeCamera());
    E3DMaterial *mat = CreateMaterial(GetMeshDefaultMaterial(bound));
    mat->hostObject = 3;
    AssignMaterialToScene(w, mat);
    E3DSkeleton *sk = CreateSkeleton();
    AssignSkeletonToScene(w, sk);
    DeleteWholeScene(w);
    leaks.Check();
}

TEST(Scene, ChainLinks) {
    E3DScene *a = CreateScene(), *b = CreateScene(), *c = CreateScene();
    EXPECT_EQ(a->next, b);
    EXPECT_EQ(c->prev, b);
    DeleteScene(b);
    EXPECT_EQ(a->next, c);
    EXPECT_EQ(c->prev, a);
    DeleteScene(a);
    EXPECT_EQ(c->prev, nullptr);
    DeleteScene(c);
}
