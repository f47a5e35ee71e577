/* The showcase scene, shared by every example host: a checker-textured
 * floor, flat and Gouraud-lit shapes, a see-through pane, billboards, an
 * environment-mapped ball, a colour-keyed tree, a Gouraud-lit textured
 * ball, an omni and a directional light, seen by one camera. */
#include "showcase_scene.h"

#include <stddef.h>

const float kShowcaseEye[3] = {0.0f, 7.0f, -16.0f};
const float kShowcaseTarget[3] = {0.0f, 1.0f, 0.0f};

/* A generated cube of half-size h, active and ready for a scene. */
static E3DMesh *Cube(float h, uint32_t colour) {
    E3DMesh *m = CubeCreate(2.0f * h, NULL, colour);
    if (m) ActivateMesh(m);
    return m;
}

/* Lit material: a dim ambient copy of the colour and the colour as diffuse. */
static void LitColours(E3DMesh *mesh, uint32_t colour) {
    E3DMaterial *m = GetMeshDefaultMaterial(mesh);
    const float r = (float)((colour >> 16) & 255), g = (float)((colour >> 8) & 255), b = (float)(colour & 255);
    SetMaterialColor(m, E3D_COLOR_AMBIENT, r * 0.2f, g * 0.2f, b * 0.2f);
    SetMaterialColor(m, E3D_COLOR_DIFFUSE, r, g, b);
}

/* Textures the scene made; ShowcaseReleaseTextures frees them. */
static E3DTexture *g_textures[8];
static int g_textureCount;

static E3DTexture *Keep(E3DTexture *t) {
    if (t && g_textureCount < (int)(sizeof g_textures / sizeof g_textures[0])) g_textures[g_textureCount++] = t;
    return t;
}

void ShowcaseReleaseTextures(void) {
    while (g_textureCount > 0) DeleteTexture(g_textures[--g_textureCount]);
}

static uint16_t Pixel(int r, int g, int b) { return (uint16_t)((r << 10) | (g << 5) | b); }

/* A checkered floor: a generated grid laid flat under a 16 x 16 checker
 * texture, lit per face, so the squares shrink with perspective. */
static E3DMesh *Floor(int n, float size) {
    E3DMesh *m = GridCreate(size, NULL, n, n, 0xFFFFFF);
    if (!m) return NULL;
    ActivateMesh(m);
    SetMeshModelOrientation(m, 90.0f, 0.0f, 0.0f);
    SetMeshCullMode(&m->node, E3D_CULL_NONE);
    LitColours(m, 0xFFFFFF);
    SetMeshShadeMode(&m->node, E3D_SHADE_FLAT);
    SetMeshRenderMode(&m->node, E3D_RENDER_TEXTURED);
    SetMaterialTexture(GetMeshDefaultMaterial(m), 0,
                       Keep(CreateCheckerTexture(256, 256, 16, Pixel(26, 26, 24), Pixel(8, 10, 12))), 0);
    return m;
}

/* An environment map: sky above a horizon, a sun, and ground below. */
static E3DTexture *SkyTexture(void) {
    enum { N = 128 };
    static uint16_t texels[N * N];
    for (int y = 0; y < N; ++y) {
        for (int x = 0; x < N; ++x) {
            const int sky = y < N / 2; /* the top rows face up */
            const int d = sky ? N / 2 - 1 - y : y - N / 2; /* distance from the horizon */
            uint16_t p = sky ? Pixel(10 + d / 8, 16 + d / 8, 31)
                             : Pixel(14 - d / 6, 11 - d / 8, 6 - d / 16);
            const int sx = x - 88, sy = y - 28;
            if (sx * sx + sy * sy < 60) p = Pixel(31, 31, 26);
            if (!sky && ((x / 16 + y / 16) & 1)) p = (uint16_t)(p - Pixel(2, 2, 1));
            texels[y * N + x] = p;
        }
    }
    return Keep(CreateTextureFromPixels(texels, N, N, 2 * N));
}

