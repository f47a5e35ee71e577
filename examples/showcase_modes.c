/* The second showcase picture: the render modes beside each other. A grid
 * and a torus drawn solid and as wireframes (the grid's wireframe shows
 * every grid line once), a geodesic sphere as a lit point cloud, a
 * translucent tint laid over a scissor rectangle by the post effect, and a
 * few 2D lines and a 2D triangle on top. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "engine3d.h"
#include "png_writer.h"
#include "showcase_scene.h"

enum { kWidth = kShowcaseWidth, kHeight = kShowcaseHeight };

static E3DMesh *Place(E3DScene *scene, E3DMesh *m, float x, float y, float z, float ax, float ay, uint32_t render,
                      uint32_t shade) {
    if (!m) return NULL;
    ActivateMesh(m);
    SetMeshModelOrientation(m, ax, ay, 0.0f);
    SetMeshModelPosition(m, x, y, z);
    SetMeshRenderMode(&m->node, render);
    SetMeshShadeMode(&m->node, shade);
    SetMeshCullMode(&m->node, E3D_CULL_NONE); /* both sides */
    AssignMeshToScene(scene, m, 0);
    return m;
}

/* Lit material: a dim ambient copy of the colour and the colour as diffuse. */
static void LitColours(E3DMesh *mesh, uint32_t colour) {
    if (!mesh) return;
    E3DMaterial *m = GetMeshDefaultMaterial(mesh);
    const float r = (float)((colour >> 16) & 255), g = (float)((colour >> 8) & 255), b = (float)(colour & 255);
    SetMaterialColor(m, 0, r * 0.25f, g * 0.25f, b * 0.25f);
    SetMaterialColor(m, 1, r, g, b);
}

