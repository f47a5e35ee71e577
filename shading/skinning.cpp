// Bone-deformed meshes. A bone's skinning matrix is its posed world frame
// times the inverse of its rest world frame, both built down the bone
// hierarchy; a vertex's world position is the weighted sum of what its bones'
// matrices make of it, the unassigned rest of the weight following the mesh.
#include "shading/skinning.h"

#include <bit>
#include <cmath>
#include <cstring>

#include "core/clip.h"
#include "core/matrix.h"
#include "core/modes.h"
#include "core/view.h"
#include "shading/vertex_stages.h"

namespace e3d {

SkinFrame g_skin;

namespace {

// Per-bone world frames of the frame being built (bone order: a parent
// always precedes its children).
float g_restWorld[kBoneTableSize][12];
float g_poseWorld[kBoneTableSize][12];

void Copy12(float *out, const float *in) { std::memcpy(out, in, 12 * sizeof(float)); }

// Inverse of a rigid frame: transposed rotation, translation turned back.
void RigidInverse(float *out, const float *m) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) out[4 * i + j] = m[4 * j + i];
    for (int i = 0; i < 3; ++i) out[4 * i + 3] = -(out[4 * i] * m[3] + out[4 * i + 1] * m[7] + out[4 * i + 2] * m[11]);
}

inline void Transform(const float *m, const float *p, float *out) {
    out[0] = m[0] * p[0] + m[1] * p[1] + m[2] * p[2] + m[3];
    out[1] = m[4] * p[0] + m[5] * p[1] + m[6] * p[2] + m[7];
    out[2] = m[8] * p[0] + m[9] * p[1] + m[10] * p[2] + m[11];
}

// Blended matrix of one skin entry; false when no moved bone carries any of
// its weight (the vertex then moves with the mesh, computed exactly so).
inline bool BlendEntry(const uint32_t *entry, float *m) {
    const uint32_t bones = entry[0];
    const uint32_t q[4] = {entry[1] & 0xFFFFu, entry[1] >> 16, entry[2] & 0xFFFFu, entry[2] >> 16};
    const uint8_t b[4] = {uint8_t(bones), uint8_t(bones >> 8), uint8_t(bones >> 16), uint8_t(bones >> 24)};
    const SkinFrame &s = g_skin;
    if (!((q[0] && s.moved[b[0]]) | (q[1] && s.moved[b[1]]) | (q[2] && s.moved[b[2]]) | (q[3] && s.moved[b[3]])))
        return false;
    const float w0 = float(q[0]) * kWeightUnit, w1 = float(q[1]) * kWeightUnit;
    const float w2 = float(q[2]) * kWeightUnit, w3 = float(q[3]) * kWeightUnit;
    const float *m0 = s.table[b[0]], *m1 = s.table[b[1]], *m2 = s.table[b[2]], *m3 = s.table[b[3]];
    for (int k = 0; k < 12; ++k) m[k] = w0 * m0[k] + w1 * m1[k] + w2 * m2[k] + w3 * m3[k];
    const int32_t rest = int32_t(kWeightOne) - int32_t(q[0] + q[1] + q[2] + q[3]);
    if (rest != 0) {
        const float wr = float(rest) * kWeightUnit;
        const float *own = s.table[kBoneTableSize - 1];
        for (int k = 0; k < 12; ++k) m[k] += wr * own[k];
    }
    return true;
}

// Vertices that have a skin entry: the array's own size, never past the mesh.
inline int32_t SkinnedVertices(const E3DMesh *mesh) {
    if (!mesh->skinWeights) return 0;
    const int32_t n = mesh->skinCount < mesh->vertexCount ? mesh->skinCount : mesh->vertexCount;
    return n > 0 ? n : 0;
}

inline bool Finite(float x) { return (std::bit_cast<uint32_t>(x) & 0x7F800000u) != 0x7F800000u; }