/* A conifer on a colour-keyed background (0x8000 is not drawn). */
static E3DTexture *TreeTexture(void) {
    enum { W = 64, H = 128 };
    static uint16_t texels[W * H];
    for (int y = 0; y < H; ++y) {
        for (int x = 0; x < W; ++x) {
            uint16_t p = 0x8000;
            if (y >= 100 && x >= 28 && x < 36) p = Pixel(12, 7, 3);
            for (int k = 0; k < 3; ++k) {
                const int top = 4 + 30 * k, bottom = top + 44, half = 12 + 7 * k;
                const int dx = 2 * x - (W - 1);
                if (y >= top && y < bottom && dx * (bottom - top) <= 2 * half * (y - top) &&
                    -dx * (bottom - top) <= 2 * half * (y - top)) {
                    p = Pixel(3 + (x + y) % 3, 14 + (y - top) / 4 - (x * 7 + y * 3) % 4, 5);
                }
            }
            texels[y * W + x] = p;
        }
    }
    return Keep(CreateTextureFromPixels(texels, W, H, 2 * W));
}

/* Beach-ball stripes with white caps. */
static E3DTexture *StripeTexture(void) {
    enum { N = 64 };
    static const int colours[6][3] = {{31, 6, 4}, {31, 31, 31}, {4, 10, 31}, {31, 26, 2}, {31, 31, 31}, {4, 26, 8}};
    static uint16_t texels[N * N];
    for (int y = 0; y < N; ++y) {
        for (int x = 0; x < N; ++x) {
            const int *c = colours[(x * 6) / N];
            texels[y * N + x] = (y < 6 || y >= N - 6) ? Pixel(31, 31, 31) : Pixel(c[0], c[1], c[2]);
        }
    }
    return Keep(CreateTextureFromPixels(texels, N, N, 2 * N));
}

static void Place(E3DMesh *m, float x, float y, float z, float ax, float ay, float az) {
    SetMeshModelOrientation(m, ax, ay, az);
    SetMeshModelPosition(m, x, y, z);
}

