/* Engine3D skinning example: a three-bone arm (a subdivided cylinder) posed
 * over 60 frames, Gouraud-lit and depth-buffered; six of the frames go into
 * one contact sheet (3 x 2) written as a PNG. It also times the deformed arm
 * against the same mesh drawn undeformed.
 *
 * usage: skinning [output-directory]   (default: the current directory) */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "engine3d.h"
#include "png_writer.h"
#include "skinning_scene.h"

enum { kW = kSkinningWidth, kH = kSkinningHeight, kColumns = 3, kRows = 2 };

static double Now(void) {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec + (double)t.tv_nsec * 1e-9;
}

static void Clear(uint16_t *pixels, E3DViewport *viewport) {
    for (int i = 0; i < kW * kH; ++i) pixels[i] = SKINNING_BACKGROUND;
    ClearViewportDepthBuffer(viewport, 0);
}

/* Draws the 60-frame cycle `rounds` times; returns milliseconds per frame.
 * With a sheet, frames 0, 10, ... 50 of the first round are copied into it. */
static double Cycle(const SkinningScene *s, E3DViewport *viewport, uint16_t *pixels, uint16_t *sheet, int rounds) {
    double elapsed = 0.0;
    for (int r = 0; r < rounds; ++r) {
        for (int f = 0; f < kSkinningFrames; ++f) {
            Clear(pixels, viewport);
            const double start = Now();
            SkinningPose(s, f);
            DrawScene(s->scene);
            elapsed += Now() - start;
            if (sheet && r == 0 && f % 10 == 0) {
                const int cell = f / 10, x0 = (cell % kColumns) * kW, y0 = (cell / kColumns) * kH;
                for (int y = 0; y < kH; ++y)
                    memcpy(sheet + (size_t)(y0 + y) * kColumns * kW + x0, pixels + (size_t)y * kW,
                           sizeof(uint16_t) * kW);
            }
        }
    }
    return 1000.0 * elapsed / (rounds * kSkinningFrames);
}

int main(int argc, char **argv) {
    const char *dir = argc > 1 ? argv[1] : ".";
    char path[1024];
    snprintf(path, sizeof path, "%s/skinning_sheet.png", dir);

    InitEngine3D();
    uint16_t *pixels = (uint16_t *)malloc(sizeof(uint16_t) * kW * kH);
    uint16_t *sheet = (uint16_t *)malloc(sizeof(uint16_t) * kW * kH * kColumns * kRows);
    E3DTexture surface;
    memset(&surface, 0, sizeof surface);
    surface.pixels = pixels;
    surface.width = kW;
    surface.height = kH;
    surface.pitch = 2 * kW;
    E3DViewport *viewport = CreateViewport(&surface, kW, kH, 1, 0);
    if (!pixels || !sheet || !viewport) return 1;
    SetViewportType(viewport, E3D_VIEWPORT_ENABLED | E3D_VIEWPORT_TYPE1); /* type 1, drawing enabled */

    SkinningScene skinned, plain;
    if (!SkinningBuildScene(&skinned, viewport, 1)) return 1;
    const double deformedMs = Cycle(&skinned, viewport, pixels, sheet, 5);
    const int polygons = skinned.scene->count;
    SkinningReleaseScene(&skinned);
    if (!SkinningBuildScene(&plain, viewport, 0)) return 1;
    const double plainMs = Cycle(&plain, viewport, pixels, NULL, 5);
    SkinningReleaseScene(&plain);

    int failed = 0;
    if (WritePng555(path, sheet, kColumns * kW, kRows * kH, kColumns * kW) != 0) {
        fprintf(stderr, "could not write %s\n", path);
        failed = 1;
    } else {
        printf("contact sheet:   %s (frames 0, 10, 20, 30, 40, 50)\n", path);
    }
    printf("deformed arm:    %.3f ms per frame (%d polygons in the last frame)\n", deformedMs, polygons);
    printf("undeformed arm:  %.3f ms per frame\n", plainMs);

    DeleteViewport(viewport);
    ReleaseEngine3D();
    free(pixels);
    free(sheet);
    return failed;
}
