/* Renders one frame of a lit cube through an installed Engine3D and checks
 * that it drew where it should and nowhere else. */
#include <stdio.h>
#include <string.h>

#include <engine3d.h>

enum { kWidth = 64, kHeight = 48 };
#define BACKGROUND ((uint16_t)0x0421)

int main(void) {
    static uint16_t pixels[kWidth * kHeight];
    for (int i = 0; i < kWidth * kHeight; ++i) pixels[i] = BACKGROUND;
    InitEngine3D();

    E3DTexture surface;
    memset(&surface, 0, sizeof surface);
    surface.pixels = pixels;
    surface.width = kWidth;
    surface.height = kHeight;
    surface.pitch = 2 * kWidth;
    E3DViewport *viewport = CreateViewport(&surface, kWidth, kHeight, E3D_DEPTH_ON, 0);
    E3DScene *scene = CreateScene();
    const float eye[3] = {0.0f, 2.0f, -5.0f}, target[3] = {0.0f, 0.0f, 0.0f};
    E3DCamera *camera = CreateCamera(eye, target, 0.0f, 60.0f, 1.0f);
    E3DMesh *cube = CubeCreate(2.0f, NULL, 0xC08040);
    if (!viewport || !scene || !camera || !cube) return 1;
    SetViewportType(viewport, E3D_VIEWPORT_TYPE1 | E3D_VIEWPORT_ENABLED);
    AssignCameraToScene(scene, camera);
    SetActiveSceneCamera(scene, camera);
    SetSceneViewport(scene, viewport);
    ActivateMesh(cube);
    SetMeshShadeMode(&cube->node, E3D_SHADE_FLAT);
    SetMeshModelOrientation(cube, 0.0f, 30.0f, 0.0f);
    AssignMeshToScene(scene, cube, 0);
    DrawScene(scene);

    int drawn = 0;
    for (int i = 0; i < kWidth * kHeight; ++i) drawn += pixels[i] != BACKGROUND;
    const int centre = pixels[(kHeight / 2) * kWidth + kWidth / 2] != BACKGROUND;
    const int corner = pixels[0] != BACKGROUND;
    printf("Engine3D %s: %d of %d pixels drawn\n", E3D_VERSION, drawn, kWidth * kHeight);

    DeleteScene(scene);
    DeleteViewport(viewport);
    ReleaseEngine3D();
    return centre && !corner ? 0 : 1;
}
