// Mesh display state: render, cull and shade modes down the node tree,
// hiding, and the plain accessors of the mesh record.
#include "engine3d.h"

#include "core/matrix.h"
#include "core/modes.h"
#include "core/node.h"

using e3d::IsMeshNode;
using e3d::NodeType;

namespace {

E3DMesh *AsMesh(E3DNode *n) { return reinterpret_cast<E3DMesh *>(n); }

}  // namespace

extern "C" E3D_API void SetMeshRenderMode(E3DNode *node, uint32_t mode) {
    if (!node) return;
    if (IsMeshNode(node)) {
        E3DMesh *m = AsMesh(node);
        // Dots, wire and solid clear the render bits above their own; any
        // texture layer bit turns every render bit on.
        switch (const uint32_t render = mode & ~e3d::kModifier) {
            case e3d::kRenderDots:
            case e3d::kRenderWire:
            case e3d::kRenderSolid:
                m->state = (m->state & ~((e3d::kRenderMask ^ render) | e3d::kModifier)) | render;
                break;
            default:
                if (mode & e3d::kLayerPresentMask) m->state = (m->state & ~e3d::kModifier) | e3d::kRenderMask;
                break;
        }
        m->state = (m->state & ~e3d::kModifier) | (mode & e3d::kModifier);
        SetMaterialRenderMode(&m->defaultMaterial, mode);
    }
    for (int i = 0; i < node->childCount; ++i) SetMeshRenderMode(node->children[i], mode);
}

extern "C" E3D_API uint32_t GetMeshRenderMode(const E3DMesh *mesh) { return mesh ? mesh->state & e3d::kRenderMask : 0; }

extern "C" E3D_API void SetMeshCullMode(E3DNode *node, uint32_t mode) {
    if (!node) return;
    uint32_t passed = mode;
    // Only ordinary validated meshes take a cull mode; billboards, deformed
    // and unvalidated meshes keep theirs but still pass it on.
    if (IsMeshNode(node) && AsMesh(node)->meshKind == e3d::kMeshOrdinary) {
        E3DMesh *m = AsMesh(node);
        m->state = (m->state & ~e3d::kCullMask) | (mode & e3d::kCullMask);
        passed = mode & e3d::kCullMask;
    }
    for (int i = 0; i < node->childCount; ++i) SetMeshCullMode(node->children[i], passed);
}

extern "C" E3D_API uint32_t GetMeshCullMode(const E3DMesh *mesh) { return mesh ? mesh->state & e3d::kCullMask : 0; }

extern "C" E3D_API void SetMeshShadeMode(E3DNode *node, uint32_t mode) {
    if (!node) return;
    uint32_t passed = mode;
    if (IsMeshNode(node)) {
        E3DMesh *m = AsMesh(node);
        m->state = (m->state & ~e3d::kShadeMask) | (mode & e3d::kShadeMask);
        SetMaterialShadeMode(&m->defaultMaterial, mode & e3d::kShadeMask);
        passed = mode & e3d::kShadeMask;
    }
    for (int i = 0; i < node->childCount; ++i) SetMeshShadeMode(node->children[i], passed);
}

extern "C" E3D_API uint32_t GetMeshShadeMode(const E3DMesh *mesh) { return mesh ? mesh->state & e3d::kShadeMask : 0; }

extern "C" E3D_API void HideMesh(E3DNode *node) {
    if (!node) return;
    if (IsMeshNode(node)) AsMesh(node)->state |= e3d::kMeshHidden;
    for (int i = 0; i < node->childCount; ++i) HideMesh(node->children[i]);
}

// Deliberately narrower than HideMesh: only type code 1 is shown again.
extern "C" E3D_API void ShowMesh(E3DNode *node) {
    if (!node) return;
    if (NodeType(node) == 1) AsMesh(node)->state &= ~e3d::kMeshHidden;
    for (int i = 0; i < node->childCount; ++i) ShowMesh(node->children[i]);
}

