// Mesh record and building: one-block meshes made with their counts, and
// incremental meshes grown one vertex and one triangle at a time.
#include "scene/mesh.h"

#include <cstring>

#include "core/live_objects.h"
#include "core/matrix.h"
#include "core/modes.h"
#include "core/names.h"
#include "core/node.h"
#include "core/normals.h"
#include "e3dhost.h"
#include "scene/bounding_volume.h"
#include "scene/node_tree.h"
#include "scene/scene_links.h"
#include "scene/unhook.h"

namespace e3d {

namespace {

constexpr int kLightSlots = 64;
constexpr size_t kSpareBytes = 4096;

constexpr uint64_t AlignUp(uint64_t n, uint64_t a) { return (n + a - 1) / a * a; }

// One-block layout: record, vertices, vertex flag words, polygons, light
// list, spare bytes. The block is exactly the size those parts add up to;
// the spare vertex and polygon records that take the one-past-the-end writes
// of the setters are carved out of the spare bytes, right behind their
// arrays, so such a write lands in the mesh's own memory and changes nothing
// else.
struct BlockLayout {
    size_t vertices, flags, polygons, lights, total;
};

constexpr size_t kSpareRecordBytes =
    sizeof(E3DVertex) + alignof(E3DPolygon) + sizeof(E3DPolygon) + alignof(E3DLight *);
static_assert(kSpareRecordBytes <= kSpareBytes, "the spare bytes must hold one vertex and one polygon record");

bool Layout(uint32_t vertexCount, uint32_t polygonCount, BlockLayout &l) {
    const uint64_t flagWords = (uint64_t(vertexCount) + 31) / 32;
    const uint64_t arrays = uint64_t(vertexCount) * sizeof(E3DVertex) + flagWords * sizeof(uint32_t) +
                            uint64_t(polygonCount) * sizeof(E3DPolygon);
    uint64_t at = AlignUp(sizeof(E3DMesh), alignof(E3DVertex));
    l.vertices = size_t(at);
    at += (uint64_t(vertexCount) + 1) * sizeof(E3DVertex);
    l.flags = size_t(at);
    at = AlignUp(at + flagWords * sizeof(uint32_t), alignof(E3DPolygon));
    l.polygons = size_t(at);
    at += (uint64_t(polygonCount) + 1) * sizeof(E3DPolygon);
    at = AlignUp(at, alignof(E3DLight *));
    l.lights = size_t(at);
    const uint64_t total = sizeof(E3DMesh) + arrays + kLightSlots * sizeof(E3DLight *) + kSpareBytes;
    l.total = size_t(total);
    return total <= 0xFFFFFFFFull && at + kLightSlots * sizeof(E3DLight *) <= total;
}

void InitRecord(E3DMesh *m, uint32_t colour) {
    m->node.type = E3D_NODE_MESH;
    m->node.childCount = 0;
    m->node.parent = nullptr;
    m->node.children = nullptr;
    m->meshKind = kMeshUnvalidated;
    m->state = kMeshInitialState;
    m->billboardMode = 0;
    SetIdentity(m->modelMatrix);
    SetIdentity(m->baseMatrix);
    SetIdentity(m->worldMatrix);
    SetIdentity(m->auxMatrix);
    std::memset(&m->defaultMaterial, 0, sizeof m->defaultMaterial);
    m->defaultMaterial.mode = kDefaultMaterialMode;
    float *c = MaterialColor(&m->defaultMaterial, 0);
    c[0] = float((colour >> 16) & 255u);
    c[1] = float((colour >> 8) & 255u);
    c[2] = float(colour & 255u);
    c[3] = 255.0f;
    m->name[0] = '\0';
}

// Grows an incrementally built array by one record (plus the spare slot).
template <class T>
T *GrowByOne(T *old, int32_t count) {
    const uint64_t bytes = (uint64_t(count) + 2) * sizeof(T);
    if (bytes > 0xFFFFFFFFull) return nullptr;
    T *grown = static_cast<T *>(AllocateMemory(uint32_t(bytes)));
    if (!grown) return nullptr;
    std::memset(grown, 0, (size_t(count) + 2) * sizeof(T));
    if (old && count > 0) std::memcpy(grown, old, size_t(count) * sizeof(T));
    if (old) FreeMemory(old);
    return grown;
}

bool HasRepeatedCorner(const E3DPolygon &p) {
    return p.vertex[0] == p.vertex[1] || p.vertex[1] == p.vertex[2] || p.vertex[0] == p.vertex[2];
}

uint32_t PolygonFlags(uint32_t base, int32_t group) {
    // Groups of 32 and above are dropped; a negative one is shifted in as is.
    return group < 32 ? base | (uint32_t(group) << kGroupShift) : base;
}

bool ValidVertex(const E3DMesh *m, int32_t i) { return i >= 0 && i < m->vertexCount; }

void FreeBoundingBox(E3DMesh *mesh, bool redirectFaces = true) {
    E3DMesh *box = mesh->boundingBox;
    if (!box) return;
    if (box->sortBuffer) FreeMemory(box->sortBuffer);
    if (box->vertexNormals) FreeMemory(box->vertexNormals);  // only if a host gave it normals
    FreeMeshRecord(box, redirectFaces);
    mesh->boundingBox = nullptr;
}

}  // namespace

E3DSortEntry *SortEntriesOf(uint32_t *buffer, uint32_t n) {
    return reinterpret_cast<E3DSortEntry *>(reinterpret_cast<char *>(buffer) + SortIndexBytes(n));
}

uint32_t *NewSortBuffer(int32_t count) {
    const uint64_t bytes = SortBufferBytes(count > 0 ? uint32_t(count) : 0);
    return bytes <= 0xFFFFFFFFull ? static_cast<uint32_t *>(AllocateMemory(uint32_t(bytes))) : nullptr;
}

void ReplaceSortBuffer(E3DMesh *mesh, int32_t count) {
    if (uint32_t *buffer = NewSortBuffer(count)) InstallSortBuffer(mesh, buffer, count);
}

void InstallSortBuffer(E3DMesh *mesh, uint32_t *buffer, int32_t count) {
    const uint32_t n = count > 0 ? uint32_t(count) : 0;
    if (mesh->sortBuffer) FreeMemory(mesh->sortBuffer);
    mesh->sortBuffer = buffer;
    // A null sortEntries is what marks a mesh still being grown; a grown
    // mesh hung in a tree keeps that mark (and draws nothing) until it is
    // validated.
    if (mesh->sortEntries) mesh->sortEntries = SortEntriesOf(buffer, n);
    mesh->sortCapacity = int32_t(n);
    ResetRadixSort(n, buffer);
}

void FreeSortBuffer(E3DMesh *mesh) {
    if (mesh->sortBuffer) FreeMemory(mesh->sortBuffer);
    mesh->sortBuffer = nullptr;
    mesh->sortCapacity = 0;
    // sortEntries keeps marking a one-block mesh; it must not be used without
    // a buffer, and draws check the capacity.
}

void ReleaseMesh(E3DMesh *mesh, bool redirectFaces) {
    if (mesh->hostObject) return;
    if (!mesh->sortEntries) {
        if (mesh->polygons) FreeMemory(mesh->polygons);
        if (mesh->vertices) FreeMemory(mesh->vertices);
    }
    FreeBoundingBox(mesh, redirectFaces);
    if (mesh->vertexNormals) FreeMemory(mesh->vertexNormals);
    if (mesh->sortBuffer) FreeMemory(mesh->sortBuffer);
    if (mesh->skinWeights) FreeMemory(mesh->skinWeights);
    if (mesh->node.children) FreeMemory(mesh->node.children);
    FreeMeshRecord(mesh, redirectFaces);
}

void DeleteMeshRecord(E3DMesh *mesh, bool redirectFaces) {
    RemoveMeshFromAllScenes(mesh, 1);
    if (mesh->node.parent) DetachChildFromNode(mesh->node.parent, &mesh->node);
    if (mesh->node.childCount > 0) DetachAllChildren(&mesh->node);
    mesh->hostObject = 0;
    ReleaseMesh(mesh, redirectFaces);
}

void RefreshMeshMatrices(E3DMesh *mesh) {
    mesh->state &= ~(kMeshOutsideView | kMeshCrossesDepth);
    float *w = mesh->worldMatrix;
    const float *m = mesh->modelMatrix, *b = mesh->baseMatrix;
    w[3] = m[3] + b[3];
    w[7] = m[7] + b[7];
    w[11] = m[11] + b[11];
    MultiplyRotations(w, m, b);
}

}  // namespace e3d

