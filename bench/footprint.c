/* The memory the engine takes, read from the host library's allocation
 * statistics: at start-up, and per mesh vertex and triangle, viewport pixel
 * and scene polygon as the slope between two sizes of the same object.
 * Prints a Markdown table. Build: cmake --build --preset default --target
 * footprint; run: build/default/bench/footprint */
#include <stdio.h>

#include "e3dhost.h"
#include "engine3d.h"

static int64_t LiveBytes(void) {
    HostMemoryStats stats;
    HostMemoryGetStats(&stats);
    return stats.liveBytes;
}

/* A flat grid of `vertices` points (rows of 32) carrying `triangles`
 * triangles that walk the grid's cells, validated. */
static E3DMesh *GridMesh(int32_t vertices, int32_t triangles) {
    const int32_t columns = 32, cells = vertices - columns - 1;
    E3DMesh *m = CreateMesh(vertices, triangles, 0x808080);
    if (!m) return NULL;
    for (int32_t i = 0; i < vertices; ++i) SetMeshVertex(m, i, (float)(i % columns) - 16, (float)(i / columns) - 16, 0);
    for (int32_t t = 0; t < triangles; ++t) {
        const int32_t a = (t / 2) % cells;
        if (t % 2 == 0)
            SetMeshTriPolygon(m, t, a, a + 1, a + columns, 0, 0);
        else
            SetMeshTriPolygon(m, t, a + 1, a + columns + 1, a + columns, 0, 0);
    }
    return ValidateMesh(m);
}

static double MeshBytes(int32_t vertices, int32_t triangles) {
    InitEngine3D();
    const int64_t before = LiveBytes();
    E3DMesh *m = GridMesh(vertices, triangles);
    const int64_t bytes = LiveBytes() - before;
    DeleteMesh(m);
    ReleaseEngine3D();
    return (double)bytes;
}

static double ViewportBytes(int32_t side, int32_t own) {
    static uint16_t pixels[512 * 512];
    E3DTexture surface = {0};
    surface.pixels = pixels;
    surface.width = surface.width2 = side;
    surface.height = surface.height2 = side;
    surface.pitch = 2 * side;
    InitEngine3D();
    const int64_t before = LiveBytes();
    E3DViewport *v = CreateViewport(own ? NULL : &surface, side, side, 1, own);
    const int64_t bytes = LiveBytes() - before;
    DeleteViewport(v);
    ReleaseEngine3D();
    return (double)bytes;
}

/* Bytes a scene with its camera adds to a mesh of `triangles` triangles it
 * holds, once it has drawn a frame of it: lists, sort list, frame buffers.
 * The mesh gives up its own sort list for the scene's. -1 when nothing was
 * drawn. */
static double SceneBytes(int32_t triangles) {
    static uint16_t pixels[128 * 128];
    E3DTexture surface = {0};
    surface.pixels = pixels;
    surface.width = surface.width2 = surface.height = surface.height2 = 128;
    surface.pitch = 256;
    InitEngine3D();
    E3DViewport *viewport = CreateViewport(&surface, 128, 128, 1, 0);
    SetViewportType(viewport, E3D_VIEWPORT_ENABLED | E3D_VIEWPORT_TYPE1);
    E3DMesh *mesh = GridMesh(1024, triangles);
    SetMeshCullMode(&mesh->node, E3D_CULL_NONE);
    SetMeshModelPosition(mesh, 0, 0, 40);
    const int64_t before = LiveBytes();
    E3DScene *scene = CreateScene();
    const float eye[3] = {0, 0, 0}, target[3] = {0, 0, 1};
    E3DCamera *camera = CreateCamera(eye, target, 0, 60, 1);
    AssignCameraToScene(scene, camera);
    SetActiveSceneCamera(scene, camera);
    SetSceneViewport(scene, viewport);
    const int held = AssignMeshToScene(scene, mesh, 0) != NULL;
    ClearViewportDepthBuffer(viewport, 0);
    DrawScene(scene);
    const int64_t bytes = LiveBytes() - before;
    int drawn = 0;
    for (int i = 0; i < 128 * 128; ++i) drawn += pixels[i] != 0;
    if (!held || drawn == 0) return -1;
    DeleteScene(scene);
    DeleteViewport(viewport);
    ReleaseEngine3D();
    return (double)bytes;
}

int main(void) {
    const int64_t idle = LiveBytes();
    HostMemoryStats start;
    InitEngine3D();
    HostMemoryGetStats(&start);
    ReleaseEngine3D();
    if (LiveBytes() != idle) {
        fprintf(stderr, "ReleaseEngine3D left %lld bytes\n", (long long)(LiveBytes() - idle));
        return 1;
    }
    const double n = 4096;
    const double perVertex = (MeshBytes(8192, 4096) - MeshBytes(4096, 4096)) / n;
    const double perTriangle = (MeshBytes(4096, 8192) - MeshBytes(4096, 4096)) / n;
    const double perPixel = (ViewportBytes(512, 0) - ViewportBytes(256, 0)) / (512.0 * 512 - 256.0 * 256);
    const double perPixelOwn = (ViewportBytes(512, 1) - ViewportBytes(256, 1)) / (512.0 * 512 - 256.0 * 256);
    const double scene4096 = SceneBytes(4096), scene8192 = SceneBytes(8192);
    const double perPolygon = (scene8192 - scene4096) / n;
    if (LiveBytes() != idle || perVertex <= 0 || perTriangle <= 0 || perPixel <= 0 || scene4096 < 0 ||
        scene8192 < 0) {
        fprintf(stderr, "measurements out of range\n");
        return 1;
    }
    printf("| What | Bytes |\n|---|---:|\n");
    printf("| start-up (InitEngine3D), %lld blocks | %lld |\n", (long long)(start.liveBlocks),
           (long long)(start.liveBytes - idle));
    printf("| mesh, per vertex | %.1f |\n", perVertex);
    printf("| mesh, per triangle | %.1f |\n", perTriangle);
    printf("| viewport on the host's frame buffer, with depth buffer, per pixel | %.1f |\n", perPixel);
    printf("| viewport owning its frame buffer, with depth buffer, per pixel | %.1f |\n", perPixelOwn);
    printf("| scene with a camera, fixed | %.0f |\n", scene4096 - 4096 * perPolygon);
    printf("| scene, per polygon beyond its meshes (after its first frame) | %.1f |\n", perPolygon);
    return 0;
}