extern "C" E3D_API uint32_t IsHiddenMesh(const E3DMesh *mesh) { return mesh ? mesh->state & e3d::kMeshHidden : 0; }

extern "C" E3D_API E3DMesh *ActivateMesh(E3DMesh *mesh) {
    if (!mesh) return nullptr;
    mesh->state |= e3d::kMeshActive;
    return mesh;
}

extern "C" E3D_API void SetMeshFaceSmoothG(E3DMesh *mesh, int32_t index, int32_t group) {
    if (!mesh) return;
    if (index < 0 || index >= mesh->polygonCount || group < 0 || group >= 32) return;
    E3DPolygon &p = mesh->polygons[index];
    p.flags = (p.flags & ~(31u << e3d::kGroupShift)) | (uint32_t(group) << e3d::kGroupShift);
}

extern "C" E3D_API int32_t GetMeshFaceSmoothG(const E3DMesh *mesh, int32_t index) {
    if (!mesh) return 0;
    if (index < 0 || index >= mesh->polygonCount) return 0;
    return int32_t((mesh->polygons[index].flags >> e3d::kGroupShift) & 31u);
}

extern "C" E3D_API E3DMesh *SetMeshBillboardMode(E3DMesh *mesh, uint32_t mode) {
    if (!mesh) return nullptr;
    mesh->billboardMode = (mesh->billboardMode & ~31u) | (mode & 31u);
    return mesh;
}

extern "C" E3D_API E3DViewport *SetMeshViewport(E3DMesh *mesh, E3DViewport *viewport) {
    if (!mesh) return nullptr;
    mesh->viewport = viewport;
    return viewport;
}

extern "C" E3D_API E3DViewport *GetMeshViewport(const E3DMesh *mesh) { return mesh ? mesh->viewport : nullptr; }

extern "C" E3D_API E3DLight **GetMeshLightList(E3DMesh *mesh) {
    if (!mesh) return nullptr;
    return (mesh->lights && mesh->lights[0]) ? mesh->lights : nullptr;
}

extern "C" E3D_API E3DMesh *SetMeshModelOrientation(E3DMesh *mesh, float x, float y, float z) {
    if (!mesh) return nullptr;
    e3d::SetRotationFromAngles(mesh->modelMatrix, x, y, z);
    return mesh;
}

extern "C" E3D_API E3DMesh *SetMeshModelPosition(E3DMesh *mesh, float x, float y, float z) {
    if (!mesh) return nullptr;
    mesh->modelMatrix[3] = x;
    mesh->modelMatrix[7] = y;
    mesh->modelMatrix[11] = z;
    return mesh;
}

extern "C" E3D_API float *GetMeshModelPosition(const E3DMesh *mesh) {
    if (!mesh) return nullptr;
    // One buffer shared by all meshes: the next call overwrites it.
    static float position[3];
    position[0] = mesh->modelMatrix[3];
    position[1] = mesh->modelMatrix[7];
    position[2] = mesh->modelMatrix[11];
    return position;
}

extern "C" E3D_API E3DMesh *SetMeshPivot(E3DMesh *mesh, float x, float y, float z) {
    if (!mesh) return nullptr;
    mesh->pivot[0] = x;
    mesh->pivot[1] = y;
    mesh->pivot[2] = z;
    return mesh;
}

extern "C" E3D_API float *GetMeshPivot(E3DMesh *mesh) { return mesh ? mesh->pivot : nullptr; }

extern "C" E3D_API uintptr_t SetMeshTvObject(E3DMesh *mesh, uintptr_t value) {
    if (!mesh) return 0;
    mesh->hostObject = value;
    return value;
}

extern "C" E3D_API uintptr_t GetMeshTvObject(const E3DMesh *mesh) { return mesh ? mesh->hostObject : 0; }

extern "C" E3D_API E3DMaterial *GetMeshDefaultMaterial(E3DMesh *mesh) {
    if (!mesh) return nullptr;
    return &mesh->defaultMaterial;
}
