// Holders of deleted objects, found through the scene chain and the chains
// of live meshes, materials and viewports.
#include "scene/unhook.h"

#include <algorithm>
#include <cstddef>

#include "core/engine_state.h"
#include "core/live_objects.h"
#include "e3dhost.h"
#include "raster/raster.h"

namespace e3d {

namespace {

// Removes every copy of `object` from the list (the list removal would drop
// a stale last entry for an absent one, so it is tested first).
void DropFromList(E3DList &list, const void *object) {
    while (GetListElementIndex(&list, object) >= 0) {
        const int32_t count = list.count;
        RemoveListElement(&list, const_cast<void *>(object));
        if (list.count == count) break;
    }
}

template <class F>
void ForEachMaterialOfTheEngine(F f) {
    ForEachLive<E3DMaterial>(kLiveMaterial, f);
    ForEachLive<E3DMesh>(kLiveMesh, [&](E3DMesh *m) { f(&m->defaultMaterial); });
}

// Faces of every live mesh whose material is one that `gone` picks fall back
// to their own mesh's default material.
template <class Gone>
void RedirectFaces(Gone gone) {
    ForEachLive<E3DMesh>(kLiveMesh, [&](E3DMesh *m) {
        if (!m->polygons) return;
        for (int32_t i = 0; i < m->polygonCount; ++i) {
            E3DPolygon &p = m->polygons[i];
            if (p.material && gone(p.material)) p.material = &m->defaultMaterial;
            if (p.backMaterial && gone(p.backMaterial)) p.backMaterial = &m->defaultMaterial;
        }
    });
}

// Viewports and scene lists; the faces are the caller's.
void ForgetMaterialOutsideFaces(const E3DMaterial *material) {
    ForEachLive<E3DViewport>(kLiveViewport, [&](E3DViewport *v) {
        if (v->material == material) v->material = nullptr;
    });
    for (E3DScene *s = g_engine.sceneHead; s; s = s->next) DropFromList(s->materials, material);
}

}  // namespace

void ForgetMaterial(const E3DMaterial *material) {
    RedirectFaces([&](const E3DMaterial *used) { return used == material; });
    ForgetMaterialOutsideFaces(material);
}

void ForgetDefaultMaterials(const uintptr_t *freed, int32_t count) {
    if (count < 1) return;
    constexpr uintptr_t kOffset = offsetof(E3DMesh, defaultMaterial);
    RedirectFaces([&](const E3DMaterial *used) {
        const uintptr_t record = reinterpret_cast<uintptr_t>(used) - kOffset;
        return std::binary_search(freed, freed + count, record);
    });
}

void ForgetCamera(const E3DCamera *camera) {
    ForEachLive<E3DViewport>(kLiveViewport, [&](E3DViewport *v) {
        if (v->camera == camera) v->camera = nullptr;
    });
    if (CurrentCamera() == camera) SetRasterContext(CurrentViewport(), nullptr);
}

void ForgetLight(const E3DLight *light) {
    ForEachLive<E3DMesh>(kLiveMesh, [&](E3DMesh *m) {
        // Only the list itself: the tree walk of RemoveLightFromMesh would
        // visit children that are on the chain anyway.
        if (!m->lights) return;
        int w = 0;
        for (int r = 0; r < 64 && m->lights[r]; ++r) {
            if (m->lights[r] != light) m->lights[w++] = m->lights[r];
        }
        for (; w < 64 && m->lights[w]; ++w) m->lights[w] = nullptr;
    });
}

void ForgetSkeleton(const E3DSkeleton *skeleton) {
    for (E3DScene *s = g_engine.sceneHead; s; s = s->next) DropFromList(s->skeletons, skeleton);
    ForEachLive<E3DMesh>(kLiveMesh, [&](E3DMesh *m) {
        if (m->skeleton == skeleton) RemoveSkeletonFromMesh(m);
    });
}

void ForgetTexture(const E3DTexture *texture) {
    ForEachMaterialOfTheEngine([&](E3DMaterial *material) {
        for (uint32_t layer = 0; layer < 4; ++layer) {
            const E3DTextureLayer *block = GetMaterialTexture(material, layer);
            if (block->texture == texture || (block->pixels && block->pixels == texture->pixels))
                SetMaterialTexture(material, layer, nullptr, 0);
        }
    });
}

void FreeMeshRecord(E3DMesh *mesh, bool redirectFaces) {
    UnlinkLive(kLiveMesh, mesh);
    if (redirectFaces) ForgetMaterial(&mesh->defaultMaterial);
    else ForgetMaterialOutsideFaces(&mesh->defaultMaterial);
    FreeMemory(mesh);
}

}  // namespace e3d
