// The standard scenes, built through the public interface only, shared by the
// golden-frame test and the scene benchmark:
//   S1 two flat triangles covering the whole screen (unlit, one colour);
//   S2 a Gouraud sphere of 3,968 triangles, one omni light, back faces culled;
//   S3 many small flat triangles (about 8 pixels each) at scattered depths;
//   S4 a checker-textured floor (256 x 256 texture, tiled) seen at a grazing
//      angle, lit flat by one directional light, filling the lower half.
// Each renders a whole frame: clear, DrawScene, finished pixels in the buffer.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "core/float_math.h"
#include "engine3d.h"

namespace e3dscenes {

enum class SceneKind { FullScreenPair, GouraudSphere, SmallTriangles, CheckerFloor };

// A latitude/longitude ball with pole vertices: 2 * segments * (rings - 1)
// triangles, one smoothing group, Gouraud shaded.
inline E3DMesh *MakeBall(int rings, int segments, float radius) {
    const int vertices = 2 + (rings - 1) * segments, polygons = 2 * segments * (rings - 1);
    E3DMesh *m = CreateMesh(vertices, polygons, 0xC08040);
    const float pi = 3.14159265f;
    SetMeshVertex(m, 0, 0, radius, 0);
    SetMeshVertex(m, vertices - 1, 0, -radius, 0);
    for (int i = 1; i < rings; ++i)
        for (int j = 0; j < segments; ++j) {
            const float lat = pi * 0.5f - pi * float(i) / float(rings), lon = 2 * pi * float(j) / float(segments);
            // The engine's own sine and cosine, so the scene is the same on
            // every system, whatever its C library rounds.
            SetMeshVertex(m, 1 + (i - 1) * segments + j, radius * e3d::Cos(lat) * e3d::Cos(lon),
                          radius * e3d::Sin(lat), radius * e3d::Cos(lat) * e3d::Sin(lon));
        }
    int p = 0;
    for (int j = 0; j < segments; ++j) {
        const int next = (j + 1) % segments;
        SetMeshTriPolygon(m, p++, 0, 1 + next, 1 + j, 0, 0);
        for (int i = 1; i < rings - 1; ++i) {
            const int a = 1 + (i - 1) * segments + j, b = 1 + (i - 1) * segments + next;
            SetMeshQuadPolygon(m, p, a, b, b + segments, a + segments, 0, 0);
            p += 2;
        }
        const int last = 1 + (rings - 2) * segments;
        SetMeshTriPolygon(m, p++, last + j, last + next, vertices - 1, 0, 0);
    }
    m = ValidateMesh(m);
    E3DMaterial *mat = GetMeshDefaultMaterial(m);
    SetMaterialColor(mat, 0, 30, 20, 10);
    SetMaterialColor(mat, 1, 200, 130, 60);
    SetMaterialColor(mat, 3, 255, 255, 255);
    SetMaterialShininess(mat, 20);
    SetMaterialSpecularLevel(mat, 1);
    SetMeshShadeMode(&m->node, 7);
    return m;
}

// Two triangles far larger than the view, facing the camera at distance 10.
inline E3DMesh *MakeScreenQuad() {
    E3DMesh *m = CreateMesh(4, 2, 0x4080C0);
    const float h = 40.0f;
    SetMeshVertex(m, 0, -h, h, 10);
    SetMeshVertex(m, 1, h, h, 10);
    SetMeshVertex(m, 2, h, -h, 10);
    SetMeshVertex(m, 3, -h, -h, 10);
    SetMeshQuadPolygon(m, 0, 0, 1, 2, 3, 0, 0);
    m = ValidateMesh(m);
    SetMeshShadeMode(&m->node, 1);
    SetMeshCullMode(&m->node, 0x08);
    return m;
}

// `count` separate right triangles with 4-pixel legs (8 pixels of area),
// scattered over the screen at depths 20..40 by a fixed integer generator,
// so that the scene is the same in every build. Eight materials of their own
// colours (held by `scene`) make the drawing order visible.
inline E3DMesh *MakeSmallTriangles(E3DScene *scene, int count, int width, int height) {
    E3DMesh *m = CreateMesh(3 * count, count, 0x30A050);
    uint32_t seed = 12345u;
    auto next = [&seed] {
        seed = seed * 1664525u + 1013904223u;
        return seed >> 8;  // 24 bits
    };
    // Approximate pixels per world unit at depth 1 for a 60 degree view.
    const float focal = float(width) * 0.5f / 0.57735027f;
    for (int t = 0; t < count; ++t) {
        const float z = 20.0f + float(next() % 2048) * (20.0f / 2048.0f);
        const float px = float(next() % uint32_t(width)) - float(width) * 0.5f;
        const float py = float(next() % uint32_t(height)) - float(height) * 0.5f;
        const float k = z / focal;  // world units per pixel at this depth
        const float x = px * k, y = py * k, leg = 4.0f * k;
        SetMeshVertex(m, 3 * t, x, y, z);
        SetMeshVertex(m, 3 * t + 1, x + leg, y, z);
        SetMeshVertex(m, 3 * t + 2, x, y - leg, z);
        SetMeshTriPolygon(m, t, 3 * t, 3 * t + 1, 3 * t + 2, 0, 0);
    }
    m = ValidateMesh(m);
    E3DMaterial *materials[8];
    for (int i = 0; i < 8; ++i) {
        materials[i] = CreateMaterial(GetMeshDefaultMaterial(m));
        SetMaterialColor(materials[i], 1, float(30 * i), float(200 - 20 * i), float((90 + 70 * i) % 256));
        AssignMaterialToScene(scene, materials[i]);
    }
    for (int t = 0; t < count; ++t) SetFaceMaterial(m, t, materials[(t * 5) % 8], 0, 2);
    SetMeshShadeMode(&m->node, 1);
    SetMeshCullMode(&m->node, 0x08);
    return m;
}

// A flat floor one unit below the eye, from 2 to 102 units ahead and 128
// wide, as a grid of `cells` x `cells` quads facing up. The texture repeats
// every 8 units (u and v run past 1; the power-of-two texture wraps), so one
// checker square is half a unit: about 3 pixels across at the far edge.
inline E3DMesh *MakeCheckerFloor(E3DTexture *checker, int cells) {
    const int side = cells + 1;
    E3DMesh *m = CreateMesh(side * side, 2 * cells * cells, 0xFFFFFF);
    const float x0 = -64.0f, z0 = 2.0f, width = 128.0f, depth = 100.0f, repeat = 8.0f;
    for (int i = 0; i < side; ++i)
        for (int j = 0; j < side; ++j)
            SetMeshVertex(m, i * side + j, x0 + width * float(j) / float(cells), -1.0f,
                          z0 + depth * float(i) / float(cells));
    for (int i = 0; i < cells; ++i)
        for (int j = 0; j < cells; ++j) {
            const int a = i * side + j, index = 2 * (i * cells + j);
            const float u0 = width * float(j) / float(cells) / repeat, u1 = width * float(j + 1) / float(cells) / repeat;
            const float v0 = depth * float(i) / float(cells) / repeat, v1 = depth * float(i + 1) / float(cells) / repeat;
            SetMeshQuadPolygon(m, index, a, a + side, a + side + 1, a + 1, 0, 0);
            SetMeshQuadTexCoords(m, index, u0, v0, u0, v1, u1, v1, u1, v0);
        }
    m = ValidateMesh(m);
    E3DMaterial *mat = GetMeshDefaultMaterial(m);
    SetMaterialColor(mat, 0, 40, 40, 40);
    SetMaterialColor(mat, 1, 230, 230, 230);
    SetMaterialTexture(mat, 0, checker, 0);
    SetMeshShadeMode(&m->node, 3);
    SetMeshRenderMode(&m->node, E3D_RENDER_TEXTURED);
    return m;
}

// One scene in its own engine instance, drawing into a caller-visible buffer.
struct StandardScene {
    int width, height;
    bool depth;
    std::vector<uint16_t> pixels;
    E3DTexture surface{};
    E3DViewport *viewport = nullptr;
    E3DScene *scene = nullptr;
    int triangles = 0;  // triangles in the scene
    bool clearFrame = true;
    E3DTexture *texture = nullptr;  // the scene's own, freed with it

