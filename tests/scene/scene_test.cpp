// Scenes: membership, totals and polygon lists (also when allocations fail),
// trees, the active camera, the viewport binding, search and deletion.
#include <gtest/gtest.h>

#include <functional>

#include "engine3d.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"
#include "support/stage.h"

using e3dtest::LeakCheck;
using e3dtest::MakeCamera;
using e3dtest::MakeOmni;
using e3dtest::MakeStrip;

TEST(Scene, TotalsAndPolygonList) {
    LeakCheck leaks;
    E3DScene *s = CreateScene();
    E3DMesh *a = MakeStrip(12), *b = MakeStrip(30);
    EXPECT_EQ(AssignMeshToScene(s, a, 0), a);
    EXPECT_EQ(AssignMeshToScene(s, b, 0), b);
    EXPECT_EQ(s->polygonTotal, 42);
    EXPECT_EQ(s->sortCapacity, 42);
    EXPECT_EQ(s->vertexTotal, 14 + 32);
    EXPECT_EQ(s->flags, 1u) << "the lists are consistent again";
    EXPECT_EQ(s->sortBuffer[41], 41u);
    EXPECT_EQ(a->sortBuffer, nullptr) << "a mesh in a scene sorts through the scene";
    EXPECT_EQ(AssignMeshToScene(s, a, 0), nullptr);
    EXPECT_EQ(IsMeshAssigned(a), 1);
    EXPECT_EQ(RemoveMeshFromScene(s, a, 0), 1);
    EXPECT_EQ(s->polygonTotal, 30);
    EXPECT_EQ(s->vertexTotal, 32);
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
    E3DScene *s = CreateScene(), *t = CreateScene();
    E3DMesh *root = MakeStrip(20), *child = MakeStrip(10), *other = MakeStrip(4);
    AttachChildToNode(&root->node, &other->node);
    EXPECT_EQ(AssignMeshToScene(s, other, 0), root) << "a child brings its root";
    EXPECT_EQ(AssignMeshToScene(s, root, 0), nullptr) << "the tree is in already";
    EXPECT_EQ(s->polygonTotal, 24);
    // A 10-polygon mesh, held by two scenes, goes under the 20-polygon root
    // that only the first holds.
    AssignMeshToScene(s, child, 0);
    AssignMeshToScene(t, child, 0);
    EXPECT_EQ(s->polygonTotal, 34);
    AttachChildToNode(&root->node, &child->node);
    EXPECT_EQ(root->treePolygonCount, 34);
    EXPECT_EQ(GetSceneNumberOfMeshes(s), 1) << "the child left the scene's list";
    EXPECT_EQ(s->polygonTotal, 34);
    EXPECT_EQ(s->sortCapacity, 34);
    EXPECT_EQ(s->vertexTotal, 22) << "the vertices of the roots only";
    EXPECT_EQ(GetSceneNumberOfMeshes(t), 0);
    EXPECT_EQ(t->polygonTotal, 0);
    EXPECT_EQ(t->sortCapacity, 0) << "an empty list for a scene left with nothing";
    EXPECT_EQ(s->flags & t->flags, 1u);
    DetachChildFromNode(&root->node, &child->node);
    EXPECT_EQ(s->polygonTotal, 24);
    EXPECT_EQ(s->flags, 1u);
    EXPECT_EQ(child->sortCapacity, 10);
    EXPECT_EQ(DetachChildFromNode(&root->node, &other->node), 1) << "the only child";
    EXPECT_EQ(root->node.childCount, 0);
    EXPECT_EQ(other->node.parent, nullptr);
    EXPECT_EQ(s->polygonTotal, 20);
    // Outside every scene the root's own list grows by what it takes in: the
    // two lists it replaces held as many entries; the root gains a child array.
    RemoveMeshFromScene(s, root, 0);
    ReleaseRadixSort();
    const int64_t bytes = e3dtest::MemoryStats().liveBytes;
    AttachChildToNode(&root->node, &child->node);
    ReleaseRadixSort();
    EXPECT_EQ(e3dtest::MemoryStats().liveBytes, bytes + int64_t(sizeof(E3DNode *)));
    EXPECT_EQ(root->sortCapacity, 30);
    DeleteMesh(other);
    DeleteMesh(root);
    DeleteScene(s);
    DeleteScene(t);
    leaks.Check();
}

TEST(Scene, AMeshHungUnderACameraRootsItsOwnTree) {
    e3dtest::Stage s(true);
    E3DMesh *parent = e3dtest::MakeQuadAt(-3, 0xFF0000), *child = e3dtest::MakeQuadAt(3, 0x00FF00);
    AttachChildToNode(&s.camera->node, &parent->node);
    EXPECT_EQ(AssignMeshToScene(s.scene, parent, 0), parent) << "the mesh, not the camera, is the root";
    EXPECT_EQ(s.scene->polygonTotal, 2);
    AttachChildToNode(&parent->node, &child->node);
    EXPECT_EQ(s.scene->polygonTotal, 4);
    EXPECT_EQ(s.scene->sortCapacity, 4);
    DrawScene(s.scene);
    EXPECT_EQ(s.scene->count, 4);
    EXPECT_TRUE(s.GuardsIntact());
    DetachChildFromNode(&parent->node, &child->node);
    EXPECT_EQ(s.scene->polygonTotal, 2);
    DeleteMesh(child);
}

