// Bounding volumes: the box is itself a small wire mesh; the sphere a centre
// and radius that can be fitted to points and grown.
#include "scene/bounding_volume.h"

#include <cstring>

#include "core/clip.h"
#include "core/fast_math.h"
#include "core/modes.h"
#include "e3dhost.h"
#include "scene/mesh.h"

using namespace e3d;

extern "C" E3D_API E3DMesh *CreateAABB(E3DMesh *mesh) {
    if (!mesh) return nullptr;
    E3DMesh *box = CreateMesh(8, 12, 0xFFFFFF);
    if (!box) return nullptr;
    float lo[3] = {0, 0, 0}, hi[3] = {0, 0, 0};
    if (mesh->vertexCount > 0 && mesh->vertices) {
        for (int a = 0; a < 3; ++a) lo[a] = hi[a] = mesh->vertices[0].position[a];
        for (int32_t i = 1; i < mesh->vertexCount; ++i) {
            const float *p = mesh->vertices[i].position;
            for (int a = 0; a < 3; ++a) {
                if (IsNegative(p[a] - lo[a])) lo[a] = p[a];
                if (p[a] - hi[a] > 0.0f) hi[a] = p[a];
            }
        }
    }
    const float corners[8][3] = {{lo[0], hi[1], lo[2]}, {hi[0], hi[1], lo[2]}, {hi[0], lo[1], lo[2]},
                                 {lo[0], lo[1], lo[2]}, {lo[0], hi[1], hi[2]}, {hi[0], hi[1], hi[2]},
                                 {hi[0], lo[1], hi[2]}, {lo[0], lo[1], hi[2]}};
    for (int i = 0; i < 8; ++i) SetMeshVertex(box, i, corners[i][0], corners[i][1], corners[i][2]);
    const int faces[6][4] = {{0, 1, 2, 3}, {1, 5, 6, 2}, {5, 4, 7, 6}, {4, 0, 3, 7}, {4, 5, 1, 0}, {3, 2, 6, 7}};
    for (int f = 0; f < 6; ++f) SetMeshQuadPolygon(box, 2 * f, faces[f][0], faces[f][1], faces[f][2], faces[f][3], 0, f);
    E3DMaterial &m = box->defaultMaterial;
    m.mode = (m.mode & ~kRenderSolid) | kRenderWire;
    m.mode = (m.mode & ~kShadeMask) | E3D_SHADE_NONE;
    float *c = MaterialColor(&m, 0);
    c[0] = c[1] = c[2] = 255.0f;
    c[3] = 0.0f;
    box->state = kRenderWire | E3D_CULL_BACK | E3D_SHADE_NONE;
    return box;
}

extern "C" E3D_API E3DBVSphere *CreateBVSphere(void) {
    auto *s = static_cast<E3DBVSphere *>(AllocateMemory(sizeof(E3DBVSphere)));
    if (s) std::memset(s, 0, sizeof *s);
    return s;
}

extern "C" E3D_API void DeleteBVSphere(void *block) {
    if (block) FreeMemory(block);
}

extern "C" E3D_API void ComputeBVSphere(E3DBVSphere *sphere, const float *points, int32_t count) {
    if (!sphere || !points || count <= 0) return;
    float c[3] = {points[0], points[1], points[2]};
    for (int32_t i = 1; i < count; ++i) {
        c[0] += points[3 * i];
        c[1] += points[3 * i + 1];
        c[2] += points[3 * i + 2];
    }
    const float inv = 1.0f / float(count);
    for (int a = 0; a < 3; ++a) sphere->center[a] = c[a] * inv;
    sphere->radius = 0.0f;
    float largest = 0.0f;
    for (int32_t i = 0; i < count; ++i) {
        const float dx = points[3 * i] - sphere->center[0];
        const float dy = points[3 * i + 1] - sphere->center[1];
        const float dz = points[3 * i + 2] - sphere->center[2];
        const float d2 = dz * dz + dy * dy + dx * dx;
        if (d2 > largest) largest = d2;
    }
    if (largest != 0.0f) sphere->radius = FastSqrt(largest);
}

extern "C" E3D_API void MergeBVSphere(E3DBVSphere *sphere, const float *center2, float radius2) {
    if (!sphere || !center2) return;
    const float dx = center2[0] - sphere->center[0];
    const float dy = center2[1] - sphere->center[1];
    const float dz = center2[2] - sphere->center[2];
    const float d2 = dx * dx + dy * dy + dz * dz;
    const float r = radius2 - sphere->radius;
    // One sphere inside the other (either way round): nothing changes.
    if (!IsNegative(r * r - d2)) return;
    const float l = FastSqrt(d2);
    if (l - 0.000001f > 0.0f) {
        sphere->center[0] += dx * (r + l) / (2.0f * l);
        sphere->center[1] += dy * (r + l) / (2.0f * l);
        sphere->center[2] += dz * (r + l) / (2.0f * l);
    }
    sphere->radius = (l + sphere->radius + radius2) * 0.5f;
}

extern "C" E3D_API void MergeBVSpheres(void) {}
