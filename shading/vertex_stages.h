// Vertex stages: per mesh kind and shading, they project vertices lazily,
// cull by facing, colour each surviving triangle and append its entry to the
// frame's polygon lists.
#pragma once

#include <cstdint>

#include "engine3d.h"
#include "scene/mesh.h"

namespace e3d {

// Per-mesh projection constants, loaded once per mesh before its stage.
struct ProjectionState {
    const float *matrix;  // the mesh's camera-space matrix, 3 rows of 4
    const float *offset;  // added to every vertex position (the mesh pivot)
    float centerX, centerY, yScale, focal;
    float nearZ, farZ;
    float clipXMin, clipXMax, clipYMin, clipYMax;
    float cameraWorld[3]; // camera position in world space (per frame)
    float eye[3];         // camera position in mesh space
    float eyeInvLength;   // 1 / |eye|, for the lightless colour
    float (*project)(E3DVertex &vertex);
};

// Where the stages append entries, and how many went where.
struct PolygonLists {
    E3DSortEntry *front;  // sorted (and painter's) entries, upward
    E3DSortEntry *back;   // opaque entries of the depth-buffered path, downward
    uint32_t sortedCount;
    uint32_t opaqueCount;
};

extern ProjectionState g_projection;
extern PolygonLists g_lists;

using StageRoutine = uint32_t (*)(E3DMesh *mesh);

// Slots: 0/1 ordinary mesh unlit/lit, 2/3 bone-deformed, 4/5 billboard.
extern const StageRoutine kDepthBufferedStages[6];
extern const StageRoutine kPainterStages[6];

// Installs the clamping projector when the mesh crosses near or far (state
// bit 0x80000) and clears the projected-vertex bits.
void SetUpMeshProjection(E3DMesh *mesh);

// The two projectors; both return the depth that enters the sort key.
float ProjectVertexPlain(E3DVertex &vertex);
float ProjectVertexClamped(E3DVertex &vertex);
// The same from a bone-deformed vertex's world position.
float ProjectVertexWorldPlain(E3DVertex &vertex);
float ProjectVertexWorldClamped(E3DVertex &vertex);

// Keyed and unkeyed trivial rejects: 1 when all three out-codes share a bit.
int PolygonKeyAndReject(E3DMesh *mesh, int32_t a, int32_t b, int32_t c, E3DSortEntry *entry);
int PolygonReject(E3DMesh *mesh, int32_t a, int32_t b, int32_t c);

// Truncates toward zero and clamps to 0..255 (NaN gives 0).
inline uint32_t ClampChannel(float value) {
    if (value >= 255.0f) return 255u;
    if (value > 0.0f) return uint32_t(value);
    return 0u;
}

inline uint32_t PackColor(float r, float g, float b) {
    return (ClampChannel(r) << 16) | (ClampChannel(g) << 8) | ClampChannel(b);
}

// The colour of an unlit polygon: sum of colour slots 2, 1 and 0, or white
// for textured draw modes.
uint32_t UnlitColor(const E3DMaterial *material, uint32_t mode);

// The lighting routines of the lit slots (shading/lighting.cpp); a lit
// stage without them would draw its meshes with their unlit colour.
struct LightingHooks {
    void (*setUp)(E3DMesh *mesh);                      // once per lit stage
    void (*face)(E3DMesh *, E3DPolygon *, uint32_t mode, const E3DMaterial *);
    void (*vertex)(E3DMesh *, E3DPolygon *, uint32_t mode, const E3DMaterial *);
    void (*lightless)(E3DPolygon *, float k, uint32_t mode, const E3DMaterial *);
};
extern LightingHooks g_lighting;
// The same for bone-deformed meshes: world-space lights, world positions and
// blended normals.
extern LightingHooks g_skinLighting;

}  // namespace e3d