using namespace e3d;

extern "C" E3D_API E3DMesh *CreateMesh(int32_t vertexCount, int32_t polygonCount, uint32_t colour) {
    E3DMesh *m;
    if (vertexCount > 0 && polygonCount > 0) {
        BlockLayout l;
        if (!Layout(uint32_t(vertexCount), uint32_t(polygonCount), l)) return nullptr;
        const uint64_t sortBytes = SortBufferBytes(uint32_t(polygonCount));
        if (sortBytes > 0xFFFFFFFFull) return nullptr;
        auto *block = static_cast<char *>(AllocateMemory(uint32_t(l.total)));
        if (!block) return nullptr;
        auto *sort = static_cast<uint32_t *>(AllocateMemory(uint32_t(sortBytes)));
        if (!sort) {
            FreeMemory(block);
            return nullptr;
        }
        // Every byte starts at zero: vertex and polygon slots the host has
        // not set yet hold nothing stale.
        std::memset(block, 0, l.total);
        m = reinterpret_cast<E3DMesh *>(block);
        m->vertices = reinterpret_cast<E3DVertex *>(block + l.vertices);
        m->vertexFlags = reinterpret_cast<uint32_t *>(block + l.flags);
        m->polygons = reinterpret_cast<E3DPolygon *>(block + l.polygons);
        m->lights = reinterpret_cast<E3DLight **>(block + l.lights);
        m->vertexCount = vertexCount;
        m->polygonCount = polygonCount;
        m->treePolygonCount = polygonCount;
        m->sortBuffer = sort;
        m->sortEntries = SortEntriesOf(sort, uint32_t(polygonCount));
        m->sortCapacity = polygonCount;
        ResetRadixSort(uint32_t(polygonCount), sort);
    } else if (vertexCount == 0 && polygonCount == 0) {
        m = static_cast<E3DMesh *>(AllocateMemory(sizeof(E3DMesh)));
        if (!m) return nullptr;
        std::memset(m, 0, sizeof *m);
    } else {
        return nullptr;
    }
    InitRecord(m, colour);
    LinkLive(kLiveMesh, m);
    return m;
}