E3DScene *ShowcaseBuildScene(E3DViewport *viewport) {
    E3DScene *scene = CreateScene();
    if (!scene) return NULL;
    E3DCamera *camera = CreateCamera(kShowcaseEye, kShowcaseTarget, 0.0f, 60.0f, 1.0f);
    AssignCameraToScene(scene, camera);
    SetActiveSceneCamera(scene, camera);
    SetSceneViewport(scene, viewport);

    E3DMesh *floor = Floor(12, 24.0f);
    AssignMeshToScene(scene, floor, 0);

    static const struct {
        float x, y, z, size, ay;
        uint32_t colour;
    } cubes[] = {{-4.5f, 1.5f, 2.0f, 1.5f, 30, 0xD04030}, {0.0f, 1.0f, -1.0f, 1.0f, 15, 0x30A040},
                 {4.0f, 2.0f, 3.0f, 2.0f, -20, 0x3060D0}, {-1.5f, 0.6f, -5.0f, 0.6f, 45, 0xE0C030},
                 {2.5f, 0.8f, -4.0f, 0.8f, 60, 0xC040C0}};
    for (size_t i = 0; i < sizeof cubes / sizeof cubes[0]; ++i) {
        E3DMesh *cube = Cube(cubes[i].size, cubes[i].colour);
        if (!cube) continue;
        LitColours(cube, cubes[i].colour);
        SetMeshShadeMode(&cube->node, E3D_SHADE_FLAT);
        Place(cube, cubes[i].x, cubes[i].y, cubes[i].z, 0, cubes[i].ay, 0);
        AssignMeshToScene(scene, cube, 0);
    }
    /* A see-through pane: half opacity, sorted back to front. */
    E3DMesh *glass = Cube(1.6f, 0xFFFFFF);
    if (glass) {
        E3DMaterial *pane = CreateMaterial(GetMeshDefaultMaterial(glass));
        SetMaterialColor(pane, E3D_COLOR_AMBIENT, 120, 220, 255);
        SetMaterialAlphaMode(pane, E3D_BLEND_OPACITY);
        SetMaterialAlphaLevel(pane, 110);
        SetMaterial(glass, pane, E3D_SIDE_BOTH, 0);
        AssignMaterialToScene(scene, pane);
        Place(glass, -1.0f, 1.6f, 4.5f, 0, -35, 0);
        AssignMeshToScene(scene, glass, 0);
    }
    SetMeshShadeMode(&glass->node, E3D_SHADE_NONE);

    /* A smooth ball with a specular highlight, Gouraud-shaded. Generated
     * meshes are not active until ActivateMesh. */
    E3DMesh *ball = SphereCreate(1.4f, NULL, 12, 18, 0xE08020);
    if (ball) {
        ActivateMesh(ball);
        LitColours(ball, 0xE08020);
        E3DMaterial *m = GetMeshDefaultMaterial(ball);
        SetMaterialColor(m, E3D_COLOR_SPECULAR, 255, 255, 255);
        SetMaterialShininess(m, 24.0f);
        SetMaterialSpecularLevel(m, 0.8f);
        SetMeshShadeMode(&ball->node, E3D_SHADE_GOURAUD);
        Place(ball, 1.8f, 1.4f, 0.5f, 0, 0, 0);
        AssignMeshToScene(scene, ball, 0);
    }
    /* A torus standing on its rim, a disk and a ring lying on the floor. */
    E3DMesh *torus = TorusCreate(1.1f, 0.35f, NULL, 12, 24, 0x40C0C0);
    if (torus) {
        ActivateMesh(torus);
        LitColours(torus, 0x40C0C0);
        SetMeshShadeMode(&torus->node, E3D_SHADE_GOURAUD);
        Place(torus, -3.6f, 1.45f, -3.0f, 90, 20, 0);
        AssignMeshToScene(scene, torus, 0);
    }
    E3DMesh *disk = DiskCreate(1.2f, NULL, 24, 0xF0F0F0);
    E3DMesh *ring = RingCreate(1.6f, 1.25f, NULL, 24, 0xF0D040);
    if (disk && ring) {
        ActivateMesh(disk);
        ActivateMesh(ring);
        SetMeshCullMode(&disk->node, E3D_CULL_NONE);
        SetMeshCullMode(&ring->node, E3D_CULL_NONE);
        SetMeshShadeMode(&disk->node, E3D_SHADE_NONE);
        SetMeshShadeMode(&ring->node, E3D_SHADE_NONE);
        Place(disk, 5.0f, 0.02f, -4.5f, 90, 0, 0);
        Place(ring, 5.0f, 0.03f, -4.5f, 90, 0, 0);
        AssignMeshToScene(scene, disk, 0);
        AssignMeshToScene(scene, ring, 0);
    }
    /* A chamfered cube, a cylinder and a billboard that always faces the eye. */
    E3DMesh *chamfered = ChCubeCreate(1.4f, 0.25f, NULL, 0x9060E0);
    E3DMesh *pillar = CylinderCreate(0.5f, 2.4f, NULL, 20, 2, 0xB0B0B0);
    E3DMesh *board = BillboardCreate(1.6f, NULL, 0xFFE060);
    if (chamfered && pillar && board) {
        ActivateMesh(chamfered);
        ActivateMesh(pillar);
        ActivateMesh(board);
        LitColours(chamfered, 0x9060E0);
        LitColours(pillar, 0xB0B0B0);
        SetMeshShadeMode(&chamfered->node, E3D_SHADE_FLAT);
        SetMeshShadeMode(&pillar->node, E3D_SHADE_GOURAUD);
        SetMeshShadeMode(&board->node, E3D_SHADE_NONE);
        SetMeshBillboardMode(board, E3D_BILLBOARD_FACE_CAMERA);
        Place(chamfered, -6.5f, 0.7f, -2.0f, 0, 25, 0);
        Place(pillar, 7.0f, 1.2f, 1.0f, 0, 0, 0);
        Place(board, 0.0f, 4.6f, 6.0f, 0, 0, 0);
        AssignMeshToScene(scene, chamfered, 0);
        AssignMeshToScene(scene, pillar, 0);
        AssignMeshToScene(scene, board, 0);
    }
    /* Textured objects: a chrome ball reflecting the sky (environment map), a
     * billboard tree with colour-keyed holes (opacity map) and a Gouraud-lit
     * striped ball (diffuse map). */
    E3DMesh *chrome = SphereCreate(1.2f, NULL, 16, 24, 0xFFFFFF);
    if (chrome) {
        ActivateMesh(chrome);
        LitColours(chrome, 0xFFFFFF);
        SetMeshShadeMode(&chrome->node, E3D_SHADE_FLAT);
        SetMeshRenderMode(&chrome->node, E3D_RENDER_TEXTURED);
        SetMaterialTexture(GetMeshDefaultMaterial(chrome), 2, SkyTexture(), 0);
        Place(chrome, -4.6f, 1.2f, -7.6f, 0, 0, 0);
        AssignMeshToScene(scene, chrome, 0);
    }
    E3DMesh *tree = BillboardCreate(4.0f, NULL, 0xFFFFFF);
    if (tree) {
        ActivateMesh(tree);
        LitColours(tree, 0xFFFFFF);
        SetMeshShadeMode(&tree->node, E3D_SHADE_FLAT);
        SetMeshCullMode(&tree->node, E3D_CULL_NONE);
        SetMeshRenderMode(&tree->node, E3D_RENDER_TEXTURED);
        SetMaterialTexture(GetMeshDefaultMaterial(tree), 1, TreeTexture(), 0);
        SetMeshBillboardMode(tree, E3D_BILLBOARD_FACE_CAMERA);
        Place(tree, -8.0f, 2.0f, 5.5f, 0, 0, 0);
        AssignMeshToScene(scene, tree, 0);
    }
    E3DMesh *beach = SphereCreate(1.0f, NULL, 12, 18, 0xFFFFFF);
    if (beach) {
        ActivateMesh(beach);
        LitColours(beach, 0xFFFFFF);
        SetMeshShadeMode(&beach->node, E3D_SHADE_GOURAUD);
        SetMeshRenderMode(&beach->node, E3D_RENDER_TEXTURED);
        SetMaterialTexture(GetMeshDefaultMaterial(beach), 0, StripeTexture(), 0);
        Place(beach, 4.4f, 1.0f, -8.2f, 20, 30, 0);
        AssignMeshToScene(scene, beach, 0);
    }
    /* An omni light with attenuation near the camera's left and a dimmer
     * directional light from the upper right. */
    const float white[4] = {1.0f, 1.0f, 1.0f, 0.0f}, warm[4] = {1.0f, 0.9f, 0.7f, 0.0f};
    const float omniAt[3] = {-6.0f, 8.0f, -8.0f};
    E3DLight *omni = CreateOmniLight(omniAt, white, 1.1f, 8.0f, 40.0f, 0);
    SetLightStatus(omni, E3D_LIGHT_ON, E3D_LIGHT_ATTENUATED);
    const float sunAt[3] = {12.0f, 14.0f, -4.0f}, sunTarget[3] = {0.0f, 0.0f, 0.0f};
    E3DLight *sun = CreateDirectLight(sunAt, sunTarget, warm, 0.5f, 0);
    SetLightStatus(sun, E3D_LIGHT_ON, E3D_LIGHT_UNATTENUATED);
    AssignLightToScene(scene, omni, E3D_SCENE_SHARE_LIGHTS);
    AssignLightToScene(scene, sun, E3D_SCENE_SHARE_LIGHTS);
    return scene;

}
