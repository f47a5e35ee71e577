// Scenes: the lists of what a frame draws, the scene chain through which
// object-wide operations find every scene holding an object, and the
// polygon list sized for all mesh trees of the scene.
#include "engine3d.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>

#include "core/modes.h"
#include "core/engine_state.h"
#include "core/node.h"
#include "e3dhost.h"
#include "scene/mesh.h"
#include "scene/scene_links.h"
#include "scene/unhook.h"

using e3d::g_engine;

namespace {

void DefaultSceneCallback(E3DScene *) {}

bool Holds(const E3DList &list, const void *object) { return GetListElementIndex(&list, object) >= 0; }

using e3d::InstallSceneBuffer;
using e3d::NewSceneBuffer;

uint32_t TotalOf(const E3DScene *scene) { return scene->polygonTotal > 0 ? uint32_t(scene->polygonTotal) : 0; }

// Frees and reallocates the scene's polygon list for its total, reset to the
// identity order. Guard: when memory runs out the scene keeps no list and
// draws nothing until it gets one.
void ResizeSceneBuffer(E3DScene *scene) {
    InstallSceneBuffer(scene, nullptr, 0);
    InstallSceneBuffer(scene, NewSceneBuffer(TotalOf(scene)), TotalOf(scene));
}

E3DMesh *RootMesh(E3DMesh *mesh) { return reinterpret_cast<E3DMesh *>(e3d::MeshTreeRoot(&mesh->node)); }

bool NameMatches(const char *name, size_t size, const char *text) {
    return text && name && name[0] != '\0' && std::strncmp(name, text, size) == 0;
}

template <class T>
T *ByIndex(const E3DList &list, int32_t index) {
    return (index >= 0 && index < list.count) ? static_cast<T *>(list.items[index]) : nullptr;
}

void UnlinkScene(E3DScene *scene) {
    if (g_engine.sceneHead == scene) {
        g_engine.sceneHead = scene->next;
        if (g_engine.sceneTail == scene) g_engine.sceneTail = nullptr;
        if (g_engine.sceneHead) g_engine.sceneHead->prev = nullptr;
        scene->next = scene->prev = nullptr;
    } else if (g_engine.sceneTail == scene) {
        g_engine.sceneTail = scene->prev;
        if (g_engine.sceneTail) g_engine.sceneTail->next = nullptr;
        scene->next = scene->prev = nullptr;
    } else {
        for (E3DScene *s = g_engine.sceneHead; s; s = s->next) {
            if (s == scene) {
                if (scene->prev) scene->prev->next = scene->next;
                if (scene->next) scene->next->prev = scene->prev;
                break;
            }
        }
    }
}

void FreeScene(E3DScene *scene) {
    UnlinkScene(scene);
    if (scene->workBuffer) FreeMemory(scene->workBuffer);
    if (scene->sortBuffer) FreeMemory(scene->sortBuffer);
    for (E3DList *list : {&scene->meshes, &scene->cameras, &scene->lights, &scene->materials, &scene->skeletons}) {
        if (list->items) FreeMemory(list->items);
    }
    FreeMemory(scene);
}

// Removal that keeps activeCamera pointing at a camera of the list.
int32_t RemoveCameraKeepingActive(E3DScene *scene, E3DCamera *camera) {
    const int32_t index = GetListElementIndex(&scene->cameras, camera);
    if (index < 0) return 0;
    const int32_t active = scene->activeCamera;
    RemoveListElement(&scene->cameras, camera);
    if (scene->cameras.count == 0) {
        scene->activeCamera = -1;
    } else if (index == active || scene->cameras.count <= active) {
        scene->activeCamera = 0;
    }
    return 1;
}

}  // namespace

namespace e3d {

uint32_t *NewSceneBuffer(uint32_t n) {
    const uint64_t bytes = SortBufferBytes(n);
    auto *buffer = bytes <= 0xFFFFFFFFull ? static_cast<uint32_t *>(AllocateMemory(uint32_t(bytes ? bytes : 4))) : nullptr;
    if (buffer) ResetRadixSort(n, buffer);
    return buffer;
}

void InstallSceneBuffer(E3DScene *scene, uint32_t *buffer, uint32_t n) {
    if (scene->sortBuffer) FreeMemory(scene->sortBuffer);
    scene->sortBuffer = buffer;
    scene->sortEntries = buffer ? SortEntriesOf(buffer, n) : nullptr;
    scene->sortCapacity = buffer ? int32_t(n) : 0;
}

void RemoveMeshFromAllScenes(E3DMesh *mesh, int32_t flags) { RemoveMeshFromScene(nullptr, mesh, flags); }

bool ResizeScenesHoldingRoot(E3DMesh *root, int32_t delta) {
    bool held = false;
    for (E3DScene *s = g_engine.sceneHead; s; s = s->next) {
        if (!Holds(s->meshes, root)) continue;
        held = true;
        s->flags &= ~1u;
        s->polygonTotal += delta;
        ResizeSceneBuffer(s);
        s->flags |= 1u;
    }
    return held;
}

}  // namespace e3d