TEST(Scene, FailedAllocationsLeaveTheSceneAsItWas) {
    LeakCheck leaks;
    E3DScene *scene = CreateScene();
    E3DMesh *mesh = e3dtest::MakeQuadAt(0, 0xFFFFFF);
    E3DCamera *camera = MakeCamera();
    E3DLight *light = MakeOmni();
    E3DMaterial *material = CreateMaterial(&mesh->defaultMaterial);
    E3DSkeleton *skeleton = CreateSkeleton();
    const std::function<int32_t()> assigns[] = {
        [&] { return AssignCameraToScene(scene, camera); }, [&] { return AssignLightToScene(scene, light, 1); },
        [&] { return AssignMaterialToScene(scene, material); },
        [&] { return AssignSkeletonToScene(scene, skeleton); }};
    for (const auto &assign : assigns) {
        HostMemoryFailNth(1);
        EXPECT_EQ(assign(), 0);
        HostMemoryFailNth(0);
    }
    for (int k : {1, 2}) {
        HostMemoryFailNth(k);
        EXPECT_EQ(AssignMeshToScene(scene, mesh, 0), nullptr) << "allocation " << k;
        HostMemoryFailNth(0);
        EXPECT_EQ(GetSceneNumberOfMeshes(scene), 0);
        EXPECT_EQ(scene->polygonTotal, 0);
    }
    EXPECT_EQ(GetSceneNumberOfCameras(scene) + GetSceneNumberOfLights(scene), 0);
    EXPECT_EQ(AssignMaterialToScene(scene, nullptr), 0);
    EXPECT_EQ(AssignMeshToScene(scene, mesh, 0), mesh);
    for (const auto &assign : assigns) EXPECT_EQ(assign(), 1);
    for (const auto &assign : assigns) EXPECT_EQ(assign(), 0) << "no duplicates";
    DeleteScene(scene);
    {
        e3dtest::Stage s(true);
        E3DMesh *a = e3dtest::MakeQuadAt(-3, 0xFF0000), *b = e3dtest::MakeQuadAt(3, 0x00FF00);
        AssignMeshToScene(s.scene, a, 0);
        AssignMeshToScene(s.scene, b, 0);
        // Removing a mesh resizes the list; when that allocation fails the
        // scene keeps no list until it gets one again.
        HostMemoryFailNth(1);
        RemoveMeshFromScene(s.scene, a, 0);
        HostMemoryFailNth(0);
        EXPECT_EQ(s.scene->polygonTotal, 2);
        E3DMesh *c = e3dtest::MakeQuadAt(0, 0x0000FF);
        ASSERT_EQ(AssignMeshToScene(s.scene, c, 0), c);
        EXPECT_EQ(s.scene->polygonTotal, 4) << "the total counts up from what the scene holds";
        EXPECT_EQ(s.scene->sortCapacity, 4);
        DrawScene(s.scene);
        EXPECT_EQ(s.scene->count, 4);
        EXPECT_TRUE(s.GuardsIntact());
        DeleteMesh(a);
    }
    leaks.Check();
}

TEST(Scene, ActiveCameraRules) {
    LeakCheck leaks;
    E3DScene *s = CreateScene();
    E3DCamera *c0 = MakeCamera(), *c1 = MakeCamera(), *c2 = MakeCamera();
    EXPECT_EQ(GetActiveSceneCamera(s), nullptr);
    AssignCameraToScene(s, c0);
    AssignCameraToScene(s, c1);
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
    EXPECT_EQ(RemoveCameraFromScene(s, c2), 0);
    RemoveCameraFromScene(nullptr, c1);
    EXPECT_EQ(s->activeCamera, -1);
    // The viewport's camera joins only when no camera is active.
    E3DViewport *v = CreateViewport(nullptr, 8, 8, 0, 1);
    SetViewportCamera(v, outsider);
    AssignCameraToScene(s, c0);
    SetActiveSceneCamera(s, c0);
    SetSceneViewport(s, v);
    EXPECT_EQ(GetSceneNumberOfCameras(s), 1);
    EXPECT_EQ(GetSceneViewport(s), v);
    SetActiveSceneCamera(s, nullptr);
    SetSceneViewport(s, v);
    EXPECT_EQ(GetActiveSceneCamera(s), outsider);
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
    E3DMesh *m = MakeStrip(1), *n = MakeStrip(1);
    AssignMeshToScene(s, m, 0);
    AssignMeshToScene(s, n, 0);
    E3DLight *l = MakeOmni();
    AssignLightToScene(s, l, 0);
    EXPECT_EQ(SearchMeshByIndex(s, 1), n);
    EXPECT_EQ(SearchMeshByIndex(s, 2), nullptr);
    EXPECT_EQ(SearchLightByIndex(s, -1), nullptr);
    EXPECT_EQ(SearchMeshByName(s, ""), nullptr) << "empty names never match";
    SetMeshName(n, "floor");
    EXPECT_EQ(SearchMeshByName(s, "floor"), n);
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
    AssignCameraToScene(s, MakeCamera());
    // Listed twice: the first deletion drops both entries.
    E3DMaterial *twice = CreateMaterial(GetMeshDefaultMaterial(bound));
    AssignMaterialToScene(s, twice);
    AddListElement(&s->materials, twice);
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
    AssignSkeletonToScene(w, CreateSkeleton());
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