// Out-code of a world point against the frame's view, clip bounds and
// near and far (the bounding-box classification of ordinary meshes).
uint32_t CornerCode(const float *p, bool &crosses) {
    const ProjectionState &f = g_projection;
    float v[3];
    Transform(g_skin.view, p, v);
    const float dn = v[2] - f.nearZ;
    if (IsNegative(dn) || dn == 0.0f) {
        crosses = true;
        return kOutNear;
    }
    if (v[2] - f.farZ > 0.0f) {
        crosses = true;
        return kOutFar;
    }
    const float k = (1.0f / v[2]) * f.focal;
    const float x = v[0] * k + f.centerX;
    const float y = v[1] * k * f.yScale + f.centerY;
    uint32_t code = 0;
    if (IsNegative(x - f.clipXMin)) code = kOutLeft;
    else if (x - f.clipXMax > 0.0f) code = kOutRight;
    if (IsNegative(y - f.clipYMin)) code |= kOutAbove;
    else if (y - f.clipYMax > 0.0f) code |= kOutBelow;
    return code;
}

}  // namespace

void SetSkinningView(const float *cameraView) {
    float identity[12];
    SetIdentity(identity);
    CombineViewWithWorld(g_skin.view, cameraView, identity);
}

void BuildBoneTable(E3DMesh *mesh) {
    SkinFrame &s = g_skin;
    const float *world = mesh->worldMatrix;
    const E3DSkeleton *skeleton = mesh->skeleton;
    int32_t count = 0;
    if (skeleton && skeleton->bones && skeleton->boneCount > 0)
        count = skeleton->boneCount < kBoneTableSize - 1 ? skeleton->boneCount : kBoneTableSize - 1;
    // State 1: bone frames are in world space and deform the placed mesh;
    // otherwise they are in the mesh's space and the mesh carries the result.
    const bool worldSpace = skeleton && GetSkeletonXFormState(skeleton) == 1;
    for (int32_t i = 0; i < count; ++i) {
        E3DBone *bone = skeleton->bones[i];
        if (!bone) {  // Guard: a hole in the pointer array moves nothing
            SetIdentity(g_restWorld[i]);
            SetIdentity(g_poseWorld[i]);
            Copy12(s.table[i], world);
            s.moved[i] = 0;
            continue;
        }
        const int32_t parent = bone->parentIndex;
        // A parent never follows its child; anything else is a root.
        const bool root = parent < 0 || parent >= i || !skeleton->bones[parent];
        if (root) {
            Copy12(g_restWorld[i], bone->restMatrix);
            Copy12(g_poseWorld[i], bone->poseMatrix);
        } else {
            MultiplyMatrices(g_restWorld[i], g_restWorld[parent], bone->restMatrix);
            MultiplyMatrices(g_poseWorld[i], g_poseWorld[parent], bone->poseMatrix);
        }
        // A bone posed exactly at rest adds no motion of its own: it takes
        // its parent's skinning matrix bit for bit, so a skeleton at rest
        // leaves every vertex exactly where the mesh alone puts it.
        if (std::memcmp(bone->poseMatrix, bone->restMatrix, sizeof bone->restMatrix) == 0) {
            if (root) {
                SetIdentity(bone->thirdMatrix);
                s.moved[i] = 0;
            } else {
                Copy12(bone->thirdMatrix, skeleton->bones[parent]->thirdMatrix);
                s.moved[i] = s.moved[parent];
            }
        } else {
            float inverse[12];
            RigidInverse(inverse, g_restWorld[i]);
            MultiplyMatrices(bone->thirdMatrix, g_poseWorld[i], inverse);
            s.moved[i] = 1;
        }
        if (!s.moved[i]) {
            Copy12(s.table[i], world);
        } else if (worldSpace) {
            MultiplyMatrices(s.table[i], bone->thirdMatrix, world);
        } else {
            MultiplyMatrices(s.table[i], world, bone->thirdMatrix);
        }
    }
    // Indices past the skeleton (a vertex naming a missing bone) follow the mesh.
    for (int32_t i = count; i < kBoneTableSize; ++i) {
        Copy12(s.table[i], world);
        s.moved[i] = 0;
    }
    s.boneCount = count;
}