extern "C" E3D_API E3DScene *CreateScene(void) {
    auto *s = static_cast<E3DScene *>(AllocateMemory(sizeof(E3DScene)));
    if (!s) return nullptr;
    std::memset(s, 0, sizeof *s);
    s->activeCamera = -1;
    s->callback = DefaultSceneCallback;
    s->prev = g_engine.sceneTail;
    if (g_engine.sceneTail) g_engine.sceneTail->next = s;
    else g_engine.sceneHead = s;
    g_engine.sceneTail = s;
    return s;
}

extern "C" E3D_API E3DMesh *AssignMeshToScene(E3DScene *scene, E3DMesh *mesh, uint32_t flags) {
    if (!scene || !mesh || !(mesh->state & e3d::kMeshActive)) return nullptr;
    E3DMesh *root = RootMesh(mesh);
    if (Holds(scene->meshes, root)) return nullptr;
    // The new list and the list slot are had first: when either cannot be
    // had the scene stays as it was and the mesh is not added. The total
    // counts up from what the scene holds (a fresh scene holds 0).
    const int32_t total = scene->polygonTotal + root->treePolygonCount;
    const uint32_t n = total > 0 ? uint32_t(total) : 0;
    uint32_t *buffer = NewSceneBuffer(n);
    if (!buffer) return nullptr;
    const int32_t listed = scene->meshes.count;
    AddListElement(&scene->meshes, root);
    if (scene->meshes.count == listed) {
        FreeMemory(buffer);
        return nullptr;
    }
    scene->flags &= ~1u;
    scene->polygonTotal = total;
    InstallSceneBuffer(scene, buffer, n);
    scene->vertexTotal += root->vertexCount;
    e3d::FreeSortBuffer(root);  // a mesh in a scene sorts through the scene's list
    if (flags & 1u) {
        for (int32_t i = 0; i < scene->lights.count; ++i)
            AssignLightToMesh(static_cast<E3DLight *>(scene->lights.items[i]), &root->node);
    }
    scene->flags |= 1u;
    return root;
}

extern "C" E3D_API int32_t RemoveMeshFromScene(E3DScene *scene, E3DMesh *mesh, uint32_t flags) {
    if (!mesh) return 0;
    if (!scene) {
        for (E3DScene *s = g_engine.sceneHead; s;) {
            E3DScene *next = s->next;
            RemoveMeshFromScene(s, mesh, flags);
            s = next;
        }
        return 1;
    }
    if (!Holds(scene->meshes, mesh)) return 0;
    scene->flags &= ~1u;
    scene->polygonTotal -= mesh->treePolygonCount;
    ResizeSceneBuffer(scene);
    scene->vertexTotal -= mesh->vertexCount;
    RemoveListElement(&scene->meshes, mesh);
    e3d::ReplaceSortBuffer(mesh, mesh->treePolygonCount);
    if (flags & 1u) {
        for (int32_t i = 0; i < scene->lights.count; ++i)
            RemoveLightFromMesh(static_cast<E3DLight *>(scene->lights.items[i]), &mesh->node);
    }
    scene->flags |= 1u;
    return 1;
}

extern "C" E3D_API int32_t IsMeshAssigned(const E3DMesh *mesh) {
    if (!mesh) return 0;
    for (E3DScene *s = g_engine.sceneHead; s; s = s->next)
        if (Holds(s->meshes, mesh)) return 1;
    return 0;
}

namespace {

// 1 when added; 0 when already there or when the list could not grow.
int32_t AssignTo(E3DList &list, void *object) {
    if (!object || Holds(list, object)) return 0;  // Guard: no null entries
    const int32_t count = list.count;
    AddListElement(&list, object);
    return list.count > count ? 1 : 0;
}

int32_t RemoveFrom(E3DList &list, void *object) {
    if (!Holds(list, object)) return 0;
    RemoveListElement(&list, object);
    return 1;
}

}  // namespace

