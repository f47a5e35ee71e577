// Face normals with their plane constants, and corner normals shared within
// smoothing groups.
#include "core/normals.h"

#include <cstring>

#include "core/fast_math.h"
#include "e3dhost.h"

namespace e3d {

namespace {

// The single-precision third, bits 0x3EAAAAAB.
constexpr float kThird = 0.33333334f;

template <bool World>
void FacePlane(E3DMesh *mesh, E3DPolygon *p) {
    // Guard: a polygon naming no vertex of the mesh is left as it is.
    const uint32_t count = mesh->vertexCount > 0 ? uint32_t(mesh->vertexCount) : 0;
    if (uint32_t(p->vertex[0]) >= count || uint32_t(p->vertex[1]) >= count || uint32_t(p->vertex[2]) >= count) return;
    const E3DVertex *v = mesh->vertices;
    const float *p0 = World ? v[p->vertex[0]].worldPosition : v[p->vertex[0]].position;
    const float *p1 = World ? v[p->vertex[1]].worldPosition : v[p->vertex[1]].position;
    const float *p2 = World ? v[p->vertex[2]].worldPosition : v[p->vertex[2]].position;
    const float e1x = p1[0] - p0[0], e1y = p1[1] - p0[1], e1z = p1[2] - p0[2];
    const float e2x = p2[0] - p1[0], e2y = p2[1] - p1[1], e2z = p2[2] - p1[2];
    float nx = e1y * e2z - e1z * e2y;
    float ny = e1z * e2x - e1x * e2z;
    float nz = e1x * e2y - e1y * e2x;
    const float k = FastRSqrt(nx * nx + ny * ny + nz * nz);
    nx *= k, ny *= k, nz *= k;
    p->normal[0] = nx;
    p->normal[1] = ny;
    p->normal[2] = nz;
    const float cx = (p0[0] + p1[0] + p2[0]) * kThird;
    const float cy = (p0[1] + p1[1] + p2[1]) * kThird;
    const float cz = (p0[2] + p1[2] + p2[2]) * kThird;
    p->planeD = -(cx * nx + cy * ny + cz * nz);
}

template <bool World>
void AllPlanes(E3DMesh *mesh) {
    if (!mesh->polygons || !mesh->vertices) return;
    for (int32_t i = 0; i < mesh->polygonCount; ++i) FacePlane<World>(mesh, &mesh->polygons[i]);
}

template <class T>
T *Take(uint64_t count) {
    const uint64_t bytes = count * sizeof(T);
    return bytes <= 0xFFFFFFFFull ? static_cast<T *>(AllocateMemory(uint32_t(bytes ? bytes : 1))) : nullptr;
}

void Give(void *block) {
    if (block) FreeMemory(block);
}

}  // namespace

void CalcMeshPolygonsNormalWorld(E3DMesh *mesh) {
    AllPlanes<true>(mesh);
    mesh->worldPlanes = 1;
}

void RestoreMeshPlanes(E3DMesh *mesh) {
    if (!mesh->worldPlanes) return;
    AllPlanes<false>(mesh);
    mesh->worldPlanes = 0;
}

}  // namespace e3d

using namespace e3d;

extern "C" E3D_API void CalcMeshPolygonsNormal(E3DMesh *mesh) {
    if (!mesh) return;
    AllPlanes<false>(mesh);
    mesh->worldPlanes = 0;
}

extern "C" E3D_API void CalcMeshPolygonNormal(E3DMesh *mesh, E3DPolygon *polygon) {
    if (mesh && polygon && mesh->vertices) FacePlane<false>(mesh, polygon);
}

extern "C" E3D_API void UpdateMeshPolygonsNormal(E3DMesh *) {}

// Polygons are taken group by group (radix-sorted by smoothing group, stable
// within a group). Within a group each vertex gets one normal, the sum of
// the unit face normals of the group's polygons that use it. A per-vertex
// stamp of the group being walked finds that normal in constant time.
extern "C" E3D_API void CalcMeshVerticesNormal(E3DMesh *mesh) {
    if (!mesh) return;
    mesh->normalCount = 0;
    Give(mesh->vertexNormals);
    mesh->vertexNormals = nullptr;
    const uint32_t polygons = mesh->polygonCount > 0 ? uint32_t(mesh->polygonCount) : 0;
    const uint32_t vertices = mesh->vertexCount > 0 ? uint32_t(mesh->vertexCount) : 0;
    if (polygons == 0 || !mesh->polygons) return;
    float *work = Take<float>(uint64_t(polygons) * 9);
    uint32_t *stamp = Take<uint32_t>(vertices);
    uint32_t *slot = Take<uint32_t>(vertices);
    uint32_t *keys = Take<uint32_t>(polygons);
    uint32_t *order = Take<uint32_t>(polygons);
    if (work && stamp && slot && keys && order) {
        std::memset(stamp, 0, size_t(vertices) * sizeof(uint32_t));
        for (uint32_t i = 0; i < polygons; ++i) keys[i] = (mesh->polygons[i].flags >> 12) & 31u;
        ResetRadixSort(polygons, order);
        RadixLongSorter(polygons, keys, order, 0);
        // The sorter leaves the order as it was when its scratch array cannot
        // be had; that order only serves when it is sorted already.
        bool grouped = true;
        for (uint32_t k = 1; k < polygons && grouped; ++k) grouped = keys[order[k - 1]] <= keys[order[k]];
        const uint32_t walked = grouped ? polygons : 0;  // else no normals are made
        uint32_t group = 0, previousKey = ~0u;
        int32_t count = 0;
        for (uint32_t k = 0; k < walked; ++k) {
            E3DPolygon &p = mesh->polygons[order[k]];
            if (keys[order[k]] != previousKey) {
                previousKey = keys[order[k]];
                ++group;  // a new group: no vertex has a normal in it yet
            }
            for (int j = 0; j < 3; ++j) {
                const uint32_t v = uint32_t(p.vertex[j]);
                if (v >= vertices) {  // Guard: a corner naming no vertex
                    p.normalIndex[j] = 0;
                    continue;
                }
                if (stamp[v] != group) {
                    stamp[v] = group;
                    slot[v] = uint32_t(count);
                    float *n = work + 3 * count;
                    n[0] = p.normal[0];
                    n[1] = p.normal[1];
                    n[2] = p.normal[2];
                    p.normalIndex[j] = count++;
                } else {
                    float *n = work + 3 * slot[v];
                    n[0] += p.normal[0];
                    n[1] += p.normal[1];
                    n[2] += p.normal[2];
                    p.normalIndex[j] = int32_t(slot[v]);
                }
            }
        }
        for (int32_t i = 0; i < count; ++i) {
            float *n = work + 3 * i;
            const float k = FastRSqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
            n[0] *= k, n[1] *= k, n[2] *= k;
        }
        float *final = grouped ? Take<float>(uint64_t(count) * 3) : nullptr;
        if (final) {
            std::memcpy(final, work, size_t(count) * 3 * sizeof(float));
            mesh->vertexNormals = final;
            mesh->normalCount = count;
        }
    }
    Give(work);
    Give(stamp);
    Give(slot);
    Give(keys);
    Give(order);
}
