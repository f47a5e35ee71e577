// Vertex stages of the ordinary and billboard mesh kinds, in their
// depth-buffered and painter's forms, unlit and lit.
#include "shading/vertex_stages.h"

#include <cmath>
#include <cstring>

#include "core/clip.h"
#include "core/modes.h"
#include "shading/skinning.h"

namespace e3d {

ProjectionState g_projection;
PolygonLists g_lists;

namespace {

// Screen out-code of a projected vertex against the frame's clip bounds.
inline uint32_t ScreenOutCode(float x, float y) {
    const ProjectionState &p = g_projection;
    uint32_t code = 0;
    if (IsNegative(x - p.clipXMin)) code = kOutLeft;
    else if (x - p.clipXMax > 0.0f) code = kOutRight;
    if (IsNegative(y - p.clipYMin)) code |= kOutAbove;
    else if (y - p.clipYMax > 0.0f) code |= kOutBelow;
    return code;
}

// World: a bone-deformed vertex, projected from its world position.
template <bool Clamping, bool World = false>
inline float Project(E3DVertex &v) {
    const ProjectionState &s = g_projection;
    const float *m = s.matrix;
    const float *src = World ? v.worldPosition : v.position;
    const float px = src[0] + s.offset[0];
    const float py = src[1] + s.offset[1];
    const float pz = src[2] + s.offset[2];
    const float z = m[8] * px + m[9] * py + m[10] * pz + m[11];
    v.depth = z;
    if constexpr (Clamping) {
        const float dn = z - s.nearZ;
        if (IsNegative(dn) || dn == 0.0f) {
            v.clipCode = kOutNear;
            v.invDepth = 1.0f / s.nearZ;
            v.viewX = m[0] * px + m[1] * py + m[2] * pz + m[3];
            v.viewY = m[4] * px + m[5] * py + m[6] * pz + m[7];
            return s.nearZ;
        }
        if (z - s.farZ > 0.0f) {
            v.clipCode = kOutFar;
            v.invDepth = 1.0f / s.farZ;
            v.viewX = m[0] * px + m[1] * py + m[2] * pz + m[3];
            v.viewY = m[4] * px + m[5] * py + m[6] * pz + m[7];
            return s.farZ;
        }
    }
    v.invDepth = 1.0f / z;
    const float f = v.invDepth * s.focal;
    v.viewX = m[0] * px + m[1] * py + m[2] * pz + m[3];
    v.screenX = v.viewX * f + s.centerX;
    v.viewY = m[4] * px + m[5] * py + m[6] * pz + m[7];
    v.screenY = v.viewY * f * s.yScale + s.centerY;
    v.clipCode = ScreenOutCode(v.screenX, v.screenY);
    return z;
}

// Projects a vertex the first time a polygon of this staging uses it; the
// depth added to a key is the projector's (clamped) result the first time
// and the stored true depth afterwards.
// Plain: the mesh's projector is known to be the plain one, called inline.
template <bool Keyed, bool Plain = false>
inline int Reject(E3DMesh *mesh, const int32_t (&corner)[3], E3DSortEntry *entry) {
    float key = 0.0f;
    uint32_t codes = ~0u;
    for (int i = 0; i < 3; ++i) {
        const uint32_t index = uint32_t(corner[i]);
        E3DVertex &v = mesh->vertices[index];
        uint32_t &word = mesh->vertexFlags[index >> 5];
        const uint32_t bit = 1u << (index & 31);
        if (!(word & bit)) {
            const float depth = Plain ? Project<false>(v) : g_projection.project(v);
            word |= bit;
            if constexpr (Keyed) key += depth;
        } else if constexpr (Keyed) {
            key += v.depth;
        }
        codes &= v.clipCode;
    }
    if constexpr (Keyed) entry->key = key;
    return codes != 0;
}

// Camera position carried into mesh space by the inverse of the world matrix.
void ComputeMeshSpaceEye(const E3DMesh *mesh) {
    const float *w = mesh->worldMatrix;
    const float dx = g_projection.cameraWorld[0] - w[3];
    const float dy = g_projection.cameraWorld[1] - w[7];
    const float dz = g_projection.cameraWorld[2] - w[11];
    g_projection.eye[0] = w[0] * dx + w[4] * dy + w[8] * dz;
    g_projection.eye[1] = w[1] * dx + w[5] * dy + w[9] * dz;
    g_projection.eye[2] = w[2] * dx + w[6] * dy + w[10] * dz;
}

inline bool IsOpaque(const E3DMaterial *m) {
    return m->alphaMode == 0 || (m->alphaMode == 2 && m->alphaLevel == 255);
}

// Environment coordinates: the corner normals turned by the first two rows
// of the camera-space matrix.
void EnvironmentCoordinates(const E3DMesh *mesh, E3DPolygon *p) {
    const float *m = mesh->auxMatrix;
    for (int j = 0; j < 3; ++j) {
        // Guard: a mesh whose normals could not be built has none to turn.
        if (!mesh->vertexNormals || p->normalIndex[j] < 0 || p->normalIndex[j] >= mesh->normalCount) continue;
        const float *n = mesh->vertexNormals + 3 * p->normalIndex[j];
        p->coords[j][2] = n[0] * m[0] + n[1] * m[1] + n[2] * m[2];
        p->coords[j][3] = n[0] * m[4] + n[1] * m[5] + n[2] * m[6];
    }
}

// Bone-deformed meshes: every vertex was projected before the stage, so the
// key is the sum of the stored depths. The out-codes' AND is compared with
// 1, which no out-code has: such polygons are never trivially rejected and
// the clipper of the polygon dispatch sorts out the off-screen ones.
inline int SkinnedReject(const E3DMesh *mesh, const int32_t (&corner)[3], E3DSortEntry *entry) {
    const E3DVertex *v = mesh->vertices;
    const E3DVertex &a = v[corner[0]], &b = v[corner[1]], &c = v[corner[2]];
    if (entry) entry->key = a.depth + b.depth + c.depth;
    return (a.clipCode & b.clipCode & c.clipCode) == 1u;
}

// Environment coordinates of a bone-deformed polygon: each corner normal
// blended like its vertex, normalised, then turned by the view's first two
// rows.
void SkinnedEnvironmentCoordinates(const E3DMesh *mesh, E3DPolygon *p) {
    const float *m = g_skin.view;
    for (int j = 0; j < 3; ++j) {
        if (!mesh->vertexNormals || p->normalIndex[j] < 0 || p->normalIndex[j] >= mesh->normalCount) continue;
        float n[3];
        SkinNormal(mesh, p->vertex[j], mesh->vertexNormals + 3 * p->normalIndex[j], n);
        p->coords[j][2] = n[0] * m[0] + n[1] * m[1] + n[2] * m[2];
        p->coords[j][3] = n[0] * m[4] + n[1] * m[5] + n[2] * m[6];
    }
}

enum MeshKind { kOrdinary = 1, kSkinned = 2, kBillboard = 3 };

template <bool DepthBuffered, bool Lit, int Kind>
uint32_t Stage(E3DMesh *mesh) {
    // Bone-deformed meshes are lit and culled in world space: the eye is the
    // camera itself and their face planes carry no mesh offset.
    if constexpr (Kind == kSkinned) {
        std::memcpy(g_projection.eye, g_projection.cameraWorld, sizeof g_projection.eye);
    } else {
        ComputeMeshSpaceEye(mesh);
    }
    const float *eye = g_projection.eye;
    const float *offset = g_projection.offset;
    const LightingHooks &hooks = Kind == kSkinned ? g_skinLighting : g_lighting;
    const bool lightingReady = Lit && hooks.face != nullptr;
    if constexpr (Lit) {
        g_projection.eyeInvLength = 1.0f / std::sqrt(eye[0] * eye[0] + eye[1] * eye[1] + eye[2] * eye[2]);
        if (lightingReady) hooks.setUp(mesh);
    }
    const uint32_t state = mesh->state;
    const bool hasLights = mesh->lights != nullptr && mesh->lights[0] != nullptr;
    const bool plain = g_projection.project == ProjectVertexPlain;
    uint32_t emitted = 0;
    E3DPolygon *polygons = mesh->polygons;
    for (int32_t i = 0; i < mesh->polygonCount; ++i) {
        E3DPolygon *p = &polygons[i];
        const E3DMaterial *material;
        bool backSide = false;
        float eyeDotNormal = 0.0f;
        if constexpr (Kind == kBillboard) {
            // Always the front side; the eye term still lights it when the
            // mesh has no lights.
            p->flags &= ~(kPolygonSeeThrough | kPolygonBackShowing);
            material = p->material;
            eyeDotNormal = eye[0] * p->normal[0] + eye[1] * p->normal[1] + eye[2] * p->normal[2];
        } else {
            const E3DMaterial *visibility = (state & E3D_CULL_FRONT) ? p->backMaterial : p->material;
            const uint32_t cull = (visibility->mode & E3D_CULL_NONE) ? E3D_CULL_NONE : (state & kCullMask);
            eyeDotNormal = eye[0] * p->normal[0] + eye[1] * p->normal[1] + eye[2] * p->normal[2];
            float s = eyeDotNormal + p->planeD;
            if constexpr (Kind != kSkinned) {
                s = s - (offset[0] * p->normal[0] + offset[1] * p->normal[1] + offset[2] * p->normal[2]);
            }
            const bool front = s < 0.0f;  // s = 0 counts as the back
            if (cull == E3D_CULL_NONE) {
                backSide = !front;
            } else if (cull == E3D_CULL_BACK) {
                if (!front) continue;
            } else if (cull == E3D_CULL_FRONT) {
                if (front) continue;
                backSide = true;
            } else {
                continue;
            }
            if (backSide) {
                p->flags = (p->flags & ~kPolygonSeeThrough) | kPolygonBackShowing;
                material = p->backMaterial;
            } else {
                p->flags &= ~(kPolygonSeeThrough | kPolygonBackShowing);
                material = p->material;
            }
        }
        p->flags |= state & material->mode & kPolygonSeeThrough;

        E3DSortEntry *entry;
        bool sorted;
        if constexpr (DepthBuffered) {
            sorted = !(IsOpaque(material) && !(p->flags & kPolygonSeeThrough));
        } else {
            sorted = true;
        }
        if (sorted) {
            entry = g_lists.front;
            if constexpr (Kind == kSkinned) {
                if (SkinnedReject(mesh, p->vertex, entry)) continue;
            } else if (plain ? Reject<true, true>(mesh, p->vertex, entry) : Reject<true>(mesh, p->vertex, entry)) {
                continue;
            }
        } else {
            entry = g_lists.back;
            if constexpr (Kind == kSkinned) {
                if (SkinnedReject(mesh, p->vertex, nullptr)) continue;
            } else if (plain ? Reject<false, true>(mesh, p->vertex, nullptr)
                             : Reject<false>(mesh, p->vertex, nullptr)) {
                continue;
            }
        }

        uint32_t mode = p->flags & state & material->mode;
        uint32_t entryMode;
        if (!lightingReady) {
            p->color = UnlitColor(material, mode);
            entryMode = (mode & kRenderMask) | E3D_SHADE_NONE;
        } else {
            entryMode = mode & (kRenderMask | kShadeMask);
            if (!hasLights) {
                const float k = (backSide ? eyeDotNormal : -eyeDotNormal) * g_projection.eyeInvLength;
                hooks.lightless(p, k, entryMode, material);
                entryMode = (entryMode & (kRenderMask | E3D_SHADE_FLAT)) | E3D_SHADE_FLAT;
            } else {
                switch (entryMode & kShadeMask) {
                    case E3D_SHADE_NONE: p->color = UnlitColor(material, mode); break;
                    case E3D_SHADE_FLAT: hooks.face(mesh, p, entryMode, material); break;
                    case E3D_SHADE_GOURAUD: hooks.vertex(mesh, p, entryMode, material); break;
                    default: break;
                }
            }
        }
        if ((mode & kLayerPresentMask) == E3D_TEXTURE_LAYER2) {
            if constexpr (Kind == kSkinned) {
                SkinnedEnvironmentCoordinates(mesh, p);
            } else {
                EnvironmentCoordinates(mesh, p);
            }
        }

        entry->mesh = mesh;
        entry->polygon = p;
        entry->mode = entryMode;
        if (sorted) {
            ++g_lists.front;
            ++g_lists.sortedCount;
        } else {
            --g_lists.back;
            ++g_lists.opaqueCount;
        }
        ++emitted;
    }
    return emitted;
}

}  // namespace

float ProjectVertexPlain(E3DVertex &vertex) { return Project<false>(vertex); }
float ProjectVertexClamped(E3DVertex &vertex) { return Project<true>(vertex); }
float ProjectVertexWorldPlain(E3DVertex &vertex) { return Project<false, true>(vertex); }
float ProjectVertexWorldClamped(E3DVertex &vertex) { return Project<true, true>(vertex); }

int PolygonKeyAndReject(E3DMesh *mesh, int32_t a, int32_t b, int32_t c, E3DSortEntry *entry) {
    const int32_t corner[3] = {a, b, c};
    return Reject<true>(mesh, corner, entry);
}

int PolygonReject(E3DMesh *mesh, int32_t a, int32_t b, int32_t c) {
    const int32_t corner[3] = {a, b, c};
    return Reject<false>(mesh, corner, nullptr);
}

void ProjectSkinnedVertices(E3DMesh *mesh) {
    static const float kNoOffset[3] = {0.0f, 0.0f, 0.0f};
    g_projection.matrix = g_skin.view;
    g_projection.offset = kNoOffset;
    const bool clamping = (mesh->state & kMeshCrossesDepth) != 0;
    g_projection.project = clamping ? ProjectVertexWorldClamped : ProjectVertexWorldPlain;
    E3DVertex *v = mesh->vertices;
    const int32_t n = v ? mesh->vertexCount : 0;
    if (clamping) {
        for (int32_t i = 0; i < n; ++i) Project<true, true>(v[i]);
    } else {
        for (int32_t i = 0; i < n; ++i) Project<false, true>(v[i]);
    }
    if (mesh->vertexFlags && n > 0) std::memset(mesh->vertexFlags, 0xFF, size_t((uint32_t(n) + 31) / 32) * 4);
}

void SetUpMeshProjection(E3DMesh *mesh) {
    g_projection.matrix = mesh->auxMatrix;
    g_projection.offset = mesh->pivot;
    g_projection.project = (mesh->state & kMeshCrossesDepth) ? ProjectVertexClamped : ProjectVertexPlain;
    if (mesh->vertexFlags) {
        std::memset(mesh->vertexFlags, 0, size_t((uint32_t(mesh->vertexCount) + 31) / 32) * sizeof(uint32_t));
    }
}

uint32_t UnlitColor(const E3DMaterial *m, uint32_t mode) {
    const uint32_t field = mode & kLayerPresentMask;
    if (field != 0 && field != E3D_TEXTURE_LAYER2) return 0xFFFFFFu;
    const float *c0 = MaterialColor(m, 0);
    const float *c1 = MaterialColor(m, 1);
    const float *c2 = MaterialColor(m, 2);
    return PackColor(c2[0] + c1[0] + c0[0], c2[1] + c1[1] + c0[1], c2[2] + c1[2] + c0[2]);
}

const StageRoutine kDepthBufferedStages[6] = {
    Stage<true, false, kOrdinary>, Stage<true, true, kOrdinary>, Stage<true, false, kSkinned>, Stage<true, true, kSkinned>,
    Stage<true, false, kBillboard>, Stage<true, true, kBillboard>,
};

const StageRoutine kPainterStages[6] = {
    Stage<false, false, kOrdinary>, Stage<false, true, kOrdinary>, Stage<false, false, kSkinned>, Stage<false, true, kSkinned>,
    Stage<false, false, kBillboard>, Stage<false, true, kBillboard>,
};

}  // namespace e3d