extern "C" E3D_API int32_t AssignSkeletonToScene(E3DScene *scene, E3DSkeleton *skeleton) {
    return scene ? AssignTo(scene->skeletons, skeleton) : 0;
}

extern "C" E3D_API int32_t AssignCameraToScene(E3DScene *scene, E3DCamera *camera) {
    return scene ? AssignTo(scene->cameras, camera) : 0;
}

extern "C" E3D_API int32_t AssignMaterialToScene(E3DScene *scene, E3DMaterial *material) {
    return scene ? AssignTo(scene->materials, material) : 0;
}

extern "C" E3D_API int32_t AssignLightToScene(E3DScene *scene, E3DLight *light, uint32_t flags) {
    if (!scene || !AssignTo(scene->lights, light)) return 0;
    if (flags & 1u) {
        for (int32_t i = 0; i < scene->meshes.count; ++i)
            AssignLightToMesh(light, &static_cast<E3DMesh *>(scene->meshes.items[i])->node);
    }
    return 1;
}

extern "C" E3D_API int32_t RemoveSkeletonFromScene(E3DScene *scene, E3DSkeleton *skeleton) {
    if (!skeleton) return 0;
    if (!scene) {
        for (E3DScene *s = g_engine.sceneHead; s; s = s->next) RemoveFrom(s->skeletons, skeleton);
        return 1;
    }
    return RemoveFrom(scene->skeletons, skeleton);
}

extern "C" E3D_API int32_t RemoveCameraFromScene(E3DScene *scene, E3DCamera *camera) {
    if (!camera) return 0;
    if (!scene) {
        for (E3DScene *s = g_engine.sceneHead; s; s = s->next) RemoveCameraKeepingActive(s, camera);
        return 1;
    }
    return RemoveCameraKeepingActive(scene, camera);
}

extern "C" E3D_API int32_t RemoveLightFromScene(E3DScene *scene, E3DLight *light) {
    if (!light) return 0;
    if (!scene) {
        for (E3DScene *s = g_engine.sceneHead; s; s = s->next) RemoveLightFromScene(s, light);
        return 1;
    }
    if (!RemoveFrom(scene->lights, light)) return 0;
    for (int32_t i = 0; i < scene->meshes.count; ++i)
        RemoveLightFromMesh(light, &static_cast<E3DMesh *>(scene->meshes.items[i])->node);
    return 1;
}

extern "C" E3D_API int32_t RemoveMaterialFromScene(E3DScene *scene, E3DMaterial *material) {
    return scene ? RemoveFrom(scene->materials, material) : 0;
}

extern "C" E3D_API void SetActiveSceneCamera(E3DScene *scene, E3DCamera *camera) {
    if (!scene) return;
    if (!camera) {
        scene->activeCamera = -1;
        return;
    }
    const int32_t index = GetListElementIndex(&scene->cameras, camera);
    if (index >= 0) scene->activeCamera = index;
}

extern "C" E3D_API E3DCamera *GetActiveSceneCamera(const E3DScene *scene) {
    if (!scene) return nullptr;
    return ByIndex<E3DCamera>(scene->cameras, scene->activeCamera);
}

extern "C" E3D_API void SetSceneViewport(E3DScene *scene, E3DViewport *viewport) {
    if (!scene) return;
    scene->viewport = viewport;
    if (!viewport || scene->activeCamera != -1 || !viewport->camera) return;
    AssignTo(scene->cameras, viewport->camera);
    SetActiveSceneCamera(scene, viewport->camera);
}

extern "C" E3D_API E3DViewport *GetSceneViewport(const E3DScene *scene) { return scene ? scene->viewport : nullptr; }

extern "C" E3D_API int32_t GetSceneNumberOfMeshes(const E3DScene *scene) { return scene ? scene->meshes.count : 0; }
extern "C" E3D_API int32_t GetSceneNumberOfCameras(const E3DScene *scene) { return scene ? scene->cameras.count : 0; }
extern "C" E3D_API int32_t GetSceneNumberOfLights(const E3DScene *scene) { return scene ? scene->lights.count : 0; }
extern "C" E3D_API int32_t GetSceneNumberOfVisibleMeshes(const E3DScene *scene) {
    return scene ? scene->visibleMeshCount : 0;
}

