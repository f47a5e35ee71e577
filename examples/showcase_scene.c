/* The showcase scene, shared by every example host: a checkered floor, flat
 * and Gouraud-lit shapes, a see-through pane, a billboard, an omni and a
 * directional light, seen by one camera. */
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

/* A checkered floor of n x n tiles: a generated grid laid flat. */
static E3DMesh *Floor(int n, float size, E3DScene *scene) {
    E3DMesh *m = GridCreate(size, NULL, n, n, 0x404040);
    if (!m) return NULL;
    ActivateMesh(m);
    SetMeshModelOrientation(m, 90.0f, 0.0f, 0.0f);
    SetMeshCullMode(&m->node, E3D_CULL_NONE);
    E3DMaterial *light = CreateMaterial(GetMeshDefaultMaterial(m));
    E3DMaterial *dark = CreateMaterial(GetMeshDefaultMaterial(m));
    if (light && dark) {
        SetMaterialColor(light, E3D_COLOR_AMBIENT, 200, 200, 190);
        SetMaterialColor(dark, E3D_COLOR_AMBIENT, 70, 80, 90);
        for (int z = 0; z < n; ++z)
            for (int x = 0; x < n; ++x) SetFaceMaterial(m, 2 * (z * n + x), ((x + z) & 1) ? dark : light, 1, E3D_SIDE_BOTH);
        AssignMaterialToScene(scene, light);
        AssignMaterialToScene(scene, dark);
    }
    return m;
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

    E3DMesh *floor = Floor(12, 24.0f, scene);
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
    SetMeshShadeMode(&floor->node, E3D_SHADE_NONE); /* the checker as it is */
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
