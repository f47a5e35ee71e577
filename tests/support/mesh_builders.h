// Small meshes, cameras and lights built through the public interface.
#pragma once

#include "engine3d.h"

namespace e3dtest {

// Axis-aligned cube of half-size h: 8 vertices, 6 quads. With ownGroups
// each face is its own smoothing group, else all faces are in group 0.
inline E3DMesh *MakeCube(float h, bool ownGroups, uint32_t colour = 0x808080) {
    E3DMesh *m = CreateMesh(8, 12, colour);
    if (!m) return nullptr;
    const float c[8][3] = {{-h, h, -h}, {h, h, -h}, {h, -h, -h}, {-h, -h, -h},
                           {-h, h, h},  {h, h, h},  {h, -h, h},  {-h, -h, h}};
    for (int i = 0; i < 8; ++i) SetMeshVertex(m, i, c[i][0], c[i][1], c[i][2]);
    const int f[6][4] = {{0, 1, 2, 3}, {1, 5, 6, 2}, {5, 4, 7, 6}, {4, 0, 3, 7}, {4, 5, 1, 0}, {3, 2, 6, 7}};
    for (int i = 0; i < 6; ++i) SetMeshQuadPolygon(m, 2 * i, f[i][0], f[i][1], f[i][2], f[i][3], 0, ownGroups ? i : 0);
    return m;
}

// A grown mesh of n separate triangles in the z = 0 plane, not validated.
inline E3DMesh *MakeGrownStrip(int n) {
    E3DMesh *m = CreateMesh(0, 0, 0);
    for (int i = 0; i < n + 2; ++i) AddMeshVertex(m, float(i), float(i & 1), 0.0f);
    for (int i = 0; i < n; ++i) AddMeshTriPolygon(m, i, i + 1, i + 2, 0, 0);
    return m;
}

// A validated one-block mesh of n triangles.
inline E3DMesh *MakeStrip(int n) {
    E3DMesh *m = CreateMesh(n + 2, n, 0x808080);
    for (int i = 0; i < n + 2; ++i) SetMeshVertex(m, i, float(i), float(i & 1), 0.0f);
    for (int i = 0; i < n; ++i) SetMeshTriPolygon(m, i, i, i + 1, i + 2, 0, 0);
    return ValidateMesh(m);
}

// A flat-shaded 2 x 2 square of two triangles centred at (x, 0, 10), facing
// a camera at the origin that looks along +z; validated.
inline E3DMesh *MakeQuadAt(float x, uint32_t colour) {
    E3DMesh *m = CreateMesh(4, 2, colour);
    SetMeshVertex(m, 0, x - 1, 1, 10);
    SetMeshVertex(m, 1, x + 1, 1, 10);
    SetMeshVertex(m, 2, x + 1, -1, 10);
    SetMeshVertex(m, 3, x - 1, -1, 10);
    SetMeshQuadPolygon(m, 0, 0, 1, 2, 3, 0, 0);
    m = ValidateMesh(m);
    SetMeshShadeMode(&m->node, 1);
    return m;
}

// A camera at (x, y, z) looking at (tx, ty, tz), fov 60, near 10.
inline E3DCamera *MakeCamera(float x = 0, float y = 0, float z = -10, float tx = 0, float ty = 0, float tz = 0) {
    const float p[3] = {x, y, z}, t[3] = {tx, ty, tz};
    return CreateCamera(p, t, 0, 60, 10);
}

// An omnidirectional light with attenuation 5 .. 50.
inline E3DLight *MakeOmni() {
    const float p[3] = {1, 2, 3}, c[4] = {1, 0.5f, 0.25f, 1};
    return CreateOmniLight(p, c, 0.75f, 5, 50, 0);
}

}  // namespace e3dtest