extern "C" E3D_API E3DMesh *SearchMeshByIndex(const E3DScene *scene, int32_t index) {
    if (!scene) return nullptr;
    return ByIndex<E3DMesh>(scene->meshes, index);
}
extern "C" E3D_API E3DCamera *SearchCameraByIndex(const E3DScene *scene, int32_t index) {
    if (!scene) return nullptr;
    return ByIndex<E3DCamera>(scene->cameras, index);
}
extern "C" E3D_API E3DLight *SearchLightByIndex(const E3DScene *scene, int32_t index) {
    if (!scene) return nullptr;
    return ByIndex<E3DLight>(scene->lights, index);
}
extern "C" E3D_API E3DMaterial *SearchMaterialByIndex(const E3DScene *scene, int32_t index) {
    if (!scene) return nullptr;
    return ByIndex<E3DMaterial>(scene->materials, index);
}

namespace {

template <class T, class NameOf>
T *ByName(const E3DList &list, const char *text, NameOf nameOf) {
    for (int32_t i = 0; i < list.count; ++i) {
        T *object = static_cast<T *>(list.items[i]);
        size_t size = 0;
        const char *name = nameOf(object, size);
        if (NameMatches(name, size, text)) return object;
    }
    return nullptr;
}

}  // namespace

extern "C" E3D_API E3DMesh *SearchMeshByName(const E3DScene *scene, const char *name) {
    if (!scene || !name) return nullptr;
    return ByName<E3DMesh>(scene->meshes, name, [](E3DMesh *m, size_t &n) { n = sizeof m->name; return m->name; });
}
extern "C" E3D_API E3DCamera *SearchCameraByName(const E3DScene *scene, const char *name) {
    if (!scene || !name) return nullptr;
    return ByName<E3DCamera>(scene->cameras, name, [](E3DCamera *c, size_t &n) { n = sizeof c->name; return c->name; });
}
extern "C" E3D_API E3DLight *SearchLightByName(const E3DScene *scene, const char *name) {
    if (!scene || !name) return nullptr;
    return ByName<E3DLight>(scene->lights, name, [](E3DLight *l, size_t &n) { n = sizeof l->name; return l->name; });
}
extern "C" E3D_API E3DMaterial *SearchMaterialByName(const E3DScene *scene, const char *name) {
    if (!scene || !name) return nullptr;
    return ByName<E3DMaterial>(scene->materials, name, [](E3DMaterial *m, size_t &n) {
        n = sizeof m->tail.named.name;
        return m->tail.named.name;
    });
}
extern "C" E3D_API E3DSkeleton *SearchSkeletonByName(const E3DScene *scene, const char *name) {
    if (!scene || !name) return nullptr;
    // A skeleton goes by its root bone's name.
    return ByName<E3DSkeleton>(scene->skeletons, name, [](E3DSkeleton *s, size_t &n) {
        n = 32;
        return (s->boneCount > 0 && s->boneNames) ? s->boneNames[0] : static_cast<const char *>(nullptr);
    });
}