extern "C" E3D_API int32_t AddMeshVertex(E3DMesh *mesh, float x, float y, float z) {
    if (!mesh || mesh->sortEntries) return 0;
    E3DVertex *grown = GrowByOne(mesh->vertices, mesh->vertexCount);
    if (!grown) return 0;  // Guard: the mesh stays as it was
    mesh->vertices = grown;
    E3DVertex &v = grown[mesh->vertexCount++];
    v.position[0] = x;
    v.position[1] = y;
    v.position[2] = z;
    return 1;
}

extern "C" E3D_API int32_t SetMeshVertex(E3DMesh *mesh, int32_t index, float x, float y, float z) {
    // index == vertexCount is admitted: it lands in the spare vertex record.
    if (!mesh || index < 0 || index > mesh->vertexCount || !mesh->vertices) return 0;
    E3DVertex &v = mesh->vertices[index];
    v.position[0] = x;
    v.position[1] = y;
    v.position[2] = z;
    return 1;
}

extern "C" E3D_API int32_t SetMeshTriPolygon(E3DMesh *mesh, int32_t index, int32_t a, int32_t b, int32_t c,
                                             int32_t, int32_t group) {
    if (!mesh || index < 0 || index >= mesh->polygonCount) return 0;
    if (!ValidVertex(mesh, a) || !ValidVertex(mesh, b) || !ValidVertex(mesh, c)) return 0;
    if (a == b || b == c || a == c) return 0;
    E3DPolygon &p = mesh->polygons[index];
    p.vertex[0] = c;
    p.vertex[1] = b;
    p.vertex[2] = a;
    p.material = &mesh->defaultMaterial;
    p.backMaterial = &mesh->defaultMaterial;
    p.flags = PolygonFlags(kTriangleFlags, group);
    return 1;
}

extern "C" E3D_API int32_t AddMeshTriPolygon(E3DMesh *mesh, int32_t a, int32_t b, int32_t c, int32_t spare,
                                             int32_t group) {
    if (!mesh || mesh->sortEntries) return 0;
    E3DPolygon *grown = GrowByOne(mesh->polygons, mesh->polygonCount);
    if (!grown) return 0;
    mesh->polygons = grown;
    mesh->polygonCount += 1;
    return SetMeshTriPolygon(mesh, mesh->polygonCount - 1, a, b, c, spare, group);
}

