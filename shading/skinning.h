// Bone-deformed meshes: bone matrices through the skeleton's hierarchy,
// vertices blended from up to four bones into world positions, the bounds
// that cull them, and normals turned the same way.
#pragma once

#include <cstdint>

#include "engine3d.h"

namespace e3d {

// One skin entry (four words a vertex): word 0 holds the bone indices of
// influences 0..3 in bytes 0..3 (0xFF none); words 1 and 2 hold their
// weights as 16-bit units of 1/32768 (influence 0 in the low half of word 1,
// 1 in its high half, 2 and 3 likewise in word 2); word 3 is zero. Whatever
// the named bones do not carry (1 - the sum, all of it for a zeroed entry)
// follows the mesh's own matrix.
constexpr uint32_t kNoBone = 0xFFu;
constexpr uint32_t kWeightOne = 32768u;
constexpr float kWeightUnit = 1.0f / 32768.0f;

// Largest bone index a skin entry can name; the last table entry is always
// the mesh's own matrix.
constexpr int kBoneTableSize = 256;

// Per-mesh skinning state, rebuilt by ApplySkeleton.
struct SkinFrame {
    float view[12];                          // world to view space
    float table[kBoneTableSize][12];         // bone index -> world matrix of its vertices
    uint8_t moved[kBoneTableSize];           // 0: the entry is the mesh's own matrix
    int32_t boneCount;                       // bones of the skeleton taken into the table
};
extern SkinFrame g_skin;

// The camera's world-to-view matrix of this frame (view with the identity as
// world matrix).
void SetSkinningView(const float *cameraView);

// Bone matrices, then, when some vertex is moved by a bone, the world
// positions of every vertex; the mesh's state bits 0x20000 (every deformed
// vertex beyond one clip plane) and 0x80000 (some may cross near or far) are
// then set from the deformed bounds, and the skeleton's sphere is refreshed
// to enclose them. false when no vertex moves (nothing is changed then: the
// mesh draws exactly as an ordinary mesh).
bool ApplySkeleton(E3DMesh *mesh);

// true when some vertex has weight on a bone that moved (after BuildBoneTable).
bool AnyVertexDeformed(const E3DMesh *mesh);

// Projects every world position (the stage never projects) with the
// clamping projector when 0x80000 is set, and marks every vertex projected
// (shading/vertex_stages.cpp).
void ProjectSkinnedVertices(E3DMesh *mesh);

// The corner normal n of vertex v turned by its blended bone rotation and
// normalised (a vertex no moved bone carries: turned by the mesh's rotation).
void SkinNormal(const E3DMesh *mesh, int32_t vertex, const float *n, float *out);

// Bone matrices alone (table and moved flags), for tests and benchmarks.
void BuildBoneTable(E3DMesh *mesh);

// World positions and their bounds (lo, hi) alone.
void DeformVertices(E3DMesh *mesh, float *lo, float *hi);

}  // namespace e3d