namespace {

// Empties a list from its front, as many times as it held entries when the
// deletion started: `take` removes the object from the scene, `destroy`
// deletes it when it is to go.
template <class T, class Take, class Destroy>
void EmptyFromFront(E3DList &list, Take take, Destroy destroy) {
    for (int32_t n = list.count; n > 0 && list.count > 0; --n) {
        T *object = static_cast<T *>(list.items[0]);
        take(object);
        destroy(object);
    }
}

// The mesh step of both deletes: every mesh, in list order, is taken out of
// the scene as RemoveMeshFromScene(scene, mesh, 1) takes it, then deleted
// unless bound to a host object. Done as one batch: the list is let go
// whole, the scene's polygon list is not rebuilt after each mesh (the scene
// is freed next), a deleted mesh gets no sort buffer back, and the faces that
// used a deleted mesh's default material are found in one walk at the end.
// Without memory for the batch, mesh by mesh from the front.
void EmptyMeshes(E3DScene *scene) {
    const E3DList taken = scene->meshes;
    // Room for the meshes and for the bounding boxes freed with them.
    const uint64_t bytes = uint64_t(taken.count) * 2 * sizeof(uintptr_t);
    auto *order = taken.count > 0 && bytes <= 0xFFFFFFFFull ? static_cast<uintptr_t *>(AllocateMemory(uint32_t(bytes)))
                                                           : nullptr;
    if (!order) {
        EmptyFromFront<E3DMesh>(scene->meshes, [&](E3DMesh *m) { RemoveMeshFromScene(scene, m, 1); },
                                [](E3DMesh *m) { if (!m->hostObject) DeleteMesh(m); });
        return;
    }
    // Sorted addresses tagged as they go: bit 0 taken out (a listed twice
    // mesh goes once), bit 1 deleted. Records are aligned to at least 4.
    constexpr uintptr_t kTaken = 1, kDeleted = 2, kTags = 3;
    for (int32_t i = 0; i < taken.count; ++i) order[i] = reinterpret_cast<uintptr_t>(taken.items[i]);
    std::sort(order, order + taken.count);
    const auto find = [&](uintptr_t record) -> uintptr_t & {
        return *std::lower_bound(order, order + taken.count, record,
                                 [](uintptr_t entry, uintptr_t key) { return (entry & ~kTags) < key; });
    };
    scene->meshes = E3DList{0, 0, nullptr};
    scene->flags &= ~1u;
    InstallSceneBuffer(scene, nullptr, 0);
    uintptr_t *boxes = order + taken.count;
    int32_t boxCount = 0;
    for (int32_t i = 0; i < taken.count; ++i) {
        auto *m = static_cast<E3DMesh *>(taken.items[i]);
        uintptr_t &entry = find(reinterpret_cast<uintptr_t>(m));
        if (entry & kTaken) continue;
        entry |= kTaken;
        scene->polygonTotal -= m->treePolygonCount;
        scene->vertexTotal -= m->vertexCount;
        for (int32_t l = 0; l < scene->lights.count; ++l)
            RemoveLightFromMesh(static_cast<E3DLight *>(scene->lights.items[l]), &m->node);
        if (m->hostObject) {
            e3d::ReplaceSortBuffer(m, m->treePolygonCount);
        } else {
            if (m->boundingBox) boxes[boxCount++] = reinterpret_cast<uintptr_t>(m->boundingBox);
            e3d::DeleteMeshRecord(m, false);
            entry |= kDeleted;
        }
    }
    // The set the faces are checked against: the deleted records and their boxes.
    int32_t freed = 0;
    for (int32_t i = 0; i < taken.count; ++i)
        if (order[i] & kDeleted) order[freed++] = order[i] & ~kTags;
    for (int32_t i = 0; i < boxCount; ++i) order[freed++] = boxes[i];
    std::sort(order, order + freed);
    e3d::ForgetDefaultMaterials(order, freed);
    FreeMemory(order);
    if (taken.items) FreeMemory(taken.items);
    InstallSceneBuffer(scene, NewSceneBuffer(TotalOf(scene)), TotalOf(scene));
    scene->flags |= 1u;
}

}  // namespace

extern "C" E3D_API void DeleteScene(E3DScene *scene) {
    if (!scene) return;
    EmptyMeshes(scene);
    EmptyFromFront<E3DLight>(scene->lights, [&](E3DLight *l) { RemoveLightFromScene(scene, l); },
                             [](E3DLight *l) { if (!l->hostObject) DeleteLight(l); });
    EmptyFromFront<E3DMaterial>(scene->materials, [&](E3DMaterial *m) { RemoveFrom(scene->materials, m); },
                                [](E3DMaterial *m) { if (!m->hostObject) DeleteMaterial(m); });
    EmptyFromFront<E3DCamera>(scene->cameras, [&](E3DCamera *c) { RemoveCameraKeepingActive(scene, c); },
                              [](E3DCamera *c) { if (!c->hostObject) DeleteCamera(c); });
    EmptyFromFront<E3DSkeleton>(scene->skeletons, [&](E3DSkeleton *k) { RemoveFrom(scene->skeletons, k); },
                                [](E3DSkeleton *k) { if (!k->hostObject) DeleteSkeleton(k); });
    FreeScene(scene);
}

// Everything goes, bound or not (bound meshes are only taken out).
extern "C" E3D_API void DeleteWholeScene(E3DScene *scene) {
    if (!scene) return;
    EmptyFromFront<E3DMaterial>(scene->materials, [&](E3DMaterial *m) { RemoveFrom(scene->materials, m); },
                                DeleteMaterial);
    EmptyFromFront<E3DCamera>(
        scene->cameras,
        [&](E3DCamera *c) {
            RemoveFrom(scene->cameras, c);
            SetActiveSceneCamera(scene, scene->cameras.count ? static_cast<E3DCamera *>(scene->cameras.items[0])
                                                             : nullptr);
        },
        DeleteCamera);
    EmptyMeshes(scene);
    EmptyFromFront<E3DLight>(scene->lights, [&](E3DLight *l) { RemoveLightFromScene(scene, l); }, DeleteLight);
    EmptyFromFront<E3DSkeleton>(scene->skeletons, [&](E3DSkeleton *k) { RemoveFrom(scene->skeletons, k); },
                                DeleteSkeleton);
    FreeScene(scene);
}