extern "C" E3D_API int32_t SetMeshQuadPolygon(E3DMesh *mesh, int32_t index, int32_t a, int32_t b, int32_t c,
                                              int32_t d, int32_t, int32_t group) {
    if (!mesh || index < 0 || index >= mesh->polygonCount - 1) return 0;  // index + 1 must be a polygon too
    if (!ValidVertex(mesh, a) || !ValidVertex(mesh, b) || !ValidVertex(mesh, c) || !ValidVertex(mesh, d)) return 0;
    if (a == b || a == c || a == d || b == c || b == d || c == d) return 0;
    // Two triangles on the diagonal b-d, whose edge is hidden in both.
    E3DPolygon &p = mesh->polygons[index];
    p.vertex[0] = d;
    p.vertex[1] = b;
    p.vertex[2] = a;
    p.flags = PolygonFlags(kQuadFirstFlags, group);
    E3DPolygon &q = mesh->polygons[index + 1];
    q.vertex[0] = d;
    q.vertex[1] = c;
    q.vertex[2] = b;
    q.flags = PolygonFlags(kQuadSecondFlags, group);
    p.material = p.backMaterial = q.material = q.backMaterial = &mesh->defaultMaterial;
    return 1;
}

extern "C" E3D_API int32_t AddMeshQuadPolygon(E3DMesh *mesh, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t) {
    return mesh ? 1 : 0;
}

extern "C" E3D_API int32_t AssignVertexInfluence(E3DMesh *mesh, int32_t, int32_t, float) { return mesh ? 1 : 0; }

extern "C" E3D_API int32_t CheckWeightedVertices(E3DMesh *mesh) { return mesh ? 1 : 0; }

extern "C" E3D_API void RemoveVertexInfluence(E3DMesh *, int32_t, int32_t) {}

extern "C" E3D_API void SetMeshTriTexCoords(E3DMesh *mesh, int32_t index, float ua, float va, float ub, float vb,
                                           float uc, float vc) {
    // index == polygonCount is admitted: it lands in the spare polygon record.
    if (!mesh || index < 0 || index > mesh->polygonCount || !mesh->polygons) return;
    E3DPolygon &p = mesh->polygons[index];
    p.coords[0][0] = uc, p.coords[0][1] = vc;
    p.coords[1][0] = ub, p.coords[1][1] = vb;
    p.coords[2][0] = ua, p.coords[2][1] = va;
    p.flags |= kLayerPresentMask;
}

extern "C" E3D_API void SetMeshQuadTexCoords(E3DMesh *mesh, int32_t index, float ua, float va, float ub, float vb,
                                            float uc, float vc, float ud, float vd) {
    // 0 <= index <= polygonCount and index + 1 <= polygonCount: the second
    // triangle may be the spare record one past the end.
    if (!mesh || index < 0 || index > mesh->polygonCount || index > mesh->polygonCount - 1 || !mesh->polygons)
        return;
    E3DPolygon &p = mesh->polygons[index];
    p.coords[0][0] = ud, p.coords[0][1] = vd;
    p.coords[1][0] = ub, p.coords[1][1] = vb;
    p.coords[2][0] = ua, p.coords[2][1] = va;
    p.flags |= kLayerPresentMask;
    E3DPolygon &q = mesh->polygons[index + 1];
    q.coords[0][0] = ud, q.coords[0][1] = vd;
    q.coords[1][0] = uc, q.coords[1][1] = vc;
    q.coords[2][0] = ub, q.coords[2][1] = vb;
    q.flags |= kLayerPresentMask;
}

extern "C" E3D_API int32_t DeleteMesh(E3DMesh *mesh) {
    if (!mesh) return 0;
    DeleteMeshRecord(mesh, true);
    return 1;
}

