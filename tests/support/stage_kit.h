// Meshes, skeletons, lights and frame helpers for tests that draw on a Stage.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "support/stage.h"

namespace e3dtest {

inline void Redraw(Stage &s) {
    std::fill(s.pixels.begin(), s.pixels.end(), kBackground);
    if (s.viewport->depthBuffer) ClearViewportDepthBuffer(s.viewport, 0);
    DrawScene(s.scene);
}

inline std::vector<uint16_t> Frame(const Stage &s) { return {s.pixels.begin(), s.pixels.begin() + kW * kH}; }

// A ribbon from x0 to x1 at depth z facing -z: columns + 1 vertices along
// y = +h (index i) and y = -h (columns + 1 + i), two triangles a column.
inline E3DMesh *Ribbon(int columns, float x0, float x1, float z, uint32_t colour = 0x808080, float h = 1.0f) {
    E3DMesh *m = CreateMesh(2 * (columns + 1), 2 * columns, colour);
    for (int i = 0; i <= columns; ++i) {
        const float x = x0 + (x1 - x0) * float(i) / float(columns);
        SetMeshVertex(m, i, x, h, z), SetMeshVertex(m, columns + 1 + i, x, -h, z);
    }
    for (int i = 0; i < columns; ++i) SetMeshQuadPolygon(m, 2 * i, i, i + 1, columns + 2 + i, columns + 1 + i, 0, 0);
    return ValidateMesh(m);
}

// A flat, unlit square of half-size h centred at (x, 0, z) facing -z.
inline E3DMesh *Square(float h, float z, uint32_t colour, float x = 0.0f) {
    E3DMesh *m = Ribbon(1, x - h, x + h, z, colour, h);
    SetMeshShadeMode(&m->node, 1);
    return m;
}

// Bones "root", "elbow", "wrist" along x, each rest position relative to
// its parent: (0, 0, rootZ), (elbowX, 0, 0), (wristX, 0, 0).
inline E3DSkeleton *Arm(float elbowX = 1.0f, float wristX = 1.0f, float rootZ = 0.0f) {
    E3DSkeleton *s = CreateSkeleton();
    const float positions[3][3] = {{0, 0, rootZ}, {elbowX, 0, 0}, {wristX, 0, 0}};
    const char *names[3] = {"root", "elbow", "wrist"};
    for (int i = 0; i < 3; ++i) {
        E3DBone *b = CreateBone();
        SetBonePosition(b, positions[i], 1), AttachBoneToSkeleton(s, i == 0 ? nullptr : names[i - 1], b, names[i]);
    }
    return s;
}

// Pose angles and position of a bone.
inline void Pose(E3DSkeleton *s, const char *bone, float ax, float ay, float az) {
    const float angles[3] = {ax, ay, az};
    SetBoneOrientation(GetBonePointerByName(s, bone), angles, 0);
}
inline void Place(E3DSkeleton *s, const char *bone, float x, float y, float z) {
    const float at[3] = {x, y, z};
    SetBonePosition(GetBonePointerByName(s, bone), at, 0);
}

inline void Weigh(E3DMesh *m, int vertex, int b0, float w0, int b1 = -1, float w1 = 0.0f) {
    const int32_t bones[4] = {b0, b1, -1, -1};
    const float weights[4] = {w0, w1, 0.0f, 0.0f};
    ASSERT_EQ(SetVertexBoneWeights(m, vertex, bones, weights), 1) << "vertex " << vertex;
}

inline void ExpectNear3(const float *got, double x, double y, double z, double tolerance, const char *what, int i) {
    EXPECT_TRUE(std::fabs(got[0] - x) <= tolerance && std::fabs(got[1] - y) <= tolerance && std::fabs(got[2] - z) <= tolerance)
        << what << " " << i << ": " << got[0] << ", " << got[1] << ", " << got[2] << " for " << x << ", " << y << ", " << z;
}

// A white omni light (attenuated when `attenuate`), or a warm directional
// one aimed from `at` at `to`, switched on, in the scene.
inline E3DLight *AddOmni(E3DScene *scene, float x, float y, float z, float intensity, float nearR, float farR,
                         bool attenuate = false) {
    const float at[3] = {x, y, z}, white[4] = {1, 1, 1, 0};
    E3DLight *l = CreateOmniLight(at, white, intensity, nearR, farR, 0);
    SetLightStatus(l, 1, attenuate ? 1 : 0), AssignLightToScene(scene, l, 1);
    return l;
}

inline void AddSun(E3DScene *scene, const float (&at)[3], const float (&to)[3], float intensity) {
    const float warm[4] = {1, 0.85f, 0.7f, 0};
    E3DLight *l = CreateDirectLight(at, to, warm, intensity, 0);
    SetLightStatus(l, 1, 0), AssignLightToScene(scene, l, 1);
}

}  // namespace e3dtest