int ShowcaseRenderModes(const char *dir) {
    char path[1024];
    snprintf(path, sizeof path, "%s/showcase_modes.png", dir);
    uint16_t *pixels = (uint16_t *)malloc(sizeof(uint16_t) * kWidth * kHeight);
    E3DTexture surface;
    memset(&surface, 0, sizeof surface);
    surface.pixels = pixels;
    surface.width = kWidth;
    surface.height = kHeight;
    surface.pitch = 2 * kWidth;
    E3DViewport *viewport = pixels ? CreateViewport(&surface, kWidth, kHeight, 1, 0) : NULL;
    E3DScene *scene = CreateScene();
    if (!viewport || !scene) return 1;
    SetViewportType(viewport, E3D_VIEWPORT_ENABLED | E3D_VIEWPORT_TYPE1);
    const float eye[3] = {0.0f, 0.5f, -15.0f}, target[3] = {0.0f, 0.0f, 0.0f};
    E3DCamera *camera = CreateCamera(eye, target, 0.0f, 60.0f, 1.0f);
    AssignCameraToScene(scene, camera);
    SetActiveSceneCamera(scene, camera);
    SetSceneViewport(scene, viewport);

    /* Top row: the solid grid, its wireframe twin, and a point cloud. */
    E3DMesh *solid = Place(scene, GridCreate(5.0f, NULL, 6, 6, 0x3070C0), -6.0f, 3.0f, 0.0f, 0, 20, 0x700000, 3);
    LitColours(solid, 0x3070C0);
    Place(scene, GridCreate(5.0f, NULL, 6, 6, 0xF0F0F0), 0.0f, 3.0f, 0.0f, 0, 20, 0x300000, 1);
    E3DMesh *cloud = Place(scene, GeoSphereCreate(2.6f, NULL, 3, 0xFFC040), 6.0f, 3.0f, 0.0f, 0, 0, 0x100000, 7);
    if (cloud) { /* bright ambient: the far side's dots stay visible */
        SetMaterialColor(GetMeshDefaultMaterial(cloud), 0, 150.0f, 110.0f, 40.0f);
        SetMaterialColor(GetMeshDefaultMaterial(cloud), 1, 255.0f, 200.0f, 80.0f);
    }
    /* Bottom row: a torus solid and as a Gouraud-lit, depth-tested wireframe. */
    E3DMesh *ring = Place(scene, TorusCreate(2.0f, 0.8f, NULL, 12, 24, 0xD05040), -4.0f, -3.0f, 0.0f, 60, 0,
                          0x700000, 7);
    LitColours(ring, 0xD05040);
    E3DMesh *wire = Place(scene, TorusCreate(2.0f, 0.8f, NULL, 12, 24, 0x60E080), 4.0f, -3.0f, 0.0f, 60, 0,
                          0x300000, 7);
    LitColours(wire, 0x60E080);

    for (int i = 0; i < kWidth * kHeight; ++i) pixels[i] = SHOWCASE_BACKGROUND;
    ClearViewportDepthBuffer(viewport, 0);
    DrawScene(scene);

    /* Post effect: a translucent amber tint over a scissor rectangle. */
    E3DMaterial *tint = CreateMaterial(GetMeshDefaultMaterial(wire));
    const float box[4] = {360.0f, 620.0f, 250.0f, 460.0f};
    if (tint) {
        SetMaterialColor(tint, 0, 255.0f, 170.0f, 40.0f);
        tint->mode = 0x00700001u;      /* unlit solid, no texture: a plain colour overlay */
        SetMaterialAlphaMode(tint, E3D_BLEND_OPACITY); /* opacity blend */
        SetMaterialAlphaLevel(tint, 90);
        SetViewportScissor(viewport, box[0], box[1], box[2], box[3]);
        SetViewportMaterial(viewport, tint);
        DrawViewportPostFX(viewport);
        SetViewportMaterial(viewport, NULL);
        SetViewportScissor(viewport, 0.0f, (float)kWidth, 0.0f, (float)kHeight);
    }
    /* 2D on top: a frame round the tinted rectangle and a marker triangle. */
    DrawLine2D(viewport, box[0] - 2, box[2] - 2, box[1] + 2, box[2] - 2, 0xFFFFFF);
    DrawLine2D(viewport, box[1] + 2, box[2] - 2, box[1] + 2, box[3] + 2, 0xFFFFFF);
    DrawLine2D(viewport, box[1] + 2, box[3] + 2, box[0] - 2, box[3] + 2, 0xFFFFFF);
    DrawLine2D(viewport, box[0] - 2, box[3] + 2, box[0] - 2, box[2] - 2, 0xFFFFFF);
    for (int k = 0; k < 9; ++k) /* a small fan, partly off the screen's left edge: clipped */
        DrawLine2D(viewport, 60.0f, 250.0f, -40.0f, 150.0f + 25.0f * (float)k,
                   0x40FFFF);
    E3DVertex marker[3];
    memset(marker, 0, sizeof marker);
    const float mx[3] = {600.0f, 660.0f, 600.0f}, my[3] = {20.0f, 50.0f, 80.0f};
    for (int i = 0; i < 3; ++i) {
        marker[i].screenX = mx[i];
        marker[i].screenY = my[i];
        marker[i].invDepth = 0.5f;
        marker[i].clipCode = mx[i] > (float)kWidth ? 0x80u : 0u; /* off the right edge: clipped */
    }
    E3DPolygon triangle;
    memset(&triangle, 0, sizeof triangle);
    triangle.vertex[0] = 2, triangle.vertex[1] = 1, triangle.vertex[2] = 0;
    triangle.material = triangle.backMaterial = GetMeshDefaultMaterial(wire);
    triangle.color = 0xFF4080;
    DrawTriangle2D(&triangle, marker, viewport);

    int failed = 0;
    if (WritePng555(path, pixels, kWidth, kHeight, kWidth) != 0) {
        fprintf(stderr, "could not write %s\n", path);
        failed = 1;
    } else {
        printf("%-16s %s\n", "render modes:", path);
    }
    if (tint) DeleteMaterial(tint);
    DeleteScene(scene);
    DeleteViewport(viewport);
    free(pixels);
    return failed;
}
