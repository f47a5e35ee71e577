/* Engine3D showcase: builds a small scene from the public interface alone,
 * renders it into a 640 x 480 surface with the depth buffer and with the
 * painter's sort, and writes both pictures as PNG files.
 *
 * usage: showcase [output-directory]   (default: the current directory) */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <math.h>
#include <time.h>

#include "engine3d.h"
#include "png_writer.h"
#include "showcase_scene.h"

enum { kWidth = kShowcaseWidth, kHeight = kShowcaseHeight };

static double Now(void) {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec + (double)t.tv_nsec * 1e-9;
}

static int Render(E3DScene *scene, E3DViewport *viewport, uint16_t *pixels, const char *path, const char *label) {
    for (int i = 0; i < kWidth * kHeight; ++i) pixels[i] = SHOWCASE_BACKGROUND;
    if (viewport->depthBuffer) ClearViewportDepthBuffer(viewport, 0);
    DrawScene(scene); /* warm-up */
    const int frames = 50;
    double start = 0.0, elapsed = 0.0;
    for (int f = 0; f < frames; ++f) {
        for (int i = 0; i < kWidth * kHeight; ++i) pixels[i] = SHOWCASE_BACKGROUND;
        if (viewport->depthBuffer) ClearViewportDepthBuffer(viewport, 0);
        start = Now();
        DrawScene(scene);
        elapsed += Now() - start;
    }
    if (WritePng555(path, pixels, kWidth, kHeight, kWidth) != 0) {
        fprintf(stderr, "could not write %s\n", path);
        return 1;
    }
    printf("%-16s %s  (%.3f ms per frame, %d polygons drawn)\n", label, path, 1000.0 * elapsed / frames,
           scene->count);
    return 0;
}

int main(int argc, char **argv) {
    const char *dir = argc > 1 ? argv[1] : ".";
    char depthPath[1024], painterPath[1024];
    snprintf(depthPath, sizeof depthPath, "%s/showcase_depth.png", dir);
    snprintf(painterPath, sizeof painterPath, "%s/showcase_painter.png", dir);

    InitEngine3D();
    uint16_t *pixels = (uint16_t *)malloc(sizeof(uint16_t) * kWidth * kHeight);
    E3DTexture surface;
    memset(&surface, 0, sizeof surface);
    surface.pixels = pixels;
    surface.width = kWidth;
    surface.height = kHeight;
    surface.pitch = 2 * kWidth;
    E3DViewport *viewport = CreateViewport(&surface, kWidth, kHeight, E3D_DEPTH_ON, 0);
    if (!pixels || !viewport) return 1;
    SetViewportType(viewport, E3D_VIEWPORT_TYPE1 | E3D_VIEWPORT_ENABLED);

    E3DScene *scene = ShowcaseBuildScene(viewport);
    if (!scene) return 1;

    int failed = Render(scene, viewport, pixels, depthPath, "depth buffer:");
    SetViewportDepthState(viewport, E3D_DEPTH_OFF);
    failed |= Render(scene, viewport, pixels, painterPath, "painter's sort:");
    failed |= ShowcaseRenderModes(dir);

    DeleteScene(scene);
    ShowcaseReleaseTextures();
    DeleteViewport(viewport);
    ReleaseEngine3D();
    free(pixels);
    return failed;
}