    // smallCount: triangles of the S3 scene.
    StandardScene(SceneKind kind, bool depthPass, int w = 640, int h = 480, int smallCount = 100000)
        : width(w), height(h), depth(depthPass), pixels(size_t(w) * size_t(h), 0) {
        InitEngine3D();
        surface.pixels = pixels.data();
        surface.pitch = 2 * w;
        viewport = CreateViewport(&surface, w, h, depthPass ? 1 : 0, 0);
        SetViewportType(viewport, 0x80000001u);
        scene = CreateScene();
        const float eye[3] = {0, 0, 0}, target[3] = {0, 0, 1};
        E3DCamera *camera = CreateCamera(eye, target, 0, 60, 1);
        AssignCameraToScene(scene, camera);
        SetActiveSceneCamera(scene, camera);
        SetSceneViewport(scene, viewport);
        E3DMesh *mesh = nullptr;
        switch (kind) {
            case SceneKind::FullScreenPair: {
                mesh = MakeScreenQuad();
                clearFrame = false;  // every pixel is drawn each frame
                break;
            }
            case SceneKind::GouraudSphere: {
                mesh = MakeBall(32, 64, 12.0f);
                SetMeshModelPosition(mesh, 0, 0, 30);
                AssignMeshToScene(scene, mesh, 0);
                const float at[3] = {-20, 15, -10}, white[4] = {1, 1, 1, 0};
                E3DLight *light = CreateOmniLight(at, white, 0.8f, 10, 120, 0);
                SetLightStatus(light, 1, 1);
                AssignLightToScene(scene, light, 1);
                break;
            }
            case SceneKind::SmallTriangles: mesh = MakeSmallTriangles(scene, smallCount, w, h); break;
            case SceneKind::CheckerFloor: {
                // 16 x 16 squares of two greys; the eye sits one unit above
                // the floor, looking level along it.
                texture = CreateCheckerTexture(256, 256, 16, 0x6739, 0x1CE7);
                mesh = MakeCheckerFloor(texture, 8);
                const float down[3] = {0.2f, -1, 0.3f}, at[3] = {0, 50, 0}, white[4] = {1, 1, 1, 0};
                E3DLight *light = CreateDirectLight(at, down, white, 1.0f, 0);
                SetLightStatus(light, 1, 0);
                AssignMeshToScene(scene, mesh, 0);
                AssignLightToScene(scene, light, 1);
                break;
            }
        }
        triangles = mesh->polygonCount;
        if (kind != SceneKind::GouraudSphere && kind != SceneKind::CheckerFloor) AssignMeshToScene(scene, mesh, 0);
    }
    ~StandardScene() {
        DeleteScene(scene);
        DeleteViewport(viewport);
        DeleteTexture(texture);
        ReleaseEngine3D();
    }
    StandardScene(const StandardScene &) = delete;
    StandardScene &operator=(const StandardScene &) = delete;

    void Render() {
        if (clearFrame) std::memset(pixels.data(), 0, pixels.size() * sizeof(uint16_t));
        if (depth) ClearViewportDepthBuffer(viewport, 0);
        DrawScene(scene);
    }
    const int32_t *DepthBuffer() const { return viewport->depthBuffer; }
    size_t DepthCount() const { return depth ? size_t(width) * size_t(height) : 0; }
};

// 64-bit FNV-1a over a byte range.
inline uint64_t Fnv1a(const void *data, size_t bytes, uint64_t h = 0xCBF29CE484222325ull) {
    const auto *p = static_cast<const unsigned char *>(data);
    for (size_t i = 0; i < bytes; ++i) {
        h ^= p[i];
        h *= 0x100000001B3ull;
    }
    return h;
}

}  // namespace e3dscenes