extern "C" E3D_API E3DMesh *ValidateMesh(E3DMesh *mesh) {
    if (!mesh) return nullptr;
    if (mesh->sortEntries) {
        for (int32_t i = 0; i < mesh->polygonCount; ++i) {
            if (HasRepeatedCorner(mesh->polygons[i])) return nullptr;
        }
    } else if (mesh->polygonCount == 0 || mesh->vertexCount == 0) {
        DeleteMesh(mesh);
        return nullptr;
    } else {
        E3DMesh *old = mesh;
        E3DMesh *m = CreateMesh(old->vertexCount, old->polygonCount, 0x7FFF);
        if (!m) {
            DeleteMesh(old);
            return nullptr;
        }
        std::memcpy(m->vertices, old->vertices, size_t(old->vertexCount) * sizeof(E3DVertex));
        const E3DMaterial *oldDefault = &old->defaultMaterial;
        for (int32_t i = 0; i < old->polygonCount; ++i) {
            const E3DPolygon &src = old->polygons[i];
            if (HasRepeatedCorner(src)) {
                DeleteMesh(m);
                return nullptr;
            }
            E3DPolygon &dst = m->polygons[i];
            dst = src;
            // Both pointers follow the test of the front material.
            if (src.material == oldDefault) dst.material = &m->defaultMaterial;
            if (src.material == oldDefault) dst.backMaterial = &m->defaultMaterial;
            // Guard: a back side left on the old default material would point
            // into the record freed below.
            if (dst.backMaterial == oldDefault) dst.backMaterial = &m->defaultMaterial;
        }
        std::memcpy(m->modelMatrix, old->modelMatrix, sizeof m->modelMatrix);
        std::memcpy(m->baseMatrix, old->baseMatrix, sizeof m->baseMatrix);
        std::memcpy(m->worldMatrix, old->worldMatrix, sizeof m->worldMatrix);
        std::memcpy(m->auxMatrix, old->auxMatrix, sizeof m->auxMatrix);
        m->defaultMaterial = old->defaultMaterial;
        m->state = old->state;
        m->viewport = old->viewport;
        m->hostObject = old->hostObject;
        // The old record goes away: let no scene or tree keep pointing at it
        // (its children stay alive as roots of their own).
        RemoveMeshFromAllScenes(old, 0);
        if (old->node.parent) DetachChildFromNode(old->node.parent, &old->node);
        while (old->node.childCount > 0) DetachChildFromNode(&old->node, old->node.children[0]);
        FreeMemory(old->vertices);
        FreeMemory(old->polygons);
        // The skeleton and its influences move to the new record, so a
        // grown mesh stays bone-deformed as one made with its counts does.
        m->skeleton = old->skeleton;
        m->skinWeights = old->skinWeights;
        m->skinCount = old->skinCount;
        // What else a grown mesh may have gathered besides its arrays is not
        // carried over; free it rather than leak it.
        if (old->node.children) FreeMemory(old->node.children);
        if (old->sortBuffer) FreeMemory(old->sortBuffer);
        if (old->vertexNormals) FreeMemory(old->vertexNormals);
        FreeBoundingBox(old);
        FreeMeshRecord(old);
        mesh = m;
    }
    CalcMeshPolygonsNormal(mesh);
    CalcMeshVerticesNormal(mesh);
    FreeBoundingBox(mesh);
    // Normals that could not be allocated fail validation as a failed
    // bounding box does: no mesh without its normals is handed out.
    if (mesh->vertexNormals) mesh->boundingBox = CreateAABB(mesh);
    if (!mesh->boundingBox) {
        DeleteMesh(mesh);
        return nullptr;
    }
    mesh->state |= kMeshActive;
    mesh->meshKind = mesh->skeleton ? kMeshDeformed : kMeshOrdinary;  // a skeleton given before validation deforms it
    return mesh;
}

extern "C" E3D_API int32_t AssignSkeletonToMesh(E3DMesh *mesh, E3DSkeleton *skeleton) {
    if (!mesh || !skeleton) return 0;
    const uint64_t bytes = uint64_t(mesh->vertexCount > 0 ? mesh->vertexCount : 0) * 16;
    auto *weights = static_cast<uint32_t *>(AllocateMemory(uint32_t(bytes)));
    if (!weights || bytes > 0xFFFFFFFFull) {
        if (weights) FreeMemory(weights);
        return 0;
    }
    std::memset(weights, 0, size_t(bytes));
    // A second assignment replaces the array rather than leaking it.
    if (mesh->skinWeights) FreeMemory(mesh->skinWeights);
    mesh->skinWeights = weights;
    mesh->skinCount = mesh->vertexCount > 0 ? mesh->vertexCount : 0;
    mesh->skeleton = skeleton;
    if (mesh->meshKind == kMeshOrdinary && skeleton) mesh->meshKind = kMeshDeformed;  // drawn deformed from now on
    return 1;
}

extern "C" E3D_API void RemoveSkeletonFromMesh(E3DMesh *mesh) {
    if (!mesh) return;
    mesh->skeleton = nullptr;
    if (mesh->skinWeights) FreeMemory(mesh->skinWeights);
    mesh->skinWeights = nullptr;
    mesh->skinCount = 0;
    if (mesh->meshKind == kMeshDeformed) mesh->meshKind = kMeshOrdinary;
    // Drawn as an ordinary mesh from now on: its planes go back to mesh space.
    RestoreMeshPlanes(mesh);
}

extern "C" E3D_API char *SetMeshName(E3DMesh *mesh, const char *name) {
    if (!mesh) return nullptr;
    return CopyName(mesh->name, sizeof mesh->name, name);
}