void DeformVertices(E3DMesh *mesh, float *lo, float *hi) {
    const float inf = INFINITY;
    float l0 = inf, l1 = inf, l2 = inf, h0 = -inf, h1 = -inf, h2 = -inf;
    const float *own = g_skin.table[kBoneTableSize - 1];
    const float *pivot = mesh->pivot;
    const uint32_t *weights = mesh->skinWeights;
    E3DVertex *v = mesh->vertices;
    const int32_t n = v ? mesh->vertexCount : 0;
    // Vertices added after the skin array was made have no entry: rigid.
    const int32_t skinned = SkinnedVertices(mesh);
    for (int32_t i = 0; i < n; ++i) {
        const float p[3] = {v[i].position[0] + pivot[0], v[i].position[1] + pivot[1], v[i].position[2] + pivot[2]};
        float m[12];
        float *q = v[i].worldPosition;
        if (i < skinned && BlendEntry(weights + 4 * i, m)) {
            Transform(m, p, q);
        } else {
            Transform(own, p, q);
        }
        // Comparisons drop a coordinate that is not a number.
        l0 = q[0] < l0 ? q[0] : l0, h0 = q[0] > h0 ? q[0] : h0;
        l1 = q[1] < l1 ? q[1] : l1, h1 = q[1] > h1 ? q[1] : h1;
        l2 = q[2] < l2 ? q[2] : l2, h2 = q[2] > h2 ? q[2] : h2;
    }
    lo[0] = l0, lo[1] = l1, lo[2] = l2;
    hi[0] = h0, hi[1] = h1, hi[2] = h2;
}

bool AnyVertexDeformed(const E3DMesh *mesh) {
    const uint32_t *weights = mesh->skinWeights;
    if (!mesh->vertices) return false;
    float m[12];
    const int32_t n = SkinnedVertices(mesh);
    for (int32_t i = 0; i < n; ++i)
        if (BlendEntry(weights + 4 * i, m)) return true;
    return false;
}

bool ApplySkeleton(E3DMesh *mesh) {
    BuildBoneTable(mesh);
    if (!AnyVertexDeformed(mesh)) return false;
    mesh->state &= ~(kMeshOutsideView | kMeshCrossesDepth);
    float lo[3], hi[3];
    DeformVertices(mesh, lo, hi);
    bool finite = true, empty = false;
    for (int a = 0; a < 3; ++a) {
        finite = finite && Finite(lo[a]) && Finite(hi[a]);
        empty = empty || lo[a] > hi[a];
    }
    if (empty) {  // no vertex with a position: nothing to draw
        mesh->state |= kMeshOutsideView;
        return true;
    }
    if (!finite) {  // Guard: unbounded positions are never culled, and clamp
        mesh->state |= kMeshCrossesDepth;
        return true;
    }
    // The box of the deformed vertices: culled only when all eight corners
    // lie beyond one plane, so no deformed vertex on screen is ever dropped.
    bool crosses = false;
    uint32_t all = ~0u;
    for (int c = 0; c < 8; ++c) {
        const float corner[3] = {(c & 1) ? hi[0] : lo[0], (c & 2) ? hi[1] : lo[1], (c & 4) ? hi[2] : lo[2]};
        all &= CornerCode(corner, crosses);
    }
    if (crosses) mesh->state |= kMeshCrossesDepth;
    if (all) mesh->state |= kMeshOutsideView;
    if (mesh->skeleton && mesh->skeleton->sphere) {
        E3DBVSphere *sphere = mesh->skeleton->sphere;
        float r2 = 0.0f;
        for (int a = 0; a < 3; ++a) {
            sphere->center[a] = lo[a] * 0.5f + hi[a] * 0.5f;
            const float half = hi[a] * 0.5f - lo[a] * 0.5f;
            r2 += half * half;
        }
        sphere->radius = std::sqrt(r2);
    }
    return true;
}

void SkinNormal(const E3DMesh *mesh, int32_t vertex, const float *n, float *out) {
    float m[12];
    const bool inRange = vertex >= 0 && vertex < SkinnedVertices(mesh);
    if (inRange && BlendEntry(mesh->skinWeights + 4 * vertex, m)) {
        float t[3] = {m[0] * n[0] + m[1] * n[1] + m[2] * n[2], m[4] * n[0] + m[5] * n[1] + m[6] * n[2],
                      m[8] * n[0] + m[9] * n[1] + m[10] * n[2]};
        const float l2 = t[0] * t[0] + t[1] * t[1] + t[2] * t[2];
        const float k = l2 > 0.0f ? 1.0f / std::sqrt(l2) : 0.0f;
        out[0] = t[0] * k, out[1] = t[1] * k, out[2] = t[2] * k;
        return;
    }
    const float *w = g_skin.table[kBoneTableSize - 1];
    out[0] = w[0] * n[0] + w[1] * n[1] + w[2] * n[2];
    out[1] = w[4] * n[0] + w[5] * n[1] + w[6] * n[2];
    out[2] = w[8] * n[0] + w[9] * n[1] + w[10] * n[2];
}

}  // namespace e3d

using namespace e3d;

extern "C" E3D_API int32_t SetVertexBoneWeights(E3DMesh *mesh, int32_t vertex, const int32_t *bones,
                                                const float *weights) {
    if (!mesh || !bones || !weights || !mesh->skeleton) return 0;
    if (vertex < 0 || vertex >= SkinnedVertices(mesh)) return 0;
    const int32_t boneCount = mesh->skeleton->boneCount < kBoneTableSize - 1 ? mesh->skeleton->boneCount
                                                                               : kBoneTableSize - 1;
    float sum = 0.0f;
    int named = 0;
    for (int j = 0; j < 4; ++j) {
        if (bones[j] == -1) continue;
        if (bones[j] < 0 || bones[j] >= boneCount) return 0;
        if (!(weights[j] >= 0.0f) || !Finite(weights[j])) return 0;
        sum += weights[j];
        ++named;
    }
    uint32_t entry[4] = {0xFFFFFFFFu, 0, 0, 0};
    if (named > 0) {
        if (!(std::fabs(sum - 1.0f) <= 0.001f)) return 0;
        uint32_t q[4] = {0, 0, 0, 0};
        uint32_t total = 0;
        int largest = -1;
        for (int j = 0; j < 4; ++j) {
            if (bones[j] == -1) continue;
            // Scaled to sum to one exactly; the rounding goes to the largest.
            q[j] = uint32_t(std::lrint(double(weights[j]) / double(sum) * kWeightOne));
            total += q[j];
            if (largest < 0 || q[j] > q[largest]) largest = j;
            entry[0] = (entry[0] & ~(0xFFu << (8 * j))) | (uint32_t(bones[j]) << (8 * j));
        }
        q[largest] = uint32_t(int32_t(q[largest]) + int32_t(kWeightOne) - int32_t(total));
        entry[1] = q[0] | (q[1] << 16);
        entry[2] = q[2] | (q[3] << 16);
    }
    std::memcpy(mesh->skinWeights + 4 * vertex, entry, sizeof entry);
    return 1;
}

extern "C" E3D_API int32_t GetVertexBoneWeights(const E3DMesh *mesh, int32_t vertex, int32_t *bones, float *weights) {
    if (!mesh || !bones || !weights || vertex < 0 || vertex >= SkinnedVertices(mesh)) return 0;
    const uint32_t *e = mesh->skinWeights + 4 * vertex;
    const uint32_t q[4] = {e[1] & 0xFFFFu, e[1] >> 16, e[2] & 0xFFFFu, e[2] >> 16};
    for (int j = 0; j < 4; ++j) {
        const uint32_t b = (e[0] >> (8 * j)) & 0xFFu;
        bones[j] = b == kNoBone ? -1 : int32_t(b);
        weights[j] = float(q[j]) * kWeightUnit;
    }
    return 1;
}
